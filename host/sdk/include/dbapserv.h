// The host's application services: the working database.
#pragma once

#include "dbmain.h"

class AcDbHostApplicationServices {
public:
    virtual ~AcDbHostApplicationServices() = default;
    // The database commands work on; the host always has one.
    AcDbDatabase* workingDatabase() const;
    void setWorkingDatabase(AcDbDatabase* database);
};

AcDbHostApplicationServices* acdbHostApplicationServices();
