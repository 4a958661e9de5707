// The host's side of dialogs: a dialog asks its driver for the user's next action. The
// shell drives dialogs from a script of actions or from the terminal; tests queue actions.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace lmhost {

struct DialogAction {
    enum Kind {
        Press,  // press the button controlId (a radio or check box is clicked)
        Choose, // choose the item text in the combo or list controlId; the radio without text
        Check,  // set the check box controlId, or its item `item` in a check list, to text
                // "1"/"0" (or "on"/"off")
        Type,   // type text into the edit field controlId
        Ok,
        Cancel
    } kind = Ok;
    int controlId = 0;
    std::wstring text;
    std::wstring item; // the item of a check list
};

// What the dialog shows the driver when it asks: its title and a description of its
// controls, one line each, for a user at the terminal.
struct DialogView {
    std::wstring title;
    std::vector<std::wstring> controls;
    // Why the last action did nothing (an unknown or disabled control, an item not in the
    // list); empty when it was taken.
    std::wstring notice;
};

class DialogDriver {
public:
    virtual ~DialogDriver() = default;
    // The next action; nothing when the user has none left (the dialog then cancels).
    virtual std::optional<DialogAction> nextAction(const DialogView& view) = 0;
};

// The driver dialogs ask; without one a dialog gets no actions.
void setDialogDriver(DialogDriver* driver);
DialogDriver* dialogDriver();

// A driver that answers from a list (tests).
class QueuedDialogDriver : public DialogDriver {
public:
    void push(DialogAction action) { m_actions.push_back(std::move(action)); }
    std::optional<DialogAction> nextAction(const DialogView& view) override;
    size_t pending() const { return m_actions.size() - m_next; }
    std::vector<DialogView> seen;

private:
    std::vector<DialogAction> m_actions;
    size_t m_next = 0;
};

// Parses one scripted action: "press ID", "choose ID [TEXT]", "check ID [ITEM] on|off|1|0",
// "type ID TEXT", "ok", "cancel" (without regard to case); nothing for anything else.
std::optional<DialogAction> parseDialogAction(const std::wstring& line);

} // namespace lmhost
