#include "frame/MenuCommands.h"

#include "acedCmdNF.h"
#include "acedmenu.h"
#include "acutads.h"
#include "afxdisp.h"
#include "dbapserv.h"
#include "frame/ResourceOverride.h"
#include "libloaderapi.h"
#include "rxmfcapi.h"
#include "shellapi.h"
#include "shlwapi.h"
#include "support/Registry.h"
#include "sysinfoapi.h"
#include "winreg.h"

extern HINSTANCE _hdllInstance;

HostIdentification g_hostId;

namespace {

const wchar_t* const kProductName = L"Linkmesh";
const wchar_t* const kProductVersion = L"2.79";
const wchar_t* const kWebsite = L"https://www.norvane.com/linkmesh";
const wchar_t* const kSupportAddress = L"support@norvane.com";

// The folder of this library, with its trailing separator.
CString moduleFolder() {
    wchar_t path[MAX_PATH] = {0};
    GetModuleFileNameW(_hdllInstance, path, MAX_PATH);
    PathRemoveFileSpecW(path);
    PathAddBackslashW(path);
    return path;
}

CString fileNameOnly(const wchar_t* path) {
    CString text = path;
    int cut = text.ReverseFind(L'/');
    int cut2 = text.ReverseFind(L'\\');
    if (cut2 > cut)
        cut = cut2;
    return cut < 0 ? text : text.Mid(cut + 1);
}

} // namespace

void setHostIdentification() {
    AcDbHostApplicationServices* services = acdbHostApplicationServices();
    int major = services->releaseMajorVersion();
    int minor = services->releaseMinorVersion();
    g_hostId.releaseYear = 2025;
    if (major == 25 && minor == 1)
        g_hostId.releaseYear = 2026;
    else if (major == 25 && minor == 2)
        g_hostId.releaseYear = 2027;

    wchar_t exe[MAX_PATH] = {0};
    GetModuleFileNameW(nullptr, exe, MAX_PATH);
    CString exeName = fileNameOnly(exe);
    if (exeName.CompareNoCase(L"acad.exe") == 0)
        g_hostId.platformDisplayName = L"AutoCAD";
    else if (exeName.CompareNoCase(L"acadlt.exe") == 0)
        g_hostId.platformDisplayName = L"AutoCAD LT";

    const ACHAR* program = services->program();
    g_hostId.platformShortName = program && _wcsicmp(program, L"acadlt") == 0 ? L"ACADLT" : L"ACAD";
}

void placeMenu() {
    int n = 1;
    CString probe;
    for (;; ++n) {
        probe.Format(L"P%d.1=?", n);
        if (acedMenuCmd(probe) != -5005)
            break;
    }
    int position = n < 3 ? n : n - 2;
    CString insert;
    insert.Format(L"P%d=+%s.pop1", position, kProductName);
    acedMenuCmd(insert);
}

void startupMenuPlacement() {
    if (!acedIsMenuGroupLoaded(L"Lmesh")) {
        ads_queueexpr(L"(command \"Lmesh_LoadMenu\")");
        return;
    }
    if (CRegistry::GetProfileInt(L"ActiveMenu", 1) == 0)
        return;
    placeMenu();
    HKEY section = CRegistry::s_vendorKey.IsEmpty() ? nullptr : CRegistry::GetSectionKey();
    if (section) {
        RegCloseKey(section);
        CRegistry::WriteProfileInt(L"ActiveMenu", 0);
    }
}

void loadMenuCommand() {
    CString menuFile;
    menuFile.Format(L"%s%s%s", moduleFolder().GetString(), kProductName, L".cuix");
    if (PathFileExistsW(menuFile)) {
        acedCommandS(RTSTR, L"_.menuload", RTSTR, menuFile.GetString(), RTNONE);
        placeMenu();
    }
    if (!acedIsMenuGroupLoaded(kProductName))
        acutPrintf(L"\nFailed to load the menu and toolbar of %s. Please load %s.cuix from the "
                   L"installation folder of %s manually.",
                   kProductName, kProductName, kProductName);
}

void helpCommand() {
    wchar_t path[MAX_PATH] = {0};
    GetModuleFileNameW(_hdllInstance, path, MAX_PATH);
    PathRemoveFileSpecW(path);
    PathAddBackslashW(path);
    CString helpFile;
    helpFile.Format(L"%s.chm", kProductName);
    PathAppendW(path, helpFile);
    ShellExecuteW(nullptr, L"open", path, nullptr, nullptr, 1);
}

void websiteCommand() {
    ShellExecuteW(nullptr, L"open", kWebsite, nullptr, nullptr, 1);
}

CString systemText() {
    CString text;
    OSVERSIONINFOEXW info = {};
    info.dwOSVersionInfoSize = sizeof(OSVERSIONINFOEXW);
    bool extended = GetVersionExW(reinterpret_cast<LPOSVERSIONINFOW>(&info)) != FALSE;
    if (!extended) {
        info.dwOSVersionInfoSize = sizeof(OSVERSIONINFOW);
        if (!GetVersionExW(reinterpret_cast<LPOSVERSIONINFOW>(&info)))
            return text;
    }
    DWORD major = info.dwMajorVersion;
    DWORD minor = info.dwMinorVersion;
    switch (info.dwPlatformId) {
    case 0:
        text += L"Microsoft Win32s ";
        break;
    case 1:
        if (major == 4 && minor == 0) {
            text += L"Microsoft Windows 95 ";
            if (info.szCSDVersion[1] == L'C' || info.szCSDVersion[1] == L'B')
                text += L"OSR2 ";
        } else if (major == 4 && minor == 10) {
            text += L"Microsoft Windows 98 ";
            if (info.szCSDVersion[1] == L'A')
                text += L"SE ";
        } else if (major == 4 && minor == 90) {
            text += L"Microsoft Windows Me ";
        }
        break;
    case 2: {
        if (major < 5)
            text += L"Microsoft Windows NT ";
        else if (major == 5 && minor == 0)
            text += L"Microsoft Windows 2000 ";
        else if (major == 5 && minor == 1)
            text += L"Microsoft Windows XP ";
        if (extended) {
            if (info.wProductType == VER_NT_WORKSTATION) {
                text += (info.wSuiteMask & VER_SUITE_PERSONAL) ? L"Personal " : L"Professional ";
            } else if (info.wProductType == VER_NT_SERVER) {
                if (info.wSuiteMask & VER_SUITE_DATACENTER)
                    text += L"DataCenter Server ";
                else if (info.wSuiteMask & VER_SUITE_ENTERPRISE)
                    text += L"Advanced Server ";
                else
                    text += L"Server ";
            }
        } else {
            HKEY key = nullptr;
            wchar_t productType[80] = {0};
            DWORD size = sizeof productType;
            if (RegOpenKeyExW(HKEY_LOCAL_MACHINE,
                              L"SYSTEM\\CurrentControlSet\\Control\\ProductOptions", 0,
                              KEY_QUERY_VALUE, &key) == ERROR_SUCCESS) {
                RegQueryValueExW(key, L"ProductType", nullptr, nullptr,
                                 reinterpret_cast<LPBYTE>(productType), &size);
                RegCloseKey(key);
            }
            if (_wcsicmp(L"WINNT", productType) == 0)
                text += L"Professional ";
            else if (_wcsicmp(L"LANMANNT", productType) == 0)
                text += L"Server ";
            else if (_wcsicmp(L"SERVERNT", productType) == 0)
                text += L"Advanced Server ";
        }
        CString line;
        if (major > 4)
            line.Format(L"%s (Build %d)\n", info.szCSDVersion,
                        static_cast<int>(info.dwBuildNumber & 0xFFFF));
        else
            line.Format(L"version %d.%d %s (Build %d)\n", static_cast<int>(major),
                        static_cast<int>(minor), info.szCSDVersion,
                        static_cast<int>(info.dwBuildNumber & 0xFFFF));
        text += line;
        break;
    }
    default:
        break;
    }
    return text;
}

void supportCommand() {
    CString host;
    host.Format(L"%s %d.%d", g_hostId.platformShortName.GetString(),
                acdbHostApplicationServices()->releaseMajorVersion(),
                acdbHostApplicationServices()->releaseMinorVersion());
    CString system = systemText();
    CString link;
    link.Format(L"mailto:%s?body= Please provide the following info to help us troubleshooting. "
                L"Thanks. %%0a%%0d Operation System: %s %%0a%%0d CAD Platform Version: %s "
                L"%%0a%%0d Product: %s %%0a%%0d Product Version: %s %%0a%%0d Problem "
                L"Description: (Step by Step) %%0a%%0d Screenshot(s): (Optional) %%0a%%0d "
                L"Please attach sample files (.dwg and/or .xls) to help us troubleshooting if "
                L"applicable. %%0a%%0d We will working on your problem and give you answers ASAP.",
                kSupportAddress, system.GetString(), host.GetString(), kProductName,
                kProductVersion);
    ShellExecuteW(nullptr, L"open", link, nullptr, nullptr, 1);
}

// The About box: one button, the product, its version, this year, and the notice.
void aboutCommand() {
    CLmeshResourceOverride resources;
    CString title;
    title.Format(L"%s%s for %s %d", L"About ", kProductName,
                 g_hostId.platformDisplayName.GetString(), g_hostId.releaseYear);
    CString text;
    text.Format(L"%s\nVersion %s\n\nCopyright (C) %d Norvane. All rights reserved.\n\n"
                L"This program is protected by copyright law. Unauthorized reproduction or "
                L"distribution of this program, or any portion of it, is not permitted.",
                kProductName, kProductVersion, COleDateTime::GetCurrentTime().GetYear());
    CWnd* frame = acedGetAcadFrame();
    MessageBoxW(frame ? frame->GetSafeHwnd() : nullptr, text, title, MB_OK);
}
