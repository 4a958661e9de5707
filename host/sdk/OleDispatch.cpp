// The framework's automation classes: exceptions, COleVariant, COleSafeArray and the
// dispatch driver with InvokeHelper.
#include <cstring>
#include <cwchar>
#include <iterator>
#include <vector>

#include "afxdisp.h"

// --- exceptions ---------------------------------------------------------------------------

void CException::Delete() {
    if (m_bAutoDelete)
        delete this;
}

BOOL CException::GetErrorMessage(LPTSTR error, UINT maxError, UINT* helpContext) const {
    if (helpContext)
        *helpContext = 0;
    if (error && maxError)
        error[0] = 0;
    return FALSE;
}

namespace {
BOOL copyMessage(const wchar_t* text, LPTSTR error, UINT maxError) {
    if (!error || maxError == 0)
        return FALSE;
    wcsncpy_s(error, maxError, text, maxError - 1);
    return TRUE;
}
} // namespace

SCODE COleException::Process(const CException* exception) {
    if (auto* ole = dynamic_cast<const COleException*>(exception))
        return ole->m_sc;
    if (dynamic_cast<const CMemoryException*>(exception))
        return E_OUTOFMEMORY;
    if (dynamic_cast<const CNotSupportedException*>(exception))
        return E_NOTIMPL;
    return E_UNEXPECTED;
}

BOOL COleException::GetErrorMessage(LPTSTR error, UINT maxError, UINT* helpContext) const {
    if (helpContext)
        *helpContext = 0;
    wchar_t* text = nullptr;
    if (FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                           FORMAT_MESSAGE_IGNORE_INSERTS,
                       nullptr, static_cast<DWORD>(m_sc), LANG_USER_DEFAULT,
                       reinterpret_cast<LPWSTR>(&text), 0, nullptr) &&
        text) {
        BOOL ok = copyMessage(text, error, maxError);
        LocalFree(text);
        return ok;
    }
    return copyMessage(L"", error, maxError) && FALSE;
}

COleDispatchException::COleDispatchException(LPCTSTR description, UINT helpId, WORD code)
    : m_wCode(code), m_strDescription(description), m_dwHelpContext(helpId) {}

BOOL COleDispatchException::GetErrorMessage(LPTSTR error, UINT maxError, UINT* helpContext) const {
    if (helpContext)
        *helpContext = m_dwHelpContext;
    return copyMessage(m_strDescription.GetString(), error, maxError);
}

void AfxThrowOleException(SCODE sc) {
    auto* e = new COleException;
    e->m_sc = sc;
    throw static_cast<CException*>(e);
}

void AfxThrowOleDispatchException(WORD code, LPCTSTR description, UINT helpId) {
    throw static_cast<CException*>(new COleDispatchException(description, helpId, code));
}

void AfxThrowMemoryException() {
    throw static_cast<CException*>(new CMemoryException);
}

// --- COleVariant --------------------------------------------------------------------------

const COleVariant vtMissing(static_cast<long>(DISP_E_PARAMNOTFOUND), VT_ERROR);

namespace {
void check(HRESULT hr) {
    if (FAILED(hr))
        AfxThrowOleException(hr);
}
} // namespace

COleVariant::COleVariant(const VARIANT& src) {
    VariantInit(this);
    check(VariantCopy(this, &src));
}

COleVariant::COleVariant(LPCVARIANT src) {
    VariantInit(this);
    if (src)
        check(VariantCopy(this, src));
}

COleVariant::COleVariant(const COleVariant& src) : tagVARIANT() {
    VariantInit(this);
    check(VariantCopy(this, &src));
}

COleVariant::COleVariant(LPCTSTR text) {
    VariantInit(this);
    vt = VT_BSTR;
    bstrVal = SysAllocString(text ? text : L"");
}

COleVariant::COleVariant(const CString& text) : COleVariant(text.GetString()) {}

COleVariant::COleVariant(BYTE value) {
    VariantInit(this);
    vt = VT_UI1;
    bVal = value;
}

COleVariant::COleVariant(short value, VARTYPE type) {
    VariantInit(this);
    if (type == VT_BOOL) {
        vt = VT_BOOL;
        boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    } else {
        vt = VT_I2;
        iVal = value;
    }
}

COleVariant::COleVariant(long value, VARTYPE type) {
    VariantInit(this);
    if (type == VT_BOOL) {
        vt = VT_BOOL;
        boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    } else if (type == VT_ERROR) {
        vt = VT_ERROR;
        scode = static_cast<SCODE>(value);
    } else {
        vt = VT_I4;
        lVal = static_cast<LONG>(value);
    }
}

COleVariant::COleVariant(int value, VARTYPE type) : COleVariant(static_cast<long>(value), type) {}

COleVariant::COleVariant(double value) {
    VariantInit(this);
    vt = VT_R8;
    dblVal = value;
}

COleVariant& COleVariant::operator=(const VARIANT& src) {
    check(VariantCopy(this, &src));
    return *this;
}

COleVariant& COleVariant::operator=(const COleVariant& src) {
    check(VariantCopy(this, &src));
    return *this;
}

COleVariant& COleVariant::operator=(LPCTSTR text) {
    VariantClear(this);
    vt = VT_BSTR;
    bstrVal = SysAllocString(text ? text : L"");
    return *this;
}

COleVariant& COleVariant::operator=(long value) {
    VariantClear(this);
    vt = VT_I4;
    lVal = static_cast<LONG>(value);
    return *this;
}

void COleVariant::ChangeType(VARTYPE type, LPVARIANT src) {
    check(VariantChangeType(this, src ? src : this, 0, type));
}

VARIANT COleVariant::Detach() {
    VARIANT v;
    std::memcpy(static_cast<void*>(&v), static_cast<const VARIANT*>(this), sizeof v);
    VariantInit(this);
    return v;
}

void COleVariant::Attach(VARIANT& src) {
    VariantClear(this);
    std::memcpy(static_cast<void*>(static_cast<VARIANT*>(this)), &src, sizeof src);
    VariantInit(&src);
}

// --- COleSafeArray ------------------------------------------------------------------------

COleSafeArray::COleSafeArray(const COleSafeArray& src) : tagVARIANT() {
    VariantInit(this);
    check(VariantCopy(this, &src));
}

COleSafeArray& COleSafeArray::operator=(const COleSafeArray& src) {
    check(VariantCopy(this, &src));
    return *this;
}

COleSafeArray::~COleSafeArray() {
    Destroy();
}

void COleSafeArray::Create(VARTYPE type, DWORD dims, DWORD* elements) {
    if (!elements || dims == 0 || dims > 8)
        AfxThrowOleException(E_INVALIDARG);
    SAFEARRAYBOUND bounds[8];
    for (DWORD d = 0; d < dims; ++d)
        bounds[d] = {elements[d], 0};
    Create(type, dims, bounds);
}

void COleSafeArray::Create(VARTYPE type, DWORD dims, SAFEARRAYBOUND* bounds) {
    Clear();
    SAFEARRAY* a = SafeArrayCreate(type, dims, bounds);
    if (!a)
        AfxThrowMemoryException();
    vt = static_cast<VARTYPE>(type | VT_ARRAY);
    parray = a;
}

void COleSafeArray::Clear() {
    VariantClear(this);
}

void COleSafeArray::Destroy() {
    Clear();
}

void COleSafeArray::DestroyData() {
    if (!(vt & VT_ARRAY) || !parray)
        return;
    check(SafeArrayDestroyData(parray));
}

DWORD COleSafeArray::GetDim() {
    return (vt & VT_ARRAY) ? SafeArrayGetDim(parray) : 0;
}

DWORD COleSafeArray::GetElemSize() {
    return (vt & VT_ARRAY) ? SafeArrayGetElemsize(parray) : 0;
}

void COleSafeArray::GetLBound(DWORD dim, long* bound) {
    LONG b = 0;
    check(SafeArrayGetLBound((vt & VT_ARRAY) ? parray : nullptr, dim, &b));
    if (bound)
        *bound = b;
}

void COleSafeArray::GetUBound(DWORD dim, long* bound) {
    LONG b = 0;
    check(SafeArrayGetUBound((vt & VT_ARRAY) ? parray : nullptr, dim, &b));
    if (bound)
        *bound = b;
}

namespace {
std::vector<LONG> toIndices(SAFEARRAY* a, const long* indices) {
    std::vector<LONG> out;
    if (a && indices)
        for (USHORT d = 0; d < a->cDims; ++d)
            out.push_back(static_cast<LONG>(indices[d]));
    return out;
}
} // namespace

void COleSafeArray::PutElement(long* indices, void* data) {
    SAFEARRAY* a = (vt & VT_ARRAY) ? parray : nullptr;
    std::vector<LONG> i = toIndices(a, indices);
    check(SafeArrayPutElement(a, i.empty() ? nullptr : i.data(), data));
}

void COleSafeArray::GetElement(long* indices, void* data) {
    SAFEARRAY* a = (vt & VT_ARRAY) ? parray : nullptr;
    std::vector<LONG> i = toIndices(a, indices);
    check(SafeArrayGetElement(a, i.empty() ? nullptr : i.data(), data));
}

// --- COleDispatchDriver -------------------------------------------------------------------

COleDispatchDriver::COleDispatchDriver(LPDISPATCH dispatch, BOOL autoRelease)
    : m_lpDispatch(dispatch), m_bAutoRelease(autoRelease) {}

COleDispatchDriver::COleDispatchDriver(const COleDispatchDriver& src)
    : m_lpDispatch(src.m_lpDispatch), m_bAutoRelease(TRUE) {
    if (m_lpDispatch)
        m_lpDispatch->AddRef();
}

const COleDispatchDriver& COleDispatchDriver::operator=(const COleDispatchDriver& src) {
    if (this != &src) {
        LPDISPATCH held = src.m_lpDispatch;
        if (held)
            held->AddRef();
        ReleaseDispatch();
        m_lpDispatch = held;
        m_bAutoRelease = TRUE;
    }
    return *this;
}

COleDispatchDriver::~COleDispatchDriver() {
    ReleaseDispatch();
}

BOOL COleDispatchDriver::CreateDispatch(LPCTSTR progId, COleException* error) {
    CLSID clsid;
    HRESULT hr = CLSIDFromProgID(progId, &clsid);
    if (FAILED(hr)) {
        if (error)
            error->m_sc = hr;
        return FALSE;
    }
    return CreateDispatch(clsid, error);
}

BOOL COleDispatchDriver::CreateDispatch(REFCLSID clsid, COleException* error) {
    void* object = nullptr;
    HRESULT hr = CoCreateInstance(clsid, nullptr, CLSCTX_ALL, IID_IDispatch, &object);
    if (FAILED(hr) || !object) {
        if (error)
            error->m_sc = FAILED(hr) ? hr : E_UNEXPECTED;
        return FALSE;
    }
    AttachDispatch(static_cast<LPDISPATCH>(object), TRUE);
    return TRUE;
}

void COleDispatchDriver::AttachDispatch(LPDISPATCH dispatch, BOOL autoRelease) {
    ReleaseDispatch();
    m_lpDispatch = dispatch;
    m_bAutoRelease = autoRelease;
}

LPDISPATCH COleDispatchDriver::DetachDispatch() {
    LPDISPATCH d = m_lpDispatch;
    m_lpDispatch = nullptr;
    return d;
}

void COleDispatchDriver::ReleaseDispatch() {
    if (m_lpDispatch) {
        if (m_bAutoRelease)
            m_lpDispatch->Release();
        m_lpDispatch = nullptr;
    }
}

void COleDispatchDriver::InvokeHelper(DISPID member, WORD flags, VARTYPE resultType, void* result,
                                      const BYTE* paramInfo, ...) {
    va_list args;
    va_start(args, paramInfo);
    try {
        InvokeHelperV(member, flags, resultType, result, paramInfo, args);
    } catch (...) {
        va_end(args);
        throw;
    }
    va_end(args);
}

namespace {

// The arguments as the caller wrote them, turned into variants in reverse order.
// Calls rarely pass more than a few: those stay on the stack.
struct Arguments {
    explicit Arguments(size_t n) : count(n) {
        if (n > std::size(inlined)) {
            spilled.resize(n);
            variants = spilled.data();
        }
    }
    ~Arguments() {
        for (size_t i = 0; i < count; ++i)
            if (variants[i].vt == VT_BSTR)
                SysFreeString(variants[i].bstrVal);
    }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;
    size_t count;
    VARIANT inlined[4];
    std::vector<VARIANT> spilled;
    VARIANT* variants = inlined;
};

void freeExcepInfo(EXCEPINFO& info) {
    SysFreeString(info.bstrSource);
    SysFreeString(info.bstrDescription);
    SysFreeString(info.bstrHelpFile);
}

} // namespace

void COleDispatchDriver::InvokeHelperV(DISPID member, WORD flags, VARTYPE resultType, void* result,
                                       const BYTE* paramInfo, va_list args) {
    if (!m_lpDispatch)
        return;

    size_t count = paramInfo ? std::strlen(reinterpret_cast<const char*>(paramInfo)) : 0;
    Arguments arguments(count);
    for (size_t i = 0; i < count; ++i)
        VariantInit(&arguments.variants[i]);
    for (size_t i = 0; i < count; ++i) {
        VARIANT& v = arguments.variants[count - 1 - i];
        VariantInit(&v);
        BYTE type = paramInfo[i];
        switch (type) {
        case VT_I2:
            v.vt = VT_I2;
            v.iVal = static_cast<SHORT>(va_arg(args, int));
            break;
        case VT_I4:
            v.vt = VT_I4;
            v.lVal = static_cast<LONG>(va_arg(args, long));
            break;
        case VT_R8:
        case VT_DATE:
            v.vt = type;
            v.dblVal = va_arg(args, double);
            break;
        case VT_BSTR: {
            const wchar_t* text = va_arg(args, const wchar_t*);
            v.vt = VT_BSTR;
            v.bstrVal = SysAllocString(text);
            break;
        }
        case VT_DISPATCH:
        case VT_UNKNOWN:
            v.vt = type;
            v.punkVal = va_arg(args, IUnknown*);
            break;
        case VT_ERROR:
            v.vt = VT_ERROR;
            v.scode = va_arg(args, SCODE);
            break;
        case VT_BOOL:
            v.vt = VT_BOOL;
            v.boolVal = va_arg(args, BOOL) ? VARIANT_TRUE : VARIANT_FALSE;
            break;
        case VT_VARIANT: {
            // The framework passes a copy of the caller's variant, by value.
            const VARIANT* src = va_arg(args, const VARIANT*);
            if (src)
                std::memcpy(static_cast<void*>(&v), src, sizeof v);
            if (v.vt == VT_BSTR) // owned by the caller; copied so cleanup stays uniform
                v.bstrVal = SysAllocStringLen(v.bstrVal, SysStringLen(v.bstrVal));
            break;
        }
        case VT_I4 | 0x40:
            v.vt = VT_I4 | VT_BYREF;
            v.plVal = va_arg(args, LONG*);
            break;
        case VT_BSTR | 0x40:
            v.vt = VT_BSTR | VT_BYREF;
            v.pbstrVal = va_arg(args, BSTR*);
            break;
        case VT_VARIANT | 0x40:
            v.vt = VT_VARIANT | VT_BYREF;
            v.pvarVal = va_arg(args, VARIANT*);
            break;
        default:
            AfxThrowOleException(DISP_E_BADVARTYPE);
        }
    }

    DISPID named = DISPID_PROPERTYPUT;
    DISPPARAMS params{count == 0 ? nullptr : arguments.variants, nullptr, static_cast<UINT>(count),
                      0};
    if (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) {
        params.cNamedArgs = 1;
        params.rgdispidNamedArgs = &named;
    }

    VARIANT value;
    VariantInit(&value);
    EXCEPINFO info{};
    UINT argError = 0;
    HRESULT hr = m_lpDispatch->Invoke(member, GUID_NULL, 0, flags, &params,
                                      resultType != VT_EMPTY ? &value : nullptr, &info, &argError);
    if (FAILED(hr)) {
        VariantClear(&value);
        if (hr == DISP_E_EXCEPTION) {
            if (info.pfnDeferredFillIn)
                info.pfnDeferredFillIn(&info);
            auto* e =
                new COleDispatchException(info.bstrDescription, info.dwHelpContext, info.wCode);
            e->m_scError = info.scode;
            e->m_strSource = info.bstrSource;
            e->m_strHelpFile = info.bstrHelpFile;
            freeExcepInfo(info);
            throw static_cast<CException*>(e);
        }
        freeExcepInfo(info);
        AfxThrowOleException(hr);
    }
    freeExcepInfo(info);

    if (resultType == VT_EMPTY)
        return;
    if (resultType != VT_VARIANT) {
        hr = VariantChangeType(&value, &value, 0, resultType);
        if (FAILED(hr)) {
            VariantClear(&value);
            AfxThrowOleException(hr);
        }
    }
    switch (resultType) {
    case VT_I2:
        *static_cast<short*>(result) = value.iVal;
        break;
    case VT_I4:
        *static_cast<long*>(result) = value.lVal;
        break;
    case VT_R8:
    case VT_DATE:
        *static_cast<double*>(result) = value.dblVal;
        break;
    case VT_BOOL:
        *static_cast<BOOL*>(result) = value.boolVal != 0;
        break;
    case VT_BSTR:
        *static_cast<CString*>(result) = value.bstrVal ? value.bstrVal : L"";
        VariantClear(&value);
        break;
    case VT_DISPATCH:
    case VT_UNKNOWN:
        *static_cast<IUnknown**>(result) = value.punkVal; // the reference goes to the caller
        break;
    case VT_VARIANT:
        std::memcpy(result, &value, sizeof value);
        break;
    default:
        VariantClear(&value);
        break;
    }
}

void COleDispatchDriver::GetProperty(DISPID member, VARTYPE type, void* result) const {
    const_cast<COleDispatchDriver*>(this)->InvokeHelper(member, DISPATCH_PROPERTYGET, type, result,
                                                        nullptr);
}

// The framework's signature ends its fixed parameters with a VARTYPE, which is promoted when
// passed; every supported compiler finds the variadic part after it all the same.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wvarargs"
#endif
void COleDispatchDriver::SetProperty(DISPID member, VARTYPE type, ...) {
    va_list args;
    va_start(args, type);
    BYTE info[2] = {static_cast<BYTE>(type), 0};
    try {
        InvokeHelperV(member, type == VT_DISPATCH ? DISPATCH_PROPERTYPUTREF : DISPATCH_PROPERTYPUT,
                      VT_EMPTY, nullptr, info, args);
    } catch (...) {
        va_end(args);
        throw;
    }
    va_end(args);
}
#if defined(__clang__)
#pragma clang diagnostic pop
#endif
