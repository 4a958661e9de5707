// A sheet's formulas and their stored results, and the workbook's calculation.
#include "spreadsheet/WorkbookImpl.h"

#include "spreadsheet/Calculation.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace spreadsheet {

// ---- formulas ----------------------------------------------------------------------------

int Worksheet::index() const {
    for (std::size_t i = 0; i < m_book->m_sheets.size(); ++i)
        if (m_book->m_sheets[i].get() == this)
            return int(i);
    return -1;
}

std::vector<StoredFormula> Worksheet::formulas() {
    std::vector<StoredFormula> out;
    if (loadAll() != Status::Ok)
        return out;
    for (const auto& c : m_data->cells) {
        pugi::xml_node f, v;
        for (auto child = c.node.first_child(); child; child = child.next_sibling()) {
            auto n = localName(child.name());
            if (n == "f")
                f = child;
            else if (n == "v")
                v = child;
        }
        if (!f)
            continue;
        StoredFormula sf;
        sf.row = c.row;
        sf.col = c.col;
        sf.text = fromUtf8(f.text().get());
        sf.kind = f.attribute("t").value();
        sf.sharedIndex = intAttr(f.attribute("si"), -1);
        sf.hasValue = bool(v);
        out.push_back(std::move(sf));
    }
    return out;
}

std::wstring Worksheet::formula(int row, int col) {
    if (loadAll() != Status::Ok)
        return L"";
    const CellEntry* e = m_data->find(row, col);
    if (!e)
        return L"";
    pugi::xml_node f;
    for (auto child = e->node.first_child(); child && !f; child = child.next_sibling())
        if (localName(child.name()) == "f")
            f = child;
    std::wstring text = fromUtf8(f.text().get());
    if (!f || !text.empty() || std::string_view(f.attribute("t").value()) != "shared")
        return text;
    // A cell sharing another's formula: that formula, moved to this cell.
    int si = intAttr(f.attribute("si"), -1);
    for (const auto& c : m_data->cells)
        for (auto child = c.node.first_child(); child; child = child.next_sibling())
            if (localName(child.name()) == "f" && intAttr(child.attribute("si"), -2) == si &&
                std::string_view(child.attribute("t").value()) == "shared" && *child.text().get())
                return formula::moveFormula(fromUtf8(child.text().get()), row - c.row, col - c.col);
    return L"";
}

void Worksheet::storeResult(int row, int col, const CellValue& value) {
    if (loadAll() != Status::Ok)
        return;
    const CellEntry* e = m_data->find(row, col);
    if (!e)
        return;
    pugi::xml_node cell = e->node;
    for (auto child = cell.first_child(); child;) {
        auto next = child.next_sibling();
        if (localName(child.name()) == "v" || localName(child.name()) == "is")
            cell.remove_child(child);
        child = next;
    }
    cell.remove_attribute("t");
    auto setType = [&](const char* t) { cell.append_attribute("t") = t; };
    std::string text;
    switch (value.type) {
    case CellType::Empty:
        return;
    case CellType::Number:
        text = numberText(value.number);
        break;
    case CellType::Boolean:
        setType("b");
        text = value.number != 0 ? "1" : "0";
        break;
    case CellType::String:
        setType("str");
        text = toUtf8(value.string);
        break;
    case CellType::Error:
        setType("e");
        text = toUtf8(value.string);
        break;
    }
    auto v = cell.append_child("v");
    if (!text.empty() && (text.front() == ' ' || text.back() == ' '))
        v.append_attribute("xml:space") = "preserve";
    v.text() = text.c_str();
    m_data->modified = true;
    m_book->markDirty();
}

void Worksheet::forEachCell(const RangeRef& range, const std::function<void(int, int)>& visit) {
    if (loadAll() != Status::Ok)
        return;
    const auto& cells = m_data->cells;
    auto it = std::lower_bound(cells.begin(), cells.end(), range.first.row,
                               [](const CellEntry& e, int r) { return e.row < r; });
    for (; it != cells.end() && it->row <= range.last.row; ++it)
        if (it->col >= range.first.col && it->col <= range.last.col)
            visit(it->row, it->col);
}

bool Worksheet::mayBeStale(int row, int col) {
    CellValue v = value(row, col);
    return v.formula && m_book->m_calculation && m_book->m_calculation->mayBeStale(*this, row, col);
}

Calculation& Workbook::calculation() {
    if (!m_calculation)
        m_calculation = std::make_unique<Calculation>(*this);
    return *m_calculation;
}

bool Workbook::fullCalculationRequested() const {
    auto calcPr = childNamed(m_impl->workbookDoc.document_element(), "calcPr");
    std::string_view full = calcPr.attribute("fullCalcOnLoad").value();
    return full == "1" || full == "true";
}

void Workbook::requestFullCalculation() {
    if (fullCalculationRequested())
        return;
    auto root = m_impl->workbookDoc.document_element();
    if (!root)
        return;
    auto calcPr =
        ensureChild(root, "calcPr",
                    {"oleSize", "customWorkbookViews", "pivotCaches", "smartTagPr", "smartTagTypes",
                     "webPublishing", "fileRecoveryPr", "webPublishObjects", "extLst"});
    calcPr.remove_attribute("fullCalcOnLoad");
    calcPr.append_attribute("fullCalcOnLoad") = "1";
    m_impl->workbookModified = true;
    markDirty();
}

} // namespace spreadsheet
