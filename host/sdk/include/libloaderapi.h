// Modules: how a library finds itself and its file.
#pragma once

#include "windows.h"

// The module that contains the address (GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS), so that a
// library can find itself.
#define GET_MODULE_HANDLE_EX_FLAG_PIN 0x00000001
#define GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT 0x00000002
#define GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS 0x00000004
BOOL GetModuleHandleExW(DWORD dwFlags, LPCWSTR lpModuleName, HMODULE* phModule);

// The full path of the module's file; of the host's executable for a null module. Gives the
// length copied; a buffer too small takes a cut text and gives nSize.
DWORD GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize);
