// Modal dialogs and their controls: windows made from a module's template, data exchange,
// message maps, and the loop that asks the dialog driver for the user's actions.
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "afxdllx.h"
#include "afxfile.h"
#include "acui.h"
#include "afxwin.h"
#include "WideFormat.h"
#include "sdk/control/Dialogs.h"
#include "winres.h"

namespace {

enum class Kind {
    Dialog,
    PushButton,
    CheckBox,
    Radio,
    GroupBox,
    List,
    Combo,
    Label,
    Edit,
    ListView,
    ToolTip
};

struct Item {
    std::wstring text;
    int check = 0;
    std::vector<std::wstring> more; // a list view's columns after the first
};

// The entries of a list or combo, held by plain pointers: an entry put in the middle of ten
// thousand moves pointers with one memmove, not entries, as the system's own controls do.
class Entries {
public:
    Entries() = default;
    Entries(const Entries&) = delete;
    Entries& operator=(const Entries&) = delete;
    ~Entries() { clear(); }
    size_t size() const { return m_items.size(); }
    bool empty() const { return m_items.empty(); }
    void clear() {
        for (Item* item : m_items)
            delete item;
        m_items.clear();
    }
    Item& operator[](size_t i) { return *m_items[i]; }
    const Item& operator[](size_t i) const { return *m_items[i]; }
    void insert(size_t at, Item item) {
        auto owned = std::make_unique<Item>(std::move(item));
        m_items.insert(m_items.begin() + static_cast<std::ptrdiff_t>(at), owned.get());
        owned.release();
    }
    void erase(size_t at) {
        delete m_items[at];
        m_items.erase(m_items.begin() + static_cast<std::ptrdiff_t>(at));
    }

    class const_iterator {
    public:
        explicit const_iterator(std::vector<Item*>::const_iterator at) : m_at(at) {}
        const Item& operator*() const { return **m_at; }
        const_iterator& operator++() {
            ++m_at;
            return *this;
        }
        bool operator!=(const const_iterator& other) const { return m_at != other.m_at; }

    private:
        std::vector<Item*>::const_iterator m_at;
    };
    const_iterator begin() const { return const_iterator(m_items.begin()); }
    const_iterator end() const { return const_iterator(m_items.end()); }

private:
    std::vector<Item*> m_items;
};

struct Column {
    std::wstring heading;
    int width = 0;
};

} // namespace

// What the substitute keeps for a window: a dialog or one of its controls.
struct HWND__ {
    Kind kind = Kind::Label;
    int id = 0;
    DWORD style = 0;
    std::wstring text;
    bool enabled = true;
    bool visible = true;
    int check = 0;
    Entries items;
    int selection = -1;
    HWND__* parent = nullptr;
    std::vector<std::unique_ptr<HWND__>> children;
    CWnd* attached = nullptr;      // the object that subclassed it
    std::unique_ptr<CWnd> wrapper; // what GetDlgItem hands out otherwise
    bool ended = false;
    int result = 0;
    std::vector<Column> columns; // list view
    DWORD extendedStyle = 0;
    std::wstring hint;     // the tooltip's text for this control
    HWND__* tip = nullptr; // the tooltip that shows it
    bool picture = false;  // a bitmap button whose picture is loaded
};

namespace {

Kind kindOf(const DLGITEMRESOURCE& item) {
    std::wstring cls = item.className ? item.className : L"";
    if (_wcsicmp(cls.c_str(), L"LISTBOX") == 0)
        return Kind::List;
    if (_wcsicmp(cls.c_str(), L"COMBOBOX") == 0)
        return Kind::Combo;
    if (_wcsicmp(cls.c_str(), L"EDIT") == 0)
        return Kind::Edit;
    if (_wcsicmp(cls.c_str(), L"SysListView32") == 0)
        return Kind::ListView;
    if (_wcsicmp(cls.c_str(), L"BUTTON") == 0) {
        switch (item.style & BS_TYPEMASK) {
        case BS_AUTOCHECKBOX:
            return Kind::CheckBox;
        case BS_AUTORADIOBUTTON:
            return Kind::Radio;
        case BS_GROUPBOX:
            return Kind::GroupBox;
        default:
            return Kind::PushButton;
        }
    }
    return Kind::Label;
}

HWND__* child(HWND window, int id) {
    if (!window)
        return nullptr;
    for (auto& c : window->children)
        if (c->id == id && id != -1)
            return c.get();
    return nullptr;
}

// The radios of the group that starts at `first`: up to the next control that starts a group.
std::vector<HWND__*> radioGroup(HWND__* first) {
    std::vector<HWND__*> group;
    if (!first || !first->parent)
        return group;
    auto& siblings = first->parent->children;
    auto it = std::find_if(siblings.begin(), siblings.end(),
                           [first](const auto& c) { return c.get() == first; });
    for (; it != siblings.end(); ++it) {
        if (it->get() != first && ((*it)->style & WS_GROUP))
            break;
        if ((*it)->kind == Kind::Radio)
            group.push_back(it->get());
    }
    return group;
}

// The group a radio stands in: back to the control that starts it.
HWND__* groupStart(HWND__* radio) {
    auto& siblings = radio->parent->children;
    auto it = std::find_if(siblings.begin(), siblings.end(),
                           [radio](const auto& c) { return c.get() == radio; });
    while (it != siblings.begin() && !((*it)->style & WS_GROUP))
        --it;
    return it->get();
}

int compareItems(const std::wstring& a, const std::wstring& b) {
    return _wcsicmp(a.c_str(), b.c_str());
}

int addItem(HWND window, const wchar_t* text, bool sorted) {
    if (!window)
        return LB_ERR;
    Item item{text ? text : L"", 0, {}};
    size_t at = window->items.size();
    // A sorted list finds the place by halving, after the entries that compare equal.
    if (sorted) {
        at = 0;
        for (size_t count = window->items.size(); count > 0;) {
            size_t half = count / 2;
            if (compareItems(window->items[at + half].text, item.text) <= 0) {
                at += half + 1;
                count -= half + 1;
            } else {
                count = half;
            }
        }
    }
    window->items.insert(at, std::move(item));
    if (window->selection >= static_cast<int>(at))
        ++window->selection;
    return static_cast<int>(at);
}

bool validIndex(HWND window, int index) {
    return window && index >= 0 && index < static_cast<int>(window->items.size());
}

// A combo with an edit field of its own, whose text need not be an item.
bool editableCombo(const HWND__* window) {
    return window && window->kind == Kind::Combo && (window->style & 0x3) == CBS_DROPDOWN;
}

// A long list shows its first items; the others are still there to be checked by text.
constexpr size_t kShownItems = 100;

std::wstring quoted(const std::wstring& text) {
    return L"\"" + text + L"\"";
}

// One line per visible control, as the user sees it: kind, id, text and state.
std::vector<std::wstring> describe(HWND dialog) {
    std::vector<std::wstring> lines;
    for (auto& c : dialog->children) {
        if (!c->visible)
            continue;
        std::wstring id = std::to_wstring(c->id);
        std::wstring line;
        switch (c->kind) {
        case Kind::Label:
            if (c->style & SS_ETCHEDHORZ || c->text.empty())
                continue;
            line = c->text;
            break;
        case Kind::GroupBox:
            line = L"-- " + c->text + L" --";
            break;
        case Kind::PushButton:
            line = id + L" button " + quoted(c->text) +
                   ((c->style & BS_TYPEMASK) == BS_DEFPUSHBUTTON ? L" (default)" : L"");
            if (c->picture)
                line += L" (picture)";
            if (c->tip && c->tip->enabled && !c->hint.empty())
                line += L" hint " + quoted(c->hint);
            break;
        case Kind::CheckBox:
            line = id + L" check " + (c->check ? L"[x] " : L"[ ] ") + quoted(c->text);
            break;
        case Kind::Radio:
            line = id + L" radio " + (c->check ? L"(o) " : L"( ) ") + quoted(c->text);
            break;
        case Kind::Edit:
            line =
                id + L" edit " + quoted(c->text) + (c->style & ES_READONLY ? L" (read-only)" : L"");
            break;
        case Kind::ListView: {
            line = id + L" list view";
            for (size_t k = 0; k < c->columns.size(); ++k)
                line += (k ? L" | " : L" ") + quoted(c->columns[k].heading);
            if (c->items.empty())
                line += L" (empty)";
            for (size_t i = 0; i < c->items.size(); ++i) {
                const Item& row = c->items[i];
                line += L"\n     ";
                line += (static_cast<int>(i) == c->selection ? L"> " : L"") + quoted(row.text);
                for (size_t k = 1; k < c->columns.size(); ++k)
                    line += L" | " + quoted(k - 1 < row.more.size() ? row.more[k - 1] : L"");
            }
            break;
        }
        case Kind::ToolTip:
            continue;
        case Kind::Combo: {
            if (editableCombo(c.get()))
                line = id + L" combo edit " + quoted(c->text) + L" of";
            else
                line = id + L" combo " +
                       (validIndex(c.get(), c->selection) ? quoted(c->items[c->selection].text)
                                                          : std::wstring(L"(none)")) +
                       L" of";
            for (const Item& item : c->items)
                line += L" " + quoted(item.text);
            break;
        }
        case Kind::List: {
            bool checks = c->attached && dynamic_cast<CCheckListBox*>(c->attached);
            line = id + L" list";
            if (c->items.empty())
                line += L" (empty)";
            for (size_t i = 0; i < c->items.size(); ++i) {
                if (i == kShownItems) {
                    line += L"\n     (and " + std::to_wstring(c->items.size() - i) + L" more)";
                    break;
                }
                line += L"\n     ";
                if (checks)
                    line += c->items[i].check ? L"[x] " : L"[ ] ";
                line +=
                    (static_cast<int>(i) == c->selection ? L"> " : L"") + quoted(c->items[i].text);
            }
            break;
        }
        case Kind::Dialog:
            continue;
        }
        if (!c->enabled)
            line += L" (disabled)";
        lines.push_back(line);
    }
    return lines;
}

} // namespace

// --- CWnd ---

const AFX_MSGMAP* CWnd::GetThisMessageMap() {
    static const AFX_MSGMAP_ENTRY entries[] = {{0, 0, nullptr}};
    static const AFX_MSGMAP map = {nullptr, &entries[0]};
    return &map;
}

const AFX_MSGMAP* CWnd::GetMessageMap() const {
    return GetThisMessageMap();
}

BOOL CWnd::OnCmdMsg(UINT id, UINT code) {
    for (const AFX_MSGMAP* map = GetMessageMap(); map;
         map = map->pfnGetBaseMap ? map->pfnGetBaseMap() : nullptr) {
        for (const AFX_MSGMAP_ENTRY* e = map->lpEntries; e->pfn; ++e) {
            if (e->nID == id && e->nCode == code) {
                (this->*(e->pfn))();
                return TRUE;
            }
        }
    }
    return FALSE;
}

CWnd* CWnd::GetDlgItem(int id) const {
    HWND__* c = child(m_hWnd, id);
    if (!c)
        return nullptr;
    if (c->attached)
        return c->attached;
    if (!c->wrapper)
        c->wrapper = std::make_unique<CWnd>(c);
    return c->wrapper.get();
}

int CWnd::GetDlgCtrlID() const {
    return m_hWnd ? m_hWnd->id : 0;
}

BOOL CWnd::EnableWindow(BOOL enable) {
    if (!m_hWnd)
        return FALSE;
    BOOL wasDisabled = !m_hWnd->enabled;
    m_hWnd->enabled = enable != FALSE;
    return wasDisabled;
}

BOOL CWnd::IsWindowEnabled() const {
    return m_hWnd && m_hWnd->enabled;
}

BOOL CWnd::ShowWindow(int command) {
    if (!m_hWnd)
        return FALSE;
    BOOL wasVisible = m_hWnd->visible;
    m_hWnd->visible = command != SW_HIDE;
    return wasVisible;
}

BOOL CWnd::IsWindowVisible() const {
    return m_hWnd && m_hWnd->visible;
}

void CWnd::SetWindowText(const wchar_t* text) {
    if (m_hWnd)
        m_hWnd->text = text ? text : L"";
}

void CWnd::GetWindowText(CString& text) const {
    // A drop-down list shows its selected item; other windows their own text.
    if (m_hWnd && m_hWnd->kind == Kind::Combo && !editableCombo(m_hWnd))
        text = validIndex(m_hWnd, m_hWnd->selection) ? m_hWnd->items[m_hWnd->selection].text.c_str()
                                                     : L"";
    else
        text = m_hWnd ? m_hWnd->text.c_str() : L"";
}

BOOL CWnd::UpdateData(BOOL saveAndValidate) {
    CDataExchange exchange(this, saveAndValidate);
    try {
        DoDataExchange(&exchange);
    } catch (CUserException*) {
        return FALSE;
    }
    return TRUE;
}

// --- data exchange ---

void CDataExchange::Fail() {
    static CUserException failure;
    throw &failure;
}

HWND CDataExchange::PrepareCtrl(int id) {
    HWND c = child(m_pDlgWnd ? m_pDlgWnd->m_hWnd : nullptr, id);
    if (!c)
        Fail();
    return c;
}

void DDX_Check(CDataExchange* pDX, int id, int& value) {
    HWND c = pDX->PrepareCtrl(id);
    if (pDX->m_bSaveAndValidate) {
        value = c->check;
    } else {
        c->check = value >= 0 && value <= 2 ? value : 0;
    }
}

void DDX_Radio(CDataExchange* pDX, int id, int& value) {
    HWND first = pDX->PrepareCtrl(id);
    if (pDX->m_bSaveAndValidate)
        value = -1;
    int index = 0;
    for (HWND__* radio : radioGroup(first)) {
        if (pDX->m_bSaveAndValidate) {
            if (radio->check)
                value = index;
        } else {
            radio->check = index == value ? 1 : 0;
        }
        ++index;
    }
}

void DDX_Text(CDataExchange* pDX, int id, CString& value) {
    HWND c = pDX->PrepareCtrl(id);
    if (pDX->m_bSaveAndValidate)
        value = c->text.c_str();
    else
        c->text = static_cast<const wchar_t*>(value);
}

void DDX_Control(CDataExchange* pDX, int id, CWnd& control) {
    if (control.m_hWnd)
        return;
    HWND c = pDX->PrepareCtrl(id);
    control.m_hWnd = c;
    c->attached = &control;
}

// --- controls ---

int CButton::GetCheck() const {
    return m_hWnd ? m_hWnd->check : 0;
}

void CButton::SetCheck(int state) {
    if (m_hWnd)
        m_hWnd->check = state;
}

int CListBox::GetCount() const {
    return m_hWnd ? static_cast<int>(m_hWnd->items.size()) : LB_ERR;
}

int CListBox::AddString(const wchar_t* text) {
    return addItem(m_hWnd, text, m_hWnd && (m_hWnd->style & LBS_SORT));
}

int CListBox::DeleteString(UINT index) {
    if (!validIndex(m_hWnd, static_cast<int>(index)))
        return LB_ERR;
    m_hWnd->items.erase(index);
    if (m_hWnd->selection == static_cast<int>(index))
        m_hWnd->selection = -1;
    else if (m_hWnd->selection > static_cast<int>(index))
        --m_hWnd->selection;
    return static_cast<int>(m_hWnd->items.size());
}

void CListBox::ResetContent() {
    if (m_hWnd) {
        m_hWnd->items.clear();
        m_hWnd->selection = -1;
    }
}

int CListBox::GetText(int index, CString& text) const {
    if (!validIndex(m_hWnd, index))
        return LB_ERR;
    text = m_hWnd->items[index].text.c_str();
    return text.GetLength();
}

int CListBox::GetTextLen(int index) const {
    return validIndex(m_hWnd, index) ? static_cast<int>(m_hWnd->items[index].text.size()) : LB_ERR;
}

int CListBox::GetCurSel() const {
    return m_hWnd ? m_hWnd->selection : LB_ERR;
}

int CListBox::SetCurSel(int index) {
    if (!m_hWnd)
        return LB_ERR;
    m_hWnd->selection = validIndex(m_hWnd, index) ? index : -1;
    return index == -1 || validIndex(m_hWnd, index) ? 0 : LB_ERR;
}

void CCheckListBox::SetCheck(int index, int state) {
    if (validIndex(m_hWnd, index))
        m_hWnd->items[index].check = state;
}

int CCheckListBox::GetCheck(int index) const {
    return validIndex(m_hWnd, index) ? m_hWnd->items[index].check : 0;
}

int CComboBox::GetCount() const {
    return m_hWnd ? static_cast<int>(m_hWnd->items.size()) : CB_ERR;
}

int CComboBox::AddString(const wchar_t* text) {
    return addItem(m_hWnd, text, m_hWnd && (m_hWnd->style & CBS_SORT));
}

void CComboBox::ResetContent() {
    if (m_hWnd) {
        m_hWnd->items.clear();
        m_hWnd->selection = -1;
    }
}

int CComboBox::GetLBText(int index, CString& text) const {
    if (!validIndex(m_hWnd, index))
        return CB_ERR;
    text = m_hWnd->items[index].text.c_str();
    return text.GetLength();
}

int CComboBox::FindStringExact(int start, const wchar_t* text) const {
    if (!m_hWnd)
        return CB_ERR;
    int count = static_cast<int>(m_hWnd->items.size());
    std::wstring wanted = text ? text : L"";
    // The search runs to the end and wraps round to the start.
    for (int k = 1; k <= count; ++k) {
        int i = ((start < 0 ? -1 : start) + k) % count;
        if (compareItems(m_hWnd->items[i].text, wanted) == 0)
            return i;
    }
    return CB_ERR;
}

int CComboBox::GetCurSel() const {
    return m_hWnd ? m_hWnd->selection : CB_ERR;
}

int CComboBox::SetCurSel(int index) {
    if (!m_hWnd)
        return CB_ERR;
    if (!validIndex(m_hWnd, index)) {
        m_hWnd->selection = -1;
        if (editableCombo(m_hWnd))
            m_hWnd->text.clear();
        return CB_ERR;
    }
    m_hWnd->selection = index;
    if (editableCombo(m_hWnd))
        m_hWnd->text = m_hWnd->items[index].text;
    return index;
}

// --- list view ---

int CListCtrl::InsertColumn(int column, const wchar_t* heading, int, int width) {
    if (!m_hWnd || column < 0)
        return -1;
    size_t at = std::min(static_cast<size_t>(column), m_hWnd->columns.size());
    m_hWnd->columns.insert(m_hWnd->columns.begin() + static_cast<std::ptrdiff_t>(at),
                           Column{heading ? heading : L"", width});
    return static_cast<int>(at);
}

DWORD CListCtrl::SetExtendedStyle(DWORD style) {
    if (!m_hWnd)
        return 0;
    DWORD old = m_hWnd->extendedStyle;
    m_hWnd->extendedStyle = style;
    return old;
}

DWORD CListCtrl::GetExtendedStyle() const {
    return m_hWnd ? m_hWnd->extendedStyle : 0;
}

int CListCtrl::GetItemCount() const {
    return m_hWnd ? static_cast<int>(m_hWnd->items.size()) : 0;
}

UINT CListCtrl::GetSelectedCount() const {
    return validIndex(m_hWnd, m_hWnd ? m_hWnd->selection : -1) ? 1 : 0;
}

int CListCtrl::GetNextItem(int start, int flags) const {
    if (!m_hWnd)
        return -1;
    int count = static_cast<int>(m_hWnd->items.size());
    for (int i = start < 0 ? 0 : start + 1; i < count; ++i)
        if (!(flags & LVNI_SELECTED) || i == m_hWnd->selection)
            return i;
    return -1;
}

BOOL CListCtrl::SetItemState(int row, UINT state, UINT mask) {
    if (!validIndex(m_hWnd, row) || !(mask & LVNI_SELECTED))
        return FALSE;
    if (state & LVNI_SELECTED)
        m_hWnd->selection = row;
    else if (m_hWnd->selection == row)
        m_hWnd->selection = -1;
    return TRUE;
}

CString CListCtrl::GetItemText(int row, int column) const {
    if (!validIndex(m_hWnd, row) || column < 0)
        return CString();
    const Item& item = m_hWnd->items[row];
    if (column == 0)
        return CString(item.text.c_str());
    size_t k = static_cast<size_t>(column) - 1;
    return CString(k < item.more.size() ? item.more[k].c_str() : L"");
}

BOOL CListCtrl::SetItemText(int row, int column, const wchar_t* text) {
    if (!validIndex(m_hWnd, row) || column < 0 ||
        (column > 0 && static_cast<size_t>(column) >= m_hWnd->columns.size()))
        return FALSE;
    Item& item = m_hWnd->items[row];
    if (column == 0) {
        item.text = text ? text : L"";
        return TRUE;
    }
    if (item.more.size() < static_cast<size_t>(column))
        item.more.resize(static_cast<size_t>(column));
    item.more[static_cast<size_t>(column) - 1] = text ? text : L"";
    return TRUE;
}

int CListCtrl::InsertItem(int row, const wchar_t* text) {
    if (!m_hWnd || row < 0)
        return -1;
    size_t at = std::min(static_cast<size_t>(row), m_hWnd->items.size());
    m_hWnd->items.insert(at, Item{text ? text : L"", 0, {}});
    if (m_hWnd->selection >= static_cast<int>(at))
        ++m_hWnd->selection;
    return static_cast<int>(at);
}

BOOL CListCtrl::DeleteItem(int row) {
    if (!validIndex(m_hWnd, row))
        return FALSE;
    m_hWnd->items.erase(static_cast<size_t>(row));
    if (m_hWnd->selection == row)
        m_hWnd->selection = -1;
    else if (m_hWnd->selection > row)
        --m_hWnd->selection;
    return TRUE;
}

BOOL CListCtrl::DeleteAllItems() {
    if (!m_hWnd)
        return FALSE;
    m_hWnd->items.clear();
    m_hWnd->selection = -1;
    return TRUE;
}

// --- tooltips and the host's dialog classes ---

BOOL CToolTipCtrl::Create(CWnd* parent, DWORD style) {
    if (m_hWnd || !parent || !parent->m_hWnd)
        return FALSE;
    auto tip = std::make_unique<HWND__>();
    tip->kind = Kind::ToolTip;
    tip->id = -1;
    tip->style = style;
    tip->visible = false;
    tip->enabled = false; // shows nothing until activated
    tip->parent = parent->m_hWnd;
    tip->attached = this;
    m_hWnd = tip.get();
    parent->m_hWnd->children.push_back(std::move(tip));
    return TRUE;
}

BOOL CToolTipCtrl::AddTool(CWnd* tool, const wchar_t* text) {
    if (!m_hWnd || !tool || !tool->m_hWnd)
        return FALSE;
    tool->m_hWnd->hint = text ? text : L"";
    tool->m_hWnd->tip = m_hWnd;
    return TRUE;
}

void CToolTipCtrl::Activate(BOOL active) {
    if (m_hWnd)
        m_hWnd->enabled = active != FALSE;
}

void CAdUiBaseDialog::BeginEditorCommand() {
    if (m_hWnd)
        m_hWnd->visible = false;
}

void CAdUiBaseDialog::CompleteEditorCommand(BOOL) {
    if (m_hWnd)
        m_hWnd->visible = true;
}

BOOL CAcUiBitmapButton::AutoLoad() {
    if (!m_hWnd)
        return FALSE;
    m_hWnd->picture = true;
    m_loaded = TRUE;
    return TRUE;
}

int CWnd::MessageBox(const wchar_t* text, const wchar_t* caption, UINT type) {
    return MessageBoxW(m_hWnd, text, caption, type);
}

// --- CDialog ---

namespace {

// Makes the dialog's window and its controls from the template.
std::unique_ptr<HWND__> createFromTemplate(const DLGRESOURCE& resource) {
    auto dialog = std::make_unique<HWND__>();
    dialog->kind = Kind::Dialog;
    dialog->id = static_cast<int>(resource.id);
    dialog->text = resource.caption ? resource.caption : L"";
    for (int i = 0; i < resource.itemCount; ++i) {
        const DLGITEMRESOURCE& item = resource.items[i];
        auto c = std::make_unique<HWND__>();
        c->kind = kindOf(item);
        c->id = item.id;
        c->style = item.style;
        c->text = item.text ? item.text : L"";
        c->visible = (item.style & WS_VISIBLE) != 0;
        c->enabled = (item.style & WS_DISABLED) == 0;
        c->parent = dialog.get();
        dialog->children.push_back(std::move(c));
    }
    return dialog;
}

// A click on a control as the user makes it: the control changes, then the dialog hears.
void click(CDialog& dialog, HWND__* c) {
    if (c->kind == Kind::CheckBox)
        c->check = c->check ? 0 : 1;
    if (c->kind == Kind::Radio) {
        for (HWND__* r : radioGroup(groupStart(c)))
            r->check = r == c ? 1 : 0;
    }
    if (c->id == IDOK && !dialog.OnCmdMsg(IDOK, BN_CLICKED)) {
        dialog.OnOK();
        return;
    }
    if (c->id == IDCANCEL && !dialog.OnCmdMsg(IDCANCEL, BN_CLICKED)) {
        dialog.OnCancel();
        return;
    }
    dialog.OnCmdMsg(static_cast<UINT>(c->id), BN_CLICKED);
}

int findItem(HWND__* c, const std::wstring& text) {
    for (size_t i = 0; i < c->items.size(); ++i)
        if (c->items[i].text == text)
            return static_cast<int>(i);
    for (size_t i = 0; i < c->items.size(); ++i)
        if (compareItems(c->items[i].text, text) == 0)
            return static_cast<int>(i);
    return -1;
}

// Carries out one action; the reason when it could not be done.
std::wstring apply(CDialog& dialog, const lmhost::DialogAction& action) {
    using lmhost::DialogAction;
    if (action.kind == DialogAction::Ok) {
        if (!dialog.OnCmdMsg(IDOK, BN_CLICKED))
            dialog.OnOK();
        return L"";
    }
    if (action.kind == DialogAction::Cancel) {
        if (!dialog.OnCmdMsg(IDCANCEL, BN_CLICKED))
            dialog.OnCancel();
        return L"";
    }
    HWND__* c = child(dialog.m_hWnd, action.controlId);
    std::wstring id = std::to_wstring(action.controlId);
    if (!c || !c->visible)
        return L"the dialog has no control " + id;
    if (!c->enabled)
        return L"the control " + id + L" is disabled";
    switch (action.kind) {
    case DialogAction::Press:
        if (c->kind != Kind::PushButton && c->kind != Kind::CheckBox && c->kind != Kind::Radio)
            return L"the control " + id + L" is no button";
        click(dialog, c);
        return L"";
    case DialogAction::Check: {
        int state = action.text == L"1" ? 1 : 0;
        if (!action.item.empty()) {
            if (c->kind != Kind::List || !dynamic_cast<CCheckListBox*>(c->attached))
                return L"the control " + id + L" is no check list";
            int index = findItem(c, action.item);
            if (index < 0)
                return L"the list " + id + L" has no item " + quoted(action.item);
            c->items[index].check = state;
            return L"";
        }
        if (c->kind != Kind::CheckBox)
            return L"the control " + id + L" is no check box";
        if (c->check != state)
            click(dialog, c);
        return L"";
    }
    case DialogAction::Choose: {
        if (c->kind == Kind::Radio && action.text.empty()) {
            click(dialog, c);
            return L"";
        }
        if (c->kind != Kind::Combo && c->kind != Kind::List && c->kind != Kind::ListView)
            return L"the control " + id + L" is no list, combo or radio";
        int index = findItem(c, action.text);
        if (index < 0)
            return L"the control " + id + L" has no item " + quoted(action.text);
        c->selection = index;
        if (editableCombo(c))
            c->text = c->items[index].text;
        if (c->kind != Kind::ListView)
            dialog.OnCmdMsg(static_cast<UINT>(c->id),
                            c->kind == Kind::Combo ? CBN_SELCHANGE : LBN_SELCHANGE);
        return L"";
    }
    case DialogAction::Type:
        if (editableCombo(c)) {
            // Typed text is no choice from the list.
            c->text = action.text;
            c->selection = -1;
            return L"";
        }
        if (c->kind != Kind::Edit)
            return L"the control " + id + L" is no edit field";
        if (c->style & ES_READONLY)
            return L"the edit field " + id + L" is read-only";
        c->text = action.text;
        return L"";
    default:
        return L"";
    }
}

} // namespace

const AFX_MSGMAP* CDialog::GetThisMessageMap() {
    static const AFX_MSGMAP_ENTRY entries[] = {{0, 0, nullptr}};
    static const AFX_MSGMAP map = {&CWnd::GetThisMessageMap, &entries[0]};
    return &map;
}

const AFX_MSGMAP* CDialog::GetMessageMap() const {
    return GetThisMessageMap();
}

CDialog::~CDialog() = default;

namespace {

// Runs a dialog whose window is made: its initialisation, then the driver's actions until
// it ends.
INT_PTR runModal(CDialog& dialog, std::unique_ptr<HWND__> window) {
    dialog.m_hWnd = window.get();
    window->attached = &dialog;
    // Whatever happens, the controls' objects let go of the windows that go away.
    struct Detach {
        CDialog* dialog;
        HWND__* window;
        ~Detach() {
            for (auto& c : window->children)
                if (c->attached)
                    c->attached->m_hWnd = nullptr;
            dialog->m_hWnd = nullptr;
        }
    } detach{&dialog, window.get()};

    dialog.OnInitDialog();
    std::wstring notice;
    while (!window->ended) {
        lmhost::DialogView view{window->text, describe(window.get()), notice};
        lmhost::DialogDriver* driver = lmhost::dialogDriver();
        std::optional<lmhost::DialogAction> action =
            driver ? driver->nextAction(view) : std::nullopt;
        if (!action) {
            // With nobody left to answer, the dialog is closed as by its close box.
            dialog.OnCancel();
            break;
        }
        // As the framework's window procedure does, an exception a handler lets go is
        // reported and the dialog goes on.
        try {
            notice = apply(dialog, *action);
        } catch (CException* e) {
            e->ReportError();
            e->Delete();
            notice.clear();
        }
    }
    return window->result;
}

} // namespace

INT_PTR CDialog::DoModal() {
    HINSTANCE module = AfxFindResourceHandle(m_nIDHelp);
    const DLGRESOURCE* resource = module ? FindDialogResource(module, m_nIDHelp) : nullptr;
    if (!resource)
        return -1;
    return runModal(*this, createFromTemplate(*resource));
}

// --- file dialogs ---

CFileDialog::CFileDialog(BOOL openFileDialog, const wchar_t* defaultExtension,
                         const wchar_t* fileName, DWORD flags, const wchar_t* filter, CWnd* parent,
                         DWORD, BOOL)
    : CDialog(0, parent), m_bOpenFileDialog(openFileDialog), m_flags(flags),
      m_defaultExtension(defaultExtension ? defaultExtension : L""),
      m_fileName(fileName ? fileName : L""), m_filter(filter ? filter : L"") {}

INT_PTR CFileDialog::DoModal() {
    auto dialog = std::make_unique<HWND__>();
    dialog->kind = Kind::Dialog;
    dialog->text = m_bOpenFileDialog ? L"Open" : L"Save As";
    auto add = [&dialog](Kind kind, int id, const std::wstring& text, DWORD style) {
        auto c = std::make_unique<HWND__>();
        c->kind = kind;
        c->id = id;
        c->text = text;
        c->style = style;
        c->parent = dialog.get();
        dialog->children.push_back(std::move(c));
    };
    add(Kind::Label, -1, L"File name:", 0);
    add(Kind::Edit, IDC_FILE_NAME, static_cast<const wchar_t*>(m_fileName), 0);
    // The filter's first description: "Text (*.txt)|*.txt||".
    std::wstring filter = static_cast<const wchar_t*>(m_filter);
    std::wstring type = filter.substr(0, filter.find(L'|'));
    if (!type.empty())
        add(Kind::Label, -1, (m_bOpenFileDialog ? L"Files of type: " : L"Save as type: ") + type,
            0);
    add(Kind::PushButton, IDOK, m_bOpenFileDialog ? L"Open" : L"Save", BS_DEFPUSHBUTTON);
    add(Kind::PushButton, IDCANCEL, L"Cancel", 0);
    m_path.Empty();
    return runModal(*this, std::move(dialog));
}

void CFileDialog::OnOK() {
    CString typed;
    if (CWnd* field = GetDlgItem(IDC_FILE_NAME))
        field->GetWindowText(typed);
    typed.Trim();
    if (typed.IsEmpty())
        return;
    std::wstring path = static_cast<const wchar_t*>(typed);
    // The dialog hands out full paths: a typed relative name is taken from the working
    // folder, as the dialog's own folder.
    if (path[0] != L'/') {
        char here[4096];
        if (::getcwd(here, sizeof here))
            path = lmhost::widen(here) + L"/" + path;
    }
    size_t slash = path.find_last_of(L"/\\");
    std::wstring leaf = slash == std::wstring::npos ? path : path.substr(slash + 1);
    // A typed name without an extension gets the default one, unless it names something
    // that is there as typed.
    if (leaf.find(L'.') == std::wstring::npos && !m_defaultExtension.IsEmpty() &&
        ::access(lmhost::narrow(path).c_str(), F_OK) != 0) {
        leaf += L"." + std::wstring(static_cast<const wchar_t*>(m_defaultExtension));
        path += L"." + std::wstring(static_cast<const wchar_t*>(m_defaultExtension));
    }
    if (!m_bOpenFileDialog && (m_flags & OFN_OVERWRITEPROMPT) &&
        ::access(lmhost::narrow(path).c_str(), F_OK) == 0) {
        std::wstring question = leaf + L" already exists.\nDo you want to replace it?";
        if (MessageBox(question.c_str(), L"Confirm Save As", MB_YESNO | MB_ICONWARNING) != IDYES)
            return;
    }
    m_path = path.c_str();
    EndDialog(IDOK);
}

void CDialog::EndDialog(int result) {
    if (m_hWnd) {
        m_hWnd->ended = true;
        m_hWnd->result = result;
    }
}

BOOL CDialog::OnInitDialog() {
    UpdateData(FALSE);
    return TRUE;
}

void CDialog::OnOK() {
    if (!UpdateData(TRUE))
        return;
    EndDialog(IDOK);
}

void CDialog::OnCancel() {
    EndDialog(IDCANCEL);
}
