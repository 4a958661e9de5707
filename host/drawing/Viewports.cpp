// Viewports placed on layouts, and working in model space through one of them.
#include <algorithm>

#include "dbents.h"
#include "dbsymtb.h"
#include "drawing/Blocks.h"
#include "sdk/Database.h"
#include "drawing/control/Editor.h"

namespace lmhost {

namespace {

bool isLayout(AcDbDatabase* db, AcDbObjectId id) {
    AcDbBlockTableRecord* record = nullptr;
    if (!db || id.database() != db || acdbOpenObject(record, id, AcDb::kForRead) != Acad::eOk)
        return false;
    bool layout = record->isLayout() && id != db->impl()->modelSpace;
    record->close();
    return layout;
}

} // namespace

Acad::ErrorStatus addLayoutViewport(AcDbDatabase* db, AcDbObjectId layoutId,
                                    const AcGeVector3d& viewDirection, AcDbObjectId& viewportId) {
    viewportId = AcDbObjectId::kNull;
    if (!isLayout(db, layoutId) || viewDirection.isZeroLength())
        return Acad::eInvalidInput;
    auto* viewport = new AcDbViewport;
    viewport->setViewDirection(viewDirection);
    if (Acad::ErrorStatus es = db->addAcDbObject(viewportId, viewport)) {
        delete viewport;
        return es;
    }
    AcDbObjectAccess::setOwner(viewport, layoutId);
    viewport->close();
    db->impl()->layoutViewports.push_back(viewportId);
    return Acad::eOk;
}

Acad::ErrorStatus enterLayoutViewport(AcDbDatabase* db, AcDbObjectId viewportId) {
    if (!db)
        return Acad::eInvalidInput;
    const auto& all = db->impl()->layoutViewports;
    if (std::find(all.begin(), all.end(), viewportId) == all.end() || viewportId.isErased())
        return Acad::eInvalidInput;
    db->impl()->currentSpace = db->impl()->modelSpace;
    db->impl()->activeLayoutViewport = viewportId;
    return Acad::eOk;
}

std::vector<AcDbObjectId> layoutViewportsOf(AcDbDatabase* db, AcDbObjectId layoutId) {
    std::vector<AcDbObjectId> found;
    if (!db)
        return found;
    for (const AcDbObjectId& id : db->impl()->layoutViewports) {
        AcDbViewport* viewport = nullptr;
        if (id.isErased() || acdbOpenObject(viewport, id, AcDb::kForRead) != Acad::eOk)
            continue;
        if (viewport->ownerId() == layoutId)
            found.push_back(id);
        viewport->close();
    }
    return found;
}

AcDbObjectId activeViewportLayout(AcDbDatabase* db) {
    if (!db || db->impl()->activeLayoutViewport.isNull())
        return AcDbObjectId::kNull;
    AcDbViewport* viewport = nullptr;
    if (acdbOpenObject(viewport, db->impl()->activeLayoutViewport, AcDb::kForRead) != Acad::eOk)
        return AcDbObjectId::kNull;
    AcDbObjectId layout = viewport->ownerId();
    viewport->close();
    return layout;
}

} // namespace lmhost
