// Import from Excel: a selection of the user's Excel applied row by row to the parameters,
// with the dialog's columns and the create option.
#include <gmock/gmock.h>

#include "AcDbAssocNetwork.h"
#include "exchange/ADNAssocSampleUtils.h"
#include "exchange/ExchangeFixture.h"
#include "exchange/ImportParameters.h"
#include "testkit/Transcript.h"

using namespace exchangetest;
using linktest::expressionOf;

namespace {

const std::wstring kDone = L"\nImport the constraint parameters successfully.";
const std::wstring kSure =
    L"\n[Norvane Linkmesh|68] Importing the selected range will change the parameters in the "
    L"drawing. Are you sure you want to import the selected range from the active worksheet? "
    L"-> 6";
const std::wstring kOneCell = L"\n[Norvane Linkmesh|68] You select only one cell. Do you want to "
                              L"import the whole worksheet? -> ";

std::wstring descriptionOf(AcDbObjectId id) {
    AcDbObjectPointer<AcDbAssocVariable> variable(id, AcDb::kForRead);
    return variable.openStatus() == Acad::eOk ? variable->description().str() : L"<closed>";
}

class ImportTest : public ExchangeTest {
protected:
    void SetUp() override {
        ExchangeTest::SetUp();
        width = addParameter(L"Width", L"100");
        height = addParameter(L"Height", L"50");
        testkit::XlsxBuilder b;
        b.sheet(L"Sheet1")
            .text("A1", L"ignored")
            .text("B2", L"Width")
            .number("C2", 300)
            .text("D2", L"door width")
            .text("B3", L"Height")
            .text("C3", L"Width/2")
            .text("D3", L"half")
            .text("B5", L"Sill")
            .number("C5", 12)
            .text("D5", L"new one");
        book = write("params.xlsx", b);
        excel = excelhost::startExcel();
        EXPECT_TRUE(excelhost::openWorkbook(excel, book));
        lmhost::clearTranscript();
    }
    // The dialog with these actions then OK, and Yes to its question.
    void run(const wchar_t* selection, std::initializer_list<const wchar_t*> actions = {}) {
        if (selection) {
            ASSERT_TRUE(excelhost::selectRange(excel, selection));
        }
        act(actions);
        act({L"ok"});
        lmhost::queueMessageBoxAnswer(IDYES);
        importFromExcel();
        EXPECT_EQ(ExcelUtils::s_application.m_lpDispatch, nullptr) << "released";
    }
    AcDbObjectId find(const wchar_t* name) {
        AcDbObjectId id;
        findVariable(database()->currentSpaceId(), name, false, id);
        return id;
    }

    AcDbObjectId width, height;
    std::wstring book;
    int excel = 0;
};

TEST_F(ImportTest, NameAndExpressionFromTheirColumnsDescriptionPastTheRowStaysEmpty) {
    run(L"B2:D5", {L"check 116 on"});
    EXPECT_EQ(testkit::transcript(), kSure + kDone);
    EXPECT_EQ(expressionOf(width), L"300");
    EXPECT_EQ(expressionOf(height), L"Width/2");
    EXPECT_DOUBLE_EQ(linktest::valueOf(height), 150.0);
    EXPECT_EQ(descriptionOf(width), L"") << "the 4th column lies past the selection";
    EXPECT_TRUE(find(L"Sill").isNull()) << "not created without the option";
}

TEST_F(ImportTest, ColumnsCountFromTheSelectionsLeftEdgeAndMissingNamesAreCreated) {
    run(L"B2:D5", {L"check 116 on", L"choose 119 3rd", L"check 122 on"});
    EXPECT_EQ(descriptionOf(width), L"door width");
    EXPECT_EQ(descriptionOf(height), L"half");
    AcDbObjectId sill = find(L"Sill");
    ASSERT_FALSE(sill.isNull());
    EXPECT_EQ(expressionOf(sill), L"12");
    EXPECT_EQ(descriptionOf(sill), L"new one");
    EXPECT_EQ(testkit::transcript(), kSure + kDone);
}

TEST_F(ImportTest, DescriptionAloneLeavesTheExpression) {
    run(L"B2:D3", {L"check 115 off", L"check 116 on", L"choose 119 3rd"});
    EXPECT_EQ(expressionOf(width), L"100");
    EXPECT_EQ(descriptionOf(width), L"door width");
}

TEST_F(ImportTest, ANameThatOnlyBeginsLikeAParameterStillHitsIt) {
    spreadsheet::Worksheet& ws = excelhost::workbook(excel, L"params.xlsx")->sheet(0);
    ASSERT_EQ(ws.putTexts(7, 2, {{L"Wid", L"77"}}), spreadsheet::Status::Ok);
    run(L"B7:C7");
    EXPECT_EQ(expressionOf(width), L"77");
    EXPECT_TRUE(find(L"Wid") == width);
}

TEST_F(ImportTest, ANameColumnPastTheRowIsToldOncePerCellOfTheRow) {
    run(L"B2:D3", {L"choose 117 5th"});
    std::wstring line =
        L"\nThe column index of the parameter name is invalid in the selected cells: 4.";
    EXPECT_EQ(testkit::transcript(), kSure + line + line + line + line + line + line + kDone);
    EXPECT_EQ(expressionOf(width), L"100");
}

TEST_F(ImportTest, ARefusedExpressionIsToldPerPassWithAnEmptyThirdField) {
    spreadsheet::Worksheet& ws = excelhost::workbook(excel, L"params.xlsx")->sheet(0);
    ASSERT_EQ(ws.putTexts(7, 2, {{L"Width", L"3+"}, {L"Fresh", L"(("}}), spreadsheet::Status::Ok);
    run(L"B7:C8", {L"check 122 on"});
    std::wstring text = testkit::transcript();
    AcDbObjectId fresh = find(L"Fresh");
    ASSERT_FALSE(fresh.isNull()) << "created before the expression was refused";
    EXPECT_EQ(expressionOf(fresh), L"1.0");
    EXPECT_EQ(expressionOf(width), L"100");
    // Two passes for each row of two cells, and no line break before each line.
    std::wstring status = acadErrorStatusText(Acad::eInvalidExpression);
    EXPECT_THAT(text, ::testing::HasSubstr(L"Failed to set the parameter Width: "));
    size_t count = 0;
    for (size_t at = text.find(L"Failed to set"); at != std::wstring::npos;
         at = text.find(L"Failed to set", at + 1))
        ++count;
    EXPECT_EQ(count, 4u) << text;
    EXPECT_THAT(text, ::testing::HasSubstr(L": .Failed to set the parameter"));
    EXPECT_THAT(text, ::testing::EndsWith(L": ." + kDone));
}

TEST_F(ImportTest, OneCellAskedNoKeepsTheCellWhichHasNothingToSet) {
    ASSERT_TRUE(excelhost::selectRange(excel, L"B2"));
    act({L"ok"});
    lmhost::queueMessageBoxAnswer(IDYES);
    lmhost::queueMessageBoxAnswer(IDNO);
    importFromExcel();
    EXPECT_EQ(testkit::transcript(), kSure + kOneCell + L"7" + kDone);
    EXPECT_EQ(expressionOf(width), L"100");
}

TEST_F(ImportTest, OneCellAskedYesTakesTheUsedRange) {
    ASSERT_TRUE(excelhost::selectRange(excel, L"C3"));
    act({L"choose 117 2nd", L"choose 118 3rd", L"ok"});
    lmhost::queueMessageBoxAnswer(IDYES);
    lmhost::queueMessageBoxAnswer(IDYES);
    importFromExcel();
    // The used range starts at A1, so the names stand in its second column.
    EXPECT_EQ(testkit::transcript(), kSure + kOneCell + L"6" + kDone);
    EXPECT_EQ(expressionOf(width), L"300");
}

TEST_F(ImportTest, WithoutARunningExcelTheUserIsAskedToOpenOne) {
    excelhost::quitExcel(excel);
    run(nullptr);
    EXPECT_EQ(testkit::transcript(),
              kSure + L"\n[Linkmesh|64] Please open a workbook and select the cells. -> 1");
    EXPECT_EQ(excelhost::lastStartedExcel(), excel) << "the import never starts Excel";
}

TEST_F(ImportTest, WholeRowsOrAShapeGiveTheReadFailureAndAClosedWorkbookChangesNothing) {
    const std::wstring failed = L"\nFailed to read the data from Excel.";
    run(L"2:9");
    EXPECT_EQ(testkit::transcript(), kSure + failed);
    lmhost::clearTranscript();
    ASSERT_TRUE(excelhost::selectShape(excel));
    act({L"ok"});
    lmhost::queueMessageBoxAnswer(IDYES);
    lmhost::queueMessageBoxAnswer(IDNO);
    importFromExcel();
    // A shape has no address; Excel refuses the empty one, which the bridge reports.
    EXPECT_EQ(testkit::transcript(),
              kSure + kOneCell + L"7" + L"\n[AutoCAD|64] Catastrophic failure\r\n -> 1" + failed);
    lmhost::clearTranscript();
    ASSERT_TRUE(excelhost::closeWorkbook(excel, L"params.xlsx"));
    act({L"ok"});
    lmhost::queueMessageBoxAnswer(IDYES);
    lmhost::queueMessageBoxAnswer(IDNO);
    importFromExcel();
    // Without a workbook there is no sheet: the read finds one empty cell.
    EXPECT_THAT(testkit::transcript(), ::testing::EndsWith(kDone));
    EXPECT_EQ(expressionOf(width), L"100");
    EXPECT_EQ(excelhost::liveObjects(), 0);
}

TEST_F(ImportTest, ACancelledDialogDoesNothing) {
    act({L"cancel"});
    importFromExcel();
    EXPECT_EQ(testkit::transcript(), L"");
    EXPECT_TRUE(excelhost::callLog().empty());
}

} // namespace

namespace {

TEST_F(ImportTest, HugeCellsAndOddNamesEndCleanly) {
    std::wstring megabyte(1 << 20, L'x');
    std::wstring longName = L"n" + std::wstring(9999, L'a');
    spreadsheet::Worksheet& ws = excelhost::workbook(excel, L"params.xlsx")->sheet(0);
    ASSERT_EQ(ws.putTexts(7, 2,
                          {{L"Width", L"5", L"", megabyte},
                           {longName, L"6", L"", L"long"},
                           {L"bad\x01name", L"7", L"", L"control"}}),
              spreadsheet::Status::Ok);
    auto actions = [] {
        AcDbObjectId networkId =
            AcDbAssocNetwork::getInstanceFromObject(database()->currentSpaceId(), false);
        AcDbObjectPointer<AcDbAssocNetwork> network(networkId, AcDb::kForRead);
        return network->getActions().length();
    };
    int before = actions();
    run(L"B7:E9", {L"check 116 on", L"choose 119 4th", L"check 122 on"});
    // Names the host refuses leave a variable without a name at each of the row's four
    // passes, silently, as creating a refused name does.
    EXPECT_EQ(actions(), before + 8);
    EXPECT_EQ(expressionOf(width), L"5");
    AcDbObjectPointer<AcDbAssocVariable> w(width, AcDb::kForRead);
    EXPECT_EQ(w->description().length(), 1u << 20);
    std::wstring text = testkit::transcript();
    EXPECT_THAT(text, ::testing::EndsWith(kDone));
    EXPECT_EQ(text.find(L"\nUnknown error."), std::wstring::npos);
}

} // namespace
