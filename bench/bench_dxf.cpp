// Drawing files: open and save of a drawing with 10,000 linked parameters, 2,000 linked
// block references and a table of 10,000 cells, in MB/s, against reading and writing the
// same bytes alone (the floor).
//
//   bench_dxf --write-drawings DIR N   writes N such drawings and their workbook Sizes.xlsx
//                                      into DIR, for timing linkmesh update by hand
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "DxfDrawing.h"
#include "drawing/Dxf.h"
#include "sdk/WideFormat.h"
#include "sdk/control/HostControl.h"
#include "testkit/XlsxBuilder.h"

namespace {

namespace fs = std::filesystem;

constexpr int kParameters = 10000;
constexpr int kReferences = 2000;
constexpr int kCells = 10000;

struct Fixture {
    Fixture() {
        AcDbDatabase db;
        dxftest::buildLargeDrawing(&db, kParameters, kReferences, kCells);
        text = drawing::writeDxf(&db);
        dir = fs::temp_directory_path() / ("lm-bench-dxf-" + std::to_string(::getpid()));
        fs::create_directories(dir);
        path = (dir / "large.dxf").string();
        std::ofstream(path, std::ios::binary) << text;
    }
    ~Fixture() { fs::remove_all(dir); }
    std::string text;
    fs::path dir;
    std::string path;
};

Fixture& fixture() {
    static Fixture f;
    return f;
}

void BM_WriteDxfText(benchmark::State& state) {
    AcDbDatabase db;
    dxftest::buildLargeDrawing(&db, kParameters, kReferences, kCells);
    for (auto _ : state) {
        std::string text = drawing::writeDxf(&db);
        benchmark::DoNotOptimize(text.data());
    }
    state.SetBytesProcessed(state.iterations() * fixture().text.size());
}
BENCHMARK(BM_WriteDxfText)->Unit(benchmark::kMillisecond);

void BM_ReadDxfText(benchmark::State& state) {
    const std::string& text = fixture().text;
    for (auto _ : state) {
        drawing::DxfReport report;
        std::wstring error;
        auto db = drawing::readDxf(text, report, error);
        if (!db)
            state.SkipWithError("the drawing did not read");
    }
    state.SetBytesProcessed(state.iterations() * text.size());
}
BENCHMARK(BM_ReadDxfText)->Unit(benchmark::kMillisecond);

void BM_SaveDxfFile(benchmark::State& state) {
    AcDbDatabase db;
    dxftest::buildLargeDrawing(&db, kParameters, kReferences, kCells);
    std::wstring path = lmhost::widen((fixture().dir / "saved.dxf").string()), error;
    for (auto _ : state)
        if (!drawing::saveDxfFile(&db, path, error))
            state.SkipWithError("the save failed");
    state.SetBytesProcessed(state.iterations() * fixture().text.size());
}
BENCHMARK(BM_SaveDxfFile)->Unit(benchmark::kMillisecond);

void BM_OpenDxfFile(benchmark::State& state) {
    std::wstring path = lmhost::widen(fixture().path), error;
    for (auto _ : state) {
        drawing::DxfReport report;
        if (!drawing::openDxfFile(path, report, error))
            state.SkipWithError("the open failed");
    }
    state.SetBytesProcessed(state.iterations() * fixture().text.size());
}
BENCHMARK(BM_OpenDxfFile)->Unit(benchmark::kMillisecond);

// The floor: the same bytes written (temporary file, flushed, renamed) and read back.
void BM_WriteSameBytes(benchmark::State& state) {
    const std::string& text = fixture().text;
    std::string temp = (fixture().dir / "bytes.tmp").string();
    std::string target = (fixture().dir / "bytes.dxf").string();
    for (auto _ : state) {
        FILE* f = std::fopen(temp.c_str(), "wb");
        std::fwrite(text.data(), 1, text.size(), f);
        std::fflush(f);
        ::fsync(fileno(f));
        std::fclose(f);
        std::rename(temp.c_str(), target.c_str());
    }
    state.SetBytesProcessed(state.iterations() * text.size());
}
BENCHMARK(BM_WriteSameBytes)->Unit(benchmark::kMillisecond);

void BM_ReadSameBytes(benchmark::State& state) {
    for (auto _ : state) {
        std::ifstream in(fixture().path, std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        benchmark::DoNotOptimize(bytes.data());
    }
    state.SetBytesProcessed(state.iterations() * fixture().text.size());
}
BENCHMARK(BM_ReadSameBytes)->Unit(benchmark::kMillisecond);

int writeDrawings(const fs::path& dir, int count) {
    fs::create_directories(dir);
    // Values that differ from the drawings', so that every link changes something.
    testkit::XlsxBuilder book;
    book.sheet(L"Sizes");
    for (int row = 1; row <= kParameters; ++row) {
        std::string r = std::to_string(row);
        book.number("A" + r, row * 2);
        if (row <= kReferences) {
            book.number("B" + r, 600 + row % 500);
            book.text("C" + r, row % 2 ? L"Walnut" : L"Painted");
        }
    }
    book.write((dir / "Sizes.xlsx").string());
    AcDbDatabase db;
    dxftest::buildLargeDrawing(&db, kParameters, kReferences, kCells);
    std::string text = drawing::writeDxf(&db);
    for (int i = 1; i <= count; ++i)
        std::ofstream(dir / ("drawing-" + std::to_string(i) + ".dxf"), std::ios::binary) << text;
    std::printf("wrote %d drawings of %zu bytes and Sizes.xlsx into %s\n", count, text.size(),
                dir.string().c_str());
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], "--write-drawings") == 0)
        return writeDrawings(argv[2], std::atoi(argv[3]));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
