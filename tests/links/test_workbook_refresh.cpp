// The update command's workbook half, as the user meets it: the notice, one private Excel
// that opens each workbook once and read-only, the texts the cells display, and one line per
// link on the command line after Excel has gone.
#include <fstream>

#include "AcDbAssocVariable.h"
#include "links/LinkStore.h"
#include "links/RefreshFromWorkbooks.h"
#include "drawing/control/Editor.h"
#include "test_workbook_fixture.h"

namespace wbtest {
namespace {

const wchar_t* const kNotice = L"Linkmesh will update the parameters from Excel. Please confirm "
                               L"that your Excel files have been saved.";

class RefreshFromWorkbooks : public WorkbookLinkTest {
protected:
    // The example's kinds of cells: numbers, a formula, currency, a date, a named cell and a
    // hidden sheet.
    void writeCatalogue(const std::wstring& name) const {
        testkit::XlsxBuilder book;
        int currency = book.format(L"\"$\"#,##0.00");
        int date = book.builtin(14);
        book.sheet(L"Sizes")
            .number("B2", 900)
            .number("B3", 2100)
            .formula("B4", "B2*2+50", 1850)
            .number("B5", 1234.5, currency)
            .number("B6", 45365, date)
            .text("B7", L"Walnut")
            .number("B8", 3);
        book.sheet(L"Internal", "hidden").number("A1", 42);
        book.definedName(L"DoorWidth", L"Sizes!$B$3");
        write(name, book);
    }
    static int calls(const wchar_t* member) { return excelhost::callCount(member); }
};

TEST_F(RefreshFromWorkbooks, NoLinksStartNoExcelAndSayOnlyFinish) {
    addParameter(L"d1", L"10");
    updateLinkedParameters();
    EXPECT_EQ(transcript(), L"\nFinish.");
    EXPECT_EQ(excelhost::lastStartedExcel(), 0);
    EXPECT_TRUE(excelhost::callLog().empty());
}

TEST_F(RefreshFromWorkbooks, OnlyTableLinksStartNoExcelAndGiveNoNotice) {
    AcDbObjectId d1 = addParameter(L"d1", L"10");
    addLink(L"d1", L"Table(FFFF).$B$2");
    refreshFromWorkbooks();
    EXPECT_EQ(transcript(), L"");
    EXPECT_EQ(excelhost::lastStartedExcel(), 0);
    EXPECT_EQ(expressionOf(d1), L"10");
}

TEST_F(RefreshFromWorkbooks, ParametersAndPropertiesTakeWhatTheCellsShow) {
    writeCatalogue(L"catalogue.xlsx");
    AcDbObjectId door = defineDoor();
    AcDbObjectId frame;
    ASSERT_EQ(drawing::addBlockDefinition(database(), L"Frame", frame), Acad::eOk);
    AcDbObjectId nested = insert(door, frame);
    AcDbObjectId reference = insert(door);
    AcDbObjectId outer = insert(frame);
    AcDbObjectId width = addParameter(L"width", L"1");
    AcDbObjectId height = addParameter(L"height", L"1");
    AcDbObjectId total = addParameter(L"total", L"1");
    AcDbObjectId hidden = addParameter(L"hidden", L"1");
    addLink(L"width", L"catalogue.xlsx*Sizes*$B$2");
    addLink(L"height", L".\\catalogue.xlsx*Sizes*DoorWidth");
    addLink(L"total", L"catalogue.xlsx*Sizes*$B$4");
    addLink(L"hidden", L"catalogue.xlsx*Internal*$A$1");
    addLink((handleOf(reference) + L".Finish").c_str(), L"catalogue.xlsx*Sizes*$B$5");
    addLink((handleOf(reference) + L".Width").c_str(), L"catalogue.xlsx*Sizes*$B$3");
    addLink((handleOf(outer) + L"|" + handleOf(nested) + L".Finish").c_str(),
            L"catalogue.xlsx*Sizes*$B$6");

    updateLinkedParameters();

    EXPECT_EQ(transcript(), L"\n[Norvane Linkmesh|64] " + std::wstring(kNotice) +
                                L" -> 1"
                                L"\nUpdate the parameter width successfully."
                                L"\nUpdate the parameter height successfully."
                                L"\nUpdate the parameter total successfully."
                                L"\nUpdate the parameter hidden successfully."
                                L"\nUpdate the dynamic block Door.Finish successfully."
                                L"\nUpdate the dynamic block Door.Width successfully."
                                L"\nUpdate the dynamic block Door.Finish successfully."
                                L"\nFinish.");
    EXPECT_EQ(expressionOf(width), L"900");
    EXPECT_EQ(expressionOf(height), L"2100");
    EXPECT_EQ(expressionOf(total), L"1850");
    EXPECT_EQ(expressionOf(hidden), L"42");
    EXPECT_EQ(propertyText(reference, L"Finish"), L"$1,234.50");
    EXPECT_EQ(propertyText(reference, L"Width"), L"2100");
    EXPECT_EQ(propertyText(nested, L"Finish"), L"3/14/2024");
    // One private Excel, one read-only open for the two spellings of the one file, one Range
    // and one Text per link, and Excel gone before the drawing changed.
    int excel = excelhost::lastStartedExcel();
    ASSERT_NE(excel, 0);
    EXPECT_FALSE(excelhost::excelState(excel).running);
    EXPECT_EQ(calls(L"Workbooks.Open"), 1);
    EXPECT_EQ(calls(L"Worksheet.Range"), 7);
    EXPECT_EQ(calls(L"Range.Text"), 7);
    EXPECT_EQ(calls(L"Application.Quit"), 1);
    EXPECT_EQ(excelhost::liveObjects(), 0);
    // The nested link asks for a regeneration.
    EXPECT_EQ(lmhost::regenCount(), 1);
}

TEST_F(RefreshFromWorkbooks, WithFileDialogsOffTheNoticeIsPrinted) {
    writeSizes(L"a.xlsx");
    addParameter(L"d1", L"1");
    addLink(L"d1", L"a.xlsx*Sheet1*$B$2");
    setFileDialogs(0);
    refreshFromWorkbooks();
    EXPECT_EQ(transcript(),
              L"\n" + std::wstring(kNotice) + L"\nUpdate the parameter d1 successfully.");
    EXPECT_TRUE(lmhost::messageBoxes().empty());
}

TEST_F(RefreshFromWorkbooks, EachWorkbookIsOpenedOnceAndEachLinkReadOnItsOwn) {
    writeSizes(L"a.xlsx");
    writeSizes(L"b.xlsx");
    for (const wchar_t* name : {L"p1", L"p2", L"p3", L"p4", L"p5"})
        addParameter(name, L"1");
    addLink(L"p1", L"a.xlsx*Sheet1*$B$2");
    addLink(L"p2", L"b.xlsx*Sheet1*$B$3");
    addLink(L"p3", (path(L"a.xlsx") + L"*Sheet1*$B$2").c_str());
    addLink(L"p4", L"b.xlsx*Sheet1*$B$4");
    addLink(L"p5", L"a.xlsx*sheet1*$B$2");
    setFileDialogs(0);
    refreshFromWorkbooks();
    EXPECT_EQ(calls(L"Workbooks.Open"), 2);
    EXPECT_EQ(calls(L"Worksheet.Range"), 5);
    EXPECT_EQ(calls(L"Range.Text"), 5);
    // Workbooks in order of first appearance, and within one the links from last to first.
    std::vector<std::wstring> opened;
    for (const std::wstring& call : excelhost::callLog())
        if (call == L"Workbooks.Open" || call == L"Worksheet.Range")
            opened.push_back(call);
    EXPECT_EQ(opened.front(), L"Workbooks.Open");
    EXPECT_EQ(opened[4], L"Workbooks.Open");
}

TEST_F(RefreshFromWorkbooks, MissingSheetOrEmptyCellLeavesParameterAndBlanksProperty) {
    writeSizes(L"a.xlsx");
    AcDbObjectId reference = insert(defineDoor());
    AcDbObjectId d1 = addParameter(L"d1", L"5");
    AcDbObjectId d2 = addParameter(L"d2", L"6");
    addLink(L"d1", L"a.xlsx*Nope*$B$2");
    addLink(L"d2", L"a.xlsx*Sheet1*$Z$99");
    addLink((handleOf(reference) + L".Width").c_str(), L"a.xlsx*Nope*$B$2");
    addLink((handleOf(reference) + L".Finish").c_str(), L"a.xlsx*Sheet1*$Z$99");
    setFileDialogs(0);
    refreshFromWorkbooks();
    std::wstring book = path(L"a.xlsx");
    EXPECT_EQ(
        commandLine(),
        L"\n" + std::wstring(kNotice) + L"\nCannot read the expression of the parameter d1 from " +
            book + L":Nope[$B$2]." + L"\nCannot read the expression of the parameter d2 from " +
            book + L":Sheet1[$Z$99]." + L"\nUpdate the dynamic block Door.Width successfully." +
            L"\nUpdate the dynamic block Door.Finish successfully.");
    EXPECT_EQ(expressionOf(d1), L"5");
    EXPECT_EQ(expressionOf(d2), L"6");
    EXPECT_EQ(propertyText(reference, L"Width"), L"0");
    EXPECT_EQ(propertyText(reference, L"Finish"), L"");
    // A missing sheet makes no Range call; the empty cell is read like any other.
    EXPECT_EQ(calls(L"Worksheet.Range"), 2);
}

TEST_F(RefreshFromWorkbooks, WorkbookGoneBeforeReadingIsSkipped) {
    writeSizes(L"a.xlsx");
    writeSizes(L"b.xlsx");
    AcDbObjectId d1 = addParameter(L"d1", L"5");
    AcDbObjectId d2 = addParameter(L"d2", L"6");
    addLink(L"d1", L"a.xlsx*Sheet1*$B$2");
    addLink(L"d2", L"b.xlsx*Sheet1*$B$3");
    // The user deletes a workbook while the notice is up.
    lmhost::setMessageBoxHandler([this](const lmhost::MessageBoxRecord&) {
        fs::remove(m_folder / "a.xlsx");
        return 0;
    });
    refreshFromWorkbooks();
    std::wstring book = path(L"a.xlsx");
    EXPECT_EQ(commandLine(), L"\nCannot find " + book + L". Skip it." +
                                 L"\nCannot read the expression of the parameter d1 from " + book +
                                 L":Sheet1[$B$2]." + L"\nUpdate the parameter d2 successfully.");
    EXPECT_EQ(expressionOf(d1), L"5");
    EXPECT_EQ(expressionOf(d2), L"40");
    EXPECT_EQ(calls(L"Workbooks.Open"), 1);
}

TEST_F(RefreshFromWorkbooks, WorkbookThatCannotBeOpenedIsReported) {
    fs::create_directories(m_folder);
    {
        std::ofstream broken(m_folder / "broken.xlsx", std::ios::binary);
        broken << "this is no workbook";
    }
    writeSizes(L"a.xlsx");
    addParameter(L"d1", L"5");
    addParameter(L"d2", L"6");
    addLink(L"d1", L"broken.xlsx*Sheet1*$B$2");
    addLink(L"d2", L"a.xlsx*Sheet1*$B$2");
    setFileDialogs(0);
    refreshFromWorkbooks();
    std::wstring book = path(L"broken.xlsx");
    std::wstring lines = commandLine();
    EXPECT_NE(lines.find(L"\nCannot open the workbook: " + book + L"."), std::wstring::npos);
    EXPECT_NE(lines.find(L"\nCannot read the expression of the parameter d1 from " + book +
                         L":Sheet1[$B$2]."),
              std::wstring::npos);
    EXPECT_NE(lines.find(L"\nUpdate the parameter d2 successfully."), std::wstring::npos);
}

TEST_F(RefreshFromWorkbooks, WithoutExcelTheLaunchFailureIsShownAndNoCellIsRead) {
    writeSizes(L"a.xlsx");
    AcDbObjectId d1 = addParameter(L"d1", L"5");
    addLink(L"d1", L"a.xlsx*Sheet1*$B$2");
    excelhost::setInstalled(false);
    setFileDialogs(0);
    refreshFromWorkbooks();
    // The failed launch is the bridge's error box; it shows again as a failed open of the
    // workbook, whose link stays unread.
    ASSERT_EQ(lmhost::messageBoxes().size(), 1u);
    EXPECT_EQ(lmhost::messageBoxes()[0].text.rfind(L"Invalid class string", 0), 0u);
    EXPECT_EQ(commandLine(), L"\n" + std::wstring(kNotice) + L"\nCannot open the workbook: " +
                                 path(L"a.xlsx") +
                                 L".\nCannot read the expression of the parameter d1 from " +
                                 path(L"a.xlsx") + L":Sheet1[$B$2].");
    EXPECT_EQ(expressionOf(d1), L"5");
    EXPECT_EQ(calls(L"Range.Text"), 0);
}

TEST_F(RefreshFromWorkbooks, FailedCellReadLeavesOnlyThatLinkEmpty) {
    writeSizes(L"a.xlsx");
    AcDbObjectId d1 = addParameter(L"d1", L"5");
    AcDbObjectId d2 = addParameter(L"d2", L"6");
    addLink(L"d1", L"a.xlsx*Sheet1*$B$2");
    addLink(L"d2", L"a.xlsx*Sheet1*$B$3");
    // The array is walked from its end, so d2's cell is read first.
    excelhost::failNextCall(L"Range.Text", E_FAIL);
    setFileDialogs(0);
    refreshFromWorkbooks();
    EXPECT_EQ(commandLine(), L"\n" + std::wstring(kNotice) +
                                 L"\nUpdate the parameter d1 successfully." +
                                 L"\nCannot read the expression of the parameter d2 from " +
                                 path(L"a.xlsx") + L":Sheet1[$B$3].");
    EXPECT_EQ(expressionOf(d1), L"12.5");
    EXPECT_EQ(expressionOf(d2), L"6");
}

TEST_F(RefreshFromWorkbooks, RefusedValuesAreReportedAndTheRestGoesOn) {
    testkit::XlsxBuilder book;
    book.sheet(L"Sheet1").text("B2", L"3*(").number("B3", 7).text("B4", L"wide");
    write(L"a.xlsx", book);
    AcDbObjectId reference = insert(defineDoor());
    AcDbObjectId d1 = addParameter(L"d1", L"5");
    AcDbObjectId d2 = addParameter(L"d2", L"6");
    addLink(L"d1", L"a.xlsx*Sheet1*$B$2");
    addLink(L"d2", L"a.xlsx*Sheet1*$B$3");
    addLink((handleOf(reference) + L".Colour").c_str(), L"a.xlsx*Sheet1*$B$3");
    addLink((handleOf(reference) + L".Panels").c_str(), L"a.xlsx*Sheet1*$B$4");
    setFileDialogs(0);
    refreshFromWorkbooks();
    std::wstring lines = commandLine();
    // The error text's place stays empty.
    EXPECT_NE(lines.find(L"\nCannot update the parameter d1. "), std::wstring::npos);
    EXPECT_NE(lines.find(L". .\nUpdate the parameter d2 successfully."), std::wstring::npos);
    EXPECT_NE(lines.find(L"\nCannot update the dynamic block Door.Colour. eInvalidInput."),
              std::wstring::npos);
    // "wide" is no number: _wtol gives 0, which the property takes.
    EXPECT_NE(lines.find(L"\nUpdate the dynamic block Door.Panels successfully."),
              std::wstring::npos);
    EXPECT_EQ(expressionOf(d1), L"5");
    EXPECT_EQ(expressionOf(d2), L"7");
    EXPECT_EQ(propertyText(reference, L"Panels"), L"0");
}

TEST_F(RefreshFromWorkbooks, VariableErasedWhileTheNoticeIsUpFailsWithTheHostsStatus) {
    writeSizes(L"a.xlsx");
    AcDbObjectId d1 = addParameter(L"d1", L"5");
    addLink(L"d1", L"a.xlsx*Sheet1*$B$2");
    lmhost::setMessageBoxHandler([d1](const lmhost::MessageBoxRecord&) {
        AcDbObjectPointer<AcDbAssocVariable> variable(d1, AcDb::kForWrite);
        variable->erase();
        return 0;
    });
    refreshFromWorkbooks();
    EXPECT_EQ(commandLine(), L"\nCannot update the parameter d1. " +
                                 std::wstring(acadErrorStatusText(Acad::eWasErased)) + L". .");
}

TEST_F(RefreshFromWorkbooks, TheUsersOwnExcelIsLeftAlone) {
    writeSizes(L"a.xlsx");
    addParameter(L"d1", L"5");
    addLink(L"d1", L"a.xlsx*Sheet1*$B$2");
    int users = excelhost::startExcel(true, true);
    setFileDialogs(0);
    refreshFromWorkbooks();
    EXPECT_NE(excelhost::lastStartedExcel(), users);
    EXPECT_TRUE(excelhost::excelState(users).running);
    EXPECT_EQ(excelhost::excelState(users).workbooks.size(), 1u);
    EXPECT_FALSE(excelhost::excelState(excelhost::lastStartedExcel()).running);
}

TEST_F(RefreshFromWorkbooks, ApplyingAnUnreadRecordOfABlockPropertyStillSetsIt) {
    AcDbObjectId reference = insert(defineDoor());
    CLinkedParameterXlsInfoArray links;
    CLinkedParameterXlsInfo record;
    record.objectId = reference;
    record.name = L"finish";
    record.isBlockProperty = 1;
    links.Add(record);
    applyCellTexts(links);
    EXPECT_EQ(commandLine(), L"\nUpdate the dynamic block Door.finish successfully.");
    EXPECT_EQ(propertyText(reference, L"Finish"), L"");
}

} // namespace
} // namespace wbtest
