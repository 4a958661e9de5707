// The manager's picks in the drawing, answered by a user at the terminal and by a script: the
// click goes to the host's prompt while the dialog waits, and Esc backs out of it.
#include <string>

#include "ShellRun.h"

namespace {

using namespace shelltest;

TEST_F(ShellTest, ATableCellIsPickedAtTheTerminalAsInAScript) {
    // The click lies in B2 near A1's corner, where the running endpoint snap would take it.
    std::string session = "PARAM d1 10\nTABLE 2 2 0,0\nTABLEDIT D A1 7\nTABLEDIT D B2 42\n"
                          "SETVAR OSMODE 1\n"
                          "Lmesh_LinkParameters\n> choose 101 d1\n> press 103\n2.6,-0.6\n"
                          "> press 104\n> press 103\n*Cancel*\n> press 2\n"
                          "GETVAR OSMODE\nLmesh_UpdateLinkedParameters\nPARAMS\n";
    ProgramRun typed = type(session);
    EXPECT_EQ(typed.exitCode, 0) << typed.errors;
    EXPECT_NE(typed.transcript.find("\nCommand: Lmesh_LinkParameters\nSelect table cell:"
                                    "\nSelect table cell:\nCommand: GETVAR OSMODE\nOSMODE = 1"),
              std::string::npos)
        << typed.transcript;
    EXPECT_NE(typed.transcript.find("\nd1 = 42 = 42.0000"), std::string::npos) << typed.transcript;
    ProgramRun scripted = run(session);
    EXPECT_EQ(scripted.exitCode, 0) << scripted.errors;
    EXPECT_EQ(scripted.transcript, typed.transcript);
}

} // namespace
