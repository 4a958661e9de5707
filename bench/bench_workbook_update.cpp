// Cost of the workbook half of the update: 10,000 linked parameters and 2,000 linked block
// properties over 50 workbooks of 10,000 filled cells each, against reading the same cells
// with the spreadsheet substitute alone (the floor).
#include <benchmark/benchmark.h>

#include "UpdateFixture.h"

namespace {

using namespace updatebench;

// Steady state: every cell already matches, so only the reading and comparing remain.
void BM_UpdateUnchanged(benchmark::State& state) {
    fixture();
    refreshFromWorkbooks();
    if (successfulLinks() != kParameters + 2 * kReferences) {
        state.SkipWithError("the first update did not update every link");
        return;
    }
    runUpdate();
    for (auto _ : state)
        runUpdate();
    state.counters["links"] = kParameters + 2 * kReferences;
}
BENCHMARK(BM_UpdateUnchanged)->Unit(benchmark::kMillisecond);

// Every parameter takes a new expression and is evaluated again.
void BM_UpdateAllChanged(benchmark::State& state) {
    Fixture& f = fixture();
    for (auto _ : state) {
        state.PauseTiming();
        f.resetParameters();
        state.ResumeTiming();
        runUpdate();
    }
    state.counters["links"] = kParameters + 2 * kReferences;
}
BENCHMARK(BM_UpdateAllChanged)->Unit(benchmark::kMillisecond);

void BM_ReadSameCellsFloor(benchmark::State& state) {
    Fixture& f = fixture();
    std::size_t characters = 0;
    for (auto _ : state)
        characters += readSameCells(f);
    benchmark::DoNotOptimize(characters);
    state.counters["links"] = static_cast<double>(f.cells.size());
}
BENCHMARK(BM_ReadSameCellsFloor)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
