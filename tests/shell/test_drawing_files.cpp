// Drawings as files in the linkmesh program: SAVEAS, SAVE, OPEN and a drawing on the command
// line; the plug-in's links working in an opened drawing; and linkmesh update over a folder
// of drawings, by its output, exit code and the files on disk.
#include <string>

#include "ShellRun.h"
#include "testkit/XlsxBuilder.h"

namespace {

using namespace shelltest;

// A drawing with parameters, a nested dynamic block, a table and links of each kind.
const std::string kBuild = "PARAM width 800 \"Leaf width\"\n"
                           "PARAM height \"width * 2\"\n"
                           "BLOCK Door\n"
                           "BLOCKPROP Door Width distance 800 range 600 1200\n"
                           "BLOCKPROP Door Finish text Oak\n"
                           "BLOCK Frame\n"
                           "INSERT Door 0,0 Frame\n"
                           "INSERT Door 100,0\n"
                           "INSERT Frame 2000,0\n"
                           "TABLE 3 2 0,0\n"
                           "TABLEDIT 13 B2 \"{\\fArial;900}\"\n";
// Its links, imported through the manager.
const std::string kLinks = "width,Sizes.xlsx*Sizes*$B$2\n"
                           "11.Width,Sizes.xlsx*Sizes*$B$2\n"
                           "11.Finish,Sizes.xlsx*Sizes*$B$3\n"
                           "12|10.Width,Sizes.xlsx*Sizes*$B$2\n";
const std::string kList = "PARAMS\nPROPS 11\nPROPS 10\nTABLELIST 13\nXDLIST 2\nXDLIST 11\n"
                          "XDLIST 12\n";

class DrawingFiles : public ShellTest {
protected:
    void writeWorkbook(const fs::path& path, double width, const std::wstring& finish) {
        testkit::XlsxBuilder book;
        book.sheet(L"Sizes").number("B2", width).text("B3", finish);
        fs::create_directories(path.parent_path());
        book.write(path.string());
    }

    std::string file(const std::string& name) const { return (m_dir / name).string(); }
    std::string build() { return kBuild + importLinks(kLinks); }

    // What the commands after `from` printed.
    static std::string after(const std::string& transcript, const std::string& from) {
        size_t at = transcript.find(from);
        return at == std::string::npos ? "(not found: " + from + ")" : transcript.substr(at);
    }

    ProgramRun update(const std::string& arguments) {
        std::string command = std::string("cd / && '") + LINKMESH_PROGRAM + "' update " +
                              arguments + " > '" + file("update.txt") + "' 2> '" +
                              file("update-err.txt") + "'";
        ProgramRun r;
        int status = std::system(command.c_str());
        r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        r.transcript = readFile(m_dir / "update.txt");
        r.errors = readFile(m_dir / "update-err.txt");
        return r;
    }
};

TEST_F(DrawingFiles, ASavedDrawingOpensWithItsContentHandlesAndLinks) {
    std::string drawing = file("door.dxf");
    ProgramRun made = run(build() + kList + "SAVEAS " + drawing + "\n");
    ASSERT_EQ(made.exitCode, 0) << made.errors;
    EXPECT_NE(made.transcript.find("\nCommand: SAVEAS " + drawing + "\nSaved " + drawing + ".\n"),
              std::string::npos);
    std::string listed = after(made.transcript, "\nCommand: PARAMS");
    listed = listed.substr(0, listed.find("\nCommand: SAVEAS"));

    // The drawing on the command line, and OPEN of it: the same listing, the same handles.
    ProgramRun opened = run(kList + "SAVE\n", "--no-load '" + drawing + "'");
    ASSERT_EQ(opened.exitCode, 0) << opened.errors;
    EXPECT_EQ(opened.transcript,
              "\nOpened " + drawing + "." + listed + "\nCommand: SAVE\nSaved " + drawing + ".\n");
    std::string saved = readFile(drawing);
    ProgramRun reopened = run("OPEN " + drawing + "\n" + kList + "DOCS\nSAVE\n", "--no-load");
    ASSERT_EQ(reopened.exitCode, 0) << reopened.errors;
    EXPECT_EQ(after(reopened.transcript, "\nCommand: PARAMS"),
              listed + "\nCommand: DOCS\n  Drawing1.dwg\n* door.dxf\nCommand: SAVE\nSaved " +
                  drawing + ".\n");
    // Save, open, save: the same bytes.
    EXPECT_EQ(readFile(drawing), saved);
}

TEST_F(DrawingFiles, SaveAndOpenSayWhyTheyCannot) {
    writeFile(m_dir / "broken.dxf", "  0\nSECTION\n  2\nENTITIES\n  0\nLINE\n 10\n");
    fs::create_directories(m_dir / "folder.dxf");
    ProgramRun r = type("SAVE\nSAVEAS " + file("none/a.dxf") + "\nSAVEAS " + file("folder.dxf") +
                            "\nOPEN " + file("broken.dxf") + "\nOPEN " + file("folder.dxf") +
                            "\nOPEN " + file("missing.dxf") + "\nSAVE extra\nOPEN\n",
                        "--no-load");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_EQ(r.transcript,
              "\nCommand: SAVE\nDrawing1.dwg has no file yet; SAVEAS names its file."
              "\nCommand: SAVEAS " +
                  file("none/a.dxf") + "\nCannot save " + file("none/a.dxf") +
                  ": no such file or directory.\nCommand: SAVEAS " + file("folder.dxf") +
                  "\nCannot save " + file("folder.dxf") + ": it is a folder.\nCommand: OPEN " +
                  file("broken.dxf") + "\nCannot open " + file("broken.dxf") +
                  ": line 7: the file ends after group code 10 (truncated file).\nCommand: OPEN " +
                  file("folder.dxf") + "\nCannot open " + file("folder.dxf") +
                  ": it is a folder, not a drawing file.\nCommand: OPEN " + file("missing.dxf") +
                  "\nCannot open " + file("missing.dxf") +
                  ": no such file or directory.\nCommand: SAVE extra"
                  "\nSAVE takes nothing; SAVEAS saves under another name.\nCommand: OPEN"
                  "\nOPEN needs the drawing file's path.\n");
    EXPECT_FALSE(fs::exists(m_dir / "none"));

    // A drawing on the command line that cannot be opened ends the program at once.
    ProgramRun start = run("PARAMS\n", "--no-load '" + file("broken.dxf") + "'");
    EXPECT_EQ(start.exitCode, 5);
    EXPECT_EQ(start.errors, "linkmesh: cannot open " + file("broken.dxf") +
                                ": line 7: the file ends after group code 10 (truncated file)\n");
}

TEST_F(DrawingFiles, WhatTheModelDoesNotHoldIsReportedOnOpenAndOnTheFirstSave) {
    writeFile(m_dir / "other.dxf", "0\nSECTION\n2\nENTITIES\n"
                                   "0\nCIRCLE\n10\n0\n20\n0\n30\n0\n40\n1\n"
                                   "0\nCIRCLE\n10\n5\n20\n0\n30\n0\n40\n1\n"
                                   "0\nLINE\n10\n0\n20\n0\n30\n0\n11\n5\n21\n0\n31\n0\n"
                                   "0\nENDSEC\n0\nEOF\n");
    ProgramRun r = run("OPEN " + file("other.dxf") + "\nSAVE\nSAVE\n", "--no-load");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_EQ(r.transcript,
              "\nCommand: OPEN " + file("other.dxf") + "\nOpened " + file("other.dxf") +
                  ".\n2 CIRCLE entities not kept.\nCommand: SAVE\nThe file no "
                  "longer holds what the drawing did not keep: 2 CIRCLE entities "
                  "not kept.\nSaved " +
                  file("other.dxf") + ".\nCommand: SAVE\nSaved " + file("other.dxf") + ".\n");
    std::string saved = readFile(m_dir / "other.dxf");
    EXPECT_EQ(saved.find("CIRCLE"), std::string::npos);
    EXPECT_NE(saved.find("\nLINE\n"), std::string::npos);
}

// The plug-in hears an opened drawing become current: its table links follow edits.
TEST_F(DrawingFiles, ThePluginsReactorsSeeAnOpenedDrawing) {
    std::string drawing = file("table.dxf");
    ProgramRun made = run("PARAM width 900\nTABLE 2 2 0,0\nTABLEDIT D B2 900\n" +
                          importLinks("width,Table(D).$B$2\n") + "SAVEAS " + drawing + "\n");
    ASSERT_EQ(made.exitCode, 0) << made.errors;
    ProgramRun r = run("TABLEDIT D B2 1000\nPARAMS\n", "'" + drawing + "'");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_NE(r.transcript.find("\nCommand: PARAMS\nwidth = 1000 = 1000.0000\n"), std::string::npos)
        << r.transcript;
}

// Relative workbook paths of an opened drawing start from its file's folder, wherever the
// program runs.
TEST_F(DrawingFiles, RelativeWorkbookPathsStartFromTheOpenedDrawingsFolder) {
    writeWorkbook(m_dir / "shared" / "Sizes.xlsx", 950, L"Walnut");
    std::string drawing = (m_dir / "plans" / "a.dxf").string();
    fs::create_directories(m_dir / "plans");
    ProgramRun made = run("PARAM width 800\nPARAM depth 40\n" +
                          importLinks("width,..\\shared\\Sizes.xlsx*Sizes*$B$2\n"
                                      "depth,Sizes.xlsx*Sizes*$B$2\n") +
                          "SAVEAS " + drawing + "\n");
    ASSERT_EQ(made.exitCode, 0) << made.errors;
    ProgramRun r =
        run("SETVAR FILEDIA 0\nLmesh_UpdateLinkedParameters\nPARAMS\n", "'" + drawing + "'");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_NE(r.transcript.find("Cannot find " + (m_dir / "plans" / "Sizes.xlsx").string() +
                                ". Skip it."),
              std::string::npos)
        << r.transcript;
    EXPECT_NE(r.transcript.find("\nCommand: PARAMS\nwidth = 950 = 950.0000\ndepth = 40 = "
                                "40.0000\n"),
              std::string::npos)
        << r.transcript;
}

TEST_F(DrawingFiles, UpdateBringsAFolderOfDrawingsUpToDateAndADryRunTouchesNothing) {
    // Two drawings whose links name the workbook beside them, and a damaged one.
    writeWorkbook(m_dir / "plans" / "Sizes.xlsx", 800, L"Oak");
    std::string first = (m_dir / "plans" / "first.dxf").string();
    std::string second = (m_dir / "plans" / "second.dxf").string();
    std::string damaged = (m_dir / "plans" / "damaged.dxf").string();
    ProgramRun made =
        run(build() + "SAVEAS " + first + "\nPARAMSET width 700\nSAVEAS " + second + "\n");
    ASSERT_EQ(made.exitCode, 0) << made.errors;
    std::string text = readFile(first);
    writeFile(damaged, text.substr(0, text.size() / 2));
    writeWorkbook(m_dir / "plans" / "Sizes.xlsx", 950, L"Walnut");
    std::string before1 = readFile(first), before2 = readFile(second);

    std::string files = "'" + first + "' '" + damaged + "' '" + second + "'";
    ProgramRun dry = update("--dry-run " + files);
    EXPECT_EQ(dry.exitCode, 5) << dry.errors;
    EXPECT_EQ(readFile(first), before1);
    EXPECT_EQ(readFile(second), before2);
    const std::string changes = "  width: 800 = 800 \u2192 950 = 950\n"
                                "  height: width * 2 = 1600 \u2192 width * 2 = 1900\n"
                                "  10 Width: 800 \u2192 950\n"
                                "  11 Width: 800 \u2192 950\n"
                                "  11 Finish: \"Oak\" \u2192 \"Walnut\"\n";
    EXPECT_NE(dry.transcript.find("\nOpened " + first +
                                  ".\nCommand: Lmesh_UpdateLinkedParameters\nLinkmesh will update "
                                  "the parameters from Excel. Please confirm that your Excel "
                                  "files have been saved."),
              std::string::npos)
        << dry.transcript;
    EXPECT_NE(dry.transcript.find("Finish.\n" + changes +
                                  "[1/3] first.dxf: 5 changed (dry run, not saved)\n"),
              std::string::npos)
        << dry.transcript;
    EXPECT_NE(dry.transcript.find("\n[2/3] damaged.dxf: cannot open: line "), std::string::npos);
    EXPECT_NE(dry.transcript.find("[3/3] second.dxf: 5 changed (dry run, not saved)\n"),
              std::string::npos);
    EXPECT_NE(dry.transcript.find("  width: 700 = 700 \u2192 950 = 950\n"), std::string::npos);
    EXPECT_NE(dry.transcript.find("\n3 drawings (dry run, nothing saved): 2 with changes (10 "
                                  "changes), 1 failed.\n"),
              std::string::npos)
        << dry.transcript;

    // The update itself saves each drawing it could update.
    ProgramRun real = update(files);
    EXPECT_EQ(real.exitCode, 5);
    EXPECT_NE(real.transcript.find("Finish.\nSaved " + first + ".\n" + changes +
                                   "[1/3] first.dxf: 5 changed\n"),
              std::string::npos)
        << real.transcript;
    EXPECT_NE(real.transcript.find("\n3 drawings: 2 with changes (10 changes), 1 failed.\n"),
              std::string::npos);
    EXPECT_NE(readFile(first), before1);
    ProgramRun opened = run("PARAMS\nPROPS 11\n", "--no-load '" + first + "'");
    EXPECT_NE(
        opened.transcript.find("\nwidth = 950 = 950.0000  \"Leaf width\"\nheight = width * 2 = "
                               "1900.0000\nCommand: PROPS 11\n11: reference of Door"),
        std::string::npos)
        << opened.transcript;

    // Up to date, every drawing opened, updated and saved: exit code 0, nothing changed.
    ProgramRun again = update("'" + first + "' '" + second + "'");
    EXPECT_EQ(again.exitCode, 0) << again.transcript;
    EXPECT_NE(again.transcript.find("[1/2] first.dxf: 0 changed\n"), std::string::npos);
    EXPECT_NE(again.transcript.find("\n2 drawings: 0 with changes (0 changes), 0 failed.\n"),
              std::string::npos);

    // Usage.
    EXPECT_EQ(update("").exitCode, 1);
    EXPECT_EQ(update("--frobnicate x.dxf").exitCode, 1);
}

} // namespace
