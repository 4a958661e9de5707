// The Parameter Links Manager on big drawings: opening it on n linked parameters and n/5
// linked block properties, and importing a link list of n lines into it, for n from 1,000
// to 10,000 (and 20,000 to show the growth).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "dbapserv.h"
#include "drawing/Blocks.h"
#include "links/LinkStore.h"
#include "sdk/control/Dialogs.h"
#include "sdk/control/Documents.h"
#include "sdk/control/HostControl.h"
#include "sdk/control/SystemVariables.h"
#include "ui/ParametersManagerDialog.h"

namespace {

namespace fs = std::filesystem;

AcDbDatabase* database() {
    return acdbHostApplicationServices()->workingDatabase();
}

// Answers the dialogs from a queue and keeps nothing of what they showed.
class Answers : public lmhost::DialogDriver {
public:
    std::optional<lmhost::DialogAction> nextAction(const lmhost::DialogView&) override {
        if (queue.empty())
            return std::nullopt;
        lmhost::DialogAction next = queue.front();
        queue.pop_front();
        return next;
    }
    void push(const std::wstring& action) { queue.push_back(*lmhost::parseDialogAction(action)); }
    std::deque<lmhost::DialogAction> queue;
};

std::wstring cellOf(int i) {
    return L"C:\\Data\\sizes.xlsx*Sheet1*$B$" + std::to_wstring(i + 1);
}

// A fresh drawing: parameters p0..p(linked-1) linked and q0..q(unlinked-1) without a link, in
// one network, and linked / 10 door references with two linked properties each.
void makeDrawing(const fs::path& folder, int linked, int unlinked) {
    lmhost::closeAllDocuments();
    lmhost::newDocument((folder / "drawing.dwg").wstring());
    lmhost::setSystemVariable(L"FILEDIA", static_cast<short>(1));
    AcDbObjectId networkId =
        AcDbAssocNetwork::getInstanceFromObject(database()->currentSpaceId(), true, true, L"");
    AcDbObjectPointer<AcDbAssocNetwork> network(networkId, AcDb::kForWrite);
    auto add = [&](const std::wstring& name, const wchar_t* link) {
        auto* variable = new AcDbAssocVariable();
        AcDbObjectId id;
        database()->addAcDbObject(id, variable);
        variable->setName(name.c_str(), true);
        variable->setExpression(L"1", L"", true, true);
        variable->setValue(AcDbEvalVariant(1.0));
        if (link)
            setXdata(variable, kDirectLinkApp, link);
        variable->close();
        network->addAction(id, true);
    };
    for (int i = 0; i < linked; ++i)
        add(L"p" + std::to_wstring(i), cellOf(i).c_str());
    for (int i = 0; i < unlinked; ++i)
        add(L"q" + std::to_wstring(i), nullptr);
    network->close();
    AcDbObjectId block;
    drawing::addBlockDefinition(database(), L"Door", block);
    for (const wchar_t* property : {L"Width", L"Height"}) {
        drawing::DynamicPropertyDefinition definition;
        definition.name = property;
        definition.type = AcDb::kDwgReal;
        definition.defaultValue = AcDbEvalVariant(1.0);
        drawing::addDynamicProperty(block, definition);
    }
    for (int i = 0; i < linked / 10; ++i) {
        AcDbObjectId reference;
        drawing::insertBlock(database()->currentSpaceId(), block, AcGePoint3d(i, 0, 0), reference);
        setXdata(reference, kDirectLinkApp, (L"Width:" + cellOf(2 * i)).c_str());
        setXdata(reference, kDirectLinkApp, (L"Height:" + cellOf(2 * i + 1)).c_str());
    }
}

struct Folder {
    fs::path path;
    Folder() {
        std::string pattern = (fs::temp_directory_path() / "bench-manager-XXXXXX").string();
        if (!mkdtemp(pattern.data()))
            std::abort();
        path = pattern;
    }
    ~Folder() {
        lmhost::closeAllDocuments();
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
};

INT_PTR runManager() {
    CParametersManagerDialog dialog;
    return dialog.DoModal();
}

// Opening: the list and the combo filled from the drawing, then Close.
void BM_OpenManager(benchmark::State& state) {
    Folder folder;
    int n = static_cast<int>(state.range(0));
    makeDrawing(folder.path, n, 0);
    Answers answers;
    lmhost::setDialogDriver(&answers);
    for (auto _ : state) {
        answers.push(L"cancel");
        benchmark::DoNotOptimize(runManager());
    }
    lmhost::setDialogDriver(nullptr);
    state.counters["rows"] = n + n / 5;
    state.SetComplexityN(n);
}
BENCHMARK(BM_OpenManager)
    ->Arg(1000)
    ->Arg(2000)
    ->Arg(4000)
    ->Arg(10000)
    ->Arg(20000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity();

// Import Links: n new links from a file of n lines in no order, into the manager opened on
// n linked parameters and n/5 linked block properties; each run starts from a fresh drawing.
void BM_ImportLinks(benchmark::State& state) {
    Folder folder;
    int n = static_cast<int>(state.range(0));
    std::vector<int> order(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i)
        order[static_cast<std::size_t>(i)] = i;
    std::shuffle(order.begin(), order.end(), std::mt19937(12));
    fs::path list = folder.path / "links.csv";
    {
        std::ofstream out(list);
        for (int i : order)
            out << "q" << i << ",C:\\Data\\other.xlsx*Sheet1*$C$" << i + 1 << "\n";
    }
    Answers answers;
    lmhost::setDialogDriver(&answers);
    for (auto _ : state) {
        state.PauseTiming();
        makeDrawing(folder.path, n, n);
        lmhost::clearTranscript();
        answers.push(L"press 107");
        answers.push(L"type 1152 " + list.wstring());
        answers.push(L"ok");
        answers.push(L"cancel");
        state.ResumeTiming();
        benchmark::DoNotOptimize(runManager());
    }
    lmhost::setDialogDriver(nullptr);
    std::vector<lmhost::MessageBoxRecord> boxes = lmhost::messageBoxes();
    if (boxes.size() != 1)
        state.SkipWithError("the import asked or failed where it should not");
    state.SetComplexityN(n);
}
BENCHMARK(BM_ImportLinks)
    ->Arg(1000)
    ->Arg(2000)
    ->Arg(4000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity();

} // namespace

BENCHMARK_MAIN();
