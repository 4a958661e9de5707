// The single nested pick of a dynamic block reference, shared by the manager's block pick.
#pragma once

#include "dbmain.h"

// Asks for one pick and finds the dynamic block references that hold the picked entity (the
// entity itself included), innermost first. RTNORM with the innermost and the outermost of
// them, RTERROR with both untouched. Prints what it found on the command line.
int selectDynamicBlock(AcDbObjectId& firstReferenceId, AcDbObjectId& lastReferenceId);
