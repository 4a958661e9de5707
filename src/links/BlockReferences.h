// The walk over every block reference of the drawing that both refreshes and the link
// collection take: all inserts of every layout, by a selection of mode "X".
#pragma once

#include "acedads.h"
#include "acutads.h"
#include "dbents.h"

// Calls visit with each reference opened for read, in selection order; references that
// cannot be opened are passed over.
template <class Visit> void forEachBlockReference(Visit visit) {
    resbuf* filter = acutBuildList(RTDXF0, L"INSERT", RTNONE);
    ads_name selection = {0, 0};
    // The status is not looked at: the count decides, and the set is freed in any case.
    acedSSGet(L"X", nullptr, nullptr, filter, selection);
    acutRelRb(filter);
    Adesk::Int32 count = 0;
    if (acedSSLength(selection, &count) != RTNORM)
        count = 0;
    for (Adesk::Int32 i = 0; i < count; ++i) {
        ads_name entity;
        AcDbObjectId id;
        if (acedSSName(selection, i, entity) != RTNORM || acdbGetObjectId(id, entity) != Acad::eOk)
            continue;
        AcDbObjectPointer<AcDbBlockReference> reference(id, AcDb::kForRead);
        if (reference.openStatus() == Acad::eOk)
            visit(reference.object());
    }
    acedSSFree(selection);
}
