// Parameters linked to a table follow it without a command: a modified table is queued from
// the database reactor, and the queue is drained at the next command event.
#pragma once

#include "acadstrc.h"
#include "dbidar.h"

// Tables modified since the last drain, each at most once; shared by all documents. Its
// storage is freed with the library (docs/table-links.md).
extern AcDbObjectIdArray pendingTables;

// The enqueue step of objectModified: a table of exactly class AcDbTable, once.
void enqueueModifiedTable(const AcDbObject* object);
// Refreshes the links of every queued table, including those queued meanwhile, then empties
// the queue and keeps its storage.
void drainPendingTables();
// Gives each parameter of the current space linked to a cell of this table the cell's text.
Acad::ErrorStatus refreshLinksOfTable(AcDbObjectId tableId);

// The command handler of _Lmesh_Test: sets the "_DATA" style on a picked table's first rows.
void testCommand();
