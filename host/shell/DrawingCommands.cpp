// The host's commands that build and show a drawing.
#include "Shell.h"
#include "acedads.h"
#include "sdk/control/HostControl.h"

namespace shell {

namespace {
using lmhost::CommandResult;
using Args = std::vector<std::wstring>;
} // namespace

void registerDrawingCommands() {
    lmhost::registerHostCommand(
        L"REGEN",
        [](const Args&) {
            acedRegen();
            lmhost::print(L"\nRegenerating model.");
            return CommandResult::Ended;
        },
        L"REGEN: regenerate the drawing");
}

} // namespace shell
