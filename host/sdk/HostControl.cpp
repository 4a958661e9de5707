#include "sdk/control/HostControl.h"

#include <cstdarg>
#include <algorithm>
#include <deque>
#include <vector>

#include "WideFormat.h"
#include "acutads.h"
#include "afx.h"
#include "afxwin.h"
#include "rxmfcapi.h"
#include "sdk/control/Parts.h"
#include "sdk/control/SystemVariables.h"
#include "sdk/control/WorkingDatabase.h"
#include "windows.h"

namespace lmhost {

namespace {

struct HostLog {
    std::wstring commandLine;
    std::vector<HostEvent> events;
    std::deque<int> answers;
    std::function<void(const std::wstring&)> printListener;
    std::function<int(const MessageBoxRecord&)> messageBoxHandler;
};

HostLog& hostLog() {
    static HostLog log;
    return log;
}

} // namespace

const std::wstring& commandLineText() {
    return hostLog().commandLine;
}

std::vector<MessageBoxRecord> messageBoxes() {
    std::vector<MessageBoxRecord> boxes;
    for (const HostEvent& e : hostLog().events)
        if (e.kind == HostEvent::MessageBox)
            boxes.push_back({e.text, e.title, e.style, e.answer, e.owner});
    return boxes;
}

const std::vector<HostEvent>& hostEvents() {
    return hostLog().events;
}

void clearTranscript() {
    hostLog().commandLine.clear();
    hostLog().events.clear();
}

void recordEvent(HostEvent event) {
    hostLog().events.push_back(std::move(event));
}

void queueMessageBoxAnswer(int answer) {
    hostLog().answers.push_back(answer);
}
size_t pendingMessageBoxAnswers() {
    return hostLog().answers.size();
}
void clearMessageBoxAnswers() {
    hostLog().answers.clear();
}

int defaultMessageBoxAnswer(unsigned style) {
    switch (style & 0xF) {
    case MB_YESNO:
    case MB_YESNOCANCEL:
        return IDYES;
    case MB_ABORTRETRYIGNORE:
        return IDABORT;
    case MB_RETRYCANCEL:
        return IDRETRY;
    default:
        return IDOK;
    }
}

void setPrintListener(std::function<void(const std::wstring&)> listener) {
    hostLog().printListener = std::move(listener);
}

void setMessageBoxHandler(std::function<int(const MessageBoxRecord&)> handler) {
    hostLog().messageBoxHandler = std::move(handler);
}

const wchar_t* hostApplicationTitle() {
    return L"AutoCAD";
}

namespace {

std::vector<void (*)()>& resetSteps() {
    static std::vector<void (*)()> steps;
    return steps;
}

} // namespace

void addResetStep(void (*step)()) {
    auto& steps = resetSteps();
    if (step && std::find(steps.begin(), steps.end(), step) == steps.end())
        steps.push_back(step);
}

void resetHost() {
    HostLog& log = hostLog();
    log.commandLine.clear();
    log.events.clear();
    log.answers.clear();
    resetSystemVariables();
    resetWorkingDatabase();
    for (void (*step)() : resetSteps())
        step();
}

void print(const std::wstring& text) {
    HostLog& log = hostLog();
    log.commandLine += text;
    if (!log.events.empty() && log.events.back().kind == HostEvent::Print)
        log.events.back().text += text;
    else
        log.events.push_back({HostEvent::Print, text, {}, 0, 0});
    if (log.printListener)
        log.printListener(text);
}

int showMessageBox(const wchar_t* text, const wchar_t* title, unsigned style, const void* owner) {
    HostLog& log = hostLog();
    MessageBoxRecord box{text ? text : L"", title ? title : L"", style, 0, owner};
    int answer = 0;
    if (log.messageBoxHandler)
        answer = log.messageBoxHandler(box);
    if (answer == 0 && !log.answers.empty()) {
        answer = log.answers.front();
        log.answers.pop_front();
    }
    if (answer == 0)
        answer = defaultMessageBoxAnswer(style);
    log.events.push_back({HostEvent::MessageBox, box.text, box.title, style, answer, owner});
    return answer;
}

} // namespace lmhost

int acutPrintf(const ACHAR* format, ...) {
    va_list args;
    va_start(args, format);
    std::wstring text = lmhost::formatWideV(format, args);
    va_end(args);
    lmhost::print(text);
    return static_cast<int>(text.size());
}

// Without a window system the owner only matters as a record: which window the box
// belongs to.
int MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type) {
    return lmhost::showMessageBox(text, caption ? caption : L"Error", type, owner);
}

// The framework's box belongs to the application's main window: the host's frame.
int AfxMessageBox(const wchar_t* text, UINT type, UINT) {
    return lmhost::showMessageBox(text, lmhost::hostApplicationTitle(), type,
                                  acedGetAcadFrame()->GetSafeHwnd());
}
