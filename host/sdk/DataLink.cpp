// Data links exist as objects of their own class; their content is not modelled here.
#include "dbdatalink.h"

ACRX_DEFINE_MEMBERS(AcDbDataLink, AcDbObject)
