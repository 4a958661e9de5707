// The associative framework's entry.
#pragma once

#include "acadstrc.h"
#include "dbmain.h"

class AcDbAssocManager : public AcDbObject {
public:
    ACRX_DECLARE_MEMBERS(AcDbAssocManager);
    // Makes the framework ready; eOk, also when it was ready before.
    static Acad::ErrorStatus initialize();
    static void uninitialize();
    // Evaluates what changed in the database's top-level network.
    static bool evaluateTopLevelNetwork(AcDbDatabase* database);
};
