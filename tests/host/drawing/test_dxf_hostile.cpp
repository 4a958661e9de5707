// Bad drawing files: each is refused with a reason that names the line, nothing crashes or
// hangs, and a file of another program opens with what the model does not hold counted.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "DxfDrawing.h"
#include "drawing/Dxf.h"
#include "sdk/WideFormat.h"
#include "testkit/Transcript.h"

namespace {

namespace fs = std::filesystem;

class DxfHostile : public testkit::HostTest {
protected:
    void SetUp() override {
        testkit::HostTest::SetUp();
        AcDbDatabase db;
        dxftest::buildRichDrawing(&db);
        m_good = drawing::writeDxf(&db);
        m_dir = fs::temp_directory_path() / ("lm-dxf-hostile-" + std::to_string(::getpid()));
        fs::create_directories(m_dir);
    }
    void TearDown() override {
        fs::remove_all(m_dir);
        testkit::HostTest::TearDown();
    }

    // The reason a text is refused; empty when it opens.
    static std::string refusal(const std::string& text) {
        drawing::DxfReport report;
        std::wstring error;
        auto db = drawing::readDxf(text, report, error);
        if (db)
            return "";
        EXPECT_FALSE(error.empty());
        return lmhost::narrow(error);
    }

    // The good file with the first `from` after `after` replaced.
    std::string changed(const std::string& after, const std::string& from,
                        const std::string& to) const {
        std::string text = m_good;
        size_t anchor = text.find(after);
        EXPECT_NE(anchor, std::string::npos) << after;
        size_t at = text.find(from, anchor);
        EXPECT_NE(at, std::string::npos) << from;
        return text.replace(at, from.size(), to);
    }

    std::string m_good;
    fs::path m_dir;
};

TEST_F(DxfHostile, TruncatedFilesAreRefusedAtEveryCut) {
    EXPECT_EQ(refusal(m_good), "");
    int refused = 0;
    for (size_t cut = 0; cut < m_good.size(); cut += m_good.size() / 97 + 1) {
        std::string reason = refusal(m_good.substr(0, cut));
        EXPECT_NE(reason, "") << "cut at " << cut;
        refused += reason.find("truncated") != std::string::npos;
    }
    EXPECT_GT(refused, 50);
    EXPECT_EQ(refusal(m_good.substr(0, m_good.size() - 4)),
              "line " + std::to_string(std::count(m_good.begin(), m_good.end(), '\n') - 1) +
                  ": the file ends after group code 0 (truncated file)");
    EXPECT_EQ(refusal(""), "line 1: the file ends without EOF (truncated file)");
}

TEST_F(DxfHostile, WrongAndUnknownGroupCodesAreNamed) {
    EXPECT_EQ(refusal(changed("$TEXTSIZE", " 40\n0.25\n", " 40\nwide\n")),
              "line 32: group code 40 needs a real number, not \"wide\"");
    EXPECT_EQ(refusal(changed("$LUNITS", " 70\n", "7777\n")), "line 15: unknown group code 7777");
    EXPECT_EQ(refusal(changed("$LUNITS", " 70\n", "seventy\n")),
              "line 15: a group code was expected, not \"seventy\"");
    EXPECT_EQ(refusal(changed("$LUNITS", " 70\n2\n", " 70\n99999\n")),
              "line 16: group code 70 needs a 16-bit integer, not \"99999\"");
    EXPECT_EQ(refusal(changed("$HANDSEED", "  5\n", "  5\nXYZ\n  5\n")),
              "line 68: group code 5 needs a hexadecimal handle, not \"XYZ\"");
    EXPECT_NE(refusal(changed("ENTITIES", "  0\nINSERT", "  0\nSECTION")), "");
}

TEST_F(DxfHostile, BinaryFilesAreRefused) {
    std::string binary("AutoCAD Binary DXF\r\n\x1a\0\0\0SECTION\0", 31);
    EXPECT_EQ(refusal(binary),
              "this is a binary DXF file; only ASCII DXF is read (save it as ASCII DXF)");
}

TEST_F(DxfHostile, AbsurdCountsAndLengthsAreRefused) {
    std::string reason = refusal(changed("100\nAcDbTable", " 91\n4\n", " 91\n2000000000\n"));
    EXPECT_NE(reason.find("a table of 2000000000 rows and 3 columns (the model takes 1 to "
                          "4000000 cells)"),
              std::string::npos)
        << reason;
    reason = refusal(changed("100\nAcDbTable", " 92\n3\n", " 92\n2\n"));
    EXPECT_NE(reason.find("the table says it has 8 cells and holds 12"), std::string::npos)
        << reason;
    reason = refusal(changed("100\nLmeshBlockProperties\n", " 90\n6\n", " 90\n99999999\n"));
    EXPECT_NE(reason.find("the count 99999999 is more than the object holds"), std::string::npos)
        << reason;
    reason = refusal(changed("100\nLmeshBlockPropertyValues", " 90\n6\n", " 90\n7\n"));
    EXPECT_NE(reason.find("more property values than the block has properties"), std::string::npos)
        << reason;
    reason = refusal(changed("Door schedule", "Door schedule", std::string(2 << 20, 'x')));
    EXPECT_NE(reason.find("the value is longer than 1048576 bytes"), std::string::npos);
}

TEST_F(DxfHostile, BrokenStructureIsRefused) {
    // A handle used twice.
    std::string reason = refusal(changed("\nLINE\n", "  5\n", "  5\n10\n999\n"));
    EXPECT_NE(reason.find("the handle 10 is used twice (first on line"), std::string::npos)
        << reason;
    // A reference to a block the file does not define.
    reason = refusal(changed("AcDbBlockReference", "  2\nFrame\n", "  2\nNowhere\n"));
    EXPECT_NE(reason.find("INSERT of the block \"Nowhere\", which the file does not define"),
              std::string::npos)
        << reason;
    // A block that holds itself: the frame nested in the door now inserts the door.
    reason = refusal(changed("AcDbBlockBegin\n  2\nDoor\n", "  2\nFrame\n", "  2\nDoor\n"));
    EXPECT_NE(reason.find("the block \"Door\" would hold itself through nesting"),
              std::string::npos)
        << reason;
    // A block the table does not list, under a name that a NUL would cut.
    for (const std::string& bad : {std::string("D\0or", 4), std::string("\0Door", 5)}) {
        reason =
            refusal(changed("AcDbBlockBegin\n  2\nDoor\n", "  2\nDoor\n", "  2\n" + bad + "\n"));
        EXPECT_NE(reason.find("a block has a name the model refuses"), std::string::npos) << reason;
    }
    // A registered application whose name a NUL would cut to another one.
    reason = refusal(changed("\nAPPID\n", "  2\nACAD\n", std::string("  2\nACAD\0x\n", 11)));
    EXPECT_NE(reason.find("a record of the APPID table has a name the model refuses"),
              std::string::npos)
        << reason;
    // Xdata of an application the file does not register.
    reason = refusal(changed("1001\n", "OTHER^ APP", "UNKNOWN_APP"));
    EXPECT_NE(reason.find("xdata of an application the file does not register"), std::string::npos)
        << reason;
    // A parameter network that names an action no object is.
    reason = refusal(changed("100\nLmeshParameterNetwork", "360\n", "360\nFFFF\n360\n"));
    EXPECT_NE(reason.find("names the action FFFF, which no object has"), std::string::npos)
        << reason;
    // A parameter expression that would make a cycle.
    reason = refusal(changed("100\nLmeshParameter\n  1\na\n", "300\nd - 3\n", "300\nb+1\n"));
    EXPECT_NE(reason.find("is refused"), std::string::npos) << reason;
    // A property value of another kind than its property.
    reason = refusal(
        changed("100\nLmeshBlockPropertyValues", "179\n40\n 40\n1000.5\n", "179\n1\n  1\nwide\n"));
    EXPECT_NE(reason.find("the value of the property \"Width\" is not of its kind"),
              std::string::npos)
        << reason;
}

TEST_F(DxfHostile, ATableStyleRowWithoutTextStyleTakesTheCurrentOne) {
    std::string text = changed("100\nAcDbTableStyle", "  7\n", "  8\n");
    drawing::DxfReport report;
    std::wstring error;
    auto db = drawing::readDxf(text, report, error);
    ASSERT_TRUE(db) << lmhost::narrow(error);
    std::string written = drawing::writeDxf(db.get());
    EXPECT_EQ(written.find("  7\n\n"), std::string::npos) << "a text style written without name";
    auto again = drawing::readDxf(written, report, error);
    ASSERT_TRUE(again) << lmhost::narrow(error);
    EXPECT_EQ(drawing::writeDxf(again.get()), written);
}

TEST_F(DxfHostile, ADictionaryEntryNamingAnotherObjectsHandleGetsItsOwn) {
    // The table styles' dictionary entry points at an ENDBLK's handle instead of its own.
    auto handleAfter = [&](const std::string& marker) {
        size_t at = m_good.find(marker);
        EXPECT_NE(at, std::string::npos) << marker;
        at += marker.size();
        return m_good.substr(at, m_good.find('\n', at) - at);
    };
    std::string endblk = handleAfter("ENDBLK\n  5\n");
    std::string own = handleAfter("ACAD_TABLESTYLE\n350\n");
    std::string text = changed("ACAD_TABLESTYLE\n", "350\n" + own + "\n", "350\n" + endblk + "\n");
    drawing::DxfReport report;
    std::wstring error;
    auto db = drawing::readDxf(text, report, error);
    ASSERT_TRUE(db) << lmhost::narrow(error);
    std::string written = drawing::writeDxf(db.get());
    auto again = drawing::readDxf(written, report, error);
    ASSERT_TRUE(again) << lmhost::narrow(error);
    EXPECT_EQ(drawing::writeDxf(again.get()), written);
}

TEST_F(DxfHostile, BinaryXdataWithSpacesAroundReadsAsItsBytes) {
    std::string text = changed("1004\n", "00FF10\n", "00ff10  \n");
    drawing::DxfReport report;
    std::wstring error;
    auto db = drawing::readDxf(text, report, error);
    ASSERT_TRUE(db) << lmhost::narrow(error);
    EXPECT_NE(drawing::writeDxf(db.get()).find("1004\n00FF10\n"), std::string::npos);
}

TEST_F(DxfHostile, XdataHandlesWithSpacesAroundAreKeptPlain) {
    size_t at = m_good.find("1005\n");
    ASSERT_NE(at, std::string::npos);
    at += 5;
    std::string handle = m_good.substr(at, m_good.find('\n', at) - at);
    std::string text = changed("1005\n", handle + "\n", "\t 0" + handle + " \n");
    drawing::DxfReport report;
    std::wstring error;
    auto db = drawing::readDxf(text, report, error);
    ASSERT_TRUE(db) << lmhost::narrow(error);
    std::string written = drawing::writeDxf(db.get());
    EXPECT_NE(written.find("1005\n" + handle + "\n"), std::string::npos);
    EXPECT_TRUE(drawing::readDxf(written, report, error)) << lmhost::narrow(error);
}

TEST_F(DxfHostile, XdataPastTheHostsLimitIsRefusedNotCut) {
    std::string many;
    for (int i = 0; i < 70; ++i)
        many += "1000\n" + std::string(250, 'a' + i % 26) + "\n";
    std::string reason = refusal(changed("1001\nOTHER^ APP\n", "1000\n", many + "1000\n"));
    EXPECT_NE(reason.find("the object's xdata is larger than the host's limit of 16383 bytes"),
              std::string::npos)
        << reason;
}

TEST_F(DxfHostile, PathsThatAreNoDrawingFileAreRefusedWithoutWaiting) {
    drawing::DxfReport report;
    std::wstring error;
    EXPECT_FALSE(drawing::openDxfFile(lmhost::widen(m_dir.string()), report, error));
    EXPECT_EQ(error, L"it is a folder, not a drawing file");
    std::string fifo = (m_dir / "pipe.dxf").string();
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_FALSE(drawing::openDxfFile(lmhost::widen(fifo), report, error));
    EXPECT_EQ(error, L"it is not a regular file (a device, FIFO or socket)");
    EXPECT_FALSE(drawing::openDxfFile(lmhost::widen((m_dir / "none.dxf").string()), report, error));
    EXPECT_EQ(error, L"no such file or directory");
    // A file of 1 GB (sparse) is refused before it is read.
    std::string big = (m_dir / "big.dxf").string();
    int fd = ::open(big.c_str(), O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::ftruncate(fd, 1ll << 30), 0);
    ::close(fd);
    EXPECT_FALSE(drawing::openDxfFile(lmhost::widen(big), report, error));
    EXPECT_EQ(error, L"the file is 1024 MB; drawings of at most 512 MB are read");
}

// A file as a simple program writes it: no handles, no tables, entities the model does not
// keep.
TEST_F(DxfHostile, AnotherProgramsFileOpensAndCountsWhatIsNotKept) {
    std::string text = "0\nSECTION\n2\nHEADER\n9\n$ACADVER\n1\nAC1009\n0\nENDSEC\n"
                       "0\nSECTION\n2\nBLOCKS\n0\nBLOCK\n2\nBOLT\n70\n0\n10\n0\n20\n0\n30\n0\n"
                       "0\nCIRCLE\n10\n0\n20\n0\n30\n0\n40\n1\n0\nENDBLK\n0\nENDSEC\n"
                       "0\nSECTION\n2\nENTITIES\n"
                       "0\nLINE\n8\nWALLS\n10\n0\n20\n0\n30\n0\n11\n5\n21\n0\n31\n0\n"
                       "0\nCIRCLE\n10\n1\n20\n1\n30\n0\n40\n2\n"
                       "0\nINSERT\n2\nBOLT\n10\n7\n20\n8\n30\n0\n50\n90\n"
                       "0\nTEXT\n10\n0\n20\n0\n30\n0\n40\n1\n1\nhello\n"
                       "0\nENDSEC\n0\nEOF\n";
    drawing::DxfReport report;
    std::wstring error;
    auto db = drawing::readDxf(text, report, error);
    ASSERT_TRUE(db) << lmhost::narrow(error);
    EXPECT_EQ(report.notKept, (std::vector<std::wstring>{L"2 CIRCLE entities not kept",
                                                         L"1 TEXT entities not kept"}));
    std::wstring content = dxftest::describe(db.get());
    EXPECT_NE(content.find(L"AcDbLine owner"), std::wstring::npos);
    EXPECT_NE(content.find(L"\"BOLT\""), std::wstring::npos);
    EXPECT_NE(content.find(L"at 7,8,0 rotation 1.5707963267948966"), std::wstring::npos) << content;
    // Saved and opened again, it keeps what it kept.
    std::string saved = drawing::writeDxf(db.get());
    auto again = drawing::readDxf(saved, report, error);
    ASSERT_TRUE(again) << lmhost::narrow(error);
    EXPECT_TRUE(report.notKept.empty());
    EXPECT_EQ(dxftest::describe(again.get()), content);
}

} // namespace
