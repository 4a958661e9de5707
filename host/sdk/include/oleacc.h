// Accessibility: reaching the native object model of another program's window.
#pragma once

#include "oleauto.h"

#define OBJID_NATIVEOM ((LONG)0xFFFFFFF0)

// The object behind a window: with OBJID_NATIVEOM the owning program's object model (for a
// spreadsheet window, its Window object). E_FAIL for a window without one.
HRESULT AccessibleObjectFromWindow(HWND window, DWORD objectId, REFIID riid, void** object);
