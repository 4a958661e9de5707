// The Parameter Links Manager at work: what it shows when it opens, Add with its checks and
// the replacement prompt, Remove and Remove All Links, and how the dialog ends. Every change
// is checked in the drawing's xdata at once, before the dialog closes.
#include "ManagerFixture.h"

#include "links/LinkText.h"

namespace managertest {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class ManagerDialog : public ManagerWithParameters {};

TEST_F(ManagerDialog, OpensWithItsControlsTheSortedNamesAndTheStoredLinks) {
    AcDbObjectId door = insert(defineDoor());
    ASSERT_TRUE(setXdata(width, kDirectLinkApp, L"b.xlsx*Sheet1*$B$3"));
    ASSERT_TRUE(setXdata(door, kDirectLinkApp, L"Finish:a.xlsx*Sheet1*$C$2"));
    act({L"cancel"});
    EXPECT_EQ(run(), IDCANCEL);
    ASSERT_EQ(driver.seen.size(), 1u);
    EXPECT_EQ(driver.seen[0].title, L"Parameter Links Manager");
    std::wstring finish = handleOf(door) + L".Finish";
    EXPECT_EQ(driver.seen[0].controls,
              (Lines{L"Block Name:", L"141 edit \"\" (read-only)", L"Parameter Name:",
                     L"101 combo (none) of \"" + finish + L"\" \"area\" \"d1\" \"Width\"",
                     L"108 button \"Pick a dynamic block.\" (picture)", L"104 button \"Add\"",
                     L"Cell Expression:", L"102 edit \"\" (read-only)",
                     L"103 button \"Pick a cell from AutoCAD table\" (picture)",
                     L"123 button \"PICK_EXCEL_CELL\" (picture) hint \"Pick a cell from Excel.\"",
                     L"105 button \"Remove\"",
                     L"100 list view \"Parameter Name\" | \"Cell Expression\"\n     \"" + finish +
                         L"\" | \"a.xlsx*Sheet1*$C$2\"\n     \"Width\" | \"b.xlsx*Sheet1*$B$3\"",
                     L"142 button \"Remove All Links\"", L"106 button \"Export Links\"",
                     L"107 button \"Import Links\"", L"1 button \"Update Parameters\"",
                     L"2 button \"Close\""}));
    EXPECT_EQ(transcript(), L"");
}

TEST_F(ManagerDialog, TheListHasTwoColumnsWithGridLinesAndFullRowSelection) {
    act({L"cancel"});
    CParametersManagerDialog dialog;
    struct Probe : lmhost::DialogDriver {
        CParametersManagerDialog* dialog;
        DWORD style = 0;
        std::optional<lmhost::DialogAction> nextAction(const lmhost::DialogView&) override {
            style = dialog->linksList.GetExtendedStyle();
            return std::nullopt;
        }
    } probe;
    probe.dialog = &dialog;
    lmhost::setDialogDriver(&probe);
    dialog.DoModal();
    EXPECT_EQ(probe.style, 33u);
}

TEST_F(ManagerDialog, TheCellExpressionCannotBeTyped) {
    act({L"type 102 a.xlsx*Sheet1*$A$1", L"cancel"});
    run();
    EXPECT_EQ(driver.seen.at(1).notice, L"the edit field 102 is read-only");
    EXPECT_EQ(control(L"102 "), L"102 edit \"\" (read-only)");
}

TEST_F(ManagerDialog, AddChecksTheParameterThenTheExpressionInThatOrder) {
    act({L"press 104", L"choose 101 d1", L"press 104", L"cancel"});
    run();
    EXPECT_EQ(transcript(), L"\n[Linkmesh|64] Please select a parameter first. -> 1"
                            L"\n[Linkmesh|64] Invalid Cell Expression. -> 1");
    EXPECT_THAT(stored(d1, kDirectLinkApp), ElementsAre());
    EXPECT_EQ(list(), L"100 list view \"Parameter Name\" | \"Cell Expression\" (empty)");
}

TEST_F(ManagerDialog, AddWritesTheLinkAtOnceAndKeepsTheRowsInNameOrder) {
    act({L"choose 101 Width"});
    pick(L"w.xlsx*Sheet1*$B$2");
    act({L"press 104", L"choose 101 area"});
    pick(L"a.xlsx*Sheet1*$B$3");
    act({L"press 104", L"choose 101 d1"});
    pick(L"Table(2A).$A$1");
    act({L"press 104", L"cancel"});
    EXPECT_EQ(run(), IDCANCEL);
    EXPECT_EQ(list(), L"100 list view \"Parameter Name\" | \"Cell Expression\""
                      L"\n     \"area\" | \"a.xlsx*Sheet1*$B$3\""
                      L"\n     \"d1\" | \"Table(2A).$A$1\""
                      L"\n     \"Width\" | \"w.xlsx*Sheet1*$B$2\"");
    EXPECT_EQ(control(L"102 "), L"102 edit \"\" (read-only)") << "Add empties the field";
    EXPECT_EQ(control(L"101 "), L"101 combo \"d1\" of \"area\" \"d1\" \"Width\"")
        << "the parameter stays selected";
    // Close undoes nothing.
    EXPECT_THAT(stored(d1, kDirectLinkApp), ElementsAre(L"Table(2A).$A$1"));
    EXPECT_THAT(stored(width, kDirectLinkApp), ElementsAre(L"w.xlsx*Sheet1*$B$2"));
    EXPECT_EQ(transcript(), L"");
}

TEST_F(ManagerDialog, TheSameLinkInAnotherCaseAsksNothingAndChangesNothing) {
    ASSERT_TRUE(setXdata(d1, kDirectLinkApp, L"a.xlsx*Sheet1*$B$2"));
    act({L"choose 101 d1"});
    pick(L"A.XLSX*sheet1*$b$2");
    act({L"press 104", L"cancel"});
    run();
    EXPECT_EQ(transcript(), L"");
    EXPECT_EQ(control(L"102 "), L"102 edit \"\" (read-only)");
    EXPECT_THAT(stored(d1, kDirectLinkApp), ElementsAre(L"a.xlsx*Sheet1*$B$2"));
}

TEST_F(ManagerDialog, AnotherExpressionPromptsAndNoKeepsTheOldLink) {
    ASSERT_TRUE(setXdata(d1, kDirectLinkApp, L"a.xlsx*Sheet1*$B$2"));
    answer({IDNO});
    act({L"choose 101 d1"});
    pick(L"b.xlsx*Sheet1*$B$2");
    act({L"press 104", L"cancel"});
    run();
    EXPECT_EQ(transcript(), L"\n[Norvane Linkmesh|68] d1 already has a linked cell. Do you want "
                            L"to replace it? -> 7");
    EXPECT_EQ(control(L"102 "), L"102 edit \"\" (read-only)") << "emptied all the same";
    EXPECT_THAT(stored(d1, kDirectLinkApp), ElementsAre(L"a.xlsx*Sheet1*$B$2"));
    EXPECT_EQ(list(), L"100 list view \"Parameter Name\" | \"Cell Expression\""
                      L"\n     \"d1\" | \"a.xlsx*Sheet1*$B$2\"");
}

TEST_F(ManagerDialog, YesReplacesTheLinkInTheRowAndTheDrawing) {
    ASSERT_TRUE(setXdata(d1, kDirectLinkApp, L"a.xlsx*Sheet1*$B$2"));
    answer({IDYES});
    act({L"choose 101 d1"});
    pick(L"b.xlsx*Sheet1*$B$2");
    act({L"press 104", L"cancel"});
    run();
    EXPECT_THAT(transcript(), HasSubstr(L"d1 already has a linked cell."));
    EXPECT_THAT(stored(d1, kDirectLinkApp), ElementsAre(L"b.xlsx*Sheet1*$B$2"));
    EXPECT_EQ(list(), L"100 list view \"Parameter Name\" | \"Cell Expression\""
                      L"\n     \"d1\" | \"b.xlsx*Sheet1*$B$2\"");
}

TEST_F(ManagerDialog, RemoveWantsASelectionAndAConfirmation) {
    ASSERT_TRUE(setXdata(d1, kDirectLinkApp, L"a.xlsx*Sheet1*$B$2"));
    ASSERT_TRUE(setXdata(width, kDirectLinkApp, L"w.xlsx*Sheet1*$B$2"));
    answer({IDOK, IDNO, IDYES});
    act({L"press 105", L"choose 100 Width", L"press 105", L"press 105", L"cancel"});
    run();
    EXPECT_EQ(transcript(), L"\n[Linkmesh|64] Please select a item first. -> 1"
                            L"\n[Linkmesh|68] Are you sure you want to remove this item? -> 7"
                            L"\n[Linkmesh|68] Are you sure you want to remove this item? -> 6");
    EXPECT_EQ(list(2), L"100 list view \"Parameter Name\" | \"Cell Expression\""
                       L"\n     \"d1\" | \"a.xlsx*Sheet1*$B$2\""
                       L"\n     > \"Width\" | \"w.xlsx*Sheet1*$B$2\"");
    EXPECT_EQ(list(), L"100 list view \"Parameter Name\" | \"Cell Expression\""
                      L"\n     \"d1\" | \"a.xlsx*Sheet1*$B$2\"");
    EXPECT_THAT(stored(width, kDirectLinkApp), ElementsAre());
    EXPECT_THAT(stored(d1, kDirectLinkApp), ElementsAre(L"a.xlsx*Sheet1*$B$2"));
}

TEST_F(ManagerDialog, RemoveAllLinksAsksOnceAndEmptiesListAndDrawing) {
    AcDbObjectId door = insert(defineDoor());
    ASSERT_TRUE(setXdata(d1, kDirectLinkApp, L"a.xlsx*Sheet1*$B$2"));
    ASSERT_TRUE(setXdata(door, kDirectLinkApp, L"Width:a.xlsx*Sheet1*$B$3"));
    answer({IDNO, IDYES});
    act({L"press 142", L"press 142", L"cancel"});
    run();
    EXPECT_EQ(transcript(), L"\n[Linkmesh|68] Are you sure you want to remove all the links? -> 7"
                            L"\n[Linkmesh|68] Are you sure you want to remove all the links? -> 6");
    EXPECT_THAT(list(1), HasSubstr(L"\"d1\" | \"a.xlsx*Sheet1*$B$2\""));
    EXPECT_EQ(list(), L"100 list view \"Parameter Name\" | \"Cell Expression\" (empty)");
    EXPECT_THAT(stored(d1, kDirectLinkApp), ElementsAre());
    EXPECT_THAT(stored(door, kDirectLinkApp), ElementsAre());
}

TEST_F(ManagerDialog, AnEmptyListIsAskedAboutToo) {
    answer({IDYES});
    act({L"press 142", L"cancel"});
    run();
    EXPECT_EQ(transcript(), L"\n[Linkmesh|68] Are you sure you want to remove all the links? -> 6");
}

TEST_F(ManagerDialog, UpdateParametersEndsTheDialogAndRunsTheUpdate) {
    writeSizes(L"sizes.xlsx");
    ASSERT_TRUE(setXdata(d1, kDirectLinkApp, L"sizes.xlsx*Sheet1*$B$3"));
    act({L"press 1"});
    linkParameters();
    EXPECT_EQ(driver.seen.size(), 1u) << "the dialog ended at the press";
    EXPECT_EQ(commandLine(), L"\nUpdate the parameter d1 successfully.\nFinish.");
    EXPECT_EQ(expressionOf(d1), L"40");
}

TEST_F(ManagerDialog, CloseSkipsTheUpdate) {
    writeSizes(L"sizes.xlsx");
    ASSERT_TRUE(setXdata(d1, kDirectLinkApp, L"sizes.xlsx*Sheet1*$B$3"));
    act({L"press 2"});
    linkParameters();
    EXPECT_EQ(commandLine(), L"");
    EXPECT_EQ(expressionOf(d1), L"10");
}

class EmptyDrawing : public ManagerTest {};

TEST_F(EmptyDrawing, OpensEmptyAndAddAsksForAParameter) {
    act({L"press 104", L"cancel"});
    run();
    EXPECT_EQ(control(L"101 "), L"101 combo (none) of");
    EXPECT_EQ(list(), L"100 list view \"Parameter Name\" | \"Cell Expression\" (empty)");
    EXPECT_THAT(transcript(), HasSubstr(L"[Linkmesh|64] Please select a parameter first. -> 1"));
}

} // namespace
} // namespace managertest
