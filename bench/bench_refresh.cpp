// Cost of following table links: a drain after one table edit, and the table half of the
// update command, with large numbers of linked parameters and dynamic block references.
#include <benchmark/benchmark.h>

#include <string>

#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "dbapserv.h"
#include "dbdynblk.h"
#include "dbsymtb.h"
#include "dbtable.h"
#include "drawing/Blocks.h"
#include "links/LinkStore.h"
#include "links/LiveRefresh.h"
#include "links/UpdateCommand.h"
#include "sdk/control/HostControl.h"

namespace {

constexpr int kColumns = 10;

AcDbDatabase* database() {
    return acdbHostApplicationServices()->workingDatabase();
}

std::wstring handleText(AcDbObjectId id) {
    wchar_t text[260] = {0};
    id.handle().getIntoAsciiBuffer(text);
    return text;
}

std::wstring address(int index) {
    // Columns A..J, rows from 1.
    return std::wstring(L"$") + static_cast<wchar_t>(L'A' + index % kColumns) + L"$" +
           std::to_wstring(index / kColumns + 1);
}

// A table of cells numbered 1..cells, in the current space.
AcDbObjectId addTable(int cells) {
    auto* table = new AcDbTable();
    table->setSize(cells / kColumns + 1, kColumns);
    for (int i = 0; i < cells; ++i)
        table->setTextString(i / kColumns, i % kColumns, std::to_wstring(i + 1).c_str());
    AcDbObjectPointer<AcDbBlockTableRecord> space(database()->currentSpaceId(), AcDb::kForWrite);
    AcDbObjectId id;
    space->appendAcDbEntity(id, table);
    table->close();
    return id;
}

// count parameters of the current space; the first `linked` follow a cell each.
void addParameters(int count, int linked, AcDbObjectId table) {
    AcDbObjectId networkId =
        AcDbAssocNetwork::getInstanceFromObject(database()->currentSpaceId(), true, true, L"");
    std::wstring prefix = L"Table(" + handleText(table) + L").";
    for (int i = 0; i < count; ++i) {
        auto* created = new AcDbAssocVariable();
        AcDbObjectId id;
        database()->addAcDbObject(id, created);
        created->close();
        {
            AcDbObjectPointer<AcDbAssocNetwork> network(networkId, AcDb::kForWrite);
            network->addAction(id, true);
        }
        AcDbObjectPointer<AcDbAssocVariable> variable(id, AcDb::kForWrite);
        variable->setName((L"p" + std::to_wstring(i)).c_str(), true);
        std::wstring expression = std::to_wstring(i + 1);
        variable->setExpression(expression.c_str(), L"", true, true);
        variable->setValue(AcDbEvalVariant(static_cast<double>(i + 1)));
        if (i < linked)
            setXdata(variable.object(), kDirectLinkApp, (prefix + address(i)).c_str());
    }
}

// count references of a dynamic block, each with one property linked to a cell.
void addDynamicReferences(int count, AcDbObjectId table) {
    AcDbObjectId block;
    drawing::addBlockDefinition(database(), L"Door", block);
    drawing::DynamicPropertyDefinition width;
    width.name = L"Width";
    width.type = AcDb::kDwgReal;
    width.units = AcDbDynBlockReferenceProperty::kDistance;
    width.defaultValue = 1.0;
    drawing::addDynamicProperty(block, width);
    std::wstring prefix = L"Width:Table(" + handleText(table) + L").";
    for (int i = 0; i < count; ++i) {
        AcDbObjectId reference;
        drawing::insertBlock(database()->currentSpaceId(), block, AcGePoint3d(i, 0, 0), reference);
        setXdata(reference, kDirectLinkApp, (prefix + address(i)).c_str());
    }
}

void editCell(AcDbObjectId tableId, int row, int column, const std::wstring& text) {
    AcDbObjectPointer<AcDbTable> table(tableId, AcDb::kForWrite);
    table->setTextString(row, column, text.c_str());
}

// One edited cell, then a drain: every parameter of the network is looked at, one changes.
void BM_DrainModifiedTable(benchmark::State& state) {
    lmhost::resetHost();
    int parameters = static_cast<int>(state.range(0));
    AcDbObjectId table = addTable(parameters);
    addParameters(parameters, parameters, table);
    int round = 0;
    for (auto _ : state) {
        state.PauseTiming();
        editCell(table, 0, 0, std::to_wstring(++round % 2 + 100));
        pendingTables.setLogicalLength(0);
        pendingTables.append(table);
        state.ResumeTiming();
        drainPendingTables();
    }
    state.SetComplexityN(state.range(0));
    lmhost::resetHost();
}
BENCHMARK(BM_DrainModifiedTable)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Complexity(benchmark::oN)
    ->Unit(benchmark::kMillisecond);

// The table half of the update: parameters and references whose cells did not change.
void BM_RefreshFromTables(benchmark::State& state) {
    lmhost::resetHost();
    int parameters = static_cast<int>(state.range(0));
    int references = static_cast<int>(state.range(1));
    AcDbObjectId table = addTable(parameters > references ? parameters : references);
    addParameters(parameters, parameters, table);
    addDynamicReferences(references, table);
    for (auto _ : state)
        benchmark::DoNotOptimize(refreshFromTables());
    state.SetComplexityN(state.range(0) + state.range(1));
    lmhost::resetHost();
}
BENCHMARK(BM_RefreshFromTables)->Args({10000, 1000})->Unit(benchmark::kMillisecond);

// Growth with the number of links, all of them parameters.
void BM_RefreshFromTablesByLinks(benchmark::State& state) {
    lmhost::resetHost();
    int links = static_cast<int>(state.range(0));
    AcDbObjectId table = addTable(links);
    addParameters(links, links, table);
    for (auto _ : state)
        benchmark::DoNotOptimize(refreshFromTables());
    state.SetComplexityN(state.range(0));
    lmhost::resetHost();
}
BENCHMARK(BM_RefreshFromTablesByLinks)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Complexity(benchmark::oN)
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
