// The Excel session: attaching, launching, opening, sheets, selection, failures, and the
// ways the features combine them.
#include <gtest/gtest.h>

#include "excel/BridgeFixture.h"
#include "excel/ExcelDrivers.h"
#include "oleacc.h"
#include "spreadsheet/Workbook.h"

namespace {

using exceltest::boxText;
using exceltest::BridgeTest;

const wchar_t kClash[] =
    L"A document with the name 'book.xlsx' is already open. You cannot open two documents "
    L"with the same name, even if the documents are in different folders.\nTo open the second "
    L"document, either close the document that's currently open, or rename one of the "
    L"documents.";

class SessionTest : public BridgeTest {};

TEST_F(SessionTest, NoRunningExcelIsASilentFailure) {
    EXPECT_EQ(ExcelUtils::GetActiveExcel(nullptr), 0);
    EXPECT_EQ(ExcelUtils::s_lastError,
              L"{00024500-0000-0000-C000-000000000046}: Can't get active Excel: 800401E3");
    EXPECT_TRUE(lmhost::messageBoxes().empty());
    EXPECT_TRUE(detached());

    excelhost::startExcel();
    excelhost::setActiveObjectRefusesDispatch(true);
    EXPECT_EQ(ExcelUtils::GetActiveExcel(nullptr), 0);
    EXPECT_EQ(ExcelUtils::s_lastError, L"{00024500-0000-0000-C000-000000000046}: Can't get "
                                       L"interface of active Excel instance: 80004002");
    EXPECT_TRUE(lmhost::messageBoxes().empty());
    EXPECT_TRUE(detached());
}

TEST_F(SessionTest, AttachWithoutWorkbookThenEnsureAddsOne) {
    int excel = excelhost::startExcel(false); // hidden
    ASSERT_EQ(ExcelUtils::GetActiveExcel(nullptr), 1);
    EXPECT_TRUE(excelhost::excelState(excel).visible);
    EXPECT_EQ(ExcelUtils::s_version, 16);
    EXPECT_TRUE(ExcelUtils::s_application.m_lpDispatch);
    EXPECT_FALSE(ExcelUtils::s_workbook.m_lpDispatch);
    EXPECT_FALSE(ExcelUtils::s_worksheet.m_lpDispatch);
    EXPECT_EQ(excelhost::callCount(L"Application.ActiveWorkbook"), 0);

    ASSERT_EQ(ExcelUtils::EnsureActiveSheet(), 1);
    EXPECT_EQ(excelhost::callCount(L"Workbooks.Add"), 1);
    EXPECT_EQ(excelhost::callCount(L"Application.ActiveWorkbook"), 1);
    EXPECT_EQ(currentBook(), L"Book1");
    EXPECT_EQ(currentSheet(), L"Sheet1");

    ExcelUtils::ReleaseExcel();
    EXPECT_TRUE(detached());
    EXPECT_TRUE(excelhost::excelState(excel).running); // only our references are gone
    EXPECT_TRUE(excelhost::excelState(excel).visible);
    EXPECT_TRUE(lmhost::messageBoxes().empty());
}

TEST_F(SessionTest, AttachTakesTheActiveWorkbookOrOpensThePath) {
    auto b = sizes();
    b.activeTab(2);
    std::wstring file = write("sizes.xlsx", b);
    std::wstring other = write("other.xlsx", sizes());
    int excel = excelhost::startExcel();
    ASSERT_TRUE(excelhost::openWorkbook(excel, other));
    ASSERT_EQ(ExcelUtils::GetActiveExcel(nullptr), 1);
    EXPECT_EQ(currentBook(), L"other.xlsx");
    EXPECT_EQ(currentSheet(), L"Sheet1");

    ASSERT_EQ(ExcelUtils::GetActiveExcel(file.c_str()), 1);
    EXPECT_EQ(currentBook(), L"sizes.xlsx");
    EXPECT_EQ(currentSheet(), L"Data"); // the file's saved active tab
    EXPECT_FALSE(excelhost::workbook(excel, L"sizes.xlsx")->readOnly());
    EXPECT_EQ(excelhost::callCount(L"Workbooks.Open"), 1);
}

TEST_F(SessionTest, OpenWorkbookFindsByFullNameAndRefusesANameClash) {
    std::string bytes = sizes().bytes();
    int excel = excelhost::startExcel();
    ASSERT_TRUE(excelhost::openWorkbookBytes(excel, bytes, L"C:\\a\\book.xlsx"));
    ASSERT_EQ(ExcelUtils::GetActiveExcel(nullptr), 1);
    excelhost::clearCalls();

    EXPECT_EQ(ExcelUtils::OpenWorkbook(L"D:\\b\\book.xlsx", 0, 1), 0);
    ASSERT_EQ(lmhost::messageBoxes().size(), 1u);
    EXPECT_EQ(boxText(0), kClash);
    EXPECT_EQ(lmhost::messageBoxes()[0].style, 0u);
    EXPECT_EQ(excelhost::callCount(L"Workbooks.Open"), 0);
    EXPECT_EQ(excelhost::excelState(excel).workbooks.size(), 1u);

    lmhost::clearTranscript();
    ASSERT_TRUE(excelhost::closeWorkbook(excel, L"book.xlsx"));
    ASSERT_TRUE(excelhost::openWorkbookBytes(excel, bytes, L"D:\\B\\BOOK.XLSX"));
    EXPECT_EQ(ExcelUtils::OpenWorkbook(L"D:\\b\\book.xlsx", 0, 1), 1);
    EXPECT_TRUE(lmhost::messageBoxes().empty());
    EXPECT_EQ(excelhost::callCount(L"Workbooks.Open"), 0);
    EXPECT_EQ(currentBook(), L"BOOK.XLSX");
    EXPECT_FALSE(excelhost::workbook(excel, L"BOOK.XLSX")->readOnly()); // stays as it was

    EXPECT_EQ(ExcelUtils::OpenWorkbook(L"", 0, 1), 0);
}

TEST_F(SessionTest, OpenFailuresAreReported) {
    excelhost::startExcel();
    ASSERT_EQ(ExcelUtils::GetActiveExcel(nullptr), 1);
    // Excel raises its own exception, which the framework reports as unexpected.
    EXPECT_EQ(ExcelUtils::OpenWorkbook(path("missing.xlsx").c_str(), 0, 1), 0);
    std::wstring garbage = writeRaw("garbage.xlsx", std::string(100, 'x'));
    EXPECT_EQ(ExcelUtils::OpenWorkbook(garbage.c_str(), 0, 1), 0);
    testkit::XlsxBuilder noWorkbook;
    std::wstring partless = writeRaw("partless.xlsx", testkit::XlsxBuilder::zip({{"a.txt", "hi"}}));
    EXPECT_EQ(ExcelUtils::OpenWorkbook(partless.c_str(), 0, 1), 0);
    auto boxes = lmhost::messageBoxes();
    ASSERT_EQ(boxes.size(), 3u);
    for (const auto& box : boxes) {
        EXPECT_EQ(box.text, L"Catastrophic failure\r\n");
        EXPECT_EQ(box.style, unsigned(MB_ICONINFORMATION));
        EXPECT_EQ(box.title, lmhost::hostApplicationTitle());
    }
    EXPECT_FALSE(ExcelUtils::s_workbook.m_lpDispatch);
}

TEST_F(SessionTest, ActivateWorksheetFindsIgnoringCaseAndUnhides) {
    std::wstring file = write("sizes.xlsx", sizes());
    int excel = excelhost::startExcel();
    ASSERT_TRUE(excelhost::openWorkbook(excel, file, true));
    ASSERT_EQ(ExcelUtils::GetActiveExcel(nullptr), 1);
    excelhost::clearCalls();

    EXPECT_EQ(ExcelUtils::ActivateWorksheet(L"secret"), 1);
    EXPECT_EQ(currentSheet(), L"Secret");
    spreadsheet::Workbook* wb = excelhost::workbook(excel, L"sizes.xlsx");
    EXPECT_EQ(wb->sheet(1).state(), spreadsheet::SheetState::Visible);
    EXPECT_EQ(wb->activeSheet(), 1);
    EXPECT_EQ(excelhost::callCount(L"Worksheets.Count"), 2); // read anew on each turn
    EXPECT_EQ(excelhost::callCount(L"Worksheet.Activate"), 1);

    EXPECT_EQ(ExcelUtils::ActivateWorksheet(L"Sheet9"), 0);
    EXPECT_EQ(ExcelUtils::ActivateWorksheet(L""), 0);
    EXPECT_TRUE(lmhost::messageBoxes().empty());
}

TEST_F(SessionTest, LaunchBringsANewExcelToTheFront) {
    int user = excelhost::startExcel(); // the user's own stays untouched
    ASSERT_EQ(ExcelUtils::LaunchExcel(), 1);
    int launched = excelhost::lastStartedExcel();
    EXPECT_NE(launched, user);
    auto state = excelhost::excelState(launched);
    EXPECT_TRUE(state.visible);
    EXPECT_FALSE(state.userStarted);
    EXPECT_EQ(ExcelUtils::s_version, 16);
    ASSERT_EQ(lmhost::foregroundHistory().size(), 1u);
    EXPECT_EQ(lmhost::foregroundHistory()[0], state.hwnd);

    // Before version 12 the window handle is never asked for.
    excelhost::setDefaultVersion(L"11.0");
    excelhost::clearCalls();
    ASSERT_EQ(ExcelUtils::LaunchExcel(), 1);
    EXPECT_EQ(ExcelUtils::s_version, 11);
    EXPECT_EQ(excelhost::callCount(L"Application.Hwnd"), 0);
    EXPECT_EQ(lmhost::foregroundHistory().size(), 1u);

    // A failing window handle does not fail the launch, and shows nothing.
    excelhost::setDefaultVersion(L"16.0");
    excelhost::failNextCall(L"Application.Hwnd", E_FAIL);
    EXPECT_EQ(ExcelUtils::LaunchExcel(), 1);
    EXPECT_TRUE(lmhost::messageBoxes().empty());
}

TEST_F(SessionTest, LaunchFailuresAreReported) {
    excelhost::setInstalled(false);
    EXPECT_EQ(ExcelUtils::LaunchExcel(), 0);
    ASSERT_EQ(lmhost::messageBoxes().size(), 1u);
    EXPECT_EQ(boxText(0), L"Invalid class string\r\n");
    EXPECT_EQ(lmhost::messageBoxes()[0].style, unsigned(MB_ICONINFORMATION));
    EXPECT_TRUE(detached());

    excelhost::setInstalled(true);
    lmhost::clearTranscript();
    excelhost::failNextCall(L"Application.Visible", DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(ExcelUtils::LaunchExcel(), 0);
    EXPECT_EQ(boxText(0), L"Member not found.\r\n");
}

TEST_F(SessionTest, EnsureActiveSheetNeedsASession) {
    EXPECT_EQ(ExcelUtils::EnsureActiveSheet(), 0);
    ASSERT_EQ(lmhost::messageBoxes().size(), 1u);
    EXPECT_EQ(boxText(0), L"Failed to get an instance of Excel!");
}

TEST_F(SessionTest, ReportOleErrorWithoutSystemText) {
    ExcelUtils::ReportOleError(HRESULT(0x800A03EC));
    ExcelUtils::ReportOleError(DISP_E_BADINDEX);
    EXPECT_EQ(boxText(0), L"\nExcelUtils(507): OLE Execption caught: SCODE = 800a03ec");
    EXPECT_EQ(boxText(1), L"Invalid index.\r\n");
    EXPECT_EQ(lmhost::messageBoxes()[0].style, unsigned(MB_ICONINFORMATION));
}

TEST_F(SessionTest, SelectionAddress) {
    std::wstring file = write("sizes.xlsx", sizes());
    int excel = excelhost::startExcel();
    ASSERT_TRUE(excelhost::openWorkbook(excel, file));
    ASSERT_EQ(ExcelUtils::GetActiveExcel(nullptr), 1);
    EXPECT_EQ(ExcelUtils::GetSelectionAddress(), L"$B$2:$C$4"); // the file's saved selection
    excelhost::selectRange(excel, L"A1,C3:D4");
    EXPECT_EQ(ExcelUtils::GetSelectionAddress(), L"$A$1,$C$3:$D$4");
    excelhost::selectRange(excel, L"$2:$9");
    EXPECT_EQ(ExcelUtils::GetSelectionAddress(), L"$2:$9");
    excelhost::selectShape(excel);
    EXPECT_EQ(ExcelUtils::GetSelectionAddress(), L"");
    excelhost::failNextCall(L"Application.Selection", E_FAIL);
    EXPECT_EQ(ExcelUtils::GetSelectionAddress(), L"");
    EXPECT_EQ(boxText(0), L"Unspecified error\r\n");
}

// --- the session patterns of the features ---

TEST_F(SessionTest, RefreshFromWorkbooksUsesAPrivateExcelAndQuitsIt) {
    std::wstring a = write("a.xlsx", sizes());
    std::wstring b = write("b.xlsx", sizes());
    int user = excelhost::startExcel();
    struct Link {
        std::wstring file, sheet, cell;
    };
    std::vector<Link> links = {
        {a, L"Sheet1", L"$B$2"}, {a, L"secret", L"$A$1"}, {b, L"Sheet1", L"Width"}};
    std::vector<CString> texts;
    {
        int launched = 0;
        ExcelSessionGuard guard(launched);
        ASSERT_EQ(launched, 1);
        std::wstring opened;
        for (const Link& link : links) {
            if (link.file != opened) {
                ASSERT_EQ(ExcelUtils::OpenWorkbook(link.file.c_str(), 0, 1), 1);
                opened = link.file;
            }
            ASSERT_EQ(ExcelUtils::ActivateWorksheet(link.sheet.c_str()), 1);
            CStringTable table;
            ASSERT_EQ(ExcelUtils::ReadRange(table, link.cell.c_str()), 1);
            texts.push_back(table[0][0]);
        }
        EXPECT_TRUE(excelhost::workbook(excelhost::lastStartedExcel(), L"a.xlsx")->readOnly());
    }
    EXPECT_EQ(texts, (std::vector<CString>{L"12.5", L"7", L"12.5"}));
    EXPECT_TRUE(detached());
    int launched = excelhost::lastStartedExcel();
    EXPECT_NE(launched, user);
    EXPECT_FALSE(excelhost::excelState(launched).running);
    EXPECT_TRUE(excelhost::excelState(user).running);
    EXPECT_EQ(excelhost::callCount(L"Application.Quit"), 1);
    EXPECT_EQ(excelhost::callCount(L"Workbooks.Open"), 2);  // each workbook once
    EXPECT_EQ(excelhost::callCount(L"Worksheet.Range"), 3); // one Range and one Text per link
    EXPECT_EQ(excelhost::callCount(L"Range.Text"), 3);
    EXPECT_TRUE(lmhost::messageBoxes().empty());
}

TEST_F(SessionTest, ExportAttachesOrLaunchesAndLeavesExcelOpen) {
    // No Excel: a new one with a new workbook, left open for the user.
    {
        int ready = 0, open = 0;
        ExcelSessionGuard guard(nullptr, ready, open);
        ASSERT_EQ(ready, 1);
        EXPECT_EQ(open, 0);
        EXPECT_EQ(currentBook(), L"Book1");
        ASSERT_EQ(ExcelUtils::CreateTextArray(1, 2), 1);
        ExcelUtils::PutTextElement(L"d1", 0, 0);
        ExcelUtils::PutTextElement(L"12", 0, 1);
        EXPECT_EQ(ExcelUtils::WriteTextArray(L"$A$1"), 0);
    }
    int launched = excelhost::lastStartedExcel();
    auto state = excelhost::excelState(launched);
    EXPECT_TRUE(state.running);
    EXPECT_TRUE(state.visible);
    EXPECT_EQ(excelhost::callCount(L"Application.Quit"), 0);
    EXPECT_EQ(excelhost::callCount(L"Workbooks.Add"), 1);
    spreadsheet::Worksheet& sheet = excelhost::workbook(launched, L"Book1")->sheet(0);
    EXPECT_EQ(sheet.text(1, 1), L"d1");
    EXPECT_EQ(sheet.value(1, 2).type, spreadsheet::CellType::Number);
    EXPECT_TRUE(detached());

    // A running Excel with a workbook: attached, nothing launched or added.
    excelhost::resetExcel();
    std::wstring file = write("sizes.xlsx", sizes());
    int user = excelhost::startExcel();
    excelhost::openWorkbook(user, file);
    {
        int ready = 0, open = 0;
        ExcelSessionGuard guard(nullptr, ready, open);
        EXPECT_EQ(ready, 1);
        EXPECT_EQ(open, 1);
        EXPECT_EQ(currentBook(), L"sizes.xlsx");
    }
    EXPECT_EQ(excelhost::lastStartedExcel(), user);
    EXPECT_EQ(excelhost::callCount(L"Workbooks.Add"), 0);
    EXPECT_TRUE(excelhost::excelState(user).running);
}

TEST_F(SessionTest, ImportAttachesOnlyToARunningExcel) {
    EXPECT_EQ(ExcelUtils::GetActiveExcel(nullptr), 0); // the caller shows its own message
    EXPECT_EQ(excelhost::lastStartedExcel(), 0);

    std::wstring file = write("sizes.xlsx", sizes());
    int user = excelhost::startExcel();
    excelhost::openWorkbook(user, file);
    excelhost::selectRange(user, L"B2:C3");
    ASSERT_EQ(ExcelUtils::GetActiveExcel(nullptr), 1);
    CString address = ExcelUtils::GetSelectionAddress();
    CStringTable table;
    ASSERT_EQ(ExcelUtils::ReadRange(table, address), 1);
    ExcelUtils::ReleaseExcel();
    ASSERT_EQ(table.GetSize(), 2);
    EXPECT_EQ(table[0][0], L"12.5");
    EXPECT_EQ(table[0][1], L"abc");
    EXPECT_EQ(table[1][1], L"25.00");
    EXPECT_TRUE(detached());
    EXPECT_TRUE(excelhost::excelState(user).running);
}

TEST_F(SessionTest, SelectCellDialogPattern) {
    std::wstring file = write("sizes.xlsx", sizes());
    // A running Excel opens the path, not read-only.
    int user = excelhost::startExcel();
    {
        int ready = 0, open = 0;
        ExcelSessionGuard guard(file.c_str(), ready, open);
        EXPECT_EQ(ready, 1);
        EXPECT_EQ(open, 1);
        EXPECT_EQ(currentBook(), L"sizes.xlsx");
        EXPECT_FALSE(excelhost::workbook(user, L"sizes.xlsx")->readOnly());
    }
    EXPECT_TRUE(detached());
    EXPECT_TRUE(excelhost::excelState(user).running);

    // No Excel: launched, then the path opened.
    excelhost::resetExcel();
    {
        int ready = 0, open = 0;
        ExcelSessionGuard guard(file.c_str(), ready, open);
        EXPECT_EQ(ready, 1);
        EXPECT_EQ(open, 1);
        EXPECT_EQ(currentSheet(), L"Sheet1");
    }
    EXPECT_TRUE(excelhost::excelState(excelhost::lastStartedExcel()).running);

    // No Excel and a file that cannot be opened: a new workbook takes its place.
    excelhost::resetExcel();
    lmhost::clearTranscript();
    {
        int ready = 0, open = 0;
        ExcelSessionGuard guard(path("gone.xlsx").c_str(), ready, open);
        EXPECT_EQ(ready, 1);
        EXPECT_EQ(open, 0);
        EXPECT_EQ(currentBook(), L"Book1");
    }
    EXPECT_EQ(boxText(0), L"Catastrophic failure\r\n");

    // Nothing installed: the launch failure, then the open finds no application and the
    // user is told that Excel could not be had. Not ready, and the workbook is not open,
    // so the dialog's fields stay as they were.
    excelhost::resetExcel();
    excelhost::setInstalled(false);
    lmhost::clearTranscript();
    {
        int ready = 1, open = 1;
        ExcelSessionGuard guard(file.c_str(), ready, open);
        EXPECT_EQ(ready, 0);
        EXPECT_EQ(open, 0);
    }
    ASSERT_EQ(lmhost::messageBoxes().size(), 2u);
    EXPECT_EQ(boxText(0), L"Invalid class string\r\n");
    EXPECT_EQ(boxText(1), L"Failed to get an instance of Excel!");
    EXPECT_EQ(excelhost::callCount(L"Workbooks.Open"), 0);
    EXPECT_TRUE(detached());
}

TEST_F(SessionTest, ExportWithoutAnyExcelSaysSo) {
    excelhost::setInstalled(false);
    {
        int ready = 1, open = 1;
        ExcelSessionGuard guard(nullptr, ready, open);
        EXPECT_EQ(ready, 0);
        EXPECT_EQ(open, 0);
    }
    ASSERT_EQ(lmhost::messageBoxes().size(), 2u);
    EXPECT_EQ(boxText(0), L"Invalid class string\r\n");
    EXPECT_EQ(boxText(1), L"Failed to get an instance of Excel!");
    EXPECT_EQ(lmhost::messageBoxes()[1].style, 0u);
    EXPECT_EQ(excelhost::lastStartedExcel(), 0);
    EXPECT_TRUE(detached());
}

// --- through a window ---

TEST_F(SessionTest, AttachThroughASpreadsheetWindow) {
    std::wstring file = write("sizes.xlsx", sizes());
    int excel = excelhost::startExcel();
    excelhost::openWorkbook(excel, file);
    HWND app = excelhost::excelState(excel).hwnd;
    EXPECT_TRUE(ExcelUtils::AttachExcelFromWindow(app, 0)); // XLMAIN: go on looking
    EXPECT_TRUE(detached());
    HWND window = excelhost::workbookWindow(excel, L"sizes.xlsx");
    EXPECT_FALSE(ExcelUtils::AttachExcelFromWindow(window, 0));
    EXPECT_EQ(currentBook(), L"sizes.xlsx");
    EXPECT_TRUE(ExcelUtils::s_application.m_lpDispatch);
}

TEST(AutoWrapDeathTest, FailuresEndTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    wchar_t name[] = L"Nothing";
    EXPECT_EXIT(ExcelUtils::AutoWrap(DISPATCH_PROPERTYGET, nullptr, nullptr, name, 0),
                ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(
        {
            excelhost::resetExcel();
            int excel = excelhost::startExcel();
            excelhost::addWorkbook(excel);
            IDispatch* window = nullptr;
            AccessibleObjectFromWindow(excelhost::workbookWindow(excel, L"Book1"),
                                       DWORD(OBJID_NATIVEOM), IID_ExcelWindow,
                                       reinterpret_cast<void**>(&window));
            ExcelUtils::AutoWrap(DISPATCH_PROPERTYGET, nullptr, window, name, 0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(SessionTest, AutoWrapCallsByName) {
    int excel = excelhost::startExcel();
    excelhost::addWorkbook(excel);
    IDispatch* window = nullptr;
    ASSERT_EQ(AccessibleObjectFromWindow(excelhost::workbookWindow(excel, L"Book1"),
                                         DWORD(OBJID_NATIVEOM), IID_ExcelWindow,
                                         reinterpret_cast<void**>(&window)),
              S_OK);
    VARIANT sheet;
    VariantInit(&sheet);
    wchar_t member[] = L"activesheet";
    EXPECT_EQ(ExcelUtils::AutoWrap(DISPATCH_PROPERTYGET, &sheet, window, member, 0), S_OK);
    window->Release();
    ASSERT_EQ(sheet.vt, VT_DISPATCH);
    CWorksheet ws(sheet.pdispVal);
    EXPECT_EQ(ws.get_Name(), L"Sheet1");
}

} // namespace
