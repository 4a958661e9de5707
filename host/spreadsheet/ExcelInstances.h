// The running instances of the spreadsheet program behind the automation server: their
// open books, the calls they answered, and the cells read while possibly stale. Only the
// automation server's own files include this.
#pragma once

#include "sdk/WideFormat.h"
#include "spreadsheet/ExcelControl.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace excelhost::automation {

using lmhost::equalNoCase;
using spreadsheet::CellRef;
using spreadsheet::RangeRef;
using spreadsheet::Status;

std::vector<StaleRead>& staleReads();
void noteIfStale(spreadsheet::Worksheet& ws, int row, int col);

struct Book {
    std::unique_ptr<spreadsheet::Workbook> workbook;
    HWND window = nullptr;
    bool open = true;
    // A selection of several areas, which the file's single-range view cannot hold.
    std::map<int, std::vector<RangeRef>> selections;
};
using BookPtr = std::shared_ptr<Book>;

struct Instance {
    int id = 0;
    bool userStarted = false;
    bool running = true;
    bool visible = false;
    bool interactive = true;
    bool displayAlerts = true;
    bool editDirectlyInCell = true;
    bool shapeSelected = false;
    std::wstring version;
    HWND hwnd = nullptr;
    std::vector<BookPtr> books;
    BookPtr active;
    int nextBookNumber = 1;
};
using InstancePtr = std::shared_ptr<Instance>;

struct World {
    std::vector<InstancePtr> instances; // every instance started, quit ones too
    std::wstring defaultVersion = L"16.0";
    bool installed = true;
    bool refuseDispatch = false;
    std::vector<int> calls;             // by member, in the order of the dispatch table
    std::vector<std::uint16_t> callLog; // members called, the latest calls only
    std::map<std::wstring, HRESULT> failures;
    std::atomic<int> liveObjects{0};
};

World& world();
InstancePtr findInstance(int id);
void setActive(Instance& inst, const BookPtr& book);
void closeBook(Instance& inst, const BookPtr& book);
void quit(Instance& inst);

spreadsheet::Worksheet& loadedSheet(const BookPtr& book, int index);
std::vector<RangeRef> selectionOf(const BookPtr& book, int sheetIndex);
bool activeSheetOf(Instance& inst, BookPtr& book, int& sheet);

BookPtr addBook(const InstancePtr& inst, std::unique_ptr<spreadsheet::Workbook> workbook);
BookPtr openIn(const InstancePtr& inst, const std::wstring& path, bool readOnly,
               std::string* bytes = nullptr);
BookPtr addNewBook(const InstancePtr& inst);
bool findBook(const InstancePtr& inst, const std::wstring& name, BookPtr& out);

InstancePtr newInstance(bool userStarted, bool visible);
InstancePtr runningExcel();
void registerExcelClass();
// Registers "Excel.Application" with the host's class registry when the library loads.
extern const bool kRegistered;

} // namespace excelhost::automation
