// The host's side of the editor and the drawing: raising command events, regeneration
// records, switching the current space, and failures of the associative framework.
#pragma once

#include <string>
#include <vector>

#include "dbmain.h"

namespace lmhost {

// Tell the editor reactors about a command; the host program calls these around every
// command it runs (willStart, then one of ended, cancelled, failed).
void raiseCommandWillStart(const std::wstring& command);
void raiseCommandEnded(const std::wstring& command);
void raiseCommandCancelled(const std::wstring& command);
void raiseCommandFailed(const std::wstring& command);

// Regenerations asked for: whole-drawing regens (acedRegen) and entities queued with
// acdbQueueForRegen, in order.
int regenCount();
const std::vector<AcDbObjectId>& queuedForRegen();
void clearRegenRecord();

// Selection sets made and not yet freed, and how often acedSSFree was called (for a set or
// not), since the last reset.
int selectionSetsHeld();
int selectionSetFreeCalls();

// Makes a space (model space or a layout's paper space) current; eInvalidInput for what
// is no space of the database.
Acad::ErrorStatus setCurrentSpace(AcDbDatabase* database, AcDbObjectId spaceId);
AcDbObjectId modelSpaceId(AcDbDatabase* database);
AcDbObjectId paperSpaceId(AcDbDatabase* database);

// Viewports on layouts. Model space has one viewport of its own, current while model space is;
// on a layout's paper no viewport is current (paper is seen in plan). A viewport placed on a
// layout looks at model space along its own view direction; entering it makes model space the
// current space and that viewport the current one, until a space is made current again.
// A drawing file keeps them; which one was entered it does not keep.
Acad::ErrorStatus addLayoutViewport(AcDbDatabase* database, AcDbObjectId layoutId,
                                    const AcGeVector3d& viewDirection, AcDbObjectId& viewportId);
Acad::ErrorStatus enterLayoutViewport(AcDbDatabase* database, AcDbObjectId viewportId);
// The viewports of a layout, in the order they were placed.
std::vector<AcDbObjectId> layoutViewportsOf(AcDbDatabase* database, AcDbObjectId layoutId);
// The layout whose viewport the user works in; null when none.
AcDbObjectId activeViewportLayout(AcDbDatabase* database);

// Lets AcDbAssocManager::initialize and AcDbAssocNetwork::getInstanceFromObject fail, as
// they do on a host whose framework is not loaded.
void setAssocFrameworkAvailable(bool available);

// Marks a variable as the parameter of an angular constraint: its value is in degrees and
// the host shows it by AUNITS and AUPREC. Others are shown as distances.
void setAngularVariable(AcDbObjectId variable, bool angular);
bool isAngularVariable(AcDbObjectId variable);

// Back to a host with no input, no selection sets, no editor reactors and no records.
void resetEditor();

} // namespace lmhost
