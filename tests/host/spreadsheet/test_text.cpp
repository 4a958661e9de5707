// Range.Text of cells in real workbooks: every family of number format.
#include "SheetTest.h"

using spreadsheet::Status;
using testkit::XlsxBuilder;

namespace {

constexpr double kWide = 40; // a column wide enough for anything below

// The text of A1 holding `value` with format `code`, in a column of `width` characters
// (0: the sheet's default width).
std::wstring shown(double value, const std::wstring& code, double width = kWide,
                   bool date1904 = false) {
    XlsxBuilder b;
    b.sheet(L"Sheet1");
    int style = code == L"General" ? 0 : b.format(code);
    b.number("A1", value, style);
    if (width > 0)
        b.columnWidth(1, 1, width);
    b.date1904(date1904);
    Status st;
    auto book = sheettest::openBytes(b, &st);
    EXPECT_EQ(st, Status::Ok);
    return book ? book->sheet(0).text(1, 1) : L"<no book>";
}

std::wstring shownBuiltin(double value, int id, double width = kWide) {
    XlsxBuilder b;
    b.sheet(L"Sheet1");
    b.number("A1", value, b.builtin(id));
    b.columnWidth(1, 1, width);
    auto book = sheettest::openBytes(b);
    return book ? book->sheet(0).text(1, 1) : L"<no book>";
}

std::wstring shownText(const std::wstring& value, const std::wstring& code) {
    XlsxBuilder b;
    b.text("A1", value, b.format(code));
    auto book = sheettest::openBytes(b);
    return book ? book->sheet(0).text(1, 1) : L"<no book>";
}

} // namespace

TEST(GeneralFormat, ShowsUpToElevenCharactersInAWideColumn) {
    EXPECT_EQ(shown(0, L"General"), L"0");
    EXPECT_EQ(shown(1234.5, L"General"), L"1234.5");
    EXPECT_EQ(shown(-1234.5, L"General"), L"-1234.5");
    EXPECT_EQ(shown(1.0 / 3, L"General"), L"0.333333333");
    EXPECT_EQ(shown(2.0 / 3, L"General"), L"0.666666667");
    EXPECT_EQ(shown(0.1 + 0.2, L"General"), L"0.3");
    EXPECT_EQ(shown(12345678901, L"General"), L"12345678901");
    EXPECT_EQ(shown(0.0001, L"General"), L"0.0001");
}

TEST(GeneralFormat, SwitchesToScientificForLargeAndTinyNumbers) {
    EXPECT_EQ(shown(123456789012, L"General"), L"1.23457E+11");
    EXPECT_EQ(shown(1e20, L"General"), L"1E+20");
    EXPECT_EQ(shown(0.00001, L"General"), L"1E-05");
    EXPECT_EQ(shown(0.000012345, L"General"), L"1.2345E-05");
    EXPECT_EQ(shown(-2.5e-7, L"General"), L"-2.5E-07");
}

TEST(GeneralFormat, RoundsToTheDefaultColumnWidth) {
    EXPECT_EQ(shown(1.0 / 3, L"General", 0), L"0.333333");
    EXPECT_EQ(shown(12345678, L"General", 0), L"12345678");
    EXPECT_EQ(shown(123456789, L"General", 0), L"1.23E+08");
    EXPECT_EQ(shown(1234567.891, L"General", 0), L"1234568");
}

TEST(GeneralFormat, FillsWithHashesWhenEvenScientificDoesNotFit) {
    EXPECT_EQ(shown(12345, L"General", 3), L"##");
    EXPECT_EQ(shown(5, L"General", 3), L"5");
}

TEST(BuiltinFormats, NumbersAndCurrency) {
    EXPECT_EQ(shownBuiltin(1234.5, 1), L"1235");
    EXPECT_EQ(shownBuiltin(1234.567, 2), L"1234.57");
    EXPECT_EQ(shownBuiltin(1234567, 3), L"1,234,567");
    EXPECT_EQ(shownBuiltin(-1234.5, 4), L"-1,234.50");
    EXPECT_EQ(shownBuiltin(1234.5, 5), L"$1,235 ");
    EXPECT_EQ(shownBuiltin(-1234.5, 5), L"($1,235)");
    EXPECT_EQ(shownBuiltin(-1234.5, 8), L"($1,234.50)");
    EXPECT_EQ(shownBuiltin(0.256, 9), L"26%");
    EXPECT_EQ(shownBuiltin(0.25678, 10), L"25.68%");
    EXPECT_EQ(shownBuiltin(12345, 11), L"1.23E+04");
    EXPECT_EQ(shownBuiltin(-1234, 37), L"(1,234)");
    EXPECT_EQ(shownBuiltin(1234, 38), L"1,234 ");
    EXPECT_EQ(shownBuiltin(1234, 41), L" 1,234 ");
    EXPECT_EQ(shownBuiltin(0, 41), L" - ");
    EXPECT_EQ(shownBuiltin(1234.5, 44), L" $1,234.50 ");
    EXPECT_EQ(shownBuiltin(12345, 48), L"12.3E+3");
    EXPECT_EQ(shownBuiltin(12, 49), L"12");
    // Ids without a fixed en-US meaning show as General.
    EXPECT_EQ(shownBuiltin(2.5, 30), L"2.5");
}

TEST(BuiltinFormats, DatesAndTimes) {
    EXPECT_EQ(shownBuiltin(45292, 14), L"1/1/2024");
    EXPECT_EQ(shownBuiltin(45292, 15), L"1-Jan-24");
    EXPECT_EQ(shownBuiltin(45292, 16), L"1-Jan");
    EXPECT_EQ(shownBuiltin(45292, 17), L"Jan-24");
    EXPECT_EQ(shownBuiltin(0.75, 18), L"6:00 PM");
    EXPECT_EQ(shownBuiltin(0.5 + 5.0 / 86400, 19), L"12:00:05 PM");
    EXPECT_EQ(shownBuiltin(0.75, 20), L"18:00");
    EXPECT_EQ(shownBuiltin(0.75, 21), L"18:00:00");
    EXPECT_EQ(shownBuiltin(45292.5, 22), L"1/1/2024 12:00");
    EXPECT_EQ(shownBuiltin(1.5 / 24, 45), L"30:00");
    EXPECT_EQ(shownBuiltin(1.5, 46), L"36:00:00");
    EXPECT_EQ(shownBuiltin(1.5 / 1440, 47), L"0130.0");
}

TEST(BuiltinFormats, Fractions) {
    EXPECT_EQ(shownBuiltin(1.5, 12), L"1 1/2");
    EXPECT_EQ(shownBuiltin(1.75, 12), L"1 3/4");
    EXPECT_EQ(shownBuiltin(3.14159265, 13), L"3 14/99");
    EXPECT_EQ(shownBuiltin(2, 12), L"2    ");
}

TEST(CustomFormats, DigitsRoundingAndSeparators) {
    EXPECT_EQ(shown(2.25, L"0.0"), L"2.3");
    EXPECT_EQ(shown(2.675, L"0.00"), L"2.68");
    EXPECT_EQ(shown(0.5, L"#.##"), L".5");
    EXPECT_EQ(shown(7, L"000"), L"007");
    EXPECT_EQ(shown(1.5, L"??.??"), L" 1.5 ");
    EXPECT_EQ(shown(1e15, L"#,##0"), L"1,000,000,000,000,000");
    EXPECT_EQ(shown(-0.04, L"0.0"), L"0.0");
}

TEST(CustomFormats, ScalingPercentAndScientific) {
    EXPECT_EQ(shown(1234567, L"#,##0,"), L"1,235");
    EXPECT_EQ(shown(1234567, L"0.0,,"), L"1.2");
    EXPECT_EQ(shown(0.125, L"0.0%"), L"12.5%");
    EXPECT_EQ(shown(0.000123, L"0.00E+00"), L"1.23E-04");
    EXPECT_EQ(shown(0.00012345, L"##0.0E+0"), L"123.5E-6");
    EXPECT_EQ(shown(9.999, L"0.00E+00"), L"1.00E+01");
    EXPECT_EQ(shown(0, L"0.00E+00"), L"0.00E+00");
}

TEST(CustomFormats, LiteralsEscapesPaddingAndFill) {
    EXPECT_EQ(shown(1234.5, L"#,##0.00 \"kg\""), L"1,234.50 kg");
    EXPECT_EQ(shown(5, L"\\$0"), L"$5");
    EXPECT_EQ(shown(123456789, L"000-00-0000"), L"123-45-6789");
    EXPECT_EQ(shown(5551234567, L"(000) 000-0000"), L"(555) 123-4567");
    EXPECT_EQ(shown(5, L"0_)"), L"5 ");
    EXPECT_EQ(shown(5, L"**0"), L"5");
    EXPECT_EQ(shown(1234.5, L"[$\u20ac-407] #,##0.00"), L"\u20ac 1,234.50");
    EXPECT_EQ(shown(7, L"\"No. \"General"), L"No. 7");
}

TEST(CustomFormats, SectionsAndConditions) {
    EXPECT_EQ(shown(-5, L"0_);(0)"), L"(5)");
    EXPECT_EQ(shown(-5, L"[Red]0;[Blue]0"), L"5");
    EXPECT_EQ(shown(-5, L"[Red]0"), L"-5");
    EXPECT_EQ(shown(0, L"0;-0;\"zero\""), L"zero");
    EXPECT_EQ(shown(-3, L"0.00;;"), L"");
    const std::wstring cond = L"[>=100]\"big\";[<0]\"neg\";\"small\"";
    EXPECT_EQ(shown(150, cond), L"big");
    EXPECT_EQ(shown(-5, cond), L"neg");
    EXPECT_EQ(shown(50, cond), L"small");
}

TEST(CustomFormats, TextSection) {
    EXPECT_EQ(shownText(L"abc", L"0;-0;\"zero\";\"text: \"@"), L"text: abc");
    EXPECT_EQ(shownText(L"abc", L"@\" units\""), L"abc units");
    EXPECT_EQ(shownText(L"abc", L"0.00"), L"abc");
    EXPECT_EQ(shown(12, L"@"), L"12");
}

TEST(CustomFormats, Fractions) {
    EXPECT_EQ(shown(1.3, L"# ?/8"), L"1 2/8");
    EXPECT_EQ(shown(0.75, L"?/?"), L"3/4");
    EXPECT_EQ(shown(2.5, L"?/?"), L"5/2");
    EXPECT_EQ(shown(-1.5, L"# ?/?"), L"-1 1/2");
}

TEST(DateFormats, DatesTimesAndNames) {
    EXPECT_EQ(shown(45292.75 + 1.0 / 86400, L"yyyy-mm-dd hh:mm:ss"), L"2024-01-01 18:00:01");
    EXPECT_EQ(shown(45292, L"dddd, mmmm d, yyyy"), L"Monday, January 1, 2024");
    EXPECT_EQ(shown(45292, L"ddd d mmm yy"), L"Mon 1 Jan 24");
    EXPECT_EQ(shown(45292, L"mmmmm"), L"J");
    EXPECT_EQ(shown(45292, L"[$-409]mmmm d, yyyy"), L"January 1, 2024");
    EXPECT_EQ(shown(0, L"h:mm AM/PM"), L"12:00 AM");
    EXPECT_EQ(shown(0.5, L"h AM/PM"), L"12 PM");
    EXPECT_EQ(shown(0.25, L"h:mm a/p"), L"6:00 a");
    EXPECT_EQ(shown(0.5 + 0.123 / 86400, L"hh:mm:ss.00"), L"12:00:00.12");
    // Seconds round: 23:59:59.6 is the next day.
    EXPECT_EQ(shown(45292 + 86399.6 / 86400, L"m/d/yyyy h:mm:ss"), L"1/2/2024 0:00:00");
}

TEST(DateFormats, ElapsedTime) {
    EXPECT_EQ(shown(2.5, L"[h]:mm"), L"60:00");
    EXPECT_EQ(shown(1.5 / 24, L"[mm]:ss"), L"90:00");
    EXPECT_EQ(shown(1.0 / 24, L"[s]"), L"3600");
    EXPECT_EQ(shown(-0.5, L"[h]:mm"), L"-12:00");
}

TEST(DateFormats, TheYear1900HasItsLeapDay) {
    EXPECT_EQ(shown(59, L"m/d/yyyy"), L"2/28/1900");
    EXPECT_EQ(shown(60, L"m/d/yyyy"), L"2/29/1900");
    EXPECT_EQ(shown(61, L"m/d/yyyy"), L"3/1/1900");
    EXPECT_EQ(shown(0, L"m/d/yyyy"), L"1/0/1900");
    EXPECT_EQ(shown(1, L"dddd"), L"Sunday");
    EXPECT_EQ(shown(2958465, L"m/d/yyyy"), L"12/31/9999");
}

TEST(DateFormats, The1904SystemStartsFourYearsLater) {
    EXPECT_EQ(shown(0, L"m/d/yyyy", kWide, true), L"1/1/1904");
    EXPECT_EQ(shown(43830, L"m/d/yyyy", kWide, true), L"1/1/2024");
    EXPECT_EQ(shown(0, L"dddd", kWide, true), L"Friday");
}

TEST(DateFormats, ImpossibleDatesShowHashes) {
    EXPECT_EQ(shown(-1, L"m/d/yyyy", 10), L"#########");
    EXPECT_EQ(shown(2958466, L"m/d/yyyy", 10), L"#########");
    // 12/31/9999 is serial 2957003 in the 1904 system; the days after it do not exist.
    EXPECT_EQ(shown(2957003, L"m/d/yyyy", kWide, true), L"12/31/9999");
    EXPECT_EQ(shown(2957004, L"m/d/yyyy", 10, true), L"#########");
    EXPECT_EQ(shown(2958465, L"yyyy", 10, true), L"#########");
    // The last second of 9999 rounds over into a year that cannot be shown.
    EXPECT_EQ(shown(2958465.999999, L"m/d/yyyy h:mm", 10), L"#########");
}

TEST(NarrowColumns, NumbersTooWideBecomeHashes) {
    EXPECT_EQ(shown(123456.78, L"0.00", 0), L"########");
    EXPECT_EQ(shown(12345.67, L"0.00", 0), L"12345.67");
    EXPECT_EQ(shown(45292, L"dddd, mmmm d, yyyy", 0), L"########");
    // Text is never cut: it runs over into the next cells.
    EXPECT_EQ(shownText(L"a long text that does not fit", L"General"),
              L"a long text that does not fit");
}

TEST(CellKinds, BooleansErrorsStringsAndFormulas) {
    XlsxBuilder b;
    int money = b.format(L"#,##0.00");
    b.boolean("A1", true)
        .boolean("A2", false)
        .error("A3", "#DIV/0!")
        .error("A4", "#N/A")
        .text("A5", L"  spaced  ")
        .inlineText("A6", L"inline \u00e9")
        .formula("A7", "SUM(B1:B2)", 1234.5, money)
        .formulaText("A8", "UPPER(\"x\")", L"X")
        .styled("A9", money)
        .text("A10", L"tab_x0009_here");
    auto book = sheettest::openBytes(b);
    ASSERT_TRUE(book);
    auto& s = book->sheet(0);
    EXPECT_EQ(s.text(1, 1), L"TRUE");
    EXPECT_EQ(s.text(2, 1), L"FALSE");
    EXPECT_EQ(s.text(3, 1), L"#DIV/0!");
    EXPECT_EQ(s.text(4, 1), L"#N/A");
    EXPECT_EQ(s.text(5, 1), L"  spaced  ");
    EXPECT_EQ(s.text(6, 1), L"inline \u00e9");
    EXPECT_EQ(s.text(7, 1), L"1,234.50");
    EXPECT_TRUE(s.value(7, 1).formula);
    EXPECT_EQ(s.text(8, 1), L"X");
    EXPECT_EQ(s.text(9, 1), L"");
    EXPECT_EQ(s.text(10, 1), L"tab\there");
    EXPECT_EQ(s.text(99, 99), L"");
    EXPECT_EQ(s.numberFormat(7, 1), L"#,##0.00");
    EXPECT_EQ(s.numberFormat(1, 2), L"General");
}
