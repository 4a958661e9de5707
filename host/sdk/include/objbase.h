// COM basics the plug-in uses: interface identifiers, IUnknown, class lookup by program
// identifier and the creation of servers.
#pragma once

#include <cstdint>

#include "windows.h"

struct GUID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
};
typedef GUID IID;
typedef GUID CLSID;
typedef const GUID& REFGUID;
typedef const IID& REFIID;
typedef const CLSID& REFCLSID;
typedef IID* LPIID;
typedef CLSID* LPCLSID;

inline bool operator==(const GUID& a, const GUID& b) {
    if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3)
        return false;
    for (int i = 0; i < 8; ++i)
        if (a.Data4[i] != b.Data4[i])
            return false;
    return true;
}
inline bool operator!=(const GUID& a, const GUID& b) {
    return !(a == b);
}
#define IsEqualGUID(a, b) ((a) == (b))
#define IsEqualIID(a, b) ((a) == (b))
#define IsEqualCLSID(a, b) ((a) == (b))

typedef wchar_t OLECHAR;
typedef OLECHAR* LPOLESTR;
typedef const OLECHAR* LPCOLESTR;
typedef DWORD LCID;
typedef unsigned short USHORT;
typedef short SHORT;

// Interfaces are plain abstract classes: objects free themselves in Release.
struct IUnknown {
    virtual HRESULT QueryInterface(REFIID riid, void** object) = 0;
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;

protected:
    ~IUnknown() = default;
};
typedef IUnknown* LPUNKNOWN;

extern const IID IID_IUnknown;
extern const IID IID_IDispatch;
extern const GUID GUID_NULL;

// Result codes of the COM runtime.
#define E_UNEXPECTED ((HRESULT)0x8000FFFFL)
#define E_NOTIMPL ((HRESULT)0x80004001L)
#define CLASS_E_NOAGGREGATION ((HRESULT)0x80040110L)
#define REGDB_E_CLASSNOTREG ((HRESULT)0x80040154L)
#define CO_E_CLASSSTRING ((HRESULT)0x800401F3L)
#define CO_E_NOTINITIALIZED ((HRESULT)0x800401F0L)
#define MK_E_UNAVAILABLE ((HRESULT)0x800401E3L)
#define RPC_E_DISCONNECTED ((HRESULT)0x80010108L)
#define RPC_E_SERVERFAULT ((HRESULT)0x80010105L)
#define RPC_S_SERVER_UNAVAILABLE_HR ((HRESULT)0x800706BAL)

#define CLSCTX_INPROC_SERVER 0x1
#define CLSCTX_INPROC_HANDLER 0x2
#define CLSCTX_LOCAL_SERVER 0x4
#define CLSCTX_SERVER (CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER | 0x10)
#define CLSCTX_ALL (CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | 0x10)

// The class of a program identifier; CO_E_CLASSSTRING for an unknown one (clsid is zeroed).
HRESULT CLSIDFromProgID(LPCOLESTR progId, LPCLSID clsid);
// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", allocated with CoTaskMemAlloc.
HRESULT StringFromCLSID(REFCLSID clsid, LPOLESTR* text);
// Parses the braced form; CO_E_CLASSSTRING if it is not one.
HRESULT CLSIDFromString(LPCOLESTR text, LPCLSID clsid);
int StringFromGUID2(REFGUID guid, LPOLESTR buffer, int size);
void* CoTaskMemAlloc(size_t bytes);
void CoTaskMemFree(void* memory);
// A new server of the class; REGDB_E_CLASSNOTREG when no server is installed for it.
HRESULT CoCreateInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID riid,
                         void** object);
// COM is already up on the host's main thread; these only count.
HRESULT CoInitialize(LPVOID reserved);
void CoUninitialize();
