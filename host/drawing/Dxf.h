// Drawings as files: ASCII DXF (version AC1032) written from and read into the drawing model.
// What the public DXF reference does not describe (constraint parameters, dynamic block
// properties) travels in objects of our own classes; docs/drawing-files.md describes them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "dbmain.h"

namespace drawing {

// What reading a file found that the model does not hold, one line per kind
// ("12 LINE entities not kept").
struct DxfReport {
    std::vector<std::wstring> notKept;
    // The drawing's settings that the host keeps as system variables (LUNITS, LUPREC, ...).
    std::vector<std::pair<std::wstring, short>> systemVariables;
};

// The drawing as DXF text. Objects keep their handles; the few file objects the model has
// no object for (layer 0, layouts, dictionaries) get handles of their own, kept by the
// database, so that saving twice writes the same bytes.
std::string writeDxf(AcDbDatabase* database);

// A new database from DXF text; null with the reason in error ("line 12: ...").
std::unique_ptr<AcDbDatabase> readDxf(std::string_view text, DxfReport& report,
                                      std::wstring& error);

// The largest drawing file read (bigger files are refused before they are read).
inline constexpr std::uint64_t kMaxDxfFileBytes = 512ull << 20;

// Reads a drawing file: refuses directories, devices and FIFOs without waiting on them, and
// files over the limit. Null with the reason.
std::unique_ptr<AcDbDatabase> openDxfFile(const std::wstring& path, DxfReport& report,
                                          std::wstring& error);

// Writes the drawing to a temporary file beside path and renames it over path, so that a
// failed save leaves the old file as it was. False with the reason.
bool saveDxfFile(AcDbDatabase* database, const std::wstring& path, std::wstring& error);

} // namespace drawing
