// The host's menu groups and menu bar, kept for the user in the config directory.
#pragma once

#include <string>
#include <vector>

namespace lmhost {

// The menus of the bar, left to right, by title.
std::vector<std::wstring> menuBar();
// Replaces the bar (a user who moved menus around); saved for the next session.
void setMenuBar(const std::vector<std::wstring>& titles);
// Loaded menu groups, by name.
std::vector<std::wstring> loadedMenuGroups();
// Loads a customisation file: its group is named by the file's name without folder and
// extension, its first menu titled the same. False (with the reason) if it cannot be read.
bool loadMenuFile(const std::wstring& path, std::wstring& error);
bool unloadMenuGroup(const std::wstring& group);
// Forgets the state read from the config directory (tests).
void resetMenus();

} // namespace lmhost
