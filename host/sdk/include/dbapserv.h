// The host's application services: the working database.
#pragma once

#include "dbmain.h"

class AcDbHostApplicationServices {
public:
    virtual ~AcDbHostApplicationServices() = default;
    // The database commands work on; the host always has one.
    AcDbDatabase* workingDatabase() const;
    void setWorkingDatabase(AcDbDatabase* database);
    // The host's program name ("acad", or "acadlt" for the lighter product) and release.
    const ACHAR* program() const;
    int releaseMajorVersion() const;
    int releaseMinorVersion() const;
};

AcDbHostApplicationServices* acdbHostApplicationServices();
