// The host's command line: running commands by name, the host's own commands, and the
// expressions an application queued for when the host is ready for commands.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace lmhost {

enum class CommandResult { Ended, Cancelled, Failed, Unknown };

// A command of the host itself. It gets the words typed after its name (or handed over by
// acedCommandS); it reports its own errors on the command line.
using HostCommand = std::function<CommandResult(const std::vector<std::wstring>& args)>;

// Registers a host command by its name (compared without regard to case); a plug-in
// command of the same name takes precedence unless the name is typed with a leading ".".
void registerHostCommand(const std::wstring& name, HostCommand command,
                         const std::wstring& help = L"");
struct HostCommandInfo {
    std::wstring name;
    std::wstring help;
};
std::vector<HostCommandInfo> hostCommands();

// The commands applications added to the command stack, by group (oldest group first), each
// group's in the order they were added.
struct ApplicationCommandInfo {
    std::wstring group;
    std::wstring globalName;
    std::wstring localName;
};
std::vector<ApplicationCommandInfo> applicationCommands();

// Runs one command as the host does: "_" asks for the global name, "." for the host's own
// command. Editor reactors are told when it starts and how it ended. Unknown gives
// Unknown after the host's "Unknown command" line.
CommandResult runCommand(const std::wstring& name, const std::vector<std::wstring>& args = {});

// What applications did to the command stack, in order: each addCommand and removeCmd
// that took effect, with group and global name.
struct CommandStackChange {
    bool added = false;
    std::wstring group;
    std::wstring globalName;
};
const std::vector<CommandStackChange>& commandStackChanges();
void clearCommandStackChanges();

// The name of the command running now, or empty.
std::wstring activeCommand();

// Expressions queued by ads_queueexpr, taken out in order.
std::vector<std::wstring> takeQueuedExpressions();
// Evaluates what the host understands of an expression: (command "NAME" "ARG" ...).
CommandResult evaluateExpression(const std::wstring& expression);

// Called around each command, with the global name, for the parts of the host that tell
// editor reactors (set by the drawing model).
struct CommandEvents {
    std::function<void(const std::wstring&)> willStart;
    std::function<void(const std::wstring&)> ended;
    std::function<void(const std::wstring&)> cancelled;
    std::function<void(const std::wstring&)> failed;
};
void setCommandEvents(CommandEvents events);

// Splits a command line into words; "..." keeps spaces and \" a quote inside.
std::vector<std::wstring> splitCommandLine(const std::wstring& line);

} // namespace lmhost
