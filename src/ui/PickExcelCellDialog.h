// Select an Excel Cell: a workbook, a sheet, a cell and a kind of path, taken from the Excel
// the user works in or typed. It makes no link; the manager composes the Cell Expression.
#pragma once

#include "afxdisp.h"
#include "afxwin.h"
#include "resources/resource.h"

class CRange;

class CPickExcelCellDialog : public CDialog {
public:
    enum { IDD = IDD_PICK_EXCEL_CELL };
    explicit CPickExcelCellDialog(CWnd* parent = nullptr);

    CString workbook;
    CString worksheet; // read from worksheetCombo on OK
    CString cell;      // an address or a defined name
    int useCellName = 0;
    int pathType = 0; // 0 "Full Path", 1 "Relative Path"; set on OK
    CComboBox pathTypeCombo;
    CComboBox worksheetCombo;
    COleDateTime workbookTime; // time of the chosen file; nothing reads it

protected:
    void DoDataExchange(CDataExchange* pDX) override;
    BOOL OnInitDialog() override;
    void OnOK() override;
    void browseWorkbook();
    void getActiveCell();
    void onUseCellName();
    void onPathTypeChanged();
    // The defined name of the range; empty when it has none.
    static CString getCellName(CRange& range);
    DECLARE_MESSAGE_MAP()
};

// The Cell Expression file*sheet*cell. Path type 1 makes the file relative to the current
// drawing's file (a drawing never saved keeps the full path), 2 keeps its name alone.
CString ComposeCellExpression(CString file, CString sheet, CString cell, int pathType);
