// The host's queue of user input: what the user will answer to the next prompts. The
// shell and the tests fill it; the editor functions (acedGetPoint, acedEntSel,
// acedGetKword, acedDragGen) take from it in order.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "dbmain.h"

namespace lmhost {

struct InputItem {
    enum Kind { Point, Entity, Keyword, Cancel } kind = Cancel;
    AcGePoint3d point;   // Point, and the picked point of Entity
    AcDbObjectId entity; // Entity: null for a pick beside every entity
    std::wstring keyword;
    // Entity: what lies under the cursor inside the entity, when it is a block reference:
    // from the entity of its block under the cursor down to the innermost one picked. Empty
    // for a pick of the entity itself.
    std::vector<AcDbObjectId> inside;
};

void queuePoint(const AcGePoint3d& point);
void queueEntity(AcDbObjectId entity, const AcGePoint3d& pickedPoint = AcGePoint3d());
// A pick of an entity held in nested blocks: path runs from an entity of a space (a block
// reference) through an entity of each block down to the picked one.
void queueNestedEntity(const std::vector<AcDbObjectId>& path,
                       const AcGePoint3d& pickedPoint = AcGePoint3d());
void queueKeyword(const std::wstring& keyword);
void queueCancel();
size_t pendingInput();
void clearInput();

// Asked by a prompt that finds the queue empty, with the prompt text (already printed): a
// user at the terminal queues an answer; when there is none to be had it queues nothing and
// the prompt goes unanswered. Unset, nothing is asked (scripts, tests).
using InputSource = std::function<void(const std::wstring& prompt)>;
void setInputSource(InputSource source);

// Prompts that found no input at all (the user was not there to answer), counted since the
// last clear, with the last such prompt text. The shell stops its script on one.
size_t unansweredPrompts();
const std::wstring& lastUnansweredPrompt();
void clearUnansweredPrompts();

} // namespace lmhost
