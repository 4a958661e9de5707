// Reading cell blocks of the current worksheet as text, and writing a text array to it.
#include "acprogress.h"
#include "comdef.h"
#include "excel/CStringTable.h"
#include "excel/ExcelDrivers.h"
#include "excel/ExcelStep.h"
#include "excel/ExcelUtils.h"

namespace {

// The displayed text of a Text result, trimmed.
CString takeText(VARIANT text) {
    return takeTextString(text).Trim();
}

// Rows are appended by growing the table by one and copying the filled row in.
void appendRow(CStringTable& table, const CStringArrayEx& row) {
    table.SetSize(table.GetSize() + 1);
    table[table.GetSize() - 1] = row;
}

} // namespace

int ExcelUtils::ReadRange(CStringTable& table, CString address, int) {
    table.m_strAddress = address;
    int colon = address.Find(L':');
    return excelStep(0, [&] {
        CWorksheet sheet = borrowDriver<CWorksheet>(s_worksheet);
        if (colon <= 0) {
            CRange cell(sheet.get_Range(COleVariant(address), vtMissing));
            CStringArrayEx row;
            row.Add(takeText(cell.get_Text()));
            appendRow(table, row);
            return 1;
        }
        CRange cells(sheet.get_Cells());
        int firstRow = 0, firstColumn = 0, lastRow = 0, lastColumn = 0;
        ParseRangeStart(address, firstRow, firstColumn);
        ParseRangeEnd(address, lastRow, lastColumn);
        acedSetStatusBarProgressMeter(L"Reading Excel data ...", 0,
                                      (lastColumn - firstColumn + 1) * (lastRow - firstRow + 1) +
                                          1);
        // Whole rows or columns ("$2:$9") give no indexes: an empty, successful read.
        if (firstRow >= 1 && firstColumn >= 1 && lastRow >= 1 && lastColumn >= 1) {
            int done = 0;
            for (int r = firstRow; r <= lastRow; ++r) {
                CStringArrayEx row;
                for (int c = firstColumn; c <= lastColumn; ++c) {
                    VARIANT item = cells.get_Item(COleVariant(long(r)), COleVariant(long(c)));
                    CRange cell(item.pdispVal);
                    row.Add(takeText(cell.get_Text()));
                    acedSetStatusBarProgressMeterPos(++done);
                    cell.ReleaseDispatch();
                }
                appendRow(table, row);
            }
        }
        acedRestoreStatusBar();
        return 1;
    });
}

int ExcelUtils::CreateTextArray(int rows, int columns) {
    if (rows < 1 || columns < 1)
        return 0;
    return excelStep(0, [&] {
        DWORD elements[2] = {static_cast<DWORD>(rows), static_cast<DWORD>(columns)};
        s_textArray.Create(VT_BSTR, 2, elements);
        return 1;
    });
}

void ExcelUtils::PutTextElement(CString text, int row, int column) {
    if (row < 0 || column < 0)
        return;
    excelStep(0, [&] {
        long lastRow = 0, lastColumn = 0;
        s_textArray.GetUBound(1, &lastRow);
        s_textArray.GetUBound(2, &lastColumn);
        if (row > lastRow || column > lastColumn)
            return 0;
        BSTR value = SysAllocString(text);
        long indices[2] = {row, column};
        try {
            s_textArray.PutElement(indices, value);
        } catch (...) {
            SysFreeString(value);
            throw;
        }
        SysFreeString(value);
        return 1;
    });
}

int ExcelUtils::WriteTextArray(CString address, int, int) {
    if (SafeArrayGetElemsize((s_textArray.vt & VT_ARRAY) ? s_textArray.parray : nullptr) == 0)
        return 1;
    return excelStep(0, [&] {
        long lastRow = 0, lastColumn = 0;
        s_textArray.GetUBound(1, &lastRow);
        s_textArray.GetUBound(2, &lastColumn);
        CWorksheet sheet = borrowDriver<CWorksheet>(s_worksheet);
        COleVariant corner(address);
        CRange range(sheet.get_Range(corner, corner));
        range.AttachDispatch(
            range.get_Resize(COleVariant(lastRow + 1), COleVariant(lastColumn + 1)));
        range.put_Value(s_textArray);
        s_textArray.DestroyData();
        // The one caller ignores the result; 0 here means done.
        return 0;
    });
}

int ExcelUtils::AutoFitUsedColumns() {
    return excelStep(0, [&] {
        CWorksheet sheet = borrowDriver<CWorksheet>(s_worksheet);
        CRange used(sheet.get_UsedRange());
        CRange columns(used.get_Columns());
        VARIANT fitted = columns.AutoFit();
        VariantClear(&fitted);
        return 1;
    });
}
