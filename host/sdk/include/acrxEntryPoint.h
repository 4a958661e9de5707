// The host's generic application frame, as its development kit gives it to a plug-in: the
// two application classes that turn host messages into virtual calls, the command table
// kept in a linker section of its own, and the exported entry points.
#pragma once

#include <algorithm>
#include <vector>

#include "accmd.h"
#include "rxregsvc.h"
#include "windows.h"

// The plug-in's module handle, noted when the library is attached.
extern HINSTANCE _hdllInstance;

// One command of the table. The records live where the application defines them; the
// section "acedcmds" holds a slot for each, so that the table needs no central list.
struct _ACED_COMMAND_ENTRY {
    const ACHAR* pszCmdGroupName;
    const ACHAR* pszCmdGlobalName;
    const ACHAR* pszCmdLocalName;
    Adesk::Int32 commandFlags;
    AcRxFunctionPtr pCmdFunction;
    AcEdUIContext* pUIContext;
    UINT localNameID;
};

// A slot of the section: a record and its place in the table. The compiler lays out the
// entries of a section in an order of its own (an optimised build reverses them), so the
// table is put back into the order its entries are written in before it is used.
struct _ACED_COMMAND_SLOT {
    long order;
    const _ACED_COMMAND_ENTRY* entry;
};

extern "C" {
extern const _ACED_COMMAND_SLOT __start_acedcmds[] __attribute__((visibility("hidden")));
extern const _ACED_COMMAND_SLOT __stop_acedcmds[] __attribute__((visibility("hidden")));
}

#define ACED_CMD_CONCAT2(a, b) a##b
#define ACED_CMD_CONCAT(a, b) ACED_CMD_CONCAT2(a, b)

// Adds a command to the table: group, global name, local name, flags, handler. The table
// keeps the order in which its entries are written (one file holds an application's table).
#define ACED_ARXCOMMAND_ENTRY(group, globalName, localName, flags, function)                       \
    static const _ACED_COMMAND_ENTRY ACED_CMD_CONCAT(_acedCmd_, __LINE__) = {                      \
        group, globalName, localName, flags, function, nullptr, 0};                                \
    __attribute__((used, section("acedcmds"))) static const _ACED_COMMAND_SLOT ACED_CMD_CONCAT(    \
        _acedCmdSlot_, __LINE__) = {__LINE__, &ACED_CMD_CONCAT(_acedCmd_, __LINE__)}

#define ACRX_CMD_SESSION_BIT 0x00200000

class AcRxDbxApp {
public:
    AcRxDbxApp() = default;
    virtual ~AcRxDbxApp() = default;
    AcRxDbxApp(const AcRxDbxApp&) = delete;
    AcRxDbxApp& operator=(const AcRxDbxApp&) = delete;

    virtual AcRx::AppRetCode On_kInitAppMsg(void* pkt) {
        m_hdllInstance = _hdllInstance;
        if (m_bUnlocked)
            acrxDynamicLinker->unlockApplication(pkt);
        if (m_bMDIAware)
            acrxDynamicLinker->registerAppMDIAware(pkt);
        RegisterServerComponents();
        return AcRx::kRetOK;
    }
    virtual AcRx::AppRetCode On_kUnloadAppMsg(void*) { return AcRx::kRetOK; }
    // The ADS symbol table of this frame is empty: nothing to define or serve.
    virtual AcRx::AppRetCode On_kLoadDwgMsg(void*) { return AcRx::kRetOK; }
    virtual AcRx::AppRetCode On_kUnloadDwgMsg(void*) { return AcRx::kRetOK; }
    virtual AcRx::AppRetCode On_kInvkSubrMsg(void*) { return AcRx::kRetOK; }
    virtual AcRx::AppRetCode On_kCfgMsg(void*) { return AcRx::kRetOK; }
    virtual AcRx::AppRetCode On_kEndMsg(void*) { return AcRx::kRetOK; }
    virtual AcRx::AppRetCode On_kQuitMsg(void*) { return AcRx::kRetOK; }
    virtual AcRx::AppRetCode On_kSaveMsg(void*) { return AcRx::kRetOK; }
    virtual AcRx::AppRetCode On_kDependencyMsg(void*) { return AcRx::kRetOK; }
    virtual AcRx::AppRetCode On_kNoDependencyMsg(void*) { return AcRx::kRetOK; }
    virtual AcRx::AppRetCode On_kOleUnloadAppMsg(void*) { return AcRx::kRetOK; }
    virtual AcRx::AppRetCode On_kPreQuitMsg(void*) { return AcRx::kRetOK; }
    virtual AcRx::AppRetCode On_kInitDialogMsg(void*) { return AcRx::kRetOK; }
    virtual AcRx::AppRetCode On_kEndDialogMsg(void*) { return AcRx::kRetOK; }
    virtual AcRx::AppRetCode On_kNullMsg(void*) { return AcRx::kRetOK; }
    virtual void RegisterServerComponents() = 0;

    // The dispatch of acrxEntryPoint: a message above 15 is answered at once.
    AcRx::AppRetCode dispatch(AcRx::AppMsgCode msg, void* pkt) {
        switch (msg) {
        case AcRx::kNullMsg:
            return On_kNullMsg(pkt);
        case AcRx::kInitAppMsg:
            return On_kInitAppMsg(pkt);
        case AcRx::kUnloadAppMsg:
            return On_kUnloadAppMsg(pkt);
        case AcRx::kLoadDwgMsg:
            return On_kLoadDwgMsg(pkt);
        case AcRx::kUnloadDwgMsg:
            return On_kUnloadDwgMsg(pkt);
        case AcRx::kInvkSubrMsg:
            return On_kInvkSubrMsg(pkt);
        case AcRx::kCfgMsg:
            return On_kCfgMsg(pkt);
        case AcRx::kEndMsg:
            return On_kEndMsg(pkt);
        case AcRx::kQuitMsg:
            return On_kQuitMsg(pkt);
        case AcRx::kSaveMsg:
            return On_kSaveMsg(pkt);
        case AcRx::kDependencyMsg:
            return On_kDependencyMsg(pkt);
        case AcRx::kNoDependencyMsg:
            return On_kNoDependencyMsg(pkt);
        case AcRx::kOleUnloadAppMsg:
            return On_kOleUnloadAppMsg(pkt);
        case AcRx::kPreQuitMsg:
            return On_kPreQuitMsg(pkt);
        case AcRx::kInitDialogMsg:
            return On_kInitDialogMsg(pkt);
        case AcRx::kEndDialogMsg:
            return On_kEndDialogMsg(pkt);
        default:
            return AcRx::kRetOK;
        }
    }

protected:
    HINSTANCE m_hdllInstance = nullptr;
    bool m_bUnlocked = true;
    bool m_bMDIAware = true;
};

class AcRxArxApp : public AcRxDbxApp {
public:
    AcRx::AppRetCode On_kInitAppMsg(void* pkt) override {
        AcRx::AppRetCode result = AcRxDbxApp::On_kInitAppMsg(pkt);
        // The class table of this frame is empty, so the hierarchy needs no rebuild.
        for (const _ACED_COMMAND_ENTRY* cmd : commandTable()) {
            const ACHAR* localName = cmd->pszCmdLocalName;
            ACHAR buffer[132] = {0};
            if (!localName) {
                // The host would load it from the string resource localNameID.
                localName = buffer;
            }
            HINSTANCE resource =
                (cmd->commandFlags & ACRX_CMD_SESSION_BIT) ? nullptr : m_hdllInstance;
            acedRegCmds->addCommand(cmd->pszCmdGroupName, cmd->pszCmdGlobalName, localName,
                                    cmd->commandFlags, cmd->pCmdFunction, cmd->pUIContext, -1,
                                    resource);
        }
        return result;
    }
    AcRx::AppRetCode On_kUnloadAppMsg(void* pkt) override {
        AcRx::AppRetCode result = AcRxDbxApp::On_kUnloadAppMsg(pkt);
        for (const _ACED_COMMAND_ENTRY* cmd : commandTable())
            acedRegCmds->removeCmd(cmd->pszCmdGroupName, cmd->pszCmdGlobalName);
        return result;
    }

private:
    // The records of the section, in the order they are written in.
    static std::vector<const _ACED_COMMAND_ENTRY*> commandTable() {
        std::vector<const _ACED_COMMAND_SLOT*> slots;
        for (const _ACED_COMMAND_SLOT* slot = __start_acedcmds; slot < __stop_acedcmds; ++slot)
            slots.push_back(slot);
        std::stable_sort(slots.begin(), slots.end(),
                         [](const _ACED_COMMAND_SLOT* a, const _ACED_COMMAND_SLOT* b) {
                             return a->order < b->order;
                         });
        std::vector<const _ACED_COMMAND_ENTRY*> table;
        for (const _ACED_COMMAND_SLOT* slot : slots)
            table.push_back(slot->entry);
        return table;
    }
};

#define ACRX_EXPORT extern "C" __attribute__((visibility("default")))

// Defines the two exports of a plug-in library for its one application object.
#define IMPLEMENT_ARX_ENTRYPOINT(CLASSNAME)                                                        \
    CLASSNAME theArxApp;                                                                           \
    ACRX_EXPORT AcRx::AppRetCode acrxEntryPoint(AcRx::AppMsgCode msg, void* pkt) {                 \
        return theArxApp.dispatch(msg, pkt);                                                       \
    }                                                                                              \
    ACRX_EXPORT int acrxGetApiVersion() {                                                          \
        return ACRX_API_VERSION;                                                                   \
    }
