// A Range object: its cells' text and values, address, size, AutoFit and name.
#include "spreadsheet/RangeObject.h"

#include "spreadsheet/ExcelAddress.h"

#include <algorithm>
#include <string>
#include <vector>

namespace excelhost::automation {

void RangeObject::call(const Member& m, WORD kind, const Args& args, VARIANT* r) {
    if (!m_book->open)
        fail(RPC_E_DISCONNECTED);
    spreadsheet::Worksheet& ws = loadedSheet(m_book, m_sheet);
    const RangeRef& area = m_areas.front();
    std::wstring n = m.name;
    if (n == L"Application")
        return setObject(r, makeApplication(instPtr()));
    if (n == L"Worksheet")
        return setObject(r, makeWorksheet(instPtr(), m_book, m_sheet));
    if (n == L"Row")
        return setLong(r, area.first.row);
    if (n == L"Column")
        return setLong(r, area.first.col);
    if (n == L"Count") {
        long long count = 0;
        for (const RangeRef& a : m_areas)
            count += m_columns ? a.columns() : (long long)a.rows() * a.columns();
        return setLong(r, static_cast<long>(std::min<long long>(count, 0x7FFFFFFF)));
    }
    if (n == L"Item") {
        long row = argLong(args.at(0));
        long col = args.at(1) ? argLong(args.at(1)) : 1;
        long long rr = (long long)area.first.row + row - 1;
        long long cc = (long long)area.first.col + col - 1;
        if (!args.at(1)) { // one index counts across the rows of the area
            long long width = area.columns();
            long long k = row - 1;
            rr = area.first.row + (k >= 0 ? k / width : -1);
            cc = area.first.col + (k >= 0 ? k % width : 0);
        }
        if (rr < 1 || cc < 1 || rr > spreadsheet::kMaxRows || cc > spreadsheet::kMaxColumns)
            defaultFailure();
        CellRef c{int(rr), int(cc)};
        return setObject(r, makeRange(instPtr(), m_book, m_sheet, {{c, c}}));
    }
    if (n == L"Text") {
        std::wstring first = ws.text(area.first.row, area.first.col);
        noteIfStale(ws, area.first.row, area.first.col);
        long long cells = (long long)area.rows() * area.columns();
        if (cells > 1 && cells <= 100000) {
            for (int row = area.first.row; row <= area.last.row; ++row)
                for (int col = area.first.col; col <= area.last.col; ++col)
                    if (ws.text(row, col) != first) {
                        r->vt = VT_NULL; // cells that differ have no common text
                        return;
                    }
        } else if (cells > 100000) {
            r->vt = VT_NULL;
            return;
        }
        return setText(r, first);
    }
    if (n == L"Address") {
        bool rowAbs = args.at(0) ? argBool(args.at(0)) : true;
        bool colAbs = args.at(1) ? argBool(args.at(1)) : true;
        long style = args.at(2) ? argLong(args.at(2)) : 1;
        bool external = args.at(3) ? argBool(args.at(3)) : false;
        if (style != 1 && style != -4150)
            raise(L"Unable to get the Address property of the Range class");
        std::wstring text;
        for (size_t i = 0; i < m_areas.size(); ++i) {
            if (i)
                text += L",";
            RangeRef a = m_areas[i];
            if (m_columns)
                a = {{1, a.first.col}, {spreadsheet::kMaxRows, a.last.col}};
            text += addressOf(a, rowAbs, colAbs, style == -4150);
        }
        if (external)
            text = L"[" + m_book->workbook->name() + L"]" + ws.name() + L"!" + text;
        return setText(r, text);
    }
    if (n == L"Resize") {
        long rows = args.at(0) ? argLong(args.at(0)) : area.rows();
        long cols = args.at(1) ? argLong(args.at(1)) : area.columns();
        if (rows < 1 || cols < 1 || area.first.row + (long long)rows - 1 > spreadsheet::kMaxRows ||
            area.first.col + (long long)cols - 1 > spreadsheet::kMaxColumns)
            defaultFailure();
        RangeRef sized{area.first,
                       {int(area.first.row + rows - 1), int(area.first.col + cols - 1)}};
        return setObject(r, makeRange(instPtr(), m_book, m_sheet, {sized}));
    }
    if (n == L"Columns")
        return setObject(r, makeRange(instPtr(), m_book, m_sheet, m_areas, true));
    if (n == L"AutoFit") {
        bool wholeColumns =
            m_columns || (area.first.row == 1 && area.last.row == spreadsheet::kMaxRows);
        if (!wholeColumns)
            raise(L"AutoFit method of Range class failed");
        for (const RangeRef& a : m_areas)
            ws.autoFitColumns(a.first.col, std::min(a.last.col, ws.usedRange().last.col));
        return setBool(r, true);
    }
    if (n == L"Value") {
        if (kind == kPut)
            return putValue(ws, area, args.value);
        return getValue(ws, area, r);
    }
    if (n == L"Name") {
        spreadsheet::Workbook& wb = *m_book->workbook;
        for (const spreadsheet::DefinedName& d : wb.names())
            if (d.sheet == m_sheet && m_areas.size() == 1 && d.range == area)
                return setObject(r, makeName(instPtr(), m_book, d));
        defaultFailure();
    }
    fail(DISP_E_MEMBERNOTFOUND);
}

// Entered as typed: the texts of the array, row by row; a scalar fills every cell.
void RangeObject::putValue(spreadsheet::Worksheet& ws, const RangeRef& area, const VARIANT* value) {
    if (!value)
        fail(DISP_E_PARAMNOTOPTIONAL);
    long long cells = (long long)area.rows() * area.columns();
    std::vector<std::vector<std::wstring>> block;
    if (value->vt & VT_ARRAY) {
        SAFEARRAY* a = (value->vt & VT_BYREF) ? nullptr : value->parray;
        if (!a || !a->pvData || SafeArrayGetDim(a) < 1 || SafeArrayGetDim(a) > 2)
            fail(DISP_E_TYPEMISMATCH);
        LONG l1 = 0, u1 = -1, l2 = 0, u2 = 0;
        SafeArrayGetLBound(a, 1, &l1);
        SafeArrayGetUBound(a, 1, &u1);
        bool twoDims = SafeArrayGetDim(a) == 2;
        if (twoDims) {
            SafeArrayGetLBound(a, 2, &l2);
            SafeArrayGetUBound(a, 2, &u2);
        }
        // A one-dimensional array is one row.
        long arrayRows = twoDims ? u1 - l1 + 1 : 1;
        long arrayCols = twoDims ? u2 - l2 + 1 : u1 - l1 + 1;
        long rows = std::min<long>(arrayRows, area.rows());
        long cols = std::min<long>(arrayCols, area.columns());
        VARTYPE elementType = static_cast<VARTYPE>(value->vt & VT_TYPEMASK);
        for (long i = 0; i < rows; ++i) {
            std::vector<std::wstring> row;
            for (long j = 0; j < cols; ++j) {
                LONG idx[2] = {LONG(twoDims ? l1 + i : l1 + j), LONG(l2 + j)};
                VARIANT element;
                VariantInit(&element);
                if (elementType == VT_BSTR) {
                    BSTR s = nullptr;
                    if (FAILED(SafeArrayGetElement(a, idx, &s)))
                        fail(DISP_E_BADINDEX);
                    row.emplace_back(s ? s : L"");
                    SysFreeString(s);
                    continue;
                }
                if (elementType != VT_VARIANT || FAILED(SafeArrayGetElement(a, idx, &element)))
                    fail(DISP_E_TYPEMISMATCH);
                std::wstring text = element.vt == VT_EMPTY ? L"" : argText(&element);
                VariantClear(&element);
                row.push_back(text);
            }
            block.push_back(std::move(row));
        }
    } else {
        if (cells > 1000000)
            defaultFailure();
        std::wstring text = value->vt == VT_EMPTY ? L"" : argText(value);
        block.assign(size_t(area.rows()), std::vector<std::wstring>(size_t(area.columns()), text));
    }
    if (ws.putTexts(area.first.row, area.first.col, block) != Status::Ok)
        defaultFailure();
}

void RangeObject::getValue(spreadsheet::Worksheet& ws, const RangeRef& area, VARIANT* r) {
    auto cellValue = [&](int row, int col, VARIANT* out) {
        spreadsheet::CellValue v = ws.value(row, col);
        noteIfStale(ws, row, col);
        switch (v.type) {
        case spreadsheet::CellType::Empty:
            out->vt = VT_EMPTY;
            break;
        case spreadsheet::CellType::Number:
            out->vt = VT_R8;
            out->dblVal = v.number;
            break;
        case spreadsheet::CellType::Boolean:
            setBool(out, v.number != 0);
            break;
        case spreadsheet::CellType::String:
            setText(out, v.string);
            break;
        case spreadsheet::CellType::Error:
            out->vt = VT_ERROR;
            out->scode = static_cast<SCODE>(0x800A07D7); // #N/A and kin as CVErr values
            break;
        }
    };
    long long cells = (long long)area.rows() * area.columns();
    if (cells == 1)
        return cellValue(area.first.row, area.first.col, r);
    if (cells > 1000000)
        defaultFailure();
    SAFEARRAYBOUND bounds[2] = {{ULONG(area.rows()), 1}, {ULONG(area.columns()), 1}};
    SAFEARRAY* a = SafeArrayCreate(VT_VARIANT, 2, bounds);
    if (!a)
        fail(E_OUTOFMEMORY);
    for (int i = 0; i < area.rows(); ++i)
        for (int j = 0; j < area.columns(); ++j) {
            VARIANT v;
            VariantInit(&v);
            cellValue(area.first.row + i, area.first.col + j, &v);
            LONG idx[2] = {i + 1, j + 1};
            SafeArrayPutElement(a, idx, &v);
            VariantClear(&v);
        }
    r->vt = VT_ARRAY | VT_VARIANT;
    r->parray = a;
}

AutoObject* makeRange(const InstancePtr& inst, const BookPtr& book, int sheet,
                      std::vector<RangeRef> areas, bool columns) {
    return new RangeObject(inst, book, sheet, std::move(areas), columns);
}

} // namespace excelhost::automation
