// The associative framework's actions: members of a network.
#pragma once

#include "AcString.h"
#include "dbidar.h"
#include "dbmain.h"

class AcDbAssocAction : public AcDbObject {
public:
    ACRX_DECLARE_MEMBERS(AcDbAssocAction);
    // The network that holds the action; null while it is in none.
    AcDbObjectId owningNetwork() const;
};

// Another kind of action a network holds: the geometric constraints of one plane.
class AcDbAssoc2dConstraintGroup : public AcDbAssocAction {
public:
    ACRX_DECLARE_MEMBERS(AcDbAssoc2dConstraintGroup);
};
