// The host's own side of tables.
#pragma once

#include <string>
#include <vector>

#include "dbtable.h"

namespace drawing {

inline constexpr long long kMaxCells = 4000000;
inline constexpr double kDefaultRowHeight = 0.5;
inline constexpr double kDefaultColumnWidth = 2.5;

// A cell text without its in-text format codes: font, height, colour and similar codes
// (\f..; \H..; \C..;) and groups ({ }) go, \P becomes a line break, \S1/2; becomes 1/2,
// \~ a non-breaking space, \U+XXXX that character, and \\ \{ \} the character itself.
std::wstring stripMtextFormat(const std::wstring& text);

} // namespace drawing

// What a table holds, for the host's own parts (the drawing files).
struct AcDbTable::Data {
    struct Cell {
        std::wstring text;
        AcDb::CellType type = AcDb::kTextCell;
        std::wstring style;    // empty: by the row's type
        double textHeight = 0; // 0: by the table style
    };
    int rows = 0;
    int columns = 0;
    std::vector<double> rowHeights;
    std::vector<double> columnWidths;
    std::vector<Cell> cells; // row by row
    bool titleSuppressed = false;
    bool headerSuppressed = false;
    AcDbObjectId style;

    bool inRange(int row, int column) const {
        return row >= 0 && row < rows && column >= 0 && column < columns;
    }
    Cell& at(int row, int column) { return cells[static_cast<size_t>(row) * columns + column]; }
    const Cell& at(int row, int column) const {
        return cells[static_cast<size_t>(row) * columns + column];
    }
    void resize(int newRows, int newColumns) {
        std::vector<Cell> next(static_cast<size_t>(newRows) * newColumns);
        for (int r = 0; r < rows && r < newRows; ++r)
            for (int c = 0; c < columns && c < newColumns; ++c)
                next[static_cast<size_t>(r) * newColumns + c] = std::move(at(r, c));
        cells.swap(next);
        rowHeights.resize(newRows, drawing::kDefaultRowHeight);
        columnWidths.resize(newColumns, drawing::kDefaultColumnWidth);
        rows = newRows;
        columns = newColumns;
    }
};
