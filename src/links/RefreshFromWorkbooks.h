// The workbook half of the update command: every workbook link's cell is read by a private
// Excel, and only after Excel has quit are the texts written to the drawing.
#pragma once

#include "links/LinkRecords.h"

// Collects the workbook links, tells the user to save the workbooks, reads each linked cell's
// displayed text (each workbook opened once, read-only) and applies the texts. A drawing
// without workbook links starts no Excel and shows nothing.
void refreshFromWorkbooks();

// Writes each record's cell text to its parameter or block property and reports each on the
// command line, in the order of the records.
void applyCellTexts(CLinkedParameterXlsInfoArray& links);
