// Arrays of object ids.
#pragma once

#include "acarray.h"
#include "dbmain.h"

typedef AcArray<AcDbObjectId> AcDbObjectIdArray;
