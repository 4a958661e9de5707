// Fuzzes the workbook reader: the input is a whole file, or one part of a good package.
#include "spreadsheet/Package.h"
#include "spreadsheet/Workbook.h"

#include <cstddef>
#include <cstdint>
#include <string>

using namespace spreadsheet;

namespace {

const char* const kRels =
    R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)"
    R"(<Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument" Target="xl/workbook.xml"/>)"
    R"(</Relationships>)";
const char* const kWorkbook =
    R"(<workbook xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships">)"
    R"(<bookViews><workbookView activeTab="0"/></bookViews>)"
    R"(<sheets><sheet name="S" sheetId="1" r:id="rId1"/></sheets>)"
    R"(<definedNames><definedName name="N">S!$A$1:$C$3</definedName></definedNames></workbook>)";
const char* const kWorkbookRels =
    R"(<Relationships>)"
    R"(<Relationship Id="rId1" Type="x/worksheet" Target="worksheets/sheet1.xml"/>)"
    R"(<Relationship Id="rId2" Type="x/styles" Target="styles.xml"/>)"
    R"(<Relationship Id="rId3" Type="x/sharedStrings" Target="sharedStrings.xml"/>)"
    R"(</Relationships>)";
const char* const kStyles =
    R"(<styleSheet><numFmts><numFmt numFmtId="164" formatCode="#,##0.00;[Red](0.0);&quot;z&quot;;@"/>)"
    R"(<numFmt numFmtId="165" formatCode="[h]:mm:ss.00 AM/PM"/></numFmts><cellXfs><xf numFmtId="0"/>)"
    R"(<xf numFmtId="164"/><xf numFmtId="165"/><xf numFmtId="14"/><xf numFmtId="13"/></cellXfs></styleSheet>)";
const char* const kStrings = R"(<sst><si><t>a</t></si><si><r><t>b</t></r></si></sst>)";
const char* const kSheet =
    R"(<worksheet><cols><col min="1" max="2" width="3"/></cols><sheetData><row r="1">)"
    R"(<c r="A1" s="1"><v>-1234.5</v></c><c r="B1" s="2"><v>1.75</v></c><c r="C1" t="s"><v>1</v></c>)"
    R"(<c r="D1" s="3"><v>45000</v></c><c r="E1" s="4"><v>3.3</v></c></row></sheetData></worksheet>)";

// Selector 5: the input is a formula, in a cell of its own, shared down a column and in a
// defined name; reading the cells calculates them.
std::string formulaSheet(const std::string& formula) {
    std::string f;
    for (char c : formula)
        f += c == '<' ? "&lt;" : c == '&' ? "&amp;" : c == '>' ? "&gt;" : std::string(1, c);
    return R"(<worksheet><sheetData><row r="1"><c r="A1"><v>2</v></c><c r="B1"><f>)" + f +
           R"(</f></c><c r="C1"><f t="shared" ref="C1:C3" si="0">)" + f +
           R"(</f><v>1</v></c></row><row r="2"><c r="A2" t="s"><v>0</v></c>)"
           R"(<c r="C2"><f t="shared" si="0"/></c><c r="D2"><f>N+B1</f></c></row>)"
           R"(<row r="3"><c r="C3"><f t="shared" si="0"/></c></row></sheetData></worksheet>)";
}

std::string package(int which, const std::string& content) {
    return buildZip({{"_rels/.rels", kRels},
                     {"xl/workbook.xml", which == 1 ? content : kWorkbook},
                     {"xl/_rels/workbook.xml.rels", kWorkbookRels},
                     {"xl/styles.xml", which == 2 ? content : kStyles},
                     {"xl/sharedStrings.xml", which == 3 ? content : kStrings},
                     {"xl/worksheets/sheet1.xml", which == 4 ? content : kSheet}});
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1)
        return 0;
    int which = data[0] % 6;
    std::string content(reinterpret_cast<const char*>(data) + 1, size - 1);
    std::string bytes = which == 0   ? content
                        : which == 5 ? package(4, formulaSheet(content))
                                     : package(which, content);

    Limits limits;
    limits.maxPartBytes = 8 << 20;
    limits.maxTotalBytes = 32 << 20;
    limits.maxSharedStrings = 100000;
    limits.maxSheets = 64;
    limits.maxXmlNodes = 100000;
    Status st;
    auto book = Workbook::openBytes(std::move(bytes), L"fuzz.xlsx", false, st, limits);
    if (!book)
        return 0;
    for (std::size_t i = 0; i < book->sheetCount(); ++i) {
        Worksheet& sheet = book->sheet(i);
        // First a few cells row by row, then the whole sheet.
        for (int r = 1; r <= 6; ++r)
            for (int c = 1; c <= 6; ++c)
                (void)sheet.text(r, c);
        (void)sheet.loadAll();
        std::size_t n = 0;
        for (const CellRef& c : sheet.cells()) {
            (void)sheet.text(c.row, c.col);
            if (++n > 20000)
                break;
        }
        (void)sheet.usedRange();
        (void)sheet.activeCell();
        (void)sheet.mayBeStale(1, 2);
    }
    for (const auto& name : book->names())
        if (name.sheet >= 0)
            (void)book->sheet(std::size_t(name.sheet))
                .text(name.range.first.row, name.range.first.col);
    // Writing must cope with whatever was read: typed forms that add number formats meet
    // whatever styles part the file has.
    Worksheet& first = book->sheet(0);
    if (first.putTexts(1, 1, {{L"1.5", L"x", L"12%", L"2024-03-15", L"$1,200", L"1e3"}}) ==
        Status::Ok)
        first.autoFitColumns(1, 4);
    return 0;
}
