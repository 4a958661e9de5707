// Typed text entered as the spreadsheet program enters it: what the cell then shows, holds
// and keeps after the workbook is saved and opened again.
#include "SheetTest.h"

#include <zip.h>

#include <vector>

using spreadsheet::CellType;
using spreadsheet::Status;
using spreadsheet::Workbook;
using spreadsheet::Worksheet;
using testkit::XlsxBuilder;

namespace {

struct Typed {
    std::wstring typed;
    std::wstring shows; // Range.Text in a default-width column
    CellType type;
    double number;       // for numbers and booleans
    std::wstring format; // number format code of the cell afterwards
};

void expectCell(Worksheet& s, int row, const Typed& t, const char* when) {
    SCOPED_TRACE(testing::Message() << when << ": typed \"" << t.typed << "\"");
    EXPECT_EQ(s.text(row, 1), t.shows);
    spreadsheet::CellValue v = s.value(row, 1);
    EXPECT_EQ(v.type, t.type);
    if (t.type == CellType::Number || t.type == CellType::Boolean) {
        EXPECT_DOUBLE_EQ(v.number, t.number);
    }
    EXPECT_EQ(s.numberFormat(row, 1), t.format);
}

// Types each text into column A of a new workbook, one per row, and checks every cell
// right after the entry and again after a save and a fresh open.
void typeAndReopen(const std::vector<Typed>& entries, bool date1904 = false) {
    sheettest::TempDir dir;
    std::unique_ptr<Workbook> book;
    Status st;
    if (date1904) {
        XlsxBuilder b;
        b.sheet(L"Sheet1").date1904();
        b.write(dir.file("seed.xlsx"));
        book = Workbook::open(dir.wfile("seed.xlsx"), false, st);
    } else {
        book = Workbook::create();
    }
    ASSERT_TRUE(book);
    Worksheet& s = book->sheet(0);
    for (std::size_t i = 0; i < entries.size(); ++i)
        ASSERT_EQ(s.putTexts(int(i) + 1, 1, {{entries[i].typed}}), Status::Ok);
    for (std::size_t i = 0; i < entries.size(); ++i)
        expectCell(s, int(i) + 1, entries[i], "after entry");
    ASSERT_EQ(book->saveAs(dir.wfile("typed.xlsx")), Status::Ok);
    auto again = Workbook::open(dir.wfile("typed.xlsx"), true, st);
    ASSERT_EQ(st, Status::Ok);
    for (std::size_t i = 0; i < entries.size(); ++i)
        expectCell(again->sheet(0), int(i) + 1, entries[i], "after reopen");
}

const wchar_t* const kGeneral = L"General";
const wchar_t* const kCurrency = L"$#,##0_);($#,##0)";
const wchar_t* const kCurrencyCents = L"$#,##0.00_);($#,##0.00)";

std::string styles(const std::string& path) {
    int err = 0;
    zip_t* z = zip_open(path.c_str(), ZIP_RDONLY, &err);
    if (!z)
        return {};
    std::string data;
    zip_stat_t st;
    if (zip_stat(z, "xl/styles.xml", 0, &st) == 0) {
        data.resize(std::size_t(st.size));
        zip_file_t* f = zip_fopen(z, "xl/styles.xml", 0);
        zip_fread(f, data.data(), st.size);
        zip_fclose(f);
    }
    zip_close(z);
    return data;
}

} // namespace

TEST(TypedNumbers, PlainNumbersStayGeneral) {
    typeAndReopen({
        {L"12", L"12", CellType::Number, 12, kGeneral},
        {L"-3.5", L"-3.5", CellType::Number, -3.5, kGeneral},
        {L"+4", L"4", CellType::Number, 4, kGeneral},
        {L".5", L"0.5", CellType::Number, 0.5, kGeneral},
        {L"  42  ", L"42", CellType::Number, 42, kGeneral},
        {L"(42)", L"-42", CellType::Number, -42, kGeneral},
        {L"-0", L"0", CellType::Number, 0, kGeneral},
    });
}

TEST(TypedNumbers, ThousandsSeparatorsGiveTheCommaFormats) {
    typeAndReopen({
        {L"1,250.5", L"1,250.50", CellType::Number, 1250.5, L"#,##0.00"},
        {L"1,250", L"1,250", CellType::Number, 1250, L"#,##0"},
        {L"-1,250", L"-1,250", CellType::Number, -1250, L"#,##0"},
        {L" 12,345.678 ", L"12,345.68", CellType::Number, 12345.678, L"#,##0.00"},
        {L"1,000,000", L"1,000,000", CellType::Number, 1e6, L"#,##0"},
    });
}

TEST(TypedNumbers, PercentagesAreHundredths) {
    typeAndReopen({
        {L"12%", L"12%", CellType::Number, 0.12, L"0%"},
        {L"12.5%", L"12.50%", CellType::Number, 0.125, L"0.00%"},
        {L"-3%", L"-3%", CellType::Number, -0.03, L"0%"},
        {L"1,200%", L"1200%", CellType::Number, 12, L"0%"},
    });
}

TEST(TypedNumbers, CurrencyTakesTheDollarFormats) {
    typeAndReopen({
        {L"$1,200", L"$1,200 ", CellType::Number, 1200, kCurrency},
        {L"$5.50", L"$5.50 ", CellType::Number, 5.5, kCurrencyCents},
        {L"-$3", L"($3)", CellType::Number, -3, kCurrency},
        {L"$-3", L"($3)", CellType::Number, -3, kCurrency},
        {L"($7.25)", L"($7.25)", CellType::Number, -7.25, kCurrencyCents},
    });
}

TEST(TypedNumbers, ScientificNotationShowsTwoDecimals) {
    typeAndReopen({
        {L"1e3", L"1.00E+03", CellType::Number, 1000, L"0.00E+00"},
        {L"1E+03", L"1.00E+03", CellType::Number, 1000, L"0.00E+00"},
        {L"2.5e-4", L"2.50E-04", CellType::Number, 0.00025, L"0.00E+00"},
    });
}

TEST(TypedNumbers, OnlyFifteenSignificantDigitsAreKept) {
    auto book = Workbook::create();
    Worksheet& s = book->sheet(0);
    ASSERT_EQ(s.putTexts(1, 1, {{L"1234567890123456789", L"0.12345678901234567"}}), Status::Ok);
    EXPECT_EQ(s.value(1, 1).number, 1234567890123450000.0);
    EXPECT_EQ(s.value(1, 2).number, 0.123456789012345);
}

TEST(TypedValues, BooleansInAnyCase) {
    typeAndReopen({
        {L"TRUE", L"TRUE", CellType::Boolean, 1, kGeneral},
        {L"false", L"FALSE", CellType::Boolean, 0, kGeneral},
        {L" True ", L"TRUE", CellType::Boolean, 1, kGeneral},
    });
}

TEST(TypedValues, ALeadingApostropheForcesText) {
    typeAndReopen({
        {L"'123", L"123", CellType::String, 0, kGeneral},
        {L"'TRUE", L"TRUE", CellType::String, 0, kGeneral},
        {L"'3/15/2024", L"3/15/2024", CellType::String, 0, kGeneral},
        {L"'", L"", CellType::String, 0, kGeneral},
    });
}

TEST(TypedValues, ApostropheMarkGoesWhenAValueIsTypedOver) {
    auto book = Workbook::create();
    Worksheet& s = book->sheet(0);
    ASSERT_EQ(s.putTexts(1, 1, {{L"'5"}}), Status::Ok);
    EXPECT_EQ(s.value(1, 1).type, CellType::String);
    ASSERT_EQ(s.putTexts(1, 1, {{L"5"}}), Status::Ok);
    EXPECT_EQ(s.value(1, 1).type, CellType::Number);
    ASSERT_EQ(s.putTexts(1, 1, {{L"7%"}}), Status::Ok);
    EXPECT_EQ(s.text(1, 1), L"7%");
}

TEST(TypedDates, TheThreeFormsBecomeSerials) {
    typeAndReopen({
        {L"2024-03-15", L"3/15/2024", CellType::Number, 45366, L"m/d/yyyy"},
        {L"2024/3/5", L"3/5/2024", CellType::Number, 45356, L"m/d/yyyy"},
        {L"3/15/2024", L"3/15/2024", CellType::Number, 45366, L"m/d/yyyy"},
        {L"3-15-2024", L"3/15/2024", CellType::Number, 45366, L"m/d/yyyy"},
        {L"3/15/24", L"3/15/2024", CellType::Number, 45366, L"m/d/yyyy"},
        {L"1/2/30", L"1/2/1930", CellType::Number, 10960, L"m/d/yyyy"},
        {L"15-Mar-2024", L"15-Mar-24", CellType::Number, 45366, L"d-mmm-yy"},
        {L"15 march 24", L"15-Mar-24", CellType::Number, 45366, L"d-mmm-yy"},
        {L"5/mar/2024", L"5-Mar-24", CellType::Number, 45356, L"d-mmm-yy"},
        {L"31-DEC-9999", L"31-Dec-99", CellType::Number, 2958465, L"d-mmm-yy"},
    });
}

TEST(TypedDates, EarlyDatesOfThe1900System) {
    typeAndReopen({
        {L"1/1/1900", L"1/1/1900", CellType::Number, 1, L"m/d/yyyy"},
        {L"2/28/1900", L"2/28/1900", CellType::Number, 59, L"m/d/yyyy"},
        {L"2/29/1900", L"2/29/1900", CellType::Number, 60, L"m/d/yyyy"},
        {L"3/1/1900", L"3/1/1900", CellType::Number, 61, L"m/d/yyyy"},
        {L"12/31/1899", L"12/31/1899", CellType::String, 0, kGeneral},
    });
}

TEST(TypedDates, The1904SystemCountsFromItsOwnStart) {
    typeAndReopen(
        {
            {L"1/1/1904", L"1/1/1904", CellType::Number, 0, L"m/d/yyyy"},
            {L"2024-03-15", L"3/15/2024", CellType::Number, 43904, L"m/d/yyyy"},
            {L"12/31/1903", L"12/31/1903", CellType::String, 0, kGeneral},
        },
        true);
}

TEST(TypedText, WhatIsNoValueStaysTextAsTyped) {
    typeAndReopen({
        {L"abc", L"abc", CellType::String, 0, kGeneral},
        {L"12abc", L"12abc", CellType::String, 0, kGeneral},
        {L"1,23", L"1,23", CellType::String, 0, kGeneral},
        {L"1,2345", L"1,2345", CellType::String, 0, kGeneral},
        {L",123", L",123", CellType::String, 0, kGeneral},
        {L"$5%", L"$5%", CellType::String, 0, kGeneral},
        {L"1,000e3", L"1,000e3", CellType::String, 0, kGeneral},
        {L"1e", L"1e", CellType::String, 0, kGeneral},
        {L"1e999", L"1e999", CellType::String, 0, kGeneral},
        {L"0x10", L"0x10", CellType::String, 0, kGeneral},
        {L"inf", L"inf", CellType::String, 0, kGeneral},
        {L".", L".", CellType::String, 0, kGeneral},
        {L"(-3)", L"(-3)", CellType::String, 0, kGeneral},
        {L"2/29/2023", L"2/29/2023", CellType::String, 0, kGeneral},
        {L"13/1/2024", L"13/1/2024", CellType::String, 0, kGeneral},
        {L"3/15", L"3/15", CellType::String, 0, kGeneral},
        {L"3/15-2024", L"3/15-2024", CellType::String, 0, kGeneral},
        {L"15-Foo-2024", L"15-Foo-2024", CellType::String, 0, kGeneral},
        {L"10:30", L"10:30", CellType::String, 0, kGeneral},
        {L"=A1", L"=A1", CellType::String, 0, kGeneral},
        {L"  padded  ", L"  padded  ", CellType::String, 0, kGeneral},
        {L"TRUEISH", L"TRUEISH", CellType::String, 0, kGeneral},
    });
}

TEST(TypedFormats, AFormattedCellKeepsItsFormat) {
    XlsxBuilder b;
    int twoDecimals = b.format(L"0.00");
    int asText = b.builtin(49);
    b.sheet(L"Sheet1")
        .styled("A1", twoDecimals)
        .styled("A2", twoDecimals)
        .styled("A3", asText)
        .styled("A4", asText)
        .styled("A5", asText);
    auto book = sheettest::openBytes(b);
    ASSERT_TRUE(book);
    Worksheet& s = book->sheet(0);
    ASSERT_EQ(s.putTexts(1, 1, {{L"12%"}, {L"2024-03-15"}, {L"123"}, {L"TRUE"}, {L"'x"}}),
              Status::Ok);
    EXPECT_EQ(s.text(1, 1), L"0.12");
    EXPECT_EQ(s.text(2, 1), L"45366.00");
    // A cell formatted as text takes numbers and booleans as text.
    EXPECT_EQ(s.value(3, 1).type, CellType::String);
    EXPECT_EQ(s.text(3, 1), L"123");
    EXPECT_EQ(s.value(4, 1).string, L"TRUE");
    EXPECT_EQ(s.text(5, 1), L"x");
    EXPECT_EQ(s.numberFormat(5, 1), L"@");
}

TEST(TypedFormats, TheSameFormRepeatedAddsNoNewCellFormats) {
    sheettest::TempDir dir;
    auto book = Workbook::create();
    ASSERT_EQ(book->sheet(0).putTexts(1, 1, {{L"12%", L"13%", L"$5"}}), Status::Ok);
    ASSERT_EQ(book->saveAs(dir.wfile("a.xlsx")), Status::Ok);
    std::string first = styles(dir.file("a.xlsx"));
    EXPECT_NE(first.find("count=\"3\""), std::string::npos) << first;
    book.reset(); // closed, so that its file can be opened for editing again

    Status st;
    auto again = Workbook::open(dir.wfile("a.xlsx"), false, st);
    ASSERT_EQ(st, Status::Ok);
    ASSERT_EQ(again->sheet(0).putTexts(2, 1, {{L"50%", L"$9"}}), Status::Ok);
    ASSERT_EQ(again->save(), Status::Ok);
    EXPECT_EQ(styles(dir.file("a.xlsx")), first);
    auto third = Workbook::open(dir.wfile("a.xlsx"), true, st);
    ASSERT_EQ(st, Status::Ok);
    EXPECT_EQ(third->sheet(0).text(2, 1), L"50%");
    EXPECT_EQ(third->sheet(0).text(2, 2), L"$9 ");
    EXPECT_EQ(third->sheet(0).text(1, 2), L"13%");
}

TEST(TypedFormats, AWorkbookWithoutStylesStillTakesTheValues) {
    XlsxBuilder b;
    b.sheet(L"Sheet1").number("A1", 1);
    b.omit("xl/styles.xml");
    auto book = sheettest::openBytes(b);
    ASSERT_TRUE(book);
    Worksheet& s = book->sheet(0);
    ASSERT_EQ(s.putTexts(1, 1, {{L"12%", L"TRUE"}}), Status::Ok);
    EXPECT_DOUBLE_EQ(s.value(1, 1).number, 0.12);
    EXPECT_EQ(s.text(1, 2), L"TRUE");
}

TEST(WorkbookName, IsTheFileNameWhicheverSlashThePathUses) {
    XlsxBuilder b;
    b.sheet(L"Sheet1").number("A1", 1);
    for (const wchar_t* path :
         {L"C:\\a\\book.xlsx", L"/a/book.xlsx", L"\\\\server\\share\\book.xlsx",
          L"C:/mixed\\dirs/book.xlsx", L"book.xlsx"}) {
        Status st;
        auto book = Workbook::openBytes(b.bytes(), path, true, st);
        ASSERT_TRUE(book) << path;
        EXPECT_EQ(book->name(), L"book.xlsx") << path;
        EXPECT_EQ(book->fullName(), path);
    }
}
