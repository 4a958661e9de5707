// The bridge's tests: every test ends detached, and nothing of Excel's may leak.
#pragma once

#include "excel/CStringTable.h"
#include "excel/ExcelFixture.h"
#include "excel/ExcelUtils.h"

namespace exceltest {

class BridgeTest : public ExcelFixture {
protected:
    void TearDown() override {
        ExcelUtils::ReleaseExcel();
        ExcelUtils::s_textArray.Clear();
        ExcelUtils::s_lastError.Empty();
        ExcelFixture::TearDown();
        EXPECT_EQ(excelhost::liveObjects(), 0) << "automation objects leaked";
    }
    static bool detached() {
        return !ExcelUtils::s_application.m_lpDispatch && !ExcelUtils::s_workbook.m_lpDispatch &&
               !ExcelUtils::s_worksheet.m_lpDispatch && ExcelUtils::s_version == 0;
    }
    // The current worksheet's name, read through the session's driver.
    static CString currentSheet() {
        CString name;
        ExcelUtils::s_worksheet.InvokeHelper(0x6E, DISPATCH_PROPERTYGET, VT_BSTR, &name, nullptr);
        return name;
    }
    static CString currentBook() {
        CString name;
        ExcelUtils::s_workbook.InvokeHelper(0x6E, DISPATCH_PROPERTYGET, VT_BSTR, &name, nullptr);
        return name;
    }
};

} // namespace exceltest
