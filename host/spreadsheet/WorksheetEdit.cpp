// Changing a sheet: typed entries into cells, the selection, and derived cell formats.
#include "spreadsheet/WorkbookImpl.h"

#include "sdk/WideFormat.h"

#include "spreadsheet/Calculation.h"
#include "spreadsheet/TypedEntry.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace spreadsheet {

namespace {

const std::initializer_list<const char*> kAfterSheetViews = {
    "sheetFormatPr",    "cols",
    "sheetData",        "sheetCalcPr",
    "sheetProtection",  "protectedRanges",
    "scenarios",        "autoFilter",
    "sortState",        "dataConsolidate",
    "customSheetViews", "mergeCells",
    "phoneticPr",       "conditionalFormatting",
    "dataValidations",  "hyperlinks",
    "printOptions",     "pageMargins",
    "pageSetup",        "headerFooter",
    "drawing",          "legacyDrawing",
    "tableParts",       "extLst"};

} // namespace

namespace {

std::string nodeText(pugi::xml_node node) {
    std::ostringstream out;
    node.print(out, "", pugi::format_raw);
    return out.str();
}

} // namespace

int WorkbookImpl::deriveStyle(int style, int numFmtId, bool quoted) {
    auto root = stylesDoc.document_element();
    if (!root)
        return style;
    auto key = std::make_tuple(style, numFmtId, quoted);
    if (auto it = derivedStyles.find(key); it != derivedStyles.end())
        return it->second;
    auto xfs =
        ensureChild(root, "cellXfs", {"cellStyles", "dxfs", "tableStyles", "colors", "extLst"});
    auto addDefault = [&] {
        auto xf = xfs.append_child("xf");
        for (const char* a : {"numFmtId", "fontId", "fillId", "borderId", "xfId"})
            xf.append_attribute(a) = "0";
        return xf;
    };
    std::vector<pugi::xml_node> list;
    for (auto xf = xfs.first_child(); xf; xf = xf.next_sibling())
        if (localName(xf.name()) == "xf")
            list.push_back(xf);
    // Cells without a style use the first format, so it must not become the new one.
    if (list.empty()) {
        list.push_back(addDefault());
        xfFormat.assign(1, 0);
        xfQuoted.assign(1, false);
        stylesModified = true;
    }
    pugi::xml_node made = style >= 0 && std::size_t(style) < list.size()
                              ? xfs.append_copy(list[std::size_t(style)])
                              : addDefault();
    (made.attribute("numFmtId") ? made.attribute("numFmtId") : made.append_attribute("numFmtId")) =
        numFmtId;
    if (numFmtId != 0)
        (made.attribute("applyNumberFormat") ? made.attribute("applyNumberFormat")
                                             : made.append_attribute("applyNumberFormat")) = "1";
    made.remove_attribute("quotePrefix");
    if (quoted)
        made.append_attribute("quotePrefix") = "1";
    std::string text = nodeText(made);
    int index = -1;
    for (std::size_t i = 0; i < list.size() && index < 0; ++i)
        if (nodeText(list[i]) == text)
            index = int(i);
    if (index >= 0) {
        xfs.remove_child(made);
    } else {
        index = int(list.size());
        xfFormat.resize(list.size(), 0);
        xfQuoted.resize(list.size(), false);
        xfFormat.push_back(numFmtId);
        xfQuoted.push_back(quoted);
        (xfs.attribute("count") ? xfs.attribute("count") : xfs.append_attribute("count")) =
            index + 1;
        stylesModified = true;
    }
    derivedStyles[key] = index;
    return index;
}

void Worksheet::select(const RangeRef& range, CellRef active) {
    if (loadAll() != Status::Ok)
        return;
    m_data->activeCell = active;
    m_data->sqref = rangeAddress(range, false);
    auto views = ensureChild(m_data->root, "sheetViews", kAfterSheetViews);
    auto view = childNamed(views, "sheetView");
    if (!view) {
        view = views.append_child("sheetView");
        view.append_attribute("workbookViewId") = "0";
    }
    pugi::xml_node sel;
    for (auto s = view.first_child(); s; s = s.next_sibling())
        if (localName(s.name()) == "selection")
            sel = s;
    if (!sel)
        sel = view.append_child("selection");
    std::string ac = toUtf8(cellAddress(active.row, active.col, false));
    (sel.attribute("activeCell") ? sel.attribute("activeCell")
                                 : sel.append_attribute("activeCell")) = ac.c_str();
    std::string sq = toUtf8(m_data->sqref);
    (sel.attribute("sqref") ? sel.attribute("sqref") : sel.append_attribute("sqref")) = sq.c_str();
    // A save keeps the selection, but selecting is no change the user is asked to save.
    m_data->modified = true;
}

namespace {

void rebuildIndex(SheetData& d) {
    d.rows.clear();
    d.cells.clear();
    for (auto r = d.sheetData.first_child(); r; r = r.next_sibling()) {
        if (localName(r.name()) != "row")
            continue;
        int rowNum = intAttr(r.attribute("r"), d.rows.empty() ? 1 : d.rows.back().first + 1);
        d.rows.emplace_back(rowNum, r);
        int prevCol = 0;
        for (auto c = r.first_child(); c; c = c.next_sibling()) {
            if (localName(c.name()) != "c")
                continue;
            CellRef ref;
            int col = parseCellRef(std::string_view(c.attribute("r").value()), ref) ? ref.col
                                                                                    : prevCol + 1;
            prevCol = col;
            d.cells.push_back({rowNum, col, c});
        }
    }
}

pugi::xml_node rowNode(SheetData& d, int row) {
    auto it = std::lower_bound(d.rows.begin(), d.rows.end(), row,
                               [](const auto& e, int r) { return e.first < r; });
    if (it != d.rows.end() && it->first == row)
        return it->second;
    pugi::xml_node node = it != d.rows.end() ? d.sheetData.insert_child_before("row", it->second)
                                             : d.sheetData.append_child("row");
    node.append_attribute("r") = row;
    d.rows.insert(it, {row, node});
    return node;
}

pugi::xml_node cellNode(pugi::xml_node rowNode, int row, int col) {
    int prevCol = 0;
    for (auto c = rowNode.first_child(); c; c = c.next_sibling()) {
        if (localName(c.name()) != "c")
            continue;
        CellRef ref;
        int cc =
            parseCellRef(std::string_view(c.attribute("r").value()), ref) ? ref.col : prevCol + 1;
        prevCol = cc;
        if (cc == col)
            return c;
        if (cc > col) {
            auto n = rowNode.insert_child_before("c", c);
            n.append_attribute("r") = toUtf8(cellAddress(row, col, false)).c_str();
            return n;
        }
    }
    auto n = rowNode.append_child("c");
    n.append_attribute("r") = toUtf8(cellAddress(row, col, false)).c_str();
    return n;
}

} // namespace

Status Worksheet::putTexts(int row, int col, const std::vector<std::vector<std::wstring>>& block) {
    Status st = loadAll();
    if (st != Status::Ok)
        return st;
    auto& d = *m_data;
    WorkbookImpl& impl = *m_book->m_impl;
    if (!d.sheetData)
        d.sheetData = ensureChild(
            d.root, "sheetData",
            {"sheetCalcPr",  "sheetProtection", "protectedRanges",       "scenarios",
             "autoFilter",   "sortState",       "dataConsolidate",       "customSheetViews",
             "mergeCells",   "phoneticPr",      "conditionalFormatting", "dataValidations",
             "hyperlinks",   "printOptions",    "pageMargins",           "pageSetup",
             "headerFooter", "drawing",         "legacyDrawing",         "tableParts",
             "extLst"});
    for (std::size_t i = 0; i < block.size(); ++i) {
        long r = long(row) + long(i);
        if (r < 1 || r > kMaxRows)
            continue;
        pugi::xml_node rn;
        for (std::size_t j = 0; j < block[i].size(); ++j) {
            long c = long(col) + long(j);
            if (c < 1 || c > kMaxColumns)
                continue;
            if (!rn)
                rn = rowNode(d, int(r));
            auto cell = cellNode(rn, int(r), int(c));
            // The new value replaces a formula and any old value; the cell keeps its style.
            while (auto child = cell.first_child())
                cell.remove_child(child);
            cell.remove_attribute("t");
            const std::wstring& typed = block[i][j];
            TypedEntry e = readTypedEntry(typed, m_book->date1904());
            int style = intAttr(cell.attribute("s"), 0);
            bool known = style >= 0 && std::size_t(style) < impl.xfFormat.size();
            int format = known ? impl.xfFormat[std::size_t(style)] : 0;
            bool quoted = known && std::size_t(style) < impl.xfQuoted.size() &&
                          impl.xfQuoted[std::size_t(style)];
            std::wstring code = impl.formatCode(style);
            // A cell formatted as text takes whatever is typed as text.
            if (code == L"@" &&
                (e.kind == TypedEntry::Kind::Number || e.kind == TypedEntry::Kind::Boolean)) {
                e.kind = TypedEntry::Kind::Text;
                e.text = typed;
            }
            int wantFormat = format;
            if (e.kind == TypedEntry::Kind::Number && e.formatId != 0 &&
                lmhost::equalNoCase(code, L"General"))
                wantFormat = e.formatId;
            bool wantQuoted = e.kind == TypedEntry::Kind::Empty ? quoted : e.quoted;
            if (wantFormat != format || wantQuoted != quoted) {
                int derived = impl.deriveStyle(style, wantFormat, wantQuoted);
                if (derived != style) {
                    if (derived == 0)
                        cell.remove_attribute("s");
                    else
                        (cell.attribute("s") ? cell.attribute("s") : cell.append_attribute("s")) =
                            derived;
                }
            }
            switch (e.kind) {
            case TypedEntry::Kind::Empty:
                if (!cell.attribute("s"))
                    rn.remove_child(cell);
                break;
            case TypedEntry::Kind::Number:
                cell.append_child("v").text() = numberText(e.number).c_str();
                break;
            case TypedEntry::Kind::Boolean:
                cell.append_attribute("t") = "b";
                cell.append_child("v").text() = e.number != 0 ? "1" : "0";
                break;
            case TypedEntry::Kind::Text: {
                cell.append_attribute("t") = "inlineStr";
                auto t = cell.append_child("is").append_child("t");
                if (!e.text.empty() && (e.text.front() == L' ' || e.text.back() == L' '))
                    t.append_attribute("xml:space") = "preserve";
                t.text() = toUtf8(escapeText(e.text)).c_str();
                break;
            }
            }
        }
    }
    rebuildIndex(d);
    d.modified = true;
    m_book->markDirty();
    std::size_t width = 1;
    for (const auto& line : block)
        width = std::max(width, line.size());
    RangeRef typed{{row, col},
                   {int(std::min<long>(long(row) + long(block.size()) - 1, kMaxRows)),
                    int(std::min<long>(long(col) + long(width) - 1, kMaxColumns))}};
    if (row >= 1 && col >= 1 && row <= kMaxRows && col <= kMaxColumns && !block.empty())
        m_book->calculation().changed(*this, typed);
    return Status::Ok;
}

} // namespace spreadsheet
