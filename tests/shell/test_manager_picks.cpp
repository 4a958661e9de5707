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

TEST_F(ShellTest, ANestedBlockIsPickedThroughItsReferenceAndItsPropertyLinkedToACell) {
    // Door C lies in the block Wall, which D inserts: the click on the door reaches C through D.
    std::string setup = "BLOCK Wall\nBLOCKPROP Wall Length distance 3000\nBLOCK Door\n"
                        "BLOCKPROP Door Width distance 900\nBLOCKPROP Door Finish text Oak\n"
                        "INSERT Door 0,0 Wall\nINSERT Wall 5,5\nTABLE 2 2 20,20\n"
                        "TABLEDIT E A1 Walnut\nLmesh_LinkParameters\n> press 108\n";
    std::string rest = "pick D/C\n> choose 109 Finish\n> ok\n> press 103\n20.1,19.9\n"
                       "> press 104\n> press 1\nXDLIST D\nPROPS C\n";
    ProgramRun scripted = run(setup + rest);
    EXPECT_EQ(scripted.exitCode, 0) << scripted.errors;
    EXPECT_NE(scripted.transcript.find("\nCommand: Lmesh_LinkParameters"
                                       "\nSelect a dynamic block:"
                                       "\nEntity 0: (AcDbBlockReference)\n(block name: Door)"
                                       "\nEntity 0: (AcDbBlockReference)\n(block name: Wall)\n"
                                       "\nSelect table cell:\nFinish."),
              std::string::npos)
        << scripted.transcript;
    EXPECT_NE(scripted.transcript.find("1000 C<1D>Finish:Table(E).$A$1"), std::string::npos);
    EXPECT_NE(scripted.transcript.find("Finish = \"Walnut\""), std::string::npos);
    // At the terminal a pick of what the current space does not show, or of something that is
    // not in the block named before it, is explained and asked again.
    ProgramRun typed = type(setup + "pick C\npick D/E\npick 99\n" + rest);
    EXPECT_EQ(typed.exitCode, 0) << typed.errors;
    EXPECT_EQ(typed.transcript, scripted.transcript);
}

TEST_F(ShellTest, AScriptWhosePickPathIsWrongStopsThere) {
    ProgramRun r = run("TABLE 1 1 0,0\nBLOCK Door\nBLOCKPROP Door Width distance 900\n"
                       "INSERT Door 5,5\nLmesh_LinkParameters\n> press 108\npick A/B\n");
    EXPECT_EQ(r.exitCode, 2);
    // The door B lies in the current space, not in the table A.
    EXPECT_NE(r.errors.find("script.scr:7: B is not in the block that A inserts"),
              std::string::npos)
        << r.errors;
}

TEST_F(ShellTest, ThroughALayoutViewportThePickLooksAlongThatViewportsDirection) {
    // The table lies 2 above the plane of the click; looking along 1,0,1 the click at x=1
    // meets it at x=3, in column B.
    ProgramRun r = run("PARAM d1 10\nTABLE 3 3 0,0,2\nTABLEDIT D A1 5\nTABLEDIT D B1 8\n"
                       "LAYOUT\nVPOINT\nMVIEW 1,0,1\nMSPACE\nVPOINT\n"
                       "Lmesh_LinkParameters\n> choose 101 d1\n> press 103\n1,-0.25\n"
                       "> press 104\n> press 1\nPSPACE\nMODEL\nVPOINT\n");
    EXPECT_EQ(r.exitCode, 2) << "VPOINT on paper is refused, and a script stops there";
    EXPECT_NE(r.errors.find("script.scr:6: the command failed"), std::string::npos) << r.errors;
    r = run("PARAM d1 10\nTABLE 3 3 0,0,2\nTABLEDIT D A1 5\nTABLEDIT D B1 8\n"
            "LAYOUT\nMVIEW 1,0,1\nMSPACE\nVPOINT\n"
            "Lmesh_LinkParameters\n> choose 101 d1\n> press 103\n1,-0.25\n"
            "> press 104\n> press 1\nPSPACE\nMODEL\nVPOINT\nPARAMS\n");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_NE(r.transcript.find("\nCommand: LAYOUT\nLayout1 is current."
                                "\nCommand: MVIEW 1,0,1\nViewport E on Layout1 looks along 1,0,1."
                                "\nCommand: MSPACE\nModel space through viewport E of Layout1."
                                "\nCommand: VPOINT\nThe view direction is 1,0,1."),
              std::string::npos)
        << r.transcript;
    EXPECT_NE(r.transcript.find("\nCommand: PSPACE\nLayout1 is current."
                                "\nCommand: MODEL\nModel space is current."
                                "\nCommand: VPOINT\nThe view direction is 0,0,1."
                                "\nCommand: PARAMS\nd1 = 8 = 8.0000"),
              std::string::npos)
        << r.transcript;
}

} // namespace
