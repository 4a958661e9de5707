// The automation server's dispatch machinery: member tables by dispatch id, arguments,
// results, Excel's failures, and the object base that answers IDispatch. Only the
// automation server's own files include this.
#pragma once

#include "spreadsheet/ExcelInstances.h"

#include <string>
#include <vector>

namespace excelhost::automation {

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

const wchar_t* kindName(Kind k);

constexpr WORD kGet = DISPATCH_PROPERTYGET;
constexpr WORD kPut = DISPATCH_PROPERTYPUT;
constexpr WORD kMethod = DISPATCH_METHOD;

struct Member {
    Kind kind;
    const wchar_t* name;
    DISPID id;
    WORD flags;
};

const Member* findMember(Kind kind, DISPID id, WORD flags);
// "Kind.Member" of each entry of the member table, by its place in the table; -1 for an
// unknown key.
const std::vector<std::wstring>& memberKeys();
int memberIndex(const std::wstring& key);
// Calls kept in the log: at least this many of the latest.
constexpr std::size_t kCallLogKept = 1 << 16;

const VARIANT* deref(const VARIANT* v);

// The arguments in the order the caller wrote them; a missing one is null.
struct Args {
    // The caller's DISPPARAMS hold them last to first.
    const VARIANT* reversed = nullptr;
    size_t count = 0;
    const VARIANT* value = nullptr; // the new value of a property put
    const VARIANT* at(size_t i) const {
        if (i >= count)
            return nullptr;
        const VARIANT* v = deref(&reversed[count - 1 - i]);
        if (v->vt == VT_ERROR && v->scode == DISP_E_PARAMNOTFOUND)
            return nullptr;
        return v;
    }
};

// A failure as Excel raises it: DISP_E_EXCEPTION with its text and code 0x800A03EC.
struct ExcelFailure {
    std::wstring description;
};
// A failure returned as a plain code (bad index, type mismatch).
struct CodeFailure {
    HRESULT code;
};

[[noreturn]] void raise(const std::wstring& description);
[[noreturn]] void fail(HRESULT code);
[[noreturn]] void defaultFailure();

long argLong(const VARIANT* v);
bool argBool(const VARIANT* v);
std::wstring argText(const VARIANT* v);
void setBool(VARIANT* r, bool b);
void setLong(VARIANT* r, long n);
void setText(VARIANT* r, const std::wstring& s);

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
    HRESULT GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override;
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

void fillException(EXCEPINFO* info, const std::wstring& description);

// The objects, each made in its own file.
AutoObject* makeApplication(const InstancePtr& inst);
AutoObject* makeWorkbooks(const InstancePtr& inst);
AutoObject* makeWorkbook(const InstancePtr& inst, const BookPtr& book);
AutoObject* makeWorksheets(const InstancePtr& inst, const BookPtr& book);
AutoObject* makeWorksheet(const InstancePtr& inst, const BookPtr& book, int sheet);
AutoObject* makeRange(const InstancePtr& inst, const BookPtr& book, int sheet,
                      std::vector<RangeRef> areas, bool columns = false);
AutoObject* makeName(const InstancePtr& inst, const BookPtr& book,
                     const spreadsheet::DefinedName& name);
HWND makeBookWindow(const InstancePtr& inst, const BookPtr& book);

} // namespace excelhost::automation
