#include "ui/PickExcelCellDialog.h"

#include <cstdlib>
#include <cwchar>

#include "afxfile.h"
#include "comdef.h"
#include "excel/ExcelDrivers.h"
#include "excel/ExcelUtils.h"
#include "rxmfcapi.h"
#include "shlwapi.h"
#include "winbase.h"

namespace {

const wchar_t* const kLongTitle = L"Norvane Linkmesh";
const wchar_t* const kUnsavedDrawing =
    L"Current drawing must be saved before attaching a file with a relative path. The file will "
    L"be assigned a Full path.";
const wchar_t* const kWorkbookFilter =
    L"Microsoft Excel Files(*.xls;*.xlsx)|*.xls;*.xlsx|All Files(*.*)|*.*||";
// What waits while Excel answers, in the order they are disabled and enabled again.
const int kBusyControls[] = {IDC_WORKSHEET, IDC_CELL, IDC_WORKBOOK, IDC_GET_ACTIVE_CELL, IDOK};

CString drawingPath() {
    CDocument* document = acedGetAcadDoc();
    return document ? document->GetPathName() : CString();
}

} // namespace

CPickExcelCellDialog::CPickExcelCellDialog(CWnd* parent) : CDialog(IDD, parent) {}

BEGIN_MESSAGE_MAP(CPickExcelCellDialog, CDialog)
ON_BN_CLICKED(IDC_BROWSE_WORKBOOK, browseWorkbook)
ON_BN_CLICKED(IDC_GET_ACTIVE_CELL, getActiveCell)
ON_BN_CLICKED(IDC_USE_CELL_NAME, onUseCellName)
ON_CBN_SELCHANGE(IDC_PATH_TYPE, onPathTypeChanged)
END_MESSAGE_MAP()

void CPickExcelCellDialog::DoDataExchange(CDataExchange* pDX) {
    CDialog::DoDataExchange(pDX);
    DDX_Text(pDX, IDC_WORKBOOK, workbook);
    DDX_Text(pDX, IDC_CELL, cell);
    DDX_Check(pDX, IDC_USE_CELL_NAME, useCellName);
    DDX_Control(pDX, IDC_PATH_TYPE, pathTypeCombo);
    DDX_Control(pDX, IDC_WORKSHEET, worksheetCombo);
}

BOOL CPickExcelCellDialog::OnInitDialog() {
    CDialog::OnInitDialog();
    pathTypeCombo.AddString(L"Full Path");
    pathTypeCombo.AddString(L"Relative Path");
    pathTypeCombo.SetCurSel(0);
    return TRUE;
}

void CPickExcelCellDialog::browseWorkbook() {
    if (!UpdateData(TRUE))
        return;
    // The extension is handed over as it stands, pattern and all.
    CFileDialog dialog(TRUE, L"*.xls;*.xlsx", nullptr, OFN_HIDEREADONLY, kWorkbookFilter, this, 0,
                       TRUE);
    if (dialog.DoModal() != IDOK)
        return;
    // Nothing can be pressed on the way through a slow Excel.
    for (int id : kBusyControls)
        GetDlgItem(id)->EnableWindow(FALSE);
    workbook = dialog.GetPathName();
    CFileStatus status;
    if (CFile::GetStatus(workbook, status)) {
        const CTime& t = status.m_mtime;
        workbookTime = COleDateTime(t.GetYear(), t.GetMonth(), t.GetDay(), t.GetHour(),
                                    t.GetMinute(), t.GetSecond());
    } else {
        workbookTime = COleDateTime::GetCurrentTime();
    }
    UpdateData(FALSE);
    // An exception that leaves Get Active Cell leaves the controls disabled.
    getActiveCell();
    for (int id : kBusyControls)
        GetDlgItem(id)->EnableWindow(TRUE);
}

void CPickExcelCellDialog::getActiveCell() {
    if (!UpdateData(TRUE))
        return;
    int ready = 0, workbookOpen = 0;
    ExcelSessionGuard session(workbook, ready, workbookOpen);
    if (!workbookOpen)
        return;
    try {
        CWorkbook book = borrowDriver<CWorkbook>(ExcelUtils::s_workbook);
        if (workbook.IsEmpty())
            workbook = book.get_FullName();
        CWorksheets sheets(book.get_Worksheets());
        long count = sheets.get_Count();
        // The combo is not emptied: each press adds every sheet once more.
        for (long i = 1; i <= count; ++i) {
            CWorksheet sheet(sheets.get_Item(COleVariant(i)));
            worksheetCombo.AddString(sheet.get_Name());
        }
        worksheet = borrowDriver<CWorksheet>(ExcelUtils::s_worksheet).get_Name();
        worksheetCombo.SetWindowText(worksheet);
        CRange active(borrowDriver<CApplication>(ExcelUtils::s_application).get_ActiveCell());
        cell = active.get_Address(vtMissing, vtMissing, 1, vtMissing, vtMissing);
        if (useCellName)
            cell = getCellName(active);
        UpdateData(FALSE);
    } catch (_com_error& e) {
        MessageBox(e.ErrorMessage(), kLongTitle, 0);
    }
}

CString CPickExcelCellDialog::getCellName(CRange& range) {
    CString text;
    try {
        // Excel raises an error for a range that has no name.
        VARIANT name = range.get_Name();
        if (name.vt != VT_DISPATCH || !name.pdispVal) {
            VariantClear(&name);
            return text;
        }
        CName object(name.pdispVal);
        text = object.get_Name();
    } catch (CException* e) {
        e->Delete();
        text.Empty();
    } catch (...) {
        text.Empty();
    }
    return text;
}

void CPickExcelCellDialog::onUseCellName() {
    if (!UpdateData(TRUE))
        return;
    if (workbook.IsEmpty())
        return;
    getActiveCell();
}

void CPickExcelCellDialog::onPathTypeChanged() {
    if (pathTypeCombo.GetCurSel() == 1 && drawingPath().IsEmpty()) {
        MessageBox(kUnsavedDrawing, kLongTitle, 0);
        pathTypeCombo.SetCurSel(0);
    }
}

void CPickExcelCellDialog::OnOK() {
    if (!UpdateData(TRUE))
        return;
    if (workbook.IsEmpty() || !PathFileExistsW(workbook)) {
        MessageBox(L"Cannot find the workbook.", kLongTitle, MB_ICONINFORMATION);
        return;
    }
    worksheetCombo.GetWindowText(worksheet);
    // "*" separates the parts of a Cell Expression.
    if (worksheet.IsEmpty() || worksheet.Find(L'*') >= 0) {
        MessageBox(L"Invalid worksheet.", kLongTitle, MB_ICONINFORMATION);
        return;
    }
    if (cell.IsEmpty()) {
        MessageBox(L"Invalid cell.", kLongTitle, MB_ICONINFORMATION);
        return;
    }
    // Here the selection stays, whatever the message says.
    if (pathTypeCombo.GetCurSel() == 1 && drawingPath().IsEmpty()) {
        MessageBox(kUnsavedDrawing, kLongTitle, 0);
        return;
    }
    pathType = pathTypeCombo.GetCurSel();
    CDialog::OnOK();
}

CString ComposeCellExpression(CString file, CString sheet, CString cell, int pathType) {
    CString drawing = drawingPath();
    if (pathType == 1 && drawing.IsEmpty())
        pathType = 0;
    if (pathType == 1) {
        wchar_t relative[MAX_PATH] = {0};
        if (!PathRelativePathToW(relative, drawing, FILE_ATTRIBUTE_NORMAL, file,
                                 FILE_ATTRIBUTE_NORMAL)) {
            CString message;
            message.Format(L"Failed to create a relative path from %s to %s.", drawing.GetString(),
                           file.GetString());
            MessageBoxW(nullptr, message, kLongTitle, 0);
        } else {
            wchar_t folder[MAX_PATH] = {0};
            std::wcscpy(folder, relative);
            PathRemoveFileSpecW(folder);
            file = folder[0] ? CString(relative) : CString(L".\\") + relative;
        }
    }
    if (pathType == 2) {
        wchar_t drive[_MAX_DRIVE], dir[_MAX_DIR], name[_MAX_FNAME], ext[_MAX_EXT];
        _wsplitpath(file, drive, dir, name, ext);
        file = CString(name) + ext;
    }
    CString expression;
    expression.Format(L"%s%s%s%s%s", file.GetString(), L"*", sheet.GetString(), L"*",
                      cell.GetString());
    return expression;
}
