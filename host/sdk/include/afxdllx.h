// The framework's module state and extension libraries: which module's resources are in use.
#pragma once

#include "windows.h"

struct AFX_MODULE_STATE {
    // The module whose resources dialogs and strings are taken from.
    HINSTANCE m_hCurrentInstanceHandle = nullptr;
    HINSTANCE m_hCurrentResourceHandle = nullptr;
};

// The state of the module now running; the host's own until someone switches it.
AFX_MODULE_STATE* AfxGetModuleState();
HINSTANCE AfxGetResourceHandle();
void AfxSetResourceHandle(HINSTANCE resource);
HINSTANCE AfxGetInstanceHandle();

struct AFX_EXTENSION_MODULE {
    BOOL bInitialized = FALSE;
    HMODULE hModule = nullptr;
    HMODULE hResource = nullptr;
};

// Fills the record once per module; FALSE for a null module.
BOOL AfxInitExtensionModule(AFX_EXTENSION_MODULE& state, HMODULE hModule);
void AfxTermExtensionModule(AFX_EXTENSION_MODULE& state, BOOL bAll = FALSE);

// Puts an extension library's resources on the framework's search chain for as long as it
// lives; the framework deletes it at AfxTermExtensionModule.
class CDynLinkLibrary {
public:
    explicit CDynLinkLibrary(AFX_EXTENSION_MODULE& state, BOOL bSystem = FALSE);
    virtual ~CDynLinkLibrary();
    CDynLinkLibrary(const CDynLinkLibrary&) = delete;
    CDynLinkLibrary& operator=(const CDynLinkLibrary&) = delete;
    HMODULE m_hModule;
    HMODULE m_hResource;
};

#define DLL_PROCESS_DETACH 0
#define DLL_PROCESS_ATTACH 1
#define DLL_THREAD_ATTACH 2
#define DLL_THREAD_DETACH 3
