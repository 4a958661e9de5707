// The cell address grammar of the Excel bridge.
#include "excel/ExcelUtils.h"

namespace {

bool isLetter(wchar_t c) {
    return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z');
}
bool isDigit(wchar_t c) {
    return c >= L'0' && c <= L'9';
}

// Reads "<letter>[<letter>]$<row>" or "<digits>" from index `at` (the character behind a
// dollar). A leading digit stores the row and fails: the whole-row form "$2:$9".
int parseFromDollar(const CString& text, int at, int& row, int& column) {
    if (at >= text.GetLength())
        return 0;
    wchar_t first = text[at];
    if (isDigit(first)) {
        row = _wtoi(text.GetString() + at);
        return 0;
    }
    if (!isLetter(first))
        return 0;
    int col = first - 64;
    int rowAt;
    wchar_t next = at + 1 < text.GetLength() ? text[at + 1] : L'\0';
    if (next == L'$') {
        rowAt = at + 2;
    } else if (isLetter(next)) {
        col = col * 26 - 64 + next;
        rowAt = at + 3;
    } else {
        return 0;
    }
    column = col;
    row = rowAt < text.GetLength() ? _wtoi(text.GetString() + rowAt) : 0;
    return 1;
}

} // namespace

CString ExcelUtils::GetCellAddress(int row, int column) {
    if (row < 1 || column < 1) {
        AfxMessageBox(L"The row index and column index should be a positive number.");
        return CString();
    }
    int q = (column - 1) / 26;
    int r = (column - 1) % 26;
    CString address;
    if (column < 27)
        address.Format(L"%c%c%c%d", L'$', r + 65, L'$', row);
    else
        address.Format(L"%c%c%c%c%d", L'$', q + 64, r + 65, L'$', row);
    return address;
}

int ExcelUtils::ParseCellAddress(CString address, int& row, int& column) {
    if (address.IsEmpty())
        return 0;
    address.MakeUpper();
    int dollar = address.Find(L'$');
    if (dollar < 0)
        return 0;
    int at = dollar + 1;
    if (at >= address.GetLength() || !isLetter(address[at]))
        return 0;
    return parseFromDollar(address, at, row, column);
}

int ExcelUtils::ParseRangeStart(CString range, int& row, int& column) {
    if (range.IsEmpty())
        return 0;
    int dollar = range.Find(L'$');
    if (dollar < 0)
        return 0;
    return parseFromDollar(range, dollar + 1, row, column);
}

int ExcelUtils::ParseRangeEnd(CString range, int& row, int& column) {
    if (range.IsEmpty())
        return 0;
    int colon = range.Find(L':');
    if (colon < 0)
        return 0;
    if (colon + 1 >= range.GetLength() || range[colon + 1] != L'$')
        return 0;
    return parseFromDollar(range, colon + 2, row, column);
}
