// Steps that the update command and the live refresh share when a parameter follows a cell.
#pragma once

#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "AcString.h"
#include "acadstrc.h"

// The network of the current space, made if absent, opened for read.
Acad::ErrorStatus openCurrentSpaceNetwork(AcDbObjectPointer<AcDbAssocNetwork>& network);

// Calls visit with each parameter of the network, opened for read, in network order; other
// actions are not opened. The action array is read afresh at each step, since a visit may
// change the network. Each variable is closed before the next is opened.
template <class Visit> void forEachVariable(const AcDbAssocNetwork* network, Visit visit) {
    for (int i = 0; i < network->getActions().length(); ++i) {
        AcDbObjectId id = network->getActions()[i];
        if (id.objectClass() != AcDbAssocVariable::desc())
            continue;
        AcDbObjectPointer<AcDbAssocVariable> variable(id, AcDb::kForRead);
        if (variable.openStatus() != Acad::eOk)
            continue;
        visit(variable.object());
    }
}

// Makes text the variable's expression and value unless it is that expression already.
// Refused texts pass silently; a failed set or evaluation is printed.
void applyCellTextToVariable(AcDbAssocVariable* variable, const AcString& text);
