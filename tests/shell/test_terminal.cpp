// A user at the terminal answers the plug-in's prompts, message boxes and dialogs as they come;
// a script answers them from its lines and stops where it has none. The commands asking are
// those of a small test application (PromptProbe.cpp) loaded instead of the plug-in.
#include <string>
#include <vector>

#include "ShellRun.h"
#include "TerminalSession.h"

namespace {

using namespace shelltest;

const std::string kProbe = std::string("--plugin '") + LINKMESH_PROBE + "'";

TEST_F(ShellTest, TypedAnswersReachTheApplicationAsAScriptsAnswersDo) {
    std::string session = "PROBEPOINT\n3,4\n"
                          "PROBEPOINT\n1.5,-2,7\n"
                          "PROBEPOINT\nundo\n"
                          "PROBEKWORD\nleft\n"
                          "TABLE 2 2 0,0\n"
                          "PROBEPICK\npick A 1,2\n"
                          "PROBEPICK\npick none\n";
    ProgramRun typed = type(session, kProbe);
    EXPECT_EQ(typed.exitCode, 0) << typed.errors;
    EXPECT_EQ(typed.transcript, "\nCommand: PROBEPOINT\nSpecify a point or [Undo]: "
                                "\nProbe: point 3,4,0"
                                "\nCommand: PROBEPOINT\nSpecify a point or [Undo]: "
                                "\nProbe: point 1.5,-2,7"
                                "\nCommand: PROBEPOINT\nSpecify a point or [Undo]: "
                                "\nProbe: keyword Undo"
                                "\nCommand: PROBEKWORD\nSide [Left/Right]: "
                                "\nProbe: keyword Left"
                                "\nCommand: TABLE 2 2 0,0\nTable A: 2 rows, 2 columns."
                                "\nCommand: PROBEPICK\nSelect an object: "
                                "\nProbe: picked A at 1,2"
                                "\nCommand: PROBEPICK\nSelect an object: "
                                "\nProbe: result -5001\n");
    // The same lines as a script leave the same transcript.
    ProgramRun scripted = run(session, kProbe);
    EXPECT_EQ(scripted.exitCode, 0) << scripted.errors;
    EXPECT_EQ(scripted.transcript, typed.transcript);
}

TEST_F(ShellTest, EnterAloneOrTheEndOfInputCancelsAPromptAndTheSessionGoesOn) {
    ProgramRun r = type("PROBEPOINT\n\nPROBEKWORD\n*Cancel*\nPROBEPICK\n", kProbe);
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_EQ(r.transcript, "\nCommand: PROBEPOINT\nSpecify a point or [Undo]: "
                            "\nProbe: cancelled"
                            "\nCommand: PROBEKWORD\nSide [Left/Right]: "
                            "\nProbe: cancelled"
                            "\nCommand: PROBEPICK\nSelect an object: "
                            "\nProbe: cancelled\n");
}

TEST_F(ShellTest, AnAnswerThatFitsNoPromptIsAskedAgainAndACommandNameIsOnlyAWordThere) {
    ProgramRun r = type("TABLE 1 1 0,0\n"
                        "PROBEPICK\npick ZZ\n[Yes]\n> ok\npick 1 2\npick A 4,5\n"
                        "PROBEKWORD\nPROBEPOINT\n",
                        kProbe);
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    // Only the pick that names an object is taken; the refused lines are no commands.
    // PROBEPOINT typed at the keyword prompt is a word that is not on its list.
    EXPECT_EQ(r.transcript, "\nCommand: TABLE 1 1 0,0\nTable A: 1 rows, 1 columns."
                            "\nCommand: PROBEPICK\nSelect an object: "
                            "\nProbe: picked A at 4,5"
                            "\nCommand: PROBEKWORD\nSide [Left/Right]: "
                            "\nProbe: result -5001\n");
}

TEST_F(ShellTest, AMessageBoxAtTheTerminalTakesOnlyItsOwnButtons) {
    ProgramRun r = type("PROBEBOX\nRetry\nmaybe\n[No]\nPROBEBOX\ncancel\nPROBEBOX\n", kProbe);
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    // The last box meets the end of the input and takes its default button.
    EXPECT_EQ(r.transcript, "\nCommand: PROBEBOX\n[box \"Probe\" 3] Keep the changes? -> No"
                            "\nProbe: answer 7"
                            "\nCommand: PROBEBOX\n[box \"Probe\" 3] Keep the changes? -> Cancel"
                            "\nProbe: answer 2"
                            "\nCommand: PROBEBOX\n[box \"Probe\" 3] Keep the changes? -> Yes"
                            "\nProbe: answer 6\n");
}

TEST_F(ShellTest, ADialogAtTheTerminalTakesActionsUntilOkOrTheEndOfInput) {
    ProgramRun r = type("PROBEDIALOG\npress 1\n> type 2 Main door\nclick 3\ncheck 4 maybe\n"
                        "CHECK 4 on\nok\nPROBEDIALOG\nchoose 5 Steel\n",
                        kProbe);
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    // The dialog itself is shown on the terminal, not written on the command line.
    EXPECT_EQ(r.transcript, "\nCommand: PROBEDIALOG"
                            "\nProbe: action 0 on 1 \"\""
                            "\nProbe: action 3 on 2 \"Main door\""
                            "\nProbe: action 2 on 4 \"1\""
                            "\nProbe: dialog OK"
                            "\nCommand: PROBEDIALOG"
                            "\nProbe: action 1 on 5 \"Steel\""
                            "\nProbe: dialog cancelled\n");
}

TEST_F(ShellTest, AScriptNeverAsksTheTerminalAndStopsAtItsFirstUnansweredQuestion) {
    writeFile(m_dir / "answers.txt", "5,6\n[Yes]\n> ok\n");
    std::string fromTerminal = " < '" + (m_dir / "answers.txt").string() + "'";

    ProgramRun point = run("PROBEPOINT\n3,4\n\nPROBEPOINT\n", kProbe + fromTerminal);
    EXPECT_EQ(point.exitCode, 2);
    EXPECT_EQ(point.errors, "linkmesh: " + (m_dir / "script.scr").string() +
                                ":4: the prompt \"Specify a point or [Undo]:\" was not answered\n");
    EXPECT_EQ(point.transcript, "\nCommand: PROBEPOINT\nSpecify a point or [Undo]: "
                                "\nProbe: point 3,4,0"
                                "\nCommand: PROBEPOINT\nSpecify a point or [Undo]: "
                                "\nProbe: cancelled\n\n");

    ProgramRun box = run("PROBEBOX\n", kProbe + fromTerminal);
    EXPECT_EQ(box.exitCode, 2);
    EXPECT_NE(box.errors.find("script.scr:1: a message box asked \"Keep the changes?\" and the "
                              "script gave no answer"),
              std::string::npos)
        << box.errors;

    ProgramRun dialog = run("PROBEDIALOG\n", kProbe + fromTerminal);
    EXPECT_EQ(dialog.exitCode, 2);
    EXPECT_NE(dialog.errors.find("script.scr:1: the dialog \"Probe settings\" wanted an action "
                                 "and the script gave none"),
              std::string::npos)
        << dialog.errors;
}

TEST_F(ShellTest, AtATerminalThePromptIsShownOnceWithTheAnswerTypedBesideIt) {
    TerminalSession terminal((m_dir / "config").string());
    ASSERT_TRUE(terminal.started());
    ASSERT_TRUE(terminal.waitFor("Command: ")) << terminal.raw();
    terminal.typeLine("PROBEPOINT");
    ASSERT_TRUE(terminal.waitFor("Specify a point or [Undo]: ")) << terminal.raw();
    terminal.typeLine("3,4");
    ASSERT_TRUE(terminal.waitFor("Command: ")) << terminal.raw();
    terminal.typeLine("PROBEKWORD");
    ASSERT_TRUE(terminal.waitFor("Side [Left/Right]: ")) << terminal.raw();
    terminal.typeLine("right");
    ASSERT_TRUE(terminal.waitFor("Command: ")) << terminal.raw();
    terminal.typeLine("QUIT");
    EXPECT_EQ(terminal.finish(), 0);

    std::vector<std::string> seen;
    for (const std::string& line : terminal.screen())
        if (!line.empty())
            seen.push_back(line);
    EXPECT_EQ(seen, (std::vector<std::string>{
                        "Command: PROBEPOINT", "Specify a point or [Undo]: 3,4",
                        "Probe: point 3,4,0", "Command: PROBEKWORD", "Side [Left/Right]: right",
                        "Probe: keyword Right", "Command: QUIT"}));
}

} // namespace
