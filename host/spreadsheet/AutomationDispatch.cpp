// Dispatch of automation calls: names to ids, arguments out of DISPPARAMS, calls counted
// and failures injected, Excel's exceptions filled in.
#include "spreadsheet/AutomationDispatch.h"

#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <vector>

namespace excelhost::automation {

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

const std::vector<std::wstring>& memberKeys() {
    static const std::vector<std::wstring> keys = [] {
        std::vector<std::wstring> all;
        for (const Member& each : kMembers)
            all.push_back(std::wstring(kindName(each.kind)) + L"." + each.name);
        return all;
    }();
    return keys;
}

int memberIndex(const std::wstring& key) {
    const std::vector<std::wstring>& keys = memberKeys();
    for (std::size_t i = 0; i < keys.size(); ++i)
        if (keys[i] == key)
            return static_cast<int>(i);
    return -1;
}

const VARIANT* deref(const VARIANT* v) {
    while (v && v->vt == (VT_VARIANT | VT_BYREF))
        v = v->pvarVal;
    return v;
}

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

HRESULT AutoObject::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
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
    const std::size_t index = std::size_t(m - kMembers);
    World& w = world();
    if (w.calls.size() != std::size(kMembers))
        w.calls.assign(std::size(kMembers), 0);
    ++w.calls[index];
    if (w.callLog.size() == 2 * kCallLogKept)
        w.callLog.erase(w.callLog.begin(), w.callLog.begin() + kCallLogKept);
    w.callLog.push_back(static_cast<std::uint16_t>(index));
    if (!w.failures.empty()) {
        auto injected = w.failures.find(memberKeys()[index]);
        if (injected != w.failures.end()) {
            HRESULT code = injected->second;
            w.failures.erase(injected);
            return code;
        }
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
        args.reversed = params->rgvarg + named;
        args.count = positional;
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

} // namespace excelhost::automation
