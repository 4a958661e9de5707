// The update benchmarks' drawing: 10,000 linked parameters and 2,000 linked block
// properties over 50 workbooks of 10,000 filled cells each, and the floor of reading the
// same cells with the spreadsheet substitute alone.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "dbapserv.h"
#include "drawing/Blocks.h"
#include "excel/ExcelUtils.h"
#include "links/LinkStore.h"
#include "links/RefreshFromWorkbooks.h"
#include "sdk/control/Documents.h"
#include "sdk/control/HostControl.h"
#include "sdk/control/SystemVariables.h"
#include "spreadsheet/ExcelControl.h"
#include "spreadsheet/Workbook.h"
#include "testkit/XlsxBuilder.h"

namespace updatebench {

namespace fs = std::filesystem;

constexpr int kWorkbooks = 50;
constexpr int kRows = 100;
constexpr int kColumns = 100; // 10,000 filled cells per workbook
constexpr int kParameters = 10000;
constexpr int kReferences = 1000; // two linked properties each

struct Cell {
    int workbook, row, column;
};

inline AcDbDatabase* database() {
    return acdbHostApplicationServices()->workingDatabase();
}

// Links are spread over the workbooks in turn, and over each sheet's cells.
inline Cell cellOfLink(int link) {
    int workbook = link % kWorkbooks;
    int index = (link / kWorkbooks) * 41 % (kRows * kColumns);
    return {workbook, index / kColumns + 1, index % kColumns + 1};
}

struct Fixture {
    fs::path folder;
    std::vector<std::wstring> books;
    std::vector<Cell> cells;
    std::vector<AcDbObjectId> parameters;

    Fixture() {
        std::string pattern = (fs::temp_directory_path() / "bench-wb-XXXXXX").string();
        if (!mkdtemp(pattern.data()))
            std::abort();
        folder = pattern;
        for (int w = 0; w < kWorkbooks; ++w) {
            testkit::XlsxBuilder book;
            book.sheet(L"Sheet1");
            for (int r = 1; r <= kRows; ++r)
                for (int c = 1; c <= kColumns; ++c) {
                    std::wstring address = ExcelUtils::GetCellAddress(r, c).str();
                    std::string ref;
                    for (wchar_t ch : address)
                        if (ch != L'$')
                            ref += static_cast<char>(ch);
                    book.number(ref, w * 100000 + r * 1000 + c);
                }
            fs::path file = folder / ("book" + std::to_string(w) + ".xlsx");
            book.write(file.string());
            books.push_back(file.wstring());
        }
        lmhost::newDocument((folder / "drawing.dwg").wstring());
        lmhost::setSystemVariable(L"FILEDIA", static_cast<short>(0));
        addParameters();
        addReferences();
    }
    ~Fixture() {
        lmhost::closeAllDocuments();
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }

    std::wstring expression(int link) {
        Cell cell = cellOfLink(link);
        cells.push_back(cell);
        return books[cell.workbook] + L"*Sheet1*" +
               ExcelUtils::GetCellAddress(cell.row, cell.column).str();
    }

    void addParameters() {
        AcDbObjectId networkId =
            AcDbAssocNetwork::getInstanceFromObject(database()->currentSpaceId(), true, true, L"");
        for (int i = 0; i < kParameters; ++i) {
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
            variable->setExpression(L"1", L"", true, true);
            variable->setValue(AcDbEvalVariant(1.0));
            setXdata(variable.object(), kDirectLinkApp, expression(i).c_str());
            parameters.push_back(id);
        }
    }

    void addReferences() {
        AcDbObjectId block;
        drawing::addBlockDefinition(database(), L"Door", block);
        drawing::DynamicPropertyDefinition width;
        width.name = L"Width";
        width.type = AcDb::kDwgReal;
        width.defaultValue = AcDbEvalVariant(1.0);
        drawing::addDynamicProperty(block, width);
        drawing::DynamicPropertyDefinition finish;
        finish.name = L"Finish";
        finish.type = AcDb::kDwgText;
        finish.defaultValue = AcDbEvalVariant(L"none");
        drawing::addDynamicProperty(block, finish);
        int link = kParameters;
        for (int i = 0; i < kReferences; ++i) {
            AcDbObjectId reference;
            drawing::insertBlock(database()->currentSpaceId(), block, AcGePoint3d(i, 0, 0),
                                 reference);
            setXdata(reference, kDirectLinkApp, (L"Width:" + expression(link++)).c_str());
            setXdata(reference, kDirectLinkApp, (L"Finish:" + expression(link++)).c_str());
        }
    }

    // Every parameter back to another expression, so that the next update changes them all.
    void resetParameters() {
        for (AcDbObjectId id : parameters) {
            AcDbObjectPointer<AcDbAssocVariable> variable(id, AcDb::kForWrite);
            variable->setExpression(L"1", L"", true, true);
        }
    }
};

inline Fixture& fixture() {
    static Fixture f;
    return f;
}

inline void runUpdate() {
    refreshFromWorkbooks();
    lmhost::clearTranscript();
    excelhost::resetExcel();
}

// Lines of the last update that report a link as updated.
inline int successfulLinks() {
    const std::wstring& lines = lmhost::commandLineText();
    int count = 0;
    for (size_t at = lines.find(L"successfully."); at != std::wstring::npos;
         at = lines.find(L"successfully.", at + 1))
        ++count;
    return count;
}

// The floor: open each workbook once, read-only, and take the displayed text of each linked
// cell straight from the spreadsheet substitute.
inline std::size_t readSameCells(const Fixture& f) {
    static std::vector<std::vector<Cell>> byBook;
    if (byBook.empty()) {
        byBook.resize(kWorkbooks);
        for (const Cell& cell : f.cells)
            byBook[cell.workbook].push_back(cell);
    }
    std::size_t characters = 0;
    for (int w = 0; w < kWorkbooks; ++w) {
        spreadsheet::Status status;
        auto book = spreadsheet::Workbook::open(f.books[w], true, status);
        spreadsheet::Worksheet& sheet = book->sheet(0);
        for (const Cell& cell : byBook[w])
            characters += sheet.text(cell.row, cell.column).size();
    }
    return characters;
}

} // namespace updatebench
