// Reading lines from the user at the terminal so that Ctrl-C cancels what is being asked
// instead of ending the program, and keeping errors on stderr off a line the session left
// open on stdout.
#pragma once

#include <string>

namespace shell::terminal {

enum class Read { Line, End, Interrupted };

// From now on SIGINT only marks an interrupt: a line being read is given up, and one that
// arrives while a command runs is kept for the next read.
void catchInterrupts();
// Forgets an interrupt that nothing read yet.
void forgetInterrupt();
// Whether an interrupt came since the last look; it is then forgotten.
bool takeInterrupt();

// One line with readline's editing. alreadyShown: the prompt is on the screen already (only
// redrawn). Interrupted when Ctrl-C was pressed during the read or before it.
Read readLine(const std::string& prompt, bool alreadyShown, std::string& line);

// Before anything is written to stderr, ends the line left open on stdout when both go to the
// same place, so an error never trails the last output.
void endOpenLineBeforeErrors();

} // namespace shell::terminal
