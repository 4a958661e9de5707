// The host's side of the per-user settings store behind the registry calls.
#pragma once

#include <cstddef>
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

// A small per-user file as read: only a regular file (a FIFO or a device in its place is not
// read, so that nothing waits on it or reads without end), and no more than a bound.
struct UserFile {
    bool exists = false; // something is at the path: a file, a link, a FIFO...
    std::string bytes;   // what was read, at most the bound
    std::string problem; // why the file cannot be taken as it is; empty when it can
};
UserFile readUserFile(const std::string& path, size_t maxBytes);

// Renames a damaged file to a free name beside it ("<file>.damaged", then "<file>.damaged-2",
// ...), so that a save keeps it; false with the reason in error.
bool keepAside(const std::string& path, std::string& aside, std::string& error);

// Tells on the command line, once per reading, that a per-user file ("settings", "menu
// state") could not be read in full, and why.
void reportDamagedUserFile(const std::wstring& what, const std::string& path,
                           const std::string& problem);
// Saves a per-user file. A damaged one is first kept aside, and where it went is told; damaged
// is cleared then. False if it could not be saved, which is told on the command line.
bool saveUserFile(const std::string& path, const std::string& content, bool& damaged,
                  const std::wstring& what);

} // namespace lmhost
