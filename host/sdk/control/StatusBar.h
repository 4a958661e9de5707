// What the host's status bar showed: each call of the progress meter, in order.
#pragma once

#include <string>
#include <vector>

namespace lmhost {

struct StatusBarEvent {
    enum Kind { Open, Position, Restore } kind = Open;
    std::wstring label; // Open
    int minPos = 0;     // Open
    int maxPos = 0;     // Open
    int pos = 0;        // Position: after clamping
};

const std::vector<StatusBarEvent>& statusBarEvents();
// Is the meter up now?
bool progressMeterShown();
void clearStatusBar();

} // namespace lmhost
