// The export and import dialogs as a user works them: what they show, what they refuse, and
// what they keep in the settings store.
#include "exchange/ExchangeDialogs.h"

#include <gmock/gmock.h>

#include "exchange/ExchangeFixture.h"
#include "testkit/Transcript.h"

using namespace exchangetest;
using ::testing::ElementsAre;

namespace {

using Lines = std::vector<std::wstring>;

class ExportDialogTest : public ExchangeTest {
protected:
    void SetUp() override {
        ExchangeTest::SetUp();
        addParameter(L"Width", L"10");
        addParameter(L"area", L"Width*2");
        addParameter(L"Depth", L"3");
    }
    std::vector<std::wstring> selected(const CExportParametersDialog& d) {
        std::vector<std::wstring> names;
        for (INT_PTR i = 0; i < d.m_aSelected.GetSize(); ++i)
            names.emplace_back(d.m_aSelected[i]);
        return names;
    }
};

TEST_F(ExportDialogTest, OpensWithEveryParameterCheckedInSortedOrderAndTheDefaults) {
    act({L"cancel"});
    CExportParametersDialog dialog;
    EXPECT_EQ(dialog.DoModal(), IDCANCEL);
    ASSERT_EQ(driver.seen.size(), 1u);
    EXPECT_EQ(driver.seen[0].title, L"Export Constraint Parameters");
    EXPECT_EQ(view(), (Lines{L"Export", L"Parameters:",
                             L"100 list\n     [x] \"area\"\n     [x] \"Depth\"\n     [x] \"Width\"",
                             L"134 button \"Select All\"", L"135 button \"Deselect All\"",
                             L"106 check [x] \"Name\"", L"107 check [x] \"Expression\"",
                             L"108 check [x] \"Value\"", L"109 check [ ] \"Description\"",
                             L"139 check [ ] \"Header\"", L"Destination",
                             L"113 radio (o) \"AutoCAD Table\"",
                             L"114 radio ( ) \"Excel (to active cell)\"", L"1 button \"Export\"",
                             L"2 button \"Cancel\""}))
        << "the link option and its label stay hidden";
    EXPECT_EQ(stored(L"ExportPRMName"), -99) << "a cancelled dialog stores nothing";
}

TEST_F(ExportDialogTest, OkStoresTheSevenSettingsAndTheyComeBackButTheChecksDoNot) {
    act({L"check 100 Depth off", L"check 106 off", L"check 109 on", L"press 139", L"choose 114",
         L"ok"});
    CExportParametersDialog first;
    ASSERT_EQ(first.DoModal(), IDOK);
    EXPECT_EQ(selected(first), (std::vector<std::wstring>{L"area", L"Width"}));
    EXPECT_EQ(first.m_bName, 0);
    EXPECT_EQ(first.m_bDescription, 1);
    EXPECT_EQ(first.m_bHeader, 1);
    EXPECT_EQ(first.m_nDestination, 1);
    EXPECT_EQ(stored(L"ExportPRMName"), 0);
    EXPECT_EQ(stored(L"ExportPRMExpr"), 1);
    EXPECT_EQ(stored(L"ExportPRMValue"), 1);
    EXPECT_EQ(stored(L"ExportPRMDescription"), 1);
    EXPECT_EQ(stored(L"ExportPRMHeader"), 1);
    EXPECT_EQ(stored(L"ExportDestination"), 1);
    EXPECT_EQ(stored(L"ExportLinkToCells"), 0);

    driver = lmhost::QueuedDialogDriver();
    act({L"cancel"});
    CExportParametersDialog second;
    second.DoModal();
    Lines shown = view();
    EXPECT_TRUE(
        shows(shown, L"100 list\n     [x] \"area\"\n     [x] \"Depth\"\n     [x] \"Width\""));
    EXPECT_TRUE(shows(shown, L"106 check [ ] \"Name\""));
    EXPECT_TRUE(shows(shown, L"109 check [x] \"Description\""));
    EXPECT_TRUE(shows(shown, L"139 check [x] \"Header\""));
    EXPECT_TRUE(shows(shown, L"114 radio (o) \"Excel (to active cell)\""));
    EXPECT_TRUE(shows(shown, L"113 radio ( ) \"AutoCAD Table\""));
}

TEST_F(ExportDialogTest, SelectAllAndDeselectAllAndTheStateAfterEachAction) {
    act({L"press 135", L"check 100 width on", L"ok"});
    CExportParametersDialog dialog;
    ASSERT_EQ(dialog.DoModal(), IDOK);
    ASSERT_EQ(driver.seen.size(), 3u);
    EXPECT_TRUE(
        shows(view(1), L"100 list\n     [ ] \"area\"\n     [ ] \"Depth\"\n     [ ] \"Width\""));
    EXPECT_TRUE(
        shows(view(2), L"100 list\n     [ ] \"area\"\n     [ ] \"Depth\"\n     [x] \"Width\""));
    EXPECT_EQ(selected(dialog), std::vector<std::wstring>{L"Width"});
}

TEST_F(ExportDialogTest, NothingCheckedStillEndsWithOk) {
    act({L"press 135", L"check 106 off", L"check 107 off", L"check 108 off", L"ok"});
    CExportParametersDialog dialog;
    EXPECT_EQ(dialog.DoModal(), IDOK);
    EXPECT_TRUE(dialog.m_aSelected.IsEmpty());
}

TEST_F(ExportDialogTest, StoredValuesOutsideACheckBoxShowUncheckedAndAreKept) {
    CRegistry::WriteProfileInt(L"ExportPRMValue", 7);
    CRegistry::WriteProfileInt(L"ExportDestination", 5);
    act({L"cancel"});
    CExportParametersDialog dialog;
    dialog.DoModal();
    EXPECT_TRUE(shows(view(), L"108 check [ ] \"Value\""));
    EXPECT_TRUE(shows(view(), L"113 radio ( ) \"AutoCAD Table\""));
    EXPECT_TRUE(shows(view(), L"114 radio ( ) \"Excel (to active cell)\""));
}

TEST_F(ExportDialogTest, WithoutTheStorePathNothingIsRememberedAndAllWorks) {
    CRegistry::s_vendorKey.Empty();
    act({L"check 106 off", L"ok"});
    CExportParametersDialog first;
    EXPECT_EQ(first.DoModal(), IDOK);
    driver = lmhost::QueuedDialogDriver();
    act({L"cancel"});
    CExportParametersDialog second;
    second.DoModal();
    EXPECT_TRUE(shows(view(), L"106 check [x] \"Name\""));
    CRegistry::SetRegistryKey(L"Norvane");
    EXPECT_EQ(stored(L"ExportPRMName"), -99);
}

TEST_F(ExportDialogTest, EmptySpaceGivesAnEmptyList) {
    lmhost::resetHost();
    act({L"cancel"});
    CExportParametersDialog dialog;
    dialog.DoModal();
    EXPECT_TRUE(shows(view(), L"100 list (empty)"));
}

TEST_F(ExportDialogTest, ActionsTheDialogCannotTakeAreToldAndChangeNothing) {
    act({L"press 999", L"check 110 on", L"check 100 Height on", L"choose 106", L"cancel"});
    CExportParametersDialog dialog;
    dialog.DoModal();
    ASSERT_EQ(driver.seen.size(), 5u);
    EXPECT_EQ(driver.seen[0].notice, L"");
    EXPECT_EQ(driver.seen[1].notice, L"the dialog has no control 999");
    EXPECT_EQ(driver.seen[2].notice, L"the dialog has no control 110") << "it is hidden";
    EXPECT_EQ(driver.seen[3].notice, L"the list 100 has no item \"Height\"");
    EXPECT_EQ(driver.seen[4].notice, L"the control 106 is no list, combo or radio");
    EXPECT_EQ(driver.seen[4].controls, view(0));
}

TEST_F(ExportDialogTest, ADialogWithNoTemplateIsNotShown) {
    CDialog missing(999);
    EXPECT_EQ(missing.DoModal(), -1);
    EXPECT_TRUE(driver.seen.empty());
}

TEST_F(ExportDialogTest, NobodyToAnswerClosesTheDialogAsCancelled) {
    CExportParametersDialog dialog;
    EXPECT_EQ(dialog.DoModal(), IDCANCEL);
    EXPECT_TRUE(dialog.m_aSelected.IsEmpty());
}

// ---------------------------------------------------------------------------------------

class ImportDialogTest : public ExchangeTest {};

TEST_F(ImportDialogTest, OpensWithItsDefaultsAndTheDescriptionColumnDisabled) {
    act({L"cancel"});
    CImportParametersDialog dialog;
    EXPECT_EQ(dialog.DoModal(), IDCANCEL);
    ASSERT_EQ(driver.seen.size(), 1u);
    EXPECT_EQ(driver.seen[0].title, L"Import Parameters from Excel");
    const std::wstring columns = L" of \"1st\" \"2nd\" \"3rd\" \"4th\" \"5th\"";
    EXPECT_EQ(
        view(),
        (Lines{L"Note: Please open a workbook and select the cells of the data firstly.",
               L"Parameter Name:", L"117 combo \"1st\"" + columns, L"column in the selected range",
               L"115 check [x] \"Expression:\"", L"118 combo \"2nd\"" + columns,
               L"column in the selected range", L"116 check [ ] \"Description:\"",
               L"119 combo \"4th\"" + columns + L" (disabled)", L"column in the selected range",
               L"122 check [ ] \"Create parameter if it doesn't exist\"",
               L"1 button \"Import Selected Range\" (default)", L"2 button \"Cancel\""}));
}

TEST_F(ImportDialogTest, ChecksEnableTheirColumnsAndDisabledCombosTakeNoChoice) {
    act({L"choose 119 3rd", L"check 116 on", L"choose 119 3rd", L"check 115 off", L"cancel"});
    CImportParametersDialog dialog;
    dialog.DoModal();
    EXPECT_EQ(driver.seen[1].notice, L"the control 119 is disabled");
    EXPECT_TRUE(shows(view(2), L"119 combo \"4th\" of \"1st\" \"2nd\" \"3rd\" \"4th\" \"5th\""));
    EXPECT_TRUE(shows(view(3), L"119 combo \"3rd\" of \"1st\" \"2nd\" \"3rd\" \"4th\" \"5th\""));
    EXPECT_TRUE(shows(view(4), L"118 combo \"2nd\" of \"1st\" \"2nd\" \"3rd\" \"4th\" \"5th\" "
                               L"(disabled)"));
}

TEST_F(ImportDialogTest, StoredSettingsAreWrittenButNeverShown) {
    act({L"check 115 off", L"check 116 on", L"check 122 on", L"ok"});
    lmhost::queueMessageBoxAnswer(IDYES);
    CImportParametersDialog first;
    ASSERT_EQ(first.DoModal(), IDOK);
    EXPECT_EQ(first.m_bExpression, 0);
    EXPECT_EQ(first.m_bDescription, 1);
    EXPECT_EQ(first.m_bCreateIfMissing, 1);
    EXPECT_EQ(stored(L"ImportPRMExpr"), 0);
    EXPECT_EQ(stored(L"ImportPRMDescription"), 1);
    EXPECT_EQ(stored(L"ImportRPMLinkToCells"), 0);
    EXPECT_EQ(stored(L"ImportCreateIfDoesNotExist"), 1);

    driver = lmhost::QueuedDialogDriver();
    act({L"ok"});
    lmhost::queueMessageBoxAnswer(IDYES);
    CImportParametersDialog second;
    ASSERT_EQ(second.DoModal(), IDOK);
    EXPECT_TRUE(shows(view(), L"115 check [x] \"Expression:\""));
    EXPECT_TRUE(shows(view(), L"116 check [ ] \"Description:\""));
    EXPECT_TRUE(shows(view(), L"122 check [ ] \"Create parameter if it doesn't exist\""));
    EXPECT_EQ(second.m_bCreateIfMissing, 0);
    EXPECT_EQ(stored(L"ImportCreateIfDoesNotExist"), 0) << "written on OK all the same";
}

TEST_F(ImportDialogTest, TheNameColumnMayNotBeTheExpressionOrDescriptionColumn) {
    act({L"choose 117 2nd", L"ok", L"choose 117 4th", L"ok", L"choose 117 3rd", L"ok"});
    lmhost::queueMessageBoxAnswer(IDOK);
    lmhost::queueMessageBoxAnswer(IDOK);
    lmhost::queueMessageBoxAnswer(IDYES);
    CImportParametersDialog dialog;
    ASSERT_EQ(dialog.DoModal(), IDOK);
    const std::wstring same =
        L"\n[Norvane Linkmesh|64] There is already a column with the same index. -> 1";
    EXPECT_EQ(testkit::transcript(),
              same + same +
                  L"\n[Norvane Linkmesh|68] Importing the selected range will change the "
                  L"parameters in the drawing. Are you sure you want to import the selected "
                  L"range from the active worksheet? -> 6");
    EXPECT_EQ(dialog.m_nNameColumn, 2);
    EXPECT_EQ(dialog.m_nExpressionColumn, 1);
    EXPECT_EQ(dialog.m_nDescriptionColumn, 3);
    EXPECT_EQ(stored(L"ImportPRMExpr"), 1) << "stored only once the columns passed";
}

TEST_F(ImportDialogTest, ExpressionAndDescriptionMayShareAColumn) {
    act({L"check 116 on", L"choose 119 2nd", L"ok"});
    lmhost::queueMessageBoxAnswer(IDYES);
    CImportParametersDialog dialog;
    ASSERT_EQ(dialog.DoModal(), IDOK);
    EXPECT_EQ(dialog.m_nExpressionColumn, 1);
    EXPECT_EQ(dialog.m_nDescriptionColumn, 1);
}

TEST_F(ImportDialogTest, NoToTheLastQuestionGoesBackToTheDialogWithTheSettingsWritten) {
    act({L"check 122 on", L"ok", L"cancel"});
    lmhost::queueMessageBoxAnswer(IDNO);
    CImportParametersDialog dialog;
    EXPECT_EQ(dialog.DoModal(), IDCANCEL);
    EXPECT_EQ(driver.seen.size(), 3u) << "the dialog asked again after No";
    EXPECT_EQ(stored(L"ImportCreateIfDoesNotExist"), 1);
}

} // namespace

namespace {

TEST_F(ExportDialogTest, ALongListShowsItsFirstItemsAndTheRestStayReachable) {
    for (int i = 0; i < 120; ++i)
        addParameter((L"q" + std::to_wstring(1000 + i)).c_str(), L"1");
    act({L"check 100 q1119 off", L"ok"});
    CExportParametersDialog dialog;
    ASSERT_EQ(dialog.DoModal(), IDOK);
    std::wstring list;
    for (const std::wstring& line : view())
        if (line.rfind(L"100 list", 0) == 0)
            list = line;
    EXPECT_NE(list.find(L"\n     [x] \"q1097\"\n     (and 23 more)"), std::wstring::npos);
    EXPECT_EQ(dialog.m_aSelected.GetSize(), 122);
}

} // namespace
