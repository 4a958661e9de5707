// ApplyPattern with the table pattern over long texts: the time must grow
// linearly with the text, with or without a match at its end.
#include "support/PatternMatcher.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

const wchar_t* const kTablePattern = L"Table\\({[a-zA-Z0-9]+}\\)\\.{[a-zA-Z0-9\\$]+}";

// Near misses of a table expression, so that many attempts get some way in.
std::wstring Filler(std::size_t length) {
    static const std::wstring piece = L"Tabl Table( Table(1F) Table(1F). Table(). width 12.5 ";
    std::wstring text;
    text.reserve(length + piece.size());
    while (text.size() < length)
        text += piece;
    text.resize(length);
    return text;
}

void BM_ApplyTablePattern(benchmark::State& state) {
    const std::size_t length = static_cast<std::size_t>(state.range(0));
    const bool matchAtEnd = state.range(1) != 0;
    std::wstring text = Filler(length);
    if (matchAtEnd)
        text.replace(text.size() - 15, 15, L"Table(2F4).$C$7");
    const CString input(text);
    const CString pattern(kTablePattern);
    CStringArray groups;
    for (auto _ : state) {
        const int found = ApplyPattern(input, pattern, groups);
        if (found != (matchAtEnd ? 1 : 0)) {
            state.SkipWithError("unexpected result");
            break;
        }
        benchmark::DoNotOptimize(groups.GetSize());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(length));
    state.SetComplexityN(static_cast<std::int64_t>(length));
}

} // namespace

BENCHMARK(BM_ApplyTablePattern)
    ->ArgNames({"chars", "match"})
    ->ArgsProduct({{10 * 1024, 100 * 1024, 1024 * 1024}, {0, 1}})
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

BENCHMARK_MAIN();
