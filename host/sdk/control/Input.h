// The host's queue of user input: what the user will answer to the next prompts. The
// shell and the tests fill it; the editor functions (acedGetPoint, acedEntSel,
// acedGetKword, acedDragGen) take from it in order.
#pragma once

#include <string>

#include "dbmain.h"

namespace lmhost {

struct InputItem {
    enum Kind { Point, Entity, Keyword, Cancel } kind = Cancel;
    AcGePoint3d point;   // Point, and the picked point of Entity
    AcDbObjectId entity; // Entity: null for a pick beside every entity
    std::wstring keyword;
};

void queuePoint(const AcGePoint3d& point);
void queueEntity(AcDbObjectId entity, const AcGePoint3d& pickedPoint = AcGePoint3d());
void queueKeyword(const std::wstring& keyword);
void queueCancel();
size_t pendingInput();
void clearInput();

// Prompts that found no input at all (the user was not there to answer), counted since the
// last clear, with the last such prompt text. The shell stops its script on one.
size_t unansweredPrompts();
const std::wstring& lastUnansweredPrompt();
void clearUnansweredPrompts();

} // namespace lmhost
