#include "support/Registry.h"

#include <cstring>
#include <vector>

CString CRegistry::s_vendorKey;
HKEY CRegistry::s_rootKey = nullptr;

namespace {
constexpr REGSAM kAccess = 0x2001F; // KEY_READ and KEY_WRITE together
const wchar_t* const kAppKeyName = L"Linkmesh";
} // namespace

void CRegistry::SetRegistryKey(CString vendorKey) {
    s_vendorKey = vendorKey;
    s_rootKey = HKEY_CURRENT_USER;
}

HKEY CRegistry::GetAppRegistryKey() {
    HKEY software = nullptr;
    HKEY vendor = nullptr;
    if (RegOpenKeyExW(s_rootKey, L"software", 0, kAccess, &software) == ERROR_SUCCESS) {
        DWORD disposition = 0;
        RegCreateKeyExW(software, s_vendorKey, 0, nullptr, REG_OPTION_NON_VOLATILE, kAccess,
                        nullptr, &vendor, &disposition);
    }
    if (software)
        RegCloseKey(software);
    return vendor;
}

HKEY CRegistry::GetSectionKey() {
    HKEY vendor = GetAppRegistryKey();
    if (!vendor)
        return nullptr;
    HKEY section = nullptr;
    DWORD disposition = 0;
    RegCreateKeyExW(vendor, kAppKeyName, 0, nullptr, REG_OPTION_NON_VOLATILE, kAccess, nullptr,
                    &section, &disposition);
    RegCloseKey(vendor);
    return section;
}

int CRegistry::GetProfileInt(const wchar_t* valueName, int defaultValue) {
    if (s_vendorKey.IsEmpty())
        return defaultValue;
    HKEY section = GetSectionKey();
    if (!section)
        return defaultValue;
    DWORD value = 0;
    DWORD type = 0;
    DWORD size = sizeof(DWORD);
    LONG status = RegQueryValueExW(section, valueName, nullptr, &type,
                                   reinterpret_cast<LPBYTE>(&value), &size);
    RegCloseKey(section);
    return status == ERROR_SUCCESS ? static_cast<int>(value) : defaultValue;
}

int CRegistry::WriteProfileInt(const wchar_t* valueName, int value) {
    if (s_vendorKey.IsEmpty())
        return 0;
    HKEY section = GetSectionKey();
    if (!section)
        return 0;
    DWORD data = static_cast<DWORD>(value);
    LONG status = RegSetValueExW(section, valueName, 0, REG_DWORD,
                                 reinterpret_cast<const BYTE*>(&data), sizeof data);
    RegCloseKey(section);
    return status == ERROR_SUCCESS ? 1 : 0;
}

CString CRegistry::GetProfileString(const wchar_t* valueName) {
    if (s_vendorKey.IsEmpty())
        return CString();
    HKEY section = GetSectionKey();
    if (!section)
        return CString();
    CString result;
    DWORD type = 0;
    DWORD size = 0;
    if (RegQueryValueExW(section, valueName, nullptr, &type, nullptr, &size) == ERROR_SUCCESS &&
        size > 0) {
        std::vector<BYTE> buffer(size + sizeof(wchar_t), 0);
        if (RegQueryValueExW(section, valueName, nullptr, &type, buffer.data(), &size) ==
            ERROR_SUCCESS) {
            std::vector<wchar_t> text(buffer.size() / sizeof(wchar_t) + 1, 0);
            std::memcpy(text.data(), buffer.data(), size);
            result = text.data();
        }
    }
    RegCloseKey(section);
    return result;
}
