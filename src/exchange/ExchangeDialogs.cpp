#include "exchange/ExchangeDialogs.h"

#include "exchange/ADNAssocSampleUtils.h"
#include "support/Registry.h"

namespace {

const wchar_t* const kBoxTitle = L"Norvane Linkmesh";

void readSetting(const wchar_t* name, int& member) {
    member = CRegistry::GetProfileInt(name, member);
}

} // namespace

// --- export ---

CExportParametersDialog::CExportParametersDialog(CWnd* parent) : CDialog(IDD, parent) {}

BEGIN_MESSAGE_MAP(CExportParametersDialog, CDialog)
ON_BN_CLICKED(IDC_SELECT_ALL, OnSelectAll)
ON_BN_CLICKED(IDC_DESELECT_ALL, OnDeselectAll)
END_MESSAGE_MAP()

void CExportParametersDialog::DoDataExchange(CDataExchange* pDX) {
    CDialog::DoDataExchange(pDX);
    DDX_Check(pDX, IDC_CHECK_NAME, m_bName);
    DDX_Check(pDX, IDC_CHECK_EXPRESSION, m_bExpression);
    DDX_Check(pDX, IDC_CHECK_VALUE, m_bValue);
    DDX_Check(pDX, IDC_CHECK_DESCRIPTION, m_bDescription);
    DDX_Check(pDX, IDC_CHECK_HEADER, m_bHeader);
    DDX_Radio(pDX, IDC_RADIO_TABLE, m_nDestination);
    DDX_Check(pDX, IDC_CHECK_EXPORT_LINK, m_bLinkToCells);
    DDX_Control(pDX, IDC_LIST_PARAMETERS, m_wndParameters);
}

BOOL CExportParametersDialog::OnInitDialog() {
    CDialog::OnInitDialog();
    CStringArray names, expressions;
    // What could be gathered is shown even when the walk failed.
    enumerateParameters(names, expressions, 0);
    for (INT_PTR i = 0; i < names.GetSize(); ++i)
        m_wndParameters.AddString(names[i]);
    for (int i = 0; i < m_wndParameters.GetCount(); ++i)
        m_wndParameters.SetCheck(i, 1);
    readSetting(L"ExportPRMName", m_bName);
    readSetting(L"ExportPRMExpr", m_bExpression);
    readSetting(L"ExportPRMValue", m_bValue);
    readSetting(L"ExportPRMDescription", m_bDescription);
    readSetting(L"ExportPRMHeader", m_bHeader);
    readSetting(L"ExportDestination", m_nDestination);
    readSetting(L"ExportLinkToCells", m_bLinkToCells);
    UpdateData(FALSE);
    return TRUE;
}

void CExportParametersDialog::OnOK() {
    if (!UpdateData(TRUE))
        return;
    CRegistry::WriteProfileInt(L"ExportPRMName", m_bName);
    CRegistry::WriteProfileInt(L"ExportPRMExpr", m_bExpression);
    CRegistry::WriteProfileInt(L"ExportPRMValue", m_bValue);
    CRegistry::WriteProfileInt(L"ExportPRMDescription", m_bDescription);
    CRegistry::WriteProfileInt(L"ExportPRMHeader", m_bHeader);
    CRegistry::WriteProfileInt(L"ExportDestination", m_nDestination);
    CRegistry::WriteProfileInt(L"ExportLinkToCells", m_bLinkToCells);
    for (int i = 0; i < m_wndParameters.GetCount(); ++i) {
        if (m_wndParameters.GetCheck(i) != 1)
            continue;
        CString text;
        m_wndParameters.GetText(i, text);
        m_aSelected.Add(text);
    }
    CDialog::OnOK();
}

void CExportParametersDialog::OnSelectAll() {
    for (int i = 0; i < m_wndParameters.GetCount(); ++i)
        m_wndParameters.SetCheck(i, 1);
}

void CExportParametersDialog::OnDeselectAll() {
    for (int i = 0; i < m_wndParameters.GetCount(); ++i)
        m_wndParameters.SetCheck(i, 0);
}

// --- import ---

CImportParametersDialog::CImportParametersDialog(CWnd* parent) : CDialog(IDD, parent) {}

BEGIN_MESSAGE_MAP(CImportParametersDialog, CDialog)
ON_BN_CLICKED(IDC_CHECK_IMPORT_EXPRESSION, OnExpressionChecked)
ON_BN_CLICKED(IDC_CHECK_IMPORT_DESCRIPTION, OnDescriptionChecked)
END_MESSAGE_MAP()

void CImportParametersDialog::DoDataExchange(CDataExchange* pDX) {
    CDialog::DoDataExchange(pDX);
    DDX_Control(pDX, IDC_COMBO_NAME_COLUMN, m_cbNameColumn);
    DDX_Control(pDX, IDC_COMBO_EXPRESSION_COLUMN, m_cbExpressionColumn);
    DDX_Control(pDX, IDC_COMBO_DESCRIPTION_COLUMN, m_cbDescriptionColumn);
    DDX_Check(pDX, IDC_CHECK_IMPORT_EXPRESSION, m_bExpression);
    DDX_Check(pDX, IDC_CHECK_IMPORT_DESCRIPTION, m_bDescription);
    DDX_Check(pDX, IDC_CHECK_IMPORT_LINK, m_bLinkToCells);
    DDX_Check(pDX, IDC_CHECK_CREATE_IF_MISSING, m_bCreateIfMissing);
}

BOOL CImportParametersDialog::OnInitDialog() {
    CDialog::OnInitDialog();
    const wchar_t* const columns[] = {L"1st", L"2nd", L"3rd", L"4th", L"5th"};
    for (const wchar_t* column : columns) {
        m_cbNameColumn.AddString(column);
        m_cbExpressionColumn.AddString(column);
        m_cbDescriptionColumn.AddString(column);
    }
    m_cbNameColumn.SetCurSel(m_nNameColumn);
    m_cbExpressionColumn.SetCurSel(m_nExpressionColumn);
    m_cbDescriptionColumn.SetCurSel(m_nDescriptionColumn);
    readSetting(L"ImportPRMExpr", m_bExpression);
    readSetting(L"ImportPRMDescription", m_bDescription);
    readSetting(L"ImportRPMLinkToCells", m_bLinkToCells);
    readSetting(L"ImportCreateIfDoesNotExist", m_bCreateIfMissing);
    // The check boxes still show the first members, and reading them back here overrides
    // what the store gave: the dialog always opens with its defaults.
    auto enableColumns = [this] {
        UpdateData(TRUE);
        m_cbExpressionColumn.EnableWindow(m_bExpression);
        UpdateData(TRUE);
        m_cbDescriptionColumn.EnableWindow(m_bDescription);
    };
    enableColumns();
    UpdateData(FALSE);
    enableColumns();
    return TRUE;
}

void CImportParametersDialog::OnOK() {
    if (!UpdateData(TRUE))
        return;
    m_nNameColumn = m_cbNameColumn.GetCurSel();
    m_nExpressionColumn = m_cbExpressionColumn.GetCurSel();
    m_nDescriptionColumn = m_cbDescriptionColumn.GetCurSel();
    if (m_nNameColumn < 0 || m_nExpressionColumn < 0 || m_nDescriptionColumn < 0) {
        MessageBoxW(m_hWnd, L"Invalid column index.", kBoxTitle, MB_ICONINFORMATION);
        return;
    }
    // Only the name column is compared: the other two may share a column, used or not.
    if (m_nNameColumn == m_nExpressionColumn || m_nNameColumn == m_nDescriptionColumn) {
        MessageBoxW(m_hWnd, L"There is already a column with the same index.", kBoxTitle,
                    MB_ICONINFORMATION);
        return;
    }
    CRegistry::WriteProfileInt(L"ImportPRMExpr", m_bExpression);
    CRegistry::WriteProfileInt(L"ImportPRMDescription", m_bDescription);
    CRegistry::WriteProfileInt(L"ImportRPMLinkToCells", m_bLinkToCells);
    CRegistry::WriteProfileInt(L"ImportCreateIfDoesNotExist", m_bCreateIfMissing);
    if (MessageBoxW(m_hWnd,
                    L"Importing the selected range will change the parameters in the drawing. "
                    L"Are you sure you want to import the selected range from the active "
                    L"worksheet?",
                    kBoxTitle, MB_YESNO | MB_ICONINFORMATION) != IDYES)
        return;
    CDialog::OnOK();
}

void CImportParametersDialog::OnExpressionChecked() {
    if (UpdateData(TRUE))
        m_cbExpressionColumn.EnableWindow(m_bExpression);
}

void CImportParametersDialog::OnDescriptionChecked() {
    if (UpdateData(TRUE))
        m_cbDescriptionColumn.EnableWindow(m_bDescription);
}
