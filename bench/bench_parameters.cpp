// Cost of changing one parameter in large parameter sets.
#include "drawing/ParameterExpression.h"

#include <benchmark/benchmark.h>

#include <string>

using drawing::ExprError;
using drawing::ParameterSet;
using drawing::VariableId;

namespace {

std::wstring nameOf(std::int64_t i) {
    return L"p" + std::to_wstring(i);
}

// p0 = 1, p(i) = p(i-1) + 1: every parameter depends on the one before.
ParameterSet chain(std::int64_t n) {
    ParameterSet set;
    VariableId id;
    ExprError error;
    set.add(nameOf(0), L"1", id, error);
    for (std::int64_t i = 1; i < n; ++i)
        set.add(nameOf(i), nameOf(i - 1) + L" + 1", id, error);
    return set;
}

// p0 = 1, p(i) = p0 * 2 + i: all depend directly on p0.
ParameterSet fan(std::int64_t n) {
    ParameterSet set;
    VariableId id;
    ExprError error;
    set.add(nameOf(0), L"1", id, error);
    for (std::int64_t i = 1; i < n; ++i)
        set.add(nameOf(i), nameOf(0) + L" * 2 + " + std::to_wstring(i), id, error);
    return set;
}

// Head of a chain of n: all n - 1 others are evaluated again.
void BM_ChainChangeHead(benchmark::State& state) {
    ParameterSet set = chain(state.range(0));
    VariableId head = set.find(nameOf(0));
    double v = 0;
    for (auto _ : state) {
        auto update = set.setValue(head, ++v);
        benchmark::DoNotOptimize(update.evaluated);
    }
    state.counters["evaluated/s"] = benchmark::Counter(
        static_cast<double>(state.range(0) - 1) * state.iterations(), benchmark::Counter::kIsRate);
}

// Root of a fan of n: all n - 1 others are evaluated again.
void BM_FanChangeRoot(benchmark::State& state) {
    ParameterSet set = fan(state.range(0));
    VariableId root = set.find(nameOf(0));
    double v = 0;
    for (auto _ : state) {
        auto update = set.setValue(root, ++v);
        benchmark::DoNotOptimize(update.evaluated);
    }
    state.counters["evaluated/s"] = benchmark::Counter(
        static_cast<double>(state.range(0) - 1) * state.iterations(), benchmark::Counter::kIsRate);
}

// The last ten of a chain: the cost must not depend on the size of the set.
void BM_ChainChangeNearEnd(benchmark::State& state) {
    ParameterSet set = chain(state.range(0));
    VariableId near = set.find(nameOf(state.range(0) - 10));
    double v = 0;
    for (auto _ : state) {
        auto update = set.setValue(near, ++v);
        benchmark::DoNotOptimize(update.evaluated);
    }
}

// A new expression for one fan member: parse, look up by name, relink, evaluate.
void BM_FanAssignMember(benchmark::State& state) {
    ParameterSet set = fan(state.range(0));
    VariableId member = set.find(nameOf(state.range(0) / 2));
    ExprError error;
    std::int64_t i = 0;
    for (auto _ : state) {
        auto status = set.assign(member, nameOf(0) + L" * 3 + " + std::to_wstring(++i % 7), error);
        benchmark::DoNotOptimize(status);
    }
}

// A cycle check that has to walk the whole chain before refusing.
void BM_ChainRefuseCycle(benchmark::State& state) {
    ParameterSet set = chain(state.range(0));
    VariableId head = set.find(nameOf(0));
    std::wstring closing = nameOf(state.range(0) - 1) + L" + 1";
    ExprError error;
    for (auto _ : state) {
        auto status = set.setExpression(head, closing, error);
        benchmark::DoNotOptimize(status);
    }
}

// Lookup by name, case ignored.
void BM_FindByName(benchmark::State& state) {
    ParameterSet set = fan(state.range(0));
    std::wstring wanted = L"P" + std::to_wstring(state.range(0) / 3);
    for (auto _ : state)
        benchmark::DoNotOptimize(set.find(wanted));
}

} // namespace

BENCHMARK(BM_ChainChangeHead)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FanChangeRoot)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ChainChangeNearEnd)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FanAssignMember)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ChainRefuseCycle)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FindByName)->Arg(10'000)->Arg(100'000);
BENCHMARK_MAIN();
