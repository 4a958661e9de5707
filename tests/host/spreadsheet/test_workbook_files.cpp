// The workbook's file on disk: read once, replaced without loss, two editors told of each
// other, and what stands at the path (links, modes, owners, FIFOs, devices) respected.
#include "SheetTest.h"

#include "spreadsheet/WorkbookFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

using spreadsheet::CellType;
using spreadsheet::Status;
using spreadsheet::Workbook;
using testkit::XlsxBuilder;
namespace fs = std::filesystem;

namespace {

std::string contents(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

struct stat statOf(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(::lstat(path.c_str(), &st), 0) << path;
    return st;
}

// Types `typed` into A1 of the workbook's first sheet and saves, as XLSET does.
Status typeAndSave(const std::wstring& path, const std::wstring& typed) {
    Status st;
    auto book = Workbook::open(path, false, st);
    if (!book)
        return st;
    st = book->sheet(0).putTexts(1, 1, {{typed}});
    return st == Status::Ok ? book->save() : st;
}

spreadsheet::CellValue a1(const std::wstring& path) {
    Status st;
    auto book = Workbook::open(path, true, st);
    EXPECT_EQ(st, Status::Ok);
    return book ? book->sheet(0).value(1, 1) : spreadsheet::CellValue{};
}

std::vector<std::string> folder(const sheettest::TempDir& dir) {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(fs::path(dir.file(""))))
        names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

TEST(WorkbookFile, TextsThatLookLikeEscapesReadBackAsTyped) {
    sheettest::TempDir dir;
    XlsxBuilder().number("A1", 1).write(dir.file("book.xlsx"));
    const std::wstring texts[] = {L"_x0041_", L"a_x005F_b", L"bell\x07 and nul\x01",
                                  L"_x00_ and _xZZZZ_"};
    for (const std::wstring& typed : texts) {
        SCOPED_TRACE(std::string(typed.begin(), typed.end()));
        ASSERT_EQ(typeAndSave(dir.wfile("book.xlsx"), typed), Status::Ok);
        auto v = a1(dir.wfile("book.xlsx"));
        EXPECT_EQ(v.type, CellType::String);
        EXPECT_EQ(v.string, typed);
    }
}

TEST(WorkbookFile, OpenReadsOneFileWhileOthersReplaceIt) {
    sheettest::TempDir dir;
    // Two versions of very different sizes: a size taken from one and bytes read from the
    // other would show as a damaged or half-read file.
    XlsxBuilder small, large;
    small.number("A1", 1);
    large.number("A1", 2).part("xl/media/padding.bin", std::string(300000, 'p'));
    small.write(dir.file("small.xlsx"));
    large.write(dir.file("large.xlsx"));
    std::atomic<bool> stop{false};
    std::thread saver([&] {
        for (int i = 0; !stop; ++i) {
            std::string next = dir.file("next.xlsx");
            fs::copy_file(dir.file(i % 2 ? "small.xlsx" : "large.xlsx"), next,
                          fs::copy_options::overwrite_existing);
            fs::rename(next, dir.file("book.xlsx"));
        }
    });
    while (!fs::exists(dir.file("book.xlsx")))
        std::this_thread::yield();
    int bad = 0;
    for (int i = 0; i < 300; ++i) {
        Status st;
        auto book = Workbook::open(dir.wfile("book.xlsx"), true, st);
        double v = book ? book->sheet(0).value(1, 1).number : 0;
        if (st != Status::Ok || (v != 1 && v != 2))
            ++bad;
    }
    stop = true;
    saver.join();
    EXPECT_EQ(bad, 0);
}

TEST(WorkbookFile, SavesLeaveNoTemporaryFilesAndIgnoreOldOnes) {
    sheettest::TempDir dir;
    XlsxBuilder().number("A1", 1).write(dir.file("book.xlsx"));
    // The temporary name of earlier versions, planted as a link to another file.
    fs::create_symlink(dir.file("victim.txt"), dir.file("book.xlsx.lmsave~"));
    ASSERT_EQ(typeAndSave(dir.wfile("book.xlsx"), L"2"), Status::Ok);
    EXPECT_EQ(a1(dir.wfile("book.xlsx")).number, 2);
    EXPECT_FALSE(fs::exists(dir.file("victim.txt")));
    EXPECT_EQ(folder(dir), (std::vector<std::string>{"book.xlsx", "book.xlsx.lmsave~"}));
}

// Two editors of one workbook: the second learns of the first from its owner file and
// nothing either of them saved is lost.
TEST(WorkbookFile, TheOwnerFileTellsASecondEditor) {
    sheettest::TempDir dir;
    XlsxBuilder().number("A1", 1).write(dir.file("book.xlsx"));
    Status st;
    auto first = Workbook::open(dir.wfile("book.xlsx"), false, st);
    ASSERT_EQ(st, Status::Ok);
    EXPECT_TRUE(fs::exists(dir.file("~$book.xlsx")));
    EXPECT_FALSE(Workbook::lockHolder(dir.wfile("book.xlsx")).empty());

    EXPECT_EQ(Workbook::open(dir.wfile("book.xlsx"), false, st), nullptr);
    EXPECT_EQ(st, Status::Locked);
    EXPECT_EQ(typeAndSave(dir.wfile("book.xlsx"), L"3"), Status::Locked);
    // Readers are not held up.
    EXPECT_EQ(a1(dir.wfile("book.xlsx")).number, 1);

    ASSERT_EQ(first->sheet(0).putTexts(1, 1, {{L"2"}}), Status::Ok);
    ASSERT_EQ(first->save(), Status::Ok);
    first.reset();
    EXPECT_FALSE(fs::exists(dir.file("~$book.xlsx")));
    EXPECT_EQ(Workbook::lockHolder(dir.wfile("book.xlsx")), L"");
    ASSERT_EQ(typeAndSave(dir.wfile("book.xlsx"), L"3"), Status::Ok);
    EXPECT_EQ(a1(dir.wfile("book.xlsx")).number, 3);
}

TEST(WorkbookFile, AStaleOwnerFileIsTakenOver) {
    sheettest::TempDir dir;
    XlsxBuilder().number("A1", 1).write(dir.file("book.xlsx"));
    std::ofstream(dir.file("~$book.xlsx")) << "someone who crashed\n";
    EXPECT_EQ(Workbook::lockHolder(dir.wfile("book.xlsx")), L"");
    ASSERT_EQ(typeAndSave(dir.wfile("book.xlsx"), L"2"), Status::Ok);
    EXPECT_EQ(a1(dir.wfile("book.xlsx")).number, 2);
    EXPECT_FALSE(fs::exists(dir.file("~$book.xlsx")));
}

TEST(WorkbookFile, SaveAsTakesTheNewFilesOwnerFile) {
    sheettest::TempDir dir;
    XlsxBuilder().number("A1", 1).write(dir.file("book.xlsx"));
    XlsxBuilder().number("A1", 9).write(dir.file("other.xlsx"));
    Status st;
    auto editor = Workbook::open(dir.wfile("other.xlsx"), false, st);
    ASSERT_TRUE(editor);
    auto book = Workbook::open(dir.wfile("book.xlsx"), true, st);
    ASSERT_TRUE(book);
    EXPECT_EQ(book->saveAs(dir.wfile("other.xlsx")), Status::Locked);
    EXPECT_EQ(a1(dir.wfile("other.xlsx")).number, 9);
    ASSERT_EQ(book->saveAs(dir.wfile("copy.xlsx")), Status::Ok);
    EXPECT_EQ(Workbook::open(dir.wfile("copy.xlsx"), false, st), nullptr);
    EXPECT_EQ(st, Status::Locked);
}

// Someone who does not use owner files saves between our open and our save: our save
// would wipe out their work, so it is refused and their file stays.
TEST(WorkbookFile, AFileChangedSinceItWasOpenedIsNotSavedOver) {
    sheettest::TempDir dir;
    XlsxBuilder().number("A1", 1).write(dir.file("book.xlsx"));
    Status st;
    auto book = Workbook::open(dir.wfile("book.xlsx"), false, st);
    ASSERT_TRUE(book);
    XlsxBuilder().number("A1", 7).write(dir.file("theirs.xlsx"));
    fs::rename(dir.file("theirs.xlsx"), dir.file("book.xlsx"));
    ASSERT_EQ(book->sheet(0).putTexts(1, 1, {{L"2"}}), Status::Ok);
    EXPECT_EQ(book->save(), Status::ChangedOnDisk);
    EXPECT_EQ(a1(dir.wfile("book.xlsx")).number, 7);
}

TEST(WorkbookFile, SavingKeepsModeAndOwner) {
    sheettest::TempDir dir;
    std::string path = dir.file("book.xlsx");
    XlsxBuilder().number("A1", 1).write(path);
    ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
    ASSERT_EQ(typeAndSave(dir.wfile("book.xlsx"), L"2"), Status::Ok);
    EXPECT_EQ(statOf(path).st_mode & 07777, 0600u);
    ASSERT_EQ(::chmod(path.c_str(), 0664), 0);
    ASSERT_EQ(typeAndSave(dir.wfile("book.xlsx"), L"3"), Status::Ok);
    EXPECT_EQ(statOf(path).st_mode & 07777, 0664u);
    EXPECT_EQ(a1(dir.wfile("book.xlsx")).number, 3);
    if (::geteuid() != 0)
        GTEST_SKIP() << "giving a file to another owner needs root";
    ASSERT_EQ(::chown(path.c_str(), 4321, 4322), 0);
    ASSERT_EQ(typeAndSave(dir.wfile("book.xlsx"), L"4"), Status::Ok);
    EXPECT_EQ(statOf(path).st_uid, 4321u);
    EXPECT_EQ(statOf(path).st_gid, 4322u);
    EXPECT_EQ(a1(dir.wfile("book.xlsx")).number, 4);
}

TEST(WorkbookFile, AReadOnlyFileIsRefusedAndUntouched) {
    sheettest::TempDir dir;
    std::string path = dir.file("book.xlsx");
    XlsxBuilder().number("A1", 1).write(path);
    ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
    std::string before = contents(path);
    // Refused even where the permissions would let an administrator write.
    EXPECT_EQ(typeAndSave(dir.wfile("book.xlsx"), L"2"), Status::FileReadOnly);
    auto copy = Workbook::create();
    EXPECT_EQ(copy->saveAs(dir.wfile("book.xlsx")), Status::FileReadOnly);
    EXPECT_EQ(contents(path), before);
    EXPECT_EQ(statOf(path).st_mode & 07777, 0444u);
    EXPECT_EQ(folder(dir), (std::vector<std::string>{"book.xlsx"}));
}

TEST(WorkbookFile, LinksAreWrittenThrough) {
    sheettest::TempDir dir;
    fs::create_directories(dir.file("real"));
    std::string real = dir.file("real/book.xlsx");
    XlsxBuilder().number("A1", 1).write(real);
    fs::create_symlink("real/book.xlsx", dir.file("link.xlsx"));
    ASSERT_EQ(typeAndSave(dir.wfile("link.xlsx"), L"2"), Status::Ok);
    EXPECT_TRUE(fs::is_symlink(dir.file("link.xlsx")));
    EXPECT_EQ(a1(dir.wfile("real/book.xlsx")).number, 2);
    // A hard link stays one file under two names.
    ASSERT_EQ(::link(real.c_str(), dir.file("hard.xlsx").c_str()), 0);
    ASSERT_EQ(typeAndSave(dir.wfile("hard.xlsx"), L"3"), Status::Ok);
    EXPECT_EQ(statOf(real).st_ino, statOf(dir.file("hard.xlsx")).st_ino);
    EXPECT_EQ(statOf(real).st_nlink, 2u);
    EXPECT_EQ(a1(dir.wfile("real/book.xlsx")).number, 3);
    // Save As onto a link writes to its target as well.
    auto book = Workbook::create();
    book->sheet(0).putTexts(1, 1, {{L"4"}});
    ASSERT_EQ(book->saveAs(dir.wfile("link.xlsx")), Status::Ok);
    EXPECT_TRUE(fs::is_symlink(dir.file("link.xlsx")));
    EXPECT_EQ(a1(dir.wfile("hard.xlsx")).number, 4);
}

TEST(WorkbookFile, OnlyRegularFilesAreReadOrSavedOver) {
    sheettest::TempDir dir;
    std::string fifo = dir.file("pipe.xlsx");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0644), 0);
    Status st;
    // Neither hangs on the FIFO nor replaces it.
    EXPECT_EQ(Workbook::open(dir.wfile("pipe.xlsx"), true, st), nullptr);
    EXPECT_EQ(st, Status::FileNotFound);
    auto book = Workbook::create();
    EXPECT_EQ(book->saveAs(dir.wfile("pipe.xlsx")), Status::NotAFile);
    EXPECT_TRUE(fs::is_fifo(fifo));
    EXPECT_EQ(book->saveAs(L"/dev/null"), Status::NotAFile);
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    fs::create_directories(dir.file("folder.xlsx"));
    EXPECT_EQ(book->saveAs(dir.wfile("folder.xlsx")), Status::NotAFile);
    EXPECT_TRUE(fs::is_directory(dir.file("folder.xlsx")));
    fs::create_symlink("loop.xlsx", dir.file("loop.xlsx"));
    EXPECT_EQ(book->saveAs(dir.wfile("loop.xlsx")), Status::NotAFile);
    EXPECT_FALSE(book->hasFile());
}

TEST(WorkbookFile, AFileTooLargeIsRefusedByWhatIsRead) {
    sheettest::TempDir dir;
    XlsxBuilder().number("A1", 1).write(dir.file("book.xlsx"));
    spreadsheet::Limits limits;
    limits.maxFileBytes = 100;
    Status st;
    EXPECT_EQ(Workbook::open(dir.wfile("book.xlsx"), true, st, limits), nullptr);
    EXPECT_EQ(st, Status::TooLarge);
}

// Part names compare ignoring case: an edit goes back into the entry it was read from.
TEST(WorkbookFile, AnEditGoesToTheEntryThatWasRead) {
    sheettest::TempDir dir;
    auto parts = XlsxBuilder().number("A1", 1).parts();
    std::size_t sheets = 0;
    for (auto& [name, data] : parts)
        if (name == "xl/worksheets/sheet1.xml") {
            name = "XL/Worksheets/Sheet1.XML";
            ++sheets;
        }
    ASSERT_EQ(sheets, 1u);
    std::ofstream(dir.file("book.xlsx"), std::ios::binary) << XlsxBuilder::zip(parts);
    ASSERT_EQ(typeAndSave(dir.wfile("book.xlsx"), L"2"), Status::Ok);
    EXPECT_EQ(a1(dir.wfile("book.xlsx")).number, 2);
    std::string saved = contents(dir.file("book.xlsx"));
    EXPECT_NE(saved.find("XL/Worksheets/Sheet1.XML"), std::string::npos);
    EXPECT_EQ(saved.find("xl/worksheets/sheet1.xml"), std::string::npos);
}
