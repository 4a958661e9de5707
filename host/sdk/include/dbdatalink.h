// Data links: the connection of a drawing table to an external data source.
#pragma once

#include "dbmain.h"

class AcDbDataLink : public AcDbObject {
public:
    ACRX_DECLARE_MEMBERS(AcDbDataLink);
};
