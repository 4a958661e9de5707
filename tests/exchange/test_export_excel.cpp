// Export to Excel: the user's Excel or a new one, the block at the active cell in one
// transfer, the application's settings put back.
#include <gmock/gmock.h>

#include "excel/CStringTable.h"
#include "exchange/ExchangeFixture.h"
#include "exchange/ExportParameters.h"
#include "testkit/Transcript.h"

using namespace exchangetest;

namespace {

using Rows = std::vector<std::vector<std::wstring>>;
const std::wstring kDone = L"\nSuccessfully export the constraint parameters.";

class ExportExcelTest : public ExchangeTest {
protected:
    void SetUp() override {
        ExchangeTest::SetUp();
        addParameter(L"Width", L"1250");
        addParameter(L"area", L"Width*2");
        addParameter(L"Depth", L"0.5");
        lmhost::clearTranscript();
    }
    // The displayed texts of a block of the active sheet of a workbook.
    static Rows block(int excel, const std::wstring& book, int row, int col, int rows, int cols) {
        spreadsheet::Workbook* wb = excelhost::workbook(excel, book);
        if (!wb)
            return {{L"<no workbook>"}};
        spreadsheet::Worksheet& ws = wb->sheet(static_cast<size_t>(wb->activeSheet()));
        Rows out;
        for (int r = row; r < row + rows; ++r) {
            out.emplace_back();
            for (int c = col; c < col + cols; ++c)
                out.back().push_back(ws.text(r, c));
        }
        return out;
    }
    static CStringArrayEx names(std::initializer_list<const wchar_t*> list) {
        CStringArrayEx selected;
        for (const wchar_t* n : list)
            selected.Add(n);
        return selected;
    }
    static void expectSettingsBack(int excel) {
        excelhost::ExcelState state = excelhost::excelState(excel);
        EXPECT_TRUE(state.displayAlerts);
        EXPECT_TRUE(state.editDirectlyInCell);
        EXPECT_TRUE(state.interactive);
    }
};

TEST_F(ExportExcelTest, WithoutARunningExcelANewOneGetsAWorkbookAndTheBlockAtA1) {
    act({L"choose 114", L"check 139 on", L"ok"});
    exportParameters();
    EXPECT_EQ(testkit::transcript(), kDone);
    int excel = excelhost::lastStartedExcel();
    ASSERT_NE(excel, 0);
    excelhost::ExcelState state = excelhost::excelState(excel);
    EXPECT_TRUE(state.running) << "left open for the user";
    EXPECT_TRUE(state.visible);
    ASSERT_EQ(state.workbooks.size(), 1u);
    std::wstring book = state.activeWorkbook;
    EXPECT_EQ(block(excel, book, 1, 1, 5, 4), (Rows{{L"Name", L"Expression", L"Value", L""},
                                                    {L"area", L"Width*2", L"2500", L""},
                                                    {L"Depth", L"0.5", L"0.5", L""},
                                                    {L"Width", L"1250", L"1250", L""},
                                                    {L"", L"", L"", L""}}));
    EXPECT_TRUE(excelhost::workbook(excel, book)->dirty()) << "nothing is saved";
    EXPECT_FALSE(excelhost::workbook(excel, book)->hasFile());
    expectSettingsBack(excel);
    EXPECT_EQ(excelhost::liveObjects(), 0);
}

TEST_F(ExportExcelTest, TheUsersExcelTakesTheBlockAtItsActiveCellInOneTransfer) {
    int excel = excelhost::startExcel(true, true);
    ASSERT_TRUE(excelhost::selectRange(excel, L"C3"));
    EXPECT_EQ(exportToExcel(names({L"Width", L"Gone", L"Depth"}), 1, 0, 1, 1, 0), Acad::eOk);
    EXPECT_EQ(block(excel, L"Book1", 2, 2, 5, 5), (Rows{{L"", L"", L"", L"", L""},
                                                        {L"", L"Width", L"1250", L"", L""},
                                                        {L"", L"", L"", L"", L""},
                                                        {L"", L"Depth", L"0.5", L"", L""},
                                                        {L"", L"", L"", L"", L""}}));
    EXPECT_EQ(excelhost::callCount(L"Range.Value"), 1);
    EXPECT_EQ(excelhost::callCount(L"Application.DisplayAlerts"), 3);
    EXPECT_EQ(excelhost::callCount(L"Application.EditDirectlyInCell"), 3);
    EXPECT_EQ(excelhost::callCount(L"Application.Interactive"), 2);
    EXPECT_EQ(excelhost::callCount(L"Worksheet.Cells"), 1);
    EXPECT_EQ(excelhost::callCount(L"Range.AutoFit"), 1);
    EXPECT_EQ(excelhost::callCount(L"Workbooks.Add"), 0);
    EXPECT_EQ(excelhost::excelState(excel).workbooks.size(), 1u);
    expectSettingsBack(excel);
    EXPECT_EQ(testkit::transcript(), L"");
}

TEST_F(ExportExcelTest, WhatLiesAtTheTargetIsOverwrittenWithoutAQuestion) {
    int excel = excelhost::startExcel(true, true);
    spreadsheet::Worksheet& ws = excelhost::workbook(excel, L"Book1")->sheet(0);
    ASSERT_EQ(ws.putTexts(1, 1, {{L"keep?", L"old"}}), spreadsheet::Status::Ok);
    exportToExcel(names({L"area"}), 1, 1, 0, 0, 0);
    EXPECT_EQ(block(excel, L"Book1", 1, 1, 1, 2), (Rows{{L"area", L"Width*2"}}));
    EXPECT_TRUE(lmhost::messageBoxes().empty());
}

TEST_F(ExportExcelTest, ABlockPastTheSheetsEdgeIsNotWrittenAndTheSettingsComeBack) {
    int excel = excelhost::startExcel(true, true);
    ASSERT_TRUE(excelhost::selectRange(excel, L"XFD1048576"));
    exportToExcel(names({L"area", L"Width"}), 1, 1, 0, 0, 0);
    EXPECT_EQ(excelhost::callCount(L"Range.Value"), 0);
    EXPECT_EQ(lmhost::messageBoxes().size(), 1u) << testkit::transcript();
    expectSettingsBack(excel);
}

TEST_F(ExportExcelTest, AFailureInsideTheGuardStillPutsTheSettingsBack) {
    int excel = excelhost::startExcel(true, true);
    excelhost::failNextCall(L"Application.ActiveCell", E_FAIL);
    exportToExcel(names({L"area"}), 1, 0, 0, 0, 0);
    EXPECT_EQ(excelhost::callCount(L"Range.Value"), 0);
    EXPECT_EQ(block(excel, L"Book1", 1, 1, 1, 1), (Rows{{L""}}));
    expectSettingsBack(excel);
    EXPECT_EQ(excelhost::liveObjects(), 0);
}

TEST_F(ExportExcelTest, WithoutExcelTheUserIsToldAndNothingIsWritten) {
    excelhost::setInstalled(false);
    act({L"choose 114", L"ok"});
    exportParameters();
    // The failed start is reported by the bridge, then the missing instance.
    EXPECT_EQ(testkit::transcript(), L"\n[AutoCAD|64] Invalid class string\r\n -> 1"
                                     L"\n[AutoCAD|0] Failed to get an instance of Excel! -> 1" +
                                         kDone);
    EXPECT_EQ(excelhost::lastStartedExcel(), 0);
}

TEST_F(ExportExcelTest, NoColumnOrNoNetworkLeavesExcelUntouched) {
    EXPECT_EQ(exportToExcel(names({L"area"}), 0, 0, 0, 0, 0), Acad::eInvalidInput);
    lmhost::setAssocFrameworkAvailable(false);
    EXPECT_NE(exportToExcel(names({L"area"}), 1, 0, 0, 0, 0), Acad::eOk);
    lmhost::setAssocFrameworkAvailable(true);
    EXPECT_EQ(excelhost::lastStartedExcel(), 0);
    EXPECT_TRUE(excelhost::callLog().empty());
}

} // namespace
