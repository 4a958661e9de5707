// The files the host keeps for a user in the config directory, the settings store and the
// menu state, when they are damaged, replaced by something that is no file, or unwritable.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>
#include <sstream>
#include <string>

#include "sdk/control/Menus.h"
#include "sdk/control/Registry.h"
#include "testkit/Transcript.h"
#include "winreg.h"

namespace {

namespace fs = std::filesystem;

const std::string kHeader = "Windows Registry Editor Version 5.00\n\n";
const std::string kOurKey = "[HKEY_CURRENT_USER\\software\\Norvane\\Linkmesh]\n";
const std::string kOtherKey = "[HKEY_CURRENT_USER\\software\\Other\\Tool]\n";

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void writeFile(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

// Runs a read that must not wait on its file; a FIFO's reader is let go, and the test
// fails, when it does.
template <typename Read> auto withinSeconds(int seconds, const fs::path& fifo, Read read) {
    auto result = std::async(std::launch::async, read);
    if (result.wait_for(std::chrono::seconds(seconds)) == std::future_status::timeout) {
        ADD_FAILURE() << "the read waited on " << fifo;
        int fd = open(fifo.c_str(), O_WRONLY | O_NONBLOCK);
        if (fd >= 0)
            close(fd);
        if (result.wait_for(std::chrono::seconds(seconds)) == std::future_status::timeout) {
            std::cerr << "the read does not end; giving up\n";
            std::_Exit(1);
        }
    }
    return result.get();
}

class UserFiles : public testkit::HostTest {
protected:
    void SetUp() override {
        testkit::HostTest::SetUp();
        m_config = fs::temp_directory_path() /
                   ("lmuserfiles-" + std::to_string(getpid()) + "-" +
                    ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(m_config);
        fs::create_directories(m_config / "linkmesh");
        setenv("XDG_CONFIG_HOME", m_config.c_str(), 1);
        lmhost::resetSettingsStore();
        lmhost::resetMenus();
    }
    void TearDown() override {
        lmhost::resetSettingsStore();
        lmhost::resetMenus();
        fs::remove_all(m_config);
        testkit::HostTest::TearDown();
    }

    fs::path store() const { return m_config / "linkmesh" / "registry"; }
    fs::path menus() const { return m_config / "linkmesh" / "menus"; }

    // A 32-bit value of a key below HKEY_CURRENT_USER, or -1 without it.
    static long readValue(const wchar_t* key, const wchar_t* name) {
        HKEY handle = nullptr;
        if (RegOpenKeyExW(HKEY_CURRENT_USER, key, 0, KEY_READ, &handle) != ERROR_SUCCESS)
            return -1;
        DWORD value = 0, size = sizeof value;
        LONG status = RegQueryValueExW(handle, name, nullptr, nullptr,
                                       reinterpret_cast<LPBYTE>(&value), &size);
        RegCloseKey(handle);
        return status == ERROR_SUCCESS ? static_cast<long>(value) : -1;
    }
    static long ours(const wchar_t* name) {
        return readValue(L"software\\Norvane\\Linkmesh", name);
    }

    static LONG writeOurs(const wchar_t* name, DWORD value) {
        HKEY handle = nullptr;
        LONG status = RegCreateKeyExW(HKEY_CURRENT_USER, L"software\\Norvane\\Linkmesh", 0, nullptr,
                                      0, KEY_READ | KEY_WRITE, nullptr, &handle, nullptr);
        if (status != ERROR_SUCCESS)
            return status;
        status = RegSetValueExW(handle, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                                sizeof value);
        RegCloseKey(handle);
        return status;
    }

    // Reads the store again as the next session would.
    static void restart() {
        lmhost::resetSettingsStore();
        lmhost::resetMenus();
    }

    fs::path m_config;
};

// ---------------------------------------------------------------------------------------
// The settings store

class SettingsStore : public UserFiles {};

TEST_F(SettingsStore, OneBadLineKeepsEveryOtherValueAndTheFileIsKeptAsideBeforeAWrite) {
    std::string damaged = kHeader + kOtherKey + "\"Keep\"=dword:00000007\nnot a value line\n\n" +
                          kOurKey + "\"ExportDestination\"=dword:00000003\n";
    writeFile(store(), damaged);
    EXPECT_EQ(ours(L"ExportDestination"), 3);
    EXPECT_EQ(readValue(L"software\\Other\\Tool", L"Keep"), 7);
    EXPECT_EQ(testkit::commandLine(),
              L"\nThe settings file " + store().wstring() +
                  L" cannot be read in full: line 5 is not understood. What could be read is "
                  L"used; the file will be kept aside when it is next saved.");
    // Nothing is written while nothing is saved.
    EXPECT_EQ(readFile(store()), damaged);

    lmhost::clearTranscript();
    EXPECT_EQ(writeOurs(L"ExportLinkToCells", 1), ERROR_SUCCESS);
    EXPECT_EQ(testkit::commandLine(),
              L"\nThe damaged settings file was kept as " + store().wstring() + L".damaged.");
    EXPECT_EQ(readFile(store().string() + ".damaged"), damaged);
    restart();
    EXPECT_EQ(ours(L"ExportDestination"), 3);
    EXPECT_EQ(ours(L"ExportLinkToCells"), 1);
    EXPECT_EQ(readValue(L"software\\Other\\Tool", L"Keep"), 7);
    EXPECT_EQ(testkit::commandLine().find(L"cannot be read"), std::wstring::npos);
}

TEST_F(SettingsStore, AnEarlierDamagedCopyIsNotWrittenOver) {
    writeFile(store().string() + ".damaged", "first\n");
    writeFile(store(), "second\n");
    EXPECT_EQ(writeOurs(L"ActiveMenu", 0), ERROR_SUCCESS);
    EXPECT_EQ(readFile(store().string() + ".damaged"), "first\n");
    EXPECT_EQ(readFile(store().string() + ".damaged-2"), "second\n");
}

TEST_F(SettingsStore, AByteOrderMarkAndTheEditorsUtf16ExportAreRead) {
    writeFile(store(), "\xEF\xBB\xBF" + kHeader + kOurKey + "\"ActiveMenu\"=dword:00000002\n");
    EXPECT_EQ(ours(L"ActiveMenu"), 2);

    // UTF-16 with CRLF, a long binary value continued over lines as the editor writes it.
    std::string text = "Windows Registry Editor Version 5.00\r\n\r\n" + kOtherKey +
                       "\"Blob\"=hex:01,02,\\\r\n  03,04\r\n" + kOurKey +
                       "\"ActiveMenu\"=dword:00000005\r\n";
    std::string utf16 = "\xFF\xFE";
    for (char c : text) {
        utf16 += c;
        utf16 += '\0';
    }
    writeFile(store(), utf16);
    restart();
    EXPECT_EQ(ours(L"ActiveMenu"), 5);
    HKEY handle = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"software\\Other\\Tool", 0, KEY_READ, &handle),
              ERROR_SUCCESS);
    BYTE blob[8] = {};
    DWORD size = sizeof blob;
    EXPECT_EQ(RegQueryValueExW(handle, L"Blob", nullptr, nullptr, blob, &size), ERROR_SUCCESS);
    RegCloseKey(handle);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(blob[3], 4);
    EXPECT_EQ(testkit::commandLine(), L"");
    // Neither is damaged: a write keeps nothing aside.
    EXPECT_EQ(writeOurs(L"ActiveMenu", 1), ERROR_SUCCESS);
    EXPECT_FALSE(fs::exists(store().string() + ".damaged"));
}

TEST_F(SettingsStore, ATruncatedFileKeepsWhatCameBeforeTheCut) {
    writeFile(store(), kHeader + kOurKey + "\"ActiveMenu\"=dword:00000001\n\"ExportPRMName\"=dwo");
    EXPECT_EQ(ours(L"ActiveMenu"), 1);
    EXPECT_EQ(ours(L"ExportPRMName"), -1);
    EXPECT_NE(testkit::commandLine().find(L"line 5 is not understood"), std::wstring::npos)
        << testkit::commandLine();
}

TEST_F(SettingsStore, AFileOverOneMegabyteKeepsItsFirstMegabyte) {
    std::string text = kHeader + kOurKey + "\"ActiveMenu\"=dword:00000001\n" + kOtherKey;
    for (int i = 0; text.size() < (1u << 20) + 1000; ++i)
        text += "\"Value" + std::to_string(i) + "\"=dword:00000000\n";
    writeFile(store(), text);
    EXPECT_EQ(ours(L"ActiveMenu"), 1);
    EXPECT_EQ(readValue(L"software\\Other\\Tool", L"Value0"), 0);
    EXPECT_NE(testkit::commandLine().find(L"it is larger than 1 MB"), std::wstring::npos)
        << testkit::commandLine();
    EXPECT_EQ(writeOurs(L"ActiveMenu", 2), ERROR_SUCCESS);
    EXPECT_EQ(fs::file_size(store().string() + ".damaged"), text.size());
}

TEST_F(SettingsStore, AFifoInItsPlaceIsNotWaitedOn) {
    ASSERT_EQ(mkfifo(store().c_str(), 0600), 0);
    EXPECT_EQ(withinSeconds(20, store(), [] { return ours(L"ActiveMenu"); }), -1);
    EXPECT_NE(testkit::commandLine().find(L"it is not a regular file"), std::wstring::npos)
        << testkit::commandLine();
    EXPECT_EQ(writeOurs(L"ActiveMenu", 1), ERROR_SUCCESS);
    EXPECT_TRUE(fs::is_fifo(store().string() + ".damaged"));
    EXPECT_TRUE(fs::is_regular_file(store()));
}

TEST_F(SettingsStore, ALinkToADeviceIsNotReadWithoutEnd) {
    fs::create_symlink("/dev/zero", store());
    EXPECT_EQ(withinSeconds(20, store(), [] { return ours(L"ActiveMenu"); }), -1);
    EXPECT_NE(testkit::commandLine().find(L"it is not a regular file"), std::wstring::npos)
        << testkit::commandLine();
    EXPECT_EQ(writeOurs(L"ActiveMenu", 1), ERROR_SUCCESS);
    EXPECT_TRUE(fs::is_symlink(store().string() + ".damaged"));
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(store())));
}

TEST_F(SettingsStore, AFailedSaveIsReported) {
    // The config directory's place is taken by a file: nothing can be created below it.
    fs::remove_all(m_config);
    writeFile(m_config, "not a folder");
    EXPECT_NE(writeOurs(L"ActiveMenu", 1), ERROR_SUCCESS);
    EXPECT_NE(testkit::commandLine().find(L"\nThe settings could not be saved: cannot create the "
                                          L"folder " +
                                          (m_config / "linkmesh").wstring()),
              std::wstring::npos)
        << testkit::commandLine();
}

// ---------------------------------------------------------------------------------------
// The menu state

class MenuStateFile : public UserFiles {};

TEST_F(MenuStateFile, ABadLineKeepsTheRestAndTheFileIsKeptAsideBeforeASave) {
    std::string damaged = "bar=File|Lmesh|Help\n\x01garbage\ngroup=Lmesh|/opt/Lmesh.cuix\n";
    writeFile(menus(), damaged);
    EXPECT_EQ(lmhost::menuBar(), (std::vector<std::wstring>{L"File", L"Lmesh", L"Help"}));
    EXPECT_EQ(lmhost::loadedMenuGroups(), std::vector<std::wstring>{L"Lmesh"});
    EXPECT_EQ(testkit::commandLine(),
              L"\nThe menu state file " + menus().wstring() +
                  L" cannot be read in full: line 2 is not understood. What could be read is "
                  L"used; the file will be kept aside when it is next saved.");
    lmhost::clearTranscript();
    lmhost::setMenuBar({L"File", L"Help"});
    EXPECT_EQ(testkit::commandLine(),
              L"\nThe damaged menu state file was kept as " + menus().wstring() + L".damaged.");
    EXPECT_EQ(readFile(menus().string() + ".damaged"), damaged);
    EXPECT_EQ(readFile(menus()), "bar=File|Help\ngroup=Lmesh|/opt/Lmesh.cuix\n");
}

TEST_F(MenuStateFile, CRLFAndAByteOrderMarkAreNoDamage) {
    writeFile(menus(), "\xEF\xBB\xBF"
                       "bar=File|Help\r\n");
    EXPECT_EQ(lmhost::menuBar(), (std::vector<std::wstring>{L"File", L"Help"}));
    EXPECT_EQ(testkit::commandLine(), L"");
}

TEST_F(MenuStateFile, AFifoOrADeviceInItsPlaceIsNotRead) {
    ASSERT_EQ(mkfifo(menus().c_str(), 0600), 0);
    EXPECT_EQ(withinSeconds(20, menus(), [] { return lmhost::menuBar().size(); }), 12u);
    EXPECT_NE(testkit::commandLine().find(L"it is not a regular file"), std::wstring::npos);

    restart();
    fs::remove(menus());
    fs::create_symlink("/dev/zero", menus());
    EXPECT_EQ(withinSeconds(20, menus(), [] { return lmhost::menuBar().size(); }), 12u);
    lmhost::setMenuBar({L"File"});
    EXPECT_TRUE(fs::is_symlink(menus().string() + ".damaged"));
    EXPECT_EQ(readFile(menus()), "bar=File\n");
}

} // namespace
