// Lmesh_ExportParameters: the checked parameters go to a new table placed by dragging, or to
// the active Excel worksheet at its active cell. Both write plain texts and make no link.
#pragma once

#include "acadstrc.h"
#include "dbmain.h"
#include "excel/CStringTable.h"

// The command handler of _Lmesh_ExportParameters.
void exportParameters();

// Rows follow the selected names (below a header row if asked), columns the fixed order
// Name, Expression, Value, Description of those that are on. The command ignores the status.
Acad::ErrorStatus exportToTable(const CStringArrayEx& selected, int name, int expression, int value,
                                int description, int header);
Acad::ErrorStatus exportToExcel(const CStringArrayEx& selected, int name, int expression, int value,
                                int description, int header);

// The data text height of the current table style; -1.0 when the style cannot be opened.
double tableTextHeight();
// Column widths from the longest texts, "_DATA" on the first two rows, the row height.
Acad::ErrorStatus formatExportedTable(AcDbObjectId tableId, double textHeight,
                                      const CArray<unsigned>& widths);
