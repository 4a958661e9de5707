// Drawing files in the host program: opening a DXF file as a document, saving documents.
#pragma once

#include <string>

class AcApDocument;

namespace shell {

// A path from the user, made absolute from the program's working folder.
std::wstring absolutePath(const std::wstring& path);

// Opens the file as a new current document (the document reactors hear it as for any
// drawing that becomes current) and prints "Opened PATH." with what was not kept. False
// with the reason ("line 12: unknown group code 7777").
bool openDrawing(const std::wstring& path, std::wstring& why);

// Saves the document to path and gives it that file; prints "Saved PATH.", after a note of
// what the model did not keep when the file it was opened from held more. False with the
// reason; the file on disk is then as it was.
bool saveDrawing(AcApDocument* document, const std::wstring& path, std::wstring& why);

// True when the document has a file (it was opened or saved), not only a name.
bool hasFile(const AcApDocument* document);

void registerFileCommands();

} // namespace shell
