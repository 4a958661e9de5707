// The dialogs of the export and import commands. Both keep their options in int members,
// which the commands read after DoModal returned IDOK, and part of them in the settings store.
#pragma once

#include "afxwin.h"
#include "excel/CStringTable.h"
#include "resources/resource.h"

class CExportParametersDialog : public CDialog {
public:
    enum { IDD = IDD_EXPORT_PARAMETERS };
    explicit CExportParametersDialog(CWnd* parent = nullptr);

    int m_bName = 1;
    int m_bExpression = 1;
    int m_bValue = 1;
    int m_bDescription = 0;
    int m_bHeader = 0;
    int m_nDestination = 0;     // 0 a table in the drawing, 1 Excel at its active cell
    int m_bLinkToCells = 0;     // stored, and read by nobody
    CStringArrayEx m_aSelected; // the checked parameters, top to bottom
    CCheckListBox m_wndParameters;

protected:
    void DoDataExchange(CDataExchange* pDX) override;
    BOOL OnInitDialog() override;
    void OnOK() override;
    void OnSelectAll();
    void OnDeselectAll();
    DECLARE_MESSAGE_MAP()
};

class CImportParametersDialog : public CDialog {
public:
    enum { IDD = IDD_IMPORT_PARAMETERS };
    explicit CImportParametersDialog(CWnd* parent = nullptr);

    CComboBox m_cbNameColumn;
    CComboBox m_cbExpressionColumn;
    CComboBox m_cbDescriptionColumn;
    // Columns are 0-based from the left edge of the range read.
    int m_nNameColumn = 0;
    int m_nExpressionColumn = 1;
    int m_nDescriptionColumn = 3;
    int m_bExpression = 1;
    int m_bDescription = 0;
    int m_bLinkToCells = 0; // stored, and read by nobody
    int m_bCreateIfMissing = 0;

protected:
    void DoDataExchange(CDataExchange* pDX) override;
    BOOL OnInitDialog() override;
    void OnOK() override;
    void OnExpressionChecked();
    void OnDescriptionChecked();
    DECLARE_MESSAGE_MAP()
};
