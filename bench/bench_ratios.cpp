// How close reading comes to its floor, as ratios measured side by side in one run:
//  - CellRatio: `linkmesh cell` of 1,000 scattered cells of a workbook of 100,000 rows x 10
//    columns (about 41 MB of sheet XML, 100,050 shared strings, three number formats), run
//    as a process, against zlib inflating the parts that command reads;
//  - UpdateRatio: the update of 10,000 parameters and 2,000 block properties over 50
//    workbooks, against reading the same cells with the spreadsheet substitute alone;
//  - LoadAll: the whole sheet parsed and indexed, in cells per second, beside the inflate.
// Everything is built here; `bench_ratios --write-workbook=DIR` writes the big workbook and
// its 1,000 addresses (cells.txt) to DIR instead, for timing the command itself.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <zip.h>
#include <zlib.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <memory>
#include <random>

#include "UpdateFixture.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;

constexpr int kBigRows = 100000;
constexpr int kBigCols = 10;
constexpr int kUniqueTexts = kBigRows; // column A: one text per row
constexpr int kCategories = 50;        // column B: a few texts again and again

// Columns: A unique text, B repeated text, C-J numbers in General, money, a date and percent.
std::string bigWorkbookBytes() {
    testkit::XlsxBuilder b;
    int money = b.format(L"#,##0.00");
    int date = b.builtin(14);
    int pct = b.format(L"0.0%");
    b.text("A1", L"placeholder"); // makes the shared-string part, replaced below
    std::string sst;
    sst.reserve(std::size_t(kUniqueTexts) * 32);
    sst += "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n<sst "
           "xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\" count=\"" +
           std::to_string(2 * kBigRows) + "\" uniqueCount=\"" +
           std::to_string(kUniqueTexts + kCategories) + "\">";
    for (int i = 0; i < kUniqueTexts; ++i)
        sst += "<si><t>Item " + std::to_string(100000 + i) + "</t></si>";
    for (int i = 0; i < kCategories; ++i)
        sst += "<si><t>Category " + std::to_string(i) + "</t></si>";
    sst += "</sst>";
    b.part("xl/sharedStrings.xml", sst);

    std::string xml;
    xml.reserve(std::size_t(kBigRows) * kBigCols * 42);
    xml += "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n<worksheet "
           "xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\"><dimension "
           "ref=\"A1:J" +
           std::to_string(kBigRows) + "\"/><sheetData>";
    char cell[160];
    for (int r = 1; r <= kBigRows; ++r) {
        xml += "<row r=\"" + std::to_string(r) + "\" spans=\"1:10\">";
        std::snprintf(cell, sizeof cell, "<c r=\"A%d\" t=\"s\"><v>%d</v></c>", r, r - 1);
        xml += cell;
        std::snprintf(cell, sizeof cell, "<c r=\"B%d\" t=\"s\"><v>%d</v></c>", r,
                      kUniqueTexts + (r * 7) % kCategories);
        xml += cell;
        for (int c = 2; c < kBigCols; ++c) {
            char column = char('A' + c);
            int style = c == 3 || c == 6 ? money : c == 5 ? date : c == 8 ? pct : 0;
            double v = c == 5 ? 40000 + r % 5000 : c == 8 ? (r % 1000) / 997.0 : r * 1.37 + c / 7.0;
            if (style)
                std::snprintf(cell, sizeof cell, "<c r=\"%c%d\" s=\"%d\"><v>%.10g</v></c>", column,
                              r, style, v);
            else
                std::snprintf(cell, sizeof cell, "<c r=\"%c%d\"><v>%.10g</v></c>", column, r, v);
            xml += cell;
        }
        xml += "</row>";
    }
    xml += "</sheetData><pageMargins left=\"0.7\" right=\"0.7\" top=\"0.75\" bottom=\"0.75\" "
           "header=\"0.3\" footer=\"0.3\"/></worksheet>";
    b.part("xl/worksheets/sheet1.xml", xml);
    return b.bytes();
}

std::vector<std::string> scatteredAddresses() {
    std::mt19937 rng(15);
    std::vector<std::string> cells;
    for (int i = 0; i < 1000; ++i) {
        int row = int(rng() % kBigRows) + 1;
        int col = int(rng() % kBigCols);
        char address[16];
        std::snprintf(address, sizeof address, "%c%d", 'A' + col, row);
        cells.emplace_back(address);
    }
    return cells;
}

// The parts a reader of one sheet inflates, deflated as the file holds them.
struct RawPart {
    std::string name;
    std::string deflated;
    std::size_t size = 0;
    bool stored = false;
};

std::vector<RawPart> partsRead(const std::string& bytes) {
    std::vector<RawPart> parts;
    zip_error_t err;
    zip_error_init(&err);
    zip_source_t* src = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &err);
    zip_t* za = src ? zip_open_from_source(src, ZIP_RDONLY, &err) : nullptr;
    zip_error_fini(&err);
    if (!za)
        std::abort();
    for (const char* name : {"_rels/.rels", "xl/workbook.xml", "xl/_rels/workbook.xml.rels",
                             "xl/sharedStrings.xml", "xl/styles.xml", "xl/worksheets/sheet1.xml"}) {
        zip_int64_t index = zip_name_locate(za, name, 0);
        zip_stat_t st;
        if (index < 0 || zip_stat_index(za, zip_uint64_t(index), 0, &st) != 0)
            std::abort();
        RawPart part{name, std::string(std::size_t(st.comp_size), '\0'), std::size_t(st.size),
                     st.comp_method == ZIP_CM_STORE};
        zip_file_t* f = zip_fopen_index(za, zip_uint64_t(index), ZIP_FL_COMPRESSED);
        if (!f || zip_fread(f, part.deflated.data(), st.comp_size) != zip_int64_t(st.comp_size))
            std::abort();
        zip_fclose(f);
        parts.push_back(std::move(part));
    }
    zip_discard(za);
    return parts;
}

// The floor: zlib inflating each part once into a buffer of its size, nothing else.
std::size_t inflateParts(const std::vector<RawPart>& parts) {
    std::size_t total = 0;
    for (const RawPart& p : parts) {
        std::unique_ptr<char[]> out(new char[p.size + 1]);
        if (p.stored) {
            std::memcpy(out.get(), p.deflated.data(), p.size);
            total += p.size;
            continue;
        }
        z_stream s{};
        if (inflateInit2(&s, -MAX_WBITS) != Z_OK)
            return 0;
        s.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(p.deflated.data()));
        s.avail_in = uInt(p.deflated.size());
        s.next_out = reinterpret_cast<Bytef*>(out.get());
        s.avail_out = uInt(p.size + 1);
        int rc = inflate(&s, Z_FINISH);
        total += s.total_out;
        inflateEnd(&s);
        if (rc != Z_STREAM_END)
            return 0;
        benchmark::DoNotOptimize(out[p.size / 2]);
    }
    return total;
}

struct BigBook {
    fs::path folder;
    std::wstring path;
    std::string bytes;
    std::vector<std::string> addresses;
    std::vector<RawPart> parts;

    BigBook() {
        std::string pattern = (fs::temp_directory_path() / "bench-ratios-XXXXXX").string();
        if (!mkdtemp(pattern.data()))
            std::abort();
        folder = pattern;
        bytes = bigWorkbookBytes();
        std::ofstream(folder / "big.xlsx", std::ios::binary) << bytes;
        path = (folder / "big.xlsx").wstring();
        addresses = scatteredAddresses();
        parts = partsRead(bytes);
    }
    ~BigBook() {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
};

BigBook& bigBook() {
    static BigBook book;
    return book;
}

// `linkmesh cell BOOK Sheet1 CELL...` run as a process, its output thrown away. Gives the
// process's CPU seconds, or a negative time when it failed.
double runCellCommand(const BigBook& b) {
    std::vector<std::string> words{LINKMESH_PROGRAM, "cell", fs::path(b.path).string(), "Sheet1"};
    words.insert(words.end(), b.addresses.begin(), b.addresses.end());
    std::vector<char*> argv;
    for (std::string& w : words)
        argv.push_back(w.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0)
        return -1;
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return -1;
    auto seconds = [](const timeval& t) { return double(t.tv_sec) + double(t.tv_usec) * 1e-6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

using Clock = std::chrono::steady_clock;

double cpuSeconds() {
    timespec t;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// Times a and b one after the other in each iteration, so that both meet the same load. Each
// gives the CPU seconds of a process it ran, or NaN for its own.
struct SideBySide {
    double wallA = 0, wallB = 0, cpuA = 0, cpuB = 0;
    template <class A, class B> void run(A a, B b) {
        auto w0 = Clock::now();
        double c0 = cpuSeconds();
        double childA = a();
        auto w1 = Clock::now();
        double c1 = cpuSeconds();
        double childB = b();
        auto w2 = Clock::now();
        double c2 = cpuSeconds();
        wallA += std::chrono::duration<double>(w1 - w0).count();
        wallB += std::chrono::duration<double>(w2 - w1).count();
        cpuA += std::isnan(childA) ? c1 - c0 : childA;
        cpuB += std::isnan(childB) ? c2 - c1 : childB;
    }
    void report(benchmark::State& state, const char* a, const char* b) const {
        double n = double(state.iterations());
        state.counters[std::string(a) + "_ms"] = wallA * 1000 / n;
        state.counters[std::string(b) + "_ms"] = wallB * 1000 / n;
        state.counters["ratio"] = wallA / wallB;
        state.counters["cpu_ratio"] = cpuA / cpuB;
    }
};

constexpr double kOwnTime = std::numeric_limits<double>::quiet_NaN();

void BM_CellRatio(benchmark::State& state) {
    const BigBook& b = bigBook();
    SideBySide timing;
    std::size_t inflated = 0;
    bool failed = false;
    for (auto _ : state)
        timing.run(
            [&] {
                double cpu = runCellCommand(b);
                failed = failed || cpu < 0;
                return cpu;
            },
            [&] {
                inflated = inflateParts(b.parts);
                return kOwnTime;
            });
    if (failed || inflated == 0)
        state.SkipWithError("the workbook could not be read");
    timing.report(state, "cell", "inflate");
    state.counters["inflated_MB"] = double(inflated) / (1 << 20);
}
BENCHMARK(BM_CellRatio)->Unit(benchmark::kMillisecond)->MinTime(2.0);

void BM_UpdateRatio(benchmark::State& state) {
    using namespace updatebench;
    Fixture& f = fixture();
    refreshFromWorkbooks();
    if (successfulLinks() != kParameters + 2 * kReferences) {
        state.SkipWithError("the first update did not update every link");
        return;
    }
    runUpdate();
    SideBySide timing;
    std::size_t characters = 0;
    for (auto _ : state)
        timing.run(
            [&] {
                runUpdate();
                return kOwnTime;
            },
            [&] {
                characters += readSameCells(f);
                return kOwnTime;
            });
    benchmark::DoNotOptimize(characters);
    timing.report(state, "update", "read");
}
BENCHMARK(BM_UpdateRatio)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// The whole sheet parsed and indexed (opening included), beside inflating its parts.
void BM_LoadAll(benchmark::State& state) {
    const BigBook& b = bigBook();
    SideBySide timing;
    for (auto _ : state)
        timing.run(
            [&] {
                spreadsheet::Status st;
                auto book = spreadsheet::Workbook::openBytes(b.bytes, L"big.xlsx", true, st);
                if (!book || book->sheet(0).loadAll() != spreadsheet::Status::Ok)
                    state.SkipWithError("loadAll failed");
                else
                    benchmark::DoNotOptimize(book->sheet(0).usedRange());
                return kOwnTime;
            },
            [&] {
                benchmark::DoNotOptimize(inflateParts(b.parts));
                return kOwnTime;
            });
    timing.report(state, "loadAll", "inflate");
    double cells = double(kBigRows) * kBigCols * double(state.iterations());
    state.counters["cells_per_s"] = cells / timing.wallA;
    state.counters["cells_per_cpu_s"] = cells / timing.cpuA;
}
BENCHMARK(BM_LoadAll)->Unit(benchmark::kMillisecond)->MinTime(2.0);

} // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i)
        if (std::strncmp(argv[i], "--write-workbook=", 17) == 0) {
            fs::path dir = argv[i] + 17;
            fs::create_directories(dir);
            std::ofstream(dir / "big.xlsx", std::ios::binary) << bigWorkbookBytes();
            std::ofstream list(dir / "cells.txt");
            for (const std::string& a : scatteredAddresses())
                list << a << "\n";
            return 0;
        }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
