// Hostile and damaged files: each fails with a clear status, never a crash or a hang.
#include "SheetTest.h"

#include <cstdint>

using spreadsheet::Limits;
using spreadsheet::Status;
using spreadsheet::Workbook;
using testkit::XlsxBuilder;

namespace {

Status openStatus(const std::string& bytes, const Limits& limits = {}) {
    Status st = Status::Ok;
    auto book = Workbook::openBytes(bytes, L"bad.xlsx", true, st, limits);
    EXPECT_EQ(book == nullptr, st != Status::Ok);
    return st;
}

// Status of loading the first sheet of an otherwise good workbook.
Status sheetStatus(const std::string& sheetXml, const Limits& limits = {}) {
    XlsxBuilder b;
    b.number("A1", 1).part("xl/worksheets/sheet1.xml", sheetXml);
    Status st;
    auto book = sheettest::openBytes(b, &st, limits);
    if (!book)
        return st;
    return book->sheet(0).loadAll();
}

std::string sheetWith(const std::string& rows) {
    return "<worksheet xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\">"
           "<sheetData>" +
           rows + "</sheetData></worksheet>";
}

} // namespace

TEST(BadFiles, NotAZip) {
    EXPECT_EQ(openStatus(""), Status::NotAZip);
    EXPECT_EQ(openStatus("hello, this is plain text and no workbook at all"), Status::NotAZip);
    std::string truncated = XlsxBuilder().bytes();
    truncated.resize(truncated.size() / 2);
    EXPECT_EQ(openStatus(truncated), Status::NotAZip);
}

TEST(BadFiles, ZipWithoutWorkbookParts) {
    EXPECT_EQ(openStatus(XlsxBuilder::zip({{"readme.txt", "nothing here"}})), Status::MissingPart);
    EXPECT_EQ(openStatus(XlsxBuilder().omit("xl/worksheets/sheet1.xml").bytes()),
              Status::MissingPart);
    EXPECT_EQ(openStatus(XlsxBuilder()
                             .part("xl/workbook.xml",
                                   "<workbook xmlns=\"http://schemas.openxmlformats.org/"
                                   "spreadsheetml/2006/main\"><sheets/></workbook>")
                             .bytes()),
              Status::MissingPart);
}

TEST(BadFiles, BrokenXml) {
    EXPECT_EQ(openStatus(XlsxBuilder().part("xl/workbook.xml", "<workbook><sheets>").bytes()),
              Status::BadXml);
    EXPECT_EQ(openStatus(XlsxBuilder().part("xl/sharedStrings.xml", "<sst><si><t>x</si>").bytes()),
              Status::BadXml);
    EXPECT_EQ(openStatus(XlsxBuilder().part("xl/styles.xml", "").bytes()), Status::BadXml);
    EXPECT_EQ(openStatus(XlsxBuilder().part("xl/workbook.xml", "<notAWorkbook/>").bytes()),
              Status::BadXml);
    EXPECT_EQ(sheetStatus("<worksheet><sheetData><row></worksheet>"), Status::BadXml);
}

TEST(BadFiles, EntityTricksAreRefused) {
    const std::string laughs =
        "<?xml version=\"1.0\"?><!DOCTYPE lolz [<!ENTITY lol \"lol\">"
        "<!ENTITY lol2 \"&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;\">]>"
        "<sst><si><t>&lol2;</t></si></sst>";
    EXPECT_EQ(openStatus(XlsxBuilder().part("xl/sharedStrings.xml", laughs).bytes()),
              Status::DtdForbidden);
    const std::string external =
        "<?xml version=\"1.0\"?><!DOCTYPE w [<!ENTITY xxe SYSTEM \"file:///etc/passwd\">]>"
        "<worksheet><sheetData><row r=\"1\"><c r=\"A1\" t=\"inlineStr\"><is><t>&xxe;</t></is>"
        "</c></row></sheetData></worksheet>";
    EXPECT_EQ(sheetStatus(external), Status::DtdForbidden);
}

TEST(BadFiles, ZipBombsStopAtTheInflatedSizeCap) {
    Limits limits;
    limits.maxPartBytes = 1 << 20;
    std::string huge = sheetWith(std::string(8 << 20, ' ')); // deflates to a few KB
    EXPECT_EQ(sheetStatus(huge, limits), Status::TooLarge);
    // The total over all parts is capped as well.
    Limits total;
    total.maxTotalBytes = 4 << 10;
    XlsxBuilder b;
    for (int i = 0; i < 200; ++i)
        b.text("A" + std::to_string(i + 1), std::wstring(40, L'x') + std::to_wstring(i));
    EXPECT_EQ(openStatus(b.bytes(), total), Status::TooLarge);
}

TEST(BadFiles, ASizeHeaderThatLiesDoesNotFoolTheCap) {
    Limits limits;
    limits.maxPartBytes = 1 << 20;
    XlsxBuilder b;
    b.part("xl/worksheets/sheet1.xml", sheetWith(std::string(4 << 20, ' ')));
    std::string bytes = b.bytes();
    // Rewrite the declared uncompressed size of that entry to 100 bytes, in the local
    // header (offset 22) and in the central directory (offset 24).
    const std::string name = "xl/worksheets/sheet1.xml";
    for (std::size_t at = bytes.find(name); at != std::string::npos;
         at = bytes.find(name, at + 1)) {
        std::size_t header = std::string::npos;
        if (at >= 30 && bytes.compare(at - 30, 4, "PK\x03\x04") == 0)
            header = at - 30 + 22;
        else if (at >= 46 && bytes.compare(at - 46, 4, "PK\x01\x02") == 0)
            header = at - 46 + 24;
        if (header != std::string::npos)
            bytes.replace(header, 4, std::string("\x64\0\0\0", 4));
    }
    Status st;
    auto book = Workbook::openBytes(bytes, L"liar.xlsx", true, st, limits);
    ASSERT_TRUE(book);
    Status load = book->sheet(0).load();
    EXPECT_NE(load, Status::Ok);
    EXPECT_EQ(book->sheet(0).text(1, 1), L"");
}

namespace {

// The workbook's bytes with `change` applied to the sheet part's entry: given the offset of
// its local header and of its central directory record.
template <class Change>
std::string withSheetEntryChanged(const std::string& sheetXml, Change change) {
    XlsxBuilder b;
    b.number("A1", 1).part("xl/worksheets/sheet1.xml", sheetXml);
    std::string bytes = b.bytes();
    const std::string name = "xl/worksheets/sheet1.xml";
    std::size_t local = std::string::npos, central = std::string::npos;
    for (std::size_t at = bytes.find(name); at != std::string::npos;
         at = bytes.find(name, at + 1)) {
        if (at >= 30 && bytes.compare(at - 30, 4, "PK\x03\x04") == 0)
            local = at - 30;
        else if (at >= 46 && bytes.compare(at - 46, 4, "PK\x01\x02") == 0)
            central = at - 46;
    }
    EXPECT_NE(local, std::string::npos);
    EXPECT_NE(central, std::string::npos);
    change(bytes, local, central);
    return bytes;
}

Status sheetLoad(const std::string& bytes) {
    Status st;
    auto book = Workbook::openBytes(bytes, L"damaged.xlsx", true, st);
    EXPECT_TRUE(book);
    return book ? book->sheet(0).load() : st;
}

} // namespace

// A sheet whose deflated bytes are damaged, or whose check sum does not match, is no zip
// that can be read: found when the sheet is first touched.
TEST(BadFiles, DamagedDeflateDataOrCheckSumIsNotAZip) {
    std::string rows;
    for (int r = 1; r <= 3000; ++r)
        rows += "<row r=\"" + std::to_string(r) + "\"><c r=\"A" + std::to_string(r) + "\"><v>" +
                std::to_string(r * 37 % 1001) + "</v></c></row>";
    const std::string xml = sheetWith(rows);
    EXPECT_EQ(sheetLoad(withSheetEntryChanged(xml, [](std::string&, std::size_t, std::size_t) {})),
              Status::Ok);
    auto dataOf = [](const std::string& bytes, std::size_t local) {
        auto u16 = [&](std::size_t at) {
            return std::size_t(std::uint8_t(bytes[at])) | std::size_t(std::uint8_t(bytes[at + 1]))
                                                              << 8;
        };
        return local + 30 + u16(local + 26) + u16(local + 28);
    };
    // Bytes in the middle of the stream: an invalid code or a wrong check sum, never a crash.
    for (std::size_t offset : {8u, 100u, 400u})
        EXPECT_EQ(sheetLoad(withSheetEntryChanged(
                      xml, [&](std::string& bytes, std::size_t local,
                               std::size_t) { bytes[dataOf(bytes, local) + offset] ^= 0x5a; })),
                  Status::NotAZip)
            << offset;
    // The stream intact, the check sum of both headers one bit off.
    EXPECT_EQ(sheetLoad(withSheetEntryChanged(
                  xml,
                  [](std::string& bytes, std::size_t local, std::size_t central) {
                      bytes[local + 14] ^= 1;
                      bytes[central + 16] ^= 1;
                  })),
              Status::NotAZip);
}

// The count of elements and attributes is exact at the limit, wherever the tags fall.
TEST(BadFiles, TheNodeLimitHoldsExactly) {
    Limits limits;
    limits.maxXmlNodes = 10000;
    auto styles = [&](int elements, const std::string& element) {
        std::string text = "<styleSheet>";
        for (int i = 0; i < elements; ++i)
            text += element;
        return openStatus(XlsxBuilder().part("xl/styles.xml", text + "</styleSheet>").bytes(),
                          limits);
    };
    EXPECT_EQ(styles(9999, "<x/>"), Status::Ok); // and the root: 10,000
    EXPECT_EQ(styles(10000, "<x/>"), Status::TooManyNodes);
    EXPECT_EQ(styles(4999, "<y a=\"1\"/>"), Status::Ok);
    EXPECT_EQ(styles(5000, "<y a=\"1\"/>"), Status::TooManyNodes);
    // End tags count nothing, however they fall against the blocks the count works in.
    EXPECT_EQ(styles(3333, "<zz></zz>"), Status::Ok);
    EXPECT_EQ(styles(4999, "<z>t</z><!---->"), Status::Ok);
    EXPECT_EQ(styles(5000, "<z>t</z><!---->"), Status::TooManyNodes);
}

TEST(BadFiles, AbsurdCellReferences) {
    EXPECT_EQ(sheetStatus(sheetWith("<row r=\"1\"><c r=\"XFD1\"><v>1</v></c></row>")), Status::Ok);
    EXPECT_EQ(sheetStatus(sheetWith("<row r=\"1048576\"><c r=\"A1048576\"/></row>")), Status::Ok);
    EXPECT_EQ(sheetStatus(sheetWith("<row r=\"1\"><c r=\"XFE1\"><v>1</v></c></row>")),
              Status::BadReference);
    EXPECT_EQ(sheetStatus(sheetWith("<row r=\"1048577\"><c r=\"A1048577\"/></row>")),
              Status::BadReference);
    EXPECT_EQ(sheetStatus(sheetWith("<row r=\"99999999999999\"/>")), Status::BadReference);
    EXPECT_EQ(sheetStatus(sheetWith("<row r=\"-4\"/>")), Status::BadReference);
    EXPECT_EQ(sheetStatus(sheetWith("<row r=\"2\"><c r=\"A3\"/></row>")), Status::BadReference);
    EXPECT_EQ(sheetStatus(sheetWith("<row r=\"1\"><c r=\"1A\"/></row>")), Status::BadReference);
    EXPECT_EQ(sheetStatus("<worksheet><cols><col min=\"1\" max=\"99999\" width=\"5\"/></cols>"
                          "<sheetData/></worksheet>"),
              Status::BadReference);
}

TEST(BadFiles, HugeSharedStringTables) {
    Limits limits;
    limits.maxSharedStrings = 100;
    XlsxBuilder b;
    for (int i = 0; i < 101; ++i)
        b.text("A" + std::to_string(i + 1), L"s" + std::to_wstring(i));
    EXPECT_EQ(openStatus(b.bytes(), limits), Status::TooManyStrings);
    EXPECT_EQ(spreadsheet::statusText(Status::TooManyStrings),
              L"The file is too large: its shared-string table passes the limit.");
}

TEST(BadFiles, OddButReadableCellsDoNotFailTheSheet) {
    XlsxBuilder b;
    b.part("xl/worksheets/sheet1.xml",
           sheetWith("<row r=\"1\"><c r=\"A1\" t=\"s\"><v>999</v></c>"
                     "<c r=\"B1\"><v>not a number</v></c><c r=\"C1\" s=\"77\"><v>2</v></c>"
                     "<c><v>4</v></c></row>"));
    auto book = sheettest::openBytes(b);
    ASSERT_TRUE(book);
    auto& s = book->sheet(0);
    EXPECT_EQ(s.text(1, 1), L"");
    EXPECT_EQ(s.text(1, 2), L"#VALUE!");
    EXPECT_EQ(s.text(1, 3), L"2");
    EXPECT_EQ(s.text(1, 4), L"4"); // a cell without a reference follows the previous one
}

namespace {

// A cell whose inline string nests `depth` elements: a few KB once deflated.
std::string deeplyNestedSheet(int depth) {
    std::string open, close;
    for (int i = 0; i < depth; ++i) {
        open += "<r>";
        close += "</r>";
    }
    return sheetWith("<row r=\"1\"><c r=\"A1\" t=\"inlineStr\"><is>" + open + close +
                     "</is></c><c r=\"B1\"><v>2</v></c></row>");
}

} // namespace

// Removing a node frees its children recursively, so deep trees are refused wherever a
// part is parsed: nothing is left for an edit to recurse into.
TEST(BadFiles, DeepNestingIsRefusedOnEveryPath) {
    const std::string deep = deeplyNestedSheet(200000);
    XlsxBuilder b;
    b.number("A1", 1).part("xl/worksheets/sheet1.xml", deep);
    EXPECT_LT(b.bytes().size(), 8192u);
    {
        auto book = sheettest::openBytes(b);
        ASSERT_TRUE(book);
        // A row read by itself: the sheet is refused, not shown as a half-read row.
        EXPECT_EQ(book->sheet(0).text(1, 2), L"");
        EXPECT_EQ(book->sheet(0).load(), Status::TooDeep);
        EXPECT_EQ(book->sheet(0).putTexts(1, 1, {{L"x"}}), Status::TooDeep);
    }
    {
        auto book = sheettest::openBytes(b);
        ASSERT_TRUE(book);
        EXPECT_EQ(book->sheet(0).putTexts(1, 1, {{L"x"}}), Status::TooDeep);
        EXPECT_EQ(book->sheet(0).loadAll(), Status::TooDeep);
    }
    // The same nesting in a part read at open.
    std::string strings = "<sst><si><t>a</t>";
    for (int i = 0; i < 100000; ++i)
        strings += "<r>";
    EXPECT_EQ(openStatus(XlsxBuilder().part("xl/sharedStrings.xml", strings).bytes()),
              Status::BadXml); // not even well-formed
    for (int i = 0; i < 100000; ++i)
        strings += "</r>";
    strings += "</si></sst>";
    EXPECT_EQ(openStatus(XlsxBuilder().part("xl/sharedStrings.xml", strings).bytes()),
              Status::TooDeep);
    EXPECT_EQ(spreadsheet::statusText(Status::TooDeep),
              L"The file is damaged: a part of the workbook nests its XML too deep.");
    // Ordinary nesting reads.
    EXPECT_EQ(sheetStatus(deeplyNestedSheet(40)), Status::Ok);
}

// Empty elements deflate to almost nothing; their count, not the bytes, decides what the
// parse costs, and it is known before anything is parsed.
TEST(BadFiles, PartsWithTooManyElementsAreTooLarge) {
    Limits limits;
    limits.maxXmlNodes = 10000;
    std::string empties;
    for (int i = 0; i < 20000; ++i)
        empties += "<x/>";
    EXPECT_EQ(
        sheetStatus(sheetWith("<row r=\"1\"><c r=\"A1\"><v>1</v></c></row>" + empties), limits),
        Status::TooManyNodes);
    // Attributes count as well.
    std::string attributes = "<row r=\"1\"><c r=\"A1\"";
    for (int i = 0; i < 20000; ++i)
        attributes += " a" + std::to_string(i) + "=\"\"";
    EXPECT_EQ(sheetStatus(sheetWith(attributes + "><v>1</v></c></row>"), limits),
              Status::TooManyNodes);
    EXPECT_EQ(
        openStatus(
            XlsxBuilder().part("xl/styles.xml", "<styleSheet>" + empties + "</styleSheet>").bytes(),
            limits),
        Status::TooManyNodes);
    // A row read by itself is held to the same count.
    XlsxBuilder b;
    b.number("A1", 1).part("xl/worksheets/sheet1.xml",
                           sheetWith("<row r=\"1\"><c r=\"A1\"><v>1</v>" + empties + "</c></row>"));
    auto book = sheettest::openBytes(b, nullptr, limits);
    ASSERT_TRUE(book);
    EXPECT_EQ(book->sheet(0).text(1, 1), L"");
    EXPECT_EQ(book->sheet(0).load(), Status::TooManyNodes);
    EXPECT_NE(spreadsheet::statusText(Status::TooManyNodes).find(L"too large"), std::wstring::npos);
    // A sheet of ordinary size stays well inside the default count.
    XlsxBuilder ordinary;
    for (int r = 1; r <= 2000; ++r)
        ordinary.number("A" + std::to_string(r), r).number("B" + std::to_string(r), r * 2);
    auto fine = sheettest::openBytes(ordinary);
    ASSERT_TRUE(fine);
    EXPECT_EQ(fine->sheet(0).loadAll(), Status::Ok);
}

TEST(BadFiles, PartNamesThatDifferOnlyInCaseAreDamage) {
    auto parts = XlsxBuilder().number("A1", 1).parts();
    parts.emplace_back("XL/Worksheets/Sheet1.xml", sheetWith("<row r=\"1\"><c r=\"A1\"><v>2</v>"
                                                             "</c></row>"));
    EXPECT_EQ(openStatus(XlsxBuilder::zip(parts)), Status::DuplicatePart);
}
