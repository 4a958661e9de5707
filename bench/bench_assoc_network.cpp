// Parameters through the host's associative API: a network of many variables where one
// change reaches a chain of dependents, and the walk over all actions that every refresh
// makes.
#include <benchmark/benchmark.h>

#include <string>

#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "dbapserv.h"
#include "sdk/control/HostControl.h"

namespace {

// n variables: v0 = 1, and every tenth one depends on the one before it, so that a change
// of v0 reaches a chain of n/10 dependents.
AcDbObjectId buildNetwork(int n, AcDbObjectId& first) {
    lmhost::resetHost();
    AcDbDatabase* db = acdbHostApplicationServices()->workingDatabase();
    AcDbObjectId networkId =
        AcDbAssocNetwork::getInstanceFromObject(db->currentSpaceId(), true, true, L"");
    AcDbAssocNetwork* network = nullptr;
    acdbOpenObject(network, networkId, AcDb::kForWrite);
    std::wstring previous;
    for (int i = 0; i < n; ++i) {
        auto* variable = new AcDbAssocVariable;
        AcDbObjectId id;
        db->addAcDbObject(id, variable);
        network->addAction(id, true);
        std::wstring name = L"v" + std::to_wstring(i);
        variable->setName(name.c_str(), true);
        std::wstring expression = (i % 10 == 0 && i > 0) ? previous + L"+1" : L"1";
        variable->setExpression(expression.c_str(), L"", true, true);
        AcDbEvalVariant value;
        variable->evaluateExpression(value);
        variable->setValue(value);
        variable->close();
        if (i == 0)
            first = id;
        if (i % 10 == 0)
            previous = name;
    }
    network->close();
    return networkId;
}

void BM_ChangeWithDependents(benchmark::State& state) {
    AcDbObjectId first;
    buildNetwork(static_cast<int>(state.range(0)), first);
    double value = 1;
    for (auto _ : state) {
        AcDbAssocVariable* variable = nullptr;
        acdbOpenObject(variable, first, AcDb::kForWrite);
        variable->setExpression(std::to_wstring(value += 1).c_str(), L"", true, true);
        AcDbEvalVariant result;
        variable->evaluateExpression(result);
        variable->setValue(result);
        variable->close();
    }
    state.counters["dependents"] = static_cast<double>(state.range(0) / 10);
}
BENCHMARK(BM_ChangeWithDependents)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMicrosecond);

// The refresh's walk: every action's class, and each variable opened for its expression.
void BM_WalkNetwork(benchmark::State& state) {
    AcDbObjectId first;
    AcDbObjectId networkId = buildNetwork(static_cast<int>(state.range(0)), first);
    for (auto _ : state) {
        AcDbAssocNetwork* network = nullptr;
        acdbOpenObject(network, networkId, AcDb::kForRead);
        size_t length = 0;
        for (int i = 0; i < network->getActions().length(); ++i) {
            AcDbObjectId id = network->getActions()[i];
            if (id.objectClass() != AcDbAssocVariable::desc())
                continue;
            AcDbAssocVariable* variable = nullptr;
            if (acdbOpenObject(variable, id, AcDb::kForRead) != Acad::eOk)
                continue;
            length += variable->expression().length();
            variable->close();
        }
        network->close();
        benchmark::DoNotOptimize(length);
    }
}
BENCHMARK(BM_WalkNetwork)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
