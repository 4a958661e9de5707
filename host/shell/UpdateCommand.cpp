// linkmesh update [--dry-run] FILE.dxf...: brings many drawings up to date from their
// workbooks without a user. Each drawing is opened, the plug-in's update runs with file
// dialogs off (its notice goes to the command line), what changed is found by comparing the
// drawing before and after, and the drawing is saved unless it is a dry run.
#include <algorithm>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "AcDbAssocVariable.h"
#include "DrawingFiles.h"
#include "DrawingText.h"
#include "Shell.h"
#include "acdocman.h"
#include "dbdynblk.h"
#include "dbtable.h"
#include "sdk/Database.h"
#include "sdk/WideFormat.h"
#include "sdk/control/Documents.h"
#include "sdk/control/SystemVariables.h"

namespace shell {

namespace {

// What the update may change: parameters (name, expression, value) and the dynamic
// properties of block references, by handle.
struct Snapshot {
    struct Parameter {
        std::wstring name, expression, value;
    };
    std::map<uint64_t, Parameter> parameters;
    std::map<std::pair<uint64_t, int>, std::pair<std::wstring, std::wstring>> properties;
};

Snapshot snapshot(AcDbDatabase* db) {
    Snapshot s;
    std::vector<AcDbObjectId> references;
    for (const auto& stub : db->impl()->stubs) {
        if (!stub->object || stub->erased)
            continue;
        AcDbObjectId id(stub.get());
        if (AcDbAssocVariable::cast(stub->object)) {
            AcDbObjectPointer<AcDbAssocVariable> v(id, AcDb::kForRead);
            if (v.openStatus() == Acad::eOk)
                s.parameters[stub->handle.value()] = {v->isAnonymous() ? L"(anonymous)"
                                                                       : v->name().str(),
                                                      v->expression().str(), valueText(v->value())};
        } else if (AcDbBlockReference::cast(stub->object) && !AcDbTable::cast(stub->object)) {
            references.push_back(id);
        }
    }
    for (const AcDbObjectId& id : references) {
        AcDbDynBlockReference dynamic(id);
        AcDbDynBlockReferencePropertyArray properties;
        dynamic.getBlockProperties(properties);
        for (int i = 0; i < properties.length(); ++i)
            s.properties[{id.handle().value(), i}] = {properties[i].propertyName().kwszPtr(),
                                                      valueText(properties[i].value())};
    }
    return s;
}

std::wstring hex(uint64_t handle) {
    return lmhost::formatWide(L"%llX", static_cast<unsigned long long>(handle));
}

// The changes, one line each: "name: expression = value → expression = value" for a
// parameter, "HANDLE property: value → value" for a block property.
std::vector<std::wstring> changes(const Snapshot& before, const Snapshot& after) {
    std::vector<std::wstring> lines;
    for (const auto& [handle, now] : after.parameters) {
        auto it = before.parameters.find(handle);
        if (it == before.parameters.end()) {
            lines.push_back(now.name + L": new, " + now.expression + L" = " + now.value);
            continue;
        }
        const Snapshot::Parameter& was = it->second;
        if (was.expression != now.expression || was.value != now.value || was.name != now.name)
            lines.push_back(now.name + L": " + was.expression + L" = " + was.value + L" \u2192 " +
                            now.expression + L" = " + now.value);
    }
    for (const auto& [key, now] : after.properties) {
        auto it = before.properties.find(key);
        std::wstring was = it == before.properties.end() ? L"(none)" : it->second.second;
        if (was != now.second)
            lines.push_back(hex(key.first) + L" " + now.first + L": " + was + L" \u2192 " +
                            now.second);
    }
    return lines;
}

void out(const std::wstring& text) {
    std::cout << lmhost::narrow(text);
    std::cout.flush();
}

void usage() {
    std::cerr << "usage: linkmesh update [--dry-run] [--plugin FILE] DRAWING.dxf...\n";
}

} // namespace

} // namespace shell

int updateCommand(const std::vector<std::string>& args) {
    using namespace shell;
    bool dryRun = false;
    std::wstring plugin = Session::pluginBesideProgram();
    std::vector<std::wstring> files;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--dry-run" || args[i] == "-n") {
            dryRun = true;
        } else if (args[i] == "--plugin" && i + 1 < args.size()) {
            plugin = lmhost::widen(args[++i]);
        } else if (!args[i].empty() && args[i][0] == '-') {
            usage();
            return kExitUsage;
        } else {
            files.push_back(lmhost::widen(args[i]));
        }
    }
    if (files.empty()) {
        usage();
        return kExitUsage;
    }

    // The host starts with its new drawing, as always; each drawing file opens beside it.
    Session session;
    if (int code = session.start(plugin, true))
        return code;
    size_t failed = 0, changedDrawings = 0, changeCount = 0;
    for (size_t i = 0; i < files.size(); ++i) {
        std::wstring path = absolutePath(files[i]);
        std::wstring name = path.substr(path.rfind(L'/') + 1);
        std::wstring progress =
            L"[" + std::to_wstring(i + 1) + L"/" + std::to_wstring(files.size()) + L"] " + name;
        std::wstring why;
        if (!openDrawing(path, why)) {
            out(L"\n" + progress + L": cannot open: " + why + L"\n");
            ++failed;
            continue;
        }
        AcApDocument* document = acDocManagerPtr()->curDocument();
        // No message box to answer: the notice goes to the command line.
        lmhost::setSystemVariable(L"FILEDIA", short(0));
        Snapshot before = snapshot(document->database());
        int code = session.runLines({L"Lmesh_UpdateLinkedParameters"}, lmhost::narrow(name));
        std::vector<std::wstring> lines = changes(before, snapshot(document->database()));
        std::wstring result = std::to_wstring(lines.size()) + L" changed";
        bool ok = code == kExitOk;
        if (!ok)
            result += L"; the update did not run to its end, not saved";
        else if (dryRun)
            result += L" (dry run, not saved)";
        else if (!saveDrawing(document, path, why)) {
            ok = false;
            result += L"; cannot save: " + why;
        }
        out(L"\n");
        for (const std::wstring& line : lines)
            out(L"  " + line + L"\n");
        out(progress + L": " + result + L"\n");
        failed += !ok;
        changedDrawings += !lines.empty();
        changeCount += lines.size();
        acDocManagerPtr()->closeDocument(document);
    }
    out(lmhost::formatWide(L"\n%zu drawing%s%s: %zu with changes (%zu change%s), %zu failed.\n",
                           files.size(), files.size() == 1 ? L"" : L"s",
                           dryRun ? L" (dry run, nothing saved)" : L"", changedDrawings,
                           changeCount, changeCount == 1 ? L"" : L"s", failed));
    session.finish();
    return failed ? kExitFileError : kExitOk;
}
