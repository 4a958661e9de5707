// The Excel bridge: one process-wide automation session, and the cell address grammar
// ($A$1, $A$1:$C$3) that needs no Excel at all.
#pragma once

#include "afx.h"

class ExcelUtils {
public:
    // "$A$1" for row 1, column 1. Columns above 702 run past Z in the first letter; that is
    // the grammar's known limit. Indexes below 1 give an empty text after a message box.
    static CString GetCellAddress(int row, int column);
    // Upper-cases, skips to the first "$", then one or two letters, then the row as _wtoi
    // reads it. The row is not checked: callers treat row or column below 1 as failure.
    static int ParseCellAddress(CString address, int& row, int& column);
    // The first cell of a range address; case-sensitive, and "$2:$9" stores the row 2 and
    // fails.
    static int ParseRangeStart(CString range, int& row, int& column);
    // The cell after the colon, by the same rules as ParseRangeStart.
    static int ParseRangeEnd(CString range, int& row, int& column);
};
