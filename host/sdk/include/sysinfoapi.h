// The platform's version.
#pragma once

#include "windows.h"

struct OSVERSIONINFOW {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    WCHAR szCSDVersion[128];
};
typedef OSVERSIONINFOW* LPOSVERSIONINFOW;

struct OSVERSIONINFOEXW {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    WCHAR szCSDVersion[128];
    WORD wServicePackMajor;
    WORD wServicePackMinor;
    WORD wSuiteMask;
    BYTE wProductType;
    BYTE wReserved;
};
typedef OSVERSIONINFOEXW* LPOSVERSIONINFOEXW;

#define VER_PLATFORM_WIN32s 0
#define VER_PLATFORM_WIN32_WINDOWS 1
#define VER_PLATFORM_WIN32_NT 2
#define VER_NT_WORKSTATION 0x0000001
#define VER_NT_DOMAIN_CONTROLLER 0x0000002
#define VER_NT_SERVER 0x0000003
#define VER_SUITE_ENTERPRISE 0x00000002
#define VER_SUITE_DATACENTER 0x00000080
#define VER_SUITE_PERSONAL 0x00000200

// Fills the structure by its dwOSVersionInfoSize (the plain or the extended one); FALSE for
// another size. What this host answers: see docs/host-platform.md.
BOOL GetVersionExW(LPOSVERSIONINFOW lpVersionInformation);
