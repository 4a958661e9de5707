// The drawing as the plug-in meets it: spaces and handles, entity names, selection sets,
// the drag of a set from the user's input, the UCS, regen records, reactors, id arrays.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "aced.h"
#include "acedads.h"
#include "acutads.h"
#include "dbapserv.h"
#include "dbidar.h"
#include "dbtable.h"
#include "rxdict.h"
#include "rxregsvc.h"
#include "drawing/Blocks.h"
#include "drawing/control/Editor.h"
#include "sdk/control/HostControl.h"
#include "drawing/control/Input.h"
#include "sdk/control/SystemVariables.h"
#include "testkit/Transcript.h"

namespace {

class DrawingTest : public testkit::HostTest {
protected:
    AcDbDatabase* db() { return acdbHostApplicationServices()->workingDatabase(); }

    AcDbObjectId addTo(AcDbObjectId space, AcDbEntity* entity) {
        AcDbObjectPointer<AcDbBlockTableRecord> record(space, AcDb::kForWrite);
        AcDbObjectId id;
        EXPECT_EQ(record->appendAcDbEntity(id, entity), Acad::eOk);
        entity->close();
        return id;
    }
    AcDbObjectId addLine(AcDbObjectId space, double x = 0) {
        return addTo(space, new AcDbLine(AcGePoint3d(x, 0, 0), AcGePoint3d(x + 1, 0, 0)));
    }
    AcDbObjectId addTable(AcDbObjectId space) {
        auto* table = new AcDbTable;
        table->setSize(2, 2);
        return addTo(space, table);
    }
    AcDbObjectId model() { return lmhost::modelSpaceId(db()); }
    AcDbObjectId paper() { return lmhost::paperSpaceId(db()); }

    std::vector<AcDbObjectId> select(const wchar_t* type, int* status = nullptr) {
        resbuf* filter = acutBuildList(RTDXF0, type, 0);
        ads_name ss;
        int rc = acedSSGet(L"X", nullptr, nullptr, filter, ss);
        acutRelRb(filter);
        if (status)
            *status = rc;
        std::vector<AcDbObjectId> ids;
        if (rc != RTNORM)
            return ids;
        Adesk::Int32 n = 0;
        acedSSLength(ss, &n);
        for (Adesk::Int32 i = 0; i < n; ++i) {
            ads_name ent;
            AcDbObjectId id;
            acedSSName(ss, i, ent);
            acdbGetObjectId(id, ent);
            ids.push_back(id);
        }
        EXPECT_EQ(acedSSFree(ss), RTNORM);
        return ids;
    }
};

TEST_F(DrawingTest, EveryDrawingHasModelAndPaperSpace) {
    AcDbBlockTable* table = nullptr;
    ASSERT_EQ(acdbOpenObject(table, db()->blockTableId()), Acad::eOk);
    AcDbObjectId ms, ps;
    EXPECT_EQ(table->getAt(L"*MODEL_SPACE", ms), Acad::eOk);
    EXPECT_EQ(table->getAt(ACDB_PAPER_SPACE, ps), Acad::eOk);
    table->close();
    EXPECT_EQ(ms, db()->currentSpaceId());
    EXPECT_EQ(lmhost::setCurrentSpace(db(), ps), Acad::eOk);
    EXPECT_EQ(db()->currentSpaceId(), ps);
    AcDbObjectId block;
    ASSERT_EQ(drawing::addBlockDefinition(db(), L"Door", block), Acad::eOk);
    EXPECT_EQ(lmhost::setCurrentSpace(db(), block), Acad::eInvalidInput);
    AcDbObjectPointer<AcDbBlockTableRecord> record(ms);
    EXPECT_TRUE(record->isLayout());
}

TEST_F(DrawingTest, AppendRefusesWhatTheHostRefuses) {
    AcDbObjectId line = addLine(model());
    AcDbObjectPointer<AcDbBlockTableRecord> record(model(), AcDb::kForRead);
    auto* other = new AcDbLine;
    EXPECT_EQ(record->appendAcDbEntity(other), Acad::eNotOpenForWrite);
    record.close();
    record.open(model(), AcDb::kForWrite);
    EXPECT_EQ(record->appendAcDbEntity(nullptr), Acad::eNullEntityPointer);
    AcDbEntity* resident = nullptr;
    ASSERT_EQ(acdbOpenAcDbEntity(resident, line, AcDb::kForRead), Acad::eOk);
    EXPECT_EQ(record->appendAcDbEntity(resident), Acad::eAlreadyInDb);
    resident->close();
    delete other;
    // A block cannot hold a reference to itself, directly or through another block.
    record.close();
    AcDbObjectId a, b, ref;
    drawing::addBlockDefinition(db(), L"A", a);
    drawing::addBlockDefinition(db(), L"B", b);
    ASSERT_EQ(drawing::insertBlock(a, b, AcGePoint3d(), ref), Acad::eOk);
    EXPECT_EQ(drawing::insertBlock(b, a, AcGePoint3d(), ref), Acad::eSelfReference);
    EXPECT_EQ(drawing::insertBlock(a, a, AcGePoint3d(), ref), Acad::eSelfReference);
}

TEST_F(DrawingTest, HandlesGrowAndNameTheirEntities) {
    AcDbObjectId first = addLine(model());
    AcDbObjectId second = addLine(model());
    EXPECT_LT(first.handle(), second.handle());
    wchar_t text[260];
    second.handle().getIntoAsciiBuffer(text);
    ads_name name;
    ASSERT_EQ(acdbHandEnt(text, name), RTNORM);
    AcDbObjectId back;
    ASSERT_EQ(acdbGetObjectId(back, name), Acad::eOk);
    EXPECT_EQ(back, second);
    EXPECT_EQ(acdbHandEnt(L"FFFFF", name), RTERROR);
    EXPECT_EQ(acdbHandEnt(L"zz", name), RTERROR);
    EXPECT_EQ(acdbHandEnt(L"", name), RTERROR);
    AcDbObjectId id;
    EXPECT_EQ(db()->getAcDbObjectId(id, false, AcDbHandle(L"FFFFF")), Acad::eUnknownHandle);
    EXPECT_EQ(db()->getAcDbObjectId(id, false, AcDbHandle()), Acad::eNullHandle);
    // acdbEntDel erases, and a second call brings the entity back.
    EXPECT_EQ(acdbEntDel(name), RTNORM);
    EXPECT_TRUE(second.isErased());
    EXPECT_EQ(acdbHandEnt(text, name), RTERROR);
    AcDbLine* line = nullptr;
    EXPECT_EQ(acdbOpenObject(line, second), Acad::eWasErased);
    EXPECT_EQ(acdbEntDel(name), RTNORM);
    EXPECT_FALSE(second.isErased());
}

TEST_F(DrawingTest, SelectAllFiltersByEntityTypeOverEverySpace) {
    AcDbObjectId block;
    drawing::addBlockDefinition(db(), L"Door", block);
    AcDbObjectId line = addLine(model());
    AcDbObjectId insert1, insert2, inner;
    drawing::insertBlock(model(), block, AcGePoint3d(), insert1);
    AcDbObjectId table = addTable(paper());
    drawing::insertBlock(paper(), block, AcGePoint3d(), insert2);
    AcDbObjectId holder;
    drawing::addBlockDefinition(db(), L"Holder", holder);
    drawing::insertBlock(holder, block, AcGePoint3d(), inner); // inside a definition
    EXPECT_EQ(select(L"INSERT"), (std::vector<AcDbObjectId>{insert1, insert2}));
    EXPECT_EQ(select(L"ACAD_TABLE"), (std::vector<AcDbObjectId>{table}));
    EXPECT_EQ(select(L"line,acad_table"), (std::vector<AcDbObjectId>{line, table}));
    int status = 0;
    EXPECT_TRUE(select(L"CIRCLE", &status).empty());
    EXPECT_EQ(status, RTERROR);
    ads_name ss;
    EXPECT_EQ(acedSSGet(L"W", nullptr, nullptr, nullptr, ss), RTERROR);
    // A freed or made-up set is refused.
    ASSERT_EQ(acedSSGet(L"_X", nullptr, nullptr, nullptr, ss), RTNORM);
    Adesk::Int32 n = 0;
    EXPECT_EQ(acedSSLength(ss, &n), RTNORM);
    EXPECT_EQ(n, 4);
    ads_name ent;
    EXPECT_EQ(acedSSName(ss, 4, ent), RTERROR);
    EXPECT_EQ(acedSSFree(ss), RTNORM);
    EXPECT_EQ(acedSSFree(ss), RTERROR);
    EXPECT_EQ(acedSSLength(ss, &n), RTERROR);
}

TEST_F(DrawingTest, SetsAreBuiltWithSSAdd) {
    AcDbObjectId a = addLine(model()), b = addLine(model(), 5);
    ads_name ea, eb, ss, same;
    acdbGetAdsName(ea, a);
    acdbGetAdsName(eb, b);
    ASSERT_EQ(acedSSAdd(nullptr, nullptr, ss), RTNORM);
    Adesk::Int32 n = -1;
    acedSSLength(ss, &n);
    EXPECT_EQ(n, 0);
    ASSERT_EQ(acedSSAdd(ea, ss, same), RTNORM);
    ASSERT_EQ(acedSSAdd(eb, ss, same), RTNORM);
    ASSERT_EQ(acedSSAdd(ea, ss, same), RTNORM); // once only
    acedSSLength(same, &n);
    EXPECT_EQ(n, 2);
    ads_name bogus = {12345, 0};
    EXPECT_EQ(acedSSAdd(bogus, ss, same), RTERROR);
    acedSSFree(ss);
}

int g_dragCalls = 0;
int dragCallback(ads_point, ads_matrix) {
    ++g_dragCalls;
    return RTNORM;
}

TEST_F(DrawingTest, DragTakesThePointOrTheCancelFromTheInput) {
    AcDbObjectId line = addLine(model());
    ads_name ent, ss;
    acdbGetAdsName(ent, line);
    acedSSAdd(ent, nullptr, ss);
    ads_point p;
    g_dragCalls = 0;
    lmhost::queuePoint(AcGePoint3d(4, 5, 0));
    ASSERT_EQ(acedDragGen(ss, L"\nPick insertion point:", 0, dragCallback, p), RTNORM);
    EXPECT_EQ(g_dragCalls, 1);
    EXPECT_DOUBLE_EQ(p[0], 4);
    EXPECT_DOUBLE_EQ(p[1], 5);
    EXPECT_EQ(testkit::commandLine(), L"\nPick insertion point:");
    ads_matrix move = {{1, 0, 0, 4}, {0, 1, 0, 5}, {0, 0, 1, 0}, {0, 0, 0, 1}};
    ASSERT_EQ(acedXformSS(ss, move), RTNORM);
    {
        AcDbObjectPointer<AcDbLine> l(line);
        EXPECT_EQ(l->startPoint(), AcGePoint3d(4, 5, 0));
        EXPECT_EQ(l->endPoint(), AcGePoint3d(5, 5, 0));
    }
    lmhost::queueCancel();
    EXPECT_EQ(acedDragGen(ss, L"", 0, dragCallback, p), RTCAN);
    EXPECT_EQ(lmhost::unansweredPrompts(), 0u);
    // Nobody there to answer: a cancel, and the host notes the prompt.
    EXPECT_EQ(acedDragGen(ss, L"\nAgain:", 0, dragCallback, p), RTCAN);
    EXPECT_EQ(lmhost::unansweredPrompts(), 1u);
    EXPECT_EQ(lmhost::lastUnansweredPrompt(), L"\nAgain:");
    acedSSFree(ss);
}

TEST_F(DrawingTest, PromptsTakeTheirKindOfInput) {
    AcDbObjectId table = addTable(model());
    lmhost::queueEntity(table, AcGePoint3d(1, 2, 0));
    ads_name ent;
    ads_point pt;
    ASSERT_EQ(acedEntSel(L"\nPlease select a table:", ent, pt), RTNORM);
    AcDbObjectId picked;
    acdbGetObjectId(picked, ent);
    EXPECT_EQ(picked, table);
    EXPECT_DOUBLE_EQ(pt[1], 2);
    lmhost::queuePoint(AcGePoint3d(7, 7, 0)); // a pick beside every entity
    EXPECT_EQ(acedEntSel(L"\nPlease select a table:", ent, pt), RTERROR);
    lmhost::queueKeyword(L"yes");
    acedInitGet(0, L"Yes No");
    wchar_t word[16];
    ASSERT_EQ(acedGetKword(L"\nSure? [Yes/No]:", word), RTNORM);
    EXPECT_STREQ(word, L"Yes");
    lmhost::queueKeyword(L"maybe");
    acedInitGet(0, L"Yes No");
    EXPECT_EQ(acedGetKword(L"\nSure?", word), RTERROR);
    lmhost::queuePoint(AcGePoint3d(1, 1, 1));
    ASSERT_EQ(acedGetPoint(nullptr, L"\nSelect table cell:", pt), RTNORM);
    EXPECT_DOUBLE_EQ(pt[2], 1);
    EXPECT_EQ(acedGetPoint(nullptr, L"\nSelect table cell:", pt), RTCAN);
    EXPECT_EQ(lmhost::unansweredPrompts(), 1u);
    EXPECT_EQ(testkit::commandLine(), L"\nPlease select a table:\nPlease select a table:"
                                      L"\nSure? [Yes/No]:\nSure?\nSelect table cell:"
                                      L"\nSelect table cell:");
}

TEST_F(DrawingTest, ANestedSinglePickGivesTheEntityAndItsReferencesInnermostFirst) {
    AcDbObjectId innerBlock, outerBlock;
    ASSERT_EQ(drawing::addBlockDefinition(db(), L"Inner", innerBlock), Acad::eOk);
    ASSERT_EQ(drawing::addBlockDefinition(db(), L"Outer", outerBlock), Acad::eOk);
    // A line in "Inner", which "Outer" holds, which model space inserts.
    struct {
        AcDbObjectId line, innerReference, outerReference;
    } d;
    d.line = addLine(innerBlock);
    ASSERT_EQ(drawing::insertBlock(outerBlock, innerBlock, AcGePoint3d(), d.innerReference),
              Acad::eOk);
    ASSERT_EQ(drawing::insertBlock(model(), outerBlock, AcGePoint3d(), d.outerReference),
              Acad::eOk);
    const ACHAR* prompts[2] = {L"\nPick:", L""};
    auto chainOf = [](const ads_name ss) {
        resbuf* chain = nullptr;
        EXPECT_EQ(acedSSNameX(&chain, ss, 0), RTNORM);
        std::vector<std::wstring> items;
        for (resbuf* rb = chain; rb; rb = rb->rbnext) {
            AcDbObjectId id;
            if (rb->restype == RTENAME && acdbGetObjectId(id, rb->resval.rlname) == Acad::eOk)
                items.push_back(L"name " + std::to_wstring(id.handle().value()));
            else if (rb->restype == RTSHORT)
                items.push_back(L"short " + std::to_wstring(rb->resval.rint));
            else if (rb->restype == RT3DPOINT)
                items.push_back(L"point " + std::to_wstring(rb->resval.rpoint[0]));
            else
                items.push_back(std::to_wstring(rb->restype));
        }
        acutRelRb(chain);
        return items;
    };
    auto name = [](AcDbObjectId id) { return L"name " + std::to_wstring(id.handle().value()); };

    lmhost::queueNestedEntity({d.outerReference, d.innerReference, d.line}, AcGePoint3d(2, 0, 0));
    ads_name ss;
    ASSERT_EQ(acedSSGet(L"_:n:$:S", prompts, nullptr, nullptr, ss), RTNORM);
    Adesk::Int32 n = 0;
    acedSSLength(ss, &n);
    EXPECT_EQ(n, 1);
    EXPECT_EQ(chainOf(ss),
              (std::vector<std::wstring>{L"short 1", name(d.line), L"short 0", L"5016", L"short 0",
                                         L"point 2.000000", L"5017", name(d.innerReference),
                                         name(d.outerReference)}));
    acedSSFree(ss);
    // Without the nested option the pick is the entity of the space.
    lmhost::queueNestedEntity({d.outerReference, d.innerReference, d.line});
    ASSERT_EQ(acedSSGet(L":S", nullptr, nullptr, nullptr, ss), RTNORM);
    EXPECT_EQ(chainOf(ss)[1], name(d.outerReference));
    acedSSFree(ss);
    // A selection of mode X says so: method 0.
    ASSERT_EQ(acedSSGet(L"X", nullptr, nullptr, nullptr, ss), RTNORM);
    EXPECT_EQ(chainOf(ss), (std::vector<std::wstring>{L"short 0", name(d.outerReference)}));
    acedSSFree(ss);
    // Esc, a pick of nothing, and selections the host does not ask.
    lmhost::queueCancel();
    EXPECT_EQ(acedSSGet(L"_:n:$:S", prompts, nullptr, nullptr, ss), RTCAN);
    lmhost::queueEntity(AcDbObjectId::kNull);
    EXPECT_EQ(acedSSGet(L"_:n:$:S", prompts, nullptr, nullptr, ss), RTERROR);
    EXPECT_EQ(acedSSGet(L"_:n", nullptr, nullptr, nullptr, ss), RTERROR);
    EXPECT_EQ(acedSSGet(L"_:S:q", nullptr, nullptr, nullptr, ss), RTERROR);
    EXPECT_EQ(lmhost::selectionSetsHeld(), 0);
    EXPECT_EQ(testkit::commandLine(), L"\nPick:\nSelect objects: \nPick:\nPick:");
}

TEST_F(DrawingTest, RunningSnapsTakeAClickToTheNearestPointWithinTheAperture) {
    addTo(model(), new AcDbLine(AcGePoint3d(0, 0, 0), AcGePoint3d(4, 0, 0)));
    AcDbObjectId reference;
    AcDbObjectId block;
    ASSERT_EQ(drawing::addBlockDefinition(db(), L"B", block), Acad::eOk);
    ASSERT_EQ(drawing::insertBlock(model(), block, AcGePoint3d(10, 10, 0), reference), Acad::eOk);
    auto clickAt = [](double x, double y) {
        lmhost::queuePoint(AcGePoint3d(x, y, 0));
        ads_point p = {0, 0, 0};
        EXPECT_EQ(acedGetPoint(nullptr, L"", p), RTNORM);
        return std::make_pair(p[0], p[1]);
    };
    using P = std::pair<double, double>;
    lmhost::setSystemVariable(L"OSMODE", short(1 | 2 | 64));
    EXPECT_EQ(clickAt(0.1, 0.1), P(0, 0));     // endpoint
    EXPECT_EQ(clickAt(2.1, -0.1), P(2, 0));    // midpoint
    EXPECT_EQ(clickAt(10.1, 9.9), P(10, 10));  // insertion
    EXPECT_EQ(clickAt(0.3, 0.0), P(0.3, 0.0)); // beyond the aperture of 10 pixels (0.2)
    lmhost::setSystemVariable(L"APERTURE", short(20));
    EXPECT_EQ(clickAt(0.3, 0.0), P(0, 0));
    lmhost::setSystemVariable(L"OSMODE", short(2));
    EXPECT_EQ(clickAt(0.1, 0.1), P(0.1, 0.1)) << "only the modes that are on";
    lmhost::setSystemVariable(L"OSMODE", short(1 | 16384));
    EXPECT_EQ(clickAt(0.1, 0.1), P(0.1, 0.1)) << "snaps switched off";
    // Points come and go in the UCS.
    lmhost::setSystemVariable(L"OSMODE", short(1));
    ASSERT_EQ(db()->setUcs(AcGePoint3d(1, 0, 0), AcGeVector3d(1, 0, 0), AcGeVector3d(0, 1, 0)),
              Acad::eOk);
    EXPECT_EQ(clickAt(-0.9, 0.1), P(-1, 0));
    // Nothing of another space is snapped to.
    ASSERT_EQ(lmhost::setCurrentSpace(db(), paper()), Acad::eOk);
    EXPECT_EQ(clickAt(-0.9, 0.1), P(-0.9, 0.1));
}

TEST_F(DrawingTest, TheCurrentViewportFollowsTheSpaceAndTheViewportEntered) {
    AcDbObjectId modelViewport = acedGetCurViewportObjectId();
    ASSERT_TRUE(modelViewport.isValid());
    AcDbObjectId layout2;
    ASSERT_EQ(drawing::addLayout(db(), layout2), Acad::eOk);
    AcDbObjectId tilted, plan;
    ASSERT_EQ(lmhost::addLayoutViewport(db(), paper(), AcGeVector3d(1, 1, 1), tilted), Acad::eOk);
    ASSERT_EQ(lmhost::addLayoutViewport(db(), layout2, AcGeVector3d::kZAxis, plan), Acad::eOk);
    EXPECT_EQ(lmhost::addLayoutViewport(db(), model(), AcGeVector3d::kZAxis, plan),
              Acad::eInvalidInput)
        << "model space has its own";
    EXPECT_EQ(lmhost::addLayoutViewport(db(), layout2, AcGeVector3d(), plan), Acad::eInvalidInput);
    EXPECT_EQ(lmhost::layoutViewportsOf(db(), paper()), std::vector<AcDbObjectId>{tilted});

    ASSERT_EQ(lmhost::setCurrentSpace(db(), paper()), Acad::eOk);
    EXPECT_TRUE(acedGetCurViewportObjectId().isNull()) << "paper is seen in plan";
    ASSERT_EQ(lmhost::enterLayoutViewport(db(), tilted), Acad::eOk);
    EXPECT_EQ(acedGetCurViewportObjectId(), tilted);
    EXPECT_EQ(db()->currentSpaceId(), model()) << "through a viewport the user works in the model";
    EXPECT_EQ(lmhost::activeViewportLayout(db()), paper());
    {
        AcDbObjectPointer<AcDbViewport> viewport(acedGetCurViewportObjectId(), AcDb::kForRead);
        ASSERT_EQ(viewport.openStatus(), Acad::eOk);
        EXPECT_TRUE(viewport->viewDirection().isEqualTo(AcGeVector3d(1, 1, 1)));
    }
    ASSERT_EQ(lmhost::setCurrentSpace(db(), model()), Acad::eOk);
    EXPECT_EQ(acedGetCurViewportObjectId(), modelViewport);
    EXPECT_TRUE(lmhost::activeViewportLayout(db()).isNull());
    EXPECT_EQ(lmhost::enterLayoutViewport(db(), modelViewport), Acad::eInvalidInput);
}

TEST_F(DrawingTest, UcsTakesPointsToWorldCoordinates) {
    AcGeMatrix3d m;
    ASSERT_TRUE(acdbUcsMatrix(m, db()));
    EXPECT_TRUE(m.isEqualTo(AcGeMatrix3d::kIdentity));
    // A UCS moved to (10,20,0) and turned a quarter to the left.
    ASSERT_EQ(db()->setUcs(AcGePoint3d(10, 20, 0), AcGeVector3d(0, 1, 0), AcGeVector3d(-1, 0, 0)),
              Acad::eOk);
    ads_point ucs = {1, 0, 0}, wcs;
    ASSERT_TRUE(acdbUcs2Wcs(ucs, wcs, false));
    EXPECT_NEAR(wcs[0], 10, 1e-12);
    EXPECT_NEAR(wcs[1], 21, 1e-12);
    ASSERT_TRUE(acdbUcs2Wcs(ucs, wcs, true));
    EXPECT_NEAR(wcs[0], 0, 1e-12);
    EXPECT_NEAR(wcs[1], 1, 1e-12);
    ads_point back;
    acdbUcs2Wcs(ucs, wcs, false);
    acdbWcs2Ucs(wcs, back, false);
    EXPECT_NEAR(back[0], 1, 1e-12);
    EXPECT_EQ(db()->setUcs(AcGePoint3d(), AcGeVector3d(1, 0, 0), AcGeVector3d(1, 1, 0)),
              Acad::eInvalidInput);
    AcDbObjectPointer<AcDbViewport> viewport(acedGetCurViewportObjectId());
    ASSERT_EQ(viewport.openStatus(), Acad::eOk);
    EXPECT_EQ(viewport->viewDirection(), AcGeVector3d::kZAxis);
}

TEST_F(DrawingTest, RegenerationsAreRecorded) {
    AcDbObjectId table = addTable(model());
    EXPECT_EQ(ads_regen(), RTNORM);
    EXPECT_EQ(lmhost::regenCount(), 1);
    AcDbObjectId ids[2] = {table, AcDbObjectId::kNull};
    EXPECT_EQ(acdbQueueForRegen(ids, 2), 1);
    EXPECT_EQ(lmhost::queuedForRegen(), std::vector<AcDbObjectId>{table});
    EXPECT_EQ(acdbQueueForRegen(nullptr, 1), 0);
}

// The drawing model plugs into the API surface as the host library loads: the editor is
// found where a plug-in looks for it, and resetting the host resets the editor too.
TEST_F(DrawingTest, TheEditorIsFoundByNameAndResetWithTheHost) {
    EXPECT_EQ(acrxFindAcRxClass(L"AcEditor"), AcEditor::desc());
    EXPECT_EQ(acrxFindAcRxClass(L"AcEditorReactor"), AcEditorReactor::desc());
    EXPECT_EQ(acrxSysRegistry()->at(L"AcEditor"), acedEditorObject());
    EXPECT_EQ(ads_regen(), RTNORM);
    lmhost::queuePoint(AcGePoint3d(1, 2, 0));
    ASSERT_EQ(lmhost::regenCount(), 1);
    lmhost::resetHost();
    EXPECT_EQ(lmhost::regenCount(), 0);
    EXPECT_EQ(lmhost::pendingInput(), 0u);
}

TEST_F(DrawingTest, ANewDatabaseHasTheDefaultDrawingOnlyWhenAskedFor) {
    AcDbDatabase full(true, true);
    EXPECT_FALSE(full.blockTableId().isNull());
    EXPECT_FALSE(full.textstyle().isNull());
    EXPECT_EQ(full.setTablestyle(full.tablestyle()), Acad::eOk);
    EXPECT_EQ(full.setTextstyle(full.tablestyle()), Acad::eWrongObjectType);
    AcDbDatabase bare(false, true);
    EXPECT_TRUE(bare.blockTableId().isNull());
    EXPECT_TRUE(bare.textstyle().isNull());
}

struct RecordingEditorReactor : AcEditorReactor {
    std::vector<std::wstring> seen;
    void commandWillStart(const ACHAR* c) override { seen.push_back(L"start " + std::wstring(c)); }
    void commandEnded(const ACHAR* c) override { seen.push_back(L"end " + std::wstring(c)); }
    void commandCancelled(const ACHAR* c) override { seen.push_back(L"cancel " + std::wstring(c)); }
    void commandFailed(const ACHAR* c) override { seen.push_back(L"fail " + std::wstring(c)); }
};

struct RecordingDatabaseReactor : AcDbDatabaseReactor {
    std::vector<AcDbObjectId> modified;
    void objectModified(const AcDbDatabase*, const AcDbObject* object) override {
        modified.push_back(object->objectId());
    }
};

TEST_F(DrawingTest, ReactorsHearCommandsAndChangedTables) {
    RecordingEditorReactor editor;
    acedEditor->addReactor(&editor);
    acedEditor->addReactor(&editor);
    lmhost::raiseCommandWillStart(L"LINE");
    lmhost::raiseCommandEnded(L"LINE");
    lmhost::raiseCommandWillStart(L"MOVE");
    lmhost::raiseCommandCancelled(L"MOVE");
    lmhost::raiseCommandFailed(L"X");
    acedEditor->removeReactor(&editor);
    lmhost::raiseCommandWillStart(L"LINE");
    EXPECT_EQ(editor.seen, (std::vector<std::wstring>{L"start LINE", L"end LINE", L"start MOVE",
                                                      L"cancel MOVE", L"fail X"}));

    AcDbObjectId table = addTable(model());
    RecordingDatabaseReactor reactor;
    db()->addReactor(&reactor);
    {
        AcDbObjectPointer<AcDbTable> t(table, AcDb::kForWrite);
        t->textString(0, 0); // reading changes nothing
    }
    EXPECT_TRUE(reactor.modified.empty());
    {
        AcDbObjectPointer<AcDbTable> t(table, AcDb::kForWrite);
        EXPECT_EQ(t->setTextString(1, 1, L"12"), Acad::eOk);
    }
    EXPECT_EQ(reactor.modified, std::vector<AcDbObjectId>{table});
    db()->removeReactor(&reactor);
}

TEST(IdArray, GrowsByTheHostsRule) {
    AcDbObjectIdArray ids;
    EXPECT_EQ(ids.physicalLength(), 0);
    EXPECT_EQ(ids.growLength(), 8);
    std::vector<int> physical;
    for (int i = 0; i < 40; ++i) {
        ids.append(AcDbObjectId::kNull);
        if (physical.empty() || physical.back() != ids.physicalLength())
            physical.push_back(ids.physicalLength());
    }
    EXPECT_EQ(physical, (std::vector<int>{8, 16, 32, 64}));
    ids.setLogicalLength(0); // a drain keeps the storage
    EXPECT_EQ(ids.physicalLength(), 64);
    EXPECT_EQ(ids.logicalLength(), 0);
    // Past 1 MB of storage the step is 131,072 elements.
    AcArray<double> under(131071);
    under.setLogicalLength(131071);
    under.append(1.0);
    EXPECT_EQ(under.physicalLength(), 131071 * 2);
    AcArray<double> big(200000);
    big.setLogicalLength(200000);
    big.append(1.0);
    EXPECT_EQ(big.physicalLength(), 200000 + 131072);
    EXPECT_EQ(big[200000], 1.0);
}

} // namespace
