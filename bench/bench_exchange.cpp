// Cost of the parameter exchange: export of n parameters to a table and to Excel, and
// import of a selection of n rows, with n = 1,000 and 10,000.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "dbapserv.h"
#include "excel/CStringTable.h"
#include "excel/ExcelUtils.h"
#include "exchange/ExportParameters.h"
#include "exchange/ImportParameters.h"
#include "sdk/control/Dialogs.h"
#include "sdk/control/HostControl.h"
#include "drawing/control/Input.h"
#include "spreadsheet/ExcelControl.h"
#include "spreadsheet/Workbook.h"
#include "testkit/XlsxBuilder.h"

namespace {

namespace fs = std::filesystem;

AcDbDatabase* database() {
    return acdbHostApplicationServices()->workingDatabase();
}

std::wstring nameOf(std::int64_t i) {
    return L"p" + std::to_wstring(i);
}

// A fresh drawing with n parameters p0..p(n-1) in model space.
void addParameters(std::int64_t n) {
    lmhost::resetHost();
    AcDbObjectId networkId =
        AcDbAssocNetwork::getInstanceFromObject(database()->currentSpaceId(), true, true, L"");
    AcDbObjectPointer<AcDbAssocNetwork> network(networkId, AcDb::kForWrite);
    for (std::int64_t i = 0; i < n; ++i) {
        auto* variable = new AcDbAssocVariable();
        AcDbObjectId id;
        database()->addAcDbObject(id, variable);
        variable->setName(nameOf(i).c_str(), true);
        variable->setExpression(std::to_wstring(i + 1).c_str(), L"", true, true);
        variable->setValue(AcDbEvalVariant(static_cast<double>(i + 1)));
        variable->setDescription(L"parameter of the benchmark");
        variable->close();
        network->addAction(id, true);
    }
}

CStringArrayEx allNames(std::int64_t n) {
    CStringArrayEx names;
    for (std::int64_t i = 0; i < n; ++i)
        names.Add(nameOf(i).c_str());
    return names;
}

// Table: built in memory, added, formatted, and dragged; the drag is cancelled so that the
// drawing does not grow from one round to the next (the erase is part of the cost).
void BM_ExportToTable(benchmark::State& state) {
    addParameters(state.range(0));
    CStringArrayEx names = allNames(state.range(0));
    for (auto _ : state) {
        lmhost::queueCancel();
        benchmark::DoNotOptimize(exportToTable(names, 1, 1, 1, 1, 1));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    lmhost::resetHost();
}
BENCHMARK(BM_ExportToTable)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

// Excel: the user's Excel with a blank workbook; the whole block at A1 in one transfer.
void BM_ExportToExcel(benchmark::State& state) {
    addParameters(state.range(0));
    excelhost::resetExcel();
    excelhost::startExcel(true, true);
    CStringArrayEx names = allNames(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(exportToExcel(names, 1, 1, 1, 1, 1));
    state.SetItemsProcessed(state.iterations() * state.range(0));
    excelhost::resetExcel();
    lmhost::resetHost();
}
BENCHMARK(BM_ExportToExcel)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

// Import: a workbook of n rows (name, expression) selected in the user's Excel, applied to
// a drawing that has those n parameters; the dialog is answered OK and the question Yes.
class ImportFixture {
public:
    explicit ImportFixture(std::int64_t n) {
        std::string pattern = (fs::temp_directory_path() / "bench-exchange-XXXXXX").string();
        if (!mkdtemp(pattern.data()))
            std::abort();
        m_folder = pattern;
        testkit::XlsxBuilder book;
        book.sheet(L"Sheet1");
        for (std::int64_t i = 0; i < n; ++i) {
            std::string row = std::to_string(i + 1);
            book.text("A" + row, nameOf(i));
            book.number("B" + row, static_cast<double>((i + 1) * 2));
        }
        fs::path file = m_folder / "rows.xlsx";
        book.write(file.string());
        addParameters(n);
        excelhost::resetExcel();
        int excel = excelhost::startExcel();
        excelhost::openWorkbook(excel, file.wstring());
        excelhost::selectRange(excel, L"A1:B" + std::to_wstring(n));
        lmhost::setDialogDriver(&m_driver);
    }
    ~ImportFixture() {
        lmhost::setDialogDriver(nullptr);
        excelhost::resetExcel();
        lmhost::resetHost();
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }
    void answerOnce() {
        m_driver.push(*lmhost::parseDialogAction(L"ok"));
        lmhost::queueMessageBoxAnswer(IDYES);
    }

private:
    fs::path m_folder;
    lmhost::QueuedDialogDriver m_driver;
};

void BM_ImportFromExcel(benchmark::State& state) {
    ImportFixture fixture(state.range(0));
    for (auto _ : state) {
        fixture.answerOnce();
        importFromExcel();
        lmhost::clearTranscript();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ImportFromExcel)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
