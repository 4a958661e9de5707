// The manager's picks in the drawing: a cell of a table, and a dynamic block with one of its
// properties. Neither makes a link; the user presses Add afterwards.
#include "ui/ParametersManagerDialog.h"

#include "aced.h"
#include "acedads.h"
#include "acutads.h"
#include "dbapserv.h"
#include "dbents.h"
#include "dbtable.h"
#include "excel/ExcelUtils.h"
#include "support/ArxUtils.h"

void CParametersManagerDialog::pickTableCell() {
    BeginEditorCommand();
    int savedMode = 0;
    if (ArxUtils::getOsnapMode(savedMode) != Acad::eOk)
        savedMode = 0;
    // A snap would move the click off the cell the user aimed at.
    ArxUtils::setOsnapMode(static_cast<short>(0));
    ads_point picked;
    int result = acedGetPoint(nullptr, L"\nSelect table cell:", picked);
    ArxUtils::setOsnapMode(static_cast<short>(savedMode));
    CompleteEditorCommand(1);
    if (result != RTNORM)
        return;

    AcDbDatabase* db = acdbHostApplicationServices()->workingDatabase();
    AcGeMatrix3d ucs;
    if (!acdbUcsMatrix(ucs, db))
        ucs.setToIdentity();
    AcGePoint3d point(picked[0], picked[1], picked[2]);
    point.transformBy(ucs);

    resbuf* filter = acutBuildList(RTDXF0, L"ACAD_TABLE", 0);
    ads_name selection = {0, 0};
    acedSSGet(L"X", nullptr, nullptr, filter, selection);
    acutRelRb(filter);
    Adesk::Int32 count = 0;
    if (acedSSLength(selection, &count) != RTNORM || count <= 0) {
        acedSSFree(selection);
        return;
    }

    AcGeVector3d viewDirection = AcGeVector3d::kZAxis;
    AcDbViewport* viewport = nullptr;
    if (acdbOpenObject(viewport, acedGetCurViewportObjectId(), AcDb::kForRead) == Acad::eOk) {
        viewDirection = viewport->viewDirection();
        viewport->close();
    }

    bool hit = false;
    int row = -1, column = -1;
    wchar_t handle[260] = {0};
    for (Adesk::Int32 i = 0; i < count && !hit; ++i) {
        ads_name entity;
        AcDbObjectId id;
        if (acedSSName(selection, i, entity) != RTNORM || acdbGetObjectId(id, entity) != Acad::eOk)
            continue;
        AcDbTable* table = nullptr;
        if (acdbOpenObject(table, id, AcDb::kForRead) != Acad::eOk)
            continue;
        // Only what the user sees can be clicked: tables of the current space.
        if (table->ownerId() != db->currentSpaceId() ||
            !table->hitTest(point, viewDirection, 0.0, 0.0, row, column)) {
            table->close();
            continue;
        }
        AcDbHandle tableHandle;
        table->getAcDbHandle(tableHandle);
        tableHandle.getIntoAsciiBuffer(handle);
        table->close();
        hit = true;
    }
    acedSSFree(selection);
    if (!hit || row < 0 || column < 0 || handle[0] == L'\0')
        return;

    CString address = ExcelUtils::GetCellAddress(row + 1, column + 1);
    cellExpression.Format(L"Table(%s).%s", handle, static_cast<const wchar_t*>(address));
    UpdateData(FALSE);
}
