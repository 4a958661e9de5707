// The host's windows as the framework sees them.
#pragma once

#include "afxwin.h"

// The host application's main frame window.
CWnd* acedGetAcadFrame();

// The framework's document of the current drawing.
class CDocument : public CCmdTarget {
public:
    // The drawing's file; empty for a drawing never saved.
    virtual const CString& GetPathName() const { return m_strPathName; }

    CString m_strPathName;
};

// The document of the current drawing; null when no drawing is open.
CDocument* acedGetAcadDoc();
