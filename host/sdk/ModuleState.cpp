// The framework's module state: the resource handle dialogs are built from, and the
// extension libraries that put their resources on the search chain.
#include <algorithm>
#include <vector>

#include "acui.h"
#include "afxdllx.h"

namespace {

// Lives as long as the process: libraries detach after static objects are gone.
std::vector<CDynLinkLibrary*>& extensionLibraries() {
    static auto* libraries = new std::vector<CDynLinkLibrary*>;
    return *libraries;
}

} // namespace

AFX_MODULE_STATE* AfxGetModuleState() {
    static AFX_MODULE_STATE state;
    return &state;
}

HINSTANCE AfxGetResourceHandle() {
    return AfxGetModuleState()->m_hCurrentResourceHandle;
}

void AfxSetResourceHandle(HINSTANCE resource) {
    AfxGetModuleState()->m_hCurrentResourceHandle = resource;
}

HINSTANCE AfxGetInstanceHandle() {
    return AfxGetModuleState()->m_hCurrentInstanceHandle;
}

BOOL AfxInitExtensionModule(AFX_EXTENSION_MODULE& state, HMODULE hModule) {
    if (state.bInitialized)
        return TRUE;
    if (!hModule)
        return FALSE;
    state.hModule = hModule;
    state.hResource = hModule;
    state.bInitialized = TRUE;
    return TRUE;
}

void AfxTermExtensionModule(AFX_EXTENSION_MODULE& state, BOOL) {
    std::vector<CDynLinkLibrary*> mine;
    for (CDynLinkLibrary* lib : extensionLibraries())
        if (lib->m_hModule == state.hModule)
            mine.push_back(lib);
    for (CDynLinkLibrary* lib : mine)
        delete lib;
    state.bInitialized = FALSE;
}

CDynLinkLibrary::CDynLinkLibrary(AFX_EXTENSION_MODULE& state, BOOL)
    : m_hModule(state.hModule), m_hResource(state.hResource) {
    extensionLibraries().push_back(this);
}

CDynLinkLibrary::~CDynLinkLibrary() {
    std::erase(extensionLibraries(), this);
}

void InitAcUiDLL() {
    // The host's dialog classes need no setup here.
}
