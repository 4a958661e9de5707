// The host's own side of what the plug-in shows and asks: the command-line transcript,
// message boxes and their answers. The shell and the tests drive the host through this;
// the plug-in never sees it.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace lmhost {

struct MessageBoxRecord {
    std::wstring text;
    std::wstring title;
    unsigned style = 0;
    int answer = 0;
    const void* owner = nullptr; // the owner window's handle; null for a box without one
};

// One thing the user saw, in order: a command-line print or a message box.
struct HostEvent {
    enum Kind { Print, MessageBox, Other } kind = Print;
    std::wstring text;
    std::wstring title;          // message boxes
    unsigned style = 0;          // message boxes
    int answer = 0;              // message boxes
    const void* owner = nullptr; // message boxes: the owner window's handle
};

// Everything printed on the command line, as one text.
const std::wstring& commandLineText();
// The message boxes shown, in order.
std::vector<MessageBoxRecord> messageBoxes();
const std::vector<HostEvent>& hostEvents();
// Forgets the transcript (prints and message boxes), not the queued answers.
void clearTranscript();

// The host's own output on the command line (prompts, echoed input), and its message box.
void print(const std::wstring& text);
int showMessageBox(const wchar_t* text, const wchar_t* title, unsigned style,
                   const void* owner = nullptr);

// Records another event the host shows the user (a dialog, a launched document).
void recordEvent(HostEvent event);

// Answers for the next message boxes, in order. Without one the box takes its first button.
void queueMessageBoxAnswer(int answer);
size_t pendingMessageBoxAnswers();
void clearMessageBoxAnswers();

// The first button of a style: IDOK, or IDYES for the yes/no styles, IDABORT, IDRETRY.
int defaultMessageBoxAnswer(unsigned style);

// Called for each print and message box as it happens (the shell shows them live). A
// message box handler may answer the box itself; returning 0 lets the queue answer.
void setPrintListener(std::function<void(const std::wstring&)> listener);
void setMessageBoxHandler(std::function<int(const MessageBoxRecord&)> handler);

// The name AfxMessageBox puts on its boxes: the host application's.
const wchar_t* hostApplicationTitle();

// Forgets the whole host state: transcript, answers, system variables, the working
// database. Tests start from here.
void resetHost();

} // namespace lmhost
