// The associative framework's actions: members of a network.
#pragma once

#include "AcString.h"
#include "dbidar.h"
#include "dbmain.h"

// How an action stands after the last evaluation of its network (the first of the host's
// values; the others are not modelled).
enum AcDbAssocStatus {
    kIsUpToDateAssocStatus = 0,
    kChangedDirectlyAssocStatus,
    kChangedTransitivelyAssocStatus,
    kChangedNoDifferenceAssocStatus,
    kFailedToEvaluateAssocStatus,
};

class AcDbAssocAction : public AcDbObject {
public:
    ACRX_DECLARE_MEMBERS(AcDbAssocAction);
    // The network that holds the action; null while it is in none.
    AcDbObjectId owningNetwork() const;
    // kFailedToEvaluateAssocStatus for a variable whose expression could not be evaluated
    // when a value it uses changed (it keeps its last value); otherwise up to date.
    AcDbAssocStatus status() const;
};

// Another kind of action a network holds: the geometric constraints of one plane.
class AcDbAssoc2dConstraintGroup : public AcDbAssocAction {
public:
    ACRX_DECLARE_MEMBERS(AcDbAssoc2dConstraintGroup);
};
