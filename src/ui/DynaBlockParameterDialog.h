// "Dynamic Block": shows the picked reference and lets the user choose one of its properties.
#pragma once

#include "afxwin.h"
#include "excel/CStringTable.h"
#include "resources/resource.h"

class CDynaBlockParameterDialog : public CDialog {
public:
    enum { IDD = IDD_DYNAMIC_BLOCK };
    explicit CDynaBlockParameterDialog(CWnd* parent = nullptr);
    ~CDynaBlockParameterDialog() override = default;

    CStringArrayEx parameters; // the names to offer, filled by the caller
    CString handle;            // shown only
    CString blockName;         // shown only
    CComboBox parameterCombo;
    CComboBox unusedCombo; // bound to nothing
    CString selectedParameter;

protected:
    void DoDataExchange(CDataExchange* pDX) override;
    BOOL OnInitDialog() override;
    void OnOK() override;
    DECLARE_MESSAGE_MAP()
};
