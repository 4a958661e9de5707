// AutoFit: columns as wide as their displayed text.
#include "spreadsheet/WorkbookImpl.h"

#include "spreadsheet/TextMetrics.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace spreadsheet {

void Worksheet::autoFitColumns(int firstCol, int lastCol) {
    if (loadAll() != Status::Ok)
        return;
    auto& d = *m_data;
    firstCol = std::max(firstCol, 1);
    lastCol = std::min(lastCol, kMaxColumns);
    std::map<int, int> widest;
    for (const auto& e : d.cells) {
        if (e.col < firstCol || e.col > lastCol)
            continue;
        CellValue v = value(e.row, e.col);
        if (v.type == CellType::Empty)
            continue;
        std::wstring t = displayText(*m_book->m_impl, v, numberFormat(e.row, e.col), -1);
        int& w = widest[e.col];
        w = std::max(w, textPixels(t));
    }
    if (widest.empty())
        return;
    auto cols = ensureChild(d.root, "cols", {"sheetData"});
    for (const auto& [col, px] : widest) {
        double width = columnWidthFromPixels(px + kCellPaddingPixels + 1);
        pugi::xml_node target;
        for (auto c = cols.first_child(); c; c = c.next_sibling()) {
            int mn = intAttr(c.attribute("min"), 0), mx = intAttr(c.attribute("max"), 0);
            if (col < mn || col > mx)
                continue;
            // Split a span so that only this column changes.
            if (mn < col) {
                auto left = cols.insert_copy_before(c, c);
                left.attribute("max") = col - 1;
            }
            if (mx > col) {
                auto right = cols.insert_copy_after(c, c);
                right.attribute("min") = col + 1;
            }
            c.attribute("min") = col;
            c.attribute("max") = col;
            target = c;
            break;
        }
        if (!target) {
            pugi::xml_node after;
            for (auto c = cols.first_child(); c; c = c.next_sibling())
                if (intAttr(c.attribute("max"), 0) < col)
                    after = c;
            target = after ? cols.insert_child_after("col", after) : cols.prepend_child("col");
            target.append_attribute("min") = col;
            target.append_attribute("max") = col;
        }
        for (const char* a : {"width", "bestFit", "customWidth"})
            if (!target.attribute(a))
                target.append_attribute(a);
        target.attribute("width") = numberText(width).c_str();
        target.attribute("bestFit") = "1";
        target.attribute("customWidth") = "1";
    }
    d.cols.clear();
    for (auto c = cols.first_child(); c; c = c.next_sibling())
        d.cols.push_back({intAttr(c.attribute("min"), 1), intAttr(c.attribute("max"), 1),
                          c.attribute("width").as_double(d.defaultWidth)});
    d.modified = true;
    m_book->markDirty();
}

} // namespace spreadsheet
