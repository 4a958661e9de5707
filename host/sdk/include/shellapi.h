// The shell's open call. Here nothing is launched: the host records and prints what it
// was asked to open.
#pragma once

#include "windows.h"

#define SW_HIDE 0
#define SW_SHOWNORMAL 1
#define SW_NORMAL 1
#define SW_SHOW 5

// Gives a value above 32, as the shell does for a request it accepted.
HINSTANCE ShellExecuteW(HWND hwnd, LPCWSTR lpOperation, LPCWSTR lpFile, LPCWSTR lpParameters,
                        LPCWSTR lpDirectory, INT nShowCmd);
