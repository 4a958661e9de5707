// The host's dialog helper library: its dialog classes and their pick and bitmap buttons.
#pragma once

#include "afxwin.h"

// Readies the host's dialog classes for a plug-in library; called once at library attach.
void InitAcUiDLL();

class CAdUiBaseDialog : public CDialog {
public:
    using CDialog::CDialog;
    // Hides the dialog so that the user can work in the drawing (a pick)...
    void BeginEditorCommand();
    // ...and shows it again; `restore` is kept for the host's signature.
    void CompleteEditorCommand(BOOL restore = TRUE);
};

class CAdUiDialog : public CAdUiBaseDialog {
public:
    using CAdUiBaseDialog::CAdUiBaseDialog;
};

class CAcUiDialog : public CAdUiDialog {
public:
    using CAdUiDialog::CAdUiDialog;
};

// A button that shows a picture: the bitmap its text names, or the host's pick glyph.
class CAcUiBitmapButton : public CButton {
public:
    // Loads the picture; FALSE when the button is not attached to a control.
    BOOL AutoLoad();
    BOOL IsLoaded() const { return m_loaded; }

protected:
    BOOL m_loaded = FALSE;
};

class CAcUiPickButton : public CAcUiBitmapButton {};
