#include "ui/ParametersManagerDialog.h"

#include "acadstrc.h"
#include "afxfile.h"
#include "exchange/ADNAssocSampleUtils.h"
#include "frame/ResourceOverride.h"
#include "links/LinkOperations.h"
#include "links/UpdateCommand.h"
#include "rxmfcapi.h"
#include "ui/PickExcelCellDialog.h"

namespace {

const wchar_t* const kShortTitle = L"Linkmesh";
const wchar_t* const kLongTitle = L"Norvane Linkmesh";
const wchar_t* const kLinkFileFilter = L"CSV (Comma delimited) (*.csv)|*.csv||";

} // namespace

CParametersManagerDialog::CParametersManagerDialog(CWnd* parent) : CAcUiDialog(IDD, parent) {}

// The picks of the drawing live in DrawingPicks.cpp.
BEGIN_MESSAGE_MAP(CParametersManagerDialog, CAcUiDialog)
ON_BN_CLICKED(IDC_PICK_TABLE_CELL, pickTableCell)
ON_BN_CLICKED(IDC_ADD_LINK, addSelectedLink)
ON_BN_CLICKED(IDC_REMOVE_LINK, removeSelectedLink)
ON_BN_CLICKED(IDC_PICK_EXCEL_CELL, pickExcelCell)
ON_BN_CLICKED(IDC_PICK_DYNAMIC_BLOCK, pickDynamicBlock)
ON_BN_CLICKED(IDC_EXPORT_LINKS, exportLinks)
ON_BN_CLICKED(IDC_IMPORT_LINKS, importLinks)
ON_BN_CLICKED(IDC_REMOVE_ALL_LINKS, removeAllLinks)
END_MESSAGE_MAP()

void CParametersManagerDialog::DoDataExchange(CDataExchange* pDX) {
    CAcUiDialog::DoDataExchange(pDX);
    DDX_Control(pDX, IDC_PARAMETER_COMBO, parameterCombo);
    DDX_Text(pDX, IDC_CELL_EXPRESSION, cellExpression);
    DDX_Text(pDX, IDC_BLOCK_NAME, blockName);
    DDX_Control(pDX, IDC_LINKS_LIST, linksList);
    DDX_Control(pDX, IDC_PICK_TABLE_CELL, tablePickButton);
    DDX_Control(pDX, IDC_PICK_DYNAMIC_BLOCK, blockPickButton);
    DDX_Control(pDX, IDC_PICK_EXCEL_CELL, excelPickButton);
}

BOOL CParametersManagerDialog::OnInitDialog() {
    CAcUiDialog::OnInitDialog();
    if (toolTip.Create(this, 0)) {
        toolTip.AddTool(&excelPickButton, L"Pick a cell from Excel.");
        toolTip.Activate(TRUE);
    }
    tablePickButton.AutoLoad();
    blockPickButton.AutoLoad();
    excelPickButton.AutoLoad();
    linksList.InsertColumn(0, L"Parameter Name", LVCFMT_LEFT, 160);
    linksList.InsertColumn(1, L"Cell Expression", LVCFMT_LEFT, 480);
    linksList.SetExtendedStyle(LVS_EX_GRIDLINES | LVS_EX_FULLROWSELECT);

    CStringArray names, expressions;
    Acad::ErrorStatus es = enumerateParameters(names, expressions, 1);
    if (es != Acad::eOk) {
        MessageBox(acadErrorStatusText(es), kShortTitle, MB_ICONINFORMATION);
        return TRUE;
    }
    for (INT_PTR i = 0; i < names.GetSize(); ++i) {
        parameterCombo.AddString(names[i]);
        // The link is stored already, so a row placed here asks for no addLink.
        if (i < expressions.GetSize() && !expressions[i].IsEmpty())
            insertLinkRow(names[i], expressions[i]);
    }
    return TRUE;
}

int CParametersManagerDialog::insertLinkRow(CString name, CString expression) {
    // The rows stand in name order, as this is the one place that adds a row. So the first
    // row whose name does not sort before `name` is found by halving: the row at which a walk
    // from the top would stop, without reading every row above it.
    int i = 0;
    for (int count = linksList.GetItemCount(); count > 0;) {
        int half = count / 2;
        if (linksList.GetItemText(i + half, 0).CompareNoCase(name) < 0) {
            i += half + 1;
            count -= half + 1;
        } else {
            count = half;
        }
    }
    if (i < linksList.GetItemCount() && linksList.GetItemText(i, 0).CompareNoCase(name) == 0) {
        CString old = linksList.GetItemText(i, 1);
        if (old.CompareNoCase(expression) == 0)
            return 0;
        CString question;
        question.Format(L"%s already has a linked cell. Do you want to replace it?",
                        static_cast<const wchar_t*>(name));
        if (MessageBox(question, kLongTitle, MB_YESNO | MB_ICONINFORMATION) != IDYES)
            return 0;
        removeLink(name, old, m_run);
        linksList.SetItemText(i, 1, expression);
        return 1;
    }
    int row = linksList.InsertItem(i, name);
    linksList.SetItemText(row, 1, expression);
    return 1;
}

void CParametersManagerDialog::addSelectedLink() {
    int selected = parameterCombo.GetCurSel();
    if (selected == CB_ERR) {
        MessageBox(L"Please select a parameter first.", kShortTitle, MB_ICONINFORMATION);
        return;
    }
    if (!UpdateData(TRUE))
        return;
    if (cellExpression.IsEmpty()) {
        MessageBox(L"Invalid Cell Expression.", kShortTitle, MB_ICONINFORMATION);
        return;
    }
    CString name;
    parameterCombo.GetLBText(selected, name);
    if (name.IsEmpty()) {
        MessageBox(L"Invalid Parameter.", kShortTitle, MB_ICONINFORMATION);
        return;
    }
    if (insertLinkRow(name, cellExpression))
        addLink(name, cellExpression);
    // Also after a refused replacement: the next link starts from a new pick.
    cellExpression.Empty();
    UpdateData(FALSE);
}

void CParametersManagerDialog::removeSelectedLink() {
    if (linksList.GetSelectedCount() == 0) {
        MessageBox(L"Please select a item first.", kShortTitle, MB_ICONINFORMATION);
        return;
    }
    if (MessageBox(L"Are you sure you want to remove this item?", kShortTitle,
                   MB_YESNO | MB_ICONINFORMATION) != IDYES)
        return;
    int row = linksList.GetNextItem(-1, LVNI_SELECTED);
    if (row < 0)
        return;
    removeLink(linksList.GetItemText(row, 0), linksList.GetItemText(row, 1));
    linksList.DeleteItem(row);
}

void CParametersManagerDialog::removeAllLinks() {
    if (MessageBox(L"Are you sure you want to remove all the links?", kShortTitle,
                   MB_YESNO | MB_ICONINFORMATION) != IDYES)
        return;
    // Backwards, so that the indexes still to come stay valid.
    LinkRun run;
    for (int row = linksList.GetItemCount() - 1; row >= 0; --row) {
        removeLink(linksList.GetItemText(row, 0), linksList.GetItemText(row, 1), &run);
        linksList.DeleteItem(row);
    }
}

void CParametersManagerDialog::pickExcelCell() {
    // A new dialog for each press, so that no field remembers the last pick.
    CPickExcelCellDialog dialog(this);
    if (dialog.DoModal() != IDOK)
        return;
    cellExpression =
        ComposeCellExpression(dialog.workbook, dialog.worksheet, dialog.cell, dialog.pathType);
    UpdateData(FALSE);
}

void CParametersManagerDialog::exportLinks() {
    CFileDialog dialog(FALSE, L"csv", L"Untitled", OFN_HIDEREADONLY | OFN_OVERWRITEPROMPT,
                       kLinkFileFilter, this, 0, TRUE);
    if (dialog.DoModal() != IDOK)
        return;
    CStdioFile file;
    CFileException error;
    if (!file.Open(dialog.GetPathName(), CFile::modeCreate | CFile::modeWrite, &error)) {
        error.ReportError(0, 0);
        return;
    }
    // A failed write leaves the handler as the stream's exception: no success is told.
    for (int row = 0; row < linksList.GetItemCount(); ++row) {
        CString line;
        line.Format(L"%s,%s\n", static_cast<const wchar_t*>(linksList.GetItemText(row, 0)),
                    static_cast<const wchar_t*>(linksList.GetItemText(row, 1)));
        file.WriteString(line);
    }
    file.Close();
    MessageBox(L"Successfully export the links.", kLongTitle, MB_ICONINFORMATION);
}

void CParametersManagerDialog::importLinks() {
    CFileDialog dialog(TRUE, L"csv", L"", OFN_HIDEREADONLY | OFN_OVERWRITEPROMPT, kLinkFileFilter,
                       this, 0, TRUE);
    if (dialog.DoModal() != IDOK)
        return;
    CStdioFile file;
    CFileException error;
    if (!file.Open(dialog.GetPathName(), CFile::modeRead | CFile::typeText, &error)) {
        error.ReportError(0, 0);
        return;
    }
    // The whole file is read and closed before any link is touched.
    CStringArray lines;
    CString line;
    while (file.ReadString(line)) {
        if (!line.IsEmpty() && line.Find(L',') > 0)
            lines.Add(line);
    }
    file.Close();
    // The lines change links only, never parameters: one walk of the network serves them all.
    LinkRun run;
    m_run = &run;
    for (INT_PTR i = 0; i < lines.GetSize(); ++i) {
        int comma = lines[i].Find(L',');
        if (comma <= 0)
            continue;
        CString name = lines[i].Left(comma);
        CString expression = lines[i].Mid(comma + 1);
        name.Trim();
        expression.Trim();
        if (name.IsEmpty() || expression.IsEmpty())
            continue;
        if (insertLinkRow(name, expression))
            addLink(name, expression, &run);
    }
    m_run = nullptr;
    // The file was worked through; each line that failed has told its own message.
    MessageBox(L"Successfully import the links.", kLongTitle, MB_ICONINFORMATION);
}

void linkParameters() {
    CParametersManagerDialog dialog(acedGetAcadFrame());
    INT_PTR result;
    {
        CLmeshResourceOverride resources;
        result = dialog.DoModal();
    }
    if (result == IDOK)
        updateLinkedParameters();
}
