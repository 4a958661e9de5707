// The COM runtime of the host: registered server classes, the running objects, the window
// table of servers' windows, and the status bar meter.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <map>
#include <vector>

#include "WideFormat.h"
#include "acprogress.h"
#include "oleacc.h"
#include "sdk/control/ComRegistry.h"
#include "sdk/control/StatusBar.h"
#include "winuser.h"

const IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const IID IID_IDispatch = {0x00020400, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const GUID GUID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};

namespace {

struct ComState {
    std::vector<lmhost::ComClass> classes;
    std::map<uintptr_t, lmhost::WindowRecord> windows;
    uintptr_t nextWindow = 0x10010;
    HWND foreground = nullptr;
    std::vector<HWND> foregroundHistory;
    std::vector<lmhost::StatusBarEvent> statusBar;
    bool meterShown = false;
    int meterMin = 0;
    int meterMax = 0;
};

ComState& state() {
    static ComState s;
    return s;
}

const lmhost::ComClass* findByProgId(LPCOLESTR progId) {
    if (!progId)
        return nullptr;
    for (const auto& c : state().classes)
        if (_wcsicmp(c.progId.c_str(), progId) == 0)
            return &c;
    return nullptr;
}

const lmhost::ComClass* findByClsid(REFCLSID clsid) {
    for (const auto& c : state().classes)
        if (c.clsid == clsid)
            return &c;
    return nullptr;
}

lmhost::WindowRecord* findWindow(HWND window) {
    auto it = state().windows.find(reinterpret_cast<uintptr_t>(window));
    return it == state().windows.end() ? nullptr : &it->second;
}

int copyText(const std::wstring& text, LPWSTR buffer, int maxCount) {
    if (!buffer || maxCount <= 0)
        return 0;
    int n = std::min<int>(static_cast<int>(text.size()), maxCount - 1);
    std::wmemcpy(buffer, text.c_str(), n);
    buffer[n] = 0;
    return n;
}

int hexValue(wchar_t c) {
    if (c >= L'0' && c <= L'9')
        return c - L'0';
    if (c >= L'a' && c <= L'f')
        return c - L'a' + 10;
    if (c >= L'A' && c <= L'F')
        return c - L'A' + 10;
    return -1;
}

} // namespace

namespace lmhost {

void registerComClass(ComClass comClass) {
    unregisterComClass(comClass.progId);
    state().classes.push_back(std::move(comClass));
}

void unregisterComClass(const std::wstring& progId) {
    auto& v = state().classes;
    v.erase(std::remove_if(
                v.begin(), v.end(),
                [&](const ComClass& c) { return _wcsicmp(c.progId.c_str(), progId.c_str()) == 0; }),
            v.end());
}

HWND createWindow(WindowRecord record) {
    uintptr_t id = state().nextWindow;
    state().nextWindow += 0x10;
    state().windows[id] = std::move(record);
    return reinterpret_cast<HWND>(id);
}

void destroyWindow(HWND window) {
    state().windows.erase(reinterpret_cast<uintptr_t>(window));
    if (state().foreground == window)
        state().foreground = nullptr;
}

const std::vector<HWND>& foregroundHistory() {
    return state().foregroundHistory;
}

void clearForegroundHistory() {
    state().foregroundHistory.clear();
    state().foreground = nullptr;
}

const std::vector<StatusBarEvent>& statusBarEvents() {
    return state().statusBar;
}

bool progressMeterShown() {
    return state().meterShown;
}

void clearStatusBar() {
    state().statusBar.clear();
    state().meterShown = false;
}

} // namespace lmhost

// --- class identifiers --------------------------------------------------------------------

HRESULT CLSIDFromProgID(LPCOLESTR progId, LPCLSID clsid) {
    if (!clsid)
        return E_INVALIDARG;
    const lmhost::ComClass* c = findByProgId(progId);
    if (!c) {
        *clsid = GUID_NULL;
        return CO_E_CLASSSTRING;
    }
    *clsid = c->clsid;
    return S_OK;
}

int StringFromGUID2(REFGUID g, LPOLESTR buffer, int size) {
    if (!buffer || size < 39)
        return 0;
    std::wstring text =
        lmhost::formatWide(L"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", g.Data1, g.Data2,
                           g.Data3, g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4],
                           g.Data4[5], g.Data4[6], g.Data4[7]);
    return copyText(text, buffer, size) + 1;
}

HRESULT StringFromCLSID(REFCLSID clsid, LPOLESTR* text) {
    if (!text)
        return E_INVALIDARG;
    auto* buffer = static_cast<LPOLESTR>(CoTaskMemAlloc(39 * sizeof(OLECHAR)));
    if (!buffer)
        return E_OUTOFMEMORY;
    StringFromGUID2(clsid, buffer, 39);
    *text = buffer;
    return S_OK;
}

HRESULT CLSIDFromString(LPCOLESTR text, LPCLSID clsid) {
    if (!text || !clsid)
        return E_INVALIDARG;
    // {8-4-4-4-12}
    static const int groups[] = {8, 4, 4, 4, 12};
    if (std::wcslen(text) != 38 || text[0] != L'{' || text[37] != L'}')
        return CO_E_CLASSSTRING;
    const wchar_t* p = text + 1;
    uint8_t bytes[16];
    int b = 0;
    for (int g = 0; g < 5; ++g) {
        for (int i = 0; i < groups[g]; i += 2) {
            int hi = hexValue(p[i]), lo = hexValue(p[i + 1]);
            if (hi < 0 || lo < 0)
                return CO_E_CLASSSTRING;
            bytes[b++] = uint8_t(hi * 16 + lo);
        }
        p += groups[g];
        if (g < 4 && *p++ != L'-')
            return CO_E_CLASSSTRING;
    }
    clsid->Data1 =
        uint32_t(bytes[0]) << 24 | uint32_t(bytes[1]) << 16 | uint32_t(bytes[2]) << 8 | bytes[3];
    clsid->Data2 = uint16_t(bytes[4] << 8 | bytes[5]);
    clsid->Data3 = uint16_t(bytes[6] << 8 | bytes[7]);
    std::memcpy(clsid->Data4, bytes + 8, 8);
    return S_OK;
}

void* CoTaskMemAlloc(size_t bytes) {
    return std::malloc(bytes ? bytes : 1);
}

void CoTaskMemFree(void* memory) {
    std::free(memory);
}

HRESULT CoInitialize(LPVOID) {
    return S_FALSE; // already initialised on the host's main thread
}

void CoUninitialize() {}

HRESULT CoCreateInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD, REFIID riid, void** object) {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    if (outer)
        return CLASS_E_NOAGGREGATION;
    const lmhost::ComClass* c = findByClsid(clsid);
    if (!c || !c->create)
        return REGDB_E_CLASSNOTREG;
    IUnknown* unknown = nullptr;
    HRESULT hr = c->create(&unknown);
    if (FAILED(hr))
        return hr;
    if (!unknown)
        return E_UNEXPECTED;
    hr = unknown->QueryInterface(riid, object);
    unknown->Release();
    return hr;
}

HRESULT GetActiveObject(REFCLSID clsid, void*, IUnknown** object) {
    if (!object)
        return E_INVALIDARG;
    *object = nullptr;
    const lmhost::ComClass* c = findByClsid(clsid);
    if (!c || !c->active)
        return MK_E_UNAVAILABLE;
    return c->active(object);
}

// --- windows ------------------------------------------------------------------------------

BOOL SetForegroundWindow(HWND window) {
    if (!findWindow(window))
        return FALSE;
    state().foreground = window;
    state().foregroundHistory.push_back(window);
    return TRUE;
}

HWND GetForegroundWindow() {
    return state().foreground;
}

BOOL IsWindow(HWND window) {
    return findWindow(window) != nullptr;
}

int GetClassNameW(HWND window, LPWSTR className, int maxCount) {
    lmhost::WindowRecord* w = findWindow(window);
    return w ? copyText(w->className, className, maxCount) : 0;
}

int GetWindowTextW(HWND window, LPWSTR text, int maxCount) {
    lmhost::WindowRecord* w = findWindow(window);
    if (!w) {
        if (text && maxCount > 0)
            text[0] = 0;
        return 0;
    }
    return copyText(w->text, text, maxCount);
}

HRESULT AccessibleObjectFromWindow(HWND window, DWORD objectId, REFIID riid, void** object) {
    if (!object)
        return E_INVALIDARG;
    *object = nullptr;
    lmhost::WindowRecord* w = findWindow(window);
    if (!w)
        return E_FAIL;
    if (static_cast<LONG>(objectId) != OBJID_NATIVEOM || !w->nativeObject)
        return E_FAIL;
    return w->nativeObject(riid, object);
}

// --- status bar ---------------------------------------------------------------------------

int acedSetStatusBarProgressMeter(const ACHAR* label, int minPos, int maxPos) {
    ComState& s = state();
    s.meterShown = true;
    s.meterMin = minPos;
    s.meterMax = maxPos;
    s.statusBar.push_back({lmhost::StatusBarEvent::Open, label ? label : L"", minPos, maxPos, 0});
    return 0;
}

int acedSetStatusBarProgressMeterPos(int pos) {
    ComState& s = state();
    if (!s.meterShown)
        return -1;
    int clamped = std::clamp(pos, s.meterMin, std::max(s.meterMin, s.meterMax));
    s.statusBar.push_back({lmhost::StatusBarEvent::Position, {}, 0, 0, clamped});
    return 0;
}

void acedRestoreStatusBar() {
    ComState& s = state();
    s.meterShown = false;
    s.statusBar.push_back({lmhost::StatusBarEvent::Restore, {}, 0, 0, 0});
}
