#include "exchange/ImportParameters.h"

#include "acutads.h"
#include "comdef.h"
#include "dbapserv.h"
#include "excel/CStringTable.h"
#include "excel/ExcelDrivers.h"
#include "excel/ExcelUtils.h"
#include "exchange/ADNAssocSampleUtils.h"
#include "exchange/ExchangeDialogs.h"
#include "exchange/VariableLookup.h"
#include "frame/ResourceOverride.h"
#include "rxmfcapi.h"

namespace {

// $B$2 and $B$2:$B$2 are one cell.
bool isOneCell(const CString& address) {
    int colon = address.Find(L':');
    if (colon <= 0)
        return true;
    return address.Left(colon).CompareNoCase(address.Mid(colon + 1)) == 0;
}

// One row of the selection. It is applied once per cell it has: each pass does the same,
// so a second pass changes nothing and only a failing row says so again.
void importRow(const CStringArrayEx& row, const CImportParametersDialog& options,
               VariableLookup& variables) {
    const int n = static_cast<int>(row.GetSize());
    for (int pass = 0; pass < n; ++pass) {
        if (options.m_nNameColumn >= n) {
            acutPrintf(L"\nThe column index of the parameter name is invalid in the selected "
                       L"cells: %d.",
                       options.m_nNameColumn);
            continue;
        }
        CString name = row[options.m_nNameColumn];
        CString expression, description;
        if (options.m_bExpression && options.m_nExpressionColumn < n)
            expression = row[options.m_nExpressionColumn];
        if (options.m_bDescription && options.m_nDescriptionColumn < n)
            description = row[options.m_nDescriptionColumn];
        if (expression.IsEmpty() && description.IsEmpty())
            continue;
        AcDbObjectId id;
        if (variables.find(static_cast<const wchar_t*>(name), options.m_bCreateIfMissing != 0,
                           id) != Acad::eOk)
            continue;
        if (!id.isValid())
            continue;
        AcString errorMessage;
        Acad::ErrorStatus es =
            setVariableExpression(id, static_cast<const wchar_t*>(expression),
                                  static_cast<const wchar_t*>(description), errorMessage);
        if (es != Acad::eOk) {
            // The error text goes in as the string object and not as its characters, so
            // the host's words never reach the line: the third field prints empty.
            acutPrintf(L"Failed to set the parameter %s: %s: %s.",
                       static_cast<const wchar_t*>(name), acadErrorStatusText(es), L"");
        }
    }
}

void readAndApply(const CImportParametersDialog& options) {
    if (!ExcelUtils::GetActiveExcel(nullptr)) {
        MessageBoxW(nullptr, L"Please open a workbook and select the cells.", L"Linkmesh",
                    MB_OK | MB_ICONINFORMATION);
        return;
    }
    CString address = ExcelUtils::GetSelectionAddress();
    if (isOneCell(address) &&
        MessageBoxW(nullptr,
                    L"You select only one cell. Do you want to import the whole worksheet?",
                    L"Norvane Linkmesh", MB_YESNO | MB_ICONINFORMATION) == IDYES) {
        CWorksheet sheet = borrowDriver<CWorksheet>(ExcelUtils::s_worksheet);
        CRange used(sheet.get_UsedRange());
        address = used.get_Address(vtMissing, vtMissing, 1, vtMissing, vtMissing);
    }
    CStringTable table;
    int read = ExcelUtils::ReadRange(table, address);
    // The drawing is changed with no automation in flight.
    ExcelUtils::ReleaseExcel();
    if (!read || table.GetSize() < 1) {
        acutPrintf(L"\nFailed to read the data from Excel.");
        return;
    }
    // Each name is looked up by findVariable's rule, through one walk of the network.
    VariableLookup variables(acdbHostApplicationServices()->workingDatabase()->currentSpaceId());
    for (INT_PTR r = 0; r < table.GetSize(); ++r)
        importRow(table[r], options, variables);
    // No count is kept: the line comes also when rows failed.
    acutPrintf(L"\nImport the constraint parameters successfully.");
}

} // namespace

void importFromExcel() {
    CImportParametersDialog dialog(acedGetAcadFrame());
    INT_PTR result;
    {
        CLmeshResourceOverride resources;
        result = dialog.DoModal();
    }
    if (result != IDOK)
        return;
    try {
        readAndApply(dialog);
    } catch (_com_error& e) {
        acutPrintf(L"\n%s", e.ErrorMessage());
    } catch (CException* e) {
        e->Delete();
        acutPrintf(L"\nUnknown error.");
    } catch (...) {
        acutPrintf(L"\nUnknown error.");
    }
    // Rows done so far stay done; the session never outlives the command.
    ExcelUtils::ReleaseExcel();
}
