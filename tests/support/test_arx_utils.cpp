// The small host helpers: handles, appending, object snap, names, reports and the drag.
#include <gtest/gtest.h>

#include "acedads.h"
#include "dbapserv.h"
#include "dbents.h"
#include "dbsymtb.h"
#include "dbtable.h"
#include "drawing/control/Editor.h"
#include "drawing/control/Input.h"
#include "support/ArxUtils.h"
#include "testkit/Transcript.h"

namespace {

AcDbDatabase* database() {
    return acdbHostApplicationServices()->workingDatabase();
}

AcDbObjectId addLine(const AcGePoint3d& start, const AcGePoint3d& end) {
    auto* line = new AcDbLine(start, end);
    AcDbObjectPointer<AcDbBlockTableRecord> space(database()->currentSpaceId(), AcDb::kForWrite);
    AcDbObjectId id;
    EXPECT_EQ(space->appendAcDbEntity(id, line), Acad::eOk);
    line->close();
    return id;
}

AcGePoint3d startOf(AcDbObjectId id) {
    AcDbObjectPointer<AcDbLine> line(id, AcDb::kForRead);
    return line->startPoint();
}

class ArxUtilsTest : public testkit::HostTest {};

TEST_F(ArxUtilsTest, EqualWithinOneMillionth) {
    EXPECT_TRUE(ArxUtils::isEqual(1.0, 1.0000005));
    EXPECT_TRUE(ArxUtils::isEqual(1.0000005, 1.0));
    EXPECT_FALSE(ArxUtils::isEqual(1.0, 1.00001));
    EXPECT_FALSE(ArxUtils::isEqual(1.00001, 1.0));
}

TEST_F(ArxUtilsTest, HandleTextGivesTheObjectOrAReport) {
    AcDbObjectId line = addLine({0, 0, 0}, {1, 0, 0});
    wchar_t handle[260];
    line.handle().getIntoAsciiBuffer(handle);
    AcDbObjectId id;
    ASSERT_EQ(ArxUtils::handleToObjectId(database(), handle, id), Acad::eOk);
    EXPECT_EQ(id, line);
    EXPECT_EQ(testkit::commandLine(), L"");
    EXPECT_EQ(ArxUtils::handleToObjectId(database(), L"FFFFFF", id), Acad::eInvalidInput);
    EXPECT_EQ(ArxUtils::handleToObjectId(database(), L"no handle", id), Acad::eInvalidInput);
    EXPECT_EQ(testkit::commandLine(),
              L"\nERROR: Could not translate handle to objectId (eUnknownHandle)"
              L"\nERROR: Could not translate handle to objectId (eNullHandle)");
}

TEST_F(ArxUtilsTest, EntityGoesToTheCurrentSpace) {
    ASSERT_EQ(lmhost::setCurrentSpace(database(), lmhost::paperSpaceId(database())), Acad::eOk);
    auto* line = new AcDbLine({0, 0, 0}, {1, 1, 0});
    ASSERT_EQ(ArxUtils::addToCurrentSpace(line), Acad::eOk);
    EXPECT_EQ(line->ownerId(), lmhost::paperSpaceId(database()));
    EXPECT_EQ(ArxUtils::addToCurrentSpace(line), Acad::eAlreadyInDb);
    line->close();
    EXPECT_EQ(testkit::commandLine(),
              L"\nERROR: could not add entity to current space (eAlreadyInDb)");
}

TEST_F(ArxUtilsTest, OsnapModeIsReadAndWritten) {
    ASSERT_EQ(ArxUtils::setOsnapMode(static_cast<short>(37)), Acad::eOk);
    int mode = 0;
    ASSERT_EQ(ArxUtils::getOsnapMode(mode), Acad::eOk);
    EXPECT_EQ(mode, 37);
    EXPECT_TRUE(lmhost::messageBoxes().empty());
}

TEST_F(ArxUtilsTest, RefusedOsnapModeShowsAStopBox) {
    EXPECT_EQ(ArxUtils::setOsnapMode(static_cast<short>(-5)), Acad::eInvalidInput);
    resbuf text;
    text.rbnext = nullptr;
    text.restype = RTSTR;
    text.resval.rstring = const_cast<wchar_t*>(L"END");
    EXPECT_EQ(ArxUtils::setOsnapMode(&text), Acad::eInvalidInput);
    auto boxes = lmhost::messageBoxes();
    ASSERT_EQ(boxes.size(), 2u);
    EXPECT_EQ(boxes[0].text, L"Could not set system variable \"OSMODE\".");
    EXPECT_EQ(boxes[0].title, L"Linkmesh");
    EXPECT_EQ(boxes[0].style, 16u);
}

TEST_F(ArxUtilsTest, ShowErrorGivesTheAnswer) {
    lmhost::queueMessageBoxAnswer(IDOK);
    EXPECT_EQ(ArxUtils::showError(L"Something failed."), IDOK);
    ASSERT_EQ(lmhost::messageBoxes().size(), 1u);
    EXPECT_EQ(lmhost::messageBoxes()[0].text, L"Something failed.");
}

TEST_F(ArxUtilsTest, SymbolNamesAndTheirFailures) {
    CString name;
    EXPECT_EQ(ArxUtils::getSymbolName(AcDbObjectId::kNull, name), Acad::eNullObjectId);
    EXPECT_EQ(name, L"AcDbObjectId::kNull");
    ASSERT_EQ(ArxUtils::getSymbolName(lmhost::modelSpaceId(database()), name), Acad::eOk);
    EXPECT_EQ(name, L"*Model_Space");
    EXPECT_EQ(testkit::commandLine(), L"");
    AcDbObjectId line = addLine({0, 0, 0}, {1, 0, 0});
    EXPECT_EQ(ArxUtils::getSymbolName(line, name), Acad::eInvalidInput);
    EXPECT_EQ(testkit::commandLine(), L"\nARX ERROR: eNotThatKindOfClass. ArxUtils: 4017");
}

TEST_F(ArxUtilsTest, ReportNamesTheStatusAndNothingForSuccess) {
    ArxUtils::reportError(Acad::eOk);
    EXPECT_EQ(testkit::commandLine(), L"");
    ArxUtils::reportError(Acad::eWasErased);
    EXPECT_EQ(testkit::commandLine(), L"\nARX ERROR: eWasErased. ArxUtils: 4017");
}

TEST_F(ArxUtilsTest, UserPointsBecomeWorldPoints) {
    ASSERT_EQ(database()->setUcs({10, 0, 0}, {0, 1, 0}, {-1, 0, 0}), Acad::eOk);
    AcGePoint3d world;
    ArxUtils::ucsToWcs({1, 2, 0}, world);
    EXPECT_TRUE(world.isEqualTo({8, 1, 0}, 1e-9)) << world.x << "," << world.y;
}

class DragTest : public ArxUtilsTest {
protected:
    void SetUp() override {
        ArxUtilsTest::SetUp();
        first = addLine({0, 0, 0}, {1, 0, 0});
        second = addLine({0, 1, 0}, {1, 1, 0});
        ads_name name;
        acdbGetAdsName(name, first);
        ASSERT_EQ(acedSSAdd(name, nullptr, set), RTNORM);
        acdbGetAdsName(name, second);
        ASSERT_EQ(acedSSAdd(name, set, set), RTNORM);
    }
    bool erased(AcDbObjectId id) { return id.isErased(); }
    AcDbObjectId first, second;
    ads_name set = {0, 0};
};

TEST_F(DragTest, PlacedSetMovesFromTheBasePoint) {
    lmhost::queuePoint({5, 5, 0});
    EXPECT_EQ(ArxUtils::dragSelectionSet(set, L"\nPlace the table:", {1, 1, 0}), RTNORM);
    EXPECT_TRUE(startOf(first).isEqualTo({4, 4, 0}));
    EXPECT_TRUE(startOf(second).isEqualTo({4, 5, 0}));
    Adesk::Int32 length = 0;
    EXPECT_NE(acedSSLength(set, &length), RTNORM) << "the set is freed";
}

TEST_F(DragTest, PointInAUserSystemIsTakenInWorldCoordinates) {
    ASSERT_EQ(database()->setUcs({10, 0, 0}, {1, 0, 0}, {0, 1, 0}), Acad::eOk);
    lmhost::queuePoint({0, 0, 0});
    EXPECT_EQ(ArxUtils::dragSelectionSet(set, L"\nPlace:", {0, 0, 0}), RTNORM);
    EXPECT_TRUE(startOf(first).isEqualTo({10, 0, 0}));
}

TEST_F(DragTest, CancelledDragErasesWhatWasDragged) {
    lmhost::queueCancel();
    EXPECT_EQ(ArxUtils::dragSelectionSet(set, L"\nPlace:", {0, 0, 0}), RTCAN);
    EXPECT_TRUE(erased(first));
    EXPECT_TRUE(erased(second));
}

TEST_F(DragTest, EmptySetIsFreedWithoutAPrompt) {
    ads_name empty = {0, 0};
    ASSERT_EQ(acedSSAdd(nullptr, nullptr, empty), RTNORM);
    lmhost::queuePoint({5, 5, 0});
    EXPECT_EQ(ArxUtils::dragSelectionSet(empty, L"\nPlace:", {0, 0, 0}), RTCAN);
    EXPECT_EQ(lmhost::pendingInput(), 1u);
    EXPECT_EQ(testkit::commandLine(), L"");
    Adesk::Int32 length = 0;
    EXPECT_NE(acedSSLength(empty, &length), RTNORM);
}

} // namespace
