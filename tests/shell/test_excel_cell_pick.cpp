// The Select an Excel Cell dialog in the linkmesh program: the user works in Excel while the
// dialog waits ("> XLSELECT B3" in a script, "XLSELECT B3" at the dialog's prompt), and the
// link the manager stores has the path the dialog made.
#include <string>

#include "ShellRun.h"
#include "testkit/XlsxBuilder.h"

namespace {

using namespace shelltest;

class ExcelCellPick : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        testkit::XlsxBuilder book;
        book.sheet(L"Sizes").number("B2", 800).number("B3", 2000).number("B4", 1000);
        book.definedName(L"HandleHeight", L"Sizes!$B$4");
        fs::create_directories(m_dir / "plans");
        book.write((m_dir / "plans" / "sizes.xlsx").string());
    }
    // A saved drawing with the parameter width (handle C), Excel started with the workbook.
    std::string start() const {
        return "SAVEAS " + (m_dir / "plans" / "door.dxf").string() +
               "\nPARAM width 900\nXLSTART\nXLOPEN " + (m_dir / "plans" / "sizes.xlsx").string() +
               "\n";
    }
    static std::string from(const std::string& transcript, const std::string& marker) {
        size_t at = transcript.find(marker);
        return at == std::string::npos ? "(not found: " + marker + ")" : transcript.substr(at);
    }
};

TEST_F(ExcelCellPick, ExcelWorkBesideTheDialogIsTakenByGetActiveCell) {
    ProgramRun r = run(start() + "Lmesh_LinkParameters\n"
                                 "> choose 101 width\n> press 123\n"
                                 "> XLSELECT B3\n"
                                 "> press 128\n> choose 131 Relative Path\n> ok\n> press 104\n"
                                 "> press 123\n> XLSELECT B4\n> press 128\n> press 129\n> ok\n"
                                 "> press 104\n[Yes]\n> press 2\n"
                                 "XDLIST C\n");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_EQ(from(r.transcript, "\nCommand: Lmesh_LinkParameters"),
              "\nCommand: Lmesh_LinkParameters"
              "\nIn Excel: XLSELECT B3\nSelected B3 on Sizes; the active cell is B3."
              "\nIn Excel: XLSELECT B4\nSelected B4 on Sizes; the active cell is B4."
              "\n[box \"Norvane Linkmesh\" 68] width already has a linked cell. Do you want to "
              "replace it? -> Yes"
              "\nCommand: XDLIST C\nXdata of C (AcDbAssocVariable):"
              "\n  1001 LMESH_EXPRESSION_AD66626A\n  1000 " +
                  (m_dir / "plans" / "sizes.xlsx").string() + "*Sizes*HandleHeight\n");
}

TEST_F(ExcelCellPick, TheFirstLinkHadTheRelativePath) {
    ProgramRun r = run(start() + "Lmesh_LinkParameters\n"
                                 "> choose 101 width\n> press 123\n> XLSELECT B3\n> press 128\n"
                                 "> choose 131 Relative Path\n> ok\n> press 104\n> press 2\n"
                                 "XDLIST C\n");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_NE(r.transcript.find("\n  1000 ./sizes.xlsx*Sizes*$B$3\n"), std::string::npos)
        << r.transcript;
}

TEST_F(ExcelCellPick, AnExcelCommandThatFailsBesideTheDialogStopsTheScript) {
    ProgramRun r = run(start() + "Lmesh_LinkParameters\n> press 123\n> XLSHEET Nowhere\n"
                                 "> press 128\n> ok\n> cancel\nXDLIST C\n");
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_NE(r.errors.find("script.scr:5: in Excel, beside the dialog \"Select an Excel Cell\": "
                            "the command failed"),
              std::string::npos)
        << r.errors;
    EXPECT_EQ(r.transcript.find("XDLIST"), std::string::npos) << "nothing after the failure ran";
}

TEST_F(ExcelCellPick, AtTheTerminalExcelCommandsAreTypedAtTheDialogsPrompt) {
    ProgramRun r = type(start() + "Lmesh_LinkParameters\nchoose 101 width\npress 123\n"
                                  "XLSELECT B2\npress 128\nok\npress 104\npress 2\nXDLIST C\n");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_NE(r.transcript.find("\nIn Excel: XLSELECT B2\nSelected B2 on Sizes; the active cell "
                                "is B2.\nCommand: XDLIST C"),
              std::string::npos)
        << r.transcript;
    EXPECT_NE(r.transcript.find("\n  1000 " + (m_dir / "plans" / "sizes.xlsx").string() +
                                "*Sizes*$B$2\n"),
              std::string::npos)
        << r.transcript;
}

} // namespace
