// Shared helpers of the workbook tests: open fixtures written by XlsxBuilder.
#pragma once

#include "spreadsheet/Workbook.h"
#include "testkit/XlsxBuilder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>
#include <memory>
#include <string>

namespace sheettest {

inline std::unique_ptr<spreadsheet::Workbook> openBytes(const testkit::XlsxBuilder& b,
                                                        spreadsheet::Status* status = nullptr,
                                                        const spreadsheet::Limits& limits = {}) {
    spreadsheet::Status st;
    auto book = spreadsheet::Workbook::openBytes(b.bytes(), L"/tmp/fixture.xlsx", true, st, limits);
    if (status)
        *status = st;
    return book;
}

// A directory of its own per test, removed afterwards.
class TempDir {
public:
    TempDir() {
        auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        m_path = std::filesystem::temp_directory_path() /
                 ("lm_sheet_" + std::to_string(::getpid()) + "_" + info->test_suite_name() + "_" +
                  info->name());
        std::filesystem::remove_all(m_path);
        std::filesystem::create_directories(m_path);
    }
    ~TempDir() {
        std::error_code ec;
        std::filesystem::remove_all(m_path, ec);
    }
    std::string file(const std::string& name) const { return (m_path / name).string(); }
    std::wstring wfile(const std::string& name) const { return (m_path / name).wstring(); }

private:
    std::filesystem::path m_path;
};

} // namespace sheettest
