// Calculating formulas: a sheet of 100,000 formulas calculated on open, and 10,000 formulas
// recalculated after one typed cell, against reading the same sheet without calculating.
#include "spreadsheet/Calculation.h"
#include "spreadsheet/Workbook.h"
#include "testkit/XlsxBuilder.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

constexpr int kRows = 100000;
constexpr int kDependents = 10000;

// Column A holds numbers; each B refers to cells above it: B(r) = A(r)+B(r-1)*0.5-A(r-1).
// Without results (as a library writes it) the sheet is calculated when read; with them,
// it is read as it is.
std::string sheetOfFormulas(bool withResults) {
    std::string xml = "<worksheet xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/"
                      "main\"><sheetData>";
    xml.reserve(std::size_t(kRows) * 90);
    double b = 0;
    for (int r = 1; r <= kRows; ++r) {
        std::string row = std::to_string(r), above = std::to_string(r - 1);
        double a = r % 97;
        b = r == 1 ? a : a + b * 0.5 - double((r - 1) % 97);
        xml += "<row r=\"" + row + "\"><c r=\"A" + row + "\"><v>" + std::to_string(int(a)) +
               "</v></c><c r=\"B" + row + "\"><f>";
        xml += r == 1 ? "A1" : "A" + row + "+B" + above + "*0.5-A" + above;
        xml += "</f>";
        if (withResults)
            xml += "<v>" + std::to_string(b) + "</v>";
        xml += "</c></row>";
    }
    return xml + "</sheetData></worksheet>";
}

const std::string& workbook(bool withResults) {
    static const std::string with = [] {
        testkit::XlsxBuilder b;
        b.sheet(L"S").part("xl/worksheets/sheet1.xml", sheetOfFormulas(true));
        return b.bytes();
    }();
    static const std::string without = [] {
        testkit::XlsxBuilder b;
        b.sheet(L"S").part("xl/worksheets/sheet1.xml", sheetOfFormulas(false));
        return b.bytes();
    }();
    return withResults ? with : without;
}

// The floor: open, parse the whole sheet and read its last cell as the file has it.
void BM_ReadWithoutCalculation(benchmark::State& state) {
    workbook(true); // written once, outside the timing
    for (auto _ : state) {
        spreadsheet::Status st;
        auto book = spreadsheet::Workbook::openBytes(workbook(true), L"f.xlsx", true, st);
        book->sheet(0).loadAll();
        benchmark::DoNotOptimize(book->sheet(0).value(kRows, 2));
    }
}
BENCHMARK(BM_ReadWithoutCalculation)->Unit(benchmark::kMillisecond);

// Open the sheet without results and read its last cell: all 100,000 formulas are
// calculated, each after the ones above it.
void BM_CalculateOnOpen(benchmark::State& state) {
    workbook(false);
    for (auto _ : state) {
        spreadsheet::Status st;
        auto book = spreadsheet::Workbook::openBytes(workbook(false), L"f.xlsx", true, st);
        benchmark::DoNotOptimize(book->sheet(0).value(kRows, 2));
    }
}
BENCHMARK(BM_CalculateOnOpen)->Unit(benchmark::kMillisecond);

// 10,000 formulas read one cell ($D$1) among 100,000 others; the cell is typed again and
// again. Opening and the first calculation are outside the timing.
void BM_RecalculateAfterOneTypedCell(benchmark::State& state) {
    std::string xml = sheetOfFormulas(true);
    testkit::XlsxBuilder b;
    // The dependents sit in column C of the first 10,000 rows.
    std::string sheet;
    sheet.reserve(xml.size() + std::size_t(kDependents) * 40);
    std::size_t pos = 0;
    int r = 1;
    for (;;) {
        std::size_t end = xml.find("</row>", pos);
        if (end == std::string::npos)
            break;
        sheet.append(xml, pos, end - pos);
        if (r <= kDependents)
            sheet += "<c r=\"C" + std::to_string(r) + "\"><f>$D$1*A" + std::to_string(r) +
                     "</f><v>0</v></c>";
        if (r == 1)
            sheet += "<c r=\"D1\"><v>1</v></c>";
        sheet += "</row>";
        pos = end + 6;
        ++r;
    }
    sheet.append(xml, pos, std::string::npos);
    b.sheet(L"S").part("xl/worksheets/sheet1.xml", sheet);
    spreadsheet::Status st;
    auto book = spreadsheet::Workbook::openBytes(b.bytes(), L"f.xlsx", false, st);
    auto& s = book->sheet(0);
    s.putTexts(1, 4, {{L"2"}});
    int typed = 3;
    for (auto _ : state) {
        s.putTexts(1, 4, {{std::to_wstring(typed++)}});
        benchmark::DoNotOptimize(s.storedValue(kDependents, 3));
    }
    state.counters["recalculated"] = double(book->calculation().recalculated().size());
}
BENCHMARK(BM_RecalculateAfterOneTypedCell)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
