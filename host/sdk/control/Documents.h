// The host's side of the document manager: opening, switching and closing drawings.
#pragma once

#include <memory>
#include <string>

class AcApDocument;
class AcDbDatabase;

namespace lmhost {

// Opens a new empty drawing under the name and makes it current; the document reactors
// hear documentCreateStarted, documentCreated, then the change of current document.
AcApDocument* newDocument(const std::wstring& name);
// Opens a drawing read from a file under its full path and makes it current, with the
// same notifications as a new drawing: documentCreateStarted, documentCreated, then the
// change of current document.
AcApDocument* openDocument(const std::wstring& path, std::unique_ptr<AcDbDatabase> database);
// The open document of that title or file name (without regard to case), or null.
AcApDocument* findDocument(const std::wstring& name);
// Gives a document the path it was opened from or will be saved to, as opening or saving
// the drawing would; its title becomes the file part. False for a document that is not open.
bool setDocumentFileName(AcApDocument* doc, const std::wstring& fileName);
// Closes every document, as the host does at its end.
void closeAllDocuments();

} // namespace lmhost
