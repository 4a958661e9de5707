// Any bytes as the settings store file: every read answers, what can be read is kept, and a
// write afterwards keeps the damaged file aside; never a crash, a hang or runaway memory.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "sdk/control/HostControl.h"
#include "sdk/control/Registry.h"
#include "winreg.h"

namespace {

std::filesystem::path configFolder() {
    static std::filesystem::path folder = [] {
        std::filesystem::path f = std::filesystem::temp_directory_path() /
                                  ("lmfuzz-settings-" + std::to_string(getpid()));
        std::filesystem::create_directories(f / "linkmesh");
        setenv("XDG_CONFIG_HOME", f.c_str(), 1);
        return f;
    }();
    return folder;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::filesystem::path folder = configFolder() / "linkmesh";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "registry", std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    lmhost::resetSettingsStore();
    HKEY key = nullptr;
    if (RegCreateKeyExW(HKEY_CURRENT_USER, L"software\\Norvane\\Linkmesh", 0, nullptr, 0,
                        KEY_READ | KEY_WRITE, nullptr, &key, nullptr) == ERROR_SUCCESS) {
        DWORD value = 0, bytes = sizeof value;
        RegQueryValueExW(key, L"ActiveMenu", nullptr, nullptr, reinterpret_cast<LPBYTE>(&value),
                         &bytes);
        value = 1;
        RegSetValueExW(key, L"ActiveMenu", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                       sizeof value);
        RegCloseKey(key);
    }
    lmhost::resetSettingsStore();
    lmhost::clearTranscript();
    return 0;
}
