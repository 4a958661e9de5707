// The framework's automation classes: exceptions, variants, safe arrays, dispatch drivers
// and dates.
#pragma once

#include "afx.h"
#include "oleauto.h"
#include "winbase.h"

// Exceptions are thrown as pointers and freed by the catcher with Delete().
class CException : public CObject {
public:
    CException() = default;
    explicit CException(BOOL autoDelete) : m_bAutoDelete(autoDelete) {}
    void Delete();
    virtual BOOL GetErrorMessage(LPTSTR error, UINT maxError, UINT* helpContext = nullptr) const;
    // Shows the text of GetErrorMessage in a message box of that style; the box's answer.
    virtual int ReportError(UINT type = MB_OK, UINT messageId = 0);

protected:
    BOOL m_bAutoDelete = TRUE;
};

class CMemoryException : public CException {};
class CNotSupportedException : public CException {};

class COleException : public CException {
public:
    SCODE m_sc = S_OK;
    // The code of any exception: its own for a COleException, E_OUTOFMEMORY,
    // E_NOTIMPL for the memory and not-supported exceptions, E_UNEXPECTED for all others.
    static SCODE Process(const CException* exception);
    BOOL GetErrorMessage(LPTSTR error, UINT maxError, UINT* helpContext = nullptr) const override;
};

// What a server raised through DISP_E_EXCEPTION.
class COleDispatchException : public CException {
public:
    COleDispatchException(LPCTSTR description, UINT helpId, WORD code);
    WORD m_wCode;
    SCODE m_scError = S_OK;
    CString m_strSource;
    CString m_strDescription;
    CString m_strHelpFile;
    DWORD m_dwHelpContext = 0;
    BOOL GetErrorMessage(LPTSTR error, UINT maxError, UINT* helpContext = nullptr) const override;
};

[[noreturn]] void AfxThrowOleException(SCODE sc);
[[noreturn]] void AfxThrowOleDispatchException(WORD code, LPCTSTR description, UINT helpId = 0);
[[noreturn]] void AfxThrowMemoryException();

class COleVariant : public tagVARIANT {
public:
    COleVariant() { VariantInit(this); }
    COleVariant(const VARIANT& src);
    COleVariant(LPCVARIANT src);
    COleVariant(const COleVariant& src);
    COleVariant(LPCTSTR text);
    COleVariant(const CString& text);
    COleVariant(BYTE value);
    // VT_I2 or VT_BOOL.
    COleVariant(short value, VARTYPE vt = VT_I2);
    // VT_I4, VT_ERROR or VT_BOOL.
    COleVariant(long value, VARTYPE vt = VT_I4);
    COleVariant(int value, VARTYPE vt = VT_I4);
    COleVariant(double value);
    ~COleVariant() { VariantClear(this); }

    COleVariant& operator=(const VARIANT& src);
    COleVariant& operator=(const COleVariant& src);
    COleVariant& operator=(LPCTSTR text);
    COleVariant& operator=(long value);

    void Clear() { VariantClear(this); }
    void ChangeType(VARTYPE vt, LPVARIANT src = nullptr);
    VARIANT Detach();
    void Attach(VARIANT& src);

    operator LPVARIANT() { return this; }
    operator LPCVARIANT() const { return this; }
};

// The missing optional argument: VT_ERROR with DISP_E_PARAMNOTFOUND.
extern const COleVariant vtMissing;

class COleSafeArray : public tagVARIANT {
public:
    COleSafeArray() { VariantInit(this); }
    COleSafeArray(const COleSafeArray& src);
    COleSafeArray& operator=(const COleSafeArray& src);
    ~COleSafeArray();

    void Create(VARTYPE vt, DWORD dims, DWORD* elements);
    void Create(VARTYPE vt, DWORD dims, SAFEARRAYBOUND* bounds);
    void Clear();
    void Destroy();
    void DestroyData();
    DWORD GetDim();
    DWORD GetElemSize();
    void GetLBound(DWORD dim, long* bound);
    void GetUBound(DWORD dim, long* bound);
    // For VT_BSTR arrays, data is the BSTR (copied); else a pointer to the element.
    void PutElement(long* indices, void* data);
    void GetElement(long* indices, void* data);

    operator LPVARIANT() { return this; }
    operator LPCVARIANT() const { return this; }
};

// Argument type strings of InvokeHelper: one byte per argument.
#define VTS_I2 "\x02"
#define VTS_I4 "\x03"
#define VTS_R8 "\x05"
#define VTS_DATE "\x07"
#define VTS_BSTR "\x08"
#define VTS_DISPATCH "\x09"
#define VTS_SCODE "\x0A"
#define VTS_BOOL "\x0B"
#define VTS_VARIANT "\x0C"
#define VTS_UNKNOWN "\x0D"
#define VTS_PI4 "\x43"
#define VTS_PBSTR "\x48"
#define VTS_PVARIANT "\x4C"
#define VTS_NONE nullptr

class COleDispatchDriver {
public:
    COleDispatchDriver() = default;
    explicit COleDispatchDriver(LPDISPATCH dispatch, BOOL autoRelease = TRUE);
    COleDispatchDriver(const COleDispatchDriver& src);
    const COleDispatchDriver& operator=(const COleDispatchDriver& src);
    virtual ~COleDispatchDriver();

    // A new server of the program identifier; on failure FALSE with the code in error.
    BOOL CreateDispatch(LPCTSTR progId, COleException* error = nullptr);
    BOOL CreateDispatch(REFCLSID clsid, COleException* error = nullptr);
    // Releases what the driver held, then holds dispatch.
    void AttachDispatch(LPDISPATCH dispatch, BOOL autoRelease = TRUE);
    LPDISPATCH DetachDispatch();
    void ReleaseDispatch();

    // Calls a member. Arguments follow the type string: VTS_I4 a long, VTS_BOOL a BOOL,
    // VTS_BSTR a text pointer, VTS_VARIANT a const VARIANT*, VTS_DISPATCH an LPDISPATCH.
    // The result goes to a long*, BOOL*, CString* (VT_BSTR), LPDISPATCH* (owned by the
    // caller), VARIANT* (VT_VARIANT) or double*. Throws COleDispatchException* for a server
    // exception, COleException* for any other failure; does nothing on an empty driver.
    void InvokeHelper(DISPID member, WORD flags, VARTYPE resultType, void* result,
                      const BYTE* paramInfo, ...);
    void InvokeHelperV(DISPID member, WORD flags, VARTYPE resultType, void* result,
                       const BYTE* paramInfo, va_list args);
    void GetProperty(DISPID member, VARTYPE type, void* result) const;
    void SetProperty(DISPID member, VARTYPE type, ...);

    operator LPDISPATCH() { return m_lpDispatch; }

    LPDISPATCH m_lpDispatch = nullptr;
    BOOL m_bAutoRelease = TRUE;
};

class COleDateTime {
public:
    enum DateTimeStatus { error = -1, valid = 0, invalid = 1, null = 2 };

    COleDateTime() = default;
    COleDateTime(DATE value) : m_dt(value) {}
    COleDateTime(int year, int month, int day, int hour, int minute, int second);
    // The local date and time now.
    static COleDateTime GetCurrentTime();

    // Parses with VarDateFromStr. On failure the status is invalid and the value 0.0 when
    // the text is no date (DISP_E_TYPEMISMATCH), -1.0 for any other failure.
    bool ParseDateTime(LPCTSTR text, DWORD flags = 0, LCID lcid = LANG_USER_DEFAULT);
    DateTimeStatus GetStatus() const { return m_status; }
    void SetStatus(DateTimeStatus status) { m_status = status; }
    int SetDateTime(int year, int month, int day, int hour, int minute, int second);
    int GetYear() const;
    int GetMonth() const;
    int GetDay() const;
    int GetHour() const;
    int GetMinute() const;
    int GetSecond() const;
    int GetDayOfWeek() const;
    // strftime-like: %Y %m %d %H %M %S %y %b %B %p %%; "%c" as "M/D/YYYY h:mm:ss AM".
    CString Format(LPCTSTR format) const;
    operator DATE() const { return m_dt; }

    DATE m_dt = 0;
    DateTimeStatus m_status = valid;
};
