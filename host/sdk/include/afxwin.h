// The host framework's window classes, as far as plug-ins use them: a wrapped window
// handle, modal dialogs built from a template of the module's resources, their controls,
// dialog data exchange and command message maps.
#pragma once

#include "afx.h"
#include "afxdisp.h"

// Window and control styles of dialog templates.
#define WS_VISIBLE 0x10000000L
#define WS_DISABLED 0x08000000L
#define WS_GROUP 0x00020000L
#define WS_TABSTOP 0x00010000L
#define BS_PUSHBUTTON 0x0L
#define BS_DEFPUSHBUTTON 0x1L
#define BS_AUTOCHECKBOX 0x3L
#define BS_AUTORADIOBUTTON 0x9L
#define BS_GROUPBOX 0x7L
#define BS_TYPEMASK 0xFL
#define LBS_NOTIFY 0x0001L
#define LBS_SORT 0x0002L
#define LBS_OWNERDRAWFIXED 0x0010L
#define LBS_HASSTRINGS 0x0040L
#define CBS_DROPDOWN 0x0002L
#define CBS_DROPDOWNLIST 0x0003L
#define CBS_SORT 0x0100L
#define SS_LEFT 0x0L
#define SS_RIGHT 0x2L
#define SS_ETCHEDHORZ 0x10L
#define WS_BORDER 0x00800000L
#define WS_VSCROLL 0x00200000L
#define BS_OWNERDRAW 0xBL
#define ES_LEFT 0x0L
#define ES_AUTOHSCROLL 0x0080L
#define ES_READONLY 0x0800L
#define LVS_REPORT 0x0001L
#define LVS_SINGLESEL 0x0004L
#define LVS_ALIGNLEFT 0x0800L
#define LVS_EX_GRIDLINES 0x00000001L
#define LVS_EX_FULLROWSELECT 0x00000020L
#define LVCFMT_LEFT 0x0000
#define LVNI_ALL 0x0000
#define LVNI_SELECTED 0x0002

#define SW_HIDE 0
#define SW_SHOW 5

#define BST_UNCHECKED 0
#define BST_CHECKED 1
#define BST_INDETERMINATE 2

#define LB_ERR (-1)
#define CB_ERR (-1)

// Notification codes of WM_COMMAND that message maps name.
#define BN_CLICKED 0
#define LBN_SELCHANGE 1
#define CBN_SELCHANGE 1

class CWnd;
class CDataExchange;

// The base of classes that take commands through a message map.
class CCmdTarget : public CObject {
public:
    typedef void (CCmdTarget::*AFX_PMSG)();
};

struct AFX_MSGMAP_ENTRY {
    UINT nCode; // notification code; 0 and nID 0 end the map
    UINT nID;   // control id
    CCmdTarget::AFX_PMSG pfn;
};

struct AFX_MSGMAP {
    const AFX_MSGMAP* (*pfnGetBaseMap)();
    const AFX_MSGMAP_ENTRY* lpEntries;
};

#define DECLARE_MESSAGE_MAP()                                                                      \
protected:                                                                                         \
    static const AFX_MSGMAP* GetThisMessageMap();                                                  \
    const AFX_MSGMAP* GetMessageMap() const override;

#define BEGIN_MESSAGE_MAP(theClass, baseClass)                                                     \
    const AFX_MSGMAP* theClass::GetMessageMap() const {                                            \
        return GetThisMessageMap();                                                                \
    }                                                                                              \
    const AFX_MSGMAP* theClass::GetThisMessageMap() {                                              \
        [[maybe_unused]] typedef theClass ThisClass;                                               \
        typedef baseClass TheBaseClass;                                                            \
        static const AFX_MSGMAP_ENTRY _messageEntries[] = {
#define ON_BN_CLICKED(id, memberFxn)                                                               \
    {BN_CLICKED, static_cast<UINT>(id), static_cast<CCmdTarget::AFX_PMSG>(&ThisClass::memberFxn)},
#define ON_CBN_SELCHANGE(id, memberFxn)                                                            \
    {CBN_SELCHANGE, static_cast<UINT>(id),                                                         \
     static_cast<CCmdTarget::AFX_PMSG>(&ThisClass::memberFxn)},
#define END_MESSAGE_MAP()                                                                          \
    { 0, 0, nullptr }                                                                              \
    }                                                                                              \
    ;                                                                                              \
    static const AFX_MSGMAP messageMap = {&TheBaseClass::GetThisMessageMap, &_messageEntries[0]};  \
    return &messageMap;                                                                            \
    }

class CWnd : public CCmdTarget {
public:
    CWnd() = default;
    explicit CWnd(HWND window) : m_hWnd(window) {}
    ~CWnd() override = default;
    CWnd(const CWnd&) = delete;
    CWnd& operator=(const CWnd&) = delete;

    HWND GetSafeHwnd() const { return m_hWnd; }

    // The control of that id in this dialog; null when there is none. The object belongs
    // to the dialog and lives as long as its window.
    CWnd* GetDlgItem(int id) const;
    int GetDlgCtrlID() const;
    BOOL EnableWindow(BOOL enable = TRUE);
    BOOL IsWindowEnabled() const;
    BOOL ShowWindow(int command);
    BOOL IsWindowVisible() const;
    void SetWindowText(const wchar_t* text);
    void GetWindowText(CString& text) const;

    // Moves data between the controls and the members: TRUE reads the controls (and may
    // fail validation), FALSE fills them.
    BOOL UpdateData(BOOL saveAndValidate = TRUE);
    virtual void DoDataExchange(CDataExchange*) {}

    // Sends a control's notification through the message maps; TRUE if a handler took it.
    BOOL OnCmdMsg(UINT id, UINT code);

    // A message box owned by this window.
    int MessageBox(const wchar_t* text, const wchar_t* caption = nullptr, UINT type = 0);

    HWND m_hWnd = nullptr;

protected:
    static const AFX_MSGMAP* GetThisMessageMap();
    virtual const AFX_MSGMAP* GetMessageMap() const;
};

// Raised by a failed validation; UpdateData catches it.
class CUserException : public CException {};

class CDataExchange {
public:
    CDataExchange(CWnd* dialog, BOOL saveAndValidate)
        : m_bSaveAndValidate(saveAndValidate), m_pDlgWnd(dialog) {}
    // Ends the exchange as failed: the control keeps the focus and UpdateData gives FALSE.
    [[noreturn]] void Fail();
    HWND PrepareCtrl(int id);

    BOOL m_bSaveAndValidate;
    CWnd* m_pDlgWnd;
};

// A check box's state, 0, 1 or 2. A value outside that range shows as unchecked.
void DDX_Check(CDataExchange* pDX, int id, int& value);
// The index of the checked radio in the group that starts at id; -1 when none is checked.
void DDX_Radio(CDataExchange* pDX, int id, int& value);
// The text of an edit field.
void DDX_Text(CDataExchange* pDX, int id, CString& value);
// Attaches a control object to the dialog's control of that id, once.
void DDX_Control(CDataExchange* pDX, int id, CWnd& control);

class CButton : public CWnd {
public:
    int GetCheck() const;
    void SetCheck(int state);
};

class CListBox : public CWnd {
public:
    int GetCount() const;
    // Sorted lists place the text by comparison without regard to case.
    int AddString(const wchar_t* text);
    int DeleteString(UINT index);
    void ResetContent();
    int GetText(int index, CString& text) const;
    int GetTextLen(int index) const;
    int GetCurSel() const;
    int SetCurSel(int index);
};

// A list box whose items carry check boxes.
class CCheckListBox : public CListBox {
public:
    void SetCheck(int index, int state);
    int GetCheck(int index) const;
};

// A combo box: a drop-down list, or with CBS_DROPDOWN a list under an edit field whose text
// (GetWindowText, SetWindowText) may be any text the user types.
class CComboBox : public CWnd {
public:
    int GetCount() const;
    int AddString(const wchar_t* text);
    void ResetContent();
    int GetLBText(int index, CString& text) const;
    // The index of the entry equal to text without regard to case, searching after `start`
    // (-1 for the whole list); CB_ERR when none.
    int FindStringExact(int start, const wchar_t* text) const;
    int GetCurSel() const;
    // CB_ERR for an index outside the list, which also clears the selection. The edit field
    // of a drop-down combo takes the item's text.
    int SetCurSel(int index);
};

// A list view in report view: rows of texts under columns, one selected row at most.
class CListCtrl : public CWnd {
public:
    int InsertColumn(int column, const wchar_t* heading, int format = LVCFMT_LEFT, int width = -1);
    DWORD SetExtendedStyle(DWORD style);
    DWORD GetExtendedStyle() const;
    int GetItemCount() const;
    UINT GetSelectedCount() const;
    // The next row after `start` (-1 for the first) with the state asked; -1 when none.
    int GetNextItem(int start, int flags) const;
    BOOL SetItemState(int row, UINT state, UINT mask);
    CString GetItemText(int row, int column) const;
    BOOL SetItemText(int row, int column, const wchar_t* text);
    // Inserts a row with column 0's text; its index, or -1.
    int InsertItem(int row, const wchar_t* text);
    BOOL DeleteItem(int row);
    BOOL DeleteAllItems();
};

// A hint shown when the pointer rests on a control.
class CToolTipCtrl : public CWnd {
public:
    BOOL Create(CWnd* parent, DWORD style = 0);
    BOOL AddTool(CWnd* tool, const wchar_t* text);
    void Activate(BOOL active);
};

class CDialog : public CWnd {
public:
    CDialog() = default;
    explicit CDialog(UINT templateId, CWnd* parent = nullptr)
        : m_nIDHelp(templateId), m_pParentWnd(parent) {}
    ~CDialog() override;

    // Builds the dialog from the template in the module's resources and runs it until it
    // ends; the code it ended with, or -1 when it could not be made.
    virtual INT_PTR DoModal();
    void EndDialog(int result);

    // Base behaviour: fills the controls from the members.
    virtual BOOL OnInitDialog();
    // Base behaviour: reads the controls; ends with IDOK unless that fails.
    virtual void OnOK();
    virtual void OnCancel();

    UINT m_nIDHelp = 0;
    CWnd* m_pParentWnd = nullptr;

protected:
    static const AFX_MSGMAP* GetThisMessageMap();
    const AFX_MSGMAP* GetMessageMap() const override;
};
