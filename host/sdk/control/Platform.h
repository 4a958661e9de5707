// The host's side of what the platform tells a plug-in about itself.
#pragma once

#include <string>
#include <vector>

namespace lmhost {

// The file name GetModuleFileNameW gives for the host's executable (beside the running
// program), and the program name of the host services; "acad.exe" and "acad" by default.
void setHostExecutableName(const std::wstring& fileName);
std::wstring hostExecutableName();
void setHostRelease(int major, int minor);

// What ShellExecuteW was asked to open, in order.
struct ShellRequest {
    std::wstring operation;
    std::wstring file;
    std::wstring parameters;
    int show = 0;
};
const std::vector<ShellRequest>& shellRequests();
void clearShellRequests();

// Resets the above to the defaults.
void resetPlatform();

} // namespace lmhost
