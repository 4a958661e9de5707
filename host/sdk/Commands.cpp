// The command stack, the host's own commands, running a command with its editor events,
// acedCommandS and queued expressions.
#include "sdk/control/Commands.h"

#include <cstdarg>
#include <cwctype>
#include <deque>
#include <memory>
#include <vector>

#include "WideFormat.h"
#include "accmd.h"
#include "acedCmdNF.h"
#include "acedmenu.h"
#include "acutads.h"
#include "adsdef.h"
#include "sdk/control/HostControl.h"

ACRX_DEFINE_MEMBERS(AcEdCommand, AcRxObject)
ACRX_DEFINE_MEMBERS(AcEdCommandStack, AcRxObject)

struct AcEdCommand::Data {
    std::wstring group, global, local;
    Adesk::Int32 flags = 0;
    AcRxFunctionPtr function = nullptr;
    AcEdUIContext* context = nullptr;
    int fcode = -1;
    HINSTANCE resource = nullptr;
};

AcEdCommand::~AcEdCommand() {
    delete m_data;
}
const ACHAR* AcEdCommand::groupName() const {
    return m_data->group.c_str();
}
const ACHAR* AcEdCommand::globalName() const {
    return m_data->global.c_str();
}
const ACHAR* AcEdCommand::localName() const {
    return m_data->local.c_str();
}
Adesk::Int32 AcEdCommand::commandFlags() const {
    return m_data->flags;
}
AcRxFunctionPtr AcEdCommand::functionAddr() const {
    return m_data->function;
}
AcEdUIContext* AcEdCommand::UIContext() const {
    return m_data->context;
}
int AcEdCommand::functionCode() const {
    return m_data->fcode;
}
HINSTANCE AcEdCommand::resourceHandle() const {
    return m_data->resource;
}

namespace {

struct CommandGroup {
    std::wstring name;
    std::vector<std::unique_ptr<AcEdCommand>> commands;
};

struct HostCommandEntry {
    std::wstring name;
    lmhost::HostCommand command;
    std::wstring help;
};

struct CommandState {
    std::vector<CommandGroup> groups; // oldest first
    std::vector<HostCommandEntry> hostCommands;
    std::deque<std::wstring> queued;
    std::vector<std::wstring> active;
    lmhost::CommandEvents events;
    std::vector<lmhost::CommandStackChange> changes;
};

CommandState& state() {
    static CommandState s;
    return s;
}

CommandGroup* findGroup(const std::wstring& name) {
    for (CommandGroup& g : state().groups)
        if (lmhost::equalNoCase(g.name, name))
            return &g;
    return nullptr;
}

HostCommandEntry* findHostCommand(const std::wstring& name) {
    for (HostCommandEntry& c : state().hostCommands)
        if (lmhost::equalNoCase(c.name, name))
            return &c;
    return nullptr;
}

} // namespace

Acad::ErrorStatus AcEdCommandStack::addCommand(const ACHAR* cmdGroupName,
                                               const ACHAR* cmdGlobalName,
                                               const ACHAR* cmdLocalName, Adesk::Int32 commandFlags,
                                               AcRxFunctionPtr functionAddr,
                                               AcEdUIContext* UIContext, int fcode,
                                               HINSTANCE hResourceHandle, AcEdCommand** cmdPtrRet) {
    if (!cmdGroupName || !*cmdGroupName || !cmdGlobalName || !*cmdGlobalName || !functionAddr)
        return Acad::eInvalidInput;
    const ACHAR* local = cmdLocalName && *cmdLocalName ? cmdLocalName : cmdGlobalName;
    CommandGroup* group = findGroup(cmdGroupName);
    if (!group) {
        state().groups.push_back({cmdGroupName, {}});
        group = &state().groups.back();
    }
    for (auto& c : group->commands)
        if (lmhost::equalNoCase(c->globalName(), cmdGlobalName) ||
            lmhost::equalNoCase(c->localName(), local))
            return Acad::eDuplicateKey;
    auto* data = new AcEdCommand::Data{cmdGroupName, cmdGlobalName, local, commandFlags,
                                       functionAddr, UIContext,     fcode, hResourceHandle};
    group->commands.push_back(std::make_unique<AcEdCommand>(data));
    state().changes.push_back({true, cmdGroupName, cmdGlobalName});
    if (cmdPtrRet)
        *cmdPtrRet = group->commands.back().get();
    return Acad::eOk;
}

Acad::ErrorStatus AcEdCommandStack::removeCmd(const ACHAR* cmdGroupName,
                                              const ACHAR* cmdGlobalName) {
    if (!cmdGroupName || !cmdGlobalName)
        return Acad::eInvalidInput;
    CommandGroup* group = findGroup(cmdGroupName);
    if (!group)
        return Acad::eKeyNotFound;
    auto& cmds = group->commands;
    for (auto it = cmds.begin(); it != cmds.end(); ++it)
        if (lmhost::equalNoCase((*it)->globalName(), cmdGlobalName)) {
            state().changes.push_back({false, group->name, (*it)->globalName()});
            cmds.erase(it);
            if (cmds.empty())
                std::erase_if(state().groups, [&](const CommandGroup& g) { return &g == group; });
            return Acad::eOk;
        }
    return Acad::eKeyNotFound;
}

Acad::ErrorStatus AcEdCommandStack::removeGroup(const ACHAR* groupName) {
    if (!groupName || !findGroup(groupName))
        return Acad::eKeyNotFound;
    std::erase_if(state().groups,
                  [&](const CommandGroup& g) { return lmhost::equalNoCase(g.name, groupName); });
    return Acad::eOk;
}

AcEdCommand* AcEdCommandStack::lookupCmd(const ACHAR* cmdName, bool globalFlag) {
    if (!cmdName)
        return nullptr;
    auto& groups = state().groups;
    for (auto g = groups.rbegin(); g != groups.rend(); ++g)
        for (auto& c : g->commands)
            if (lmhost::equalNoCase(globalFlag ? c->globalName() : c->localName(), cmdName))
                return c.get();
    return nullptr;
}

AcEdCommand* AcEdCommandStack::lookupGlobalCmd(const ACHAR* cmdName) {
    return lookupCmd(cmdName, true);
}

AcEdCommand* AcEdCommandStack::lookupLocalCmd(const ACHAR* cmdName) {
    return lookupCmd(cmdName, false);
}

std::vector<lmhost::ApplicationCommandInfo> lmhost::applicationCommands() {
    std::vector<ApplicationCommandInfo> list;
    for (const CommandGroup& g : state().groups)
        for (const auto& c : g.commands)
            list.push_back({g.name, c->globalName(), c->localName()});
    return list;
}

namespace lmhost {

void registerHostCommand(const std::wstring& name, HostCommand command, const std::wstring& help) {
    if (HostCommandEntry* existing = findHostCommand(name)) {
        existing->command = std::move(command);
        existing->help = help;
        return;
    }
    state().hostCommands.push_back({name, std::move(command), help});
}

std::vector<HostCommandInfo> hostCommands() {
    std::vector<HostCommandInfo> list;
    for (const HostCommandEntry& c : state().hostCommands)
        list.push_back({c.name, c.help});
    return list;
}

const std::vector<CommandStackChange>& commandStackChanges() {
    return state().changes;
}

void clearCommandStackChanges() {
    state().changes.clear();
}

void setCommandEvents(CommandEvents events) {
    state().events = std::move(events);
}

std::wstring activeCommand() {
    return state().active.empty() ? std::wstring() : state().active.back();
}

namespace {

struct ActiveCommand {
    explicit ActiveCommand(const std::wstring& name) { state().active.push_back(name); }
    ~ActiveCommand() { state().active.pop_back(); }
    ActiveCommand(const ActiveCommand&) = delete;
    ActiveCommand& operator=(const ActiveCommand&) = delete;
};

void raise(const std::function<void(const std::wstring&)>& event, const std::wstring& name) {
    if (event)
        event(name);
}

CommandResult runWithEvents(const std::wstring& globalName,
                            const std::function<CommandResult()>& body) {
    CommandEvents events = state().events;
    raise(events.willStart, globalName);
    CommandResult result;
    {
        ActiveCommand active(globalName);
        try {
            result = body();
        } catch (...) {
            result = CommandResult::Failed;
        }
    }
    switch (result) {
    case CommandResult::Cancelled:
        raise(events.cancelled, globalName);
        break;
    case CommandResult::Failed:
        raise(events.failed, globalName);
        break;
    default:
        raise(events.ended, globalName);
        break;
    }
    return result;
}

std::wstring upper(std::wstring text) {
    for (wchar_t& c : text)
        c = static_cast<wchar_t>(std::towupper(c));
    return text;
}

} // namespace

CommandResult runCommand(const std::wstring& typed, const std::vector<std::wstring>& args) {
    if (typed.empty())
        return CommandResult::Unknown;
    std::wstring name = typed;
    bool global = false, builtIn = false;
    while (!name.empty() && (name[0] == L'_' || name[0] == L'.')) {
        (name[0] == L'_' ? global : builtIn) = true;
        name.erase(0, 1);
    }
    AcEdCommandStack* stack = acedRegCmds;
    AcEdCommand* cmd = nullptr;
    if (!builtIn && stack) {
        // A global name may itself begin with "_", as the host's rule for
        // language-independent names has it.
        cmd = global ? stack->lookupGlobalCmd(typed.substr(typed[0] == L'.' ? 1 : 0).c_str())
                     : nullptr;
        if (!cmd)
            cmd =
                global ? stack->lookupGlobalCmd(name.c_str()) : stack->lookupLocalCmd(name.c_str());
    }
    if (cmd) {
        if (!args.empty()) {
            print(formatWide(L"\nThe command %s takes its answers on the lines that follow.",
                             cmd->localName()));
            return CommandResult::Failed;
        }
        AcRxFunctionPtr fn = cmd->functionAddr();
        return runWithEvents(cmd->globalName(), [fn] {
            fn();
            return CommandResult::Ended;
        });
    }
    if (HostCommandEntry* host = findHostCommand(name)) {
        HostCommand fn = host->command;
        return runWithEvents(upper(host->name), [&] { return fn(args); });
    }
    print(formatWide(L"\nUnknown command \"%s\".  Press F1 for help.", upper(name).c_str()));
    return CommandResult::Unknown;
}

std::vector<std::wstring> takeQueuedExpressions() {
    std::vector<std::wstring> list(state().queued.begin(), state().queued.end());
    state().queued.clear();
    return list;
}

std::vector<std::wstring> splitCommandLine(const std::wstring& line) {
    std::vector<std::wstring> words;
    size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && std::iswspace(line[i]))
            ++i;
        if (i >= line.size())
            break;
        std::wstring word;
        if (line[i] == L'"') {
            ++i;
            while (i < line.size() && line[i] != L'"') {
                if (line[i] == L'\\' && i + 1 < line.size() &&
                    (line[i + 1] == L'"' || line[i + 1] == L'\\'))
                    ++i;
                word += line[i++];
            }
            ++i;
        } else {
            while (i < line.size() && !std::iswspace(line[i]))
                word += line[i++];
        }
        words.push_back(word);
    }
    return words;
}

CommandResult evaluateExpression(const std::wstring& expression) {
    std::wstring text = expression;
    // The host's evaluator here knows one form: (command "NAME" "ARG" ...).
    size_t open = text.find_first_not_of(L" \t");
    size_t close = text.find_last_not_of(L" \t");
    if (open != std::wstring::npos && text[open] == L'(' && text[close] == L')') {
        std::vector<std::wstring> words = splitCommandLine(text.substr(open + 1, close - open - 1));
        if (words.size() >= 2 && lmhost::equalNoCase(words[0], L"command")) {
            std::vector<std::wstring> args(words.begin() + 2, words.end());
            return runCommand(words[1], args);
        }
        if (!words.empty()) {
            print(formatWide(L"\n; error: no function definition: %s", upper(words[0]).c_str()));
            return CommandResult::Failed;
        }
    }
    print(formatWide(L"\n; error: malformed list on input"));
    return CommandResult::Failed;
}

} // namespace lmhost

int ads_queueexpr(const ACHAR* expression) {
    if (!expression)
        return RTERROR;
    state().queued.push_back(expression);
    return RTNORM;
}

int acedCommandS(int rtype, ...) {
    va_list args;
    va_start(args, rtype);
    std::vector<std::wstring> words;
    int type = rtype;
    bool bad = false;
    while (type != RTNONE && type != 0) {
        switch (type) {
        case RTSTR: {
            const ACHAR* text = va_arg(args, const ACHAR*);
            words.push_back(text ? text : L"");
            break;
        }
        case RTSHORT:
            words.push_back(std::to_wstring(va_arg(args, int)));
            break;
        case RTLONG:
            words.push_back(std::to_wstring(va_arg(args, int32_t)));
            break;
        case RTREAL:
            words.push_back(lmhost::formatWide(L"%.16g", va_arg(args, double)));
            break;
        default:
            bad = true;
            break;
        }
        if (bad)
            break;
        type = va_arg(args, int);
    }
    va_end(args);
    if (bad || words.empty() || words[0].empty())
        return RTERROR;
    std::wstring name = words[0];
    words.erase(words.begin());
    switch (lmhost::runCommand(name, words)) {
    case lmhost::CommandResult::Ended:
        return RTNORM;
    case lmhost::CommandResult::Cancelled:
        return RTCAN;
    default:
        return RTERROR;
    }
}
