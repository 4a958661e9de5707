// The host's registration services: application entry, runtime class lookup.
#pragma once

#include "rxdefs.h"
#include "rxdict.h"
#include "rxdlinkr.h"

// Links each registered class to its parent after an application added classes.
void acrxBuildClassHierarchy();

// The registered runtime class of that name, or null.
AcRxClass* acrxFindAcRxClass(const ACHAR* name);
// Registers a class under its name, below the registered class parentName; gives the
// class already registered under that name if there is one, or null for an unknown parent.
AcRxClass* newAcRxClass(const ACHAR* className, const ACHAR* parentClassName);
// Removes a class registered with newAcRxClass.
void deleteAcRxClass(AcRxClass* cls);

// What a plug-in library exports.
extern "C" {
typedef AcRx::AppRetCode (*AcRxEntryPointFunc)(AcRx::AppMsgCode message, void* packet);
typedef int (*AcRxGetApiVersionFunc)();
}
