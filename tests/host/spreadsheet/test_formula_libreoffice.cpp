// Regenerates the formula fixture's results with LibreOffice, where it is installed:
// the fixture workbook is recalculated by a headless conversion, and the results it
// saved are written to expected.tsv in the source tree (check them in).
#include "FormulaFixture.h"
#include "SheetTest.h"

#include <cstdlib>
#include <filesystem>

TEST(FormulaFixtureRegeneration, LibreOfficeCalculatesTheCases) {
    if (std::system("command -v soffice >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "LibreOffice (soffice) is not installed";
    sheettest::TempDir dir;
    auto cases = formulafixture::readCases();
    ASSERT_FALSE(cases.empty());
    formulafixture::workbook(cases).write(dir.file("fixture.xlsx"));
    std::string command = "cd '" + dir.file("") + "' && soffice -env:UserInstallation=file://" +
                          dir.file("profile") +
                          " --headless --calc --convert-to xlsx --outdir out fixture.xlsx "
                          ">/dev/null 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0);
    spreadsheet::Status st;
    auto book = spreadsheet::Workbook::open(dir.wfile("out/fixture.xlsx"), true, st);
    ASSERT_TRUE(book) << spreadsheet::statusText(st).size();
    auto& sheet = book->sheet(0);
    std::ofstream out(formulafixture::path("expected.tsv"));
    for (std::size_t i = 0; i < cases.size(); ++i) {
        spreadsheet::CellValue v = sheet.storedValue(int(i) + 1, 1);
        EXPECT_NE(v.type, spreadsheet::CellType::Empty) << cases[i].formula;
        out << cases[i].formula << "\t" << formulafixture::describe(v) << "\n";
    }
}
