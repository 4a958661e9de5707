// The framework's module state: the resource handle dialogs are built from, and the
// extension libraries that put their resources on the search chain.
#include <algorithm>
#include <vector>

#include "acui.h"
#include "afxdllx.h"
#include "libloaderapi.h"
#include "winres.h"

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

namespace {

struct ModuleResources {
    HINSTANCE module;
    const DLGRESOURCE* resource;
};

// Lives as long as the process, like the library list.
std::vector<ModuleResources>& dialogResources() {
    static auto* resources = new std::vector<ModuleResources>;
    return *resources;
}

HINSTANCE moduleOf(const void* address) {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(address), &module);
    return module;
}

} // namespace

BOOL RegisterDialogResource(const void* inModule, const DLGRESOURCE* resource) {
    HINSTANCE module = moduleOf(inModule);
    if (!resource || !module || FindDialogResource(module, resource->id))
        return FALSE;
    dialogResources().push_back({module, resource});
    return TRUE;
}

void UnregisterDialogResource(const DLGRESOURCE* resource) {
    std::erase_if(dialogResources(),
                  [resource](const ModuleResources& r) { return r.resource == resource; });
}

const DLGRESOURCE* FindDialogResource(HINSTANCE module, UINT id) {
    for (const ModuleResources& r : dialogResources())
        if (r.module == module && r.resource->id == id)
            return r.resource;
    return nullptr;
}

HINSTANCE AfxFindResourceHandle(UINT dialogId) {
    // The current module first, then the extension libraries in the order they came.
    if (FindDialogResource(AfxGetResourceHandle(), dialogId))
        return AfxGetResourceHandle();
    for (CDynLinkLibrary* lib : extensionLibraries())
        if (FindDialogResource(lib->m_hResource, dialogId))
            return lib->m_hResource;
    return nullptr;
}
