// Entering typed text, AutoFit, new workbooks and saving back to the file.
#include "SheetTest.h"

#include "spreadsheet/TextMetrics.h"

#include <zip.h>

#include <fstream>
#include <map>

using spreadsheet::SheetState;
using spreadsheet::Status;
using spreadsheet::Workbook;
using testkit::XlsxBuilder;

namespace {

// Inflated contents of every entry of a zip file.
std::map<std::string, std::string> entriesOf(const std::string& path) {
    std::map<std::string, std::string> out;
    int err = 0;
    zip_t* z = zip_open(path.c_str(), ZIP_RDONLY, &err);
    if (!z)
        return out;
    for (zip_int64_t i = 0; i < zip_get_num_entries(z, 0); ++i) {
        zip_stat_t st;
        zip_stat_index(z, zip_uint64_t(i), 0, &st);
        std::string data(std::size_t(st.size), '\0');
        zip_file_t* f = zip_fopen_index(z, zip_uint64_t(i), 0);
        zip_fread(f, data.data(), st.size);
        zip_fclose(f);
        out[st.name] = data;
    }
    zip_close(z);
    return out;
}

XlsxBuilder richBook() {
    XlsxBuilder b;
    int money = b.format(L"#,##0.00");
    b.sheet(L"Data").number("A1", 1).formula("B1", "A1*2", 2, money).text("C1", L"keep");
    b.sheet(L"Other", "hidden").number("A1", 7);
    b.definedName(L"Total", L"Data!$B$1");
    b.part("xl/custom/unknown.bin", std::string("\x01\x02\x03 opaque", 10));
    return b;
}

} // namespace

TEST(TypedEntry, NumbersBecomeNumbersAndTheRestStaysText) {
    auto book = Workbook::create();
    auto& s = book->sheet(0);
    ASSERT_EQ(s.putTexts(2, 2,
                         {{L"12", L"-3.5", L"1e3", L" 7 "},
                          {L"abc", L"12abc", L"1,23", L""},
                          {L"0x10", L"inf", L"+4", L"."}}),
              Status::Ok);
    EXPECT_EQ(s.value(2, 2).type, spreadsheet::CellType::Number);
    EXPECT_DOUBLE_EQ(s.value(2, 3).number, -3.5);
    EXPECT_DOUBLE_EQ(s.value(2, 4).number, 1000);
    EXPECT_DOUBLE_EQ(s.value(2, 5).number, 7);
    EXPECT_EQ(s.value(3, 2).string, L"abc");
    EXPECT_EQ(s.value(3, 3).type, spreadsheet::CellType::String);
    EXPECT_EQ(s.value(3, 4).string, L"1,23");
    EXPECT_EQ(s.value(3, 5).type, spreadsheet::CellType::Empty);
    EXPECT_EQ(s.value(4, 2).type, spreadsheet::CellType::String);
    EXPECT_EQ(s.value(4, 3).type, spreadsheet::CellType::String);
    EXPECT_DOUBLE_EQ(s.value(4, 4).number, 4);
    EXPECT_EQ(s.value(4, 5).type, spreadsheet::CellType::String);
    EXPECT_EQ(s.text(2, 4), L"1.00E+03");
    EXPECT_EQ(spreadsheet::rangeAddress(s.usedRange()), L"$B$2:$E$4");
    EXPECT_TRUE(book->dirty());
}

TEST(TypedEntry, ReplacesFormulasButKeepsTheCellFormat) {
    auto book = sheettest::openBytes(richBook());
    ASSERT_TRUE(book);
    auto& s = book->sheet(0);
    ASSERT_EQ(s.putTexts(1, 2, {{L"1234.5"}}), Status::Ok);
    EXPECT_FALSE(s.value(1, 2).formula);
    EXPECT_EQ(s.text(1, 2), L"1,234.50");
    // An empty text clears the value.
    ASSERT_EQ(s.putTexts(1, 3, {{L""}}), Status::Ok);
    EXPECT_EQ(s.text(1, 3), L"");
}

TEST(TypedEntry, CellsBeyondTheLastColumnAreNotWritten) {
    auto book = Workbook::create();
    auto& s = book->sheet(0);
    ASSERT_EQ(s.putTexts(1, 16384, {{L"a", L"b"}}), Status::Ok);
    EXPECT_EQ(s.text(1, 16384), L"a");
    EXPECT_EQ(spreadsheet::rangeAddress(s.usedRange()), L"$XFD$1");
}

TEST(AutoFit, WidensColumnsSoNumbersShowInFull) {
    auto book = Workbook::create();
    auto& s = book->sheet(0);
    s.putTexts(1, 1, {{L"123456789012", L"x"}, {L"1.5", L"a much longer heading text"}});
    EXPECT_EQ(s.text(1, 1), L"1.23E+11");
    s.autoFitColumns(1, 3);
    EXPECT_EQ(s.text(1, 1), L"1.23457E+11");
    EXPECT_GT(s.columnWidth(2), s.columnWidth(1));
    EXPECT_EQ(s.columnContentPixels(1) >= spreadsheet::textPixels(L"1.23457E+11"), true);
    // An empty column keeps its width.
    EXPECT_DOUBLE_EQ(s.columnWidth(3), s.columnWidth(20));
}

TEST(NewWorkbook, IsBook1WithOneEmptySheet) {
    auto book = Workbook::create();
    EXPECT_EQ(book->name(), L"Book1");
    EXPECT_EQ(book->fullName(), L"Book1");
    EXPECT_FALSE(book->hasFile());
    ASSERT_EQ(book->sheetCount(), 1u);
    EXPECT_EQ(book->sheet(0).name(), L"Sheet1");
    EXPECT_EQ(book->activeSheet(), 0);
    EXPECT_EQ(book->sheet(0).activeCell(), (spreadsheet::CellRef{1, 1}));
    EXPECT_EQ(book->save(), Status::NoPath);
}

TEST(NewWorkbook, SaveAsWritesAFileThatOpensAgain) {
    sheettest::TempDir dir;
    auto book = Workbook::create();
    book->sheet(0).putTexts(1, 1, {{L"Name", L"Value"}, {L"d1", L"12.5"}});
    book->sheet(0).select({{2, 2}, {2, 2}}, {2, 2});
    ASSERT_EQ(book->saveAs(dir.wfile("new.xlsx")), Status::Ok);
    EXPECT_EQ(book->name(), L"new.xlsx");
    EXPECT_FALSE(book->dirty());
    Status st;
    auto again = Workbook::open(dir.wfile("new.xlsx"), true, st);
    ASSERT_EQ(st, Status::Ok);
    EXPECT_EQ(again->sheet(0).text(1, 2), L"Value");
    EXPECT_EQ(again->sheet(0).value(2, 2).number, 12.5);
    EXPECT_EQ(again->sheet(0).activeCell(), (spreadsheet::CellRef{2, 2}));
}

TEST(Save, KeepsEveryPartItDidNotChange) {
    sheettest::TempDir dir;
    std::string path = dir.file("book.xlsx");
    richBook().write(path);
    auto before = entriesOf(path);
    Status st;
    auto book = Workbook::open(dir.wfile("book.xlsx"), false, st);
    ASSERT_EQ(st, Status::Ok);
    ASSERT_EQ(book->sheet(0).putTexts(3, 1, {{L"new", L"5"}}), Status::Ok);
    ASSERT_EQ(book->save(), Status::Ok);
    EXPECT_FALSE(std::filesystem::exists(path + ".lmsave~"));

    auto after = entriesOf(path);
    ASSERT_EQ(after.size(), before.size());
    for (const auto& [name, data] : before) {
        if (name == "xl/worksheets/sheet1.xml")
            EXPECT_NE(after[name], data);
        else
            EXPECT_EQ(after[name], data) << name;
    }
    auto again = Workbook::open(dir.wfile("book.xlsx"), true, st);
    ASSERT_EQ(st, Status::Ok);
    auto& s = again->sheet(0);
    EXPECT_EQ(s.text(3, 1), L"new");
    EXPECT_EQ(s.text(3, 2), L"5");
    EXPECT_TRUE(s.value(1, 2).formula);
    EXPECT_EQ(s.text(1, 2), L"2.00");
    EXPECT_EQ(s.text(1, 3), L"keep");
    EXPECT_EQ(again->findName(L"Total")->sheet, 0);
    EXPECT_EQ(again->sheet(1).state(), SheetState::Hidden);
}

TEST(Save, WritesViewAndVisibilityChangesToTheWorkbookPart) {
    sheettest::TempDir dir;
    richBook().write(dir.file("book.xlsx"));
    Status st;
    auto book = Workbook::open(dir.wfile("book.xlsx"), false, st);
    ASSERT_EQ(st, Status::Ok);
    book->sheet(1).setState(SheetState::Visible);
    book->setActiveSheet(1);
    ASSERT_EQ(book->save(), Status::Ok);
    auto again = Workbook::open(dir.wfile("book.xlsx"), true, st);
    ASSERT_EQ(st, Status::Ok);
    EXPECT_EQ(again->activeSheet(), 1);
    EXPECT_EQ(again->sheet(1).state(), SheetState::Visible);
    EXPECT_EQ(again->sheet(0).text(1, 3), L"keep");
}

TEST(Save, AReadOnlyWorkbookRefusesToOverwriteItsFile) {
    sheettest::TempDir dir;
    std::string path = dir.file("book.xlsx");
    richBook().write(path);
    auto before = entriesOf(path);
    Status st;
    auto book = Workbook::open(dir.wfile("book.xlsx"), true, st);
    ASSERT_EQ(st, Status::Ok);
    book->sheet(0).putTexts(1, 1, {{L"99"}});
    EXPECT_EQ(book->save(), Status::ReadOnly);
    EXPECT_EQ(book->saveAs(dir.wfile("book.xlsx")), Status::ReadOnly);
    EXPECT_EQ(entriesOf(path), before);
    // Saving under another name is allowed.
    EXPECT_EQ(book->saveAs(dir.wfile("copy.xlsx")), Status::Ok);
    EXPECT_FALSE(book->readOnly());
}

TEST(Save, FailsCleanlyWhenTheFolderDoesNotExist) {
    auto book = Workbook::create();
    EXPECT_EQ(book->saveAs(L"/nonexistent/dir/x.xlsx"), Status::WriteFailed);
    EXPECT_FALSE(book->hasFile());
}
