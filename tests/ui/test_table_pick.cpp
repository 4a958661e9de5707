// Picking a table cell from the manager: the click, the snaps that must not move it, the
// UCS, the view direction, the current space, and every way the pick comes to nothing.
#include "ManagerFixture.h"

#include <deque>

#include "aced.h"
#include "acedads.h"
#include "drawing/control/Editor.h"
#include "drawing/control/Input.h"
#include "sdk/control/SystemVariables.h"

namespace managertest {
namespace {

using linktest::database;
using ::testing::ElementsAre;

// A click, or Esc, for the next prompt; nothing at all when the list runs out.
struct Answer {
    enum { Click, Esc } kind;
    AcGePoint3d point;
};

class TablePick : public ManagerTest {
protected:
    void SetUp() override {
        ManagerTest::SetUp();
        d1 = addParameter(L"d1", L"10");
        lmhost::setInputSource([this](const std::wstring& prompt) {
            prompts.push_back(prompt);
            dialogShownAtPrompt.push_back(dialog && dialog->IsWindowVisible());
            osmodeAtPrompt.push_back(osmode());
            if (answers.empty())
                return;
            Answer a = answers.front();
            answers.pop_front();
            if (a.kind == Answer::Click)
                lmhost::queuePoint(a.point);
            else
                lmhost::queueCancel();
        });
    }
    void TearDown() override {
        lmhost::setInputSource(nullptr);
        ManagerTest::TearDown();
    }
    void click(double x, double y, double z = 0) { answers.push_back({Answer::Click, {x, y, z}}); }
    void esc() { answers.push_back({Answer::Esc, {}}); }
    static int osmode() {
        resbuf value{};
        return acedGetVar(L"OSMODE", &value) == RTNORM ? value.resval.rint : -1;
    }
    static void setOsmode(short mode) { lmhost::setSystemVariable(L"OSMODE", mode); }

    // Picks with the given answers and returns the Cell Expression field after the pick.
    std::wstring pickCell() {
        act({L"press 103", L"cancel"});
        CParametersManagerDialog shown;
        dialog = &shown;
        driver.dialog = &shown;
        shown.DoModal();
        dialog = nullptr;
        driver.dialog = nullptr;
        return control(L"102 ");
    }
    static std::wstring field(const std::wstring& text) {
        return L"102 edit \"" + text + L"\" (read-only)";
    }
    static std::wstring cell(AcDbObjectId table, const wchar_t* address) {
        return field(L"Table(" + handleOf(table) + L")." + address);
    }
    static void move(AcDbObjectId id, const AcGePoint3d& to) {
        AcDbObjectPointer<AcDbTable> table(id, AcDb::kForWrite);
        ASSERT_EQ(table->setPosition(to), Acad::eOk);
    }

    AcDbObjectId d1;
    std::deque<Answer> answers;
    std::vector<std::wstring> prompts;
    std::vector<bool> dialogShownAtPrompt;
    std::vector<int> osmodeAtPrompt;
    CParametersManagerDialog* dialog = nullptr;
};

// Tables are 2.5 wide columns and 0.5 high rows, growing right and down from their corner.
TEST_F(TablePick, AClickFillsTheFieldWithTheCellAndAddStoresIt) {
    AcDbObjectId table = linktest::addTable(3, 3);
    click(3.0, -0.7);
    act({L"choose 101 d1", L"press 103", L"press 104", L"cancel"});
    CParametersManagerDialog shown;
    dialog = driver.dialog = &shown;
    shown.DoModal();
    dialog = nullptr;
    // The field after the pick, then the list after Add.
    ASSERT_GE(driver.seen.size(), 3u);
    EXPECT_EQ(control(L"102 ", 2), cell(table, L"$B$2"));
    EXPECT_EQ(list(),
              L"100 list view \"Parameter Name\" | \"Cell Expression\"\n     \"d1\" | \"Table(" +
                  handleOf(table) + L").$B$2\"");
    EXPECT_THAT(stored(d1, kDirectLinkApp), ElementsAre(L"Table(" + handleOf(table) + L").$B$2"));
    EXPECT_EQ(transcript(), L"\nSelect table cell:");
    EXPECT_THAT(dialogShownAtPrompt, ElementsAre(false)) << "the dialog is hidden while picking";
    EXPECT_TRUE(driver.seen.back().controls.size() > 0);
}

TEST_F(TablePick, ThePickAloneStoresNothing) {
    AcDbObjectId table = linktest::addTable(2, 2);
    click(0.1, -0.1);
    EXPECT_EQ(pickCell(), cell(table, L"$A$1"));
    EXPECT_THAT(stored(d1, kDirectLinkApp), ElementsAre());
    EXPECT_EQ(list(), L"100 list view \"Parameter Name\" | \"Cell Expression\" (empty)");
}

TEST_F(TablePick, TitleAndHeaderRowsCountAndColumnsGoPastZ) {
    AcDbObjectId table = linktest::addTable(1, 28);
    click(26 * 2.5 + 1.0, -0.25);
    EXPECT_EQ(pickCell(), cell(table, L"$AA$1"));
}

TEST_F(TablePick, RunningSnapsDoNotMoveTheClickAndComeBackAfterwards) {
    AcDbObjectId table = linktest::addTable(3, 3);
    setOsmode(1); // endpoints: the corners of the cells
    // Near the top left corner of B2; a snap would take the click to A1's corner.
    click(2.6, -0.6);
    EXPECT_EQ(pickCell(), cell(table, L"$B$2"));
    EXPECT_THAT(osmodeAtPrompt, ElementsAre(0));
    EXPECT_EQ(osmode(), 1);
}

TEST_F(TablePick, TheHostsSnapWouldHaveMovedThatClick) {
    // The same click at a plain point prompt, with the endpoint snap running.
    linktest::addTable(3, 3);
    setOsmode(1);
    lmhost::queuePoint({2.6, -0.6, 0});
    ads_point p;
    ASSERT_EQ(acedGetPoint(nullptr, L"\nPoint:", p), RTNORM);
    EXPECT_DOUBLE_EQ(p[0], 2.5);
    EXPECT_DOUBLE_EQ(p[1], -0.5);
    setOsmode(1 | 16384); // snaps switched off with F3
    lmhost::queuePoint({2.6, -0.6, 0});
    ASSERT_EQ(acedGetPoint(nullptr, L"\nPoint:", p), RTNORM);
    EXPECT_DOUBLE_EQ(p[0], 2.6);
}

TEST_F(TablePick, EscapeChangesNothingSaysNothingAndRestoresTheSnaps) {
    linktest::addTable(2, 2);
    setOsmode(4133);
    esc();
    EXPECT_EQ(pickCell(), field(L""));
    EXPECT_EQ(transcript(), L"\nSelect table cell:");
    EXPECT_EQ(osmode(), 4133);
    EXPECT_THAT(osmodeAtPrompt, ElementsAre(0));
    EXPECT_TRUE(driver.seen.back().notice.empty());
}

TEST_F(TablePick, AClickBesideEveryTableOrInADrawingWithoutTablesDoesNothing) {
    click(1, 1);
    EXPECT_EQ(pickCell(), field(L""));
    linktest::addTable(2, 2);
    click(100, 100);
    EXPECT_EQ(pickCell(), field(L""));
    EXPECT_EQ(transcript(), L"\nSelect table cell:\nSelect table cell:");
    EXPECT_EQ(lmhost::selectionSetsHeld(), 0) << "the selection is freed";
}

TEST_F(TablePick, AnEarlierPickStaysWhenTheNextOneHitsNothing) {
    AcDbObjectId table = linktest::addTable(2, 2);
    click(0.1, -0.1);
    click(50, 50);
    act({L"press 103"});
    EXPECT_EQ(pickCell(), cell(table, L"$A$1"));
}

TEST_F(TablePick, ARotatedOrMovedUcsStillFindsTheCellUnderTheCursor) {
    AcDbObjectId table = linktest::addTable(3, 3);
    // The UCS origin at the corner of C3: the user clicks at -0.5,0.2 of the UCS.
    database()->setUcs(AcGePoint3d(7.5, -1.5, 0), AcGeVector3d(1, 0, 0), AcGeVector3d(0, 1, 0));
    click(-0.5, 0.2);
    EXPECT_EQ(pickCell(), cell(table, L"$C$3"));
    // Turned a quarter: the UCS X axis is the world's Y.
    database()->setUcs(AcGePoint3d(0, 0, 0), AcGeVector3d(0, 1, 0), AcGeVector3d(-1, 0, 0));
    click(-0.7, -3.0); // world 3.0, -0.7
    EXPECT_EQ(pickCell(), cell(table, L"$B$2"));
}

TEST_F(TablePick, TheViewDirectionOfTheCurrentViewportDecides) {
    AcDbObjectId table = linktest::addTable(3, 3);
    move(table, AcGePoint3d(0, 0, 2)); // the table lies 2 above the click's plane
    {
        AcDbObjectPointer<AcDbViewport> viewport(acedGetCurViewportObjectId(), AcDb::kForWrite);
        ASSERT_EQ(viewport.openStatus(), Acad::eOk);
        viewport->setViewDirection(AcGeVector3d(1, 0, 1)); // looking down at 45 degrees
    }
    // Straight down the click would be in A1; along the view it meets the table 2 further.
    click(1.0, -0.25);
    EXPECT_EQ(pickCell(), cell(table, L"$B$1"));
}

TEST_F(TablePick, ThroughALayoutViewportItsOwnViewDirectionDecides) {
    AcDbObjectId table = linktest::addTable(3, 3);
    move(table, AcGePoint3d(0, 0, 2));
    AcDbObjectId viewport;
    ASSERT_EQ(lmhost::addLayoutViewport(database(), lmhost::paperSpaceId(database()),
                                        AcGeVector3d(1, 0, 1), viewport),
              Acad::eOk);
    ASSERT_EQ(lmhost::enterLayoutViewport(database(), viewport), Acad::eOk);
    // The model's own viewport still looks straight down; the layout's viewport is in use.
    click(1.0, -0.25);
    EXPECT_EQ(pickCell(), cell(table, L"$B$1"));
}

TEST_F(TablePick, OnALayoutsPaperNoViewportIsInUseAndTheZAxisStands) {
    {
        AcDbObjectPointer<AcDbViewport> model(acedGetCurViewportObjectId(), AcDb::kForWrite);
        ASSERT_EQ(model.openStatus(), Acad::eOk);
        model->setViewDirection(AcGeVector3d(1, 0, 1));
    }
    AcDbObjectId table = linktest::addTable(3, 3, lmhost::paperSpaceId(database()));
    move(table, AcGePoint3d(0, 0, 2));
    ASSERT_EQ(lmhost::setCurrentSpace(database(), lmhost::paperSpaceId(database())), Acad::eOk);
    ASSERT_TRUE(acedGetCurViewportObjectId().isNull());
    click(1.0, -0.25);
    EXPECT_EQ(pickCell(), cell(table, L"$A$1"));
}

TEST_F(TablePick, OnlyTablesOfTheCurrentSpaceAreHit) {
    AcDbObjectId model = linktest::addTable(2, 2);
    AcDbObjectId paper = linktest::addTable(2, 2, lmhost::paperSpaceId(database()));
    click(0.1, -0.1);
    EXPECT_EQ(pickCell(), cell(model, L"$A$1"));
    ASSERT_EQ(lmhost::setCurrentSpace(database(), lmhost::paperSpaceId(database())), Acad::eOk);
    click(0.1, -0.1);
    EXPECT_EQ(pickCell(), cell(paper, L"$A$1"));
}

TEST_F(TablePick, AModelTableIsNotHitFromALayout) {
    linktest::addTable(2, 2);
    ASSERT_EQ(lmhost::setCurrentSpace(database(), lmhost::paperSpaceId(database())), Acad::eOk);
    click(0.1, -0.1);
    EXPECT_EQ(pickCell(), field(L""));
}

TEST_F(TablePick, OfTwoTablesOneOverTheOtherTheFirstMadeWins) {
    AcDbObjectId first = linktest::addTable(2, 2);
    linktest::addTable(2, 2);
    click(3.0, -0.7);
    EXPECT_EQ(pickCell(), cell(first, L"$B$2"));
}

TEST_F(TablePick, ATableOpenElsewhereIsPassedOver) {
    AcDbObjectId busy = linktest::addTable(2, 2);
    AcDbObjectId other = linktest::addTable(2, 2);
    AcDbTable* held = nullptr;
    ASSERT_EQ(acdbOpenObject(held, busy, AcDb::kForWrite), Acad::eOk);
    click(0.1, -0.1);
    std::wstring picked = pickCell();
    held->close();
    EXPECT_EQ(picked, cell(other, L"$A$1"));
}

TEST_F(TablePick, ATableErasedBetweenThePickAndAddStillGivesItsLink) {
    AcDbObjectId table = linktest::addTable(2, 2);
    click(0.1, -0.1);
    act({L"choose 101 d1", L"press 103"});
    // The table goes while the dialog is up (another reactor, an undo); Add stores what was
    // picked, and the update reports the table then.
    struct Eraser : lmhost::DialogDriver {
        StepDriver* inner;
        AcDbObjectId table;
        std::optional<lmhost::DialogAction> nextAction(const lmhost::DialogView& view) override {
            if (inner->next == 2 && !table.isErased()) {
                AcDbObjectPointer<AcDbTable> t(table, AcDb::kForWrite);
                t->erase();
            }
            return inner->nextAction(view);
        }
    } eraser;
    eraser.inner = &driver;
    eraser.table = table;
    lmhost::setDialogDriver(&eraser);
    act({L"press 104", L"cancel"});
    CParametersManagerDialog shown;
    driver.dialog = &shown;
    shown.DoModal();
    lmhost::setDialogDriver(&driver);
    EXPECT_TRUE(table.isErased());
    EXPECT_THAT(stored(d1, kDirectLinkApp), ElementsAre(L"Table(" + handleOf(table) + L").$A$1"));
    EXPECT_EQ(transcript(), L"\nSelect table cell:");
}

} // namespace
} // namespace managertest
