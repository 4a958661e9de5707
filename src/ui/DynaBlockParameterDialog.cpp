#include "ui/DynaBlockParameterDialog.h"

CDynaBlockParameterDialog::CDynaBlockParameterDialog(CWnd* parent) : CDialog(IDD, parent) {}

BEGIN_MESSAGE_MAP(CDynaBlockParameterDialog, CDialog)
END_MESSAGE_MAP()

void CDynaBlockParameterDialog::DoDataExchange(CDataExchange* pDX) {
    CDialog::DoDataExchange(pDX);
    DDX_Text(pDX, IDC_DYNA_HANDLE, handle);
    DDX_Control(pDX, IDC_DYNA_PARAMETER, parameterCombo);
    DDX_Text(pDX, IDC_DYNA_BLOCK_NAME, blockName);
}

BOOL CDynaBlockParameterDialog::OnInitDialog() {
    CDialog::OnInitDialog();
    for (INT_PTR i = 0; i < parameters.GetSize(); ++i)
        parameterCombo.AddString(parameters[i]);
    // The combo sorts: the first in name order, not the one linked already.
    parameterCombo.SetCurSel(0);
    return TRUE;
}

void CDynaBlockParameterDialog::OnOK() {
    int selected = parameterCombo.GetCurSel();
    if (selected == CB_ERR) {
        MessageBox(L"Invalid parameter.", nullptr, 0);
        return;
    }
    parameterCombo.GetLBText(selected, selectedParameter);
    CDialog::OnOK();
}
