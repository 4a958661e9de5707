#include "spreadsheet/ExcelAddress.h"

#include <algorithm>
#include <string>
#include <vector>

namespace excelhost::automation {

using spreadsheet::CellRef;
using spreadsheet::RangeRef;

// Parses one area of an address: "A1", "$A$1:$C$3", "A:C" (whole columns), "2:9" (rows).
bool parseArea(const std::wstring& text, RangeRef& out) {
    if (spreadsheet::parseRangeRef(text, out))
        return true;
    size_t colon = text.find(L':');
    if (colon == std::wstring::npos)
        return false;
    std::wstring a = text.substr(0, colon), b = text.substr(colon + 1);
    auto strip = [](std::wstring s) {
        s.erase(std::remove(s.begin(), s.end(), L'$'), s.end());
        return s;
    };
    a = strip(a);
    b = strip(b);
    auto allDigits = [](const std::wstring& s) {
        return !s.empty() && s.size() <= 7 &&
               std::all_of(s.begin(), s.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
    };
    if (allDigits(a) && allDigits(b)) {
        int r1 = std::stoi(a), r2 = std::stoi(b);
        if (r1 < 1 || r2 < 1 || r1 > spreadsheet::kMaxRows || r2 > spreadsheet::kMaxRows)
            return false;
        out = {{std::min(r1, r2), 1}, {std::max(r1, r2), spreadsheet::kMaxColumns}};
        return true;
    }
    CellRef c1, c2;
    if (spreadsheet::parseCellRef(a + L"1", c1) && spreadsheet::parseCellRef(b + L"1", c2) &&
        a.find_first_of(L"0123456789") == std::wstring::npos &&
        b.find_first_of(L"0123456789") == std::wstring::npos) {
        out = {{1, std::min(c1.col, c2.col)}, {spreadsheet::kMaxRows, std::max(c1.col, c2.col)}};
        return true;
    }
    return false;
}

// An address or defined name as Worksheet.Range reads it, for the sheet `sheet`.
bool resolveAddress(spreadsheet::Workbook& wb, int sheet, std::wstring text,
                    std::vector<RangeRef>& areas) {
    // "Sheet1!A1" names its own sheet only.
    size_t bang = text.rfind(L'!');
    if (bang != std::wstring::npos) {
        std::wstring sheetName = text.substr(0, bang);
        if (sheetName.size() >= 2 && sheetName.front() == L'\'' && sheetName.back() == L'\'')
            sheetName = sheetName.substr(1, sheetName.size() - 2);
        if (wb.findSheet(sheetName) != sheet)
            return false;
        text = text.substr(bang + 1);
    }
    if (text.empty() || text.size() > 2048)
        return false;
    std::vector<RangeRef> out;
    size_t start = 0;
    bool ok = true;
    while (ok && start <= text.size()) {
        size_t comma = text.find(L',', start);
        if (comma == std::wstring::npos)
            comma = text.size();
        RangeRef r;
        std::wstring part = text.substr(start, comma - start);
        if (parseArea(part, r))
            out.push_back(r);
        else
            ok = false;
        start = comma + 1;
    }
    if (ok) {
        areas = out;
        return true;
    }
    const spreadsheet::DefinedName* name = wb.findName(text, sheet);
    if (name && name->sheet == sheet && name->sheet >= 0) {
        areas = {name->range};
        return true;
    }
    return false;
}

std::wstring addressOf(const RangeRef& r, bool rowAbs, bool colAbs, bool r1c1) {
    auto colText = [&](int c) {
        return r1c1 ? L"C" + std::to_wstring(c)
                    : (colAbs ? L"$" : L"") + spreadsheet::columnLetters(c);
    };
    auto rowText = [&](int row) {
        return r1c1 ? L"R" + std::to_wstring(row) : (rowAbs ? L"$" : L"") + std::to_wstring(row);
    };
    bool wholeCols = r.first.row == 1 && r.last.row == spreadsheet::kMaxRows;
    bool wholeRows = r.first.col == 1 && r.last.col == spreadsheet::kMaxColumns;
    if (wholeRows && !wholeCols)
        return rowText(r.first.row) + L":" + rowText(r.last.row);
    if (wholeCols && !wholeRows)
        return colText(r.first.col) + L":" + colText(r.last.col);
    auto cell = [&](CellRef c) {
        return r1c1 ? rowText(c.row) + colText(c.col) : colText(c.col) + rowText(c.row);
    };
    if (r.first == r.last)
        return cell(r.first);
    return cell(r.first) + L":" + cell(r.last);
}

} // namespace excelhost::automation
