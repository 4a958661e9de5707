// The running instances: started by the user or by automation, the one the running
// object table holds, their books opened, added and closed.
#include "spreadsheet/ExcelInstances.h"

#include "sdk/control/ComRegistry.h"
#include "spreadsheet/AutomationDispatch.h"
#include "spreadsheet/Calculation.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace excelhost::automation {

std::vector<StaleRead>& staleReads() {
    static std::vector<StaleRead> reads;
    return reads;
}

// A client read a cell whose result may not be the spreadsheet program's.
void noteIfStale(spreadsheet::Worksheet& ws, int row, int col) {
    if (!ws.mayBeStale(row, col))
        return;
    StaleRead read{ws.workbook().name(), ws.name(), spreadsheet::cellAddress(row, col, false),
                   ws.workbook().calculation().whyStale(ws, row, col)};
    for (const StaleRead& r : staleReads())
        if (r.workbook == read.workbook && r.sheet == read.sheet && r.cell == read.cell)
            return;
    staleReads().push_back(std::move(read));
}

World& world() {
    static World w;
    return w;
}

InstancePtr findInstance(int id) {
    for (auto& i : world().instances)
        if (i->id == id)
            return i;
    return nullptr;
}

void setActive(Instance& inst, const BookPtr& book) {
    inst.active = book;
    inst.shapeSelected = false;
}

void closeBook(Instance& inst, const BookPtr& book) {
    book->open = false;
    if (book->window)
        lmhost::destroyWindow(book->window);
    book->window = nullptr;
    inst.books.erase(std::remove(inst.books.begin(), inst.books.end(), book), inst.books.end());
    if (inst.active == book)
        inst.active = inst.books.empty() ? nullptr : inst.books.back();
}

void quit(Instance& inst) {
    if (!inst.running)
        return;
    inst.running = false;
    while (!inst.books.empty())
        closeBook(inst, inst.books.back());
    if (inst.hwnd)
        lmhost::destroyWindow(inst.hwnd);
}

spreadsheet::Worksheet& loadedSheet(const BookPtr& book, int index) {
    spreadsheet::Worksheet& sheet = book->workbook->sheet(static_cast<size_t>(index));
    if (sheet.load() != Status::Ok)
        raise(L"We found a problem with some content in '" + book->workbook->name() + L"'.");
    return sheet;
}

std::vector<RangeRef> selectionOf(const BookPtr& book, int sheetIndex) {
    auto it = book->selections.find(sheetIndex);
    if (it != book->selections.end())
        return it->second;
    spreadsheet::Worksheet& sheet = loadedSheet(book, sheetIndex);
    std::vector<RangeRef> areas;
    std::wstring sqref = sheet.selectionRef();
    size_t start = 0;
    while (start <= sqref.size()) {
        size_t end = sqref.find(L' ', start);
        if (end == std::wstring::npos)
            end = sqref.size();
        RangeRef r;
        if (end > start && spreadsheet::parseRangeRef(sqref.substr(start, end - start), r))
            areas.push_back(r);
        start = end + 1;
    }
    if (areas.empty()) {
        CellRef a = sheet.activeCell();
        areas.push_back({a, a});
    }
    return areas;
}

// Does the instance have an active sheet? Gives it.
bool activeSheetOf(Instance& inst, BookPtr& book, int& sheet) {
    if (!inst.active)
        return false;
    book = inst.active;
    sheet = book->workbook->activeSheet();
    return sheet >= 0 && size_t(sheet) < book->workbook->sheetCount();
}

std::wstring clashText(const std::wstring& name) {
    return L"A document with the name '" + name +
           L"' is already open. You cannot open two documents with the same name, even if "
           L"the documents are in different folders.\nTo open the second document, either "
           L"close the document that's currently open, or rename one of the documents.";
}

std::wstring openFailureText(Status status, const std::wstring& path) {
    if (status == Status::FileNotFound)
        return L"Sorry, we couldn't find " + path +
               L". Is it possible it was moved, renamed or deleted?";
    return L"Excel cannot open the file '" + spreadsheet::fileNameOf(path) +
           L"' because the file format or file extension is not valid. Verify that the file "
           L"has not been corrupted and that the file extension matches the format of the "
           L"file.";
}

BookPtr addBook(const InstancePtr& inst, std::unique_ptr<spreadsheet::Workbook> workbook) {
    auto book = std::make_shared<Book>();
    book->workbook = std::move(workbook);
    inst->books.push_back(book);
    book->window = makeBookWindow(inst, book);
    setActive(*inst, book);
    return book;
}

// Opens a file in the instance as Excel's Open does; throws ExcelFailure.
BookPtr openIn(const InstancePtr& inst, const std::wstring& path, bool readOnly,
               std::string* bytes) {
    for (const BookPtr& b : inst->books)
        if (equalNoCase(b->workbook->fullName(), path)) {
            setActive(*inst, b);
            return b;
        }
    std::wstring name = spreadsheet::fileNameOf(path);
    for (const BookPtr& b : inst->books)
        if (equalNoCase(b->workbook->name(), name))
            raise(clashText(name));
    Status status = Status::Ok;
    std::unique_ptr<spreadsheet::Workbook> wb =
        bytes ? spreadsheet::Workbook::openBytes(std::move(*bytes), path, readOnly, status)
              : spreadsheet::Workbook::open(path, readOnly, status);
    // A workbook another editor has open is opened read-only, as the program offers.
    if (!wb && status == Status::Locked)
        wb = spreadsheet::Workbook::open(path, true, status);
    if (!wb || status != Status::Ok)
        raise(openFailureText(status, path));
    return addBook(inst, std::move(wb));
}

BookPtr addNewBook(const InstancePtr& inst) {
    std::wstring name = L"Book" + std::to_wstring(inst->nextBookNumber++);
    return addBook(inst, spreadsheet::Workbook::create(name));
}

InstancePtr newInstance(bool userStarted, bool visible) {
    auto inst = std::make_shared<Instance>();
    World& w = world();
    inst->id = w.instances.empty() ? 1 : w.instances.back()->id + 1;
    inst->userStarted = userStarted;
    inst->visible = visible;
    inst->version = w.defaultVersion;
    inst->hwnd = lmhost::createWindow({L"XLMAIN", L"Excel", nullptr});
    w.instances.push_back(inst);
    return inst;
}

// The running object table holds the Excel the user started first; one started by
// automation joins it once it has been made visible.
InstancePtr runningExcel() {
    for (auto& i : world().instances)
        if (i->running && (i->userStarted || i->visible))
            return i;
    return nullptr;
}

void registerExcelClass() {
    lmhost::ComClass c;
    c.progId = L"Excel.Application";
    c.clsid = kExcelClsid;
    c.create = [](IUnknown** object) -> HRESULT {
        InstancePtr inst = newInstance(false, false);
        *object = static_cast<IDispatch*>(makeApplication(inst));
        return S_OK;
    };
    c.active = [](IUnknown** object) -> HRESULT {
        InstancePtr inst = runningExcel();
        if (!inst)
            return MK_E_UNAVAILABLE;
        if (world().refuseDispatch) {
            // A bare IUnknown that answers no dispatch interface.
            struct Bare : IUnknown {
                ULONG refs = 1;
                HRESULT QueryInterface(REFIID riid, void** o) override {
                    if (riid == IID_IUnknown) {
                        *o = this;
                        ++refs;
                        return S_OK;
                    }
                    *o = nullptr;
                    return E_NOINTERFACE;
                }
                ULONG AddRef() override { return ++refs; }
                ULONG Release() override {
                    ULONG n = --refs;
                    if (!n)
                        delete this;
                    return n;
                }
                virtual ~Bare() = default;
            };
            *object = new Bare;
            return S_OK;
        }
        *object = static_cast<IDispatch*>(makeApplication(inst));
        return S_OK;
    };
    lmhost::registerComClass(std::move(c));
}

const bool kRegistered = (registerExcelClass(), true);

bool findBook(const InstancePtr& inst, const std::wstring& name, BookPtr& out) {
    if (!inst)
        return false;
    for (const BookPtr& b : inst->books)
        if (equalNoCase(b->workbook->name(), name) || equalNoCase(b->workbook->fullName(), name)) {
            out = b;
            return true;
        }
    return false;
}

} // namespace excelhost::automation
