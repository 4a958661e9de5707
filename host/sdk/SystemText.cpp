// System message texts, local memory, the path splitter and _com_error's text rules.
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

#include "WideFormat.h"
#include "comdef.h"
#include "winbase.h"

namespace {

// The host's English system texts for the codes that the automation layer meets.
const wchar_t* systemText(DWORD code) {
    switch (code) {
    case 0:
        return L"The operation completed successfully.\r\n";
    case 0x80004005:
        return L"Unspecified error\r\n";
    case 0x80004001:
        return L"Not implemented\r\n";
    case 0x80004002:
        return L"No such interface supported\r\n";
    case 0x80004003:
        return L"Invalid pointer\r\n";
    case 0x8000FFFF:
        return L"Catastrophic failure\r\n";
    case 0x80070057:
        return L"The parameter is incorrect.\r\n";
    case 0x8007000E:
        return L"Not enough memory resources are available to complete this operation.\r\n";
    case 0x80070005:
        return L"Access is denied.\r\n";
    case 0x80070002:
        return L"The system cannot find the file specified.\r\n";
    case 0x80020001:
        return L"Unknown interface.\r\n";
    case 0x80020003:
        return L"Member not found.\r\n";
    case 0x80020004:
        return L"Parameter not found.\r\n";
    case 0x80020005:
        return L"Type mismatch.\r\n";
    case 0x80020006:
        return L"Unknown name.\r\n";
    case 0x80020007:
        return L"No named arguments.\r\n";
    case 0x80020008:
        return L"Bad variable type.\r\n";
    case 0x80020009:
        return L"Exception occurred.\r\n";
    case 0x8002000A:
        return L"Out of present range.\r\n";
    case 0x8002000B:
        return L"Invalid index.\r\n";
    case 0x8002000D:
        return L"Memory is locked.\r\n";
    case 0x8002000E:
        return L"Invalid number of parameters.\r\n";
    case 0x8002000F:
        return L"Parameter not optional.\r\n";
    case 0x80040110:
        return L"Class does not support aggregation (or class object is remote)\r\n";
    case 0x80040154:
        return L"Class not registered\r\n";
    case 0x800401E3:
        return L"Operation unavailable\r\n";
    case 0x800401F0:
        return L"CoInitialize has not been called.\r\n";
    case 0x800401F3:
        return L"Invalid class string\r\n";
    case 0x80010105:
        return L"The server threw an exception.\r\n";
    case 0x80010108:
        return L"The object invoked has disconnected from its clients.\r\n";
    case 0x800706BA:
        return L"The RPC server is unavailable.\r\n";
    default:
        return nullptr;
    }
}

} // namespace

DWORD FormatMessageW(DWORD flags, const void*, DWORD messageId, DWORD, LPWSTR buffer, DWORD size,
                     va_list*) {
    if (!(flags & FORMAT_MESSAGE_FROM_SYSTEM) || !buffer)
        return 0;
    const wchar_t* text = systemText(messageId);
    if (!text)
        return 0;
    DWORD length = static_cast<DWORD>(std::wcslen(text));
    if (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) {
        auto* memory = static_cast<wchar_t*>(LocalAlloc(0, (length + 1) * sizeof(wchar_t)));
        if (!memory)
            return 0;
        std::wmemcpy(memory, text, length + 1);
        *reinterpret_cast<LPWSTR*>(buffer) = memory;
        return length;
    }
    if (size <= length)
        return 0;
    std::wmemcpy(buffer, text, length + 1);
    return length;
}

HLOCAL LocalAlloc(UINT, size_t bytes) {
    return std::calloc(1, bytes ? bytes : 1);
}

HLOCAL LocalFree(HLOCAL memory) {
    std::free(memory);
    return nullptr;
}

DWORD GetUserDefaultLCID() {
    return 0x409; // en-US
}

void _wsplitpath(const wchar_t* path, wchar_t* drive, wchar_t* dir, wchar_t* fname, wchar_t* ext) {
    auto put = [](wchar_t* out, size_t cap, const wchar_t* from, size_t n) {
        if (!out)
            return;
        n = n < cap - 1 ? n : cap - 1;
        std::wmemcpy(out, from, n);
        out[n] = 0;
    };
    if (!path)
        path = L"";
    const wchar_t* p = path;
    size_t len = std::wcslen(path);
    if (len >= 2 && path[1] == L':') {
        put(drive, _MAX_DRIVE, path, 2);
        p += 2;
    } else {
        put(drive, _MAX_DRIVE, path, 0);
    }
    const wchar_t* lastSlash = nullptr;
    for (const wchar_t* q = p; *q; ++q)
        if (*q == L'\\' || *q == L'/')
            lastSlash = q;
    const wchar_t* name = lastSlash ? lastSlash + 1 : p;
    put(dir, _MAX_DIR, p, size_t(name - p));
    const wchar_t* dot = nullptr;
    for (const wchar_t* q = name; *q; ++q)
        if (*q == L'.')
            dot = q;
    const wchar_t* end = path + len;
    put(fname, _MAX_FNAME, name, size_t((dot ? dot : end) - name));
    put(ext, _MAX_EXT, dot ? dot : end, size_t(dot ? end - dot : 0));
}

// --- _com_error ---------------------------------------------------------------------------

_com_error::_com_error(const _com_error& other) : m_hresult(other.m_hresult) {}

_com_error& _com_error::operator=(const _com_error& other) {
    if (this != &other) {
        m_hresult = other.m_hresult;
        LocalFree(m_message);
        m_message = nullptr;
    }
    return *this;
}

_com_error::~_com_error() {
    LocalFree(m_message);
}

WORD _com_error::WCode() const {
    return HRESULTToWCode(m_hresult);
}

const wchar_t* _com_error::ErrorMessage() const {
    if (m_message)
        return m_message;
    wchar_t* text = nullptr;
    DWORD n = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                 FORMAT_MESSAGE_IGNORE_INSERTS,
                             nullptr, static_cast<DWORD>(m_hresult), LANG_USER_DEFAULT,
                             reinterpret_cast<LPWSTR>(&text), 0, nullptr);
    if (n && text) {
        // Drop the line end: "\n", and the "\r" before it.
        if (n > 1 && text[n - 1] == L'\n') {
            text[n - 1] = 0;
            if (text[n - 2] == L'\r')
                text[n - 2] = 0;
        }
        m_message = text;
        return m_message;
    }
    std::wstring fallback;
    WORD code = WCode();
    if (code != 0)
        fallback = lmhost::formatWide(L"IDispatch error #%d", int(code));
    else
        fallback = lmhost::formatWide(L"Unknown error 0x%0lX", (unsigned long)(uint32_t)m_hresult);
    m_message = static_cast<wchar_t*>(LocalAlloc(0, (fallback.size() + 1) * sizeof(wchar_t)));
    if (!m_message)
        return L"";
    std::wmemcpy(m_message, fallback.c_str(), fallback.size() + 1);
    return m_message;
}

void _com_issue_error(HRESULT hr) {
    throw _com_error(hr);
}
