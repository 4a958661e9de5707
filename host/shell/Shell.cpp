#include "Shell.h"

#include "DrawingFiles.h"
#include "ScriptReader.h"
#include "Terminal.h"

#include <readline/history.h>
#include <readline/readline.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <iostream>

#include "sdk/WideFormat.h"
#include "accmd.h"
#include "acdocman.h"
#include "acedads.h"
#include "dbapserv.h"
#include "dbents.h"
#include "gemat3d.h"
#include "rxregsvc.h"
#include "sdk/control/Applications.h"
#include "sdk/control/Documents.h"
#include "drawing/control/Editor.h"
#include "drawing/control/Input.h"
#include "sdk/control/Menus.h"
#include "sdk/control/SystemVariables.h"
#include "spreadsheet/ExcelControl.h"
#include "windows.h"

namespace shell {

namespace {

using lmhost::CommandResult;
using Args = std::vector<std::wstring>;

std::wstring trim(const std::wstring& text) {
    size_t a = 0, b = text.size();
    while (a < b && std::iswspace(text[a]))
        ++a;
    while (b > a && std::iswspace(text[b - 1]))
        --b;
    return text.substr(a, b - a);
}

// The objects of a pick: "HANDLE", or "OUTER/INNER/..." where each next handle names an
// entity of the block the one before it inserts, as a click inside nested blocks reaches it.
bool parsePickPath(const std::wstring& text, std::vector<AcDbObjectId>& path, std::wstring& error) {
    AcDbDatabase* db = acdbHostApplicationServices()->workingDatabase();
    size_t start = 0;
    AcDbObjectId block;
    std::wstring previous;
    for (;;) {
        size_t slash = text.find(L'/', start);
        std::wstring word = text.substr(start, slash == std::wstring::npos ? slash : slash - start);
        AcDbHandle handle(word.c_str());
        AcDbObjectId id;
        if (word.empty() || handle.isNull() ||
            db->getAcDbObjectId(id, false, handle) != Acad::eOk) {
            error = L"no object has the handle " + word;
            return false;
        }
        if (path.empty()) {
            // Only what the current space shows can be clicked.
            AcDbEntity* entity = nullptr;
            if (acdbOpenObject(entity, id, AcDb::kForRead) == Acad::eOk) {
                bool shown = entity->ownerId() == db->currentSpaceId();
                entity->close();
                if (!shown) {
                    error = word +
                            L" is not in the current space (what lies in a block is "
                            L"picked through its reference: OUTER/" +
                            word + L")";
                    return false;
                }
            }
        } else {
            AcDbEntity* entity = nullptr;
            bool held = acdbOpenObject(entity, id, AcDb::kForRead) == Acad::eOk;
            if (held) {
                held = entity->ownerId() == block;
                entity->close();
            }
            if (!held) {
                error = word + L" is not in the block that " + previous + L" inserts";
                return false;
            }
        }
        path.push_back(id);
        if (slash == std::wstring::npos)
            return true;
        AcDbBlockReference* reference = nullptr;
        if (acdbOpenObject(reference, id, AcDb::kForRead) != Acad::eOk) {
            error = word + L" is no block reference, so nothing lies inside it";
            return false;
        }
        block = reference->blockTableRecord();
        reference->close();
        previous = word;
        start = slash + 1;
    }
}

// "x,y" or "x,y,z" with numbers.
bool parsePoint(const std::wstring& text, AcGePoint3d& point) {
    double v[3] = {0, 0, 0};
    size_t start = 0;
    int n = 0;
    while (n < 3) {
        size_t comma = text.find(L',', start);
        std::wstring part = trim(text.substr(start, comma - start));
        if (part.empty())
            return false;
        wchar_t* end = nullptr;
        v[n++] = std::wcstod(part.c_str(), &end);
        if (!end || *end)
            return false;
        if (comma == std::wstring::npos)
            break;
        start = comma + 1;
    }
    if (n < 2 || (n == 3 && text.find(L',', start) != std::wstring::npos))
        return false;
    point = AcGePoint3d(v[0], v[1], v[2]);
    return true;
}

using terminal::Read;

// One line from the user, trimmed.
struct Answer {
    Read read = Read::End;
    std::wstring text;
};

// When the prompt is on the terminal already (the host printed it), readline is told so and
// only redraws it.
Answer readAnswer(const std::wstring& prompt, bool shown) {
    // Without a terminal there is nothing to redraw: an empty prompt keeps it from showing twice.
    bool terminal = isatty(STDIN_FILENO);
    std::string text = shown && !terminal ? std::string() : lmhost::narrow(prompt);
    std::string raw;
    Answer answer;
    answer.read = terminal::readLine(text, shown && terminal, raw);
    answer.text = trim(lmhost::widen(raw));
    return answer;
}

// Told on the terminal only: hints are no part of the command line's transcript.
void hint(const char* text) {
    std::cout << text << "\n";
    std::cout.flush();
}

// The buttons of a box, in the order it shows them; empty for a style not known here.
std::vector<int> buttonsOf(unsigned style) {
    switch (style & 0xF) {
    case MB_OK:
        return {IDOK};
    case MB_OKCANCEL:
        return {IDOK, IDCANCEL};
    case MB_ABORTRETRYIGNORE:
        return {IDABORT, IDRETRY, IDIGNORE};
    case MB_YESNOCANCEL:
        return {IDYES, IDNO, IDCANCEL};
    case MB_YESNO:
        return {IDYES, IDNO};
    case MB_RETRYCANCEL:
        return {IDRETRY, IDCANCEL};
    default:
        return {};
    }
}

// "Yes" or "[Yes]", as a script writes it.
std::wstring withoutBrackets(const std::wstring& word) {
    if (word.size() > 2 && word.front() == L'[' && word.back() == L']')
        return word.substr(1, word.size() - 2);
    return word;
}

} // namespace

std::wstring answerName(int answer) {
    switch (answer) {
    case IDOK:
        return L"OK";
    case IDCANCEL:
        return L"Cancel";
    case IDABORT:
        return L"Abort";
    case IDRETRY:
        return L"Retry";
    case IDIGNORE:
        return L"Ignore";
    case IDYES:
        return L"Yes";
    case IDNO:
        return L"No";
    default:
        return std::to_wstring(answer);
    }
}

int answerFromName(const std::wstring& name) {
    for (int id = IDOK; id <= IDNO; ++id)
        if (lmhost::equalNoCase(answerName(id), name))
            return id;
    return 0;
}

Session::Session() {
    lmhost::setPrintListener([this](const std::wstring& text) { output(text); });
    lmhost::setMessageBoxHandler(
        [this](const lmhost::MessageBoxRecord& box) { return answerMessageBox(box); });
    lmhost::setDialogDriver(this);
    lmhost::CommandEvents events;
    events.willStart = lmhost::raiseCommandWillStart;
    events.ended = lmhost::raiseCommandEnded;
    events.cancelled = lmhost::raiseCommandCancelled;
    events.failed = lmhost::raiseCommandFailed;
    lmhost::setCommandEvents(events);
    registerCommands();
}

Session::~Session() {
    lmhost::setPrintListener(nullptr);
    lmhost::setMessageBoxHandler(nullptr);
    lmhost::setDialogDriver(nullptr);
    lmhost::setInputSource(nullptr);
    lmhost::setCommandEvents({});
}

bool Session::setTranscriptFile(const std::string& path) {
    m_transcriptPath = path;
    m_transcript.open(path, std::ios::binary | std::ios::trunc);
    return static_cast<bool>(m_transcript);
}

void Session::reportTranscriptFailure(int error) {
    // Told once, at once; the session goes on, and its exit code says so at the end.
    m_transcriptError = error ? std::strerror(error) : "the write failed";
    std::cerr << "linkmesh: cannot write the transcript " << m_transcriptPath << ": "
              << m_transcriptError << "\n";
    m_transcript.close();
}

void Session::output(const std::wstring& text, bool toTerminal) {
    std::string bytes = lmhost::narrow(text);
    if (toTerminal && m_echoToTerminal) {
        std::cout << bytes;
        std::cout.flush();
    }
    if (m_transcript.is_open()) {
        errno = 0;
        m_transcript << bytes;
        m_transcript.flush();
        if (!m_transcript)
            reportTranscriptFailure(errno);
    }
}

std::wstring Session::pluginBesideProgram() {
    char buffer[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    std::string path = n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string("./x");
    return lmhost::widen(path.substr(0, path.rfind('/') + 1) + "Linkmesh.so");
}

int Session::start(const std::wstring& pluginPath, bool loadPlugin,
                   const std::wstring& drawingFile) {
    if (drawingFile.empty()) {
        lmhost::newDocument(L"Drawing1.dwg");
    } else {
        std::wstring why, path = absolutePath(drawingFile);
        if (!openDrawing(path, why)) {
            std::cerr << "linkmesh: cannot open " << lmhost::narrow(path) << ": "
                      << lmhost::narrow(why) << "\n";
            return kExitFileError;
        }
    }
    if (!loadPlugin)
        return kExitOk;
    return loadPluginLibrary(pluginPath) ? kExitOk : kExitLoadError;
}

bool Session::loadPluginLibrary(const std::wstring& pluginPath) {
    std::wstring error;
    if (!lmhost::loadApplication(pluginPath, error)) {
        std::cerr << "linkmesh: " << lmhost::narrow(error) << "\n";
        return false;
    }
    runQueuedExpressions();
    return true;
}

void Session::finish() {
    // The host closes its drawings before it unloads the applications, so a plug-in's
    // document reactors see each drawing go.
    lmhost::closeAllDocuments();
    lmhost::unloadAllApplications();
    output(L"\n");
    if (m_transcript.is_open()) {
        errno = 0;
        m_transcript.close();
        if (m_transcript.fail())
            reportTranscriptFailure(errno);
    }
}

int Session::answerMessageBox(const lmhost::MessageBoxRecord& box) {
    output(lmhost::formatWide(L"\n[box \"%s\" %u] %s", box.title.c_str(), box.style,
                              box.text.c_str()));
    int answer = 0;
    bool single = (box.style & 0xF) == MB_OK;
    if (!m_boxAnswers.empty()) {
        answer = m_boxAnswers.front();
        m_boxAnswers.pop_front();
    } else if (m_interactive && !single) {
        std::vector<int> buttons = buttonsOf(box.style);
        std::wstring choices;
        for (int b : buttons)
            choices += (choices.empty() ? L"" : L"/") + answerName(b);
        bool cancels =
            buttons.empty() || std::find(buttons.begin(), buttons.end(), IDCANCEL) != buttons.end();
        while (!answer) {
            Answer line =
                readAnswer(choices.empty() ? L" Answer? " : L" " + choices + L"? ", false);
            if (line.read == Read::End)
                break; // end of input: the box's default button
            if (line.read == Read::Interrupted) {
                // Ctrl-C is Esc: it presses Cancel, and a box without one stays.
                if (cancels) {
                    answer = IDCANCEL;
                    break;
                }
                hint("This box has no Cancel button: answer with one of its buttons.");
                continue;
            }
            int typed = answerFromName(withoutBrackets(line.text));
            if (typed && (buttons.empty() ||
                          std::find(buttons.begin(), buttons.end(), typed) != buttons.end()))
                answer = typed;
            else
                hint(buttons.empty() ? "Answer OK, Cancel, Yes, No, Abort, Retry or Ignore."
                                     : "Answer with one of the box's buttons.");
        }
    }
    if (!answer) {
        answer = lmhost::defaultMessageBoxAnswer(box.style);
        if (!single && !m_interactive && m_scriptFault.empty())
            m_scriptFault =
                L"a message box asked \"" + box.text + L"\" and the script gave no answer";
    }
    output(L" -> " + answerName(answer));
    return answer;
}

std::optional<lmhost::DialogAction> Session::nextAction(const lmhost::DialogView& view) {
    if (!view.notice.empty() && !m_interactive) {
        // A scripted action the dialog could not take: the script stops there.
        if (m_scriptFault.empty())
            m_scriptFault = L"in the dialog \"" + view.title + L"\": " + view.notice;
        m_dialogActions.clear();
        return std::nullopt;
    }
    while (!m_dialogActions.empty()) {
        DialogStep step = m_dialogActions.front();
        m_dialogActions.pop_front();
        if (step.action)
            return step.action;
        if (!runExcelCommand(step.excelCommand)) {
            // The script stops there, as on a failed command.
            if (m_scriptFault.empty())
                m_scriptFault =
                    L"in Excel, beside the dialog \"" + view.title + L"\": the command failed";
            m_dialogActions.clear();
            return std::nullopt;
        }
    }
    if (m_interactive) {
        // The dialog is shown to the user, not written on the command line.
        std::string shown = "\n[dialog \"" + lmhost::narrow(view.title) + "\"]";
        for (const std::wstring& c : view.controls)
            shown += "\n  " + lmhost::narrow(c);
        if (!view.notice.empty())
            shown += "\n  (" + lmhost::narrow(view.notice) + ")";
        std::cout << shown << "\n";
        while (true) {
            Answer line = readAnswer(L"> ", false);
            if (line.read == Read::Interrupted)
                hint("*Cancel*");
            if (line.read != Read::Line)
                return std::nullopt; // Ctrl-C or the end of input: the dialog cancels
            std::wstring text = line.text;
            if (!text.empty() && text[0] == L'>')
                text = trim(text.substr(1));
            if (auto action = lmhost::parseDialogAction(text))
                return action;
            if (isExcelCommand(text)) {
                // The user works in Excel beside the dialog, which waits.
                runExcelCommand(text);
                std::cout << "\n";
                continue;
            }
            hint("press ID | choose ID [TEXT] | check ID [ITEM] on|off | type ID TEXT | ok | "
                 "cancel | an Excel command (XLSELECT B2, ...)");
        }
    }
    if (m_scriptFault.empty())
        m_scriptFault =
            L"the dialog \"" + view.title + L"\" wanted an action and the script gave none";
    return std::nullopt;
}

bool Session::isExcelCommand(const std::wstring& line) const {
    std::vector<std::wstring> words = lmhost::splitCommandLine(line);
    if (words.empty() || words[0].size() < 3 || !lmhost::equalNoCase(words[0].substr(0, 2), L"XL"))
        return false;
    for (const auto& c : lmhost::hostCommands())
        if (lmhost::equalNoCase(c.name, words[0]))
            return true;
    return false;
}

bool Session::runExcelCommand(const std::wstring& line) {
    lmhost::print(L"\nIn Excel: " + line);
    std::vector<std::wstring> words = lmhost::splitCommandLine(line);
    std::wstring name = words[0];
    words.erase(words.begin());
    return lmhost::runCommand(name, words) == lmhost::CommandResult::Ended;
}

bool Session::isCommandName(const std::wstring& word) const {
    std::wstring name = word;
    while (!name.empty() && (name[0] == L'_' || name[0] == L'.'))
        name.erase(0, 1);
    if (name.empty())
        return false;
    AcEdCommandStack* stack = acedRegCmds;
    if (stack && (stack->lookupLocalCmd(name.c_str()) || stack->lookupGlobalCmd(name.c_str()) ||
                  stack->lookupGlobalCmd(word.c_str())))
        return true;
    for (const auto& c : lmhost::hostCommands())
        if (lmhost::equalNoCase(c.name, name))
            return true;
    return false;
}

Session::LineKind Session::classify(const std::wstring& line) const {
    AcGePoint3d point;
    if (line.size() > 2 && line.front() == L'[' && line.back() == L']')
        return LineKind::BoxAnswer;
    if (line[0] == L'>')
        return LineKind::DialogAction;
    if (lmhost::equalNoCase(line, L"*Cancel*"))
        return LineKind::Cancel;
    if (parsePoint(line, point))
        return LineKind::Point;
    std::vector<std::wstring> words = lmhost::splitCommandLine(line);
    if (!words.empty() && lmhost::equalNoCase(words[0], L"pick"))
        return LineKind::Pick;
    if (!words.empty() && isCommandName(words[0]))
        return LineKind::Command;
    if (line[0] == L'(')
        return LineKind::Command; // an expression
    return LineKind::Keyword;
}

bool Session::queueAnswer(const std::wstring& line, LineKind kind, std::wstring& error) {
    switch (kind) {
    case LineKind::Point: {
        AcGePoint3d p;
        parsePoint(line, p);
        lmhost::queuePoint(p);
        return true;
    }
    case LineKind::Cancel:
        lmhost::queueCancel();
        return true;
    case LineKind::Keyword:
        lmhost::queueKeyword(line);
        return true;
    case LineKind::Pick: {
        // pick HANDLE [x,y[,z]]  or  pick none [x,y[,z]]
        std::vector<std::wstring> words = lmhost::splitCommandLine(line);
        AcGePoint3d at;
        if (words.size() < 2 || words.size() > 3 ||
            (words.size() == 3 && !parsePoint(words[2], at))) {
            error = L"a pick is written \"pick HANDLE [x,y]\", \"pick OUTER/INNER [x,y]\" or "
                    L"\"pick none [x,y]\"";
            return false;
        }
        if (lmhost::equalNoCase(words[1], L"none")) {
            lmhost::queueEntity(AcDbObjectId::kNull, at);
            return true;
        }
        // HANDLE, or OUTER/INNER/... for what lies inside nested block references.
        std::vector<AcDbObjectId> path;
        if (!parsePickPath(words[1], path, error))
            return false;
        lmhost::queueNestedEntity(path, at);
        return true;
    }
    case LineKind::BoxAnswer: {
        int answer = answerFromName(line.substr(1, line.size() - 2));
        if (!answer) {
            error = L"a message box is answered with [OK], [Cancel], [Yes], [No], [Abort], "
                    L"[Retry] or [Ignore]";
            return false;
        }
        m_boxAnswers.push_back(answer);
        return true;
    }
    case LineKind::DialogAction: {
        std::wstring text = trim(line.substr(1));
        if (isExcelCommand(text)) {
            m_dialogActions.push_back({std::nullopt, text});
            return true;
        }
        auto action = lmhost::parseDialogAction(text);
        if (!action) {
            error = L"a dialog action is one of: > press ID, > choose ID [TEXT], "
                    L"> check ID [ITEM] on|off, > type ID TEXT, > ok, > cancel, or an Excel "
                    L"command (> XLSELECT B2)";
            return false;
        }
        m_dialogActions.push_back({*action, L""});
        return true;
    }
    case LineKind::Command:
        break;
    }
    return false;
}

lmhost::CommandResult Session::runCommandLine(const std::wstring& line) {
    if (line[0] == L'(')
        return lmhost::evaluateExpression(line);
    std::vector<std::wstring> words = lmhost::splitCommandLine(line);
    std::wstring name = words[0];
    words.erase(words.begin());
    lmhost::CommandResult result = lmhost::runCommand(name, words);
    // Results the spreadsheet substitute could not calculate are not presented as current.
    for (const excelhost::StaleRead& r : excelhost::takeStaleReads())
        lmhost::print(L"\n" + r.sheet + L"!" + r.cell + L" of " + r.workbook + L" may be stale (" +
                      r.why +
                      L"); the spreadsheet program recalculates it when it opens the workbook.");
    return result;
}

void Session::runQueuedExpressions() {
    // Expressions that commands queue run once the host is ready for commands again.
    for (int round = 0; round < 100; ++round) {
        std::vector<std::wstring> queued = lmhost::takeQueuedExpressions();
        if (queued.empty())
            return;
        for (const std::wstring& expression : queued) {
            lmhost::print(L"\nCommand: " + expression);
            lmhost::evaluateExpression(expression);
        }
    }
}

int Session::runScript(const std::string& path) {
    std::vector<RawScriptLine> raw;
    ScriptReadError error;
    if (!readScriptFile(path, raw, error)) {
        if (!error.opened) {
            std::cerr << "linkmesh: cannot open the script " << path << "\n";
            return kExitUsage;
        }
        if (error.line == 0) {
            std::cerr << "linkmesh: cannot read the script " << path << ": " << error.reason
                      << "\n";
            return kExitUsage;
        }
        std::cerr << "linkmesh: " << path << ":" << error.line << ": " << error.reason << "\n";
        return kExitScriptError;
    }
    std::vector<ScriptLine> lines;
    for (const RawScriptLine& line : raw) {
        std::wstring text = trim(lmhost::widen(line.text));
        if (text.empty() || text[0] == L'#')
            continue;
        lines.push_back({line.number, text});
    }
    return runScriptLines(lines, path);
}

int Session::runLines(const std::vector<std::wstring>& lines, const std::string& name) {
    std::vector<ScriptLine> script;
    for (size_t i = 0; i < lines.size(); ++i)
        script.push_back({static_cast<int>(i + 1), lines[i]});
    return runScriptLines(script, name);
}

int Session::runScriptLines(const std::vector<ScriptLine>& lines, const std::string& scriptName) {
    auto stop = [&](int line, const std::wstring& why) {
        output(L"\n");
        std::cerr << "linkmesh: " << scriptName << ":" << line << ": " << lmhost::narrow(why)
                  << "\n";
        return kExitScriptError;
    };
    // Ctrl-C stops the script between two commands, so the session still ends in order.
    terminal::catchInterrupts();
    size_t i = 0;
    while (i < lines.size() && !m_quit) {
        if (terminal::takeInterrupt())
            return stop(lines[i].number, L"interrupted (Ctrl-C) before this line");
        const ScriptLine& command = lines[i++];
        LineKind kind = classify(command.text);
        if (kind != LineKind::Command) {
            std::vector<std::wstring> words = lmhost::splitCommandLine(command.text);
            if (kind == LineKind::Keyword && !words.empty()) {
                lmhost::print(L"\nCommand: " + command.text);
                lmhost::runCommand(words[0]);
                return stop(command.number, L"unknown command \"" + words[0] + L"\"");
            }
            return stop(command.number, L"an answer where a command was expected");
        }
        // The lines after a command, up to the next command, answer its prompts.
        lmhost::clearInput();
        lmhost::clearUnansweredPrompts();
        m_boxAnswers.clear();
        m_dialogActions.clear();
        m_scriptFault.clear();
        int lastAnswerLine = command.number;
        std::vector<std::pair<const ScriptLine*, LineKind>> inputLines; // for the input queue
        while (i < lines.size()) {
            LineKind answerKind = classify(lines[i].text);
            if (answerKind == LineKind::Command)
                break;
            std::wstring error;
            if (!queueAnswer(lines[i].text, answerKind, error))
                return stop(lines[i].number, error);
            if (answerKind != LineKind::BoxAnswer && answerKind != LineKind::DialogAction)
                inputLines.emplace_back(&lines[i], answerKind);
            lastAnswerLine = lines[i].number;
            ++i;
        }
        lmhost::print(L"\nCommand: " + command.text);
        CommandResult result = runCommandLine(command.text);
        if (result == CommandResult::Unknown)
            return stop(command.number,
                        L"unknown command \"" + lmhost::splitCommandLine(command.text)[0] + L"\"");
        if (lmhost::unansweredPrompts() > 0)
            return stop(command.number, L"the prompt \"" + trim(lmhost::lastUnansweredPrompt()) +
                                            L"\" was not answered");
        if (!m_scriptFault.empty())
            return stop(command.number, m_scriptFault);
        if (result == CommandResult::Failed)
            return stop(command.number, L"the command failed");
        if (size_t left = lmhost::pendingInput(); left > 0 && left <= inputLines.size()) {
            // The first line no prompt took; a lone word there was meant as a command.
            auto [line, kind] = inputLines[inputLines.size() - left];
            if (kind == LineKind::Keyword) {
                lmhost::print(L"\nCommand: " + line->text);
                std::wstring word = lmhost::splitCommandLine(line->text)[0];
                lmhost::runCommand(word);
                return stop(line->number, L"unknown command \"" + word + L"\"");
            }
            return stop(line->number, L"an answer that no prompt asked for");
        }
        if (!m_boxAnswers.empty() || !m_dialogActions.empty())
            return stop(lastAnswerLine, L"an answer that no prompt asked for");
        runQueuedExpressions();
    }
    return kExitOk;
}

void Session::askPrompt(const std::wstring& prompt) {
    // readline redraws the prompt's last line; the host printed all of it already unless
    // the terminal gets no echo.
    std::wstring shown = prompt.substr(prompt.rfind(L'\n') + 1);
    // After a refused answer the hint stands below the prompt, so it is shown again.
    bool onScreen = m_echoToTerminal;
    for (;; onScreen = false) {
        Answer line = readAnswer(shown, onScreen);
        if (line.read == Read::End)
            return;
        if (line.read == Read::Interrupted || line.text.empty()) {
            // Ctrl-C, or Enter alone, backs out of the prompt as Esc does.
            if (line.read == Read::Interrupted)
                std::cout << "*Cancel*" << std::flush;
            lmhost::queueCancel();
            return;
        }
        LineKind kind = classify(line.text);
        if (kind == LineKind::BoxAnswer || kind == LineKind::DialogAction) {
            hint("The prompt wants a point (x,y), a pick (pick HANDLE), a keyword, or Enter to "
                 "cancel.");
            continue;
        }
        // A word that names a command is still an answer here.
        if (kind == LineKind::Command)
            kind = LineKind::Keyword;
        std::wstring error;
        if (queueAnswer(line.text, kind, error))
            return;
        if (!error.empty())
            error[0] = static_cast<wchar_t>(std::towupper(error[0]));
        hint(lmhost::narrow(error + L".").c_str());
    }
}

int Session::runInteractive() {
    m_interactive = true;
    lmhost::setInputSource([this](const std::wstring& prompt) { askPrompt(prompt); });
    terminal::catchInterrupts();
    using_history();
    while (!m_quit) {
        // A Ctrl-C pressed while the last command ran has nothing left to cancel.
        terminal::forgetInterrupt();
        std::string raw;
        Read read = terminal::readLine("\nCommand: ", false, raw);
        if (read == Read::End)
            break;
        if (read == Read::Interrupted) {
            // The line typed so far is dropped, and the session goes on.
            std::cout << "*Cancel*" << std::flush;
            continue;
        }
        std::wstring line = trim(lmhost::widen(raw));
        if (line.empty())
            continue;
        add_history(lmhost::narrow(line).c_str());
        // The terminal shows what was typed already; the transcript gets it too.
        output(L"\nCommand: " + line, false);
        lmhost::clearInput();
        lmhost::clearUnansweredPrompts();
        std::vector<std::wstring> words = lmhost::splitCommandLine(line);
        if (words.empty())
            continue;
        if (line[0] != L'(' && !isCommandName(words[0])) {
            lmhost::runCommand(words[0]);
            continue;
        }
        runCommandLine(line);
        runQueuedExpressions();
    }
    lmhost::setInputSource(nullptr);
    return kExitOk;
}

} // namespace shell
