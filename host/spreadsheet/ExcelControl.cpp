// The host's control of the spreadsheet program: what a user does to it, and what the
// tests look at and inject.
#include "spreadsheet/ExcelControl.h"

#include "sdk/control/ComRegistry.h"
#include "spreadsheet/AutomationDispatch.h"
#include "spreadsheet/ExcelAddress.h"

#include <cstdint>
#include <string>
#include <vector>

namespace excelhost {

const CLSID kExcelClsid = {0x00024500, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const IID kIID_Range = {0x00020846, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const IID kIID_Window = {0x00020893, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

using namespace automation;

int startExcel(bool visible, bool blankWorkbook) {
    (void)kRegistered;
    InstancePtr inst = newInstance(true, visible);
    if (blankWorkbook)
        addNewBook(inst);
    return inst->id;
}

int activeExcel() {
    InstancePtr i = runningExcel();
    return i ? i->id : 0;
}

int lastStartedExcel() {
    return world().instances.empty() ? 0 : world().instances.back()->id;
}

ExcelState excelState(int excel) {
    ExcelState s;
    InstancePtr i = findInstance(excel);
    if (!i)
        return s;
    s.running = i->running;
    s.userStarted = i->userStarted;
    s.visible = i->visible;
    s.interactive = i->interactive;
    s.displayAlerts = i->displayAlerts;
    s.editDirectlyInCell = i->editDirectlyInCell;
    s.version = i->version;
    s.hwnd = i->hwnd;
    for (const BookPtr& b : i->books)
        s.workbooks.push_back(b->workbook->fullName());
    if (i->active)
        s.activeWorkbook = i->active->workbook->name();
    return s;
}

void quitExcel(int excel) {
    if (InstancePtr i = findInstance(excel))
        quit(*i);
}

bool openWorkbook(int excel, const std::wstring& path, bool readOnly, std::wstring* error) {
    InstancePtr i = findInstance(excel);
    if (!i || !i->running)
        return false;
    try {
        openIn(i, path, readOnly);
        return true;
    } catch (const ExcelFailure& f) {
        if (error)
            *error = f.description;
        return false;
    }
}

bool openWorkbookBytes(int excel, std::string bytes, const std::wstring& fullName, bool readOnly,
                       std::wstring* error) {
    InstancePtr i = findInstance(excel);
    if (!i || !i->running)
        return false;
    try {
        openIn(i, fullName, readOnly, &bytes);
        return true;
    } catch (const ExcelFailure& f) {
        if (error)
            *error = f.description;
        return false;
    }
}

bool addWorkbook(int excel) {
    InstancePtr i = findInstance(excel);
    if (!i || !i->running)
        return false;
    addNewBook(i);
    return true;
}

spreadsheet::Workbook* workbook(int excel, const std::wstring& name) {
    BookPtr b;
    return findBook(findInstance(excel), name, b) ? b->workbook.get() : nullptr;
}

bool activateWorkbook(int excel, const std::wstring& name) {
    InstancePtr i = findInstance(excel);
    BookPtr b;
    if (!findBook(i, name, b))
        return false;
    setActive(*i, b);
    return true;
}

bool closeWorkbook(int excel, const std::wstring& name) {
    InstancePtr i = findInstance(excel);
    BookPtr b;
    if (!findBook(i, name, b))
        return false;
    closeBook(*i, b);
    return true;
}

bool selectSheet(int excel, const std::wstring& sheet) {
    InstancePtr i = findInstance(excel);
    if (!i || !i->active)
        return false;
    spreadsheet::Workbook& wb = *i->active->workbook;
    int s = wb.findSheet(sheet);
    if (s < 0 || wb.sheet(size_t(s)).state() != spreadsheet::SheetState::Visible)
        return false;
    wb.setActiveSheet(s);
    i->shapeSelected = false;
    return true;
}

bool selectRange(int excel, const std::wstring& address) {
    InstancePtr i = findInstance(excel);
    BookPtr book;
    int sheet = 0;
    if (!i || !activeSheetOf(*i, book, sheet))
        return false;
    std::vector<RangeRef> areas;
    if (book->workbook->sheet(size_t(sheet)).load() != Status::Ok ||
        !resolveAddress(*book->workbook, sheet, address, areas))
        return false;
    book->workbook->sheet(size_t(sheet)).select(areas.front(), areas.front().first);
    if (areas.size() > 1)
        book->selections[sheet] = areas;
    else
        book->selections.erase(sheet);
    i->shapeSelected = false;
    return true;
}

bool selectShape(int excel) {
    InstancePtr i = findInstance(excel);
    if (!i || !i->active)
        return false;
    i->shapeSelected = true;
    return true;
}

HWND workbookWindow(int excel, const std::wstring& name) {
    BookPtr b;
    return findBook(findInstance(excel), name, b) ? b->window : nullptr;
}

void setDefaultVersion(const std::wstring& version) {
    world().defaultVersion = version;
}

void setInstalled(bool installed) {
    world().installed = installed;
    if (installed)
        registerExcelClass();
    else
        lmhost::unregisterComClass(L"Excel.Application");
}

void failNextCall(const std::wstring& member, HRESULT code) {
    world().failures[member] = code;
}

void setActiveObjectRefusesDispatch(bool refuse) {
    world().refuseDispatch = refuse;
}

int callCount(const std::wstring& member) {
    int index = automation::memberIndex(member);
    const std::vector<int>& calls = world().calls;
    return index < 0 || std::size_t(index) >= calls.size() ? 0 : calls[std::size_t(index)];
}

std::vector<std::wstring> callLog() {
    const std::vector<std::wstring>& keys = automation::memberKeys();
    std::vector<std::wstring> out;
    out.reserve(world().callLog.size());
    for (std::uint16_t index : world().callLog)
        out.push_back(keys[index]);
    return out;
}

void clearCalls() {
    world().calls.clear();
    world().callLog.clear();
}

int liveObjects() {
    return world().liveObjects;
}

std::vector<StaleRead> takeStaleReads() {
    std::vector<StaleRead> out;
    out.swap(staleReads());
    return out;
}

void resetExcel() {
    World& w = world();
    for (auto& i : w.instances)
        quit(*i);
    w.instances.clear();
    w.defaultVersion = L"16.0";
    w.refuseDispatch = false;
    w.failures.clear();
    staleReads().clear();
    clearCalls();
    setInstalled(true);
}

} // namespace excelhost
