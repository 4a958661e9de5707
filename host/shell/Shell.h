// The host program's session: the plug-in, the documents, the command line, and the
// script or terminal that answers it.
#pragma once

#include <deque>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "sdk/control/Commands.h"
#include "sdk/control/Dialogs.h"
#include "sdk/control/HostControl.h"

namespace shell {

// Exit codes of the program.
enum ExitCode {
    kExitOk = 0,
    kExitUsage = 1,
    kExitScriptError = 2, // the script could not run to its end
    kExitLoadError = 3,
    kExitTranscriptError = 4, // the transcript could not be written in full
    kExitFileError = 5        // a drawing could not be opened, updated or saved
};

// One line of a script, with its number.
struct ScriptLine {
    int number = 0;
    std::wstring text;
};

class Session : public lmhost::DialogDriver {
public:
    Session();
    ~Session() override;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Where the transcript also goes; false if the file cannot be written.
    bool setTranscriptFile(const std::string& path);
    void setEcho(bool echo) { m_echoToTerminal = echo; }

    // Opens the first drawing (a new one, or the file given) and loads the plug-in; the exit
    // code: kExitOk, or kExitFileError / kExitLoadError after a message on stderr.
    int start(const std::wstring& pluginPath, bool loadPlugin,
              const std::wstring& drawingFile = L"");
    // Unloads the plug-in and closes the drawings.
    void finish();
    // True once a write of the transcript failed (it was told on stderr then).
    bool transcriptFailed() const { return !m_transcriptError.empty(); }

    // Runs a script; the exit code, with the failing line named on stderr.
    int runScript(const std::string& path);
    // Reads commands from the terminal until EOF or QUIT.
    int runInteractive();
    // Runs command lines as a script named name would; the exit code.
    int runLines(const std::vector<std::wstring>& lines, const std::string& name);

    std::optional<lmhost::DialogAction> nextAction(const lmhost::DialogView& view) override;

    static std::wstring pluginBesideProgram();

private:
    bool loadPluginLibrary(const std::wstring& pluginPath);
    enum class LineKind { Command, Point, Pick, Keyword, Cancel, BoxAnswer, DialogAction };
    LineKind classify(const std::wstring& line) const;
    bool isCommandName(const std::wstring& word) const;

    int runScriptLines(const std::vector<ScriptLine>& lines, const std::string& scriptName);
    // Queues one answer line; false with a reason for one that makes no sense.
    bool queueAnswer(const std::wstring& line, LineKind kind, std::wstring& error);
    lmhost::CommandResult runCommandLine(const std::wstring& line);
    void runQueuedExpressions();
    int answerMessageBox(const lmhost::MessageBoxRecord& box);
    // At the terminal: a prompt that found no queued answer asks the user for one (nothing is
    // queued at the end of the input).
    void askPrompt(const std::wstring& prompt);
    void output(const std::wstring& text, bool toTerminal = true);
    void registerCommands();

    bool m_interactive = false;
    bool m_echoToTerminal = true;
    bool m_quit = false;
    void reportTranscriptFailure(int error);

    std::ofstream m_transcript;
    std::string m_transcriptPath;
    std::string m_transcriptError;
    std::deque<int> m_boxAnswers;
    // What a script does while a dialog waits: the dialog's next actions, and the user's
    // work in Excel beside it (an Excel command line, run when its turn comes).
    struct DialogStep {
        std::optional<lmhost::DialogAction> action;
        std::wstring excelCommand;
    };
    std::deque<DialogStep> m_dialogActions;
    bool isExcelCommand(const std::wstring& line) const;
    // Runs an Excel command while a dialog waits; false when it failed.
    bool runExcelCommand(const std::wstring& line);
    // What went wrong inside a command that the script must stop on.
    std::wstring m_scriptFault;
};

// The words of a box's answer, and back.
std::wstring answerName(int answer);
int answerFromName(const std::wstring& name);

} // namespace shell
