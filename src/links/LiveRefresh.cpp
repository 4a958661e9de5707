#include "links/LiveRefresh.h"

#include "acedads.h"
#include "acutads.h"
#include "dbtable.h"
#include "excel/ExcelUtils.h"
#include "links/LinkStore.h"
#include "links/TableLinks.h"

AcDbObjectIdArray pendingTables;

void enqueueModifiedTable(const AcDbObject* object) {
    // Runs inside a change notification: no database access, only the short queue.
    if (!object || object->isA() != AcDbTable::desc())
        return;
    AcDbObjectId id = object->objectId();
    if (!pendingTables.contains(id))
        pendingTables.append(id);
}

void drainPendingTables() {
    // The length is read anew, so a table queued by a refresh is handled in this drain.
    for (int i = 0; i < pendingTables.logicalLength(); ++i) {
        Acad::ErrorStatus es = refreshLinksOfTable(pendingTables[i]);
        if (es != Acad::eOk)
            acutPrintf(L"\n%s.", acadErrorStatusText(es));
    }
    pendingTables.setLogicalLength(0);
}

Acad::ErrorStatus refreshLinksOfTable(AcDbObjectId tableId) {
    AcDbObjectPointer<AcDbTable> table(tableId, AcDb::kForRead);
    if (table.openStatus() != Acad::eOk)
        return table.openStatus();
    ACHAR handle[260] = {0};
    AcDbHandle tableHandle;
    table->getAcDbHandle(tableHandle);
    tableHandle.getIntoAsciiBuffer(handle);

    AcDbObjectPointer<AcDbAssocNetwork> network;
    Acad::ErrorStatus es = openCurrentSpaceNetwork(network);
    if (es != Acad::eOk)
        return es;

    const AcDbTable* cells = table.object();
    forEachVariable(network.object(), [&](AcDbAssocVariable* variable) {
        CString link;
        if (!getFirstLinkText(variable, link) || link.IsEmpty())
            return;
        CString address;
        if (!tableAddressOf(link, handle, address) || address.IsEmpty())
            return;
        int row = 0, column = 0;
        if (!ExcelUtils::ParseCellAddress(address, row, column) || row < 1 || column < 1)
            return;
        // A refused cell leaves the text empty, and validation turns that away.
        AcString text;
        cells->textString(row - 1, column - 1, AcValue::kIgnoreMtextFormat, text);
        applyCellTextToVariable(variable, text);
    });
    return Acad::eOk;
}

void testCommand() {
    ads_name picked;
    ads_point point;
    if (acedEntSel(L"\nPlease select a table:", picked, point) != RTNORM)
        return;
    AcDbObjectId id;
    acdbGetObjectId(id, picked);
    AcDbObjectPointer<AcDbTable> table(id, AcDb::kForWrite);
    if (table.openStatus() == Acad::eOk) {
        // Column -1 addresses the row as a whole.
        table->setCellStyle(0, -1, L"_DATA");
        table->setCellStyle(1, -1, L"_DATA");
    }
    int regenned = acdbQueueForRegen(&id, 1);
    acutPrintf(L"\nRegenned objects: %d.", regenned);
}
