// The host's editor: command events for reactors, and the current viewport.
#pragma once

#include "dbmain.h"
#include "rxobject.h"

// Told around every command the host runs.
class AcEditorReactor : public AcRxObject {
public:
    ACRX_DECLARE_MEMBERS(AcEditorReactor);
    virtual void commandWillStart(const ACHAR* cmdStr) { (void)cmdStr; }
    virtual void commandEnded(const ACHAR* cmdStr) { (void)cmdStr; }
    virtual void commandCancelled(const ACHAR* cmdStr) { (void)cmdStr; }
    virtual void commandFailed(const ACHAR* cmdStr) { (void)cmdStr; }
    virtual void unknownCommand(const ACHAR* cmdStr, void* al) {
        (void)cmdStr;
        (void)al;
    }
};

class AcEditor : public AcRxObject {
public:
    ACRX_DECLARE_MEMBERS(AcEditor);
    // Reactors are told in the order they were added; adding one twice keeps one.
    void addReactor(AcEditorReactor* reactor);
    void removeReactor(AcEditorReactor* reactor);
};

// The host's one editor object.
AcEditor* acedEditorObject();
#define acedEditor (acedEditorObject())

// The viewport the user works in (an AcDbViewport of the working database).
AcDbObjectId acedGetCurViewportObjectId();
