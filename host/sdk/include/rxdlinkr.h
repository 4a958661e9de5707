// The host's dynamic linker: which applications are loaded and how they may be unloaded.
#pragma once

#include "rxdict.h"

class AcRxDynamicLinker : public AcRxObject {
public:
    ACRX_DECLARE_MEMBERS(AcRxDynamicLinker);

    // The packet of kInitAppMsg names the application; these mark it in the host.
    bool unlockApplication(void* appId) const;
    bool lockApplication(void* appId) const;
    bool isApplicationLocked(const ACHAR* name) const;
    bool registerAppMDIAware(void* appId) const;
    bool registerAppNotMDIAware(void* appId) const;

    // Loads a plug-in library by path and sends it kInitAppMsg; false if it cannot be
    // loaded or refuses the message.
    bool loadModule(const ACHAR* fileName, bool printIt, bool asCmd = false);
    // Sends kUnloadAppMsg and unloads; false for an unknown or locked application.
    bool unloadModule(const ACHAR* fileName, bool printIt, bool asCmd = false);
};

#define acrxDynamicLinker AcRxDynamicLinker::cast(acrxSysRegistry()->at(ACRX_DYNAMIC_LINKER))
