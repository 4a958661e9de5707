// The process-wide Excel session: attach or launch, find or open workbooks and sheets,
// and end again.
#include <cstdarg>
#include <cstdlib>
#include <vector>

#include "comdef.h"
#include "excel/ExcelDrivers.h"
#include "excel/ExcelStep.h"
#include "excel/ExcelUtils.h"
#include "oleacc.h"
#include "winuser.h"

const IID IID_ExcelRange = {0x00020846, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const IID IID_ExcelWindow = {0x00020893, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

COleDispatchDriver ExcelUtils::s_application;
COleDispatchDriver ExcelUtils::s_workbook;
COleDispatchDriver ExcelUtils::s_worksheet;
int ExcelUtils::s_version = 0;
CString ExcelUtils::s_lastError;
COleSafeArray ExcelUtils::s_textArray;

namespace {

const wchar_t kProgId[] = L"Excel.Application";

void releaseDriver(COleDispatchDriver& driver) {
    if (LPDISPATCH held = driver.DetachDispatch())
        held->Release();
}

} // namespace

void ExcelUtils::ReleaseExcel() {
    releaseDriver(s_worksheet);
    releaseDriver(s_workbook);
    s_version = 0;
    releaseDriver(s_application);
}

void ExcelUtils::ReportOleError(SCODE sc) {
    wchar_t* text = nullptr;
    DWORD length = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                                      FORMAT_MESSAGE_FROM_SYSTEM,
                                  nullptr, static_cast<DWORD>(sc), LANG_USER_DEFAULT,
                                  reinterpret_cast<LPWSTR>(&text), 0, nullptr);
    if (length && text) {
        AfxMessageBox(text, MB_ICONINFORMATION);
    } else {
        CString message;
        message.Format(L"\n%s(%d): OLE Execption caught: SCODE = %x", L"ExcelUtils", 507, sc);
        AfxMessageBox(message, MB_ICONINFORMATION);
    }
    LocalFree(text);
}

int ExcelUtils::GetActiveExcel(const wchar_t* workbookPath) {
    CLSID clsid;
    CLSIDFromProgID(kProgId, &clsid);
    LPOLESTR clsidText = nullptr;
    StringFromCLSID(clsid, &clsidText);
    CString clsidName(clsidText);
    CoTaskMemFree(clsidText);

    ReleaseExcel();

    IUnknown* running = nullptr;
    HRESULT hr = GetActiveObject(clsid, nullptr, &running);
    if (FAILED(hr) || !running) {
        s_lastError.Format(L"%s: Can't get active Excel: %X", clsidName.GetString(), hr);
        return 0;
    }
    IDispatch* dispatch = nullptr;
    hr = running->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&dispatch));
    running->Release();
    if (!dispatch) {
        s_lastError.Format(L"%s: Can't get interface of active Excel instance: %X",
                           clsidName.GetString(), hr);
        return 0;
    }
    s_application.AttachDispatch(dispatch);

    return excelStep(0, [&] {
        CApplication app = borrowDriver<CApplication>(s_application);
        if (!app.get_Visible())
            app.put_Visible(TRUE);
        s_version = _wtoi(app.get_Version());
        if (workbookPath) {
            OpenWorkbook(workbookPath, 0, 0);
            CWorkbook book = borrowDriver<CWorkbook>(s_workbook);
            s_worksheet.AttachDispatch(book.get_ActiveSheet());
        } else {
            CWorkbooks books(app.get_Workbooks());
            if (books.get_Count() > 0) {
                s_workbook.AttachDispatch(app.get_ActiveWorkbook());
                CWorkbook book = borrowDriver<CWorkbook>(s_workbook);
                s_worksheet.AttachDispatch(book.get_ActiveSheet());
            }
        }
        return 1;
    });
}

int ExcelUtils::LaunchExcel() {
    ReleaseExcel();
    return excelStep(0, [&] {
        auto* error = new COleException;
        if (!s_application.CreateDispatch(kProgId, error))
            throw static_cast<CException*>(error);
        error->Delete();

        CApplication app = borrowDriver<CApplication>(s_application);
        if (app.get_Visible())
            return 1;
        app.put_Visible(TRUE);
        s_version = _wtoi(app.get_Version());
        if (s_version >= 12) {
            // Bringing the window forward is a courtesy: nothing here fails the launch.
            try {
                long window = app.get_Hwnd();
                if (window != 0)
                    SetForegroundWindow(reinterpret_cast<HWND>(static_cast<intptr_t>(window)));
            } catch (_com_error& e) {
                AfxMessageBox(e.ErrorMessage());
            } catch (CException* e) {
                e->Delete();
            } catch (...) {
            }
        }
        return 1;
    });
}

int ExcelUtils::OpenWorkbook(CString path, int, int readOnly) {
    if (path.IsEmpty())
        return 0;
    wchar_t drive[_MAX_DRIVE], dir[_MAX_DIR], fname[_MAX_FNAME], ext[_MAX_EXT];
    _wsplitpath(path, drive, dir, fname, ext);
    CString shortName = CString(fname) + ext;

    return excelStep(0, [&] {
        CApplication app = borrowDriver<CApplication>(s_application);
        CWorkbooks books(app.get_Workbooks());
        long count = books.get_Count();
        long found = 0;
        for (long i = 1; i <= count; ++i) {
            CWorkbook book(books.get_Item(COleVariant(i)));
            if (book.get_FullName().CompareNoCase(path) == 0) {
                found = i;
                break;
            }
            if (book.get_Name().CompareNoCase(shortName) == 0) {
                CString message;
                message.Format(L"A document with the name '%s' is already open. You cannot open "
                               L"two documents with the same name, even if the documents are in "
                               L"different folders.\nTo open the second document, either close "
                               L"the document that's currently open, or rename one of the "
                               L"documents.",
                               shortName.GetString());
                AfxMessageBox(message);
                return 0;
            }
        }
        if (found) {
            s_workbook.AttachDispatch(books.get_Item(COleVariant(found)));
            return 1;
        }
        s_workbook.AttachDispatch(books.Open(
            path, COleVariant(1L), COleVariant(long(readOnly)), vtMissing, vtMissing, vtMissing,
            vtMissing, vtMissing, vtMissing, vtMissing, vtMissing, vtMissing, vtMissing));
        // Without an application nothing answers the open, and no workbook is held.
        return s_workbook.m_lpDispatch ? 1 : 0;
    });
}

int ExcelUtils::AddWorkbook() {
    return excelStep(0, [&] {
        CApplication app = borrowDriver<CApplication>(s_application);
        CWorkbooks books(app.get_Workbooks());
        s_workbook.AttachDispatch(books.Add(vtMissing));
        return 1;
    });
}

int ExcelUtils::EnsureActiveSheet() {
    if (!s_application.m_lpDispatch) {
        AfxMessageBox(L"Failed to get an instance of Excel!");
        return 0;
    }
    return excelStep(0, [&] {
        CApplication app = borrowDriver<CApplication>(s_application);
        CWorkbooks books(app.get_Workbooks());
        if (books.get_Count() <= 0) {
            // The new workbook becomes the active one; it is reached through that below.
            if (LPDISPATCH added = books.Add(vtMissing))
                added->Release();
        }
        if (!s_workbook.m_lpDispatch)
            s_workbook.AttachDispatch(app.get_ActiveWorkbook());
        CWorkbook book = borrowDriver<CWorkbook>(s_workbook);
        s_worksheet.AttachDispatch(book.get_ActiveSheet());
        return 1;
    });
}

int ExcelUtils::ActivateWorksheet(CString name) {
    if (name.IsEmpty())
        return 0;
    return excelStep(0, [&] {
        CApplication app = borrowDriver<CApplication>(s_application);
        CWorkbook book(app.get_ActiveWorkbook());
        CWorksheets sheets(book.get_Worksheets());
        for (long i = 1; i <= sheets.get_Count(); ++i) {
            CWorksheet sheet(sheets.get_Item(COleVariant(i)));
            if (sheet.get_Name().CompareNoCase(name) != 0)
                continue;
            s_worksheet.AttachDispatch(sheets.get_Item(COleVariant(i)));
            CWorksheet current = borrowDriver<CWorksheet>(s_worksheet);
            current.put_Visible(1);
            current.Activate();
            return 1;
        }
        return 0;
    });
}

CString ExcelUtils::GetSelectionAddress() {
    return excelStep(CString(), [&] {
        CApplication app = borrowDriver<CApplication>(s_application);
        LPDISPATCH selection = app.get_Selection();
        if (!selection)
            return CString();
        IDispatch* range = nullptr;
        selection->QueryInterface(IID_ExcelRange, reinterpret_cast<void**>(&range));
        selection->Release();
        if (!range) // a shape or a chart
            return CString();
        CRange selected(range);
        return selected.get_Address(vtMissing, vtMissing, 1, vtMissing, vtMissing);
    });
}

BOOL ExcelUtils::AttachExcelFromWindow(HWND window, LPARAM) {
    wchar_t className[64] = {};
    GetClassNameW(window, className, 64);
    if (_wcsicmp(className, L"EXCEL7") != 0)
        return TRUE;
    wchar_t title[260] = {};
    GetWindowTextW(window, title, 260);

    IDispatch* excelWindow = nullptr;
    HRESULT hr =
        AccessibleObjectFromWindow(window, static_cast<DWORD>(OBJID_NATIVEOM), IID_ExcelWindow,
                                   reinterpret_cast<void**>(&excelWindow));
    if (FAILED(hr) || !excelWindow)
        return FALSE;

    VARIANT result;
    VariantInit(&result);
    wchar_t member[] = L"ActiveSheet";
    AutoWrap(DISPATCH_PROPERTYGET, &result, excelWindow, member, 0);
    excelWindow->Release();
    if (!result.pdispVal || reinterpret_cast<uintptr_t>(result.pdispVal) == 0xCCCCCCCC)
        return TRUE;

    return excelStep(FALSE, [&] {
        CWorksheet sheet(result.pdispVal);
        s_application.AttachDispatch(sheet.get_Application());
        CApplication app = borrowDriver<CApplication>(s_application);
        s_workbook.AttachDispatch(app.get_ActiveWorkbook());
        return FALSE;
    });
}

HRESULT ExcelUtils::AutoWrap(int callKind, VARIANT* result, IDispatch* dispatch, LPOLESTR name,
                             int argumentCount, ...) {
    const UINT style = MB_ICONSTOP | MB_SETFOREGROUND;
    if (!dispatch) {
        MessageBoxW(nullptr, L"NULL IDispatch passed to AutoWrap()", L"Error", style);
        std::_Exit(0);
    }
    DISPID member = DISPID_UNKNOWN;
    HRESULT hr = dispatch->GetIDsOfNames(GUID_NULL, &name, 1, LOCALE_USER_DEFAULT, &member);
    if (FAILED(hr)) {
        CString text;
        text.Format(L"IDispatch::GetIDsOfNames(\"%s\") failed w/err 0x%08lx", name,
                    static_cast<unsigned long>(static_cast<uint32_t>(hr)));
        MessageBoxW(nullptr, text, L"AutoWrap()", style);
        std::_Exit(0);
    }

    va_list marker;
    va_start(marker, argumentCount);
    int count = argumentCount > 0 ? argumentCount : 0;
    std::vector<VARIANT> arguments(static_cast<size_t>(count) + 1);
    for (int i = 0; i < count; ++i)
        arguments[static_cast<size_t>(i)] = va_arg(marker, VARIANT);
    va_end(marker);

    DISPID named = DISPID_PROPERTYPUT;
    DISPPARAMS params{count ? arguments.data() : nullptr, nullptr, static_cast<UINT>(count), 0};
    if (callKind & DISPATCH_PROPERTYPUT) {
        params.cNamedArgs = 1;
        params.rgdispidNamedArgs = &named;
    }
    hr = dispatch->Invoke(member, GUID_NULL, LOCALE_SYSTEM_DEFAULT, static_cast<WORD>(callKind),
                          &params, result, nullptr, nullptr);
    if (FAILED(hr)) {
        CString text;
        text.Format(L"IDispatch::Invoke(\"%s\"=%08lx) failed w/err 0x%08lx", name,
                    static_cast<unsigned long>(static_cast<uint32_t>(member)),
                    static_cast<unsigned long>(static_cast<uint32_t>(hr)));
        MessageBoxW(nullptr, text, L"AutoWrap()", style);
        std::_Exit(0);
    }
    return hr;
}

// --- the guard ----------------------------------------------------------------------------

ExcelSessionGuard::ExcelSessionGuard(int& launched) : m_quit(1) {
    launched = ExcelUtils::LaunchExcel();
}

ExcelSessionGuard::ExcelSessionGuard(const wchar_t* workbookPath, int& ready, int& workbookOpen) {
    workbookOpen = 1;
    if (!ExcelUtils::GetActiveExcel(workbookPath)) {
        // A failed launch is not an end: the steps below find no application, and
        // EnsureActiveSheet tells the user that Excel could not be had.
        ExcelUtils::LaunchExcel();
        if (workbookPath && *workbookPath) {
            if (!ExcelUtils::OpenWorkbook(workbookPath, 0, 0))
                workbookOpen = 0;
        } else {
            ExcelUtils::AddWorkbook();
            workbookOpen = 0;
        }
    }
    ready = ExcelUtils::EnsureActiveSheet();
}

ExcelSessionGuard::~ExcelSessionGuard() {
    if (m_quit) {
        try {
            CApplication app = borrowDriver<CApplication>(ExcelUtils::s_application);
            app.Quit();
        } catch (CException* e) {
            e->Delete();
        } catch (...) {
        }
    }
    ExcelUtils::ReleaseExcel();
}
