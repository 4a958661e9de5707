// The spreadsheet program's automation server: Application, Workbooks, Workbook,
// Worksheets, Worksheet, Range, Name and Window objects answering their members by
// dispatch id over real workbooks, and the running instances behind them.
#include "spreadsheet/ExcelControl.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <cwctype>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "sdk/control/ComRegistry.h"
#include "spreadsheet/Calculation.h"

namespace excelhost {

const CLSID kExcelClsid = {0x00024500, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const IID kIID_Range = {0x00020846, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const IID kIID_Window = {0x00020893, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const IID kIID_Application = {0x000208D5, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

namespace {

using spreadsheet::CellRef;
using spreadsheet::RangeRef;
using spreadsheet::Status;

// --- the world of running instances -------------------------------------------------------

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
    std::map<std::wstring, int> calls;
    std::vector<std::wstring> callLog;
    std::map<std::wstring, HRESULT> failures;
    std::atomic<int> liveObjects{0};
};

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

bool equalNoCase(const std::wstring& a, const std::wstring& b) {
    return a.size() == b.size() && _wcsicmp(a.c_str(), b.c_str()) == 0;
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

// --- automation objects -------------------------------------------------------------------

enum class Kind {
    Application,
    Workbooks,
    Workbook,
    Worksheets,
    Worksheet,
    Range,
    Name,
    Window,
    Shape
};

const wchar_t* kindName(Kind k) {
    switch (k) {
    case Kind::Application:
        return L"Application";
    case Kind::Workbooks:
        return L"Workbooks";
    case Kind::Workbook:
        return L"Workbook";
    case Kind::Worksheets:
        return L"Worksheets";
    case Kind::Worksheet:
        return L"Worksheet";
    case Kind::Range:
        return L"Range";
    case Kind::Name:
        return L"Name";
    case Kind::Window:
        return L"Window";
    case Kind::Shape:
        return L"Shape";
    }
    return L"";
}

constexpr WORD kGet = DISPATCH_PROPERTYGET;
constexpr WORD kPut = DISPATCH_PROPERTYPUT;
constexpr WORD kMethod = DISPATCH_METHOD;

struct Member {
    Kind kind;
    const wchar_t* name;
    DISPID id;
    WORD flags;
};

// Excel's own member numbers.
const Member kMembers[] = {
    {Kind::Application, L"Visible", 0x22E, kGet | kPut},
    {Kind::Application, L"Version", 0x188, kGet},
    {Kind::Application, L"Hwnd", 0x79E, kGet},
    {Kind::Application, L"Workbooks", 0x23C, kGet},
    {Kind::Application, L"ActiveWorkbook", 0x134, kGet},
    {Kind::Application, L"ActiveSheet", 0x133, kGet},
    {Kind::Application, L"ActiveCell", 0x131, kGet},
    {Kind::Application, L"Selection", 0x93, kGet},
    {Kind::Application, L"DisplayAlerts", 0x157, kGet | kPut},
    {Kind::Application, L"EditDirectlyInCell", 0x3A1, kGet | kPut},
    {Kind::Application, L"Interactive", 0x169, kGet | kPut},
    {Kind::Application, L"Quit", 0x12E, kMethod},
    {Kind::Application, L"Application", 0x94, kGet},
    {Kind::Application, L"Name", 0x6E, kGet},
    {Kind::Workbooks, L"Count", 0x76, kGet},
    {Kind::Workbooks, L"Item", 0xAA, kGet | kMethod},
    {Kind::Workbooks, L"Add", 0xB5, kMethod},
    {Kind::Workbooks, L"Open", 0x2AA, kMethod},
    {Kind::Workbooks, L"Application", 0x94, kGet},
    {Kind::Workbook, L"ActiveSheet", 0x133, kGet},
    {Kind::Workbook, L"Worksheets", 0x1EE, kGet},
    {Kind::Workbook, L"FullName", 0x121, kGet},
    {Kind::Workbook, L"Name", 0x6E, kGet},
    {Kind::Workbook, L"ReadOnly", 0x128, kGet},
    {Kind::Workbook, L"Save", 0x11B, kMethod},
    {Kind::Workbook, L"Close", 0x115, kMethod},
    {Kind::Workbook, L"Activate", 0x130, kMethod},
    {Kind::Workbook, L"Application", 0x94, kGet},
    {Kind::Worksheets, L"Count", 0x76, kGet},
    {Kind::Worksheets, L"Item", 0xAA, kGet | kMethod},
    {Kind::Worksheets, L"Application", 0x94, kGet},
    {Kind::Worksheet, L"Name", 0x6E, kGet},
    {Kind::Worksheet, L"Visible", 0x22E, kGet | kPut},
    {Kind::Worksheet, L"Activate", 0x130, kMethod},
    {Kind::Worksheet, L"Range", 0xC5, kGet},
    {Kind::Worksheet, L"Cells", 0xEE, kGet},
    {Kind::Worksheet, L"UsedRange", 0x19C, kGet},
    {Kind::Worksheet, L"Application", 0x94, kGet},
    {Kind::Range, L"Item", 0xAA, kGet},
    {Kind::Range, L"Text", 0x8A, kGet},
    {Kind::Range, L"Address", 0xEC, kGet},
    {Kind::Range, L"Resize", 0x100, kGet},
    {Kind::Range, L"Value", 0x6, kGet | kPut},
    {Kind::Range, L"Columns", 0xF1, kGet},
    {Kind::Range, L"AutoFit", 0xED, kMethod},
    {Kind::Range, L"Name", 0x6E, kGet},
    {Kind::Range, L"Row", 0x101, kGet},
    {Kind::Range, L"Column", 0xF0, kGet},
    {Kind::Range, L"Count", 0x76, kGet},
    {Kind::Range, L"Worksheet", 0x15C, kGet},
    {Kind::Range, L"Application", 0x94, kGet},
    {Kind::Name, L"Name", 0x6E, kGet},
    {Kind::Name, L"RefersTo", 0x3AA, kGet},
    {Kind::Name, L"Application", 0x94, kGet},
    {Kind::Window, L"ActiveSheet", 0x133, kGet},
    {Kind::Window, L"ActiveCell", 0x131, kGet},
    {Kind::Window, L"Application", 0x94, kGet},
    {Kind::Shape, L"Name", 0x6E, kGet},
    {Kind::Shape, L"Application", 0x94, kGet},
};

const Member* findMember(Kind kind, DISPID id, WORD flags) {
    for (const Member& m : kMembers)
        if (m.kind == kind && m.id == id && (m.flags & flags))
            return &m;
    return nullptr;
}

// The arguments in the order the caller wrote them; a missing one is null.
struct Args {
    std::vector<const VARIANT*> positional;
    const VARIANT* value = nullptr; // the new value of a property put
    const VARIANT* at(size_t i) const {
        if (i >= positional.size())
            return nullptr;
        const VARIANT* v = positional[i];
        if (v->vt == VT_ERROR && v->scode == DISP_E_PARAMNOTFOUND)
            return nullptr;
        return v;
    }
};

const VARIANT* deref(const VARIANT* v) {
    while (v && v->vt == (VT_VARIANT | VT_BYREF))
        v = v->pvarVal;
    return v;
}

// A failure as Excel raises it: DISP_E_EXCEPTION with its text and code 0x800A03EC.
struct ExcelFailure {
    std::wstring description;
};
// A failure returned as a plain code (bad index, type mismatch).
struct CodeFailure {
    HRESULT code;
};

[[noreturn]] void raise(const std::wstring& description) {
    throw ExcelFailure{description};
}
[[noreturn]] void fail(HRESULT code) {
    throw CodeFailure{code};
}

long argLong(const VARIANT* v) {
    if (!v)
        fail(DISP_E_PARAMNOTFOUND);
    VARIANT out;
    VariantInit(&out);
    HRESULT hr = VariantChangeType(&out, v, 0, VT_I4);
    if (FAILED(hr))
        fail(DISP_E_TYPEMISMATCH);
    return out.lVal;
}

bool argBool(const VARIANT* v) {
    return argLong(v) != 0;
}

std::wstring argText(const VARIANT* v) {
    if (!v)
        fail(DISP_E_PARAMNOTFOUND);
    VARIANT out;
    VariantInit(&out);
    HRESULT hr = VariantChangeType(&out, v, 0, VT_BSTR);
    if (FAILED(hr))
        fail(DISP_E_TYPEMISMATCH);
    std::wstring s = out.bstrVal ? out.bstrVal : L"";
    VariantClear(&out);
    return s;
}

void setBool(VARIANT* r, bool b) {
    if (!r)
        return;
    r->vt = VT_BOOL;
    r->boolVal = b ? VARIANT_TRUE : VARIANT_FALSE;
}
void setLong(VARIANT* r, long n) {
    if (!r)
        return;
    r->vt = VT_I4;
    r->lVal = static_cast<LONG>(n);
}
void setText(VARIANT* r, const std::wstring& s) {
    if (!r)
        return;
    r->vt = VT_BSTR;
    r->bstrVal = SysAllocStringLen(s.c_str(), static_cast<UINT>(s.size()));
}

class AutoObject;
void setObject(VARIANT* r, AutoObject* object);

class AutoObject : public IDispatch {
public:
    AutoObject(Kind kind, InstancePtr inst) : m_kind(kind), m_inst(std::move(inst)) {
        ++world().liveObjects;
    }
    virtual ~AutoObject() { --world().liveObjects; }
    AutoObject(const AutoObject&) = delete;
    AutoObject& operator=(const AutoObject&) = delete;

    HRESULT QueryInterface(REFIID riid, void** object) override {
        if (!object)
            return E_POINTER;
        if (riid == IID_IUnknown || riid == IID_IDispatch || answers(riid)) {
            *object = static_cast<IDispatch*>(this);
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++m_refs; }
    ULONG Release() override {
        ULONG n = --m_refs;
        if (n == 0)
            delete this;
        return n;
    }
    HRESULT GetTypeInfoCount(UINT* count) override {
        if (count)
            *count = 0;
        return S_OK;
    }
    HRESULT GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
        if (!names || !ids || count == 0)
            return E_INVALIDARG;
        HRESULT hr = S_OK;
        for (UINT i = 0; i < count; ++i) {
            ids[i] = DISPID_UNKNOWN;
            if (i > 0) { // named arguments are not supported
                hr = DISP_E_UNKNOWNNAME;
                continue;
            }
            for (const Member& m : kMembers)
                if (m.kind == m_kind && names[i] && _wcsicmp(m.name, names[i]) == 0) {
                    ids[i] = m.id;
                    break;
                }
            if (ids[i] == DISPID_UNKNOWN)
                hr = DISP_E_UNKNOWNNAME;
        }
        return hr;
    }
    HRESULT Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* params, VARIANT* result,
                   EXCEPINFO* info, UINT*) override;

protected:
    virtual bool answers(REFIID) const { return false; }
    virtual void call(const Member& m, WORD flags, const Args& args, VARIANT* result) = 0;
    Instance& inst() const { return *m_inst; }
    const InstancePtr& instPtr() const { return m_inst; }

private:
    Kind m_kind;
    InstancePtr m_inst;
    ULONG m_refs = 1;
};

void setObject(VARIANT* r, AutoObject* object) {
    if (!r) {
        if (object)
            object->Release();
        return;
    }
    r->vt = VT_DISPATCH;
    r->pdispVal = object;
}

void fillException(EXCEPINFO* info, const std::wstring& description) {
    if (!info)
        return;
    std::memset(static_cast<void*>(info), 0, sizeof *info);
    info->bstrSource = SysAllocString(L"Microsoft Excel");
    info->bstrDescription = SysAllocString(description.c_str());
    info->scode = kExcelError;
}

HRESULT AutoObject::Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* params, VARIANT* result,
                           EXCEPINFO* info, UINT*) {
    const Member* m = findMember(m_kind, id, flags);
    if (!m)
        return DISP_E_MEMBERNOTFOUND;
    std::wstring key = std::wstring(kindName(m_kind)) + L"." + m->name;
    World& w = world();
    ++w.calls[key];
    w.callLog.push_back(key);
    auto injected = w.failures.find(key);
    if (injected != w.failures.end()) {
        HRESULT code = injected->second;
        w.failures.erase(injected);
        return code;
    }
    if (!m_inst->running)
        return RPC_E_DISCONNECTED;

    Args args;
    if (params) {
        UINT named = params->cNamedArgs;
        if (named > 1 || (named == 1 && (!params->rgdispidNamedArgs ||
                                         params->rgdispidNamedArgs[0] != DISPID_PROPERTYPUT)))
            return DISP_E_NONAMEDARGS;
        if (params->cArgs && !params->rgvarg)
            return E_INVALIDARG;
        UINT positional = params->cArgs - named;
        if (named == 1) {
            if (params->cArgs == 0)
                return DISP_E_BADPARAMCOUNT;
            args.value = deref(&params->rgvarg[0]);
        }
        for (UINT i = 0; i < positional; ++i)
            args.positional.push_back(deref(&params->rgvarg[params->cArgs - 1 - i]));
    }
    WORD kind = flags;
    if ((flags & kPut) && !args.value)
        return DISP_E_PARAMNOTOPTIONAL;
    if (flags & kPut)
        kind = kPut;
    else if ((flags & kGet) && (m->flags & kGet))
        kind = kGet;
    else
        kind = kMethod;
    VARIANT scratch;
    VariantInit(&scratch);
    try {
        call(*m, kind, args, &scratch);
    } catch (const ExcelFailure& e) {
        VariantClear(&scratch);
        fillException(info, e.description);
        return DISP_E_EXCEPTION;
    } catch (const CodeFailure& e) {
        VariantClear(&scratch);
        return e.code;
    } catch (const std::bad_alloc&) {
        VariantClear(&scratch);
        return E_OUTOFMEMORY;
    }
    if (result) {
        VariantClear(result);
        std::memcpy(static_cast<void*>(result), &scratch, sizeof scratch);
    } else {
        VariantClear(&scratch);
    }
    return S_OK;
}

[[noreturn]] void defaultFailure() {
    raise(L"Application-defined or object-defined error");
}

// --- objects ------------------------------------------------------------------------------

AutoObject* makeApplication(const InstancePtr& inst);
AutoObject* makeWorkbooks(const InstancePtr& inst);
AutoObject* makeWorkbook(const InstancePtr& inst, const BookPtr& book);
AutoObject* makeWorksheets(const InstancePtr& inst, const BookPtr& book);
AutoObject* makeWorksheet(const InstancePtr& inst, const BookPtr& book, int sheet);
AutoObject* makeRange(const InstancePtr& inst, const BookPtr& book, int sheet,
                      std::vector<RangeRef> areas, bool columns = false);
AutoObject* makeName(const InstancePtr& inst, const BookPtr& book,
                     const spreadsheet::DefinedName& name);

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

class ApplicationObject : public AutoObject {
public:
    explicit ApplicationObject(InstancePtr i) : AutoObject(Kind::Application, std::move(i)) {}

protected:
    bool answers(REFIID riid) const override { return riid == kIID_Application; }
    void call(const Member& m, WORD kind, const Args& args, VARIANT* r) override {
        Instance& in = inst();
        std::wstring n = m.name;
        if (n == L"Visible") {
            if (kind == kPut) {
                in.visible = argBool(args.value);
                return;
            }
            return setBool(r, in.visible);
        }
        if (n == L"DisplayAlerts") {
            if (kind == kPut) {
                in.displayAlerts = argBool(args.value);
                return;
            }
            return setBool(r, in.displayAlerts);
        }
        if (n == L"EditDirectlyInCell") {
            if (kind == kPut) {
                in.editDirectlyInCell = argBool(args.value);
                return;
            }
            return setBool(r, in.editDirectlyInCell);
        }
        if (n == L"Interactive") {
            if (kind == kPut) {
                in.interactive = argBool(args.value);
                return;
            }
            return setBool(r, in.interactive);
        }
        if (n == L"Version")
            return setText(r, in.version);
        if (n == L"Name")
            return setText(r, L"Microsoft Excel");
        if (n == L"Hwnd")
            return setLong(r, static_cast<long>(reinterpret_cast<uintptr_t>(in.hwnd)));
        if (n == L"Workbooks")
            return setObject(r, makeWorkbooks(instPtr()));
        if (n == L"Application")
            return setObject(r, makeApplication(instPtr()));
        if (n == L"Quit")
            return quit(in);
        BookPtr book;
        int sheet = 0;
        bool hasSheet = activeSheetOf(in, book, sheet);
        if (n == L"ActiveWorkbook")
            return setObject(r, in.active ? makeWorkbook(instPtr(), in.active) : nullptr);
        if (n == L"ActiveSheet")
            return setObject(r, hasSheet ? makeWorksheet(instPtr(), book, sheet) : nullptr);
        if (n == L"ActiveCell") {
            if (!hasSheet)
                return setObject(r, nullptr);
            CellRef a = loadedSheet(book, sheet).activeCell();
            return setObject(r, makeRange(instPtr(), book, sheet, {{a, a}}));
        }
        if (n == L"Selection") {
            if (!hasSheet)
                return setObject(r, nullptr);
            if (in.shapeSelected)
                return setObject(r, makeShapeObject());
            return setObject(r, makeRange(instPtr(), book, sheet, selectionOf(book, sheet)));
        }
        fail(DISP_E_MEMBERNOTFOUND);
    }
    AutoObject* makeShapeObject();
};

// A drawing object that the user selected: no range.
class ShapeObject : public AutoObject {
public:
    explicit ShapeObject(InstancePtr i) : AutoObject(Kind::Shape, std::move(i)) {}

protected:
    void call(const Member& m, WORD, const Args&, VARIANT* r) override {
        if (std::wstring(m.name) == L"Name")
            return setText(r, L"Rectangle 1");
        setObject(r, makeApplication(instPtr()));
    }
};

AutoObject* ApplicationObject::makeShapeObject() {
    return new ShapeObject(instPtr());
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

HWND makeBookWindow(const InstancePtr& inst, const BookPtr& book);

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
               std::string* bytes = nullptr) {
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

class WorkbooksObject : public AutoObject {
public:
    explicit WorkbooksObject(InstancePtr i) : AutoObject(Kind::Workbooks, std::move(i)) {}

protected:
    void call(const Member& m, WORD, const Args& args, VARIANT* r) override {
        Instance& in = inst();
        std::wstring n = m.name;
        if (n == L"Count")
            return setLong(r, static_cast<long>(in.books.size()));
        if (n == L"Application")
            return setObject(r, makeApplication(instPtr()));
        if (n == L"Item") {
            const VARIANT* index = args.at(0);
            if (!index)
                fail(DISP_E_PARAMNOTFOUND);
            if (index->vt == VT_BSTR) {
                std::wstring name = index->bstrVal ? index->bstrVal : L"";
                for (const BookPtr& b : in.books)
                    if (equalNoCase(b->workbook->name(), name))
                        return setObject(r, makeWorkbook(instPtr(), b));
                fail(DISP_E_BADINDEX);
            }
            long i = argLong(index);
            if (i < 1 || size_t(i) > in.books.size())
                fail(DISP_E_BADINDEX);
            return setObject(r, makeWorkbook(instPtr(), in.books[size_t(i) - 1]));
        }
        if (n == L"Add") {
            if (args.at(0))
                raise(L"Add method of Workbooks class failed");
            return setObject(r, makeWorkbook(instPtr(), addNewBook(instPtr())));
        }
        if (n == L"Open") {
            std::wstring path = argText(args.at(0));
            bool readOnly = args.at(2) ? argBool(args.at(2)) : false;
            if (path.empty())
                raise(L"Open method of Workbooks class failed");
            return setObject(r, makeWorkbook(instPtr(), openIn(instPtr(), path, readOnly)));
        }
        fail(DISP_E_MEMBERNOTFOUND);
    }
};

class WorkbookObject : public AutoObject {
public:
    WorkbookObject(InstancePtr i, BookPtr b)
        : AutoObject(Kind::Workbook, std::move(i)), m_book(std::move(b)) {}

protected:
    void call(const Member& m, WORD, const Args& args, VARIANT* r) override {
        if (!m_book->open)
            fail(RPC_E_DISCONNECTED);
        spreadsheet::Workbook& wb = *m_book->workbook;
        std::wstring n = m.name;
        if (n == L"FullName")
            return setText(r, wb.fullName());
        if (n == L"Name")
            return setText(r, m_book->workbook->name());
        if (n == L"ReadOnly")
            return setBool(r, wb.readOnly());
        if (n == L"Worksheets")
            return setObject(r, makeWorksheets(instPtr(), m_book));
        if (n == L"Application")
            return setObject(r, makeApplication(instPtr()));
        if (n == L"ActiveSheet") {
            int s = wb.activeSheet();
            if (s < 0 || size_t(s) >= wb.sheetCount())
                return setObject(r, nullptr);
            return setObject(r, makeWorksheet(instPtr(), m_book, s));
        }
        if (n == L"Activate") {
            setActive(inst(), m_book);
            return;
        }
        if (n == L"Save") {
            if (wb.readOnly())
                raise(L"Cannot save as that name. Document was opened as read-only.");
            Status st = wb.save();
            if (st != Status::Ok)
                raise(L"Microsoft Excel cannot access the file '" + wb.fullName() + L"'. " +
                      spreadsheet::statusText(st));
            return;
        }
        if (n == L"Close") {
            if (args.at(0) && argBool(args.at(0))) {
                Status st = wb.readOnly() ? Status::ReadOnly : wb.save();
                if (st != Status::Ok)
                    raise(L"Close method of Workbook class failed");
            }
            closeBook(inst(), m_book);
            return;
        }
        fail(DISP_E_MEMBERNOTFOUND);
    }

private:
    BookPtr m_book;
};

class WorksheetsObject : public AutoObject {
public:
    WorksheetsObject(InstancePtr i, BookPtr b)
        : AutoObject(Kind::Worksheets, std::move(i)), m_book(std::move(b)) {}

protected:
    void call(const Member& m, WORD, const Args& args, VARIANT* r) override {
        if (!m_book->open)
            fail(RPC_E_DISCONNECTED);
        spreadsheet::Workbook& wb = *m_book->workbook;
        std::wstring n = m.name;
        if (n == L"Count")
            return setLong(r, static_cast<long>(wb.sheetCount()));
        if (n == L"Application")
            return setObject(r, makeApplication(instPtr()));
        if (n == L"Item") {
            const VARIANT* index = args.at(0);
            if (!index)
                fail(DISP_E_PARAMNOTFOUND);
            if (index->vt == VT_BSTR) {
                int s = wb.findSheet(index->bstrVal ? index->bstrVal : L"");
                if (s < 0)
                    fail(DISP_E_BADINDEX);
                return setObject(r, makeWorksheet(instPtr(), m_book, s));
            }
            long i = argLong(index);
            if (i < 1 || size_t(i) > wb.sheetCount())
                fail(DISP_E_BADINDEX);
            return setObject(r, makeWorksheet(instPtr(), m_book, int(i - 1)));
        }
        fail(DISP_E_MEMBERNOTFOUND);
    }

private:
    BookPtr m_book;
};

// Parses one area of an address: "A1", "$A$1:$C$3", "A:C" (whole columns), "2:9" (rows).
bool parseArea(const std::wstring& text, RangeRef& out) {
    if (spreadsheet::parseRangeRef(text, out))
        return true;
    size_t colon = text.find(L':');
    if (colon == std::wstring::npos)
        return false;
    std::wstring a = text.substr(0, colon), b = text.substr(colon + 1);
    auto strip = [](std::wstring s) {
        s.erase(std::remove(s.begin(), s.end(), L'$'), s.end());
        return s;
    };
    a = strip(a);
    b = strip(b);
    auto allDigits = [](const std::wstring& s) {
        return !s.empty() && s.size() <= 7 &&
               std::all_of(s.begin(), s.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
    };
    if (allDigits(a) && allDigits(b)) {
        int r1 = std::stoi(a), r2 = std::stoi(b);
        if (r1 < 1 || r2 < 1 || r1 > spreadsheet::kMaxRows || r2 > spreadsheet::kMaxRows)
            return false;
        out = {{std::min(r1, r2), 1}, {std::max(r1, r2), spreadsheet::kMaxColumns}};
        return true;
    }
    CellRef c1, c2;
    if (spreadsheet::parseCellRef(a + L"1", c1) && spreadsheet::parseCellRef(b + L"1", c2) &&
        a.find_first_of(L"0123456789") == std::wstring::npos &&
        b.find_first_of(L"0123456789") == std::wstring::npos) {
        out = {{1, std::min(c1.col, c2.col)}, {spreadsheet::kMaxRows, std::max(c1.col, c2.col)}};
        return true;
    }
    return false;
}

// An address or defined name as Worksheet.Range reads it, for the sheet `sheet`.
bool resolveAddress(spreadsheet::Workbook& wb, int sheet, std::wstring text,
                    std::vector<RangeRef>& areas) {
    // "Sheet1!A1" names its own sheet only.
    size_t bang = text.rfind(L'!');
    if (bang != std::wstring::npos) {
        std::wstring sheetName = text.substr(0, bang);
        if (sheetName.size() >= 2 && sheetName.front() == L'\'' && sheetName.back() == L'\'')
            sheetName = sheetName.substr(1, sheetName.size() - 2);
        if (wb.findSheet(sheetName) != sheet)
            return false;
        text = text.substr(bang + 1);
    }
    if (text.empty() || text.size() > 2048)
        return false;
    std::vector<RangeRef> out;
    size_t start = 0;
    bool ok = true;
    while (ok && start <= text.size()) {
        size_t comma = text.find(L',', start);
        if (comma == std::wstring::npos)
            comma = text.size();
        RangeRef r;
        std::wstring part = text.substr(start, comma - start);
        if (parseArea(part, r))
            out.push_back(r);
        else
            ok = false;
        start = comma + 1;
    }
    if (ok) {
        areas = out;
        return true;
    }
    const spreadsheet::DefinedName* name = wb.findName(text, sheet);
    if (name && name->sheet == sheet && name->sheet >= 0) {
        areas = {name->range};
        return true;
    }
    return false;
}

std::wstring addressOf(const RangeRef& r, bool rowAbs, bool colAbs, bool r1c1) {
    auto colText = [&](int c) {
        return r1c1 ? L"C" + std::to_wstring(c)
                    : (colAbs ? L"$" : L"") + spreadsheet::columnLetters(c);
    };
    auto rowText = [&](int row) {
        return r1c1 ? L"R" + std::to_wstring(row) : (rowAbs ? L"$" : L"") + std::to_wstring(row);
    };
    bool wholeCols = r.first.row == 1 && r.last.row == spreadsheet::kMaxRows;
    bool wholeRows = r.first.col == 1 && r.last.col == spreadsheet::kMaxColumns;
    if (wholeRows && !wholeCols)
        return rowText(r.first.row) + L":" + rowText(r.last.row);
    if (wholeCols && !wholeRows)
        return colText(r.first.col) + L":" + colText(r.last.col);
    auto cell = [&](CellRef c) {
        return r1c1 ? rowText(c.row) + colText(c.col) : colText(c.col) + rowText(c.row);
    };
    if (r.first == r.last)
        return cell(r.first);
    return cell(r.first) + L":" + cell(r.last);
}

class WorksheetObject : public AutoObject {
public:
    WorksheetObject(InstancePtr i, BookPtr b, int s)
        : AutoObject(Kind::Worksheet, std::move(i)), m_book(std::move(b)), m_sheet(s) {}

protected:
    void call(const Member& m, WORD kind, const Args& args, VARIANT* r) override {
        if (!m_book->open)
            fail(RPC_E_DISCONNECTED);
        spreadsheet::Workbook& wb = *m_book->workbook;
        spreadsheet::Worksheet& ws = wb.sheet(size_t(m_sheet));
        std::wstring n = m.name;
        if (n == L"Name")
            return setText(r, ws.name());
        if (n == L"Application")
            return setObject(r, makeApplication(instPtr()));
        if (n == L"Visible") {
            if (kind == kPut) {
                long v = argLong(args.value);
                spreadsheet::SheetState state = v == 0   ? spreadsheet::SheetState::Hidden
                                                : v == 2 ? spreadsheet::SheetState::VeryHidden
                                                         : spreadsheet::SheetState::Visible;
                if (state != spreadsheet::SheetState::Visible) {
                    int visible = 0;
                    for (size_t i = 0; i < wb.sheetCount(); ++i)
                        if (wb.sheet(i).state() == spreadsheet::SheetState::Visible)
                            ++visible;
                    if (ws.state() == spreadsheet::SheetState::Visible && visible <= 1)
                        raise(L"Unable to set the Visible property of the Worksheet class");
                }
                if (state != ws.state())
                    ws.setState(state);
                return;
            }
            long v = ws.state() == spreadsheet::SheetState::Visible  ? -1
                     : ws.state() == spreadsheet::SheetState::Hidden ? 0
                                                                     : 2;
            return setLong(r, v);
        }
        if (n == L"Activate") {
            if (ws.state() != spreadsheet::SheetState::Visible)
                raise(L"Activate method of Worksheet class failed");
            wb.setActiveSheet(m_sheet);
            setActive(inst(), m_book);
            return;
        }
        if (n == L"Range") {
            loadedSheet(m_book, m_sheet);
            std::vector<RangeRef> first;
            if (!rangeArg(args.at(0), first))
                raise(L"Method 'Range' of object '_Worksheet' failed");
            if (const VARIANT* second = args.at(1)) {
                std::vector<RangeRef> other;
                if (!rangeArg(second, other))
                    raise(L"Method 'Range' of object '_Worksheet' failed");
                RangeRef a = first.front(), b = other.front();
                RangeRef box{
                    {std::min(a.first.row, b.first.row), std::min(a.first.col, b.first.col)},
                    {std::max(a.last.row, b.last.row), std::max(a.last.col, b.last.col)}};
                first = {box};
            }
            return setObject(r, makeRange(instPtr(), m_book, m_sheet, first));
        }
        if (n == L"Cells") {
            loadedSheet(m_book, m_sheet);
            return setObject(
                r, makeRange(instPtr(), m_book, m_sheet,
                             {{{1, 1}, {spreadsheet::kMaxRows, spreadsheet::kMaxColumns}}}));
        }
        if (n == L"UsedRange")
            return setObject(r, makeRange(instPtr(), m_book, m_sheet,
                                          {loadedSheet(m_book, m_sheet).usedRange()}));
        fail(DISP_E_MEMBERNOTFOUND);
    }

private:
    bool rangeArg(const VARIANT* v, std::vector<RangeRef>& areas);
    BookPtr m_book;
    int m_sheet;
};

class RangeObject : public AutoObject {
public:
    RangeObject(InstancePtr i, BookPtr b, int s, std::vector<RangeRef> areas, bool columns)
        : AutoObject(Kind::Range, std::move(i)), m_book(std::move(b)), m_sheet(s),
          m_areas(std::move(areas)), m_columns(columns) {}
    const BookPtr& book() const { return m_book; }
    int sheet() const { return m_sheet; }
    const std::vector<RangeRef>& areas() const { return m_areas; }

protected:
    bool answers(REFIID riid) const override { return riid == kIID_Range; }
    void call(const Member& m, WORD kind, const Args& args, VARIANT* r) override {
        if (!m_book->open)
            fail(RPC_E_DISCONNECTED);
        spreadsheet::Worksheet& ws = loadedSheet(m_book, m_sheet);
        const RangeRef& area = m_areas.front();
        std::wstring n = m.name;
        if (n == L"Application")
            return setObject(r, makeApplication(instPtr()));
        if (n == L"Worksheet")
            return setObject(r, makeWorksheet(instPtr(), m_book, m_sheet));
        if (n == L"Row")
            return setLong(r, area.first.row);
        if (n == L"Column")
            return setLong(r, area.first.col);
        if (n == L"Count") {
            long long count = 0;
            for (const RangeRef& a : m_areas)
                count += m_columns ? a.columns() : (long long)a.rows() * a.columns();
            return setLong(r, static_cast<long>(std::min<long long>(count, 0x7FFFFFFF)));
        }
        if (n == L"Item") {
            long row = argLong(args.at(0));
            long col = args.at(1) ? argLong(args.at(1)) : 1;
            long long rr = (long long)area.first.row + row - 1;
            long long cc = (long long)area.first.col + col - 1;
            if (!args.at(1)) { // one index counts across the rows of the area
                long long width = area.columns();
                long long k = row - 1;
                rr = area.first.row + (k >= 0 ? k / width : -1);
                cc = area.first.col + (k >= 0 ? k % width : 0);
            }
            if (rr < 1 || cc < 1 || rr > spreadsheet::kMaxRows || cc > spreadsheet::kMaxColumns)
                defaultFailure();
            CellRef c{int(rr), int(cc)};
            return setObject(r, makeRange(instPtr(), m_book, m_sheet, {{c, c}}));
        }
        if (n == L"Text") {
            std::wstring first = ws.text(area.first.row, area.first.col);
            noteIfStale(ws, area.first.row, area.first.col);
            long long cells = (long long)area.rows() * area.columns();
            if (cells > 1 && cells <= 100000) {
                for (int row = area.first.row; row <= area.last.row; ++row)
                    for (int col = area.first.col; col <= area.last.col; ++col)
                        if (ws.text(row, col) != first) {
                            r->vt = VT_NULL; // cells that differ have no common text
                            return;
                        }
            } else if (cells > 100000) {
                r->vt = VT_NULL;
                return;
            }
            return setText(r, first);
        }
        if (n == L"Address") {
            bool rowAbs = args.at(0) ? argBool(args.at(0)) : true;
            bool colAbs = args.at(1) ? argBool(args.at(1)) : true;
            long style = args.at(2) ? argLong(args.at(2)) : 1;
            bool external = args.at(3) ? argBool(args.at(3)) : false;
            if (style != 1 && style != -4150)
                raise(L"Unable to get the Address property of the Range class");
            std::wstring text;
            for (size_t i = 0; i < m_areas.size(); ++i) {
                if (i)
                    text += L",";
                RangeRef a = m_areas[i];
                if (m_columns)
                    a = {{1, a.first.col}, {spreadsheet::kMaxRows, a.last.col}};
                text += addressOf(a, rowAbs, colAbs, style == -4150);
            }
            if (external)
                text = L"[" + m_book->workbook->name() + L"]" + ws.name() + L"!" + text;
            return setText(r, text);
        }
        if (n == L"Resize") {
            long rows = args.at(0) ? argLong(args.at(0)) : area.rows();
            long cols = args.at(1) ? argLong(args.at(1)) : area.columns();
            if (rows < 1 || cols < 1 ||
                area.first.row + (long long)rows - 1 > spreadsheet::kMaxRows ||
                area.first.col + (long long)cols - 1 > spreadsheet::kMaxColumns)
                defaultFailure();
            RangeRef sized{area.first,
                           {int(area.first.row + rows - 1), int(area.first.col + cols - 1)}};
            return setObject(r, makeRange(instPtr(), m_book, m_sheet, {sized}));
        }
        if (n == L"Columns")
            return setObject(r, makeRange(instPtr(), m_book, m_sheet, m_areas, true));
        if (n == L"AutoFit") {
            bool wholeColumns =
                m_columns || (area.first.row == 1 && area.last.row == spreadsheet::kMaxRows);
            if (!wholeColumns)
                raise(L"AutoFit method of Range class failed");
            for (const RangeRef& a : m_areas)
                ws.autoFitColumns(a.first.col, std::min(a.last.col, ws.usedRange().last.col));
            return setBool(r, true);
        }
        if (n == L"Value") {
            if (kind == kPut)
                return putValue(ws, area, args.value);
            return getValue(ws, area, r);
        }
        if (n == L"Name") {
            spreadsheet::Workbook& wb = *m_book->workbook;
            for (const spreadsheet::DefinedName& d : wb.names())
                if (d.sheet == m_sheet && m_areas.size() == 1 && d.range == area)
                    return setObject(r, makeName(instPtr(), m_book, d));
            defaultFailure();
        }
        fail(DISP_E_MEMBERNOTFOUND);
    }

private:
    void putValue(spreadsheet::Worksheet& ws, const RangeRef& area, const VARIANT* value);
    void getValue(spreadsheet::Worksheet& ws, const RangeRef& area, VARIANT* r);

    BookPtr m_book;
    int m_sheet;
    std::vector<RangeRef> m_areas;
    bool m_columns;
};

bool WorksheetObject::rangeArg(const VARIANT* v, std::vector<RangeRef>& areas) {
    if (!v)
        return false;
    if (v->vt == VT_DISPATCH && v->pdispVal) {
        void* object = nullptr;
        if (FAILED(v->pdispVal->QueryInterface(kIID_Range, &object)))
            return false;
        auto* range =
            static_cast<RangeObject*>(static_cast<AutoObject*>(static_cast<IDispatch*>(object)));
        bool same = range->book() == m_book && range->sheet() == m_sheet;
        if (same)
            areas = range->areas();
        range->Release();
        return same;
    }
    if (v->vt != VT_BSTR)
        return false;
    return resolveAddress(*m_book->workbook, m_sheet, v->bstrVal ? v->bstrVal : L"", areas);
}

// Entered as typed: the texts of the array, row by row; a scalar fills every cell.
void RangeObject::putValue(spreadsheet::Worksheet& ws, const RangeRef& area, const VARIANT* value) {
    if (!value)
        fail(DISP_E_PARAMNOTOPTIONAL);
    long long cells = (long long)area.rows() * area.columns();
    std::vector<std::vector<std::wstring>> block;
    if (value->vt & VT_ARRAY) {
        SAFEARRAY* a = (value->vt & VT_BYREF) ? nullptr : value->parray;
        if (!a || !a->pvData || SafeArrayGetDim(a) < 1 || SafeArrayGetDim(a) > 2)
            fail(DISP_E_TYPEMISMATCH);
        LONG l1 = 0, u1 = -1, l2 = 0, u2 = 0;
        SafeArrayGetLBound(a, 1, &l1);
        SafeArrayGetUBound(a, 1, &u1);
        bool twoDims = SafeArrayGetDim(a) == 2;
        if (twoDims) {
            SafeArrayGetLBound(a, 2, &l2);
            SafeArrayGetUBound(a, 2, &u2);
        }
        // A one-dimensional array is one row.
        long arrayRows = twoDims ? u1 - l1 + 1 : 1;
        long arrayCols = twoDims ? u2 - l2 + 1 : u1 - l1 + 1;
        long rows = std::min<long>(arrayRows, area.rows());
        long cols = std::min<long>(arrayCols, area.columns());
        VARTYPE elementType = static_cast<VARTYPE>(value->vt & VT_TYPEMASK);
        for (long i = 0; i < rows; ++i) {
            std::vector<std::wstring> row;
            for (long j = 0; j < cols; ++j) {
                LONG idx[2] = {LONG(twoDims ? l1 + i : l1 + j), LONG(l2 + j)};
                VARIANT element;
                VariantInit(&element);
                if (elementType == VT_BSTR) {
                    BSTR s = nullptr;
                    if (FAILED(SafeArrayGetElement(a, idx, &s)))
                        fail(DISP_E_BADINDEX);
                    row.emplace_back(s ? s : L"");
                    SysFreeString(s);
                    continue;
                }
                if (elementType != VT_VARIANT || FAILED(SafeArrayGetElement(a, idx, &element)))
                    fail(DISP_E_TYPEMISMATCH);
                std::wstring text = element.vt == VT_EMPTY ? L"" : argText(&element);
                VariantClear(&element);
                row.push_back(text);
            }
            block.push_back(std::move(row));
        }
    } else {
        if (cells > 1000000)
            defaultFailure();
        std::wstring text = value->vt == VT_EMPTY ? L"" : argText(value);
        block.assign(size_t(area.rows()), std::vector<std::wstring>(size_t(area.columns()), text));
    }
    if (ws.putTexts(area.first.row, area.first.col, block) != Status::Ok)
        defaultFailure();
}

void RangeObject::getValue(spreadsheet::Worksheet& ws, const RangeRef& area, VARIANT* r) {
    auto cellValue = [&](int row, int col, VARIANT* out) {
        spreadsheet::CellValue v = ws.value(row, col);
        noteIfStale(ws, row, col);
        switch (v.type) {
        case spreadsheet::CellType::Empty:
            out->vt = VT_EMPTY;
            break;
        case spreadsheet::CellType::Number:
            out->vt = VT_R8;
            out->dblVal = v.number;
            break;
        case spreadsheet::CellType::Boolean:
            setBool(out, v.number != 0);
            break;
        case spreadsheet::CellType::String:
            setText(out, v.string);
            break;
        case spreadsheet::CellType::Error:
            out->vt = VT_ERROR;
            out->scode = static_cast<SCODE>(0x800A07D7); // #N/A and kin as CVErr values
            break;
        }
    };
    long long cells = (long long)area.rows() * area.columns();
    if (cells == 1)
        return cellValue(area.first.row, area.first.col, r);
    if (cells > 1000000)
        defaultFailure();
    SAFEARRAYBOUND bounds[2] = {{ULONG(area.rows()), 1}, {ULONG(area.columns()), 1}};
    SAFEARRAY* a = SafeArrayCreate(VT_VARIANT, 2, bounds);
    if (!a)
        fail(E_OUTOFMEMORY);
    for (int i = 0; i < area.rows(); ++i)
        for (int j = 0; j < area.columns(); ++j) {
            VARIANT v;
            VariantInit(&v);
            cellValue(area.first.row + i, area.first.col + j, &v);
            LONG idx[2] = {i + 1, j + 1};
            SafeArrayPutElement(a, idx, &v);
            VariantClear(&v);
        }
    r->vt = VT_ARRAY | VT_VARIANT;
    r->parray = a;
}

class NameObject : public AutoObject {
public:
    NameObject(InstancePtr i, BookPtr b, spreadsheet::DefinedName d)
        : AutoObject(Kind::Name, std::move(i)), m_book(std::move(b)), m_name(std::move(d)) {}

protected:
    void call(const Member& m, WORD, const Args&, VARIANT* r) override {
        std::wstring n = m.name;
        if (n == L"Application")
            return setObject(r, makeApplication(instPtr()));
        if (n == L"RefersTo")
            return setText(r, L"=" + m_name.refersTo);
        std::wstring text = m_name.name;
        if (m_name.scopeSheet >= 0 && size_t(m_name.scopeSheet) < m_book->workbook->sheetCount())
            text = m_book->workbook->sheet(size_t(m_name.scopeSheet)).name() + L"!" + text;
        setText(r, text);
    }

private:
    BookPtr m_book;
    spreadsheet::DefinedName m_name;
};

// The window of a workbook, reached through accessibility.
class WindowObject : public AutoObject {
public:
    WindowObject(InstancePtr i, BookPtr b)
        : AutoObject(Kind::Window, std::move(i)), m_book(std::move(b)) {}

protected:
    bool answers(REFIID riid) const override { return riid == kIID_Window; }
    void call(const Member& m, WORD, const Args&, VARIANT* r) override {
        if (!m_book->open)
            fail(RPC_E_DISCONNECTED);
        std::wstring n = m.name;
        if (n == L"Application")
            return setObject(r, makeApplication(instPtr()));
        int s = m_book->workbook->activeSheet();
        if (n == L"ActiveSheet")
            return setObject(r, makeWorksheet(instPtr(), m_book, s));
        CellRef a = loadedSheet(m_book, s).activeCell();
        setObject(r, makeRange(instPtr(), m_book, s, {{a, a}}));
    }

private:
    BookPtr m_book;
};

AutoObject* makeApplication(const InstancePtr& inst) {
    return new ApplicationObject(inst);
}
AutoObject* makeWorkbooks(const InstancePtr& inst) {
    return new WorkbooksObject(inst);
}
AutoObject* makeWorkbook(const InstancePtr& inst, const BookPtr& book) {
    return new WorkbookObject(inst, book);
}
AutoObject* makeWorksheets(const InstancePtr& inst, const BookPtr& book) {
    return new WorksheetsObject(inst, book);
}
AutoObject* makeWorksheet(const InstancePtr& inst, const BookPtr& book, int sheet) {
    return new WorksheetObject(inst, book, sheet);
}
AutoObject* makeRange(const InstancePtr& inst, const BookPtr& book, int sheet,
                      std::vector<RangeRef> areas, bool columns) {
    return new RangeObject(inst, book, sheet, std::move(areas), columns);
}
AutoObject* makeName(const InstancePtr& inst, const BookPtr& book,
                     const spreadsheet::DefinedName& name) {
    return new NameObject(inst, book, name);
}

HWND makeBookWindow(const InstancePtr& inst, const BookPtr& book) {
    std::weak_ptr<Instance> wi = inst;
    std::weak_ptr<Book> wb = book;
    lmhost::WindowRecord record;
    record.className = L"EXCEL7";
    record.text = book->workbook->name();
    record.nativeObject = [wi, wb](REFIID riid, void** object) -> HRESULT {
        auto i = wi.lock();
        auto b = wb.lock();
        if (!i || !b || !i->running || !b->open)
            return E_FAIL;
        AutoObject* window = new WindowObject(i, b);
        HRESULT hr = window->QueryInterface(riid, object);
        window->Release();
        return hr;
    };
    return lmhost::createWindow(std::move(record));
}

// --- instances ----------------------------------------------------------------------------

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

} // namespace

// --- control ------------------------------------------------------------------------------

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
    auto it = world().calls.find(member);
    return it == world().calls.end() ? 0 : it->second;
}

const std::vector<std::wstring>& callLog() {
    return world().callLog;
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
