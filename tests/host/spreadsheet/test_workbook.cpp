// Opening workbooks: sheets, saved views, names and lazy loading.
#include "SheetTest.h"

#include "spreadsheet/TextMetrics.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

using spreadsheet::CellRef;
using spreadsheet::RangeRef;
using spreadsheet::SheetState;
using spreadsheet::Status;
using spreadsheet::Workbook;
using testkit::XlsxBuilder;

namespace {

XlsxBuilder threeSheets() {
    XlsxBuilder b;
    b.sheet(L"Data").number("B4", 42).selection("C3", "C3:D5 F7");
    b.sheet(L"Hidden", "hidden").text("A1", L"secret");
    b.sheet(L"My Sheet", "veryHidden").number("A1", 1);
    b.activeTab(0);
    b.definedName(L"Size", L"Data!$B$4");
    b.definedName(L"Block", L"'My Sheet'!$A$1:$B$2");
    b.definedName(L"Size", L"Hidden!$A$1", 1);
    b.definedName(L"Formula", L"SUM(Data!$A:$A)");
    return b;
}

} // namespace

TEST(OpenWorkbook, FromFileGivesNamesAndSheetsInOrder) {
    sheettest::TempDir dir;
    threeSheets().write(dir.file("book.xlsx"));
    Status st;
    auto book = Workbook::open(dir.wfile("book.xlsx"), true, st);
    ASSERT_EQ(st, Status::Ok);
    ASSERT_TRUE(book);
    EXPECT_EQ(book->fullName(), dir.wfile("book.xlsx"));
    EXPECT_EQ(book->name(), L"book.xlsx");
    EXPECT_TRUE(book->readOnly());
    EXPECT_TRUE(book->hasFile());
    ASSERT_EQ(book->sheetCount(), 3u);
    EXPECT_EQ(book->sheet(0).name(), L"Data");
    EXPECT_EQ(book->sheet(1).state(), SheetState::Hidden);
    EXPECT_EQ(book->sheet(2).state(), SheetState::VeryHidden);
    EXPECT_EQ(book->sheet(0).state(), SheetState::Visible);
    EXPECT_EQ(book->findSheet(L"my sheet"), 2);
    EXPECT_EQ(book->findSheet(L"nope"), -1);
    EXPECT_EQ(book->sheet(1).text(1, 1), L"secret");
}

TEST(OpenWorkbook, MissingFileFails) {
    Status st;
    auto book = Workbook::open(L"/nonexistent/dir/book.xlsx", false, st);
    EXPECT_FALSE(book);
    EXPECT_EQ(st, Status::FileNotFound);
    EXPECT_EQ(spreadsheet::statusText(st), L"The file cannot be found or read.");
}

TEST(SavedView, ActiveTabAndSelectionComeFromTheFile) {
    auto b = threeSheets();
    b.activeTab(1);
    auto book = sheettest::openBytes(b);
    ASSERT_TRUE(book);
    EXPECT_EQ(book->activeSheet(), 1);
    EXPECT_EQ(book->sheet(0).activeCell(), (CellRef{3, 3}));
    EXPECT_EQ(book->sheet(0).selectionRef(), L"C3:D5 F7");
    // A sheet without a saved selection has A1.
    EXPECT_EQ(book->sheet(2).activeCell(), (CellRef{1, 1}));
    EXPECT_EQ(book->sheet(2).selectionRef(), L"A1");
}

TEST(SavedView, AnActiveTabOutOfRangeFallsBackToTheFirstSheet) {
    auto b = threeSheets();
    b.activeTab(9);
    auto book = sheettest::openBytes(b);
    ASSERT_TRUE(book);
    EXPECT_EQ(book->activeSheet(), 0);
}

TEST(DefinedNames, ResolveWithSheetScopeFirst) {
    auto book = sheettest::openBytes(threeSheets());
    ASSERT_TRUE(book);
    const auto* size = book->findName(L"size");
    ASSERT_TRUE(size);
    EXPECT_EQ(size->sheet, 0);
    EXPECT_EQ(size->range, (RangeRef{{4, 2}, {4, 2}}));
    EXPECT_EQ(book->sheet(size->sheet).text(4, 2), L"42");

    const auto* local = book->findName(L"Size", 1);
    ASSERT_TRUE(local);
    EXPECT_EQ(local->sheet, 1);
    EXPECT_EQ(local->scopeSheet, 1);
    // From another sheet the workbook-level name is seen.
    EXPECT_EQ(book->findName(L"Size", 2)->sheet, 0);

    const auto* block = book->findName(L"Block");
    ASSERT_TRUE(block);
    EXPECT_EQ(block->sheet, 2);
    EXPECT_EQ(block->range, (RangeRef{{1, 1}, {2, 2}}));

    const auto* formula = book->findName(L"Formula");
    ASSERT_TRUE(formula);
    EXPECT_EQ(formula->sheet, -1);
    EXPECT_EQ(formula->refersTo, L"SUM(Data!$A:$A)");
    EXPECT_EQ(book->findName(L"Unknown"), nullptr);
}

TEST(LazyLoading, ABrokenSheetFailsOnlyWhenTouched) {
    XlsxBuilder b;
    b.sheet(L"Good").number("A1", 5);
    b.sheet(L"Broken");
    b.part("xl/worksheets/sheet2.xml", "<worksheet><sheetData><row r=\"1\"><c");
    Status st;
    auto book = sheettest::openBytes(b, &st);
    ASSERT_EQ(st, Status::Ok);
    EXPECT_FALSE(book->sheet(0).loaded());
    EXPECT_EQ(book->sheet(0).text(1, 1), L"5");
    EXPECT_TRUE(book->sheet(0).loaded());
    EXPECT_FALSE(book->sheet(1).loaded());
    EXPECT_EQ(book->sheet(1).load(), Status::BadXml);
    EXPECT_EQ(book->sheet(1).text(1, 1), L"");
    EXPECT_EQ(book->sheet(1).load(), Status::BadXml);
}

TEST(LazyLoading, RowsAreParsedOnlyWhenRead) {
    XlsxBuilder b;
    b.part("xl/worksheets/sheet1.xml",
           "<worksheet><sheetViews><sheetView workbookViewId=\"0\"><selection activeCell=\"B2\" "
           "sqref=\"B2\"/></sheetView></sheetViews><sheetData>"
           "<row r=\"1\"><c r=\"A1\"><v>5</v></c></row>\n<row\n r=\"3\"><c r=\"B3\" "
           "t=\"inlineStr\"><is><t>a &amp; b</t></is></c></row>"
           "<row r=\"5000\"><c r=\"XFE5000\"><v>1</v></c></row></sheetData></worksheet>");
    auto book = sheettest::openBytes(b);
    ASSERT_TRUE(book);
    auto& s = book->sheet(0);
    EXPECT_EQ(s.load(), Status::Ok);
    EXPECT_EQ(s.text(1, 1), L"5");
    EXPECT_EQ(s.text(3, 2), L"a & b");
    EXPECT_EQ(s.text(2, 1), L"");
    EXPECT_EQ(s.activeCell(), (CellRef{2, 2}));
    // The damaged row shows when the whole sheet is needed.
    EXPECT_EQ(s.text(5000, 1), L"");
    EXPECT_EQ(s.loadAll(), Status::BadReference);
    EXPECT_EQ(spreadsheet::rangeAddress(s.usedRange()), L"$A$1");
}

TEST(LazyLoading, PrefixedNamesAndCommentsRead) {
    XlsxBuilder b;
    b.sheet(L"Prefixed").sheet(L"Commented");
    b.part("xl/worksheets/sheet1.xml",
           "<x:worksheet xmlns:x=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\">"
           "<x:sheetData><x:row r=\"2\"><x:c r=\"C2\"><x:v>2.5</x:v></x:c></x:row>"
           "</x:sheetData></x:worksheet>");
    b.part("xl/worksheets/sheet2.xml",
           "<worksheet><sheetData><!-- <row r=\"1\"><c r=\"A1\"><v>9</v></c></row> -->"
           "<row r=\"1\"><c r=\"A1\"><v>7</v></c></row></sheetData></worksheet>");
    auto book = sheettest::openBytes(b);
    ASSERT_TRUE(book);
    EXPECT_EQ(book->sheet(0).text(2, 3), L"2.5");
    EXPECT_EQ(spreadsheet::rangeAddress(book->sheet(0).usedRange()), L"$C$2");
    EXPECT_EQ(book->sheet(1).text(1, 1), L"7");
}

// The scan for rows tries 16 or 32 bytes at a time: row tags, a comment that hides a row and
// the closing tag are found wherever they fall against those blocks.
TEST(LazyLoading, RowsAndCommentsAreFoundAtEveryOffset) {
    for (int pad = 0; pad < 33; ++pad) {
        std::string rows;
        for (int r = 1; r <= 12; ++r) {
            if (r == 7)
                rows += "<!-- <row r=\"7\"><c r=\"A7\"><v>99</v></c></row> -->";
            else
                rows += "<row r=\"" + std::to_string(r) + "\">" +
                        std::string(std::size_t(r % 5), ' ') + "<c r=\"A" + std::to_string(r) +
                        "\"><v>" + std::to_string(r * 10) + "</v></c></row>";
        }
        for (bool commented : {false, true}) {
            std::string body = commented ? rows : std::string();
            if (!commented)
                for (int r = 1; r <= 12; ++r)
                    body += "<row r=\"" + std::to_string(r) + "\"><c r=\"A" + std::to_string(r) +
                            "\"><v>" + std::to_string(r * 10) + "</v></c></row>";
            XlsxBuilder b;
            b.part("xl/worksheets/sheet1.xml", "<worksheet><sheetData>" +
                                                   std::string(std::size_t(pad), ' ') + body +
                                                   "</sheetData></worksheet>");
            auto book = sheettest::openBytes(b);
            ASSERT_TRUE(book);
            auto& s = book->sheet(0);
            for (int r = 1; r <= 12; ++r)
                EXPECT_EQ(s.text(r, 1), commented && r == 7 ? L"" : std::to_wstring(r * 10))
                    << "pad " << pad << (commented ? ", commented" : "") << ", row " << r;
        }
    }
}

TEST(ColumnWidths, ComeFromColsAndTheDefault) {
    XlsxBuilder b;
    b.sheet(L"S").columnWidth(2, 4, 20).number("A1", 1);
    b.sheet(L"T").defaultColumnWidth(15).number("A1", 1);
    auto book = sheettest::openBytes(b);
    ASSERT_TRUE(book);
    auto& s = book->sheet(0);
    EXPECT_DOUBLE_EQ(s.columnWidth(3), 20);
    // The default column is 64 pixels wide: 59 for the text.
    EXPECT_EQ(s.columnContentPixels(1), 59);
    EXPECT_EQ(s.columnContentPixels(5), 59);
    EXPECT_DOUBLE_EQ(book->sheet(1).columnWidth(7), 15);
}

TEST(ColumnWidths, PixelConversionRoundTrips) {
    for (int px : {10, 64, 100, 333})
        EXPECT_EQ(spreadsheet::columnPixels(spreadsheet::columnWidthFromPixels(px)), px);
}

TEST(UsedRange, IsTheBoundingBoxOfPresentCells) {
    XlsxBuilder b;
    b.number("C2", 1).number("E7", 2).styled("B5", 0);
    auto book = sheettest::openBytes(b);
    ASSERT_TRUE(book);
    EXPECT_EQ(spreadsheet::rangeAddress(book->sheet(0).usedRange()), L"$B$2:$E$7");
    XlsxBuilder empty;
    auto book2 = sheettest::openBytes(empty);
    EXPECT_EQ(spreadsheet::rangeAddress(book2->sheet(0).usedRange()), L"$A$1");
}

TEST(Addresses, A1StyleParseAndFormat) {
    spreadsheet::CellRef c;
    EXPECT_TRUE(spreadsheet::parseCellRef(std::wstring_view(L"$B$4"), c));
    EXPECT_EQ(c, (CellRef{4, 2}));
    EXPECT_TRUE(spreadsheet::parseCellRef(std::wstring_view(L"xfd1048576"), c));
    EXPECT_EQ(c, (CellRef{1048576, 16384}));
    EXPECT_FALSE(spreadsheet::parseCellRef(std::wstring_view(L"XFE1"), c));
    EXPECT_FALSE(spreadsheet::parseCellRef(std::wstring_view(L"A1048577"), c));
    EXPECT_FALSE(spreadsheet::parseCellRef(std::wstring_view(L"A0"), c));
    EXPECT_FALSE(spreadsheet::parseCellRef(std::wstring_view(L"1A"), c));
    RangeRef r;
    EXPECT_TRUE(spreadsheet::parseRangeRef(L"C3:A1", r));
    EXPECT_EQ(spreadsheet::rangeAddress(r), L"$A$1:$C$3");
    EXPECT_EQ(spreadsheet::cellAddress(1, 28), L"$AB$1");
    EXPECT_EQ(spreadsheet::cellAddress(5, 703, false), L"AAA5");
}

// The fuzzer's seeds: a selector byte 0 (a whole file) and then a real workbook, so that
// fuzzing starts from files that reach every reader.
TEST(FuzzSeeds, AreWorkbooksThatOpenWhole) {
    std::map<std::string, std::string> seeds;
    for (const auto& entry : std::filesystem::directory_iterator(LM_FUZZ_CORPUS "/workbook")) {
        std::ifstream in(entry.path(), std::ios::binary);
        seeds[entry.path().filename().string()] =
            std::string(std::istreambuf_iterator<char>(in), {});
    }
    ASSERT_GE(seeds.size(), 6u);
    // The hostile seeds found faults: each is refused with its reason, within the limits
    // the fuzz target reads with.
    const std::map<std::string, Status> refused = {
        {"hostile_deep_nesting", Status::TooDeep},
        {"hostile_empty_elements", Status::TooManyNodes},
        {"hostile_case_duplicates", Status::DuplicatePart}};
    spreadsheet::Limits fuzzLimits;
    fuzzLimits.maxXmlNodes = 100000;
    std::map<std::string, std::unique_ptr<Workbook>> books;
    for (auto& [name, bytes] : seeds) {
        SCOPED_TRACE(name);
        ASSERT_FALSE(bytes.empty());
        EXPECT_EQ(bytes[0], '\0');
        EXPECT_LE(bytes.size(), 8192u);
        Status st;
        auto book = Workbook::openBytes(bytes.substr(1), L"seed.xlsx", true, st, fuzzLimits);
        if (auto it = refused.find(name); it != refused.end()) {
            if (book)
                st = book->sheet(0).loadAll();
            EXPECT_EQ(st, it->second);
            continue;
        }
        ASSERT_EQ(st, Status::Ok);
        for (std::size_t i = 0; i < book->sheetCount(); ++i)
            EXPECT_EQ(book->sheet(i).loadAll(), Status::Ok);
        books[name] = std::move(book);
    }
    ASSERT_TRUE(books.count("numbers_strings_formulas"));
    EXPECT_EQ(books["numbers_strings_formulas"]->sheet(0).text(1, 6), L"1.23E+11");
    ASSERT_TRUE(books.count("dates_1904"));
    EXPECT_TRUE(books["dates_1904"]->date1904());
    ASSERT_TRUE(books.count("sheets_and_names"));
    EXPECT_EQ(books["sheets_and_names"]->findName(L"Local", 2)->sheet, 2);
}
