// The database as the plug-in meets it: ids, handles, opens and their refusals, xdata.
#include <gtest/gtest.h>

#include <algorithm>

#include "acutads.h"
#include "dbapserv.h"
#include "acedads.h"
#include "windows.h"
#include "dbsymtb.h"
#include "testkit/Transcript.h"

namespace {

using testkit::HostTest;

AcDbDatabase* db() {
    return acdbHostApplicationServices()->workingDatabase();
}

AcDbObjectId addEntity() {
    AcDbObjectId id;
    auto* e = new AcDbEntity;
    EXPECT_EQ(db()->addAcDbObject(id, e), Acad::eOk);
    e->close();
    return id;
}

class Database : public HostTest {};

TEST_F(Database, HandlesAreUpperCaseHexAndFindTheirObject) {
    AcDbObjectId id = addEntity();
    ACHAR buffer[260];
    ASSERT_TRUE(id.handle().getIntoAsciiBuffer(buffer));
    AcDbObjectId found;
    EXPECT_EQ(db()->getAcDbObjectId(found, false, AcDbHandle(buffer)), Acad::eOk);
    EXPECT_EQ(found, id);

    EXPECT_TRUE(AcDbHandle(0x2F4).getIntoAsciiBuffer(buffer));
    EXPECT_STREQ(buffer, L"2F4");
    EXPECT_EQ(AcDbHandle(L"2f4").value(), 0x2F4u);
    ACHAR small[3];
    EXPECT_FALSE(AcDbHandle(0x2F4).getIntoAsciiBuffer(small));

    EXPECT_EQ(db()->getAcDbObjectId(found, false, AcDbHandle(L"FFFFFF")), Acad::eUnknownHandle);
    EXPECT_EQ(db()->getAcDbObjectId(found, false, AcDbHandle(L"not hex")), Acad::eNullHandle);
    EXPECT_TRUE(found.isNull());
    EXPECT_STREQ(acadErrorStatusText(Acad::eUnknownHandle), L"eUnknownHandle");
    EXPECT_STREQ(acadErrorStatusText(Acad::eOk), L"eOk");
    EXPECT_STREQ(acadErrorStatusText(Acad::eNullObjectId), L"eNullObjectId");
}

TEST_F(Database, OpensRefuseAsTheHostDoes) {
    AcDbObjectId id = addEntity();
    AcDbObject* a = nullptr;
    AcDbObject* b = nullptr;
    EXPECT_EQ(acdbOpenObject(a, AcDbObjectId::kNull, AcDb::kForRead), Acad::eNullObjectId);
    ASSERT_EQ(acdbOpenObject(a, id, AcDb::kForRead), Acad::eOk);
    EXPECT_EQ(acdbOpenObject(b, id, AcDb::kForRead), Acad::eOk); // many readers
    EXPECT_EQ(a->upgradeOpen(), Acad::eHadMultipleReaders);
    EXPECT_EQ(acdbOpenObject(b, id, AcDb::kForWrite), Acad::eWasOpenForRead);
    EXPECT_EQ(b, nullptr);
    a->close();
    a->close();
    ASSERT_EQ(acdbOpenObject(a, id, AcDb::kForWrite), Acad::eOk);
    EXPECT_EQ(acdbOpenObject(b, id, AcDb::kForRead), Acad::eWasOpenForWrite);
    EXPECT_EQ(a->erase(), Acad::eOk);
    a->close();
    EXPECT_TRUE(id.isErased());
    EXPECT_EQ(acdbOpenObject(a, id, AcDb::kForRead), Acad::eWasErased);
    EXPECT_EQ(acdbOpenObject(a, id, AcDb::kForRead, true), Acad::eOk);
    a->close();
}

TEST_F(Database, ExactClassAndDerivedClassDiffer) {
    AcDbObjectId id = addEntity();
    AcDbSymbolTableRecord* record = nullptr;
    EXPECT_EQ(acdbOpenObject(record, id, AcDb::kForRead), Acad::eNotThatKindOfClass);
    AcDbObject* object = nullptr;
    ASSERT_EQ(acdbOpenObject(object, id, AcDb::kForRead), Acad::eOk);
    EXPECT_EQ(object->isA(), AcDbEntity::desc());
    EXPECT_NE(object->isA(), AcDbObject::desc());
    EXPECT_TRUE(object->isKindOf(AcDbObject::desc()));
    EXPECT_STREQ(object->isA()->name(), L"AcDbEntity");
    object->close();
    // The refused open left nothing open.
    EXPECT_EQ(acdbOpenObject(object, id, AcDb::kForWrite), Acad::eOk);
    object->close();

    AcDbEntity* entity = nullptr;
    EXPECT_EQ(acdbOpenAcDbEntity(entity, db()->regAppTableId(), AcDb::kForRead),
              Acad::eNotAnEntity);
}

TEST_F(Database, ScopedHolderClosesOnEveryPath) {
    AcDbObjectId id = addEntity();
    {
        AcDbObjectPointer<AcDbEntity> p(id, AcDb::kForWrite);
        ASSERT_EQ(p.openStatus(), Acad::eOk);
        EXPECT_TRUE(p->isWriteEnabled());
    }
    AcDbObjectPointer<AcDbEntity> again(id, AcDb::kForWrite);
    EXPECT_EQ(again.openStatus(), Acad::eOk);
    AcDbObjectPointer<AcDbSymbolTableRecord> wrong(id, AcDb::kForRead);
    EXPECT_EQ(wrong.openStatus(), Acad::eNotThatKindOfClass);
}

struct ModifiedLog : AcDbDatabaseReactor {
    std::vector<AcDbObjectId> modified;
    void objectModified(const AcDbDatabase*, const AcDbObject* object) override {
        modified.push_back(object->objectId());
    }
};

resbuf* chainOf(const wchar_t* app, std::initializer_list<const wchar_t*> texts) {
    resbuf* head = acutBuildList(1001, app, 0);
    resbuf* tail = head;
    for (const wchar_t* t : texts) {
        tail->rbnext = acutBuildList(1000, t, 0);
        tail = tail->rbnext;
    }
    return head;
}

std::vector<std::wstring> textsOf(const AcDbObject* object, const wchar_t* app) {
    std::vector<std::wstring> out;
    resbuf* chain = object->xData(app);
    for (resbuf* rb = chain; rb; rb = rb->rbnext)
        out.push_back(std::to_wstring(rb->restype) + L":" +
                      (rb->resval.rstring ? rb->resval.rstring : L""));
    acutRelRb(chain);
    return out;
}

TEST_F(Database, XdataNeedsARegisteredAppAndABareEntryRemovesIt) {
    AcDbObjectId id = addEntity();
    ModifiedLog log;
    db()->addReactor(&log);
    AcDbObjectPointer<AcDbEntity> e(id, AcDb::kForWrite);
    resbuf* chain = chainOf(L"MYAPP", {L"one", L"two"});
    EXPECT_EQ(e->setXData(chain), Acad::eRegappIdNotFound);
    EXPECT_EQ(acdbRegApp(L"MYAPP"), RTNORM);
    EXPECT_EQ(e->setXData(chain), Acad::eOk);
    acutRelRb(chain);
    EXPECT_EQ(textsOf(e.object(), L"myapp"),
              (std::vector<std::wstring>{L"1001:MYAPP", L"1000:one", L"1000:two"}));
    EXPECT_TRUE(textsOf(e.object(), L"OTHER").empty());

    resbuf* bare = acutBuildList(1001, L"MYAPP", 0);
    EXPECT_EQ(e->setXData(bare), Acad::eOk);
    acutRelRb(bare);
    EXPECT_EQ(e->xData(L"MYAPP"), nullptr);
    e.close();
    // Once for the entity at its close (the registration changed the regapp table too).
    EXPECT_EQ(std::count(log.modified.begin(), log.modified.end(), id), 1);
    EXPECT_EQ(log.modified.back(), id);
    db()->removeReactor(&log);
}

TEST_F(Database, XdataRefusesReadOnlyOpensAndOversizedChains) {
    AcDbObjectId id = addEntity();
    acdbRegApp(L"APP");
    AcDbObjectPointer<AcDbEntity> e(id, AcDb::kForRead);
    resbuf* chain = chainOf(L"APP", {L"x"});
    EXPECT_EQ(e->setXData(chain), Acad::eNotOpenForWrite);
    acutRelRb(chain);
    ASSERT_EQ(e->upgradeOpen(), Acad::eOk);
    std::wstring big(20000, L'x');
    chain = chainOf(L"APP", {big.c_str()});
    EXPECT_EQ(e->setXData(chain), Acad::eXdataSizeExceeded);
    acutRelRb(chain);
    EXPECT_EQ(e->xData(L"APP"), nullptr);
}

TEST_F(Database, MessageBoxesAreRecordedAndAnsweredFromTheQueue) {
    lmhost::queueMessageBoxAnswer(IDNO);
    EXPECT_EQ(MessageBoxW(nullptr, L"Sure?", L"Linkmesh", MB_YESNO | MB_ICONINFORMATION), IDNO);
    EXPECT_EQ(MessageBoxW(nullptr, L"Again?", L"Linkmesh", 68), IDYES); // the first button
    acutPrintf(L"\n%s done", L"All");
    EXPECT_EQ(testkit::transcript(),
              L"\n[Linkmesh|68] Sure? -> 7\n[Linkmesh|68] Again? -> 6\nAll done");
    EXPECT_EQ(testkit::commandLine(), L"\nAll done");
}

TEST_F(Database, SystemVariablesKeepTypeAndRange) {
    resbuf rb;
    ASSERT_EQ(acedGetVar(L"FILEDIA", &rb), RTNORM);
    EXPECT_EQ(rb.restype, RTSHORT);
    EXPECT_EQ(rb.resval.rint, 1);
    rb.resval.rint = 0;
    EXPECT_EQ(acedSetVar(L"filedia", &rb), RTNORM);
    ASSERT_EQ(acedGetVar(L"FILEDIA", &rb), RTNORM);
    EXPECT_EQ(rb.resval.rint, 0);
    rb.resval.rint = 7;
    EXPECT_EQ(acedSetVar(L"LUNITS", &rb), RTERROR);
    EXPECT_EQ(acedGetVar(L"NOSUCHVAR", &rb), RTERROR);
}

} // namespace
