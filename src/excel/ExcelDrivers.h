// Dispatch drivers of the spreadsheet program's objects: one member function per member
// in use, with Excel's own member numbers and argument types. No type library is used.
#pragma once

#include "afxdisp.h"

// Member numbers.
namespace xlid {
constexpr DISPID Visible = 0x22E;
constexpr DISPID Version = 0x188;
constexpr DISPID Hwnd = 0x79E;
constexpr DISPID Workbooks = 0x23C;
constexpr DISPID ActiveWorkbook = 0x134;
constexpr DISPID ActiveCell = 0x131;
constexpr DISPID Selection = 0x93;
constexpr DISPID DisplayAlerts = 0x157;
constexpr DISPID EditDirectlyInCell = 0x3A1;
constexpr DISPID Interactive = 0x169;
constexpr DISPID Quit = 0x12E;
constexpr DISPID Count = 0x76;
constexpr DISPID Item = 0xAA;
constexpr DISPID Add = 0xB5;
constexpr DISPID Open = 0x2AA;
constexpr DISPID ActiveSheet = 0x133;
constexpr DISPID Worksheets = 0x1EE;
constexpr DISPID FullName = 0x121;
constexpr DISPID Name = 0x6E;
constexpr DISPID Activate = 0x130;
constexpr DISPID Range = 0xC5;
constexpr DISPID Cells = 0xEE;
constexpr DISPID UsedRange = 0x19C;
constexpr DISPID Text = 0x8A;
constexpr DISPID Address = 0xEC;
constexpr DISPID Resize = 0x100;
constexpr DISPID Value = 0x6;
constexpr DISPID Columns = 0xF1;
constexpr DISPID AutoFit = 0xED;
constexpr DISPID Application = 0x94;
} // namespace xlid

// Excel's Range and Window interfaces, asked for by identifier.
extern const IID IID_ExcelRange;
extern const IID IID_ExcelWindow;

// The string of a Range.Text result, which the variant is given up for. Text answers a
// string (Null, with no string, for a block of differing cells): its type is not tested.
inline CString takeTextString(VARIANT text) {
    CString s(text.bstrVal);
    VariantClear(&text);
    return s;
}

class CApplication : public COleDispatchDriver {
public:
    CApplication() = default;
    explicit CApplication(LPDISPATCH d, BOOL autoRelease = TRUE)
        : COleDispatchDriver(d, autoRelease) {}

    BOOL get_Visible() {
        BOOL result = FALSE;
        InvokeHelper(xlid::Visible, DISPATCH_PROPERTYGET, VT_BOOL, &result, nullptr);
        return result;
    }
    void put_Visible(BOOL value) {
        static const BYTE params[] = VTS_BOOL;
        InvokeHelper(xlid::Visible, DISPATCH_PROPERTYPUT, VT_EMPTY, nullptr, params, value);
    }
    CString get_Version() {
        CString result;
        InvokeHelper(xlid::Version, DISPATCH_PROPERTYGET, VT_BSTR, &result, nullptr);
        return result;
    }
    long get_Hwnd() {
        long result = 0;
        InvokeHelper(xlid::Hwnd, DISPATCH_PROPERTYGET, VT_I4, &result, nullptr);
        return result;
    }
    LPDISPATCH get_Workbooks() { return getDispatch(xlid::Workbooks); }
    LPDISPATCH get_ActiveWorkbook() { return getDispatch(xlid::ActiveWorkbook); }
    LPDISPATCH get_ActiveCell() { return getDispatch(xlid::ActiveCell); }
    LPDISPATCH get_Selection() { return getDispatch(xlid::Selection); }
    BOOL get_DisplayAlerts() { return getBool(xlid::DisplayAlerts); }
    void put_DisplayAlerts(BOOL value) { putBool(xlid::DisplayAlerts, value); }
    BOOL get_EditDirectlyInCell() { return getBool(xlid::EditDirectlyInCell); }
    void put_EditDirectlyInCell(BOOL value) { putBool(xlid::EditDirectlyInCell, value); }
    void put_Interactive(BOOL value) { putBool(xlid::Interactive, value); }
    void Quit() { InvokeHelper(xlid::Quit, DISPATCH_METHOD, VT_EMPTY, nullptr, nullptr); }

private:
    LPDISPATCH getDispatch(DISPID id) {
        LPDISPATCH result = nullptr;
        InvokeHelper(id, DISPATCH_PROPERTYGET, VT_DISPATCH, &result, nullptr);
        return result;
    }
    BOOL getBool(DISPID id) {
        BOOL result = FALSE;
        InvokeHelper(id, DISPATCH_PROPERTYGET, VT_BOOL, &result, nullptr);
        return result;
    }
    void putBool(DISPID id, BOOL value) {
        static const BYTE params[] = VTS_BOOL;
        InvokeHelper(id, DISPATCH_PROPERTYPUT, VT_EMPTY, nullptr, params, value);
    }
};

class CWorkbooks : public COleDispatchDriver {
public:
    CWorkbooks() = default;
    explicit CWorkbooks(LPDISPATCH d, BOOL autoRelease = TRUE)
        : COleDispatchDriver(d, autoRelease) {}

    long get_Count() {
        long result = 0;
        InvokeHelper(xlid::Count, DISPATCH_PROPERTYGET, VT_I4, &result, nullptr);
        return result;
    }
    LPDISPATCH get_Item(const VARIANT& index) {
        static const BYTE params[] = VTS_VARIANT;
        LPDISPATCH result = nullptr;
        InvokeHelper(xlid::Item, DISPATCH_PROPERTYGET, VT_DISPATCH, &result, params, &index);
        return result;
    }
    LPDISPATCH Add(const VARIANT& templateFile) {
        static const BYTE params[] = VTS_VARIANT;
        LPDISPATCH result = nullptr;
        InvokeHelper(xlid::Add, DISPATCH_METHOD, VT_DISPATCH, &result, params, &templateFile);
        return result;
    }
    LPDISPATCH Open(LPCTSTR fileName, const VARIANT& updateLinks, const VARIANT& readOnly,
                    const VARIANT& format, const VARIANT& password, const VARIANT& writeResPassword,
                    const VARIANT& ignoreReadOnlyRecommended, const VARIANT& origin,
                    const VARIANT& delimiter, const VARIANT& editable, const VARIANT& notify,
                    const VARIANT& converter, const VARIANT& addToMru) {
        static const BYTE params[] =
            VTS_BSTR VTS_VARIANT VTS_VARIANT VTS_VARIANT VTS_VARIANT VTS_VARIANT VTS_VARIANT
                VTS_VARIANT VTS_VARIANT VTS_VARIANT VTS_VARIANT VTS_VARIANT VTS_VARIANT;
        LPDISPATCH result = nullptr;
        InvokeHelper(xlid::Open, DISPATCH_METHOD, VT_DISPATCH, &result, params, fileName,
                     &updateLinks, &readOnly, &format, &password, &writeResPassword,
                     &ignoreReadOnlyRecommended, &origin, &delimiter, &editable, &notify,
                     &converter, &addToMru);
        return result;
    }
};

class CWorkbook : public COleDispatchDriver {
public:
    CWorkbook() = default;
    explicit CWorkbook(LPDISPATCH d, BOOL autoRelease = TRUE)
        : COleDispatchDriver(d, autoRelease) {}

    LPDISPATCH get_ActiveSheet() {
        LPDISPATCH result = nullptr;
        InvokeHelper(xlid::ActiveSheet, DISPATCH_PROPERTYGET, VT_DISPATCH, &result, nullptr);
        return result;
    }
    LPDISPATCH get_Worksheets() {
        LPDISPATCH result = nullptr;
        InvokeHelper(xlid::Worksheets, DISPATCH_PROPERTYGET, VT_DISPATCH, &result, nullptr);
        return result;
    }
    CString get_FullName() {
        CString result;
        InvokeHelper(xlid::FullName, DISPATCH_PROPERTYGET, VT_BSTR, &result, nullptr);
        return result;
    }
    CString get_Name() {
        CString result;
        InvokeHelper(xlid::Name, DISPATCH_PROPERTYGET, VT_BSTR, &result, nullptr);
        return result;
    }
};

class CWorksheets : public COleDispatchDriver {
public:
    CWorksheets() = default;
    explicit CWorksheets(LPDISPATCH d, BOOL autoRelease = TRUE)
        : COleDispatchDriver(d, autoRelease) {}

    long get_Count() {
        long result = 0;
        InvokeHelper(xlid::Count, DISPATCH_PROPERTYGET, VT_I4, &result, nullptr);
        return result;
    }
    LPDISPATCH get_Item(const VARIANT& index) {
        static const BYTE params[] = VTS_VARIANT;
        LPDISPATCH result = nullptr;
        InvokeHelper(xlid::Item, DISPATCH_PROPERTYGET, VT_DISPATCH, &result, params, &index);
        return result;
    }
};

class CWorksheet : public COleDispatchDriver {
public:
    CWorksheet() = default;
    explicit CWorksheet(LPDISPATCH d, BOOL autoRelease = TRUE)
        : COleDispatchDriver(d, autoRelease) {}

    CString get_Name() {
        CString result;
        InvokeHelper(xlid::Name, DISPATCH_PROPERTYGET, VT_BSTR, &result, nullptr);
        return result;
    }
    void put_Visible(long value) {
        static const BYTE params[] = VTS_I4;
        InvokeHelper(xlid::Visible, DISPATCH_PROPERTYPUT, VT_EMPTY, nullptr, params, value);
    }
    void Activate() { InvokeHelper(xlid::Activate, DISPATCH_METHOD, VT_EMPTY, nullptr, nullptr); }
    LPDISPATCH get_Range(const VARIANT& cell1, const VARIANT& cell2) {
        static const BYTE params[] = VTS_VARIANT VTS_VARIANT;
        LPDISPATCH result = nullptr;
        InvokeHelper(xlid::Range, DISPATCH_PROPERTYGET, VT_DISPATCH, &result, params, &cell1,
                     &cell2);
        return result;
    }
    LPDISPATCH get_Cells() { return getDispatch(xlid::Cells); }
    LPDISPATCH get_UsedRange() { return getDispatch(xlid::UsedRange); }
    LPDISPATCH get_Application() { return getDispatch(xlid::Application); }

private:
    LPDISPATCH getDispatch(DISPID id) {
        LPDISPATCH result = nullptr;
        InvokeHelper(id, DISPATCH_PROPERTYGET, VT_DISPATCH, &result, nullptr);
        return result;
    }
};

class CRange : public COleDispatchDriver {
public:
    CRange() = default;
    explicit CRange(LPDISPATCH d, BOOL autoRelease = TRUE) : COleDispatchDriver(d, autoRelease) {}

    // The cell as a variant holding its dispatch; the caller owns it.
    VARIANT get_Item(const VARIANT& row, const VARIANT& column) {
        static const BYTE params[] = VTS_VARIANT VTS_VARIANT;
        VARIANT result;
        VariantInit(&result);
        InvokeHelper(xlid::Item, DISPATCH_PROPERTYGET, VT_VARIANT, &result, params, &row, &column);
        return result;
    }
    VARIANT get_Text() { return getVariant(xlid::Text); }
    CString get_Address(const VARIANT& rowAbsolute, const VARIANT& columnAbsolute,
                        long referenceStyle, const VARIANT& external, const VARIANT& relativeTo) {
        static const BYTE params[] = VTS_VARIANT VTS_VARIANT VTS_I4 VTS_VARIANT VTS_VARIANT;
        CString result;
        InvokeHelper(xlid::Address, DISPATCH_PROPERTYGET, VT_BSTR, &result, params, &rowAbsolute,
                     &columnAbsolute, referenceStyle, &external, &relativeTo);
        return result;
    }
    LPDISPATCH get_Resize(const VARIANT& rows, const VARIANT& columns) {
        static const BYTE params[] = VTS_VARIANT VTS_VARIANT;
        LPDISPATCH result = nullptr;
        InvokeHelper(xlid::Resize, DISPATCH_PROPERTYGET, VT_DISPATCH, &result, params, &rows,
                     &columns);
        return result;
    }
    void put_Value(const VARIANT& value) {
        static const BYTE params[] = VTS_VARIANT;
        InvokeHelper(xlid::Value, DISPATCH_PROPERTYPUT, VT_EMPTY, nullptr, params, &value);
    }
    LPDISPATCH get_Columns() {
        LPDISPATCH result = nullptr;
        InvokeHelper(xlid::Columns, DISPATCH_PROPERTYGET, VT_DISPATCH, &result, nullptr);
        return result;
    }
    VARIANT AutoFit() {
        VARIANT result;
        VariantInit(&result);
        InvokeHelper(xlid::AutoFit, DISPATCH_METHOD, VT_VARIANT, &result, nullptr);
        return result;
    }
    VARIANT get_Name() { return getVariant(xlid::Name); }

private:
    VARIANT getVariant(DISPID id) {
        VARIANT result;
        VariantInit(&result);
        InvokeHelper(id, DISPATCH_PROPERTYGET, VT_VARIANT, &result, nullptr);
        return result;
    }
};

class CName : public COleDispatchDriver {
public:
    CName() = default;
    explicit CName(LPDISPATCH d, BOOL autoRelease = TRUE) : COleDispatchDriver(d, autoRelease) {}

    CString get_Name() {
        CString result;
        InvokeHelper(xlid::Name, DISPATCH_PROPERTYGET, VT_BSTR, &result, nullptr);
        return result;
    }
};

// A driver of the given class over what another driver holds, without a reference of its
// own: used on the session's global drivers.
template <class Driver> Driver borrowDriver(COleDispatchDriver& held) {
    return Driver(held.m_lpDispatch, FALSE);
}
