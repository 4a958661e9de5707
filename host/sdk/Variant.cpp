// BSTR texts, VARIANT values and their conversions, and SAFEARRAYs.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <string>

#include "WideFormat.h"
#include "oleauto.h"

// --- BSTR ---------------------------------------------------------------------------------

namespace {

// A BSTR is preceded by its length in bytes; the header keeps the text aligned.
constexpr size_t kBstrHeader = 8;

} // namespace

BSTR SysAllocStringLen(const OLECHAR* text, UINT length) {
    if (length > (1u << 28))
        return nullptr;
    auto* block = static_cast<unsigned char*>(
        std::malloc(kBstrHeader + (size_t(length) + 1) * sizeof(OLECHAR)));
    if (!block)
        return nullptr;
    uint32_t bytes = length * sizeof(OLECHAR);
    std::memcpy(block, &bytes, sizeof bytes);
    auto* chars = reinterpret_cast<OLECHAR*>(block + kBstrHeader);
    if (text)
        std::wmemcpy(chars, text, length);
    else
        std::wmemset(chars, 0, length);
    chars[length] = 0;
    return chars;
}

BSTR SysAllocString(const OLECHAR* text) {
    if (!text)
        return nullptr;
    return SysAllocStringLen(text, static_cast<UINT>(std::wcslen(text)));
}

void SysFreeString(BSTR text) {
    if (text)
        std::free(reinterpret_cast<unsigned char*>(text) - kBstrHeader);
}

UINT SysStringLen(BSTR text) {
    if (!text)
        return 0;
    uint32_t bytes;
    std::memcpy(&bytes, reinterpret_cast<unsigned char*>(text) - kBstrHeader, sizeof bytes);
    return bytes / sizeof(OLECHAR);
}

// --- VARIANT ------------------------------------------------------------------------------

void VariantInit(VARIANTARG* v) {
    std::memset(static_cast<void*>(v), 0, sizeof(VARIANT));
    v->vt = VT_EMPTY;
}

HRESULT VariantClear(VARIANTARG* v) {
    if (!v)
        return E_INVALIDARG;
    if (v->vt & VT_ARRAY) {
        if (!(v->vt & VT_BYREF) && v->parray)
            SafeArrayDestroy(v->parray);
    } else if (!(v->vt & VT_BYREF)) {
        switch (v->vt) {
        case VT_BSTR:
            SysFreeString(v->bstrVal);
            break;
        case VT_DISPATCH:
        case VT_UNKNOWN:
            if (v->punkVal)
                v->punkVal->Release();
            break;
        default:
            break;
        }
    }
    VariantInit(v);
    return S_OK;
}

HRESULT VariantCopy(VARIANTARG* dest, const VARIANTARG* src) {
    if (!dest || !src)
        return E_INVALIDARG;
    if (dest == src)
        return S_OK;
    VARIANT copy;
    VariantInit(&copy);
    copy.vt = src->vt;
    if ((src->vt & VT_ARRAY) && !(src->vt & VT_BYREF)) {
        if (src->parray) {
            HRESULT hr = SafeArrayCopy(src->parray, &copy.parray);
            if (FAILED(hr))
                return hr;
        } else {
            copy.parray = nullptr;
        }
    } else if (src->vt == VT_BSTR) {
        copy.bstrVal =
            src->bstrVal ? SysAllocStringLen(src->bstrVal, SysStringLen(src->bstrVal)) : nullptr;
    } else if (src->vt == VT_DISPATCH || src->vt == VT_UNKNOWN) {
        copy.punkVal = src->punkVal;
        if (copy.punkVal)
            copy.punkVal->AddRef();
    } else {
        std::memcpy(static_cast<void*>(&copy), src, sizeof(VARIANT));
    }
    VariantClear(dest);
    std::memcpy(static_cast<void*>(dest), &copy, sizeof(VARIANT));
    return S_OK;
}

namespace {

// Reads a number the way Automation reads texts of the en-US locale: white space, sign,
// thousands separators, a decimal point, an exponent.
bool parseNumber(const wchar_t* text, double& out) {
    if (!text)
        return false;
    std::wstring clean;
    const wchar_t* p = text;
    while (std::iswspace(*p))
        ++p;
    for (; *p; ++p) {
        if (*p == L',')
            continue;
        clean += *p;
    }
    while (!clean.empty() && std::iswspace(clean.back()))
        clean.pop_back();
    if (clean.empty())
        return false;
    wchar_t* end = nullptr;
    double value = std::wcstod(clean.c_str(), &end);
    if (!end || *end != 0 || end == clean.c_str())
        return false;
    if (!std::isfinite(value))
        return false;
    out = value;
    return true;
}

// Rounds half to even, as Automation's conversions to integers do.
double bankersRound(double value) {
    double floorValue = std::floor(value);
    double diff = value - floorValue;
    if (diff > 0.5)
        return floorValue + 1;
    if (diff < 0.5)
        return floorValue;
    return std::fmod(floorValue, 2.0) == 0 ? floorValue : floorValue + 1;
}

std::wstring numberText(double value) {
    // Up to 15 significant digits, no trailing zeros.
    std::wstring text = lmhost::formatWide(L"%.15G", value);
    return text;
}

HRESULT toDouble(const VARIANT* src, double& out) {
    switch (src->vt) {
    case VT_EMPTY:
        out = 0;
        return S_OK;
    case VT_I2:
        out = src->iVal;
        return S_OK;
    case VT_I4:
    case VT_INT:
        out = src->lVal;
        return S_OK;
    case VT_UI1:
        out = src->bVal;
        return S_OK;
    case VT_R4:
        out = src->fltVal;
        return S_OK;
    case VT_R8:
    case VT_DATE:
        out = src->dblVal;
        return S_OK;
    case VT_BOOL:
        out = src->boolVal ? -1 : 0;
        return S_OK;
    case VT_BSTR: {
        const wchar_t* text = src->bstrVal ? src->bstrVal : L"";
        if (parseNumber(text, out))
            return S_OK;
        if (_wcsicmp(text, L"True") == 0 || _wcsicmp(text, L"False") == 0) {
            out = _wcsicmp(text, L"True") == 0 ? -1 : 0;
            return S_OK;
        }
        DATE d;
        if (SUCCEEDED(VarDateFromStr(text, 0, 0, &d))) {
            out = d;
            return S_OK;
        }
        return DISP_E_TYPEMISMATCH;
    }
    default:
        return DISP_E_TYPEMISMATCH;
    }
}

} // namespace

HRESULT VariantChangeType(VARIANTARG* dest, const VARIANTARG* src, USHORT flags, VARTYPE vt) {
    if (!dest || !src)
        return E_INVALIDARG;
    if (src->vt == vt)
        return VariantCopy(dest, src);
    VARIANT result;
    VariantInit(&result);
    result.vt = vt;
    double number = 0;
    HRESULT hr = S_OK;
    switch (vt) {
    case VT_EMPTY:
        break;
    case VT_I2:
    case VT_I4:
    case VT_INT: {
        hr = toDouble(src, number);
        if (FAILED(hr))
            return hr;
        double rounded = bankersRound(number);
        double low = vt == VT_I2 ? -32768.0 : -2147483648.0;
        double high = vt == VT_I2 ? 32767.0 : 2147483647.0;
        if (rounded < low || rounded > high)
            return DISP_E_OVERFLOW;
        if (vt == VT_I2)
            result.iVal = static_cast<SHORT>(rounded);
        else
            result.lVal = static_cast<LONG>(rounded);
        break;
    }
    case VT_R8:
    case VT_DATE:
        hr = toDouble(src, number);
        if (FAILED(hr))
            return hr;
        result.dblVal = number;
        break;
    case VT_BOOL:
        hr = toDouble(src, number);
        if (FAILED(hr))
            return hr;
        result.boolVal = number != 0 ? VARIANT_TRUE : VARIANT_FALSE;
        break;
    case VT_BSTR: {
        std::wstring text;
        switch (src->vt) {
        case VT_EMPTY:
            break;
        case VT_BOOL:
            text =
                (flags & 0x2) ? (src->boolVal ? L"True" : L"False") : (src->boolVal ? L"-1" : L"0");
            break;
        case VT_I2:
            text = std::to_wstring(src->iVal);
            break;
        case VT_I4:
        case VT_INT:
            text = std::to_wstring(src->lVal);
            break;
        case VT_R8:
            text = numberText(src->dblVal);
            break;
        default:
            return DISP_E_TYPEMISMATCH;
        }
        result.bstrVal = SysAllocString(text.c_str());
        break;
    }
    case VT_DISPATCH:
        if (src->vt == VT_UNKNOWN && src->punkVal) {
            void* object = nullptr;
            hr = src->punkVal->QueryInterface(IID_IDispatch, &object);
            if (FAILED(hr))
                return DISP_E_TYPEMISMATCH;
            result.pdispVal = static_cast<IDispatch*>(object);
            break;
        }
        return DISP_E_TYPEMISMATCH;
    case VT_UNKNOWN:
        if (src->vt == VT_DISPATCH) {
            result.punkVal = src->pdispVal;
            if (result.punkVal)
                result.punkVal->AddRef();
            break;
        }
        return DISP_E_TYPEMISMATCH;
    default:
        return DISP_E_BADVARTYPE;
    }
    VariantClear(dest);
    std::memcpy(static_cast<void*>(dest), &result, sizeof(VARIANT));
    return S_OK;
}

// --- SAFEARRAY ----------------------------------------------------------------------------

namespace {

ULONG elementSize(VARTYPE vt) {
    switch (vt) {
    case VT_I2:
    case VT_BOOL:
        return 2;
    case VT_I4:
    case VT_R4:
    case VT_ERROR:
    case VT_INT:
    case VT_UINT:
        return 4;
    case VT_R8:
    case VT_DATE:
    case VT_CY:
        return 8;
    case VT_UI1:
        return 1;
    case VT_BSTR:
    case VT_DISPATCH:
    case VT_UNKNOWN:
        return sizeof(void*);
    case VT_VARIANT:
        return sizeof(VARIANT);
    default:
        return 0;
    }
}

size_t elementCount(const SAFEARRAY* a) {
    size_t count = 1;
    for (USHORT d = 0; d < a->cDims; ++d)
        count *= a->rgsabound[d].cElements;
    return count;
}

// The first index varies fastest, as in the platform's layout.
HRESULT offsetOf(const SAFEARRAY* a, const LONG* indices, size_t& offset) {
    if (!indices)
        return E_INVALIDARG;
    size_t index = 0;
    size_t stride = 1;
    for (USHORT d = 0; d < a->cDims; ++d) {
        const SAFEARRAYBOUND& b = a->rgsabound[d];
        long long rel = (long long)indices[d] - b.lLbound;
        if (rel < 0 || rel >= (long long)b.cElements)
            return DISP_E_BADINDEX;
        index += size_t(rel) * stride;
        stride *= b.cElements;
    }
    offset = index * a->cbElements;
    return S_OK;
}

void freeElement(VARTYPE vt, void* element) {
    switch (vt) {
    case VT_BSTR:
        SysFreeString(*static_cast<BSTR*>(element));
        break;
    case VT_DISPATCH:
    case VT_UNKNOWN:
        if (IUnknown* u = *static_cast<IUnknown**>(element))
            u->Release();
        break;
    case VT_VARIANT:
        VariantClear(static_cast<VARIANT*>(element));
        break;
    default:
        break;
    }
}

} // namespace

SAFEARRAY* SafeArrayCreate(VARTYPE vt, UINT dims, SAFEARRAYBOUND* bounds) {
    ULONG size = elementSize(vt);
    if (size == 0 || dims == 0 || dims > 8 || !bounds)
        return nullptr;
    size_t count = 1;
    for (UINT d = 0; d < dims; ++d) {
        count *= bounds[d].cElements;
        if (count > (size_t(1) << 28))
            return nullptr;
    }
    auto* a = new SAFEARRAY{};
    a->cDims = static_cast<USHORT>(dims);
    a->cbElements = size;
    a->vt = vt;
    for (UINT d = 0; d < dims; ++d)
        a->rgsabound[d] = bounds[d];
    a->pvData = std::calloc(count ? count : 1, size);
    if (!a->pvData) {
        delete a;
        return nullptr;
    }
    if (vt == VT_VARIANT)
        for (size_t i = 0; i < count; ++i)
            VariantInit(static_cast<VARIANT*>(a->pvData) + i);
    return a;
}

HRESULT SafeArrayDestroyData(SAFEARRAY* a) {
    if (!a)
        return E_INVALIDARG;
    if (a->cLocks)
        return DISP_E_ARRAYISLOCKED;
    if (a->pvData) {
        size_t count = elementCount(a);
        for (size_t i = 0; i < count; ++i)
            freeElement(a->vt, static_cast<unsigned char*>(a->pvData) + i * a->cbElements);
        std::free(a->pvData);
        a->pvData = nullptr;
    }
    return S_OK;
}

HRESULT SafeArrayDestroy(SAFEARRAY* a) {
    if (!a)
        return S_OK;
    HRESULT hr = SafeArrayDestroyData(a);
    if (FAILED(hr))
        return hr;
    delete a;
    return S_OK;
}

UINT SafeArrayGetElemsize(SAFEARRAY* a) {
    return a ? a->cbElements : 0;
}

UINT SafeArrayGetDim(SAFEARRAY* a) {
    return a ? a->cDims : 0;
}

HRESULT SafeArrayGetUBound(SAFEARRAY* a, UINT dim, LONG* bound) {
    if (!a || !bound)
        return E_INVALIDARG;
    if (dim < 1 || dim > a->cDims)
        return DISP_E_BADINDEX;
    const SAFEARRAYBOUND& b = a->rgsabound[dim - 1];
    *bound = b.lLbound + LONG(b.cElements) - 1;
    return S_OK;
}

HRESULT SafeArrayGetLBound(SAFEARRAY* a, UINT dim, LONG* bound) {
    if (!a || !bound)
        return E_INVALIDARG;
    if (dim < 1 || dim > a->cDims)
        return DISP_E_BADINDEX;
    *bound = a->rgsabound[dim - 1].lLbound;
    return S_OK;
}

HRESULT SafeArrayPutElement(SAFEARRAY* a, LONG* indices, void* data) {
    if (!a)
        return E_INVALIDARG;
    if (!a->pvData)
        return E_UNEXPECTED;
    size_t offset = 0;
    HRESULT hr = offsetOf(a, indices, offset);
    if (FAILED(hr))
        return hr;
    void* element = static_cast<unsigned char*>(a->pvData) + offset;
    switch (a->vt) {
    case VT_BSTR: {
        BSTR source = static_cast<BSTR>(data);
        BSTR copy = source ? SysAllocStringLen(source, SysStringLen(source)) : nullptr;
        if (source && !copy)
            return E_OUTOFMEMORY;
        SysFreeString(*static_cast<BSTR*>(element));
        *static_cast<BSTR*>(element) = copy;
        break;
    }
    case VT_DISPATCH:
    case VT_UNKNOWN: {
        auto* u = static_cast<IUnknown*>(data);
        if (u)
            u->AddRef();
        freeElement(a->vt, element);
        *static_cast<IUnknown**>(element) = u;
        break;
    }
    case VT_VARIANT:
        if (!data)
            return E_INVALIDARG;
        return VariantCopy(static_cast<VARIANT*>(element), static_cast<VARIANT*>(data));
    default:
        if (!data)
            return E_INVALIDARG;
        std::memcpy(element, data, a->cbElements);
        break;
    }
    return S_OK;
}

HRESULT SafeArrayGetElement(SAFEARRAY* a, LONG* indices, void* data) {
    if (!a || !data)
        return E_INVALIDARG;
    if (!a->pvData)
        return E_UNEXPECTED;
    size_t offset = 0;
    HRESULT hr = offsetOf(a, indices, offset);
    if (FAILED(hr))
        return hr;
    void* element = static_cast<unsigned char*>(a->pvData) + offset;
    switch (a->vt) {
    case VT_BSTR: {
        BSTR source = *static_cast<BSTR*>(element);
        *static_cast<BSTR*>(data) =
            source ? SysAllocStringLen(source, SysStringLen(source)) : nullptr;
        break;
    }
    case VT_DISPATCH:
    case VT_UNKNOWN: {
        IUnknown* u = *static_cast<IUnknown**>(element);
        if (u)
            u->AddRef();
        *static_cast<IUnknown**>(data) = u;
        break;
    }
    case VT_VARIANT:
        VariantInit(static_cast<VARIANT*>(data));
        return VariantCopy(static_cast<VARIANT*>(data), static_cast<VARIANT*>(element));
    default:
        std::memcpy(data, element, a->cbElements);
        break;
    }
    return S_OK;
}

HRESULT SafeArrayCopy(SAFEARRAY* a, SAFEARRAY** copy) {
    if (!a || !copy)
        return E_INVALIDARG;
    SAFEARRAY* c = SafeArrayCreate(a->vt, a->cDims, a->rgsabound);
    if (!c)
        return E_OUTOFMEMORY;
    if (!a->pvData) {
        std::free(c->pvData);
        c->pvData = nullptr;
        *copy = c;
        return S_OK;
    }
    size_t count = elementCount(a);
    for (size_t i = 0; i < count; ++i) {
        void* from = static_cast<unsigned char*>(a->pvData) + i * a->cbElements;
        void* to = static_cast<unsigned char*>(c->pvData) + i * c->cbElements;
        switch (a->vt) {
        case VT_BSTR: {
            BSTR s = *static_cast<BSTR*>(from);
            *static_cast<BSTR*>(to) = s ? SysAllocStringLen(s, SysStringLen(s)) : nullptr;
            break;
        }
        case VT_DISPATCH:
        case VT_UNKNOWN: {
            IUnknown* u = *static_cast<IUnknown**>(from);
            if (u)
                u->AddRef();
            *static_cast<IUnknown**>(to) = u;
            break;
        }
        case VT_VARIANT:
            VariantCopy(static_cast<VARIANT*>(to), static_cast<VARIANT*>(from));
            break;
        default:
            std::memcpy(to, from, a->cbElements);
        }
    }
    *copy = c;
    return S_OK;
}
