// The driver that dialogs ask for the user's actions.
#include "sdk/control/Dialogs.h"

#include <cwctype>

#include "sdk/control/Commands.h"
#include "windows.h"

namespace lmhost {

namespace {
DialogDriver*& currentDriver() {
    static DialogDriver* driver = nullptr;
    return driver;
}
} // namespace

void setDialogDriver(DialogDriver* driver) {
    currentDriver() = driver;
}

DialogDriver* dialogDriver() {
    return currentDriver();
}

std::optional<DialogAction> QueuedDialogDriver::nextAction(const DialogView& view) {
    seen.push_back(view);
    if (m_next >= m_actions.size())
        return std::nullopt;
    return m_actions[m_next++];
}

std::optional<DialogAction> parseDialogAction(const std::wstring& line) {
    std::vector<std::wstring> words = splitCommandLine(line);
    if (words.empty())
        return std::nullopt;
    auto is = [&](const wchar_t* w) { return _wcsicmp(words[0].c_str(), w) == 0; };
    DialogAction action;
    if (is(L"ok") && words.size() == 1) {
        action.kind = DialogAction::Ok;
        return action;
    }
    if (is(L"cancel") && words.size() == 1) {
        action.kind = DialogAction::Cancel;
        return action;
    }
    if (words.size() < 2)
        return std::nullopt;
    for (wchar_t c : words[1])
        if (!std::iswdigit(c))
            return std::nullopt;
    if (words[1].empty() || words[1].size() > 9)
        return std::nullopt;
    action.controlId = std::stoi(words[1]);
    // The text is the rest of the line as typed, so that spaces stay.
    std::wstring text;
    for (size_t i = 2; i < words.size(); ++i)
        text += (i > 2 ? L" " : L"") + words[i];
    if (is(L"press") && words.size() == 2) {
        action.kind = DialogAction::Press;
    } else if (is(L"choose")) {
        action.kind = DialogAction::Choose;
        action.text = text;
    } else if (is(L"check") && words.size() >= 3) {
        action.kind = DialogAction::Check;
        // The last word is the state; the words between name an item of a check list.
        for (size_t i = 2; i + 1 < words.size(); ++i)
            action.item += (i > 2 ? L" " : L"") + words[i];
        std::wstring v = words.back();
        if (_wcsicmp(v.c_str(), L"on") == 0 || v == L"1")
            action.text = L"1";
        else if (_wcsicmp(v.c_str(), L"off") == 0 || v == L"0")
            action.text = L"0";
        else
            return std::nullopt;
    } else if (is(L"type") && words.size() >= 2) {
        action.kind = DialogAction::Type;
        action.text = text;
    } else {
        return std::nullopt;
    }
    return action;
}

} // namespace lmhost
