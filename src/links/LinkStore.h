// Links live as xdata on the object they drive: a 1001 entry with the application name,
// then one 1000 entry per stored text.
#pragma once

#include "afx.h"
#include "dbmain.h"
#include "links/LinkText.h"

// Appends text as a 1000 entry unless an equal one (ignoring case) stands before the last
// entry; registers the application when the object has no xdata of it yet.
bool setXdata(AcDbObjectId id, const wchar_t* appName, CString text);
bool setXdata(AcDbObject* object, const wchar_t* appName, CString text);
// Removes the first 1000 entry equal to text (ignoring case); true if the host took the change.
bool deleteXdata(AcDbObjectId id, const wchar_t* appName, CString text);
bool deleteXdata(AcDbObject* object, const wchar_t* appName, CString text);

// The first stored text under the direct application; false with an empty text if none.
bool getFirstLinkText(const AcDbObject* object, CString& text);
// Every stored text of the application in order, appended; true if texts is not empty.
bool getAllLinkTexts(const AcDbObject* object, const wchar_t* appName, CStringArray& texts);
