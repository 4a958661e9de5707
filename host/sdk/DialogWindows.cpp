// Modal dialogs and their controls: windows made from a module's template, data exchange,
// message maps, and the loop that asks the dialog driver for the user's actions.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "afxdllx.h"
#include "afxwin.h"
#include "sdk/control/Dialogs.h"
#include "winres.h"

namespace {

enum class Kind { Dialog, PushButton, CheckBox, Radio, GroupBox, List, Combo, Label, Edit };

struct Item {
    std::wstring text;
    int check = 0;
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
    std::vector<Item> items;
    int selection = -1;
    HWND__* parent = nullptr;
    std::vector<std::unique_ptr<HWND__>> children;
    CWnd* attached = nullptr;      // the object that subclassed it
    std::unique_ptr<CWnd> wrapper; // what GetDlgItem hands out otherwise
    bool ended = false;
    int result = 0;
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
    Item item{text ? text : L"", 0};
    size_t at = window->items.size();
    if (sorted) {
        at = 0;
        while (at < window->items.size() && compareItems(window->items[at].text, item.text) <= 0)
            ++at;
    }
    window->items.insert(window->items.begin() + static_cast<std::ptrdiff_t>(at), item);
    if (window->selection >= static_cast<int>(at))
        ++window->selection;
    return static_cast<int>(at);
}

bool validIndex(HWND window, int index) {
    return window && index >= 0 && index < static_cast<int>(window->items.size());
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
            break;
        case Kind::CheckBox:
            line = id + L" check " + (c->check ? L"[x] " : L"[ ] ") + quoted(c->text);
            break;
        case Kind::Radio:
            line = id + L" radio " + (c->check ? L"(o) " : L"( ) ") + quoted(c->text);
            break;
        case Kind::Edit:
            line = id + L" edit " + quoted(c->text);
            break;
        case Kind::Combo: {
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
    m_hWnd->items.erase(m_hWnd->items.begin() + index);
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

int CComboBox::GetCurSel() const {
    return m_hWnd ? m_hWnd->selection : CB_ERR;
}

int CComboBox::SetCurSel(int index) {
    if (!m_hWnd)
        return CB_ERR;
    if (!validIndex(m_hWnd, index)) {
        m_hWnd->selection = -1;
        return CB_ERR;
    }
    m_hWnd->selection = index;
    return index;
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
        if (c->kind != Kind::Combo && c->kind != Kind::List)
            return L"the control " + id + L" is no list, combo or radio";
        int index = findItem(c, action.text);
        if (index < 0)
            return L"the control " + id + L" has no item " + quoted(action.text);
        c->selection = index;
        dialog.OnCmdMsg(static_cast<UINT>(c->id),
                        c->kind == Kind::Combo ? CBN_SELCHANGE : LBN_SELCHANGE);
        return L"";
    }
    case DialogAction::Type:
        if (c->kind != Kind::Edit)
            return L"the control " + id + L" is no edit field";
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

INT_PTR CDialog::DoModal() {
    HINSTANCE module = AfxFindResourceHandle(m_nIDHelp);
    const DLGRESOURCE* resource = module ? FindDialogResource(module, m_nIDHelp) : nullptr;
    if (!resource)
        return -1;
    std::unique_ptr<HWND__> window = createFromTemplate(*resource);
    m_hWnd = window.get();
    window->attached = this;
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
    } detach{this, window.get()};

    OnInitDialog();
    std::wstring notice;
    while (!window->ended) {
        lmhost::DialogView view{window->text, describe(window.get()), notice};
        lmhost::DialogDriver* driver = lmhost::dialogDriver();
        std::optional<lmhost::DialogAction> action =
            driver ? driver->nextAction(view) : std::nullopt;
        if (!action) {
            // With nobody left to answer, the dialog is closed as by its close box.
            OnCancel();
            break;
        }
        notice = apply(*this, *action);
    }
    return window->result;
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
