// Drawings saved as DXF and opened again: every kind of object the model holds comes back
// with its handle, a second save writes the same bytes, and saves are atomic.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "DxfDrawing.h"
#include "acdocman.h"
#include "dbapserv.h"
#include "dbsymtb.h"
#include "dbtable.h"
#include "drawing/Blocks.h"
#include "drawing/Dxf.h"
#include "sdk/Database.h"
#include "sdk/WideFormat.h"
#include "sdk/control/Documents.h"
#include "drawing/control/Editor.h"
#include "testkit/Transcript.h"

namespace {

namespace fs = std::filesystem;

class DxfRoundTrip : public testkit::HostTest {
protected:
    void SetUp() override {
        testkit::HostTest::SetUp();
        m_dir = fs::temp_directory_path() /
                ("lm-dxf-" + std::to_string(::getpid()) + "-" +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(m_dir);
        fs::create_directories(m_dir);
    }
    void TearDown() override {
        fs::remove_all(m_dir);
        testkit::HostTest::TearDown();
    }
    std::string path(const std::string& name) const { return (m_dir / name).string(); }

    std::unique_ptr<AcDbDatabase> read(const std::string& text) {
        drawing::DxfReport report;
        std::wstring error;
        auto db = drawing::readDxf(text, report, error);
        EXPECT_TRUE(db) << lmhost::narrow(error);
        EXPECT_TRUE(report.notKept.empty());
        return db;
    }

    fs::path m_dir;
};

TEST_F(DxfRoundTrip, EveryKindOfObjectComesBackWithItsHandle) {
    AcDbDatabase original;
    dxftest::buildRichDrawing(&original);
    std::string first = drawing::writeDxf(&original);
    auto opened = read(first);
    ASSERT_TRUE(opened);
    EXPECT_EQ(dxftest::describe(opened.get()), dxftest::describe(&original));
    // Save, open, save: the same bytes.
    std::string second = drawing::writeDxf(opened.get());
    EXPECT_EQ(second, first);
    auto again = read(second);
    ASSERT_TRUE(again);
    EXPECT_EQ(drawing::writeDxf(again.get()), first);
}

TEST_F(DxfRoundTrip, TheFileSaysWhatItHolds) {
    AcDbDatabase original;
    dxftest::buildRichDrawing(&original);
    std::string text = drawing::writeDxf(&original);
    // The version, our classes declared, control characters as carets, texts as UTF-8.
    EXPECT_NE(text.find("  9\n$ACADVER\n  1\nAC1032\n"), std::string::npos);
    EXPECT_NE(text.find("  0\nCLASS\n  1\nLMESH_PARAMETER\n  2\nLmeshParameter\n"),
              std::string::npos);
    EXPECT_NE(text.find("\n  1\na^ b ^J^I line\\Pnext \xC3\xA9\xE4\xB8\xAD\n"), std::string::npos);
    EXPECT_NE(text.find("1000\nFrame^]Width:Sizes!B3\n"), std::string::npos);
    EXPECT_NE(text.find("  2\nOTHER^ APP\n"), std::string::npos);
    // The handle seed is past every handle in the file.
    size_t seed = text.find("$HANDSEED\n  5\n");
    ASSERT_NE(seed, std::string::npos);
    uint64_t next =
        std::stoull(text.substr(seed + 14, text.find('\n', seed + 14) - seed - 14), nullptr, 16);
    size_t at = text.find("ENDSEC");
    while ((at = text.find("\n  5\n", at)) != std::string::npos) {
        at += 5;
        uint64_t h = std::stoull(text.substr(at, text.find('\n', at) - at), nullptr, 16);
        EXPECT_LT(h, next);
    }
}

TEST_F(DxfRoundTrip, NewObjectsAfterAnOpenGetNewHandles) {
    AcDbDatabase original;
    dxftest::buildRichDrawing(&original);
    auto opened = read(drawing::writeDxf(&original));
    ASSERT_TRUE(opened);
    std::set<uint64_t> handles;
    for (auto& stub : opened->impl()->stubs)
        handles.insert(stub->handle.value());
    for (const auto& [role, handle] : opened->impl()->fileHandles)
        handles.insert(handle);
    auto* extra = new AcDbTableStyle;
    AcDbObjectId id;
    ASSERT_EQ(opened->addAcDbObject(id, extra), Acad::eOk);
    extra->close();
    EXPECT_FALSE(handles.count(id.handle().value()));
}

// Rotations are written in degrees and as a direction; whatever the angle, a drawing read
// back writes the same bytes.
TEST_F(DxfRoundTrip, AnyRotationWritesTheSameBytesAfterAnOpen) {
    AcDbDatabase db;
    AcDbObjectId block, reference;
    ASSERT_EQ(drawing::addBlockDefinition(&db, L"B", block), Acad::eOk);
    ASSERT_EQ(drawing::insertBlock(lmhost::modelSpaceId(&db), block, AcGePoint3d(), reference),
              Acad::eOk);
    auto* table = new AcDbTable;
    table->setSize(1, 1);
    AcDbObjectId tableId;
    {
        AcDbObjectPointer<AcDbBlockTableRecord> space(lmhost::modelSpaceId(&db), AcDb::kForWrite);
        ASSERT_EQ(space->appendAcDbEntity(tableId, table), Acad::eOk);
        table->close();
    }
    uint64_t seed = 12345;
    for (int i = 0; i < 300; ++i) {
        seed = seed * 6364136223846793005ull + 1442695040888963407ull;
        double angle = (static_cast<double>(seed >> 11) / 9007199254740992.0 - 0.5) * 40.0;
        for (AcDbObjectId id : {reference, tableId}) {
            AcDbObjectPointer<AcDbBlockReference> r(id, AcDb::kForWrite);
            r->setRotation(angle);
        }
        std::string first = drawing::writeDxf(&db);
        auto opened = read(first);
        ASSERT_TRUE(opened);
        ASSERT_EQ(drawing::writeDxf(opened.get()), first) << "angle " << angle;
    }
}

TEST_F(DxfRoundTrip, AnEmptyDrawingRoundTrips) {
    AcDbDatabase original;
    std::string text = drawing::writeDxf(&original);
    auto opened = read(text);
    ASSERT_TRUE(opened);
    EXPECT_EQ(dxftest::describe(opened.get()), dxftest::describe(&original));
    EXPECT_EQ(drawing::writeDxf(opened.get()), text);
}

TEST_F(DxfRoundTrip, SavesReplaceTheFileAtomically) {
    AcDbDatabase db;
    dxftest::buildRichDrawing(&db);
    std::wstring error;
    std::string file = path("door.dxf");
    ASSERT_TRUE(drawing::saveDxfFile(&db, lmhost::widen(file), error)) << lmhost::narrow(error);
    std::string saved = dxftest::readFile(file);
    EXPECT_EQ(saved, drawing::writeDxf(&db));

    drawing::DxfReport report;
    auto opened = drawing::openDxfFile(lmhost::widen(file), report, error);
    ASSERT_TRUE(opened) << lmhost::narrow(error);
    ASSERT_TRUE(drawing::saveDxfFile(opened.get(), lmhost::widen(file), error));
    EXPECT_EQ(dxftest::readFile(file), saved);

    // A save that fails part way (the file size limit) leaves the old file and no temporary.
    struct sigaction ignore {
    }, previous{};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGXFSZ, &ignore, &previous);
    rlimit limit{}, old{};
    getrlimit(RLIMIT_FSIZE, &old);
    limit = old;
    limit.rlim_cur = 1000;
    setrlimit(RLIMIT_FSIZE, &limit);
    bool ok = drawing::saveDxfFile(opened.get(), lmhost::widen(file), error);
    setrlimit(RLIMIT_FSIZE, &old);
    sigaction(SIGXFSZ, &previous, nullptr);
    EXPECT_FALSE(ok);
    EXPECT_EQ(lmhost::narrow(error), "file too large");
    EXPECT_EQ(dxftest::readFile(file), saved);
    EXPECT_EQ(std::distance(fs::directory_iterator(m_dir), fs::directory_iterator()), 1);

    // Paths that are no file to write.
    EXPECT_FALSE(drawing::saveDxfFile(&db, lmhost::widen(m_dir.string()), error));
    EXPECT_EQ(error, L"it is a folder");
    EXPECT_FALSE(drawing::saveDxfFile(&db, lmhost::widen(path("missing/door.dxf")), error));
    EXPECT_EQ(error, L"no such file or directory");
}

// An opened drawing is announced as any drawing that becomes current, with its database
// already the working one when it is current.
class DocumentLog : public AcApDocManagerReactor {
public:
    void documentCreateStarted(AcApDocument* d) override { add(L"createStarted", d); }
    void documentCreated(AcApDocument* d) override { add(L"created", d); }
    void documentToBeDeactivated(AcApDocument* d) override { add(L"toBeDeactivated", d); }
    void documentToBeActivated(AcApDocument* d) override { add(L"toBeActivated", d); }
    void documentBecameCurrent(AcApDocument* d) override {
        add(L"becameCurrent", d);
        working = acdbHostApplicationServices()->workingDatabase() == d->database();
    }
    void documentActivated(AcApDocument* d) override { add(L"activated", d); }
    void documentToBeDestroyed(AcApDocument* d) override { add(L"toBeDestroyed", d); }

    std::vector<std::wstring> events;
    bool working = false;

private:
    void add(const wchar_t* what, AcApDocument* d) {
        events.push_back(std::wstring(what) + L" " + (d ? d->docTitle() : L"-"));
    }
};

TEST_F(DxfRoundTrip, OpeningADrawingFiresWhatADrawingBecomingCurrentFires) {
    AcDbDatabase original;
    dxftest::buildRichDrawing(&original);
    std::wstring error;
    std::string file = path("door.dxf");
    ASSERT_TRUE(drawing::saveDxfFile(&original, lmhost::widen(file), error));
    lmhost::newDocument(L"Drawing1.dwg");
    DocumentLog log;
    acDocManagerPtr()->addReactor(&log);
    drawing::DxfReport report;
    auto db = drawing::openDxfFile(lmhost::widen(file), report, error);
    ASSERT_TRUE(db);
    AcDbDatabase* opened = db.get();
    AcApDocument* doc = lmhost::openDocument(lmhost::widen(file), std::move(db));
    EXPECT_EQ(log.events,
              (std::vector<std::wstring>{L"createStarted door.dxf", L"created door.dxf",
                                         L"toBeDeactivated Drawing1.dwg", L"toBeActivated door.dxf",
                                         L"becameCurrent door.dxf", L"activated door.dxf"}));
    EXPECT_TRUE(log.working);
    EXPECT_EQ(doc->database(), opened);
    EXPECT_EQ(std::wstring(doc->fileName()), lmhost::widen(file));
    EXPECT_EQ(dxftest::describe(opened), dxftest::describe(&original));
    lmhost::closeAllDocuments();
    acDocManagerPtr()->removeReactor(&log);
}

} // namespace
