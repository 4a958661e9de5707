// The host framework's core classes that the plug-in uses.
#pragma once

#include "afxobj.h"
#include "afxstr.h"
#include "afxtempl.h"
#include "windows.h"

// An array of texts, grown by the framework's rule.
class CStringArray : public CArray<CString, const CString&> {
public:
    INT_PTR Add(const CString& text) { return CArray<CString, const CString&>::Add(text); }
    INT_PTR Add(const wchar_t* text) { return Add(CString(text)); }
};

// Shows a message box owned by the main window, titled with the host application's name.
int AfxMessageBox(const wchar_t* text, UINT type = MB_OK, UINT helpId = 0);
