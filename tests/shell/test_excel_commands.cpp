// The user's side of Excel at the linkmesh prompt, the text style commands, and the export and
// import dialogs driven from a script: whole transcripts of the real program.
#include <filesystem>
#include <string>
#include <vector>

#include "ShellRun.h"
#include "TerminalSession.h"

namespace {

using namespace shelltest;

TEST_F(ShellTest, ExcelCommandsRefuseWithoutExcelAndWithoutAWorkbook) {
    ProgramRun r = run("XLSHOW\n", "--no-load");
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_EQ(r.transcript, "\nCommand: XLSHOW\nExcel is not running (XLSTART starts it).\n\n");
    EXPECT_NE(r.errors.find("script.scr:1: the command failed"), std::string::npos) << r.errors;
    r = run("XLSTART\nXLCLOSE\nXLTYPE B2 7\n", "--no-load");
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_EQ(r.transcript, "\nCommand: XLSTART\nExcel started with Book1."
                            "\nCommand: XLCLOSE\nBook1 closed."
                            "\nCommand: XLTYPE B2 7\nExcel has no workbook open (XLOPEN opens "
                            "one).\n\n");
}

TEST_F(ShellTest, TypedCellsShowAsExcelDisplaysThemAndAreLostUnlessSaved) {
    std::string book = (m_dir / "typed.xlsx").string();
    ProgramRun r = run("XLSTART\n"
                       "XLTYPE B2 1234.5\n"
                       "XLTYPE C2 \"a \x01 text that is longer than forty characters in all\"\n"
                       "XLTYPE A3 12%\n"
                       "XLSELECT C2\n"
                       "XLSHOW\n"
                       "XLSAVE\n",
                       "--no-load");
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_EQ(r.transcript,
              "\nCommand: XLSTART\nExcel started with Book1."
              "\nCommand: XLTYPE B2 1234.5\nSheet1!B2 shows \"1234.5\"."
              "\nCommand: XLTYPE C2 \"a \x01 text that is longer than forty characters in all\""
              "\nSheet1!C2 shows \"a \x01 text that is longer than forty characters in all\"."
              "\nCommand: XLTYPE A3 12%\nSheet1!A3 shows \"12%\"."
              "\nCommand: XLSELECT C2\nSelected C2 on Sheet1; the active cell is C2."
              "\nCommand: XLSHOW"
              "\nBook1 (not saved), sheet Sheet1, used range A2:C3, active cell C2:"
              "\n  | A   | B      | C"
              "\n2 |     | 1234.5 | a ? text that is longer than forty ch..."
              "\n3 | 12%"
              "\nCommand: XLSAVE\nBook1 was never saved: XLSAVE needs a file name for it.\n\n");
    r = run("XLSTART\nXLTYPE A1 kept\nXLSAVE \"" + book + "\"\nXLTYPE A1 lost\nXLQUIT\n" +
                "XLSTART\nXLOPEN \"" + book + "\"\nXLSHOW\nXLQUIT\n",
            "--no-load");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_NE(r.transcript.find("\nBook1 saved as " + book + "."), std::string::npos)
        << r.transcript;
    EXPECT_NE(r.transcript.find("\nExcel quit; not saved: typed.xlsx."), std::string::npos);
    EXPECT_NE(r.transcript.find("\ntyped.xlsx opened; Sheet1 is active."), std::string::npos);
    EXPECT_NE(r.transcript.find("\n1 | kept\nCommand: XLQUIT\nExcel quit.\n"), std::string::npos)
        << r.transcript;
}

TEST_F(ShellTest, SelectingIsNoChangeToSaveButASaveKeepsIt) {
    std::string book = (m_dir / "selected.xlsx").string();
    ProgramRun r =
        run("XLSTART\nXLTYPE A1 kept\nXLSAVE \"" + book + "\"\nXLSELECT B3\nXLSHOW\n" +
                "XLQUIT\nXLSTART\nXLOPEN \"" + book + "\"\nXLSELECT C4\nXLSAVE\nXLQUIT\n" +
                "XLSTART\nXLOPEN \"" + book + "\"\nXLSHOW\nXLQUIT\n",
            "--no-load");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_NE(r.transcript.find("\nCommand: XLSHOW\nselected.xlsx, sheet Sheet1, used range A1, "
                                "active cell B3:"),
              std::string::npos)
        << r.transcript;
    EXPECT_EQ(r.transcript.find("not saved"), std::string::npos) << r.transcript;
    EXPECT_NE(r.transcript.rfind("active cell C4:"), std::string::npos) << r.transcript;
}

TEST_F(ShellTest, TextStyleCommandsShowAndRefuse) {
    ProgramRun r = run("TABLESTYLE\nTABLESTYLE 2.5\nTABLESTYLE NEW Big 7\nTEXTSIZE 3\n"
                       "TEXTSTYLE Notes 0.5\nTABLESTYLE 0\n",
                       "--no-load");
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_EQ(r.transcript, "\nCommand: TABLESTYLE"
                            "\nTable style Standard is current; data text height 0.18."
                            "\nCommand: TABLESTYLE 2.5"
                            "\nTable style Standard is current; data text height 2.5."
                            "\nCommand: TABLESTYLE NEW Big 7"
                            "\nTable style Big is current; data text height 7."
                            "\nCommand: TEXTSIZE 3\nTEXTSIZE is 3."
                            "\nCommand: TEXTSTYLE Notes 0.5"
                            "\nText style Notes is current; its height 0.5."
                            "\nCommand: TABLESTYLE 0\nThe height is refused: eInvalidInput.\n\n");
}

TEST_F(ShellTest, ADialogActionTheDialogCannotTakeStopsTheScriptWithTheReason) {
    ProgramRun r = run("PARAM d1 5\nLmesh_ExportParameters\n> check 110 on\n> ok\n");
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_NE(r.errors.find("script.scr:2: in the dialog \"Export Constraint Parameters\": the "
                            "dialog has no control 110"),
              std::string::npos)
        << r.errors;
    EXPECT_EQ(r.transcript.find("Successfully export"), std::string::npos) << "it was cancelled";
}

TEST_F(ShellTest, ImportWithoutExcelAsksTheUserToOpenAWorkbook) {
    ProgramRun r = run("Lmesh_ImportParameters\n> ok\n[Yes]\n");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_NE(r.transcript.find("\n[box \"Linkmesh\" 64] Please open a workbook and select the "
                                "cells. -> OK"),
              std::string::npos)
        << r.transcript;
}

} // namespace

namespace {

using namespace shelltest;

TEST_F(ShellTest, AtTheTerminalTheExportDialogIsShownAgainAfterEachActionWithWhatItRefused) {
    std::string plugin =
        (std::filesystem::path(LINKMESH_PROGRAM).parent_path() / "Linkmesh.so").string();
    TerminalSession terminal((m_dir / "config").string(), {"--plugin", plugin});
    ASSERT_TRUE(terminal.started());
    ASSERT_TRUE(terminal.waitFor("Command: ")) << terminal.raw();
    terminal.typeLine("PARAM d1 5");
    ASSERT_TRUE(terminal.waitFor("Command: ")) << terminal.raw();
    terminal.typeLine("Lmesh_ExportParameters");
    ASSERT_TRUE(terminal.waitFor("> ")) << terminal.raw();
    terminal.typeLine("check 100 d1 off");
    ASSERT_TRUE(terminal.waitFor("> ")) << terminal.raw();
    terminal.typeLine("press 999");
    ASSERT_TRUE(terminal.waitFor("> ")) << terminal.raw();
    terminal.typeLine("cancel");
    ASSERT_TRUE(terminal.waitFor("Command: ")) << terminal.raw();
    terminal.typeLine("QUIT");
    EXPECT_EQ(terminal.finish(), 0);

    std::vector<std::string> lists, notices;
    int shown = 0;
    const std::vector<std::string> screen = terminal.screen();
    for (size_t i = 0; i < screen.size(); ++i) {
        if (screen[i] == "[dialog \"Export Constraint Parameters\"]")
            ++shown;
        if (screen[i] == "  100 list" && i + 1 < screen.size())
            lists.push_back(screen[i + 1]);
        if (screen[i].rfind("  (", 0) == 0)
            notices.push_back(screen[i]);
    }
    EXPECT_EQ(shown, 3) << terminal.raw();
    EXPECT_EQ(lists,
              (std::vector<std::string>{"     [x] \"d1\"", "     [ ] \"d1\"", "     [ ] \"d1\""}));
    EXPECT_EQ(notices, std::vector<std::string>{"  (the dialog has no control 999)"});
}

} // namespace
