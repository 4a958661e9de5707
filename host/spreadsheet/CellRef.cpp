#include "spreadsheet/CellRef.h"

#include <algorithm>

namespace spreadsheet {

namespace {

template <class Char> bool parseCell(std::basic_string_view<Char> s, CellRef& out) {
    std::size_t i = 0;
    if (i < s.size() && s[i] == '$')
        ++i;
    long col = 0;
    std::size_t letters = 0;
    while (i < s.size()) {
        Char c = s[i];
        if (c >= 'a' && c <= 'z')
            c = Char(c - 'a' + 'A');
        if (c < 'A' || c > 'Z')
            break;
        col = col * 26 + (c - 'A' + 1);
        if (++letters > 3)
            return false;
        ++i;
    }
    if (letters == 0 || col > kMaxColumns)
        return false;
    if (i < s.size() && s[i] == '$')
        ++i;
    long row = 0;
    std::size_t digits = 0;
    while (i < s.size() && s[i] >= '0' && s[i] <= '9') {
        row = row * 10 + (s[i] - '0');
        if (++digits > 7)
            return false;
        ++i;
    }
    if (digits == 0 || i != s.size() || row < 1 || row > kMaxRows)
        return false;
    out.row = int(row);
    out.col = int(col);
    return true;
}

} // namespace

bool parseCellRef(std::wstring_view text, CellRef& out) {
    return parseCell(text, out);
}
bool parseCellRef(std::string_view text, CellRef& out) {
    return parseCell(text, out);
}

bool parseRangeRef(std::wstring_view text, RangeRef& out) {
    auto colon = text.find(L':');
    CellRef a, b;
    if (colon == std::wstring_view::npos) {
        if (!parseCellRef(text, a))
            return false;
        out = {a, a};
        return true;
    }
    if (!parseCellRef(text.substr(0, colon), a) || !parseCellRef(text.substr(colon + 1), b))
        return false;
    out.first = {std::min(a.row, b.row), std::min(a.col, b.col)};
    out.last = {std::max(a.row, b.row), std::max(a.col, b.col)};
    return true;
}

std::wstring columnLetters(int col) {
    std::wstring s;
    while (col > 0) {
        int r = (col - 1) % 26;
        s.insert(s.begin(), wchar_t(L'A' + r));
        col = (col - 1) / 26;
    }
    return s;
}

std::wstring cellAddress(int row, int col, bool absolute) {
    std::wstring d = absolute ? L"$" : L"";
    return d + columnLetters(col) + d + std::to_wstring(row);
}

std::wstring rangeAddress(const RangeRef& range, bool absolute) {
    std::wstring s = cellAddress(range.first.row, range.first.col, absolute);
    if (range.first == range.last)
        return s;
    return s + L":" + cellAddress(range.last.row, range.last.col, absolute);
}

} // namespace spreadsheet
