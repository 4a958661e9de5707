// The in-memory record of one workbook link, and the walk that builds the records of a whole
// drawing from the links stored on its objects.
#pragma once

#include "AcString.h"
#include "acadstrc.h"
#include "afx.h"
#include "afxdisp.h"
#include "afxtempl.h"
#include "dbmain.h"

class CLinkedParameterXlsInfo {
public:
    // The variable, or the block reference whose property is set (for a nested link the
    // nested reference).
    AcDbObjectId objectId;
    // The parameter's name, or the bare property name.
    AcString name;
    // What the cell shows; empty until the workbook has been read.
    AcString cellText;
    // Absolute once parsed: a relative path is resolved against the drawing's folder.
    CString workbookPath;
    CString sheetName;
    // As stored: an address or a name defined in the workbook.
    CString cellAddress;
    // The optional fourth field; kept, read by nothing.
    COleDateTime timestamp;
    int isBlockProperty = 0;

    // Takes "<file>*<sheet>*<cell>[*<date>]" apart into this record. 0 for anything that is
    // not a complete workbook expression (silently) and for a file that is not there (after
    // "Cannot find ... Skip it.").
    int ParseCellExpression(CString expression);
};

class CLinkedParameterXlsInfoArray
    : public CArray<CLinkedParameterXlsInfo, CLinkedParameterXlsInfo&> {};

// The workbook links of the drawing: parameters of the current space in network order, then
// per insert of any layout its direct links and then its nested links, in stored order.
// Table links and links to missing files give no record.
Acad::ErrorStatus collectWorkbookLinks(CLinkedParameterXlsInfoArray& links);
