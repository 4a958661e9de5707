// Lmesh_UpdateLinkedParameters: table links first, then workbook links, and one regeneration
// when a nested block link asked for it.
#pragma once

#include "acadstrc.h"
#include "afx.h"

class AcString;
class AcDbDynBlockReference;

// Set by the refreshes whenever a reference carries nested links, changed or not.
extern bool regenNeeded;

// The command handler of _Lmesh_UpdateLinkedParameters.
void updateLinkedParameters();

// Parameters of the current space, then dynamic block references of every layout, that are
// linked to cells of tables in the drawing. Its caller ignores the status.
Acad::ErrorStatus refreshFromTables();

// Writes text into the first property of that name (case ignored) whose value type is
// supported; an unchanged value is left alone and gives eOk as well.
Acad::ErrorStatus setBlockProperty(AcDbDynBlockReference& reference, CString propertyName,
                                   CString text);

// The text of the table cell that a "Table(<handle>).$A$1" expression names; 1 or 0.
int ReadTableCellText(CString expression, AcString& text);
