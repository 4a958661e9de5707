// Small helpers the drawing commands share: reading what the user typed (numbers, points,
// handles) and writing what the drawing holds.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "dbeval.h"
#include "dbmain.h"
#include "sdk/control/Commands.h"

namespace shell {

using Args = std::vector<std::wstring>;

// Prints one line on the command line and gives the result a refused command ends with.
lmhost::CommandResult refuse(const std::wstring& text);
void say(const std::wstring& text);

std::optional<double> parseNumber(const std::wstring& text);
std::optional<long> parseInteger(const std::wstring& text);
// "x,y" or "x,y,z".
std::optional<AcGePoint3d> parsePoint(const std::wstring& text);
// A point typed by the user is in the current UCS; the drawing stores world coordinates.
AcGePoint3d ucsToWorld(const AcGePoint3d& point);
std::wstring formatNumber(double value);
std::wstring formatPoint(const AcGePoint3d& point);
// A parameter's or property's value as the commands show it (text in double quotes).
std::wstring valueText(const AcDbEvalVariant& value);

// The drawing commands work on; null (after a message) when no drawing is open.
AcDbDatabase* currentDatabase();
// The object of a handle in a database; false after a message naming the handle.
bool objectOfHandle(AcDbDatabase* database, const std::wstring& handle, AcDbObjectId& id);
std::wstring handleText(AcDbObjectId id);
std::wstring className(AcDbObjectId id);

// Text with control characters shown as <1D>, so a transcript stays readable.
std::wstring visible(const std::wstring& text);

// Appends a 1000 entry to the end of an object's xdata of one application, registering the
// application if need be. False with a reason.
bool appendXdataText(AcDbObjectId id, const std::wstring& application, const std::wstring& text,
                     std::wstring& why);

void registerBlockCommands();

} // namespace shell
