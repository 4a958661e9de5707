// A1-style cell and range references of a worksheet.
#pragma once

#include <string>
#include <string_view>

namespace spreadsheet {

// The last real cell is XFD1048576.
constexpr int kMaxRows = 1048576;
constexpr int kMaxColumns = 16384;

struct CellRef {
    int row = 0; // 1-based
    int col = 0; // 1-based
    bool operator==(const CellRef&) const = default;
};

struct RangeRef {
    CellRef first;
    CellRef last;
    bool operator==(const RangeRef&) const = default;
    int rows() const { return last.row - first.row + 1; }
    int columns() const { return last.col - first.col + 1; }
    bool contains(int row, int col) const {
        return row >= first.row && row <= last.row && col >= first.col && col <= last.col;
    }
};

// "A1", "$A$1", "a1"; false for anything else or a cell beyond XFD1048576.
bool parseCellRef(std::wstring_view text, CellRef& out);
// Same for the 8-bit text of a file's XML.
bool parseCellRef(std::string_view text, CellRef& out);
// "A1", "A1:C3", "$A$1:$C$3"; the corners are ordered so first is top-left.
bool parseRangeRef(std::wstring_view text, RangeRef& out);

std::wstring columnLetters(int col);
// "$A$1" (absolute) or "A1".
std::wstring cellAddress(int row, int col, bool absolute = true);
// "$A$1" for a single cell, "$A$1:$C$3" otherwise.
std::wstring rangeAddress(const RangeRef& range, bool absolute = true);

} // namespace spreadsheet
