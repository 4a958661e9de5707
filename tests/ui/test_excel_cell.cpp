// The Select an Excel Cell dialog under the manager's Excel button: browsing for a workbook,
// Get Active Cell over the Excel the user works in, the defined name, the checks of OK in
// their order, and the Cell Expression it leaves in the manager, with a full or relative path.
#include <fstream>

#include "ManagerFixture.h"

#include "links/LinkText.h"

namespace managertest {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

const wchar_t* const kUnsaved =
    L"Current drawing must be saved before attaching a file with a relative path. The file will "
    L"be assigned a Full path.";

class ExcelCell : public ManagerTest {
protected:
    void SetUp() override {
        ManagerTest::SetUp();
        width = addParameter(L"Width", L"5");
        // Sizes is the sheet the file was saved on, with B3 active; HandleHeight names B4.
        testkit::XlsxBuilder book;
        book.sheet(L"Factors").number("B1", 20);
        book.sheet(L"Sizes").number("B2", 800).number("B3", 2000).number("B4", 1000);
        book.selection("B3", "B3").activeTab(1);
        book.definedName(L"HandleHeight", L"Sizes!$B$4");
        write(L"sizes.xlsx", book);
        sizes = path(L"sizes.xlsx");
    }
    using ManagerTest::act;
    void act(std::initializer_list<std::wstring> actions) {
        for (const std::wstring& a : actions) {
            ASSERT_TRUE(lmhost::parseDialogAction(a)) << "bad action in the test";
            driver.steps.push_back({false, a});
        }
    }
    // The user starts Excel and opens the workbook there.
    int userOpens(const std::wstring& file) {
        int excel = excelhost::startExcel();
        EXPECT_TRUE(excelhost::openWorkbook(excel, file));
        return excel;
    }
    // The view of the dialog titled so, the n-th of them (the last by default).
    const lmhost::DialogView& view(const std::wstring& title, int n = -1) const {
        std::vector<const lmhost::DialogView*> views;
        for (const lmhost::DialogView& v : driver.seen)
            if (v.title == title)
                views.push_back(&v);
        EXPECT_FALSE(views.empty()) << "no dialog " << std::string(title.begin(), title.end());
        static lmhost::DialogView none;
        if (views.empty())
            return none;
        return *views.at(n < 0 ? views.size() - 1 : static_cast<size_t>(n));
    }
    const lmhost::DialogView& picker(int n = -1) const { return view(L"Select an Excel Cell", n); }
    static std::wstring line(const lmhost::DialogView& v, const std::wstring& prefix) {
        for (const std::wstring& l : v.controls)
            if (l.rfind(prefix, 0) == 0)
                return l;
        return L"<none>";
    }
    std::wstring expressionField() const { return control(L"102 "); }
    void reset() {
        driver.steps.clear();
        driver.seen.clear();
        driver.next = 0;
    }
    // Runs the manager anew with the dialog's fields typed; the expression it leaves.
    std::wstring pickTyped(const std::wstring& file, const std::wstring& pathType) {
        reset();
        act({L"press 123", L"type 124 " + file, L"type 132 Sheet1", L"type 127 $A$1",
             L"choose 131 " + pathType, L"ok", L"cancel"});
        run();
        std::wstring field = expressionField();
        std::wstring prefix = L"102 edit \"", suffix = L"\" (read-only)";
        if (field.rfind(prefix, 0) != 0 || field.size() < prefix.size() + suffix.size())
            return field;
        return field.substr(prefix.size(), field.size() - prefix.size() - suffix.size());
    }
    void writeFile(const std::wstring& name, const std::string& bytes) const {
        std::ofstream(wbtest::fs::path(path(name)), std::ios::binary) << bytes;
    }

    AcDbObjectId width;
    std::wstring sizes;
};

TEST_F(ExcelCell, OpensEmptyWithItsControlsAndCancelLeavesTheManagerAsItWas) {
    act({L"press 123", L"cancel", L"cancel"});
    EXPECT_EQ(run(), IDCANCEL);
    EXPECT_EQ(picker().controls,
              (Lines{L"Workbook:", L"124 edit \"\"", L"125 button \"...\"", L"Worksheet:",
                     L"132 combo edit \"\" of", L"Cell:", L"127 edit \"\"",
                     L"128 button \"Get Active Cell\"", L"129 check [ ] \"Use Cell Name\"",
                     L"Path Type:", L"131 combo \"Full Path\" of \"Full Path\" \"Relative Path\"",
                     L"1 button \"OK\" (default)", L"2 button \"Cancel\""}));
    EXPECT_EQ(expressionField(), L"102 edit \"\" (read-only)");
    EXPECT_EQ(excelhost::activeExcel(), 0) << "opening the dialog starts no Excel";
    EXPECT_EQ(transcript(), L"");
}

TEST_F(ExcelCell, BrowseOpensTheWorkbookInANewExcelAndReadsItsActiveSheetAndCell) {
    act({L"press 123", L"press 125", L"type 1152 " + sizes, L"ok", L"ok"});
    act({L"choose 101 Width", L"press 104", L"cancel"});
    run();
    const lmhost::DialogView& open = view(L"Open", 0);
    EXPECT_EQ(open.controls, (Lines{L"File name:", L"1152 edit \"\"",
                                    L"Files of type: Microsoft Excel Files(*.xls;*.xlsx)",
                                    L"1 button \"Open\" (default)", L"2 button \"Cancel\""}));
    // After the browse: the fields filled, the five controls enabled again.
    const lmhost::DialogView& filled = picker(1);
    EXPECT_EQ(line(filled, L"124 "), L"124 edit \"" + sizes + L"\"");
    EXPECT_EQ(line(filled, L"132 "), L"132 combo edit \"Sizes\" of \"Factors\" \"Sizes\"");
    EXPECT_EQ(line(filled, L"127 "), L"127 edit \"$B$3\"");
    for (const std::wstring& l : filled.controls)
        EXPECT_THAT(l, ::testing::Not(HasSubstr(L"(disabled)")));
    std::wstring expression = sizes + L"*Sizes*$B$3";
    EXPECT_EQ(control(L"100 "),
              L"100 list view \"Parameter Name\" | \"Cell Expression\"\n     \"Width\" | \"" +
                  expression + L"\"");
    EXPECT_THAT(stored(width, kDirectLinkApp), ElementsAre(expression));
    // The Excel it started stays open and visible, with the workbook, for more picks.
    int excel = excelhost::activeExcel();
    ASSERT_NE(excel, 0);
    excelhost::ExcelState state = excelhost::excelState(excel);
    EXPECT_TRUE(state.running);
    EXPECT_TRUE(state.visible);
    EXPECT_THAT(state.workbooks, ElementsAre(sizes));
    EXPECT_EQ(excelhost::liveObjects(), 0) << "the session let go of every object";
    EXPECT_EQ(transcript(), L"");
}

TEST_F(ExcelCell, TheManagerFieldShowsTheExpressionAfterOk) {
    userOpens(sizes);
    act({L"press 123", L"press 128", L"ok", L"cancel"});
    run();
    EXPECT_EQ(expressionField(), L"102 edit \"" + sizes + L"*Sizes*$B$3\" (read-only)");
    EXPECT_THAT(stored(width, kDirectLinkApp), ElementsAre()) << "only Add stores a link";
}

TEST_F(ExcelCell, GetActiveCellTakesTheRunningExcelsWorkbookSheetAndCell) {
    int excel = userOpens(sizes);
    ASSERT_TRUE(excelhost::selectSheet(excel, L"Factors"));
    // A block of cells gives its active cell.
    ASSERT_TRUE(excelhost::selectRange(excel, L"C5:D9"));
    act({L"press 123", L"press 128", L"press 128", L"cancel", L"cancel"});
    run();
    EXPECT_EQ(line(picker(1), L"124 "), L"124 edit \"" + sizes + L"\"");
    EXPECT_EQ(line(picker(1), L"132 "), L"132 combo edit \"Factors\" of \"Factors\" \"Sizes\"");
    EXPECT_EQ(line(picker(1), L"127 "), L"127 edit \"$C$5\"");
    // A second press adds the sheets once more; the duplicates stay, side by side.
    EXPECT_EQ(line(picker(2), L"132 "),
              L"132 combo edit \"Factors\" of \"Factors\" \"Factors\" \"Sizes\" \"Sizes\"");
    EXPECT_TRUE(excelhost::excelState(excel).running) << "Excel is never closed here";
    EXPECT_EQ(transcript(), L"");
}

TEST_F(ExcelCell, AChosenSheetIsOverwrittenByExcelsActiveSheet) {
    userOpens(sizes);
    act({L"press 123", L"press 128", L"choose 132 Factors", L"press 128", L"cancel", L"cancel"});
    run();
    EXPECT_EQ(line(picker(2), L"132 "), L"132 combo edit \"Factors\" of \"Factors\" \"Sizes\"");
    EXPECT_EQ(excelhost::excelState(excelhost::activeExcel()).activeWorkbook, L"sizes.xlsx");
    EXPECT_THAT(line(picker(3), L"132 "), HasSubstr(L"combo edit \"Sizes\""))
        << "choosing a sheet does not switch Excel's sheet";
}

TEST_F(ExcelCell, WithNoExcelAndNoWorkbookANewExcelStartsAndTheFieldsStayEmpty) {
    act({L"press 123", L"press 128", L"cancel", L"cancel"});
    run();
    EXPECT_EQ(picker(1).controls, picker(0).controls);
    int excel = excelhost::activeExcel();
    ASSERT_NE(excel, 0);
    EXPECT_TRUE(excelhost::excelState(excel).running) << "the new Excel stays for the user";
    EXPECT_EQ(transcript(), L"");
}

TEST_F(ExcelCell, AWorkbookExcelNeverSavedHasNoFolderAndOkCannotFindIt) {
    int excel = excelhost::startExcel(true, true); // Book1
    ASSERT_NE(excel, 0);
    act({L"press 123", L"press 128", L"ok", L"cancel", L"cancel"});
    run();
    EXPECT_EQ(line(picker(1), L"124 "), L"124 edit \"Book1\"");
    EXPECT_EQ(transcript(), L"\n[Norvane Linkmesh|64] Cannot find the workbook. -> 1");
}

TEST_F(ExcelCell, UseCellNameGivesTheDefinedNameOrNothing) {
    int excel = userOpens(sizes);
    act({L"press 123", L"press 129"});
    // With an empty workbook field the box changes and nothing else.
    act({L"press 129", L"press 128", L"press 129"});
    run();
    EXPECT_EQ(line(picker(1), L"129 "), L"129 check [x] \"Use Cell Name\"");
    EXPECT_EQ(line(picker(1), L"127 "), L"127 edit \"\"");
    EXPECT_EQ(line(picker(1), L"124 "), L"124 edit \"\"");
    // B3 has no name: the cell becomes empty, with no message.
    EXPECT_EQ(line(picker(3), L"127 "), L"127 edit \"$B$3\"");
    EXPECT_EQ(line(picker(4), L"127 "), L"127 edit \"\"");
    EXPECT_EQ(line(picker(4), L"129 "), L"129 check [x] \"Use Cell Name\"");
    EXPECT_EQ(transcript(), L"");
    (void)excel;
}

TEST_F(ExcelCell, AClickOnUseCellNameReadsTheCellActiveInExcelNow) {
    int excel = userOpens(sizes);
    act({L"press 123", L"press 128"});
    run();
    reset();
    // The user clicks the named cell in Excel, then the box: the name follows at once.
    ASSERT_TRUE(excelhost::selectRange(excel, L"B4"));
    act({L"press 123", L"press 128", L"press 129", L"ok", L"choose 101 Width", L"press 104",
         L"cancel"});
    run();
    EXPECT_EQ(line(picker(2), L"127 "), L"127 edit \"HandleHeight\"");
    EXPECT_THAT(stored(width, kDirectLinkApp), ElementsAre(sizes + L"*Sizes*HandleHeight"));
}

TEST_F(ExcelCell, UseCellNameOnACellWithoutNameEmptiesTheCellAndOkRefusesIt) {
    userOpens(sizes);
    act({L"press 123", L"press 128", L"press 129", L"ok", L"cancel", L"cancel"});
    run();
    EXPECT_EQ(line(picker(1), L"127 "), L"127 edit \"$B$3\"");
    EXPECT_EQ(line(picker(2), L"127 "), L"127 edit \"\"");
    EXPECT_EQ(transcript(), L"\n[Norvane Linkmesh|64] Invalid cell. -> 1");
}

TEST_F(ExcelCell, OkChecksTheWorkbookThenTheSheetThenTheCell) {
    act({L"press 123", L"ok"});
    act({L"type 124 " + path(L"missing.xlsx"), L"ok"});
    act({L"type 124 " + sizes, L"ok"});
    act({L"type 132 Si*zes", L"ok"});
    act({L"type 132 Sizes", L"ok"});
    act({L"type 127 $B$2", L"ok", L"cancel"});
    run();
    EXPECT_EQ(transcript(), L"\n[Norvane Linkmesh|64] Cannot find the workbook. -> 1"
                            L"\n[Norvane Linkmesh|64] Cannot find the workbook. -> 1"
                            L"\n[Norvane Linkmesh|64] Invalid worksheet. -> 1"
                            L"\n[Norvane Linkmesh|64] Invalid worksheet. -> 1"
                            L"\n[Norvane Linkmesh|64] Invalid cell. -> 1");
    // Typed fields need no Excel; whatever was typed goes into the expression.
    EXPECT_EQ(expressionField(), L"102 edit \"" + sizes + L"*Sizes*$B$2\" (read-only)");
    EXPECT_EQ(excelhost::activeExcel(), 0);
}

TEST_F(ExcelCell, TheCellIsNotCheckedAgainstTheAddressGrammar) {
    act({L"press 123", L"type 124 " + sizes, L"type 132 Any Sheet", L"type 127 not a cell", L"ok",
         L"cancel"});
    run();
    EXPECT_EQ(expressionField(), L"102 edit \"" + sizes + L"*Any Sheet*not a cell\" (read-only)");
}

TEST_F(ExcelCell, ARelativePathStartsAtTheDrawingsFolder) {
    testkit::XlsxBuilder book;
    book.sheet(L"Sheet1").number("A1", 1);
    write(L"data/parts.xlsx", book);
    std::wstring name = L"shared-" + m_folder.filename().wstring() + L".xlsx";
    std::wstring above = (m_folder.parent_path() / name).wstring();
    book.write(wbtest::fs::path(above).string());
    EXPECT_EQ(pickTyped(sizes, L"Relative Path"), L"./sizes.xlsx*Sheet1*$A$1");
    EXPECT_EQ(pickTyped(path(L"data/parts.xlsx"), L"Relative Path"),
              L"./data/parts.xlsx*Sheet1*$A$1");
    EXPECT_EQ(pickTyped(above, L"Relative Path"), L"../" + name + L"*Sheet1*$A$1");
    EXPECT_EQ(pickTyped(above, L"Full Path"), above + L"*Sheet1*$A$1");
    wbtest::fs::remove(wbtest::fs::path(above));
    EXPECT_EQ(transcript(), L"");
}

TEST_F(ExcelCell, RelativePathForADrawingNeverSavedFallsBackToFullPath) {
    lmhost::closeAllDocuments();
    lmhost::newDocument(L"Drawing1.dwg");
    act({L"press 123", L"type 124 " + sizes, L"type 132 Sizes", L"type 127 $B$2",
         L"choose 131 Relative Path", L"ok", L"cancel"});
    run();
    EXPECT_EQ(transcript(), L"\n[Norvane Linkmesh|0] " + std::wstring(kUnsaved) + L" -> 1");
    // The selection went back to Full Path at once, so OK takes the full path.
    EXPECT_EQ(line(picker(4), L"131 "),
              L"131 combo \"Full Path\" of \"Full Path\" \"Relative Path\"");
    EXPECT_EQ(expressionField(), L"102 edit \"" + sizes + L"*Sizes*$B$2\" (read-only)");
}

TEST_F(ExcelCell, ARelativePathThatCannotBeMadeKeepsTheFullPath) {
    // A drawing whose name is too long for the path calls.
    lmhost::closeAllDocuments();
    std::wstring longName = path(std::wstring(250, L'd') + L".dwg");
    lmhost::newDocument(longName);
    EXPECT_EQ(pickTyped(sizes, L"Relative Path"), sizes + L"*Sheet1*$A$1");
    EXPECT_EQ(transcript(), L"\n[Norvane Linkmesh|0] Failed to create a relative path from " +
                                longName + L" to " + sizes + L". -> 1");
}

TEST_F(ExcelCell, AWorkbookThatCannotBeOpenedLeavesTheFieldsAsTheyWere) {
    writeFile(L"broken.xlsx", "this is no workbook");
    act({L"press 123", L"type 124 " + path(L"broken.xlsx"), L"press 128", L"cancel", L"cancel"});
    run();
    EXPECT_EQ(line(picker(2), L"132 "), L"132 combo edit \"\" of");
    EXPECT_EQ(line(picker(2), L"127 "), L"127 edit \"\"");
    // Excel's refusal reaches the bridge as an unexpected failure, reported as such.
    EXPECT_EQ(transcript(), L"\n[AutoCAD|64] Catastrophic failure\r\n -> 1");
    EXPECT_TRUE(excelhost::excelState(excelhost::activeExcel()).running);
}

TEST_F(ExcelCell, AnotherOpenWorkbookOfTheSameNameIsRefusedByExcel) {
    testkit::XlsxBuilder book;
    book.sheet(L"Other").number("A1", 1);
    write(L"other/sizes.xlsx", book);
    int excel = userOpens(path(L"other/sizes.xlsx"));
    act({L"press 123", L"press 125", L"type 1152 " + sizes, L"ok", L"cancel", L"cancel"});
    run();
    EXPECT_THAT(transcript(), HasSubstr(L"A document with the name 'sizes.xlsx' is already open."));
    EXPECT_THAT(excelhost::excelState(excel).workbooks, ElementsAre(path(L"other/sizes.xlsx")));
    // With Excel running the open counts as done: the fields show Excel's active workbook.
    EXPECT_EQ(line(picker(1), L"132 "), L"132 combo edit \"Other\" of \"Other\"");
}

TEST_F(ExcelCell, AnExcelFailureDuringBrowseLeavesTheFiveControlsDisabled) {
    userOpens(sizes);
    excelhost::failNextCall(L"Worksheets.Count", static_cast<HRESULT>(0x800706BA));
    act({L"press 123", L"press 125", L"type 1152 " + sizes, L"ok", L"press 128", L"cancel",
         L"cancel"});
    run();
    const lmhost::DialogView& after = picker(1);
    EXPECT_EQ(line(after, L"132 "), L"132 combo edit \"\" of (disabled)");
    EXPECT_EQ(line(after, L"127 "), L"127 edit \"\" (disabled)");
    EXPECT_EQ(line(after, L"124 "), L"124 edit \"" + sizes + L"\" (disabled)");
    EXPECT_EQ(line(after, L"128 "), L"128 button \"Get Active Cell\" (disabled)");
    EXPECT_EQ(line(after, L"1 "), L"1 button \"OK\" (default) (disabled)");
    EXPECT_EQ(line(after, L"125 "), L"125 button \"...\"");
    EXPECT_EQ(after.notice, L"");
    EXPECT_EQ(picker(2).notice, L"the control 128 is disabled");
    // The framework reports what the handler let go.
    EXPECT_EQ(transcript(), L"\n[AutoCAD|0] The RPC server is unavailable.\r\n -> 1");
}

TEST_F(ExcelCell, CancelLeavesTheWorkbookOpenInExcel) {
    act({L"press 123", L"press 125", L"type 1152 " + sizes, L"ok", L"cancel", L"cancel"});
    run();
    EXPECT_EQ(expressionField(), L"102 edit \"\" (read-only)");
    EXPECT_THAT(excelhost::excelState(excelhost::activeExcel()).workbooks, ElementsAre(sizes));
}

} // namespace
} // namespace managertest
