// The Excel destination of the export: the whole block at the active cell, in one transfer.
#include "comdef.h"
#include "excel/ExcelDrivers.h"
#include "excel/ExcelUtils.h"
#include "exchange/ExportParameters.h"
#include "exchange/ExportRows.h"

namespace {

// Builds the block and writes it; run inside the guard that restores Excel's settings.
void writeBlock(const AcDbAssocNetwork* network, const CStringArrayEx& selected,
                const ExportColumns& columns, int header) {
    CApplication application = borrowDriver<CApplication>(ExcelUtils::s_application);
    application.put_Interactive(FALSE);
    CWorksheet sheet = borrowDriver<CWorksheet>(ExcelUtils::s_worksheet);
    // Fetched and not used further.
    CRange cells(sheet.get_Cells());

    int rows = static_cast<int>(selected.GetSize()) + (header ? 1 : 0);
    if (rows > 0) {
        DWORD elements[2] = {static_cast<DWORD>(rows), static_cast<DWORD>(columns.count())};
        ExcelUtils::s_textArray.Create(VT_BSTR, 2, elements);
    }
    forEachExportCell(network, selected, columns, header,
                      [](int row, int column, const CString& text) {
                          ExcelUtils::PutTextElement(text, row, column);
                      });
    CRange anchor(application.get_ActiveCell());
    CString address = anchor.get_Address(vtMissing, vtMissing, 1, vtMissing, vtMissing);
    ExcelUtils::WriteTextArray(address);
    ExcelUtils::AutoFitUsedColumns();
}

} // namespace

Acad::ErrorStatus exportToExcel(const CStringArrayEx& selected, int name, int expression, int value,
                                int description, int header) {
    ExportColumns columns(name, expression, value, description);
    if (columns.count() == 0)
        return Acad::eInvalidInput;
    AcDbObjectPointer<AcDbAssocNetwork> network;
    Acad::ErrorStatus es = openCurrentSpaceNetwork(network);
    if (es != Acad::eOk)
        return es;

    // The user's Excel, or a new one with a new workbook, left open for the user.
    int ready = 0, workbookOpen = 0;
    ExcelSessionGuard session(nullptr, ready, workbookOpen);
    CApplication application = borrowDriver<CApplication>(ExcelUtils::s_application);
    // Read and set outside the guard below; what could not be read is not put back.
    BOOL displayAlerts = FALSE, editDirectlyInCell = FALSE;
    bool alertsRead = false, editRead = false;
    try {
        displayAlerts = application.get_DisplayAlerts();
        alertsRead = true;
        application.put_DisplayAlerts(FALSE);
        editDirectlyInCell = application.get_EditDirectlyInCell();
        editRead = true;
        application.put_EditDirectlyInCell(FALSE);
    } catch (CException* e) {
        e->Delete();
    } catch (_com_error&) {
    }

    try {
        writeBlock(network.object(), selected, columns, header);
    } catch (_com_error& e) {
        MessageBoxW(nullptr, e.ErrorMessage(), L"Linkmesh", MB_ICONINFORMATION);
    } catch (CException* e) {
        e->Delete();
    } catch (...) {
    }
    // Restored whatever happened in the block, in this order; Interactive comes back true
    // even if it was false before.
    auto restore = [](auto step) {
        try {
            step();
        } catch (CException* e) {
            e->Delete();
        } catch (_com_error&) {
        }
    };
    if (editRead)
        restore([&] { application.put_EditDirectlyInCell(editDirectlyInCell); });
    restore([&] { application.put_Interactive(TRUE); });
    if (alertsRead)
        restore([&] { application.put_DisplayAlerts(displayAlerts); });
    return Acad::eOk;
}
