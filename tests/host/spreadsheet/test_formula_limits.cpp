// Heavy checks of the formula engine (label "heavy"): a chain of a million cells.
#include "SheetTest.h"

#include <string>

namespace {

std::string chainSheet(int cells) {
    std::string rows = "<row r=\"1\"><c r=\"A1\"><v>1</v></c></row>";
    rows.reserve(std::size_t(cells) * 60);
    for (int r = 2; r <= cells; ++r) {
        std::string row = std::to_string(r);
        rows += "<row r=\"" + row + "\"><c r=\"A" + row + "\"><f>A" + std::to_string(r - 1) +
                "+1</f></c></row>";
    }
    return "<worksheet xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\">"
           "<sheetData>" +
           rows + "</sheetData></worksheet>";
}

} // namespace

TEST(FormulaLimits, AMillionCellChainIsCalculatedAndRecalculated) {
    const int n = 1000000;
    testkit::XlsxBuilder b;
    b.sheet(L"S").part("xl/worksheets/sheet1.xml", chainSheet(n));
    spreadsheet::Status st;
    auto book = spreadsheet::Workbook::openBytes(b.bytes(), L"/tmp/chain.xlsx", false, st);
    ASSERT_TRUE(book);
    auto& s = book->sheet(0);
    EXPECT_EQ(s.value(n, 1).number, double(n));
    ASSERT_EQ(s.putTexts(1, 1, {{L"10"}}), spreadsheet::Status::Ok);
    EXPECT_EQ(s.storedValue(n, 1).number, double(n + 9));
    EXPECT_FALSE(s.mayBeStale(n, 1));
}
