#include "testkit/Transcript.h"

#include <string>

namespace testkit {

std::wstring commandLine() {
    return lmhost::commandLineText();
}

std::wstring transcript() {
    std::wstring out;
    for (const lmhost::HostEvent& e : lmhost::hostEvents()) {
        if (e.kind == lmhost::HostEvent::MessageBox)
            out += L"\n[" + e.title + L"|" + std::to_wstring(e.style) + L"] " + e.text + L" -> " +
                   std::to_wstring(e.answer);
        else
            out += e.text;
    }
    return out;
}

} // namespace testkit
