// The host's own commands in the program: applications, documents, system variables, the
// menu bar, and help.
#include <cwctype>

#include "Shell.h"
#include "sdk/WideFormat.h"
#include "accmd.h"
#include "acdocman.h"
#include "acedads.h"
#include "adscodes.h"
#include "acutads.h"
#include "sdk/control/Applications.h"
#include "sdk/control/Documents.h"
#include "sdk/control/Menus.h"
#include "windows.h"

namespace shell {

void registerDrawingCommands();
void registerWorkbookCommands();
void registerFileCommands();
void registerExcelCommands();
void registerStyleCommands();

namespace {

using lmhost::CommandResult;
using Args = std::vector<std::wstring>;

CommandResult failWith(const std::wstring& text) {
    lmhost::print(L"\n" + text);
    return CommandResult::Failed;
}

void say(const std::wstring& text) {
    lmhost::print(L"\n" + text);
}

CommandResult setVariable(const Args& args) {
    if (args.size() != 2)
        return failWith(L"SETVAR needs a variable name and a value.");
    resbuf current{};
    if (acedGetVar(args[0].c_str(), &current) != RTNORM)
        return failWith(L"Unknown variable name \"" + args[0] + L"\".");
    resbuf value{};
    value.restype = current.restype;
    std::wstring text = args[1];
    wchar_t* end = nullptr;
    switch (current.restype) {
    case RTSHORT: {
        long v = std::wcstol(text.c_str(), &end, 10);
        if (!end || *end || v < -32768 || v > 32767)
            return failWith(L"Requires an integer value.");
        value.resval.rint = static_cast<short>(v);
        break;
    }
    case RTLONG: {
        long v = std::wcstol(text.c_str(), &end, 10);
        if (!end || *end)
            return failWith(L"Requires an integer value.");
        value.resval.rlong = static_cast<int32_t>(v);
        break;
    }
    case RTREAL: {
        double v = std::wcstod(text.c_str(), &end);
        if (!end || *end)
            return failWith(L"Requires a number.");
        value.resval.rreal = v;
        break;
    }
    case RTSTR:
        value.resval.rstring = const_cast<ACHAR*>(text.c_str());
        break;
    default:
        return failWith(L"The variable \"" + args[0] + L"\" cannot be set here.");
    }
    if (current.restype == RTSTR && current.resval.rstring)
        acutDelString(current.resval.rstring);
    if (acedSetVar(args[0].c_str(), &value) != RTNORM)
        return failWith(L"The value " + text + L" is refused for " + args[0] + L".");
    return CommandResult::Ended;
}

CommandResult getVariable(const Args& args) {
    if (args.size() != 1)
        return failWith(L"GETVAR needs a variable name.");
    resbuf value{};
    if (acedGetVar(args[0].c_str(), &value) != RTNORM)
        return failWith(L"Unknown variable name \"" + args[0] + L"\".");
    std::wstring text;
    switch (value.restype) {
    case RTSHORT:
        text = std::to_wstring(value.resval.rint);
        break;
    case RTLONG:
        text = std::to_wstring(value.resval.rlong);
        break;
    case RTREAL:
        text = lmhost::formatWide(L"%g", value.resval.rreal);
        break;
    case RTSTR:
        text = L"\"" + std::wstring(value.resval.rstring ? value.resval.rstring : L"") + L"\"";
        acutDelString(value.resval.rstring);
        break;
    default:
        text = L"(not shown)";
        break;
    }
    say(args[0] + L" = " + text);
    return CommandResult::Ended;
}

CommandResult listDocuments(const Args&) {
    AcApDocManager* manager = acDocManagerPtr();
    AcApDocumentIterator* it = manager->newAcApDocumentIterator();
    for (; !it->done(); it->step()) {
        AcApDocument* doc = it->document();
        say(std::wstring(doc == manager->curDocument() ? L"* " : L"  ") + doc->docTitle());
    }
    delete it;
    if (manager->documentCount() == 0)
        say(L"No drawing is open.");
    return CommandResult::Ended;
}

CommandResult help(const Args&) {
    say(L"Host commands:");
    for (const auto& c : lmhost::hostCommands())
        say(L"  " + (c.help.empty() ? c.name : c.help));
    // Then the loaded plug-ins' commands, group by group, as they are typed.
    std::wstring group;
    for (const auto& c : lmhost::applicationCommands()) {
        if (c.group != group) {
            group = c.group;
            say(L"Commands of the group " + group + L":");
        }
        say(L"  " + c.localName);
    }
    say(L"Answers on the lines after a command: x,y[,z] | pick HANDLE [x,y] | "
        L"pick OUTER/INNER [x,y] | *Cancel* | "
        L"[Yes] [No] [OK] [Cancel] for message boxes | > press ID, > choose ID TEXT, "
        L"> check ID on|off, > type ID TEXT, > ok, > cancel for dialogs | any other word is a "
        L"keyword.");
    return CommandResult::Ended;
}

} // namespace

void Session::registerCommands() {
    using lmhost::registerHostCommand;
    registerHostCommand(L"HELP", help, L"HELP: this list");
    registerHostCommand(
        L"QUIT",
        [this](const Args&) {
            m_quit = true;
            return CommandResult::Ended;
        },
        L"QUIT: end the session");
    registerHostCommand(
        L"ARXLOAD",
        [](const Args& args) {
            std::wstring path = args.empty() ? Session::pluginBesideProgram() : args[0];
            std::wstring error;
            if (!lmhost::loadApplication(path, error))
                return failWith(error);
            return CommandResult::Ended;
        },
        L"ARXLOAD [file]: load a plug-in (Linkmesh.so beside the program by default)");
    registerHostCommand(
        L"ARXUNLOAD",
        [](const Args& args) {
            std::wstring error;
            if (!lmhost::unloadApplication(args.empty() ? L"Linkmesh" : args[0], error))
                return failWith(error);
            say((args.empty() ? L"Linkmesh" : args[0]) + L" successfully unloaded.");
            return CommandResult::Ended;
        },
        L"ARXUNLOAD [name]: unload a plug-in");
    registerHostCommand(
        L"APPS",
        [](const Args&) {
            for (const auto& app : lmhost::loadedApplications())
                say(app.name + L"  " + app.path);
            return CommandResult::Ended;
        },
        L"APPS: list loaded plug-ins");
    registerHostCommand(
        L"NEW",
        [](const Args& args) {
            std::wstring name =
                args.empty()
                    ? lmhost::formatWide(L"Drawing%d.dwg", acDocManagerPtr()->documentCount() + 1)
                    : args[0];
            if (lmhost::findDocument(name))
                return failWith(L"A drawing named " + name + L" is already open.");
            lmhost::newDocument(name);
            return CommandResult::Ended;
        },
        L"NEW [name]: open a new empty drawing and make it current");
    registerHostCommand(
        L"SWITCH",
        [](const Args& args) {
            AcApDocument* doc = args.size() == 1 ? lmhost::findDocument(args[0]) : nullptr;
            if (!doc)
                return failWith(L"No open drawing is named " + (args.empty() ? L"" : args[0]) +
                                L".");
            acDocManagerPtr()->setCurDocument(doc, AcAp::kNone, true);
            return CommandResult::Ended;
        },
        L"SWITCH name: make an open drawing current");
    registerHostCommand(
        L"CLOSE",
        [](const Args& args) {
            AcApDocument* doc =
                args.empty() ? acDocManagerPtr()->curDocument() : lmhost::findDocument(args[0]);
            if (!doc)
                return failWith(L"No such drawing is open.");
            acDocManagerPtr()->closeDocument(doc);
            return CommandResult::Ended;
        },
        L"CLOSE [name]: close the current (or the named) drawing");
    registerHostCommand(L"DOCS", listDocuments, L"DOCS: list the open drawings, * the current");
    registerHostCommand(L"SETVAR", setVariable, L"SETVAR name value: set a system variable");
    registerHostCommand(L"GETVAR", getVariable, L"GETVAR name: show a system variable");
    registerHostCommand(
        L"MENUBAR",
        [](const Args& args) {
            if (!args.empty())
                lmhost::setMenuBar(args);
            std::wstring line = L"Menu bar:";
            for (const auto& t : lmhost::menuBar())
                line += L" " + t;
            say(line);
            return CommandResult::Ended;
        },
        L"MENUBAR [title...]: show, or set, the menus of the menu bar");
    registerHostCommand(
        L"MENUGROUPS",
        [](const Args&) {
            std::wstring line = L"Menu groups:";
            for (const auto& g : lmhost::loadedMenuGroups())
                line += L" " + g;
            say(line);
            return CommandResult::Ended;
        },
        L"MENUGROUPS: list the loaded menu groups");
    registerDrawingCommands();
    registerWorkbookCommands();
    registerFileCommands();
    registerExcelCommands();
    registerStyleCommands();
}

} // namespace shell
