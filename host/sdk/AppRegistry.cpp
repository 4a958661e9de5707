// The system registry, the runtime class registry, the dynamic linker and the loading of
// plug-in libraries.
#include <dlfcn.h>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "WideFormat.h"
#include "accmd.h"
#include "aced.h"
#include "acdocman.h"
#include "acutads.h"
#include "dbmain.h"
#include "rxregsvc.h"
#include "sdk/control/Applications.h"
#include "sdk/control/Parts.h"

ACRX_DEFINE_MEMBERS(AcRxDictionary, AcRxObject)
ACRX_DEFINE_MEMBERS(AcRxDynamicLinker, AcRxObject)

struct AcRxDictionary::Entries {
    std::vector<std::pair<std::wstring, AcRxObject*>> items; // in insertion order
};

AcRxDictionary::AcRxDictionary() : m_entries(new Entries) {}
AcRxDictionary::~AcRxDictionary() {
    delete m_entries;
}

AcRxObject* AcRxDictionary::at(const ACHAR* key) const {
    if (!key)
        return nullptr;
    for (auto& [name, object] : m_entries->items)
        if (name == key)
            return object;
    return nullptr;
}

AcRxObject* AcRxDictionary::atPut(const ACHAR* key, AcRxObject* object) {
    if (!key)
        return nullptr;
    for (auto& [name, held] : m_entries->items)
        if (name == key) {
            AcRxObject* old = held;
            held = object;
            return old;
        }
    m_entries->items.emplace_back(key, object);
    return nullptr;
}

AcRxObject* AcRxDictionary::remove(const ACHAR* key) {
    if (!key)
        return nullptr;
    auto& items = m_entries->items;
    for (auto it = items.begin(); it != items.end(); ++it)
        if (it->first == key) {
            AcRxObject* old = it->second;
            items.erase(it);
            return old;
        }
    return nullptr;
}

unsigned int AcRxDictionary::numEntries() const {
    return static_cast<unsigned int>(m_entries->items.size());
}

namespace {

struct SysRegistry {
    AcRxDictionary dictionary;
    AcRxDynamicLinker linker;
    AcEdCommandStack commands;
    SysRegistry() {
        dictionary.atPut(ACRX_DYNAMIC_LINKER, &linker);
        dictionary.atPut(ACRX_COMMAND_DOCK, &commands);
    }
};

SysRegistry& sysRegistry() {
    static SysRegistry registry;
    return registry;
}

// Runtime classes by name: the host's own, and those applications add.
struct ClassRegistry {
    std::map<std::wstring, AcRxClass*> byName;
    std::vector<std::unique_ptr<AcRxClass>> owned;
    std::vector<std::unique_ptr<std::wstring>> names;
    ClassRegistry() {
        for (AcRxClass* c :
             {AcRxObject::desc(), AcDbObject::desc(), AcDbEntity::desc(), AcDbDatabase::desc(),
              AcDbDatabaseReactor::desc(), AcRxDictionary::desc(), AcRxDynamicLinker::desc(),
              AcEdCommandStack::desc(), AcEdCommand::desc(), AcApDocManager::desc(),
              AcApDocument::desc(), AcApDocManagerReactor::desc()})
            byName[c->name()] = c;
    }
};

ClassRegistry& classRegistry() {
    static ClassRegistry registry;
    return registry;
}

} // namespace

void lmhost::registerRuntimeClass(AcRxClass* cls) {
    if (cls)
        classRegistry().byName[cls->name()] = cls;
}

AcRxDictionary* acrxSysRegistry() {
    return &sysRegistry().dictionary;
}

void acrxBuildClassHierarchy() {
    // Classes here know their parent from the start; nothing is left to link.
}

AcRxClass* acrxFindAcRxClass(const ACHAR* name) {
    if (!name)
        return nullptr;
    auto& byName = classRegistry().byName;
    auto it = byName.find(name);
    return it == byName.end() ? nullptr : it->second;
}

AcRxClass* newAcRxClass(const ACHAR* className, const ACHAR* parentClassName) {
    if (!className || !*className)
        return nullptr;
    if (AcRxClass* existing = acrxFindAcRxClass(className))
        return existing;
    AcRxClass* parent = acrxFindAcRxClass(parentClassName);
    if (!parent)
        return nullptr;
    ClassRegistry& reg = classRegistry();
    reg.names.push_back(std::make_unique<std::wstring>(className));
    reg.owned.push_back(std::make_unique<AcRxClass>(reg.names.back()->c_str(), parent));
    AcRxClass* cls = reg.owned.back().get();
    reg.byName[className] = cls;
    return cls;
}

void deleteAcRxClass(AcRxClass* cls) {
    ClassRegistry& reg = classRegistry();
    for (auto it = reg.owned.begin(); it != reg.owned.end(); ++it)
        if (it->get() == cls) {
            reg.byName.erase(cls->name());
            reg.owned.erase(it);
            return;
        }
}

// ---------------------------------------------------------------------------------------
// Loaded applications

namespace {

struct Application {
    lmhost::LoadedApplication info;
    void* handle = nullptr;
    AcRxEntryPointFunc entry = nullptr;
};

std::vector<std::unique_ptr<Application>>& applications() {
    static std::vector<std::unique_ptr<Application>> apps;
    return apps;
}

Application* fromPacket(void* appId) {
    for (auto& app : applications())
        if (app.get() == appId)
            return app.get();
    return nullptr;
}

std::wstring baseName(const std::wstring& path) {
    size_t slash = path.find_last_of(L"/\\");
    std::wstring name = slash == std::wstring::npos ? path : path.substr(slash + 1);
    size_t dot = name.rfind(L'.');
    return dot == std::wstring::npos || dot == 0 ? name : name.substr(0, dot);
}

Application* findApplication(const std::wstring& nameOrPath) {
    for (auto& app : applications())
        if (app->info.path == nameOrPath ||
            _wcsicmp(app->info.name.c_str(), nameOrPath.c_str()) == 0 ||
            _wcsicmp(app->info.name.c_str(), baseName(nameOrPath).c_str()) == 0)
            return app.get();
    return nullptr;
}

void unload(Application* app) {
    app->entry(AcRx::kUnloadAppMsg, app);
    void* handle = app->handle;
    auto& apps = applications();
    apps.erase(
        std::remove_if(apps.begin(), apps.end(),
                       [&](const std::unique_ptr<Application>& a) { return a.get() == app; }),
        apps.end());
    dlclose(handle);
}

} // namespace

bool AcRxDynamicLinker::unlockApplication(void* appId) const {
    Application* app = fromPacket(appId);
    if (!app)
        return false;
    app->info.unlocked = true;
    return true;
}

bool AcRxDynamicLinker::lockApplication(void* appId) const {
    Application* app = fromPacket(appId);
    if (!app)
        return false;
    app->info.unlocked = false;
    return true;
}

bool AcRxDynamicLinker::isApplicationLocked(const ACHAR* name) const {
    Application* app = name ? findApplication(name) : nullptr;
    return app && !app->info.unlocked;
}

bool AcRxDynamicLinker::registerAppMDIAware(void* appId) const {
    Application* app = fromPacket(appId);
    if (!app)
        return false;
    app->info.mdiAware = true;
    return true;
}

bool AcRxDynamicLinker::registerAppNotMDIAware(void* appId) const {
    Application* app = fromPacket(appId);
    if (!app)
        return false;
    app->info.mdiAware = false;
    return true;
}

bool AcRxDynamicLinker::loadModule(const ACHAR* fileName, bool printIt, bool) {
    std::wstring error;
    bool ok = fileName && lmhost::loadApplication(fileName, error);
    if (!ok && printIt)
        acutPrintf(L"\n%s", error.c_str());
    return ok;
}

bool AcRxDynamicLinker::unloadModule(const ACHAR* fileName, bool printIt, bool) {
    std::wstring error;
    bool ok = fileName && lmhost::unloadApplication(fileName, error);
    if (!ok && printIt)
        acutPrintf(L"\n%s", error.c_str());
    return ok;
}

namespace lmhost {

bool loadApplication(const std::wstring& path, std::wstring& error) {
    if (findApplication(path)) {
        error = formatWide(L"%s is already loaded.", path.c_str());
        return false;
    }
    std::string narrowPath = narrow(path);
    void* handle = dlopen(narrowPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        const char* why = dlerror();
        error = formatWide(L"Unable to load %s: %s", path.c_str(),
                           widen(why ? why : "unknown error").c_str());
        return false;
    }
    auto entry = reinterpret_cast<AcRxEntryPointFunc>(dlsym(handle, "acrxEntryPoint"));
    auto version = reinterpret_cast<AcRxGetApiVersionFunc>(dlsym(handle, "acrxGetApiVersion"));
    if (!entry || !version) {
        dlclose(handle);
        error =
            formatWide(L"%s is not an application of this host (no acrxEntryPoint).", path.c_str());
        return false;
    }
    if (version() != ACRX_API_VERSION) {
        dlclose(handle);
        error = formatWide(L"%s was built for another version of the host (%d, not %d).",
                           path.c_str(), version(), ACRX_API_VERSION);
        return false;
    }
    auto app = std::make_unique<Application>();
    app->info.path = path;
    app->info.name = baseName(path);
    app->handle = handle;
    app->entry = entry;
    Application* raw = app.get();
    applications().push_back(std::move(app));
    if (entry(AcRx::kInitAppMsg, raw) != AcRx::kRetOK) {
        // The host sends the unload message to an application that refused to start.
        unload(raw);
        error = formatWide(L"%s refused to start.", path.c_str());
        return false;
    }
    return true;
}

bool unloadApplication(const std::wstring& nameOrPath, std::wstring& error) {
    Application* app = findApplication(nameOrPath);
    if (!app) {
        error = formatWide(L"%s is not loaded.", nameOrPath.c_str());
        return false;
    }
    if (!app->info.unlocked) {
        error = formatWide(L"%s cannot be unloaded: it is locked.", app->info.name.c_str());
        return false;
    }
    unload(app);
    return true;
}

void unloadAllApplications() {
    while (!applications().empty())
        unload(applications().back().get());
}

std::vector<LoadedApplication> loadedApplications() {
    std::vector<LoadedApplication> list;
    for (auto& app : applications())
        list.push_back(app->info);
    return list;
}

void sendApplicationMessage(AcRx::AppMsgCode message, void* packet) {
    std::vector<Application*> apps;
    for (auto& app : applications())
        apps.push_back(app.get());
    for (Application* app : apps)
        app->entry(message, packet ? packet : app);
}

} // namespace lmhost
