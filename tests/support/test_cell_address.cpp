// The cell address grammar: spelling and parsing of $A$1 and $A$1:$C$3, with its quirks.
#include <gtest/gtest.h>

#include <string>

#include "excel/ExcelUtils.h"
#include "testkit/Transcript.h"

namespace {

class CellAddress : public testkit::HostTest {};

struct Parsed {
    int ok, row, column;
    bool operator==(const Parsed&) const = default;
};
std::ostream& operator<<(std::ostream& os, const Parsed& p) {
    return os << "{ok " << p.ok << ", row " << p.row << ", col " << p.column << "}";
}

Parsed cell(const wchar_t* text) {
    Parsed p{0, 0, 0};
    p.ok = ExcelUtils::ParseCellAddress(text, p.row, p.column);
    return p;
}
Parsed rangeStart(const wchar_t* text) {
    Parsed p{0, 0, 0};
    p.ok = ExcelUtils::ParseRangeStart(text, p.row, p.column);
    return p;
}
Parsed rangeEnd(const wchar_t* text) {
    Parsed p{0, 0, 0};
    p.ok = ExcelUtils::ParseRangeEnd(text, p.row, p.column);
    return p;
}

TEST_F(CellAddress, SpellsOneAndTwoLetterColumns) {
    EXPECT_EQ(ExcelUtils::GetCellAddress(1, 1), L"$A$1");
    EXPECT_EQ(ExcelUtils::GetCellAddress(5, 26), L"$Z$5");
    EXPECT_EQ(ExcelUtils::GetCellAddress(5, 27), L"$AA$5");
    EXPECT_EQ(ExcelUtils::GetCellAddress(5, 52), L"$AZ$5");
    EXPECT_EQ(ExcelUtils::GetCellAddress(5, 53), L"$BA$5");
    EXPECT_EQ(ExcelUtils::GetCellAddress(120, 702), L"$ZZ$120");
    // No three-letter form: the first letter runs past Z.
    EXPECT_EQ(ExcelUtils::GetCellAddress(1, 703), L"$[A$1");
    EXPECT_TRUE(lmhost::messageBoxes().empty());
}

TEST_F(CellAddress, IndexesBelowOneGiveEmptyTextAfterAMessageBox) {
    EXPECT_EQ(ExcelUtils::GetCellAddress(0, 3), L"");
    EXPECT_EQ(ExcelUtils::GetCellAddress(3, 0), L"");
    auto boxes = lmhost::messageBoxes();
    ASSERT_EQ(boxes.size(), 2u);
    EXPECT_EQ(boxes[0].text, L"The row index and column index should be a positive number.");
    EXPECT_EQ(testkit::commandLine(), L"");
}

TEST_F(CellAddress, ParsesAddressesCaseInsensitively) {
    EXPECT_EQ(cell(L"$A$1"), (Parsed{1, 1, 1}));
    EXPECT_EQ(cell(L"$Z$1"), (Parsed{1, 1, 26}));
    EXPECT_EQ(cell(L"$AA$1"), (Parsed{1, 1, 27}));
    EXPECT_EQ(cell(L"$ZZ$1"), (Parsed{1, 1, 702}));
    EXPECT_EQ(cell(L"$a$1"), (Parsed{1, 1, 1}));
    EXPECT_EQ(cell(L"$C$7"), (Parsed{1, 7, 3}));
    // Whatever precedes the first dollar is ignored; a range gives its first cell.
    EXPECT_EQ(cell(L"Table(2F4).$C$7"), (Parsed{1, 7, 3}));
    EXPECT_EQ(cell(L"$A$1:$C$3"), (Parsed{1, 1, 1}));
}

TEST_F(CellAddress, ReportsSuccessWithUncheckedRows) {
    // The row is read as _wtoi reads, so the callers must reject row 0 themselves.
    EXPECT_EQ(cell(L"$ABC$12"), (Parsed{1, 0, 28}));
    EXPECT_EQ(cell(L"$A$"), (Parsed{1, 0, 1}));
    EXPECT_EQ(cell(L"$A$-4"), (Parsed{1, -4, 1}));
    EXPECT_EQ(cell(L"$A$ 12x"), (Parsed{1, 12, 1}));
}

TEST_F(CellAddress, RejectsWhatIsNoAddress) {
    EXPECT_EQ(cell(L""), (Parsed{0, 0, 0}));
    EXPECT_EQ(cell(L"A1"), (Parsed{0, 0, 0}));
    EXPECT_EQ(cell(L"$A1"), (Parsed{0, 0, 0}));
    EXPECT_EQ(cell(L"$1$1"), (Parsed{0, 0, 0}));
    EXPECT_EQ(cell(L"$"), (Parsed{0, 0, 0}));
    EXPECT_EQ(cell(L"$\u00e9$1"), (Parsed{0, 0, 0}));
}

TEST_F(CellAddress, RangeStartKeepsCaseAndStopsAtWholeRows) {
    EXPECT_EQ(rangeStart(L"$B$2:$D$9"), (Parsed{1, 2, 2}));
    EXPECT_EQ(rangeStart(L"$AB$120:$AC$121"), (Parsed{1, 120, 28}));
    // Not upper-cased: 'a' is worth its own code minus 64.
    EXPECT_EQ(rangeStart(L"$a$1:$c$3"), (Parsed{1, 1, 33}));
    // The whole-row form stores the row and fails, leaving the column alone.
    EXPECT_EQ(rangeStart(L"$2:$9"), (Parsed{0, 2, 0}));
    EXPECT_EQ(rangeStart(L""), (Parsed{0, 0, 0}));
    EXPECT_EQ(rangeStart(L"B2:D9"), (Parsed{0, 0, 0}));
}

TEST_F(CellAddress, RangeEndReadsBehindTheColon) {
    EXPECT_EQ(rangeEnd(L"$B$2:$D$9"), (Parsed{1, 9, 4}));
    EXPECT_EQ(rangeEnd(L"$B$2:$AA$10"), (Parsed{1, 10, 27}));
    EXPECT_EQ(rangeEnd(L"$2:$9"), (Parsed{0, 9, 0}));
    EXPECT_EQ(rangeEnd(L"$B$2"), (Parsed{0, 0, 0}));
    EXPECT_EQ(rangeEnd(L"$B$2:D9"), (Parsed{0, 0, 0}));
    EXPECT_EQ(rangeEnd(L"$B$2:"), (Parsed{0, 0, 0}));
    EXPECT_EQ(rangeEnd(L"$B$2:$"), (Parsed{0, 0, 0}));
}

TEST_F(CellAddress, SurvivesHugeAndStrangeText) {
    std::wstring huge(2'000'000, L'$');
    EXPECT_EQ(cell(huge.c_str()).ok, 0);
    std::wstring digits = L"$A$" + std::wstring(1'000'000, L'9');
    EXPECT_EQ(cell(digits.c_str()), (Parsed{1, 2147483647, 1}));
    std::wstring controls = L"\x01\x02$\x1D$";
    EXPECT_EQ(cell(controls.c_str()).ok, 0);
    EXPECT_EQ(rangeEnd(huge.c_str()).ok, 0);
}

} // namespace
