// The host's side of the per-user settings store behind the registry calls.
#pragma once

#include <string>

namespace lmhost {

// $XDG_CONFIG_HOME/linkmesh (or $HOME/.config/linkmesh), looked up on each call.
std::string userConfigDirectory();
// The file of the store in that directory.
std::string settingsStorePath();
// Forgets what the host read of the store, and whether it reported a broken one.
void resetSettingsStore();

// Writes a file through a temporary file in the same folder and a rename; false with the
// reason in error if any step failed.
bool writeFileAtomically(const std::string& path, const std::string& content, std::string& error);

} // namespace lmhost
