// Reading a sheet: cells' values, formats and displayed text, column widths, the used
// range and the selection.
#include "spreadsheet/WorkbookImpl.h"

#include "spreadsheet/Calculation.h"
#include "spreadsheet/TextMetrics.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

namespace spreadsheet {

namespace {

bool parseNumberAttr(const char* s, double& out) {
    std::size_t n = std::strlen(s);
    auto res = std::from_chars(s, s + n, out);
    return res.ec == std::errc() && res.ptr == s + n && n > 0;
}

} // namespace

// ---- Worksheet ----------------------------------------------------------------------

Worksheet::Worksheet(Workbook* book, std::wstring name, std::string partName)
    : m_book(book), m_name(std::move(name)), m_partName(std::move(partName)) {}

Worksheet::~Worksheet() = default;

void Worksheet::setState(SheetState state) {
    if (state == m_state)
        return;
    m_state = state;
    auto sheets = childNamed(m_book->m_impl->workbookDoc.document_element(), "sheets");
    std::size_t i = 0;
    for (auto s = sheets.first_child(); s; s = s.next_sibling()) {
        if (localName(s.name()) != "sheet")
            continue;
        if (i < m_book->m_sheets.size() && m_book->m_sheets[i].get() == this) {
            s.remove_attribute("state");
            if (state != SheetState::Visible)
                s.append_attribute("state") = state == SheetState::Hidden ? "hidden" : "veryHidden";
        }
        ++i;
    }
    m_book->m_impl->workbookModified = true;
    m_book->markDirty();
}

Status Worksheet::load() {
    if (m_data)
        return Status::Ok;
    if (m_loadStatus != Status::Ok)
        return m_loadStatus;
    m_loadStatus = WorkbookImpl::loadSheet(*m_book, *this, false);
    return m_loadStatus;
}

Status Worksheet::loadAll() {
    Status st = load();
    if (st != Status::Ok || !m_data->light)
        return st;
    m_loadStatus = WorkbookImpl::loadSheet(*m_book, *this, true);
    if (m_loadStatus != Status::Ok)
        m_data.reset();
    return m_loadStatus;
}

namespace {

// TODAY() and NOW() change by themselves: such a formula is calculated whenever shown.
bool mentionsVolatile(std::string_view formula) {
    for (std::size_t i = 0; i < formula.size(); ++i) {
        auto at = [&](std::string_view word) {
            if (formula.size() - i < word.size())
                return false;
            for (std::size_t k = 0; k < word.size(); ++k)
                if (std::toupper((unsigned char)formula[i + k]) != word[k])
                    return false;
            return true;
        };
        if (at("TODAY(") || at("NOW("))
            return true;
    }
    return false;
}

CellValue readCell(pugi::xml_node node, SharedStrings& sst) {
    CellValue v;
    std::string_view t = node.attribute("t").value();
    pugi::xml_node vNode, fNode, isNode;
    for (auto c = node.first_child(); c; c = c.next_sibling()) {
        auto n = localName(c.name());
        if (n == "v")
            vNode = c;
        else if (n == "f")
            fNode = c;
        else if (n == "is")
            isNode = c;
    }
    v.formula = bool(fNode);
    v.calculate = fNode && (!vNode || mentionsVolatile(fNode.text().get()));
    const char* text = vNode.text().get();
    if (t == "s") {
        int idx = -1;
        auto res = std::from_chars(text, text + std::strlen(text), idx);
        if (res.ec == std::errc() && idx >= 0 && std::size_t(idx) < sst.size()) {
            v.type = CellType::String;
            v.string = sst.text(std::size_t(idx));
        }
    } else if (t == "inlineStr") {
        v.type = CellType::String;
        v.string = isNode ? stringItemText(isNode) : fromUtf8(text);
    } else if (t == "str") {
        v.type = CellType::String;
        v.string = fromUtf8(text);
    } else if (t == "b") {
        if (vNode) {
            v.type = CellType::Boolean;
            v.number = std::string_view(text) == "1" || std::string_view(text) == "true";
        }
    } else if (t == "e") {
        v.type = CellType::Error;
        v.string = fromUtf8(text);
    } else if (vNode) {
        double d = 0;
        if (parseNumberAttr(text, d) && std::isfinite(d)) {
            v.type = CellType::Number;
            v.number = d;
        } else {
            v.type = CellType::Error;
            v.string = L"#VALUE!";
        }
    }
    return v;
}

} // namespace

CellValue Worksheet::value(int row, int col) {
    CellValue v = storedValue(row, col);
    if (v.formula && (v.calculate || m_book->m_calculation || m_book->fullCalculationRequested()))
        v = m_book->calculation().current(*this, row, col);
    return v;
}

CellValue Worksheet::storedValue(int row, int col) {
    if (load() != Status::Ok)
        return {};
    if (m_data->light) {
        const LightCell* lc = lightCell(row, col);
        return lc ? lc->value : CellValue{};
    }
    const CellEntry* e = m_data->find(row, col);
    if (!e)
        return {};
    return readCell(e->node, m_book->m_impl->sharedStrings);
}

const LightCell* Worksheet::lightCell(int row, int col) {
    auto& d = *m_data;
    auto it = std::lower_bound(d.lightRows.begin(), d.lightRows.end(), row,
                               [](const LightRow& r, int k) { return r.row < k; });
    if (it == d.lightRows.end() || it->row != row)
        return nullptr;
    std::size_t idx = std::size_t(it - d.lightRows.begin());
    auto parsed = d.parsedRows.find(idx);
    if (parsed == d.parsedRows.end()) {
        std::vector<LightCell> cells;
        pugi::xml_document doc;
        std::string fragment = d.buffer.substr(it->begin, it->end - it->begin);
        Status st = parseXml(fragment, doc, m_book->m_impl->limits);
        if (st == Status::TooDeep || st == Status::TooManyNodes || st == Status::TooLarge) {
            // Not a damaged row but a hostile one: the sheet is refused, as a whole parse
            // would refuse it.
            m_data.reset();
            m_loadStatus = st;
            return nullptr;
        }
        if (st == Status::Ok) {
            int prevCol = 0;
            for (auto c = doc.document_element().first_child(); c; c = c.next_sibling()) {
                if (localName(c.name()) != "c")
                    continue;
                int colNum = prevCol + 1;
                CellRef ref;
                if (auto ra = c.attribute("r"))
                    colNum = parseCellRef(std::string_view(ra.value()), ref) && ref.row == row
                                 ? ref.col
                                 : kMaxColumns + 1;
                if (colNum > kMaxColumns)
                    break; // a damaged row reads as far as it is sound
                prevCol = colNum;
                cells.push_back({colNum, intAttr(c.attribute("s"), 0),
                                 readCell(c, m_book->m_impl->sharedStrings)});
            }
            std::stable_sort(cells.begin(), cells.end(),
                             [](const LightCell& x, const LightCell& y) { return x.col < y.col; });
        }
        parsed = d.parsedRows.emplace(idx, std::move(cells)).first;
    }
    auto& cells = parsed->second;
    auto c = std::lower_bound(cells.begin(), cells.end(), col,
                              [](const LightCell& x, int k) { return x.col < k; });
    return c != cells.end() && c->col == col ? &*c : nullptr;
}

std::wstring Worksheet::numberFormat(int row, int col) {
    if (load() != Status::Ok)
        return L"General";
    int style = 0;
    if (m_data->light) {
        if (const LightCell* lc = lightCell(row, col))
            style = lc->style;
    } else if (const CellEntry* e = m_data->find(row, col)) {
        style = intAttr(e->node.attribute("s"), 0);
    }
    return m_book->m_impl->formatCode(style);
}

std::wstring displayText(WorkbookImpl& impl, const CellValue& v, const std::wstring& code,
                         int contentPixels) {
    switch (v.type) {
    case CellType::Empty:
        return L"";
    case CellType::Boolean:
        return v.number != 0 ? L"TRUE" : L"FALSE";
    case CellType::Error:
        return v.string;
    case CellType::String:
        return impl.format(code).formatText(v.string);
    case CellType::Number:
        return impl.format(code).formatNumber(v.number, {impl.date1904, contentPixels});
    }
    return L"";
}

std::wstring Worksheet::text(int row, int col) {
    CellValue v = value(row, col);
    if (v.type == CellType::Empty)
        return L"";
    return displayText(*m_book->m_impl, v, numberFormat(row, col), columnContentPixels(col));
}

double Worksheet::columnWidth(int col) {
    if (load() != Status::Ok)
        return 0;
    for (const auto& c : m_data->cols)
        if (col >= c.min && col <= c.max)
            return c.width;
    return m_data->defaultWidth;
}

int Worksheet::columnContentPixels(int col) {
    return std::max(0, columnPixels(columnWidth(col)) - kCellPaddingPixels);
}

RangeRef Worksheet::usedRange() {
    RangeRef r{{1, 1}, {1, 1}};
    if (loadAll() != Status::Ok || m_data->cells.empty())
        return r;
    r.first = {m_data->cells.front().row, kMaxColumns};
    r.last = {m_data->cells.back().row, 1};
    for (const auto& c : m_data->cells) {
        r.first.col = std::min(r.first.col, c.col);
        r.last.col = std::max(r.last.col, c.col);
    }
    return r;
}

std::vector<CellRef> Worksheet::cells() {
    std::vector<CellRef> out;
    if (loadAll() != Status::Ok)
        return out;
    out.reserve(m_data->cells.size());
    for (const auto& c : m_data->cells)
        out.push_back({c.row, c.col});
    return out;
}

CellRef Worksheet::activeCell() {
    if (load() != Status::Ok)
        return {1, 1};
    return m_data->activeCell;
}

const std::wstring& Worksheet::selectionRef() {
    static const std::wstring a1 = L"A1";
    if (load() != Status::Ok)
        return a1;
    return m_data->sqref;
}

} // namespace spreadsheet
