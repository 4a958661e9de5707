// Small helpers on the host's database and editor, shared by the parts that touch the drawing.
#pragma once

#include "acadstrc.h"
#include "adsdef.h"
#include "afx.h"
#include "dbmain.h"

class AcGePoint3d;

class ArxUtils {
public:
    // The object of a hexadecimal handle text; eInvalidInput after a printed message.
    static Acad::ErrorStatus handleToObjectId(AcDbDatabase* database, const ACHAR* handle,
                                              AcDbObjectId& id);
    // Appends the entity to the database's current space. The entity stays the caller's to
    // delete when the append fails.
    static Acad::ErrorStatus addToCurrentSpace(AcDbEntity* entity,
                                               AcDbDatabase* database = nullptr);
    static Acad::ErrorStatus getOsnapMode(int& mode);
    static Acad::ErrorStatus setOsnapMode(short mode);
    static Acad::ErrorStatus setOsnapMode(const resbuf* mode);
    // The name of a symbol table record; "AcDbObjectId::kNull" for a null id.
    static Acad::ErrorStatus getSymbolName(AcDbObjectId id, CString& name);
    // Prints a failed host call's status; nothing for eOk.
    static void reportError(Acad::ErrorStatus status);
    // A stop-icon message box titled "Linkmesh"; the box's answer.
    static int showError(const ACHAR* text);
    static bool isEqual(double a, double b);
    // A point of the current user coordinate system in world coordinates.
    static void ucsToWcs(const AcGePoint3d& point, AcGePoint3d& result);
    // Lets the user drag the set from basePoint into place. Anything but a placed drag erases
    // the set's entities, which existed only for the drag. The set is freed on every path.
    static int dragSelectionSet(ads_name selection, CString prompt, const AcGePoint3d& basePoint);
};
