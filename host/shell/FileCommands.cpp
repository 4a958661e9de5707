// OPEN, SAVE and SAVEAS: drawings as DXF files.
#include <filesystem>
#include <map>
#include <vector>

#include "DrawingFiles.h"
#include "DrawingText.h"
#include "acdocman.h"
#include "drawing/Dxf.h"
#include "sdk/control/Documents.h"
#include "sdk/control/SystemVariables.h"
#include "windows.h"

namespace shell {

namespace {

using lmhost::CommandResult;

// What the file a document was opened from held and the model did not keep, until the
// first save tells the user it is gone from the file too.
std::map<const AcApDocument*, std::vector<std::wstring>>& notKept() {
    static std::map<const AcApDocument*, std::vector<std::wstring>> lists;
    return lists;
}

// Forgets a closed document, so that a later one at the same address starts clean.
class ForgetClosed : public AcApDocManagerReactor {
public:
    void documentToBeDestroyed(AcApDocument* document) override { notKept().erase(document); }
};

void install() {
    static ForgetClosed reactor;
    static bool installed = false;
    if (!installed) {
        acDocManagerPtr()->addReactor(&reactor);
        installed = true;
    }
}

// The drawing's name and folder, as the host's DWGNAME and DWGPREFIX give them.
void nameVariables(const AcApDocument* document) {
    std::wstring file = document->fileName();
    size_t slash = file.rfind(L'/');
    lmhost::setSystemVariable(L"DWGNAME", std::wstring(document->docTitle()));
    lmhost::setSystemVariable(
        L"DWGPREFIX", slash == std::wstring::npos ? std::wstring() : file.substr(0, slash + 1));
}

std::wstring sentence(std::wstring why) {
    if (!why.empty() && why.back() != L'.')
        why += L'.';
    return why;
}

CommandResult openCommand(const Args& args) {
    if (args.size() != 1)
        return refuse(L"OPEN needs the drawing file's path.");
    std::wstring path = absolutePath(args[0]);
    if (AcApDocument* open = lmhost::findDocument(path)) {
        acDocManagerPtr()->setCurDocument(open, AcAp::kNone, true);
        say(path + L" is open already; it is the current drawing now.");
        return CommandResult::Ended;
    }
    std::wstring why;
    if (!openDrawing(path, why))
        return refuse(L"Cannot open " + path + L": " + sentence(why));
    return CommandResult::Ended;
}

CommandResult saveCommand(const Args& args) {
    if (!args.empty())
        return refuse(L"SAVE takes nothing; SAVEAS saves under another name.");
    AcApDocument* document = acDocManagerPtr()->curDocument();
    if (!document)
        return refuse(L"No drawing is open.");
    if (!hasFile(document))
        return refuse(std::wstring(document->docTitle()) +
                      L" has no file yet; SAVEAS names its file.");
    std::wstring why, path = document->fileName();
    if (!saveDrawing(document, path, why))
        return refuse(L"Cannot save " + path + L": " + sentence(why));
    return CommandResult::Ended;
}

CommandResult saveAsCommand(const Args& args) {
    if (args.size() != 1)
        return refuse(L"SAVEAS needs the new file's path.");
    AcApDocument* document = acDocManagerPtr()->curDocument();
    if (!document)
        return refuse(L"No drawing is open.");
    std::wstring path = absolutePath(args[0]);
    AcApDocument* other = lmhost::findDocument(path);
    if (other && other != document)
        return refuse(L"Cannot save " + path + L": another open drawing has that file.");
    std::wstring why;
    if (!saveDrawing(document, path, why))
        return refuse(L"Cannot save " + path + L": " + sentence(why));
    return CommandResult::Ended;
}

} // namespace

std::wstring absolutePath(const std::wstring& path) {
    std::error_code ignored;
    std::filesystem::path full = std::filesystem::absolute(std::filesystem::path(path), ignored);
    return full.lexically_normal().wstring();
}

bool hasFile(const AcApDocument* document) {
    return document && std::wstring(document->fileName()).find(L'/') != std::wstring::npos;
}

bool openDrawing(const std::wstring& path, std::wstring& why) {
    install();
    drawing::DxfReport report;
    std::unique_ptr<AcDbDatabase> database = drawing::openDxfFile(path, report, why);
    if (!database)
        return false;
    for (const auto& [name, value] : report.systemVariables)
        lmhost::setSystemVariable(name, value);
    AcApDocument* document = lmhost::openDocument(path, std::move(database));
    nameVariables(document);
    say(L"Opened " + path + L".");
    for (const std::wstring& line : report.notKept)
        say(line + L".");
    if (!report.notKept.empty())
        notKept()[document] = report.notKept;
    return true;
}

bool saveDrawing(AcApDocument* document, const std::wstring& path, std::wstring& why) {
    install();
    if (!drawing::saveDxfFile(document->database(), path, why))
        return false;
    auto it = notKept().find(document);
    if (it != notKept().end()) {
        std::wstring lost;
        for (const std::wstring& line : it->second)
            lost += (lost.empty() ? L"" : L", ") + line;
        say(L"The file no longer holds what the drawing did not keep: " + lost + L".");
        notKept().erase(it);
    }
    lmhost::setDocumentFileName(document, path);
    nameVariables(document);
    say(L"Saved " + path + L".");
    return true;
}

void registerFileCommands() {
    using lmhost::registerHostCommand;
    registerHostCommand(L"OPEN", openCommand,
                        L"OPEN file: open a drawing file (DXF) and make it the current drawing");
    registerHostCommand(L"SAVE", saveCommand, L"SAVE: save the current drawing to its file (DXF)");
    registerHostCommand(L"SAVEAS", saveAsCommand,
                        L"SAVEAS file: save the current drawing under a new file (DXF)");
}

} // namespace shell
