// The library's attach and detach. The host platform calls DllMain; here the library's
// constructor and destructor functions stand in for those two calls.
#include "acui.h"
#include "afxdllx.h"
#include "libloaderapi.h"

HINSTANCE _hdllInstance = nullptr;
AFX_EXTENSION_MODULE LmeshDLL;

namespace {
HINSTANCE g_previousResource = nullptr;
}

extern "C" BOOL DllMain(HINSTANCE hInstance, DWORD dwReason, LPVOID) {
    if (dwReason == DLL_PROCESS_ATTACH) {
        _hdllInstance = hInstance;
        if (!AfxInitExtensionModule(LmeshDLL, hInstance))
            return FALSE;
        g_previousResource = AfxGetModuleState()->m_hCurrentResourceHandle;
        new CDynLinkLibrary(LmeshDLL);
        InitAcUiDLL();
    } else if (dwReason == DLL_PROCESS_DETACH) {
        AfxTermExtensionModule(LmeshDLL);
    }
    return TRUE;
}

namespace {

HINSTANCE thisModule() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&_hdllInstance), &module);
    return module;
}

__attribute__((constructor(200))) void libraryAttach() {
    DllMain(thisModule(), DLL_PROCESS_ATTACH, nullptr);
}

__attribute__((destructor)) void libraryDetach() {
    DllMain(_hdllInstance, DLL_PROCESS_DETACH, nullptr);
}

} // namespace
