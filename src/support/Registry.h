// The per-user settings: 32-bit values under software\<vendor>\Linkmesh of the current
// user's registry. Each call opens the key afresh and closes it again.
#pragma once

#include "afx.h"
#include "winreg.h"

class CRegistry {
public:
    virtual ~CRegistry() = default;

    // Sets the vendor key name and the root HKEY_CURRENT_USER; until then nothing is read
    // or written.
    static void SetRegistryKey(CString vendorKey);
    // The vendor key below "software", created when missing; null on failure.
    static HKEY GetAppRegistryKey();
    // The settings key, created when missing (also by a mere read); the caller closes it.
    static HKEY GetSectionKey();
    static int GetProfileInt(const wchar_t* valueName, int defaultValue);
    // 1 if written, else 0.
    static int WriteProfileInt(const wchar_t* valueName, int value);
    static CString GetProfileString(const wchar_t* valueName);

    static CString s_vendorKey;
    static HKEY s_rootKey;
};
