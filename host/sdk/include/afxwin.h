// The host framework's window class, as far as plug-ins use it: a wrapped window handle.
#pragma once

#include "afx.h"

class CWnd : public CObject {
public:
    CWnd() = default;
    explicit CWnd(HWND window) : m_hWnd(window) {}
    HWND GetSafeHwnd() const { return m_hWnd; }

    HWND m_hWnd = nullptr;
};
