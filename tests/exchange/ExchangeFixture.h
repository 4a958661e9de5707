// Shared setup of the export and import tests: a drawing with parameters, a settings store
// of its own, a dialog driver that answers from a queue, and the spreadsheet program.
#pragma once

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "excel/ExcelFixture.h"
#include "excel/ExcelUtils.h"
#include "links/LinkDrawing.h"
#include "sdk/control/Dialogs.h"
#include "drawing/control/Input.h"
#include "sdk/control/Registry.h"
#include "support/Registry.h"

namespace exchangetest {

using linktest::addParameter;
using linktest::database;

class ExchangeTest : public exceltest::ExcelFixture {
protected:
    void SetUp() override {
        exceltest::ExcelFixture::SetUp();
        m_config =
            std::filesystem::temp_directory_path() / ("lmexchange-" + std::to_string(getpid()));
        std::filesystem::remove_all(m_config);
        setenv("XDG_CONFIG_HOME", m_config.c_str(), 1);
        lmhost::resetSettingsStore();
        CRegistry::SetRegistryKey(L"Norvane");
        lmhost::setDialogDriver(&driver);
    }
    void TearDown() override {
        lmhost::setDialogDriver(nullptr);
        ExcelUtils::ReleaseExcel();
        ExcelUtils::s_textArray.Clear();
        CRegistry::s_vendorKey.Empty();
        lmhost::resetSettingsStore();
        std::filesystem::remove_all(m_config);
        exceltest::ExcelFixture::TearDown();
    }

    // Dialog actions, as a script writes them ("check 106 off", "ok").
    void act(std::initializer_list<const wchar_t*> actions) {
        for (const wchar_t* line : actions) {
            auto action = lmhost::parseDialogAction(line);
            ASSERT_TRUE(action) << "bad action in the test";
            driver.push(*action);
        }
    }
    // The controls of the view the dialog showed at its n-th question.
    std::vector<std::wstring> view(size_t n = 0) const {
        return n < driver.seen.size() ? driver.seen[n].controls : std::vector<std::wstring>{};
    }
    static bool shows(const std::vector<std::wstring>& lines, const std::wstring& line) {
        for (const std::wstring& l : lines)
            if (l == line)
                return true;
        return false;
    }
    static int stored(const wchar_t* name) { return CRegistry::GetProfileInt(name, -99); }

    lmhost::QueuedDialogDriver driver;

private:
    std::filesystem::path m_config;
};

} // namespace exchangetest
