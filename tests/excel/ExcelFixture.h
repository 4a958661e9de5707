// Shared setup of the Excel tests: a fresh host and spreadsheet program, a folder of its
// own, and real workbook files written by XlsxBuilder.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>
#include <fstream>
#include <string>

#include "sdk/control/ComRegistry.h"
#include "sdk/control/HostControl.h"
#include "sdk/control/StatusBar.h"
#include "spreadsheet/ExcelControl.h"
#include "testkit/Transcript.h"
#include "testkit/XlsxBuilder.h"

namespace exceltest {

class ExcelFixture : public testkit::HostTest {
protected:
    void SetUp() override {
        testkit::HostTest::SetUp();
        excelhost::resetExcel();
        lmhost::clearStatusBar();
        lmhost::clearForegroundHistory();
        auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        m_dir = std::filesystem::temp_directory_path() /
                ("lm_excel_" + std::to_string(::getpid()) + "_" + info->test_suite_name() + "_" +
                 info->name());
        std::filesystem::remove_all(m_dir);
        std::filesystem::create_directories(m_dir);
    }
    void TearDown() override {
        excelhost::resetExcel();
        std::error_code ec;
        std::filesystem::remove_all(m_dir, ec);
        testkit::HostTest::TearDown();
    }

    std::wstring path(const std::string& name) const { return (m_dir / name).wstring(); }
    std::wstring write(const std::string& name, const testkit::XlsxBuilder& book) const {
        book.write((m_dir / name).string());
        return path(name);
    }
    std::wstring writeRaw(const std::string& name, const std::string& bytes) const {
        std::ofstream((m_dir / name).string(), std::ios::binary) << bytes;
        return path(name);
    }

    // Sheet1 with numbers, text and a formula; a hidden sheet; names of both scopes;
    // Sheet1's saved selection B2:C4 with C3 active.
    static testkit::XlsxBuilder sizes() {
        testkit::XlsxBuilder b;
        int twoDecimals = b.format(L"0.00");
        b.sheet(L"Sheet1")
            .number("B2", 12.5)
            .text("C2", L"  abc  ")
            .number("B3", 3)
            .formula("C3", "B2*2", 25, twoDecimals)
            .text("D4", L"wide text in D")
            .selection("C3", "B2:C4");
        b.sheet(L"Secret", "hidden").number("A1", 7);
        b.sheet(L"Data").number("A1", 1).number("A2", 2);
        b.definedName(L"Width", L"Sheet1!$B$2");
        b.definedName(L"Block", L"Sheet1!$B$2:$C$3");
        b.definedName(L"Local", L"Data!$A$2", 2);
        return b;
    }

private:
    std::filesystem::path m_dir;
};

inline std::wstring boxText(size_t i) {
    auto boxes = lmhost::messageBoxes();
    return i < boxes.size() ? boxes[i].text : L"<none>";
}

} // namespace exceltest
