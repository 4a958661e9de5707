// Dialogs of the plug-in are built from its own resources: the module state's resource
// handle points at the library for the span of the dialog, and back afterwards, also when
// an exception leaves the dialog.
#pragma once

#include "afxdllx.h"

extern AFX_EXTENSION_MODULE LmeshDLL;

class CLmeshResourceOverride {
public:
    CLmeshResourceOverride();
    ~CLmeshResourceOverride();
    CLmeshResourceOverride(const CLmeshResourceOverride&) = delete;
    CLmeshResourceOverride& operator=(const CLmeshResourceOverride&) = delete;

private:
    HINSTANCE m_previous;
};
