// What the platform tells a plug-in about modules, the system's version and the shell, and
// the path helpers.
#include "sdk/control/Platform.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cwchar>
#include <cwctype>
#include <string>

#include "WideFormat.h"
#include "dbapserv.h"
#include "libloaderapi.h"
#include "sdk/control/HostControl.h"
#include "shellapi.h"
#include "shlwapi.h"
#include "sysinfoapi.h"

namespace {

struct PlatformState {
    std::wstring executable = L"acad.exe";
    int major = 25;
    int minor = 0;
    std::vector<lmhost::ShellRequest> requests;
};

PlatformState& platform() {
    static PlatformState s;
    return s;
}

std::wstring runningProgramFolder() {
    char buffer[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (n <= 0)
        return L".";
    std::string path(buffer, static_cast<size_t>(n));
    size_t slash = path.rfind('/');
    return lmhost::widen(slash == std::string::npos ? "." : path.substr(0, slash));
}

bool isSeparator(wchar_t c) {
    return c == L'/' || c == L'\\';
}

wchar_t separatorOf(const wchar_t* path) {
    return std::wcschr(path, L'\\') && !std::wcschr(path, L'/') ? L'\\' : L'/';
}

} // namespace

namespace lmhost {

void setHostExecutableName(const std::wstring& fileName) {
    platform().executable = fileName;
}
std::wstring hostExecutableName() {
    return platform().executable;
}
void setHostRelease(int major, int minor) {
    platform().major = major;
    platform().minor = minor;
}
const std::vector<ShellRequest>& shellRequests() {
    return platform().requests;
}
void clearShellRequests() {
    platform().requests.clear();
}
void resetPlatform() {
    platform() = PlatformState();
}

} // namespace lmhost

// The host's program name follows its executable: "acadlt" for acadlt.exe, else "acad".
const ACHAR* AcDbHostApplicationServices::program() const {
    static std::wstring name;
    std::wstring exe = platform().executable;
    size_t dot = exe.rfind(L'.');
    name = dot == std::wstring::npos ? exe : exe.substr(0, dot);
    return name.c_str();
}

int AcDbHostApplicationServices::releaseMajorVersion() const {
    return platform().major;
}

int AcDbHostApplicationServices::releaseMinorVersion() const {
    return platform().minor;
}

BOOL GetModuleHandleExW(DWORD dwFlags, LPCWSTR lpModuleName, HMODULE* phModule) {
    if (!phModule)
        return FALSE;
    *phModule = nullptr;
    if (!(dwFlags & GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS) || !lpModuleName)
        return FALSE;
    Dl_info info;
    if (!dladdr(reinterpret_cast<const void*>(lpModuleName), &info) || !info.dli_fbase)
        return FALSE;
    *phModule = reinterpret_cast<HMODULE>(info.dli_fbase);
    return TRUE;
}

DWORD GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize) {
    if (!lpFilename || nSize == 0)
        return 0;
    std::wstring path;
    if (!hModule) {
        path = runningProgramFolder() + L"/" + platform().executable;
    } else {
        Dl_info info;
        if (!dladdr(reinterpret_cast<const void*>(hModule), &info) || !info.dli_fname)
            return 0;
        std::string name = info.dli_fname;
        char resolved[PATH_MAX];
        if (name.find('/') == std::string::npos) {
            // The main program is named without a folder; ask the system where it is.
            ssize_t n = readlink("/proc/self/exe", resolved, sizeof resolved - 1);
            name = n > 0 ? std::string(resolved, static_cast<size_t>(n)) : name;
        } else if (realpath(name.c_str(), resolved)) {
            name = resolved;
        }
        path = lmhost::widen(name);
    }
    if (path.size() >= nSize) {
        std::wmemcpy(lpFilename, path.c_str(), nSize - 1);
        lpFilename[nSize - 1] = 0;
        return nSize;
    }
    std::wmemcpy(lpFilename, path.c_str(), path.size() + 1);
    return static_cast<DWORD>(path.size());
}

// This host answers as Windows answers a program without a compatibility manifest
// (6.2, build 9200), a workstation, with the running system's name as service pack text.
BOOL GetVersionExW(LPOSVERSIONINFOW info) {
    if (!info)
        return FALSE;
    DWORD size = info->dwOSVersionInfoSize;
    if (size != sizeof(OSVERSIONINFOW) && size != sizeof(OSVERSIONINFOEXW))
        return FALSE;
    info->dwMajorVersion = 6;
    info->dwMinorVersion = 2;
    info->dwBuildNumber = 9200;
    info->dwPlatformId = VER_PLATFORM_WIN32_NT;
    swprintf(info->szCSDVersion, 128, L"%ls", L"Linux");
    if (size == sizeof(OSVERSIONINFOEXW)) {
        auto* ex = reinterpret_cast<LPOSVERSIONINFOEXW>(info);
        ex->wServicePackMajor = 0;
        ex->wServicePackMinor = 0;
        ex->wSuiteMask = 0x100; // single user
        ex->wProductType = VER_NT_WORKSTATION;
        ex->wReserved = 0;
    }
    return TRUE;
}

HINSTANCE ShellExecuteW(HWND, LPCWSTR lpOperation, LPCWSTR lpFile, LPCWSTR lpParameters, LPCWSTR,
                        INT nShowCmd) {
    lmhost::ShellRequest request{lpOperation ? lpOperation : L"open", lpFile ? lpFile : L"",
                                 lpParameters ? lpParameters : L"", nShowCmd};
    platform().requests.push_back(request);
    lmhost::HostEvent event;
    event.kind = lmhost::HostEvent::Other;
    event.text = request.operation + L" " + request.file;
    lmhost::recordEvent(event);
    lmhost::print(
        lmhost::formatWide(L"\n[shell] %s %s", request.operation.c_str(), request.file.c_str()));
    return reinterpret_cast<HINSTANCE>(static_cast<intptr_t>(42));
}

BOOL PathFileExistsW(LPCWSTR pszPath) {
    // Without the long-path prefix the platform finds nothing at MAX_PATH or more characters.
    if (!pszPath || !*pszPath)
        return FALSE;
    std::size_t length = std::wcslen(pszPath);
    if (length >= MAX_PATH)
        return FALSE;
    // Asked once per link of an update: the name is made on the stack, and the one stat
    // stays so that a file removed or added meanwhile is seen.
    char name[4 * MAX_PATH + 1];
    lmhost::narrowInto(std::wstring_view(pszPath, length), name);
    struct stat st;
    return stat(name, &st) == 0 ? TRUE : FALSE;
}

BOOL PathIsRelativeW(LPCWSTR pszPath) {
    if (!pszPath || !*pszPath)
        return TRUE;
    if (isSeparator(pszPath[0]))
        return FALSE;
    if (std::iswalpha(pszPath[0]) && pszPath[1] == L':')
        return FALSE;
    return TRUE;
}

BOOL PathRemoveFileSpecW(LPWSTR pszPath) {
    if (!pszPath || !*pszPath)
        return FALSE;
    size_t len = std::wcslen(pszPath);
    size_t last = len;
    for (size_t i = 0; i < len; ++i)
        if (isSeparator(pszPath[i]))
            last = i;
    if (last == len) {
        // A bare name, or a drive alone: the drive stays.
        if (len >= 2 && pszPath[1] == L':') {
            bool cut = len > 2;
            pszPath[2] = 0;
            return cut ? TRUE : FALSE;
        }
        pszPath[0] = 0;
        return TRUE;
    }
    // The root separator stays ("/x" gives "/", "C:\x" gives "C:\").
    bool root = last == 0 || (last == 2 && pszPath[1] == L':');
    size_t cutAt = root ? last + 1 : last;
    bool changed = cutAt < len;
    pszPath[cutAt] = 0;
    return changed ? TRUE : FALSE;
}

LPWSTR PathAddBackslashW(LPWSTR pszPath) {
    if (!pszPath)
        return nullptr;
    size_t len = std::wcslen(pszPath);
    if (len >= MAX_PATH)
        return nullptr;
    // An empty path stays empty, as on the host: a bare name must not become a root path.
    if (len == 0 || isSeparator(pszPath[len - 1]))
        return pszPath + len;
    if (len + 2 > MAX_PATH)
        return nullptr;
    pszPath[len] = separatorOf(pszPath);
    pszPath[len + 1] = 0;
    return pszPath + len + 1;
}

BOOL PathAppendW(LPWSTR pszPath, LPCWSTR pszMore) {
    if (!pszPath || !pszMore)
        return FALSE;
    while (isSeparator(*pszMore))
        ++pszMore;
    std::wstring joined = pszPath;
    if (!joined.empty() && !isSeparator(joined.back()) && *pszMore)
        joined += separatorOf(pszPath);
    joined += pszMore;
    if (joined.size() + 1 > MAX_PATH)
        return FALSE;
    std::wmemcpy(pszPath, joined.c_str(), joined.size() + 1);
    return TRUE;
}
