// The Parameter Links Manager: lists the links of the drawing and makes and removes them.
// Every change is written to the drawing when it is confirmed; the list keeps no other
// record of a link than its two columns.
#pragma once

#include "acui.h"
#include "links/LinkOperations.h"
#include "resources/resource.h"

class CParametersManagerDialog : public CAcUiDialog {
public:
    enum { IDD = IDD_PARAMETERS_MANAGER };
    explicit CParametersManagerDialog(CWnd* parent = nullptr);

    CComboBox parameterCombo;
    CString cellExpression; // filled by a pick, never typed
    CString blockName;      // the block last picked; shown only
    CListCtrl linksList;
    CAcUiPickButton tablePickButton;
    CAcUiPickButton blockPickButton;
    CAcUiBitmapButton excelPickButton;
    CToolTipCtrl toolTip;

    // Places a row for the link in name order. 1 when the caller is to store the link, 0
    // when the list holds it already or the user kept the old one.
    int insertLinkRow(CString name, CString expression);

protected:
    void DoDataExchange(CDataExchange* pDX) override;
    BOOL OnInitDialog() override;
    void pickTableCell();
    void addSelectedLink();
    void removeSelectedLink();
    void pickExcelCell();
    void pickDynamicBlock();
    void exportLinks();
    void importLinks();
    void removeAllLinks();
    DECLARE_MESSAGE_MAP()

private:
    LinkRun* m_run = nullptr; // while an import works through its lines
};

// The command Lmesh_LinkParameters: the manager, and the update when it ends with
// "Update Parameters".
void linkParameters();
