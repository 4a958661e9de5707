// The linkmesh program run on scripts, with whole transcripts compared.
#include "ShellRun.h"

namespace {

using namespace shelltest;

TEST_F(ShellTest, WriteLinkedParametersToSourceDoesNothingAtAll) {
    ProgramRun r = run("Lmesh_WriteLinkedParametersToSource\n");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_EQ(r.transcript, kStartup + "\nCommand: Lmesh_WriteLinkedParametersToSource\n");
}

TEST_F(ShellTest, UnloadLeavesNoCommandAndALaterLoadStartsAfresh) {
    ProgramRun r = run("ARXUNLOAD\nAPPS\nARXLOAD\nAPPS\nLmesh_WriteLinkedParametersToSource\n"
                       "ARXUNLOAD\nLmesh_WriteLinkedParametersToSource\n");
    EXPECT_EQ(r.exitCode, 2);
    std::string afterLoad = "\nCommand: ARXLOAD\nCommand: (command \"Lmesh_LoadMenu\")";
    EXPECT_NE(r.transcript.find(afterLoad), std::string::npos) << r.transcript;
    EXPECT_NE(r.transcript.find("\nCommand: ARXUNLOAD\nLinkmesh successfully unloaded."
                                "\nCommand: Lmesh_WriteLinkedParametersToSource"
                                "\nUnknown command \"LMESH_WRITELINKEDPARAMETERSTOSOURCE\".  "
                                "Press F1 for help.\n"),
              std::string::npos)
        << r.transcript;
    EXPECT_NE(r.errors.find("script.scr:7: unknown command"), std::string::npos) << r.errors;
}

TEST_F(ShellTest, AnUnloadedPluginHearsNothingOfTheDrawingsItLeftOpen) {
    // The drawing outlives the library; a table edited afterwards reaches no reactor of the
    // unloaded code, and a new load watches the drawing again.
    ProgramRun r =
        run("PARAM width 900\nTABLE 2 2 0,0\nTABLEDIT D B2 900\n" +
            importLinks("width,Table(D).$B$2\n") +
            "ARXUNLOAD\nTABLEDIT D B2 1000\nPARAMS\nARXLOAD\nTABLEDIT D B2 1200\nPARAMS\n");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_NE(r.transcript.find("\nCommand: PARAMS\nwidth = 900 = 900"), std::string::npos)
        << r.transcript;
    EXPECT_NE(r.transcript.find("\nCommand: PARAMS\nwidth = 1200 = 1200"), std::string::npos)
        << r.transcript;
}

TEST_F(ShellTest, MenuGoesBehindTheOnlyMenuOfAOneMenuBar) {
    ProgramRun r = run("MENUBAR File\nARXLOAD\nMENUBAR\n", "--no-load");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_EQ(r.transcript, "\nCommand: MENUBAR File\nMenu bar: File"
                            "\nCommand: ARXLOAD\nCommand: (command \"Lmesh_LoadMenu\")"
                            "\nCommand: MENUBAR\nMenu bar: File Linkmesh\n");
}

TEST_F(ShellTest, MenuGoesInFrontOfTheLastTwoOfFourMenus) {
    ProgramRun r = run("MENUBAR A B C D\nARXLOAD\nMENUBAR\n", "--no-load");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_NE(r.transcript.find("Menu bar: A B Linkmesh C D\n"), std::string::npos) << r.transcript;
}

TEST_F(ShellTest, ActiveMenuZeroIsHonouredWhenTheGroupIsLoaded) {
    writeFile(m_dir / "Lmesh.cuix", "menu");
    writeFile(store(), "Windows Registry Editor Version 5.00\n\n"
                       "[HKEY_CURRENT_USER\\software\\Norvane\\Linkmesh]\n"
                       "\"ActiveMenu\"=dword:00000000\n");
    ProgramRun r =
        run("MENUBAR A B C D\nMENULOAD " + (m_dir / "Lmesh.cuix").string() + "\nARXLOAD\nMENUBAR\n",
            "--no-load");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    // Nothing is queued and nothing placed: the user's bar stays.
    EXPECT_EQ(r.transcript.find("(command"), std::string::npos) << r.transcript;
    EXPECT_NE(r.transcript.find("\nCommand: MENUBAR\nMenu bar: A B C D\n"), std::string::npos)
        << r.transcript;
}

TEST_F(ShellTest, FirstReadCreatesTheSettingsKeyAndPlacementWritesZero) {
    writeFile(m_dir / "Lmesh.cuix", "menu");
    ProgramRun r =
        run("MENULOAD " + (m_dir / "Lmesh.cuix").string() + "\nARXLOAD\nMENUBAR\n", "--no-load");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_EQ(readFile(store()), "Windows Registry Editor Version 5.00\n\n"
                                 "[HKEY_CURRENT_USER]\n\n"
                                 "[HKEY_CURRENT_USER\\software]\n\n"
                                 "[HKEY_CURRENT_USER\\software\\Norvane]\n\n"
                                 "[HKEY_CURRENT_USER\\software\\Norvane\\Linkmesh]\n"
                                 "\"ActiveMenu\"=dword:00000000\n");
    // The group Lmesh is no menu of the bar; the placement used the plug-in's own group.
    EXPECT_NE(r.transcript.find("Lmesh"), std::string::npos);
}

TEST_F(ShellTest, CorruptSettingsAreReportedOnceAndKeptAsideWhenAValueIsWritten) {
    writeFile(m_dir / "Lmesh.cuix", "menu");
    writeFile(store(), "garbage\x01\n");
    ProgramRun r =
        run("MENULOAD " + (m_dir / "Lmesh.cuix").string() + "\nARXLOAD\nARXUNLOAD\nARXLOAD\n",
            "--no-load");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    std::string report = "cannot be read in full: it does not start with \"Windows Registry "
                         "Editor Version 5.00\". What could be read is used; the file will be "
                         "kept aside when it is next saved.";
    size_t first = r.transcript.find(report);
    ASSERT_NE(first, std::string::npos) << r.transcript;
    EXPECT_EQ(r.transcript.find(report, first + 1), std::string::npos) << r.transcript;
    // Placing the menu wrote ActiveMenu; the broken file was kept aside first.
    EXPECT_NE(r.transcript.find("\nThe damaged settings file was kept as " + store().string() +
                                ".damaged."),
              std::string::npos)
        << r.transcript;
    EXPECT_EQ(readFile(store().string() + ".damaged"), "garbage\x01\n");
    EXPECT_NE(readFile(store()).find("\"ActiveMenu\"=dword:00000000"), std::string::npos);
}

TEST_F(ShellTest, CorruptSettingsStayWhenNothingIsWritten) {
    writeFile(store(), "garbage\n");
    ProgramRun r = run("ARXUNLOAD\n");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_EQ(readFile(store()), "garbage\n");
}

TEST_F(ShellTest, AScriptErrorNamesItsLine) {
    ProgramRun r = run("# a comment\n\nMENUBAR\nNOSUCHCOMMAND\nMENUBAR\n");
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_NE(r.errors.find("script.scr:4: unknown command \"NOSUCHCOMMAND\""), std::string::npos)
        << r.errors;
    EXPECT_NE(r.transcript.find("\nCommand: NOSUCHCOMMAND\nUnknown command \"NOSUCHCOMMAND\"."),
              std::string::npos);
}

TEST_F(ShellTest, AnAnswerNoPromptAskedForStopsTheScript) {
    ProgramRun r = run("Lmesh_WriteLinkedParametersToSource\n[Yes]\n");
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_NE(r.errors.find("script.scr:2: an answer that no prompt asked for"), std::string::npos)
        << r.errors;
}

TEST_F(ShellTest, SupportAndWebsiteAreOpenedNotLaunched) {
    ProgramRun r = run("Lmesh_Website\nLmesh_Support\n");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_NE(r.transcript.find("\nCommand: Lmesh_Website\n[shell] open "
                                "https://www.norvane.com/linkmesh"),
              std::string::npos)
        << r.transcript;
    EXPECT_NE(r.transcript.find("Operation System: Professional Linux (Build 9200)\n "
                                "%0a%0d CAD Platform Version: ACAD 25.0 %0a%0d Product: "
                                "Linkmesh %0a%0d Product Version: 2.79 %0a%0d"),
              std::string::npos)
        << r.transcript;
}

} // namespace
