// The terminal forgives: Ctrl-C cancels what is asked (or the line being typed) as Esc does and
// never ends the session, a refused answer is asked for again with its prompt, HELP names the
// loaded plug-ins' commands, and errors never trail the output's last line.
#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include "ShellRun.h"
#include "TerminalSession.h"

namespace {

using namespace shelltest;

const std::string kProbe = std::string("--plugin '") + LINKMESH_PROBE + "'";
const std::string kCtrlC = "\x03";

TEST_F(ShellTest, CtrlCCancelsAPromptOrTheTypedLineAndTheSessionGoesOn) {
    std::string transcript = (m_dir / "typed.txt").string();
    TerminalSession terminal((m_dir / "config").string(), {"--transcript", transcript});
    ASSERT_TRUE(terminal.started());
    ASSERT_TRUE(terminal.waitFor("Command: ")) << terminal.raw();
    terminal.typeLine("PROBEPOINT");
    ASSERT_TRUE(terminal.waitFor("Specify a point or [Undo]: ")) << terminal.raw();
    terminal.press(kCtrlC);
    ASSERT_TRUE(terminal.waitFor("Command: ")) << terminal.raw();
    // Half a command typed, then thought better of.
    terminal.press("PROBEKW");
    terminal.press(kCtrlC);
    ASSERT_TRUE(terminal.waitFor("Command: ")) << terminal.raw();
    terminal.typeLine("PROBEKWORD");
    ASSERT_TRUE(terminal.waitFor("Side [Left/Right]: ")) << terminal.raw();
    terminal.typeLine("left");
    ASSERT_TRUE(terminal.waitFor("Command: ")) << terminal.raw();
    terminal.typeLine("QUIT");
    EXPECT_EQ(terminal.finish(), 0);

    EXPECT_EQ(nonEmptyLines(terminal.screen()),
              (std::vector<std::string>{
                  "Command: PROBEPOINT", "Specify a point or [Undo]: *Cancel*", "Probe: cancelled",
                  "Command: *Cancel*", "Command: PROBEKWORD", "Side [Left/Right]: left",
                  "Probe: keyword Left", "Command: QUIT"}));
    // The command line's record is that of an Enter that cancels; the dropped line is no
    // command.
    EXPECT_EQ(readFile(transcript), "\nCommand: PROBEPOINT\nSpecify a point or [Undo]: "
                                    "\nProbe: cancelled"
                                    "\nCommand: PROBEKWORD\nSide [Left/Right]: "
                                    "\nProbe: keyword Left"
                                    "\nCommand: QUIT\n");
}

TEST_F(ShellTest, CtrlCPressesCancelOfABoxAndCancelsADialog) {
    std::string transcript = (m_dir / "typed.txt").string();
    TerminalSession terminal((m_dir / "config").string(), {"--transcript", transcript});
    ASSERT_TRUE(terminal.started());
    ASSERT_TRUE(terminal.waitFor("Command: ")) << terminal.raw();
    terminal.typeLine("PROBEBOX");
    ASSERT_TRUE(terminal.waitFor("Yes/No/Cancel? ")) << terminal.raw();
    terminal.press(kCtrlC);
    ASSERT_TRUE(terminal.waitFor("Command: ")) << terminal.raw();
    terminal.typeLine("PROBEDIALOG");
    ASSERT_TRUE(terminal.waitFor("> ")) << terminal.raw();
    terminal.typeLine("type 2 Main door");
    ASSERT_TRUE(terminal.waitFor("> ")) << terminal.raw();
    terminal.press(kCtrlC);
    ASSERT_TRUE(terminal.waitFor("Command: ")) << terminal.raw();
    terminal.typeLine("QUIT");
    EXPECT_EQ(terminal.finish(), 0);
    EXPECT_EQ(readFile(transcript),
              "\nCommand: PROBEBOX\n[box \"Probe\" 3] Keep the changes? -> Cancel"
              "\nProbe: answer 2"
              "\nCommand: PROBEDIALOG"
              "\nProbe: action 3 on 2 \"Main door\""
              "\nProbe: dialog cancelled"
              "\nCommand: QUIT\n");
}

TEST_F(ShellTest, ARefusedAnswerIsExplainedAndItsPromptShownAgain) {
    TerminalSession terminal((m_dir / "config").string());
    ASSERT_TRUE(terminal.started());
    ASSERT_TRUE(terminal.waitFor("Command: ")) << terminal.raw();
    terminal.typeLine("PROBEPOINT");
    ASSERT_TRUE(terminal.waitFor("Specify a point or [Undo]: ")) << terminal.raw();
    terminal.typeLine("[Yes]");
    ASSERT_TRUE(terminal.waitFor("Specify a point or [Undo]: ")) << terminal.raw();
    terminal.typeLine("pick none 1 2");
    ASSERT_TRUE(terminal.waitFor("Specify a point or [Undo]: ")) << terminal.raw();
    terminal.typeLine("3,4");
    ASSERT_TRUE(terminal.waitFor("Command: ")) << terminal.raw();
    terminal.typeLine("QUIT");
    EXPECT_EQ(terminal.finish(), 0);
    EXPECT_EQ(nonEmptyLines(terminal.screen()),
              (std::vector<std::string>{
                  "Command: PROBEPOINT", "Specify a point or [Undo]: [Yes]",
                  "The prompt wants a point (x,y), a pick (pick HANDLE), a keyword, or Enter to "
                  "cancel.",
                  "Specify a point or [Undo]: pick none 1 2",
                  "A pick is written \"pick HANDLE [x,y]\", \"pick OUTER/INNER [x,y]\" or "
                  "\"pick none [x,y]\".",
                  "Specify a point or [Undo]: 3,4", "Probe: point 3,4,0", "Command: QUIT"}));
}

TEST_F(ShellTest, HelpNamesTheCommandsOfEachLoadedPluginUnderItsGroup) {
    ProgramRun probe = run("HELP\n", kProbe);
    EXPECT_EQ(probe.exitCode, 0) << probe.errors;
    EXPECT_NE(probe.transcript.find("\nCommands of the group PROBE:\n  PROBEPOINT\n  PROBEKWORD"
                                    "\n  PROBEPICK\n  PROBEBOX\n  PROBEDIALOG\n"),
              std::string::npos)
        << probe.transcript;
    // The host's own come first.
    EXPECT_LT(probe.transcript.find("Host commands:"), probe.transcript.find("PROBEPOINT"));

    ProgramRun plugin = run("HELP\nARXUNLOAD\nHELP\n");
    EXPECT_EQ(plugin.exitCode, 0) << plugin.errors;
    size_t unloaded = plugin.transcript.find("successfully unloaded");
    size_t group = plugin.transcript.find("\nCommands of the group Lmesh:");
    ASSERT_NE(group, std::string::npos) << plugin.transcript;
    EXPECT_LT(group, unloaded);
    EXPECT_NE(plugin.transcript.find("\n  Lmesh_UpdateLinkedParameters\n", group),
              std::string::npos);
    // Once unloaded, its commands are no longer offered.
    EXPECT_EQ(plugin.transcript.find("Commands of the group", unloaded), std::string::npos);
}

// The program as a user starts it, with what it prints and its errors on one screen.
struct Screen {
    int exitCode = -1;
    std::string text;
};

Screen runToScreen(const fs::path& dir, const std::string& arguments) {
    fs::path out = dir / "screen.txt";
    std::string command = "cd '" + dir.string() + "' && XDG_CONFIG_HOME='" +
                          (dir / "config").string() + "' '" + LINKMESH_PROGRAM + "' " + arguments +
                          " > '" + out.string() + "' 2>&1 < /dev/null";
    Screen s;
    int status = std::system(command.c_str());
    s.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    s.text = readFile(out);
    return s;
}

TEST_F(ShellTest, AnErrorAfterTheStartUpEchoStartsALineOfItsOwn) {
    Screen missing = runToScreen(m_dir, "missing.scr");
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(missing.text.rfind("\nCommand: (command \"Lmesh_LoadMenu\")\n"
                                 "linkmesh: cannot open the script missing.scr\n",
                                 0),
              0u)
        << missing.text;

    // A script error already ends the output's line; no empty line is added before it.
    writeFile(m_dir / "bad.scr", "NOSUCHCOMMAND\n");
    Screen bad = runToScreen(m_dir, "bad.scr");
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_NE(bad.text.find("Press F1 for help.\nlinkmesh: bad.scr:1: unknown command"),
              std::string::npos)
        << bad.text;
}

TEST_F(ShellTest, CtrlCStopsAScriptBetweenCommandsAndTheSessionEndsInOrder) {
    std::string script;
    for (int i = 0; i < 200000; ++i)
        script += "GETVAR FILEDIA\n";
    writeFile(m_dir / "long.scr", script);
    fs::path transcript = m_dir / "out.txt";
    pid_t pid = fork();
    if (pid == 0) {
        std::string config = (m_dir / "config").string();
        setenv("XDG_CONFIG_HOME", config.c_str(), 1);
        freopen((m_dir / "err.txt").c_str(), "w", stderr);
        freopen("/dev/null", "w", stdout);
        execl(LINKMESH_PROGRAM, LINKMESH_PROGRAM, "--no-load", "--transcript", transcript.c_str(),
              (m_dir / "long.scr").c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    ASSERT_GT(pid, 0);
    // Once a command has run, the script is under way.
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (readFile(transcript).find("FILEDIA = ") == std::string::npos &&
           std::chrono::steady_clock::now() < deadline)
        usleep(10 * 1000);
    kill(pid, SIGINT);
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_TRUE(WIFEXITED(status)) << "ended by a signal";
    EXPECT_EQ(WEXITSTATUS(status), 2);
    EXPECT_NE(readFile(m_dir / "err.txt").find("interrupted (Ctrl-C) before this line"),
              std::string::npos)
        << readFile(m_dir / "err.txt");
    // The last command ran to its end.
    std::string written = readFile(transcript);
    EXPECT_EQ(written.substr(written.size() - 14), "\nFILEDIA = 1\n\n") << written.size();
}

TEST_F(ShellTest, VersionIsPrintedWithoutStartingASession) {
    Screen version = runToScreen(m_dir, "--version");
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.text, std::string("linkmesh ") + LINKMESH_VERSION + "\n");
}

} // namespace
