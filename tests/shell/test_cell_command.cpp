// linkmesh cell: what a link to workbook cells would read, over real .xlsx files.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "ShellRun.h"
#include "testkit/XlsxBuilder.h"

namespace {

using namespace shelltest;

class ShellCellCommand : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        testkit::XlsxBuilder book;
        int thousands = book.format(L"#,##0.00");
        int percent = book.builtin(9);
        int date = book.builtin(14);
        book.sheet(L"Sizes")
            .number("A1", 1234.5, thousands)
            .text("B2", L"Oak door")
            .number("B3", 0.25, percent)
            .formula("C1", "A1*2", 2469)
            .boolean("D1", true)
            .error("D2", "#DIV/0!");
        book.sheet(L"Other").number("B2", 45000, date).number("C5", 12345678901.0);
        book.definedName(L"DoorWidth", L"Sizes!$A$1");
        book.definedName(L"Finish", L"Other!$B$2:$C$5");
        book.definedName(L"Local", L"Other!$C$5", 1);
        book.write(workbook().string());
    }

    fs::path workbook() const { return m_dir / "Doors.xlsx"; }

    ProgramRun cell(const std::string& arguments) {
        std::string command = std::string("'") + LINKMESH_PROGRAM + "' cell " + arguments + " > '" +
                              (m_dir / "out.txt").string() + "' 2> '" +
                              (m_dir / "err.txt").string() + "'";
        ProgramRun r;
        int status = std::system(command.c_str());
        r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        r.transcript = readFile(m_dir / "out.txt");
        r.errors = readFile(m_dir / "err.txt");
        return r;
    }

    std::string book() const { return "'" + workbook().string() + "'"; }
};

TEST_F(ShellCellCommand, PrintsEachCellAsTheSpreadsheetShowsIt) {
    ProgramRun r = cell(book() + " Sizes A1 B2 B3 C1 D1 D2 \\$A\\$1 Z99");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_EQ(r.errors, "");
    EXPECT_EQ(r.transcript, "A1\t1,234.50\n"
                            "B2\tOak door\n"
                            "B3\t25%\n"
                            "C1\t2469\n"
                            "D1\tTRUE\n"
                            "D2\t#DIV/0!\n"
                            "$A$1\t1,234.50\n"
                            "Z99\t\n");
}

TEST_F(ShellCellCommand, ADefinedNameReadsAsALinkReadsItThroughItsSheet) {
    // Finish and the sheet-scoped Local live on Other. Finish spans cells that differ, so
    // its Text is empty, as a link reads it; the stored value is its first cell's. A long
    // number in General fits the standard column only in scientific form.
    ProgramRun r = cell(book() + " Other Finish Local C5 --value");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_EQ(r.transcript, "Finish\t\tnumber\t45000\tm/d/yyyy\n"
                            "Local\t1.23E+10\tnumber\t12345678901\tGeneral\n"
                            "C5\t1.23E+10\tnumber\t12345678901\tGeneral\n");
    // A link on Other cannot reach DoorWidth of Sizes: Worksheet.Range refuses it, and so
    // does cell.
    ProgramRun other = cell(book() + " Other DoorWidth C5");
    EXPECT_EQ(other.exitCode, 2);
    EXPECT_EQ(other.transcript, "C5\t1.23E+10\n");
    EXPECT_EQ(other.errors, "linkmesh: \"DoorWidth\" names cells of the sheet \"Sizes\"; a link "
                            "on Other cannot read it (Method 'Range' of object '_Worksheet' "
                            "failed)\n");
}

TEST_F(ShellCellCommand, ValueShowsTheStoredValueTypeAndNumberFormat) {
    ProgramRun r = cell(book() + " Sizes A1 B2 B3 C1 D1 D2 E9 --value");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_EQ(r.transcript, "A1\t1,234.50\tnumber\t1234.5\t#,##0.00\n"
                            "B2\tOak door\ttext\tOak door\tGeneral\n"
                            "B3\t25%\tnumber\t0.25\t0%\n"
                            "C1\t2469\tnumber\t2469\tGeneral\t=A1*2\n"
                            "D1\tTRUE\tboolean\t1\tGeneral\n"
                            "D2\t#DIV/0!\terror\t#DIV/0!\tGeneral\n"
                            "E9\t\tempty\t\tGeneral\n");
    // The option may come anywhere on the line.
    ProgramRun first = cell("--value " + book() + " Sizes A1");
    EXPECT_EQ(first.exitCode, 0) << first.errors;
    EXPECT_EQ(first.transcript, "A1\t1,234.50\tnumber\t1234.5\t#,##0.00\n");
}

TEST_F(ShellCellCommand, ACellThatIsNoAddressOrNameIsReportedAndTheOthersStillPrinted) {
    // A sheet-scoped name does not reach from another sheet.
    ProgramRun r = cell(book() + " Sizes A1 Local NoSuchName A0 B2");
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_EQ(r.transcript, "A1\t1,234.50\nB2\tOak door\n");
    EXPECT_EQ(r.errors,
              "linkmesh: \"Local\" is neither a cell address nor a defined name of the workbook\n"
              "linkmesh: \"NoSuchName\" is neither a cell address nor a defined name of the "
              "workbook\n"
              "linkmesh: \"A0\" is neither a cell address nor a defined name of the workbook\n");
}

TEST_F(ShellCellCommand, AMissingOrDamagedFileOrSheetFailsWithAClearMessage) {
    std::string missing = (m_dir / "Gone.xlsx").string();
    ProgramRun gone = cell("'" + missing + "' Sizes A1");
    EXPECT_EQ(gone.exitCode, 2);
    EXPECT_EQ(gone.transcript, "");
    EXPECT_EQ(gone.errors,
              "linkmesh: cannot open " + missing + ": The file cannot be found or read.\n");

    writeFile(m_dir / "Notes.xlsx", "plain text, not a workbook");
    ProgramRun damaged = cell("'" + (m_dir / "Notes.xlsx").string() + "' Sizes A1");
    EXPECT_EQ(damaged.exitCode, 2);
    EXPECT_NE(damaged.errors.find("The file is not a workbook"), std::string::npos)
        << damaged.errors;

    ProgramRun sheet = cell(book() + " Prices A1");
    EXPECT_EQ(sheet.exitCode, 2);
    EXPECT_EQ(sheet.transcript, "");
    EXPECT_EQ(sheet.errors, "linkmesh: " + workbook().string() + " has no sheet \"Prices\"\n");
}

TEST_F(ShellCellCommand, FormulasFollowTypedCellsAndStaleResultsAreSaidToBe) {
    testkit::XlsxBuilder b;
    b.sheet(L"Dims").number("B1", 1600).number("B2", 3000);
    b.formulaOnly("B6", "B1*B2/1e6"); // written without a result, as libraries do
    b.formula("C6", "FANCY(B1)", 7);
    std::string path = (m_dir / "Dims.xlsx").string();
    b.write(path);
    EXPECT_EQ(cell("'" + path + "' Dims B6 C6 --value").transcript,
              "B6\t4.8\tnumber\t4.7999999999999998\tGeneral\t=B1*B2/1e6\n"
              "C6\t7\tnumber\t7\tGeneral\t=FANCY(B1)\n");
    ProgramRun set = run("XLSET " + path + " Dims B1 2000\n", "--no-load");
    EXPECT_EQ(set.exitCode, 0) << set.errors;
    ProgramRun r = cell("'" + path + "' Dims B6 C6");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_EQ(r.transcript, "B6\t6\n"
                            "C6\t7\tmay be stale: the function FANCY is not calculated here\n");
}

TEST_F(ShellCellCommand, TheUpdateSaysWhichResultsMayBeStale) {
    testkit::XlsxBuilder b;
    b.sheet(L"Dims").number("B1", 1600).formula("B6", "B1*2", 3200).formula("C6", "FANCY(B1)", 7);
    std::string path = (m_dir / "Dims.xlsx").string();
    b.write(path);
    ProgramRun r =
        run("SAVEAS " + (m_dir / "d.dxf").string() + "\nPARAM width 800\nPARAM depth 10\n" +
            importLinks("width,Dims.xlsx*Dims*$B$6\ndepth,Dims.xlsx*Dims*$C$6\n") + "XLSET " +
            path + " Dims B1 2000\nSETVAR FILEDIA 0\nLmesh_UpdateLinkedParameters\n");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    std::string xlset = "\nCommand: XLSET " + path +
                        " Dims B1 2000\nDims!B1 shows \"2000\"; Dims.xlsx saved.\n"
                        "  Dims!B6 (=B1*2) shows \"4000\".\n"
                        "  Dims!C6 (=FANCY(B1)) shows \"7\", which may be stale (the function "
                        "FANCY is not calculated here).\n";
    EXPECT_NE(r.transcript.find(xlset), std::string::npos) << r.transcript;
    std::string update = "Update the parameter width successfully.\n"
                         "Update the parameter depth successfully.\n"
                         "Finish.\n"
                         "Dims!C6 of Dims.xlsx may be stale (the function FANCY is not calculated "
                         "here); the spreadsheet program recalculates it when it opens the "
                         "workbook.\n";
    EXPECT_NE(r.transcript.find(update), std::string::npos) << r.transcript;
}

TEST_F(ShellCellCommand, TooFewArgumentsShowTheUsage) {
    ProgramRun r = cell(book() + " Sizes --value");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.errors, "usage: linkmesh cell WORKBOOK SHEET CELL... [--value]\n");
    EXPECT_EQ(cell("").exitCode, 1);
}

TEST_F(ShellCellCommand, TheWorkbookCommandsTypeIntoACellAndSaveACopyAsAUserDoes) {
    // Script words with spaces or quotes go in double quotes; these paths have none.
    std::string original = workbook().string(), copy = (m_dir / "Copy.xlsx").string();
    std::string drawing = (m_dir / "Door.dxf").string();
    ProgramRun r =
        run("XLSAVEAS " + original + " " + copy + "\n" + "XLSET " + copy + " Other Finish 45100\n" +
                "XLSET " + copy + " Sizes B2 Painted  white door\n" + "SAVEAS " + drawing + "\n",
            "--no-load");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_EQ(r.transcript, "\nCommand: XLSAVEAS " + original + " " + copy +
                                "\nDoors.xlsx saved as " + copy + "." + "\nCommand: XLSET " + copy +
                                " Other Finish 45100" +
                                "\nOther!Finish shows \"6/23/2023\"; Copy.xlsx saved." +
                                "\nCommand: XLSET " + copy + " Sizes B2 Painted  white door" +
                                "\nSizes!B2 shows \"Painted white door\"; Copy.xlsx saved." +
                                "\nCommand: SAVEAS " + drawing + "\nSaved " + drawing + ".\n");
    // The typed number is stored as a number under the cell's date format; the original
    // workbook is unchanged.
    EXPECT_EQ(cell("'" + copy + "' Other B2 --value").transcript,
              "B2\t6/23/2023\tnumber\t45100\tm/d/yyyy\n");
    EXPECT_EQ(cell("'" + copy + "' Sizes B2").transcript, "B2\tPainted white door\n");
    EXPECT_EQ(cell(book() + " Other B2").transcript, "B2\t3/15/2023\n");
}

TEST_F(ShellCellCommand, TheWorkbookCommandsRefuseWhatTheyCannotDo) {
    std::string path = workbook().string(), gone = (m_dir / "Gone.xlsx").string();
    ProgramRun r =
        type("XLSET " + path + " Prices A1 5\n" + "XLSET " + path + " Sizes Nowhere 5\n" +
                 "XLSET " + gone + " Sizes A1 5\n" + "XLSAVEAS " + path + "\n",
             "--no-load");
    EXPECT_EQ(r.transcript, "\nCommand: XLSET " + path + " Prices A1 5\n" + path +
                                " has no sheet \"Prices\"." + "\nCommand: XLSET " + path +
                                " Sizes Nowhere 5\n\"Nowhere\" is no cell or name of " + path +
                                "." + "\nCommand: XLSET " + gone + " Sizes A1 5\nCannot open " +
                                gone + ": The file cannot be found or read." +
                                "\nCommand: XLSAVEAS " + path +
                                "\nXLSAVEAS needs a workbook and the new file's path.\n");
}

// What a user meets at the prompt with hostile or protected workbooks: the reason, and the
// file as it was.
TEST_F(ShellCellCommand, WorkbookCommandsSayWhyAFileIsRefused) {
    std::string deep = (m_dir / "Deep.xlsx").string();
    std::string nested;
    for (int i = 0; i < 200000; ++i)
        nested += "<r>";
    for (int i = 0; i < 200000; ++i)
        nested += "</r>";
    testkit::XlsxBuilder hostile;
    hostile.sheet(L"Sizes").number("A1", 1).part(
        "xl/worksheets/sheet1.xml",
        "<worksheet xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\">"
        "<sheetData><row r=\"1\"><c r=\"A1\" t=\"inlineStr\"><is>" +
            nested + "</is></c></row></sheetData></worksheet>");
    hostile.write(deep);
    std::string locked = workbook().string();
    fs::permissions(workbook(),
                    fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
    std::string before = readFile(workbook());
    std::string fifo = (m_dir / "pipe.xlsx").string();
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0644), 0);
    ProgramRun r = type("XLSET " + deep + " Sizes A1 5\n" + "XLSET " + locked + " Sizes A1 5\n" +
                            "XLSAVEAS " + locked + " " + fifo + "\n",
                        "--no-load");
    EXPECT_EQ(r.transcript,
              "\nCommand: XLSET " + deep + " Sizes A1 5\nCannot save " + deep +
                  ": The file is damaged: a part of the workbook nests its XML too deep." +
                  "\nCommand: XLSET " + locked + " Sizes A1 5\nCannot save " + locked +
                  ": The file is read-only: its permissions do not allow writing to it." +
                  "\nCommand: XLSAVEAS " + locked + " " + fifo + "\nCannot save " + fifo +
                  ": The path is not a regular file; only a file can be saved over.\n");
    EXPECT_EQ(readFile(workbook()), before);
    EXPECT_TRUE(fs::is_fifo(fifo));

    ProgramRun c = cell("'" + deep + "' Sizes A1");
    EXPECT_EQ(c.exitCode, 2);
    EXPECT_EQ(c.errors, "linkmesh: the sheet \"Sizes\" cannot be read: The file is damaged: a "
                        "part of the workbook nests its XML too deep.\n");
}

TEST_F(ShellCellCommand, XlsetNamesTheEditorWhoHasTheWorkbookOpen) {
    std::string path = workbook().string();
    // Another editor's owner file, locked by this test's process as that editor would.
    fs::path owner = m_dir / "~$Doors.xlsx";
    writeFile(owner, "Kim\n");
    int fd = ::open(owner.c_str(), O_RDWR);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::flock(fd, LOCK_EX | LOCK_NB), 0);
    ProgramRun r = type("XLSET " + path + " Sizes A1 5\n", "--no-load");
    ::close(fd);
    EXPECT_EQ(r.transcript, "\nCommand: XLSET " + path + " Sizes A1 5\nCannot open " + path +
                                ": The file is locked for editing by 'Kim'.\n");
    EXPECT_EQ(cell(book() + " Sizes A1").transcript, "A1\t1,234.50\n");
}

} // namespace
