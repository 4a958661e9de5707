// Parameters linked to table cells follow the table: the user edits a cell, starts any
// command, and the linked parameters and those that depend on them change.
#include <gtest/gtest.h>

#include "aced.h"
#include "links/LinkDrawing.h"
#include "drawing/control/Input.h"

using namespace linktest;

namespace {

class LiveRefreshTest : public LinkTest {
protected:
    void SetUp() override {
        LinkTest::SetUp();
        table = addTable(4, 3);
        editCell(table, 1, 1, L"100");
        editCell(table, 2, 1, L"40");
        width = addParameter(L"Width", L"100");
        height = addParameter(L"Height", L"Width*2");
        depth = addParameter(L"Depth", L"40");
        storeLink(width, kDirectLinkApp, tableLink(table, L"$B$2"));
        storeLink(depth, kDirectLinkApp, tableLink(table, L"$B$3"));
        startCommand(); // the edits above are no news to anyone
        lmhost::clearTranscript();
    }
    AcDbObjectId table, width, height, depth;
};

TEST_F(LiveRefreshTest, EditedCellDrivesParameterAndItsDependents) {
    editCell(table, 1, 1, L"120");
    EXPECT_EQ(expressionOf(width), L"100") << "nothing happens before a command starts";
    startCommand();
    EXPECT_EQ(expressionOf(width), L"120");
    EXPECT_DOUBLE_EQ(valueOf(width), 120.0);
    EXPECT_DOUBLE_EQ(valueOf(height), 240.0);
    EXPECT_EQ(expressionOf(depth), L"40");
    EXPECT_EQ(commandLine(), L"");
}

TEST_F(LiveRefreshTest, CellTextIsReadWithoutFormatting) {
    editCell(table, 2, 1, L"{\\fArial|b1;55}");
    startCommand();
    EXPECT_EQ(expressionOf(depth), L"55");
}

TEST_F(LiveRefreshTest, FormulaInCellReferencesOtherParameters) {
    editCell(table, 2, 1, L"Width/4");
    startCommand();
    EXPECT_EQ(expressionOf(depth), L"Width/4");
    EXPECT_DOUBLE_EQ(valueOf(depth), 25.0);
    editCell(table, 1, 1, L"200");
    startCommand();
    EXPECT_DOUBLE_EQ(valueOf(depth), 50.0);
    EXPECT_DOUBLE_EQ(valueOf(height), 400.0);
}

TEST_F(LiveRefreshTest, TwoEditsBeforeACommandQueueTheTableOnce) {
    editCell(table, 1, 1, L"110");
    editCell(table, 1, 1, L"130");
    ASSERT_EQ(pendingTables.logicalLength(), 1);
    EXPECT_EQ(pendingTables[0], table);
    startCommand();
    EXPECT_EQ(pendingTables.logicalLength(), 0);
    EXPECT_EQ(expressionOf(width), L"130");
}

TEST_F(LiveRefreshTest, LinksAreRecognisedInAnyCase) {
    AcDbObjectId other = addParameter(L"Other", L"1");
    std::wstring lower = L"table(" + handleOf(table) + L").$c$2";
    for (auto& ch : lower)
        ch = static_cast<wchar_t>(towlower(ch));
    storeLink(other, kDirectLinkApp, CString(lower.c_str()));
    editCell(table, 1, 2, L"7");
    startCommand();
    EXPECT_EQ(expressionOf(other), L"7");
}

TEST_F(LiveRefreshTest, LinksToOtherSourcesAndBadAddressesArePassedOver) {
    AcDbObjectId otherTable = addTable(3, 3);
    editCell(otherTable, 1, 1, L"5");
    startCommand();
    AcDbObjectId toOtherTable = addParameter(L"A", L"1");
    AcDbObjectId toWorkbook = addParameter(L"B", L"2");
    AcDbObjectId noDollars = addParameter(L"C", L"3");
    AcDbObjectId emptyAddress = addParameter(L"D", L"4");
    storeLink(toOtherTable, kDirectLinkApp, tableLink(otherTable, L"$B$2"));
    storeLink(toWorkbook, kDirectLinkApp, L"C:\\Data\\sizes.xlsx*Sheet1*$B$2");
    storeLink(noDollars, kDirectLinkApp, tableLink(table, L"B2"));
    storeLink(emptyAddress, kDirectLinkApp, tableLink(table, L""));
    editCell(table, 1, 1, L"9");
    startCommand();
    EXPECT_EQ(expressionOf(width), L"9");
    EXPECT_EQ(expressionOf(toOtherTable), L"1");
    EXPECT_EQ(expressionOf(toWorkbook), L"2");
    EXPECT_EQ(expressionOf(noDollars), L"3");
    EXPECT_EQ(expressionOf(emptyAddress), L"4");
    EXPECT_EQ(commandLine(), L"");
}

TEST_F(LiveRefreshTest, EmptiedOrRefusedCellLeavesParameterSilently) {
    editCell(table, 1, 1, L"");
    editCell(table, 2, 1, L"2+*3");
    startCommand();
    EXPECT_EQ(expressionOf(width), L"100");
    EXPECT_EQ(expressionOf(depth), L"40");
    EXPECT_EQ(commandLine(), L"");
}

TEST_F(LiveRefreshTest, CellOutsideTheTableLeavesParameter) {
    AcDbObjectId far = addParameter(L"Far", L"3");
    storeLink(far, kDirectLinkApp, tableLink(table, L"$Z$99"));
    editCell(table, 1, 1, L"1");
    startCommand();
    EXPECT_EQ(expressionOf(far), L"3");
}

TEST_F(LiveRefreshTest, FailedEvaluationIsReportedAndKeepsOldValue) {
    editCell(table, 2, 1, L"1/0");
    startCommand();
    EXPECT_EQ(expressionOf(depth), L"1/0");
    EXPECT_DOUBLE_EQ(valueOf(depth), 40.0);
    EXPECT_EQ(commandLine(), L"\neDivisionByZero.");
}

TEST_F(LiveRefreshTest, CyclicCellIsRefusedSilently) {
    editCell(table, 1, 1, L"Height+1");
    startCommand();
    EXPECT_EQ(expressionOf(width), L"100");
    EXPECT_DOUBLE_EQ(valueOf(height), 200.0);
    EXPECT_EQ(commandLine(), L"");
}

TEST_F(LiveRefreshTest, ErasedTableIsReportedAndTheQueueGoesOn) {
    AcDbObjectId second = addTable(3, 3);
    AcDbObjectId follower = addParameter(L"Follower", L"0");
    storeLink(follower, kDirectLinkApp, tableLink(second, L"$A$1"));
    editCell(table, 1, 1, L"1");
    editCell(second, 0, 0, L"77");
    {
        AcDbObjectPointer<AcDbTable> erased(table, AcDb::kForWrite);
        ASSERT_EQ(erased->erase(), Acad::eOk);
    }
    startCommand();
    EXPECT_EQ(commandLine(), L"\neWasErased.");
    EXPECT_EQ(expressionOf(follower), L"77");
}

TEST_F(LiveRefreshTest, ParametersOfTheCurrentSpaceFollowATableInALayout) {
    AcDbObjectId layoutTable = addTable(3, 3, lmhost::paperSpaceId(database()));
    storeLink(depth, kDirectLinkApp, tableLink(layoutTable, L"$A$1"));
    // The first text in force stays the first link; a second one is never read.
    AcDbObjectId fresh = addParameter(L"Fresh", L"0");
    storeLink(fresh, kDirectLinkApp, tableLink(layoutTable, L"$A$1"));
    editCell(layoutTable, 0, 0, L"12");
    startCommand();
    EXPECT_EQ(expressionOf(fresh), L"12");
    EXPECT_EQ(expressionOf(depth), L"40");
}

TEST_F(LiveRefreshTest, UnavailableFrameworkIsReportedPerTable) {
    editCell(table, 1, 1, L"1");
    lmhost::setAssocFrameworkAvailable(false);
    startCommand();
    lmhost::setAssocFrameworkAvailable(true);
    EXPECT_NE(commandLine(), L"");
    EXPECT_EQ(commandLine().substr(0, 2), L"\ne");
    EXPECT_EQ(commandLine().back(), L'.');
    EXPECT_EQ(expressionOf(width), L"100");
}

// Only tables of exactly that class are queued.
class DerivedTable : public AcDbTable {
public:
    ACRX_DECLARE_MEMBERS(DerivedTable);
};
ACRX_DEFINE_MEMBERS(DerivedTable, AcDbTable)

TEST_F(LiveRefreshTest, OnlyExactTablesAreQueued) {
    auto* derived = new DerivedTable();
    derived->setSize(2, 2);
    {
        AcDbObjectPointer<AcDbBlockTableRecord> space(database()->currentSpaceId(),
                                                      AcDb::kForWrite);
        ASSERT_EQ(space->appendAcDbEntity(derived), Acad::eOk);
    }
    derived->setTextString(0, 0, L"x");
    derived->close();
    EXPECT_EQ(pendingTables.logicalLength(), 0);
}

TEST(PendingTablesQueue, GrowsByTheHostArrayRuleAndKeepsStorage) {
    lmhost::resetHost();
    pendingTables.setLogicalLength(0);
    pendingTables.setPhysicalLength(0);
    std::vector<int> physical;
    for (int i = 0; i < 17; ++i) {
        AcDbObjectId id = addTable(1, 1);
        AcDbObjectPointer<AcDbTable> table(id, AcDb::kForRead);
        enqueueModifiedTable(table.object());
        enqueueModifiedTable(table.object()); // a second notice is no second entry
        physical.push_back(pendingTables.physicalLength());
    }
    EXPECT_EQ(pendingTables.logicalLength(), 17);
    EXPECT_EQ(physical[0], 8);
    EXPECT_EQ(physical[7], 8);
    EXPECT_EQ(physical[8], 16);
    EXPECT_EQ(physical[16], 32);
    drainPendingTables();
    EXPECT_EQ(pendingTables.logicalLength(), 0);
    EXPECT_EQ(pendingTables.physicalLength(), 32);
    lmhost::resetHost();
}

class TestCommandTest : public LinkTest {};

TEST_F(TestCommandTest, PickedTableGetsDataStyleOnItsFirstRows) {
    AcDbObjectId table = addTable(4, 2);
    lmhost::queueEntity(table, AcGePoint3d(1, 1, 0));
    testCommand();
    AcDbObjectPointer<AcDbTable> result(table, AcDb::kForRead);
    EXPECT_EQ(result->cellStyle(0, 0), L"_DATA");
    EXPECT_EQ(result->cellStyle(1, 1), L"_DATA");
    EXPECT_EQ(result->cellStyle(2, 0), L"_DATA");
    EXPECT_NE(commandLine().find(L"\nPlease select a table:"), std::wstring::npos);
    std::wstring last = L"\nRegenned objects: 1.";
    ASSERT_GE(commandLine().size(), last.size());
    EXPECT_EQ(commandLine().substr(commandLine().size() - last.size()), last);
    ASSERT_EQ(lmhost::queuedForRegen().size(), 1u);
    EXPECT_EQ(lmhost::queuedForRegen()[0], table);
}

TEST_F(TestCommandTest, CancelledPickDoesNothing) {
    AcDbObjectId table = addTable(4, 2);
    lmhost::queueCancel();
    testCommand();
    AcDbObjectPointer<AcDbTable> result(table, AcDb::kForRead);
    EXPECT_EQ(result->cellStyle(0, 0), L"_TITLE");
    EXPECT_EQ(commandLine().find(L"Regenned"), std::wstring::npos);
    EXPECT_TRUE(lmhost::queuedForRegen().empty());
}

} // namespace
