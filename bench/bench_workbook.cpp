// Reading a few cells of a big workbook against the floor of only inflating its parts.
#include "spreadsheet/Package.h"
#include "spreadsheet/Workbook.h"
#include "testkit/XlsxBuilder.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <random>
#include <string>

namespace {

constexpr int kRows = 60000;
constexpr int kCols = 20;

// A workbook whose sheet XML is about 50 MB: numbers in several formats and shared strings.
const std::string& bigWorkbook() {
    static const std::string bytes = [] {
        testkit::XlsxBuilder b;
        int money = b.format(L"#,##0.00");
        int date = b.builtin(14);
        int pct = b.format(L"0.0%");
        for (int i = 0; i < 500; ++i) {
            std::string ref(1, 'A');
            ref += std::to_string(i + 1);
            b.text(ref, L"label " + std::to_wstring(i));
        }
        std::string xml;
        xml.reserve(std::size_t(kRows) * kCols * 44);
        xml += "<worksheet xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\">"
               "<sheetData>";
        char cell[128];
        for (int r = 1; r <= kRows; ++r) {
            xml += "<row r=\"" + std::to_string(r) + "\">";
            for (int c = 0; c < kCols; ++c) {
                std::string ref = std::string(1, char('A' + c)) + std::to_string(r);
                int kind = (r + c) % 4;
                if (kind == 0)
                    std::snprintf(cell, sizeof cell, "<c r=\"%s\" t=\"s\"><v>%d</v></c>",
                                  ref.c_str(), (r * 7 + c) % 500);
                else
                    std::snprintf(cell, sizeof cell, "<c r=\"%s\" s=\"%d\"><v>%.6f</v></c>",
                                  ref.c_str(),
                                  kind == 1   ? money
                                  : kind == 2 ? date
                                              : pct,
                                  kind == 2 ? 40000 + r % 5000 : r * 1.37 + c / 7.0);
                xml += cell;
            }
            xml += "</row>";
        }
        xml += "</sheetData></worksheet>";
        b.part("xl/worksheets/sheet1.xml", xml);
        return b.bytes();
    }();
    return bytes;
}

void BM_InflateAllParts(benchmark::State& state) {
    const std::string& bytes = bigWorkbook();
    std::size_t total = 0;
    for (auto _ : state) {
        spreadsheet::Package pkg;
        if (pkg.open(bytes, spreadsheet::Limits{}) != spreadsheet::Status::Ok) {
            state.SkipWithError("open failed");
            break;
        }
        total = 0;
        for (const auto& name : pkg.entries()) {
            std::string out;
            pkg.read(name, out);
            total += out.size();
        }
        benchmark::DoNotOptimize(total);
    }
    state.counters["inflated_MB"] = double(total) / (1 << 20);
}
BENCHMARK(BM_InflateAllParts)->Unit(benchmark::kMillisecond);

void BM_Text1000ScatteredCells(benchmark::State& state) {
    const std::string& bytes = bigWorkbook();
    std::mt19937 rng(42);
    std::vector<std::pair<int, int>> cells;
    for (int i = 0; i < 1000; ++i)
        cells.emplace_back(int(rng() % kRows) + 1, int(rng() % kCols) + 1);
    for (auto _ : state) {
        spreadsheet::Status st;
        auto book = spreadsheet::Workbook::openBytes(bytes, L"big.xlsx", true, st);
        if (!book) {
            state.SkipWithError("open failed");
            break;
        }
        std::size_t chars = 0;
        for (auto [r, c] : cells)
            chars += book->sheet(0).text(r, c).size();
        benchmark::DoNotOptimize(chars);
    }
}
BENCHMARK(BM_Text1000ScatteredCells)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
