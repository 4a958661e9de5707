// The drawing commands of the linkmesh program, and the plug-in's refresh of table links as a
// user meets it: whole transcripts of the real program.
#include <string>
#include <vector>

#include "ShellRun.h"

namespace {

using namespace shelltest;

TEST_F(ShellTest, ParametersAreCreatedChangedListedInOrderAndErased) {
    ProgramRun r = run("PARAM width 900 \"Leaf width\"\n"
                       "PARAM height \"width * 2\"\n"
                       "PARAM depth 40\n"
                       "PARAMSET width 1000\n"
                       "PARAMS\n"
                       "PARAMERASE height\n"
                       "PARAMS\n",
                       "--no-load");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_EQ(r.transcript, "\nCommand: PARAM width 900 \"Leaf width\""
                            "\nCreated width = 900 = 900.0000  \"Leaf width\""
                            "\nCommand: PARAM height \"width * 2\""
                            "\nCreated height = width * 2 = 1800.0000"
                            "\nCommand: PARAM depth 40"
                            "\nCreated depth = 40 = 40.0000"
                            "\nCommand: PARAMSET width 1000"
                            "\nwidth = 1000 = 1000.0000  \"Leaf width\""
                            "\nCommand: PARAMS"
                            "\nwidth = 1000 = 1000.0000  \"Leaf width\""
                            "\nheight = width * 2 = 2000.0000"
                            "\ndepth = 40 = 40.0000"
                            "\nCommand: PARAMERASE height"
                            "\nErased the parameter height."
                            "\nCommand: PARAMS"
                            "\nwidth = 1000 = 1000.0000  \"Leaf width\""
                            "\ndepth = 40 = 40.0000\n");
}

TEST_F(ShellTest, ARefusedParameterLeavesNothingBehindAndAnUnevaluableExpressionIsTakenBack) {
    ProgramRun r = type("PARAM a 5\nPARAM b \"1/0\"\nPARAM c \"a +\"\nPARAMSET a \"a / 0\"\n"
                        "PARAMS\n",
                        "--no-load");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_EQ(r.transcript, "\nCommand: PARAM a 5\nCreated a = 5 = 5.0000"
                            "\nCommand: PARAM b \"1/0\"\nDivision by zero."
                            "\nCommand: PARAM c \"a +\""
                            "\nSyntax error at position 4: unexpected end of expression."
                            "\nCommand: PARAMSET a \"a / 0\""
                            "\nCyclic dependency: \"a\" refers to itself."
                            "\nCommand: PARAMS\na = 5 = 5.0000\n");
}

TEST_F(ShellTest, TablesTakeTextInEitherAddressFormAndListTheirCellsInTheUcs) {
    ProgramRun r = type("UCS 100,50\nTABLE 2 3 0,0\nTABLEDIT A $C$2 \"{\\C1;red}\"\n"
                        "TABLEDIT A a1 Name\nTABLELIST A\nERASE A\nTABLELIST A\n",
                        "--no-load");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_EQ(r.transcript, "\nCommand: UCS 100,50\nUCS origin 100,50,0."
                            "\nCommand: TABLE 2 3 0,0\nTable A: 2 rows, 3 columns."
                            "\nCommand: TABLEDIT A $C$2 \"{\\C1;red}\""
                            "\nCell C2 of table A: \"{\\C1;red}\""
                            "\nCommand: TABLEDIT A a1 Name\nCell A1 of table A: \"Name\""
                            "\nCommand: TABLELIST A\nTable A: 2 rows, 3 columns at 100,50,0"
                            "\n  A1 \"Name\"\n  C2 \"{\\C1;red}\""
                            "\nCommand: ERASE A\nErased A (AcDbTable)."
                            "\nCommand: TABLELIST A\nNo object has the handle A.\n");
}

TEST_F(ShellTest, ParametersBelongToTheSpaceThatIsCurrent) {
    ProgramRun r = type("LAYOUT\nPARAM onLayout 5\nLAYOUT NEW\nPARAMS\nLAYOUT 3\nMODEL\n"
                        "PARAM inModel 7\nPARAMS\nLAYOUT 1\nPARAMS\nCLOSE\nPARAMS\n",
                        "--no-load");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_EQ(r.transcript, "\nCommand: LAYOUT\nLayout1 is current."
                            "\nCommand: PARAM onLayout 5\nCreated onLayout = 5 = 5.0000"
                            "\nCommand: LAYOUT NEW\nLayout2 is current."
                            "\nCommand: PARAMS\nThe current space has no parameters."
                            "\nCommand: LAYOUT 3\nThe drawing has layouts 1 to 2."
                            "\nCommand: MODEL\nModel space is current."
                            "\nCommand: PARAM inModel 7\nCreated inModel = 7 = 7.0000"
                            "\nCommand: PARAMS\ninModel = 7 = 7.0000"
                            "\nCommand: LAYOUT 1\nLayout1 is current."
                            "\nCommand: PARAMS\nonLayout = 5 = 5.0000"
                            "\nCommand: CLOSE"
                            "\nCommand: PARAMS\nNo drawing is open.\n");
}

TEST_F(ShellTest, XdataIsListedForEveryApplicationInOrderWithGroupCodes) {
    // XDADD appends as it is told, an entry equal to an earlier one too: how links are kept
    // is the plug-in's business, not the host's.
    ProgramRun r = run("PARAM a 1\nXDLIST C\n"
                       "XDADD C LMESH_EXPRESSION_AD66626A Table(1F).$B$2\nXDADD C OTHER_APP x\n"
                       "XDADD C LMESH_EXPRESSION_AD66626A second\n"
                       "XDADD C LMESH_EXPRESSION_AD66626A TABLE(1f).$b$2\nXDLIST C\n",
                       "--no-load");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    size_t from = r.transcript.find("\nCommand: XDLIST C");
    ASSERT_NE(from, std::string::npos) << r.transcript;
    EXPECT_EQ(r.transcript.substr(from),
              "\nCommand: XDLIST C\nC (AcDbAssocVariable) has no xdata."
              "\nCommand: XDADD C LMESH_EXPRESSION_AD66626A Table(1F).$B$2"
              "\nAdded to C under LMESH_EXPRESSION_AD66626A: Table(1F).$B$2"
              "\nCommand: XDADD C OTHER_APP x\nAdded to C under OTHER_APP: x"
              "\nCommand: XDADD C LMESH_EXPRESSION_AD66626A second"
              "\nAdded to C under LMESH_EXPRESSION_AD66626A: second"
              "\nCommand: XDADD C LMESH_EXPRESSION_AD66626A TABLE(1f).$b$2"
              "\nAdded to C under LMESH_EXPRESSION_AD66626A: TABLE(1f).$b$2"
              "\nCommand: XDLIST C\nXdata of C (AcDbAssocVariable):"
              "\n  1001 LMESH_EXPRESSION_AD66626A"
              "\n  1000 Table(1F).$B$2\n  1000 second\n  1000 TABLE(1f).$b$2"
              "\n  1001 OTHER_APP\n  1000 x\n");
}

TEST_F(ShellTest, DynamicPropertiesOfEachKindDirectAndNestedFollowTheUpdateCommand) {
    ProgramRun r = run("TABLE 7 2 0,0\n"
                       "TABLEDIT A B1 750\nTABLEDIT A B2 90\nTABLEDIT A B3 3\n"
                       "TABLEDIT A B4 70000\nTABLEDIT A B5 \"{\\fArial;Oak}\"\n"
                       "TABLEDIT A B6 40\nTABLEDIT A B7 2.5\n"
                       "BLOCK Leaf\nBLOCKPROP Leaf Thick distance 30\n"
                       "BLOCK Door\nBLOCKPROP Door Width distance 900 range 600 1200\n"
                       "BLOCKPROP Door Swing angle 0\nBLOCKPROP Door Panels int16 2 values 1,2,3\n"
                       "BLOCKPROP Door Code int32 7\nBLOCKPROP Door Finish text Pine\n"
                       "BLOCKPROP Door Area area 1.5\nBLOCKPROP Door Origin point 1,2\n"
                       "INSERT Leaf 0,0 Door\nINSERT Door 100,0\n" +
                       importLinks("10.Width,Table(A).$B$1\n10.Swing,Table(A).$B$2\n"
                                   "10.Panels,Table(A).$B$3\n10.Code,Table(A).$B$4\n"
                                   "10.finish,Table(A).$B$5\n10.Area,Table(A).$B$7\n"
                                   "10|F.Thick,Table(A).$B$6\n") +
                       "PROPS 10\nXDLIST 10\nLmesh_UpdateLinkedParameters\nPROPS 10\nPROPS F\n");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    size_t from = r.transcript.find("\nCommand: PROPS 10");
    ASSERT_NE(from, std::string::npos) << r.transcript;
    // The angle is read in the drawing's degrees and kept in radians; the text loses its
    // format codes.
    EXPECT_EQ(r.transcript.substr(from),
              "\nCommand: PROPS 10\n10: reference of Door (dynamic) at 100,0,0"
              "\n  Width = 900  distance, 600 to 1200\n  Swing = 0  angle"
              "\n  Panels = 2  int16, one of 1,2,3\n  Code = 7  int32"
              "\n  Finish = \"Pine\"  text\n  Area = 1.5  area\n  Origin = 1,2,0  point"
              "\n  holds F (Leaf)"
              "\nCommand: XDLIST 10\nXdata of 10 (AcDbBlockReference):"
              "\n  1001 LMESH_EXPRESSION_AD66626A"
              "\n  1000 Width:Table(A).$B$1\n  1000 Swing:Table(A).$B$2"
              "\n  1000 Panels:Table(A).$B$3\n  1000 Code:Table(A).$B$4"
              "\n  1000 finish:Table(A).$B$5\n  1000 Area:Table(A).$B$7"
              "\n  1001 LMESH_EXPRESSION_368AE0D\n  1000 F<1D>Thick:Table(A).$B$6"
              "\nCommand: Lmesh_UpdateLinkedParameters\nFinish."
              "\nCommand: PROPS 10\n10: reference of Door (dynamic) at 100,0,0"
              "\n  Width = 750  distance, 600 to 1200\n  Swing = 1.5708  angle"
              "\n  Panels = 3  int16, one of 1,2,3\n  Code = 70000  int32"
              "\n  Finish = \"Oak\"  text\n  Area = 2.5  area\n  Origin = 1,2,0  point"
              "\n  holds F (Leaf)"
              "\nCommand: PROPS F\nF: reference of Leaf (dynamic) at 0,0,0"
              "\n  Thick = 40  distance\n");
}

// A drawing with w linked to B2 of table E, h = w * 2; the link is imported from the list.
std::string linkedDrawing(const std::string& links) {
    return "PARAM w 10\nPARAM h \"w * 2\"\nTABLE 2 2 0,0\nTABLEDIT E B2 10\n" + links;
}

TEST_F(ShellTest, ADrawingThatWasNotYetCurrentSeesNoTableEditUntilItHasBeen) {
    // Two drawings with the same content are saved first; the plug-in is then loaded while
    // the first is current: the second has no reactor yet, so an edit of its table is not
    // noticed, not even once it has become current.
    std::string links = importLinks("w,Table(E).$B$2\n");
    ProgramRun saved = run(linkedDrawing(links) + "SAVEAS " + (m_dir / "First.dxf").string() +
                           "\nNEW Second.dwg\n" + linkedDrawing(links) + "SAVEAS " +
                           (m_dir / "Second.dxf").string() + "\n");
    ASSERT_EQ(saved.exitCode, 0) << saved.errors;
    ProgramRun r =
        run("OPEN " + (m_dir / "First.dxf").string() + "\nOPEN " + (m_dir / "Second.dxf").string() +
                "\nSWITCH First.dxf\nARXLOAD\n"
                "TABLEDIT E B2 20 Second.dxf\nSWITCH Second.dxf\nPARAMS\n"
                "TABLEDIT E B2 30\nPARAMS\n",
            "--no-load");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    size_t from = r.transcript.find("\nCommand: ARXLOAD");
    ASSERT_NE(from, std::string::npos) << r.transcript;
    EXPECT_EQ(r.transcript.substr(from),
              "\nCommand: ARXLOAD" + kStartup +
                  "\nCommand: TABLEDIT E B2 20 Second.dxf\nCell B2 of table E: \"20\""
                  "\nCommand: SWITCH Second.dxf"
                  "\nCommand: PARAMS\nw = 10 = 10.0000\nh = w * 2 = 20.0000"
                  "\nCommand: TABLEDIT E B2 30\nCell B2 of table E: \"30\""
                  "\nCommand: PARAMS\nw = 30 = 30.0000\nh = w * 2 = 60.0000\n");
}

TEST_F(ShellTest, ATableEditedInAnotherDrawingRefreshesTheCurrentDrawingsParameters) {
    // Both drawings have been current, so both are watched. The drain searches the current
    // space of the current drawing for links to the table's handle: Second.dwg's w takes
    // the text of Drawing1's table E, and Drawing1's own w is not refreshed.
    std::string links = importLinks("w,Table(E).$B$2\n");
    ProgramRun r = run(linkedDrawing(links) + "NEW Second.dwg\n" + linkedDrawing(links) +
                       "TABLEDIT E B2 50 Drawing1.dwg\nPARAMS\nSWITCH Drawing1.dwg\nPARAMS\n"
                       "TABLELIST E\n");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    size_t from = r.transcript.find("\nCommand: TABLEDIT E B2 50");
    ASSERT_NE(from, std::string::npos) << r.transcript;
    EXPECT_EQ(r.transcript.substr(from),
              "\nCommand: TABLEDIT E B2 50 Drawing1.dwg\nCell B2 of table E: \"50\""
              "\nCommand: PARAMS\nw = 50 = 50.0000\nh = w * 2 = 100.0000"
              "\nCommand: SWITCH Drawing1.dwg"
              "\nCommand: PARAMS\nw = 10 = 10.0000\nh = w * 2 = 20.0000"
              "\nCommand: TABLELIST E\nTable E: 2 rows, 2 columns at 0,0,0\n  B2 \"50\"\n");
}

TEST_F(ShellTest, DocumentedExpressionsInATableCellReachTheParameter) {
    // Texts the model used to refuse, which the refresh passes over without a word, or
    // computed to another number: feet and inches with a dash (a unit separator) or a space
    // and a dash (a subtraction), 1-1/2 under imperial units, ';' between arguments, '%',
    // left-to-right powers and negation before powers, acosh. A value beyond 1e100 is still
    // refused, and a dependent that divides by zero is marked.
    ProgramRun r = run("SETVAR LUNITS 4\n"
                       "PARAM a 2\n"
                       "PARAM w 10\n"
                       "PARAM d \"1/(w-2)\"\n"
                       "TABLE 2 2 0,0\n" +
                       importLinks("w,Table(F).$B$2\n") +
                       "TABLEDIT F B2 \"5'-9\\\"\"\n"
                       "PARAMS\n"
                       "TABLEDIT F B2 \"5' -9\\\"\"\n"
                       "PARAMS\n"
                       "TABLEDIT F B2 \"1-1/2\"\n"
                       "PARAMS\n"
                       "TABLEDIT F B2 \"max(a;3) % 2\"\n"
                       "PARAMS\n"
                       "TABLEDIT F B2 \"2^3^2 / -2^2\"\n"
                       "PARAMS\n"
                       "TABLEDIT F B2 \"acosh(1) + 2\"\n"
                       "PARAMS\n"
                       "TABLEDIT F B2 \"1e101\"\n"
                       "PARAMS\n");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    size_t from = r.transcript.find("\nCommand: SETVAR");
    ASSERT_NE(from, std::string::npos) << r.transcript;
    EXPECT_EQ(r.transcript.substr(from),
              "\nCommand: SETVAR LUNITS 4"
              "\nCommand: PARAM a 2"
              "\nCreated a = 2 = 0'-2\""
              "\nCommand: PARAM w 10"
              "\nCreated w = 10 = 0'-10\""
              "\nCommand: PARAM d \"1/(w-2)\""
              "\nCreated d = 1/(w-2) = 0'-0 1/8\""
              "\nCommand: TABLE 2 2 0,0"
              "\nTable F: 2 rows, 2 columns." +
                  kImported +
                  "\nCommand: TABLEDIT F B2 \"5'-9\\\"\""
                  "\nCell B2 of table F: \"5'-9\"\""
                  "\nCommand: PARAMS"
                  "\na = 2 = 0'-2\""
                  "\nw = 5'-9\" = 5'-9\""
                  "\nd = 1/(w-2) = 0'-0\""
                  "\nCommand: TABLEDIT F B2 \"5' -9\\\"\""
                  "\nCell B2 of table F: \"5' -9\"\""
                  "\nCommand: PARAMS"
                  "\na = 2 = 0'-2\""
                  "\nw = 5' -9\" = 4'-3\""
                  "\nd = 1/(w-2) = 0'-0\""
                  "\nCommand: TABLEDIT F B2 \"1-1/2\""
                  "\nCell B2 of table F: \"1-1/2\""
                  "\nCommand: PARAMS"
                  "\na = 2 = 0'-2\""
                  "\nw = 1-1/2 = 0'-1 1/2\""
                  "\nd = 1/(w-2) = -0'-2\""
                  "\nCommand: TABLEDIT F B2 \"max(a;3) % 2\""
                  "\nCell B2 of table F: \"max(a;3) % 2\""
                  "\nCommand: PARAMS"
                  "\na = 2 = 0'-2\""
                  "\nw = max(a;3) % 2 = 0'-1\""
                  "\nd = 1/(w-2) = -0'-1\""
                  "\nCommand: TABLEDIT F B2 \"2^3^2 / -2^2\""
                  "\nCell B2 of table F: \"2^3^2 / -2^2\""
                  "\nCommand: PARAMS"
                  "\na = 2 = 0'-2\""
                  "\nw = 2^3^2 / -2^2 = 1'-4\""
                  "\nd = 1/(w-2) = 0'-0 1/16\""
                  "\nCommand: TABLEDIT F B2 \"acosh(1) + 2\""
                  "\nCell B2 of table F: \"acosh(1) + 2\""
                  "\nCommand: PARAMS"
                  "\na = 2 = 0'-2\""
                  "\nw = acosh(1) + 2 = 0'-2\""
                  "\nd = 1/(w-2) = 0'-0 1/16\"  (invalid: Division by zero)"
                  "\nCommand: TABLEDIT F B2 \"1e101\""
                  "\nCell B2 of table F: \"1e101\""
                  "\nCommand: PARAMS"
                  "\na = 2 = 0'-2\""
                  "\nw = acosh(1) + 2 = 0'-2\""
                  "\nd = 1/(w-2) = 0'-0 1/16\"  (invalid: Division by zero)"
                  "\n");
}

// A refused command prints why and stops the script at its line.
struct Refusal {
    const char* script;
    int line;
    const char* message;
};

void PrintTo(const Refusal& refusal, std::ostream* os) {
    *os << refusal.script;
}

class RefusedCommand : public ShellTest, public ::testing::WithParamInterface<Refusal> {};

TEST_P(RefusedCommand, PrintsWhyAndStopsTheScriptAtItsLine) {
    const Refusal& refusal = GetParam();
    ProgramRun r = run(refusal.script, "--no-load");
    EXPECT_EQ(r.exitCode, 2) << r.transcript;
    // The stop ends the line, and the end of the session adds one more.
    std::string tail = std::string("\n") + refusal.message + "\n\n";
    ASSERT_GE(r.transcript.size(), tail.size()) << r.transcript;
    EXPECT_EQ(r.transcript.substr(r.transcript.size() - tail.size()), tail) << r.transcript;
    EXPECT_EQ(r.errors, "linkmesh: " + (m_dir / "script.scr").string() + ":" +
                            std::to_string(refusal.line) + ": the command failed\n");
}

// A door block with one reference, B, in a fresh drawing without the plug-in.
#define DOOR                                                                                       \
    "BLOCK Door\n"                                                                                 \
    "BLOCKPROP Door Width distance 900 range 600 1200\n"                                           \
    "BLOCKPROP Door Panels int16 2 values 1,2,3\n"                                                 \
    "BLOCKPROP Door Finish text Pine readonly\n"                                                   \
    "INSERT Door 0,0\n"

INSTANTIATE_TEST_SUITE_P(
    Parameters, RefusedCommand,
    ::testing::Values(Refusal{"PARAM 1x 5\n", 1, "Invalid name \"1x\": must begin with a letter."},
                      Refusal{"PARAM a 5\nPARAM A 6\n", 2, "Name \"A\" is already used."},
                      Refusal{"PARAM a \"b + 1\"\n", 1, "Unknown name \"b\"."},
                      // A reference inside a feet-and-inches expression is found too.
                      Refusal{"SETVAR LUNITS 4\nPARAM a 2\nPARAM b \"5'-a\"\nPARAMERASE a\n", 4,
                              "\"a\" is referenced by \"b\" and stays."},
                      Refusal{"PARAM a 1e101\n", 1, "Number out of range at position 1."},
                      Refusal{"PARAM acosh 1\n", 1, "Invalid name \"acosh\": name of a function."},
                      Refusal{"PARAM a 5\nPARAM b \"a * 2\"\nPARAMSET a \"b + 1\"\n", 3,
                              "Cyclic dependency: \"a\" would depend on itself."},
                      Refusal{"PARAM a \"2 +\"\n", 1,
                              "Syntax error at position 4: unexpected end of expression."},
                      Refusal{"PARAM a \"1/0\"\n", 1, "Division by zero."},
                      Refusal{"PARAM a 5\nPARAM b \"a * 2\"\nPARAMERASE a\n", 3,
                              "\"a\" is referenced by \"b\" and stays."},
                      Refusal{"PARAMSET zz 1\n", 1, "No parameter is named zz."},
                      Refusal{"PARAM a\n", 1,
                              "PARAM needs a name, an expression and, if wanted, a description."}));

INSTANTIATE_TEST_SUITE_P(
    Tables, RefusedCommand,
    ::testing::Values(
        Refusal{"TABLE 0 2 0,0\n", 1, "Rows and columns are whole numbers from 1."},
        Refusal{"TABLE 2 2 zero\n", 1, "\"zero\" is no point (x,y or x,y,z)."},
        Refusal{"TABLE 2000 2001 0,0\n", 1, "A table holds at most 4,000,000 cells."},
        Refusal{"TABLE 2 2 0,0\nTABLEDIT A C1 x\n", 2,
                "The table A has no cell C1 (2 rows, 2 columns)."},
        Refusal{"TABLE 2 2 0,0\nTABLEDIT A 2B x\n", 2, "\"2B\" is no cell address (B2 or $B$2)."},
        Refusal{"TABLE 2 2 0,0\nTABLEDIT A XFE1 x\n", 2,
                "\"XFE1\" is no cell address (B2 or $B$2)."},
        Refusal{"TABLE 2 2 0,0\nTABLEDIT A $AAA$3 x\n", 2,
                "The table A has no cell AAA3 (2 rows, 2 columns)."},
        Refusal{"TABLE 2 2 0,0\nTABLEDIT 99 A1 x\n", 2, "No object has the handle 99."},
        Refusal{"TABLE 2 2 0,0\nTABLEDIT A A1 x Other.dwg\n", 2,
                "No open drawing is named Other.dwg."},
        Refusal{"TABLELIST XYZ\n", 1, "\"XYZ\" is no handle."},
        Refusal{"PARAM a 1\nTABLELIST A\n", 2, "A is no table (AcDbAssocNetwork)."}));

INSTANTIATE_TEST_SUITE_P(
    BlocksAndLinks, RefusedCommand,
    ::testing::Values(
        Refusal{"BLOCK Door\nBLOCK door\n", 2, "A block named door exists already."},
        Refusal{"BLOCK *U1\n", 1, "\"*U1\" is no block name."},
        Refusal{"BLOCKPROP Door Width real 1\n", 1, "No block is named Door."},
        Refusal{"BLOCK Door\nBLOCKPROP Door Width length 1\n", 2,
                "\"length\" is no kind of property (distance, angle, area, real, int16, int32, "
                "text, point)."},
        Refusal{"BLOCK Door\nBLOCKPROP Door Panels int16 40000\n", 2,
                "\"40000\" is no int16 value."},
        Refusal{"BLOCK Door\nBLOCKPROP Door Width distance 5 range 9 1\n", 2,
                "A range is two numbers, the lower first."},
        Refusal{"BLOCK Door\nINSERT Door 0,0 Door\n", 2,
                "A block cannot hold a reference to itself."},
        Refusal{"BLOCK Door\nBLOCK Leaf\nBLOCK Knob\nINSERT Leaf 0,0 Door\n"
                "INSERT Knob 0,0 Leaf\nINSERT Door 0,0 Knob\n",
                6, "A block cannot hold a reference to itself."},
        Refusal{"TABLE 1 1 0,0\nPROPS A\n", 2, "A is no block reference (AcDbTable)."},
        Refusal{"PROPSET 99 Width 1\n", 1, "No object has the handle 99."},
        Refusal{"XDADD 1 \"\" text\n", 1, "An application name has 1 to 255 characters."}));

// The dynamic block's own refusals.
INSTANTIATE_TEST_SUITE_P(
    DynamicProperties, RefusedCommand,
    ::testing::Values(
        Refusal{DOOR "PROPSET B Finish Oak\n", 6, "The property Finish is read-only."},
        Refusal{DOOR "PROPSET B Width 1300\n", 6, "The property Width does not take 1300."},
        Refusal{DOOR "PROPSET B Panels 4\n", 6, "The property Panels does not take 4."},
        Refusal{DOOR "PROPSET B Panels 1.5\n", 6, "\"1.5\" is no int16 value."},
        Refusal{DOOR "PROPSET B Height 1\n", 6, "The reference B has no property Height."}));

} // namespace
