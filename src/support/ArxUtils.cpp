#include "support/ArxUtils.h"

#include "acedads.h"
#include "acutads.h"
#include "dbapserv.h"
#include "dbsymtb.h"
#include "gemat3d.h"
#include "rxmfcapi.h"

namespace {

// The fixed place that failure reports name, whoever called.
constexpr int kReportLine = 4017;

// Follows the cursor: the set moves with the point given.
int dragToPoint(ads_point point, ads_matrix matrix) {
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column)
            matrix[row][column] = row == column ? 1.0 : 0.0;
    for (int axis = 0; axis < 3; ++axis)
        matrix[axis][3] = point[axis];
    return RTNORM;
}

} // namespace

Acad::ErrorStatus ArxUtils::handleToObjectId(AcDbDatabase* database, const ACHAR* handle,
                                             AcDbObjectId& id) {
    Acad::ErrorStatus es = database->getAcDbObjectId(id, false, AcDbHandle(handle), 0);
    if (es != Acad::eOk) {
        acutPrintf(L"\nERROR: Could not translate handle to objectId (%s)",
                   acadErrorStatusText(es));
        return Acad::eInvalidInput;
    }
    return Acad::eOk;
}

Acad::ErrorStatus ArxUtils::addToCurrentSpace(AcDbEntity* entity, AcDbDatabase* database) {
    if (!database)
        database = acdbHostApplicationServices()->workingDatabase();
    AcDbBlockTableRecord* space = nullptr;
    if (acdbOpenObject(space, database->currentSpaceId(), AcDb::kForWrite) != Acad::eOk || !space)
        return Acad::eInvalidInput;
    Acad::ErrorStatus es = space->appendAcDbEntity(entity);
    if (es != Acad::eOk)
        acutPrintf(L"\nERROR: could not add entity to current space (%s)", acadErrorStatusText(es));
    space->close();
    return es;
}

Acad::ErrorStatus ArxUtils::getOsnapMode(int& mode) {
    resbuf result;
    if (acedGetVar(L"OSMODE", &result) != RTNORM)
        return Acad::eInvalidInput;
    mode = result.resval.rint;
    return Acad::eOk;
}

Acad::ErrorStatus ArxUtils::setOsnapMode(short mode) {
    resbuf value;
    value.rbnext = nullptr;
    value.restype = RTSHORT;
    value.resval.rint = mode;
    return setOsnapMode(&value);
}

Acad::ErrorStatus ArxUtils::setOsnapMode(const resbuf* mode) {
    if (acedSetVar(L"OSMODE", mode) == RTNORM)
        return Acad::eOk;
    CString message;
    message.Format(L"Could not set system variable \"%s\".", L"OSMODE");
    showError(message);
    return Acad::eInvalidInput;
}

Acad::ErrorStatus ArxUtils::getSymbolName(AcDbObjectId id, CString& name) {
    if (id.isNull()) {
        name = L"AcDbObjectId::kNull";
        return Acad::eNullObjectId;
    }
    AcDbSymbolTableRecord* record = nullptr;
    Acad::ErrorStatus es = acdbOpenObject(record, id, AcDb::kForRead);
    if (es != Acad::eOk) {
        reportError(es);
        return Acad::eInvalidInput;
    }
    const ACHAR* text = nullptr;
    record->getName(text);
    name = text;
    record->close();
    return Acad::eOk;
}

void ArxUtils::reportError(Acad::ErrorStatus status) {
    if (status == Acad::eOk)
        return;
    acutPrintf(L"\nARX ERROR: %s. %s: %d", acadErrorStatusText(status), L"ArxUtils", kReportLine);
}

int ArxUtils::showError(const ACHAR* text) {
    CWnd* frame = acedGetAcadFrame();
    return MessageBoxW(frame ? frame->GetSafeHwnd() : nullptr, text, L"Linkmesh", MB_ICONSTOP);
}

bool ArxUtils::isEqual(double a, double b) {
    double difference = a - b;
    return difference <= 1e-6 && difference >= -1e-6;
}

void ArxUtils::ucsToWcs(const AcGePoint3d& point, AcGePoint3d& result) {
    AcGeMatrix3d ucs;
    if (!acdbUcsMatrix(ucs, acdbHostApplicationServices()->workingDatabase()))
        ucs.setToIdentity();
    result = point;
    result.transformBy(ucs);
}

int ArxUtils::dragSelectionSet(ads_name selection, CString prompt, const AcGePoint3d& basePoint) {
    Adesk::Int32 count = 0;
    acedSSLength(selection, &count);
    if (count < 1) {
        acedSSFree(selection);
        return RTCAN;
    }
    ads_point picked;
    int result = acedDragGen(selection, prompt, 0, dragToPoint, picked);
    if (result == RTNORM) {
        acdbUcs2Wcs(picked, picked, false);
        AcGeVector3d offset = AcGePoint3d(picked) - basePoint;
        AcGeMatrix3d move = AcGeMatrix3d::translation(offset);
        ads_matrix matrix;
        for (int row = 0; row < 4; ++row)
            for (int column = 0; column < 4; ++column)
                matrix[row][column] = move.entry[row][column];
        acedXformSS(selection, matrix);
        acedSSFree(selection);
        return RTNORM;
    }
    // What was dragged existed only to be placed.
    for (Adesk::Int32 i = 0; i < count; ++i) {
        ads_name entity;
        if (acedSSName(selection, i, entity) == RTNORM)
            acdbEntDel(entity);
    }
    acedSSFree(selection);
    return result;
}
