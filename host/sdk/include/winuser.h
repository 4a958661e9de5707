// Windows user-interface calls the plug-in uses on windows of other programs.
#pragma once

#include "windows.h"

#define MB_SETFOREGROUND 0x00010000L
#define MB_TOPMOST 0x00040000L
#define MB_SYSTEMMODAL 0x00001000L

// The host keeps a table of the windows that exist (those of running servers); these
// answer from it. An unknown handle gives 0.
BOOL SetForegroundWindow(HWND window);
HWND GetForegroundWindow();
int GetClassNameW(HWND window, LPWSTR className, int maxCount);
int GetWindowTextW(HWND window, LPWSTR text, int maxCount);
BOOL IsWindow(HWND window);
