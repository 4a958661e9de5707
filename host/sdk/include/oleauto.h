// OLE Automation: BSTR texts, VARIANT values, SAFEARRAYs, IDispatch and its codes, and the
// running object table's lookup.
#pragma once

#include "objbase.h"

typedef OLECHAR* BSTR;
typedef unsigned short VARTYPE;
typedef short VARIANT_BOOL;
typedef double DATE;
typedef LONG DISPID;
typedef DISPID MEMBERID;
typedef IUnknown* LPUNKNOWN;

#define VARIANT_TRUE ((VARIANT_BOOL)-1)
#define VARIANT_FALSE ((VARIANT_BOOL)0)

enum VARENUM : unsigned short {
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R4 = 4,
    VT_R8 = 5,
    VT_CY = 6,
    VT_DATE = 7,
    VT_BSTR = 8,
    VT_DISPATCH = 9,
    VT_ERROR = 10,
    VT_BOOL = 11,
    VT_VARIANT = 12,
    VT_UNKNOWN = 13,
    VT_UI1 = 17,
    VT_INT = 22,
    VT_UINT = 23,
    VT_ARRAY = 0x2000,
    VT_BYREF = 0x4000,
    VT_TYPEMASK = 0xfff,
};

struct SAFEARRAYBOUND {
    ULONG cElements;
    LONG lLbound;
};

// Here a safe array has at most eight dimensions, held in order (first dimension first).
struct SAFEARRAY {
    USHORT cDims;
    USHORT fFeatures;
    ULONG cbElements;
    ULONG cLocks;
    void* pvData;
    VARTYPE vt;
    SAFEARRAYBOUND rgsabound[8];
};
typedef SAFEARRAY* LPSAFEARRAY;

struct IDispatch;

struct tagVARIANT {
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        LONG lVal;
        BYTE bVal;
        SHORT iVal;
        float fltVal;
        double dblVal;
        VARIANT_BOOL boolVal;
        SCODE scode;
        DATE date;
        BSTR bstrVal;
        IUnknown* punkVal;
        IDispatch* pdispVal;
        SAFEARRAY* parray;
        INT intVal;
        UINT uintVal;
        LONG* plVal;
        BSTR* pbstrVal;
        tagVARIANT* pvarVal;
        void* byref;
    };
};
typedef tagVARIANT VARIANT;
typedef VARIANT VARIANTARG;
typedef VARIANT* LPVARIANT;
typedef const VARIANT* LPCVARIANT;
typedef VARIANT* LPVARIANTARG;

#define V_VT(v) ((v)->vt)
#define V_I4(v) ((v)->lVal)
#define V_BSTR(v) ((v)->bstrVal)
#define V_BOOL(v) ((v)->boolVal)
#define V_DISPATCH(v) ((v)->pdispVal)
#define V_ARRAY(v) ((v)->parray)
#define V_R8(v) ((v)->dblVal)
#define V_ERROR(v) ((v)->scode)

struct DISPPARAMS {
    VARIANTARG* rgvarg; // the arguments in reverse order
    DISPID* rgdispidNamedArgs;
    UINT cArgs;
    UINT cNamedArgs;
};

struct EXCEPINFO {
    WORD wCode;
    WORD wReserved;
    BSTR bstrSource;
    BSTR bstrDescription;
    BSTR bstrHelpFile;
    DWORD dwHelpContext;
    void* pvReserved;
    HRESULT (*pfnDeferredFillIn)(EXCEPINFO*);
    SCODE scode;
};

struct ITypeInfo;

struct IDispatch : public IUnknown {
    virtual HRESULT GetTypeInfoCount(UINT* count) = 0;
    virtual HRESULT GetTypeInfo(UINT index, LCID lcid, ITypeInfo** info) = 0;
    virtual HRESULT GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID lcid,
                                  DISPID* ids) = 0;
    virtual HRESULT Invoke(DISPID member, REFIID riid, LCID lcid, WORD flags, DISPPARAMS* params,
                           VARIANT* result, EXCEPINFO* excepInfo, UINT* argError) = 0;

protected:
    ~IDispatch() = default;
};
typedef IDispatch* LPDISPATCH;

#define DISPATCH_METHOD 0x1
#define DISPATCH_PROPERTYGET 0x2
#define DISPATCH_PROPERTYPUT 0x4
#define DISPATCH_PROPERTYPUTREF 0x8

#define DISPID_UNKNOWN (-1)
#define DISPID_VALUE 0
#define DISPID_PROPERTYPUT (-3)

#define DISP_E_UNKNOWNINTERFACE ((HRESULT)0x80020001L)
#define DISP_E_MEMBERNOTFOUND ((HRESULT)0x80020003L)
#define DISP_E_PARAMNOTFOUND ((HRESULT)0x80020004L)
#define DISP_E_TYPEMISMATCH ((HRESULT)0x80020005L)
#define DISP_E_UNKNOWNNAME ((HRESULT)0x80020006L)
#define DISP_E_NONAMEDARGS ((HRESULT)0x80020007L)
#define DISP_E_BADVARTYPE ((HRESULT)0x80020008L)
#define DISP_E_EXCEPTION ((HRESULT)0x80020009L)
#define DISP_E_OVERFLOW ((HRESULT)0x8002000AL)
#define DISP_E_BADINDEX ((HRESULT)0x8002000BL)
#define DISP_E_PARAMNOTOPTIONAL ((HRESULT)0x8002000FL)
#define DISP_E_BADPARAMCOUNT ((HRESULT)0x8002000EL)
#define DISP_E_ARRAYISLOCKED ((HRESULT)0x8002000DL)

// BSTR: a counted text; null stands for the empty text.
BSTR SysAllocString(const OLECHAR* text);
BSTR SysAllocStringLen(const OLECHAR* text, UINT length);
void SysFreeString(BSTR text);
UINT SysStringLen(BSTR text);

void VariantInit(VARIANTARG* v);
HRESULT VariantClear(VARIANTARG* v);
HRESULT VariantCopy(VARIANTARG* dest, const VARIANTARG* src);
// Converts between empty, null, I2, I4, R8, DATE, BOOL, BSTR (en-US texts), ERROR and
// DISPATCH as Automation does; DISP_E_TYPEMISMATCH or DISP_E_OVERFLOW otherwise.
HRESULT VariantChangeType(VARIANTARG* dest, const VARIANTARG* src, USHORT flags, VARTYPE vt);

SAFEARRAY* SafeArrayCreate(VARTYPE vt, UINT dims, SAFEARRAYBOUND* bounds);
HRESULT SafeArrayDestroy(SAFEARRAY* array);
HRESULT SafeArrayDestroyData(SAFEARRAY* array);
// 0 for a null array.
UINT SafeArrayGetElemsize(SAFEARRAY* array);
UINT SafeArrayGetDim(SAFEARRAY* array);
HRESULT SafeArrayGetUBound(SAFEARRAY* array, UINT dim, LONG* bound);
HRESULT SafeArrayGetLBound(SAFEARRAY* array, UINT dim, LONG* bound);
// For VT_BSTR, data is the BSTR itself and is copied; for VT_VARIANT a VARIANT*.
HRESULT SafeArrayPutElement(SAFEARRAY* array, LONG* indices, void* data);
// Gives a copy (a new BSTR, a copied VARIANT) the caller frees.
HRESULT SafeArrayGetElement(SAFEARRAY* array, LONG* indices, void* data);
HRESULT SafeArrayCopy(SAFEARRAY* array, SAFEARRAY** copy);

// Date texts of the en-US locale ("3/14/2024", "2024-03-14 13:05", "March 14, 2024
// 1:05 PM", "13:05:10"...) as an OLE date; DISP_E_TYPEMISMATCH for text that is no date,
// DISP_E_OVERFLOW for a date out of the range of years 100 to 9999.
HRESULT VarDateFromStr(LPCOLESTR text, LCID lcid, ULONG flags, DATE* date);

// The running object registered for the class (a server the user started).
HRESULT GetActiveObject(REFCLSID clsid, void* reserved, IUnknown** object);
