// The host's side of COM: servers register their classes (program identifier, class
// identifier, how to start one, how to find the running one), and windows of servers
// register themselves so window calls can answer for them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "oleauto.h"

namespace lmhost {

struct ComClass {
    std::wstring progId;
    CLSID clsid{};
    // Starts a new instance; gives its IDispatch (a reference) or a failure code.
    std::function<HRESULT(IUnknown** object)> create;
    // The running instance the user started, or MK_E_UNAVAILABLE.
    std::function<HRESULT(IUnknown** object)> active;
};

void registerComClass(ComClass comClass);
void unregisterComClass(const std::wstring& progId);

struct WindowRecord {
    std::wstring className;
    std::wstring text;
    // What AccessibleObjectFromWindow gives for OBJID_NATIVEOM; null for none.
    std::function<HRESULT(REFIID riid, void** object)> nativeObject;
};

// A new window handle for the record, never 0.
HWND createWindow(WindowRecord record);
void destroyWindow(HWND window);
// Every foreground switch, in order.
const std::vector<HWND>& foregroundHistory();
void clearForegroundHistory();

} // namespace lmhost
