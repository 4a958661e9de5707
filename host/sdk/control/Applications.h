// The host's side of plug-in applications: loading a library, its messages, unloading.
#pragma once

#include <string>
#include <vector>

#include "rxdefs.h"

namespace lmhost {

struct LoadedApplication {
    std::wstring path; // as loaded
    std::wstring name; // file name without folder and extension
    bool unlocked = false;
    bool mdiAware = false;
};

// Loads a plug-in library (dlopen), checks its API version and sends kInitAppMsg. On
// failure error says why and nothing stays loaded. Loading a loaded one is refused.
bool loadApplication(const std::wstring& path, std::wstring& error);
// Sends kUnloadAppMsg and unloads the library; by name or path. A locked application is
// refused, as the host refuses it.
bool unloadApplication(const std::wstring& nameOrPath, std::wstring& error);
// At the host's end: unloads every application, newest first, whether locked or not.
void unloadAllApplications();
std::vector<LoadedApplication> loadedApplications();
// Sends a message to every loaded application, in load order.
void sendApplicationMessage(AcRx::AppMsgCode message, void* packet = nullptr);

} // namespace lmhost
