// The spreadsheet program's automation objects, driven as a client drives them: through
// COleDispatchDriver::InvokeHelper with Excel's member numbers.
#include <algorithm>
#include <gtest/gtest.h>

#include "afxdisp.h"
#include "comdef.h"
#include "excel/ExcelFixture.h"
#include "oleacc.h"
#include "spreadsheet/Workbook.h"
#include "winuser.h"

namespace {

using exceltest::ExcelFixture;

// A thin client over the dispatch driver, by member number.
struct Obj : COleDispatchDriver {
    Obj() = default;
    explicit Obj(LPDISPATCH d) : COleDispatchDriver(d) {}
    Obj get(DISPID id) {
        LPDISPATCH d = nullptr;
        InvokeHelper(id, DISPATCH_PROPERTYGET, VT_DISPATCH, &d, nullptr);
        return Obj(d);
    }
    Obj get(DISPID id, const VARIANT& a) {
        static const BYTE p[] = VTS_VARIANT;
        LPDISPATCH d = nullptr;
        InvokeHelper(id, DISPATCH_PROPERTYGET, VT_DISPATCH, &d, p, &a);
        return Obj(d);
    }
    Obj get(DISPID id, const VARIANT& a, const VARIANT& b) {
        static const BYTE p[] = VTS_VARIANT VTS_VARIANT;
        LPDISPATCH d = nullptr;
        InvokeHelper(id, DISPATCH_PROPERTYGET, VT_DISPATCH, &d, p, &a, &b);
        return Obj(d);
    }
    CString text(DISPID id) {
        CString s;
        InvokeHelper(id, DISPATCH_PROPERTYGET, VT_BSTR, &s, nullptr);
        return s;
    }
    long number(DISPID id) {
        long n = 0;
        InvokeHelper(id, DISPATCH_PROPERTYGET, VT_I4, &n, nullptr);
        return n;
    }
    COleVariant variant(DISPID id) {
        VARIANT v;
        VariantInit(&v);
        InvokeHelper(id, DISPATCH_PROPERTYGET, VT_VARIANT, &v, nullptr);
        COleVariant out;
        out.Attach(v);
        return out;
    }
    CString cellText() { // Range.Text
        COleVariant v = variant(0x8A);
        return v.vt == VT_BSTR ? CString(v.bstrVal) : CString(L"<null>");
    }
    CString address() {
        static const BYTE p[] = VTS_VARIANT VTS_VARIANT VTS_I4 VTS_VARIANT VTS_VARIANT;
        CString s;
        InvokeHelper(0xEC, DISPATCH_PROPERTYGET, VT_BSTR, &s, p, &vtMissing, &vtMissing, 1L,
                     &vtMissing, &vtMissing);
        return s;
    }
    void call(DISPID id) { InvokeHelper(id, DISPATCH_METHOD, VT_EMPTY, nullptr, nullptr); }
    void putBool(DISPID id, BOOL b) {
        static const BYTE p[] = VTS_BOOL;
        InvokeHelper(id, DISPATCH_PROPERTYPUT, VT_EMPTY, nullptr, p, b);
    }
};

Obj openBook(Obj& app, const std::wstring& path, long readOnly) {
    Obj books = app.get(0x23C);
    static const BYTE p[] = VTS_BSTR VTS_VARIANT VTS_VARIANT VTS_VARIANT VTS_VARIANT VTS_VARIANT
        VTS_VARIANT VTS_VARIANT VTS_VARIANT VTS_VARIANT VTS_VARIANT VTS_VARIANT VTS_VARIANT;
    COleVariant update(1L), ro(readOnly);
    const VARIANT* m = &vtMissing;
    LPDISPATCH d = nullptr;
    books.InvokeHelper(0x2AA, DISPATCH_METHOD, VT_DISPATCH, &d, p, path.c_str(), &update, &ro, m, m,
                       m, m, m, m, m, m, m, m);
    return Obj(d);
}

// Runs a call and gives what it raised: the description and code of Excel's exception,
// or "code <hex>" for a plain failure; empty when nothing was raised.
template <class F> std::wstring raised(F f) {
    try {
        f();
    } catch (CException* e) {
        std::wstring what;
        if (auto* d = dynamic_cast<COleDispatchException*>(e))
            what = std::wstring(d->m_strDescription.GetString()) + L" | " +
                   std::to_wstring(uint32_t(d->m_scError));
        else if (auto* o = dynamic_cast<COleException*>(e))
            what = L"code " + std::to_wstring(uint32_t(o->m_sc));
        e->Delete();
        return what;
    }
    return L"";
}

const std::wstring kExcelError = L" | " + std::to_wstring(0x800A03ECu);

class AutomationTest : public ExcelFixture {
protected:
    Obj launch() {
        Obj app;
        EXPECT_TRUE(app.CreateDispatch(L"Excel.Application"));
        return app;
    }
    void TearDown() override {
        ExcelFixture::TearDown();
        EXPECT_EQ(excelhost::liveObjects(), 0) << "automation objects leaked";
    }
};

TEST_F(AutomationTest, InstancesStartFindAndQuit) {
    {
        // Nothing runs: no active object.
        CLSID clsid;
        ASSERT_EQ(CLSIDFromProgID(L"Excel.Application", &clsid), S_OK);
        IUnknown* unknown = nullptr;
        EXPECT_EQ(GetActiveObject(clsid, nullptr, &unknown), MK_E_UNAVAILABLE);

        // CreateDispatch starts an invisible instance the user cannot reach.
        Obj app = launch();
        BOOL visible = TRUE;
        app.InvokeHelper(0x22E, DISPATCH_PROPERTYGET, VT_BOOL, &visible, nullptr);
        EXPECT_FALSE(visible);
        EXPECT_EQ(app.text(0x188), L"16.0");
        EXPECT_EQ(app.get(0x23C).number(0x76), 0);
        EXPECT_EQ(excelhost::activeExcel(), 0);
        app.putBool(0x22E, TRUE);
        EXPECT_EQ(excelhost::activeExcel(), excelhost::lastStartedExcel());
        HWND hwnd = excelhost::excelState(excelhost::lastStartedExcel()).hwnd;
        EXPECT_EQ(app.number(0x79E), long(reinterpret_cast<intptr_t>(hwnd)));
        wchar_t cls[64];
        EXPECT_GT(GetClassNameW(hwnd, cls, 64), 0);
        EXPECT_STREQ(cls, L"XLMAIN");

        app.call(0x12E); // Quit
        EXPECT_FALSE(excelhost::excelState(excelhost::lastStartedExcel()).running);
        EXPECT_EQ(raised([&] { app.text(0x188); }), L"code " + std::to_wstring(0x80010108u));
    }
    // A user-started Excel is found, hidden or not, and answers with its version.
    excelhost::setDefaultVersion(L"11.0");
    int user = excelhost::startExcel(false);
    CLSID clsid;
    CLSIDFromProgID(L"Excel.Application", &clsid);
    IUnknown* unknown = nullptr;
    ASSERT_EQ(GetActiveObject(clsid, nullptr, &unknown), S_OK);
    IDispatch* d = nullptr;
    ASSERT_EQ(unknown->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&d)), S_OK);
    unknown->Release();
    Obj app(d);
    EXPECT_EQ(app.text(0x188), L"11.0");
    EXPECT_EQ(excelhost::activeExcel(), user);

    // Without an installed Excel the class is unknown.
    excelhost::setInstalled(false);
    COleException error;
    Obj none;
    EXPECT_FALSE(none.CreateDispatch(L"Excel.Application", &error));
    EXPECT_EQ(error.m_sc, CO_E_CLASSSTRING);
}

TEST_F(AutomationTest, WorkbooksOpenAddItemAndFail) {
    std::wstring file = write("sizes.xlsx", sizes());
    Obj app = launch();
    Obj book = openBook(app, file, 1);
    EXPECT_EQ(book.text(0x121), file);
    EXPECT_EQ(book.text(0x6E), L"sizes.xlsx");
    Obj books = app.get(0x23C);

    // Opening the same path again gives the open workbook; new ones are Book1, Book2.
    Obj again = openBook(app, file, 0);
    EXPECT_EQ(books.number(0x76), 1);
    LPDISPATCH added = nullptr;
    static const BYTE p[] = VTS_VARIANT;
    books.InvokeHelper(0xB5, DISPATCH_METHOD, VT_DISPATCH, &added, p, &vtMissing);
    Obj book1(added);
    EXPECT_EQ(book1.text(0x6E), L"Book1");
    EXPECT_EQ(book1.text(0x121), L"Book1");
    books.InvokeHelper(0xB5, DISPATCH_METHOD, VT_DISPATCH, &added, p, &vtMissing);
    Obj book2(added);
    EXPECT_EQ(book2.text(0x6E), L"Book2");
    EXPECT_EQ(app.get(0x134).text(0x6E), L"Book2"); // the new one is active
    EXPECT_EQ(books.get(0xAA, COleVariant(1L)).text(0x6E), L"sizes.xlsx");
    EXPECT_EQ(books.get(0xAA, COleVariant(L"BOOK1")).text(0x6E), L"Book1");

    // Bad indexes are plain failures; bad files are Excel's exceptions.
    const std::wstring badIndex = L"code " + std::to_wstring(0x8002000Bu);
    EXPECT_EQ(raised([&] { books.get(0xAA, COleVariant(0L)); }), badIndex);
    EXPECT_EQ(raised([&] { books.get(0xAA, COleVariant(4L)); }), badIndex);
    EXPECT_EQ(raised([&] { books.get(0xAA, COleVariant(L"nope.xlsx")); }), badIndex);
    std::wstring missing = path("missing.xlsx");
    EXPECT_EQ(raised([&] { openBook(app, missing, 1); }),
              L"Sorry, we couldn't find " + missing +
                  L". Is it possible it was moved, renamed or deleted?" + kExcelError);
    std::wstring garbage = writeRaw("garbage.xlsx", "this is no zip");
    EXPECT_EQ(raised([&] { openBook(app, garbage, 1); }),
              L"Excel cannot open the file 'garbage.xlsx' because the file format or file "
              L"extension is not valid. Verify that the file has not been corrupted and that the "
              L"file extension matches the format of the file." +
                  kExcelError);
    // Another file of an open file's name.
    std::filesystem::create_directories(std::filesystem::path(path("other")));
    std::wstring twin = write("other/sizes.xlsx", sizes());
    EXPECT_EQ(raised([&] { openBook(app, twin, 1); }),
              L"A document with the name 'sizes.xlsx' is already open. You cannot open two "
              L"documents with the same name, even if the documents are in different "
              L"folders.\nTo open the second document, either close the document that's "
              L"currently open, or rename one of the documents." +
                  kExcelError);
    EXPECT_EQ(books.number(0x76), 3);
    EXPECT_EQ(excelhost::callCount(L"Workbooks.Open"), 5);
}

TEST_F(AutomationTest, ActiveObjectsComeFromTheSavedView) {
    auto b = sizes();
    b.activeTab(0);
    std::wstring file = write("sizes.xlsx", b);
    int excel = excelhost::startExcel();
    ASSERT_TRUE(excelhost::openWorkbook(excel, file));
    CLSID clsid;
    CLSIDFromProgID(L"Excel.Application", &clsid);
    IUnknown* u = nullptr;
    ASSERT_EQ(GetActiveObject(clsid, nullptr, &u), S_OK);
    IDispatch* d = nullptr;
    u->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&d));
    u->Release();
    Obj app(d);

    EXPECT_EQ(app.get(0x134).text(0x6E), L"sizes.xlsx");
    EXPECT_EQ(app.get(0x134).get(0x133).text(0x6E), L"Sheet1");
    EXPECT_EQ(app.get(0x131).address(), L"$C$3");
    Obj selection = app.get(0x93);
    EXPECT_EQ(selection.address(), L"$B$2:$C$4");
    IDispatch* range = nullptr;
    EXPECT_EQ(selection.m_lpDispatch->QueryInterface(excelhost::kIID_Range,
                                                     reinterpret_cast<void**>(&range)),
              S_OK);
    range->Release();

    // The user clicks around: another sheet, several areas, a shape.
    EXPECT_FALSE(excelhost::selectSheet(excel, L"Secret")); // hidden tabs cannot be clicked
    ASSERT_TRUE(excelhost::selectSheet(excel, L"Data"));
    ASSERT_TRUE(excelhost::selectRange(excel, L"A1,C3:D4"));
    EXPECT_EQ(app.get(0x93).address(), L"$A$1,$C$3:$D$4");
    EXPECT_EQ(app.get(0x131).address(), L"$A$1");
    ASSERT_TRUE(excelhost::selectShape(excel));
    Obj shape = app.get(0x93);
    EXPECT_EQ(
        shape.m_lpDispatch->QueryInterface(excelhost::kIID_Range, reinterpret_cast<void**>(&range)),
        E_NOINTERFACE);

    // Through the workbook's window, as accessibility reaches it.
    HWND window = excelhost::workbookWindow(excel, L"sizes.xlsx");
    wchar_t cls[64];
    GetClassNameW(window, cls, 64);
    EXPECT_STREQ(cls, L"EXCEL7");
    IDispatch* win = nullptr;
    ASSERT_EQ(AccessibleObjectFromWindow(window, DWORD(OBJID_NATIVEOM), excelhost::kIID_Window,
                                         reinterpret_cast<void**>(&win)),
              S_OK);
    Obj windowObj(win);
    EXPECT_EQ(windowObj.get(0x133).text(0x6E), L"Data");
}

TEST_F(AutomationTest, RangesByAddressNameAreasAndResize) {
    std::wstring file = write("sizes.xlsx", sizes());
    Obj app = launch();
    Obj book = openBook(app, file, 1);
    Obj sheets = book.get(0x1EE);
    EXPECT_EQ(sheets.number(0x76), 3);
    Obj sheet = sheets.get(0xAA, COleVariant(1L));
    EXPECT_EQ(sheets.get(0xAA, COleVariant(L"data")).text(0x6E), L"Data");
    EXPECT_EQ(raised([&] { sheets.get(0xAA, COleVariant(4L)); }),
              L"code " + std::to_wstring(0x8002000Bu));

    auto range = [&](const wchar_t* a) { return sheet.get(0xC5, COleVariant(a), vtMissing); };
    EXPECT_EQ(range(L"B2").cellText(), L"12.5");
    EXPECT_EQ(range(L"$C$3").cellText(), L"25.00"); // formula by its cached value, formatted
    EXPECT_EQ(range(L"Width").cellText(), L"12.5");
    EXPECT_EQ(range(L"Width").address(), L"$B$2");
    EXPECT_EQ(range(L"Sheet1!B3").cellText(), L"3");
    EXPECT_EQ(range(L"A1,C3:D4").address(), L"$A$1,$C$3:$D$4");
    EXPECT_EQ(range(L"$A:$C").address(), L"$A:$C");
    EXPECT_EQ(range(L"$2:$9").address(), L"$2:$9");
    EXPECT_EQ(sheet.get(0xC5, COleVariant(L"D4"), COleVariant(L"B2")).address(), L"$B$2:$D$4");
    EXPECT_EQ(range(L"B2:C3").cellText(), L"<null>"); // cells that differ share no text
    EXPECT_EQ(range(L"E5:F6").cellText(), L"");       // all empty

    // A sheet-scope name belongs to its sheet only.
    EXPECT_EQ(
        sheets.get(0xAA, COleVariant(3L)).get(0xC5, COleVariant(L"Local"), vtMissing).cellText(),
        L"2");
    const std::wstring rangeFailed = L"Method 'Range' of object '_Worksheet' failed" + kExcelError;
    EXPECT_EQ(raised([&] { range(L"Local"); }), rangeFailed);
    EXPECT_EQ(raised([&] { range(L"Data!A1"); }), rangeFailed);
    EXPECT_EQ(raised([&] { range(L"XFE1"); }), rangeFailed);
    EXPECT_EQ(raised([&] { range(L"A1048577"); }), rangeFailed);
    EXPECT_EQ(raised([&] { range(L""); }), rangeFailed);

    // Item counts from the top left; Resize keeps the corner.
    Obj cells = sheet.get(0xEE);
    COleVariant item;
    static const BYTE two[] = VTS_VARIANT VTS_VARIANT;
    VARIANT v;
    VariantInit(&v);
    COleVariant row2(2L), col3(3L);
    cells.InvokeHelper(0xAA, DISPATCH_PROPERTYGET, VT_VARIANT, &v, two, &row2, &col3);
    item.Attach(v);
    ASSERT_EQ(item.vt, VT_DISPATCH);
    item.pdispVal->AddRef();
    Obj c2(item.pdispVal);
    EXPECT_EQ(c2.address(), L"$C$2");
    EXPECT_EQ(c2.cellText(), L"  abc  "); // as shown; trimming is the caller's
    EXPECT_EQ(range(L"B2").get(0x100, COleVariant(2L), COleVariant(3L)).address(), L"$B$2:$D$3");
    EXPECT_EQ(raised([&] { range(L"B2").get(0x100, COleVariant(0L), COleVariant(1L)); }),
              L"Application-defined or object-defined error" + kExcelError);
    EXPECT_EQ(sheet.get(0x19C).address(), L"$B$2:$D$4");

    // Range.Name: the defined name of exactly this range.
    VARIANT nameVar;
    VariantInit(&nameVar);
    range(L"$B$2:$C$3").InvokeHelper(0x6E, DISPATCH_PROPERTYGET, VT_VARIANT, &nameVar, nullptr);
    Obj name(nameVar.pdispVal);
    EXPECT_EQ(name.text(0x6E), L"Block");
    EXPECT_EQ(raised([&] { range(L"B3").variant(0x6E); }),
              L"Application-defined or object-defined error" + kExcelError);
}

TEST_F(AutomationTest, HiddenSheetsVisibleAndActivate) {
    std::wstring file = write("sizes.xlsx", sizes());
    Obj app = launch();
    Obj sheets = openBook(app, file, 1).get(0x1EE);
    Obj secret = sheets.get(0xAA, COleVariant(2L));
    EXPECT_EQ(secret.number(0x22E), 0);
    EXPECT_EQ(raised([&] { secret.call(0x130); }),
              L"Activate method of Worksheet class failed" + kExcelError);
    static const BYTE p[] = VTS_I4;
    secret.InvokeHelper(0x22E, DISPATCH_PROPERTYPUT, VT_EMPTY, nullptr, p, 1L);
    EXPECT_EQ(secret.number(0x22E), -1);
    secret.call(0x130);
    EXPECT_EQ(app.get(0x134).get(0x133).text(0x6E), L"Secret");
}

TEST_F(AutomationTest, ValuePutAutoFitAndSave) {
    testkit::XlsxBuilder b = sizes();
    std::wstring file = write("sizes.xlsx", b);
    Obj app = launch();
    Obj book = openBook(app, file, 0);
    Obj sheet = book.get(0x1EE).get(0xAA, COleVariant(3L)); // Data

    COleSafeArray array;
    DWORD dims[2] = {2, 2};
    array.Create(VT_BSTR, 2, dims);
    const wchar_t* texts[2][2] = {{L"Name", L"1250.5"}, {L"Depth", L"abc"}};
    for (long r = 0; r < 2; ++r)
        for (long c = 0; c < 2; ++c) {
            long idx[2] = {r, c};
            BSTR s = SysAllocString(texts[r][c]);
            array.PutElement(idx, s);
            SysFreeString(s);
        }
    Obj target = sheet.get(0xC5, COleVariant(L"C5"), COleVariant(L"C5"))
                     .get(0x100, COleVariant(2L), COleVariant(2L));
    static const BYTE p[] = VTS_VARIANT;
    target.InvokeHelper(0x6, DISPATCH_PROPERTYPUT, VT_EMPTY, nullptr, p,
                        static_cast<const VARIANT*>(&array));
    spreadsheet::Workbook* wb = excelhost::workbook(excelhost::lastStartedExcel(), L"sizes.xlsx");
    ASSERT_NE(wb, nullptr);
    spreadsheet::Worksheet& data = wb->sheet(2);
    EXPECT_EQ(data.value(5, 4).type, spreadsheet::CellType::Number);
    EXPECT_EQ(data.value(5, 4).number, 1250.5);
    EXPECT_EQ(data.value(6, 4).string, L"abc");

    double before = data.columnWidth(3);
    Obj columns = sheet.get(0x19C).get(0xF1);
    COleVariant fitted = [&] {
        VARIANT v;
        VariantInit(&v);
        columns.InvokeHelper(0xED, DISPATCH_METHOD, VT_VARIANT, &v, nullptr);
        COleVariant out;
        out.Attach(v);
        return out;
    }();
    EXPECT_EQ(fitted.vt, VT_BOOL);
    EXPECT_NE(data.columnWidth(3), before);
    EXPECT_EQ(raised([&] { sheet.get(0xC5, COleVariant(L"A1"), vtMissing).call(0xED); }),
              L"AutoFit method of Range class failed" + kExcelError);

    book.call(0x11B); // Save
    spreadsheet::Status status;
    auto reread = spreadsheet::Workbook::open(file, true, status);
    ASSERT_EQ(status, spreadsheet::Status::Ok);
    EXPECT_EQ(reread->sheet(2).text(6, 3), L"Depth");
    EXPECT_EQ(reread->sheet(0).text(3, 3), L"25.00"); // other sheets kept
    EXPECT_EQ(reread->sheet(1).state(), spreadsheet::SheetState::Hidden);

    // Read-only workbooks refuse to be saved over.
    Obj app2 = launch();
    Obj readOnly = openBook(app2, file, 1);
    EXPECT_EQ(raised([&] { readOnly.call(0x11B); }),
              L"Cannot save as that name. Document was opened as read-only." + kExcelError);
}

TEST_F(AutomationTest, ValuePutEntersTextAsTypedAndTextShowsIt) {
    std::wstring file = write("sizes.xlsx", sizes());
    const wchar_t* typed[] = {L"1,250.5", L"12.5%",       L"$5.50", L"TRUE",
                              L"'42",     L"15-Mar-2024", L"1e3"};
    const wchar_t* shows[] = {L"1,250.50", L"12.50%",    L"$5.50 ",  L"TRUE",
                              L"42",       L"15-Mar-24", L"1.00E+03"};
    const long n = long(std::size(typed));
    auto textsOf = [&](Obj& sheet) {
        std::vector<std::wstring> out;
        for (long c = 0; c < n; ++c) {
            std::wstring cell = std::wstring(1, wchar_t(L'A' + c)) + L"5";
            COleVariant address(cell.c_str());
            out.emplace_back(sheet.get(0xC5, address, address).cellText().GetString());
        }
        return out;
    };
    {
        Obj app = launch();
        Obj book = openBook(app, file, 0);
        Obj sheet = book.get(0x1EE).get(0xAA, COleVariant(3L)); // Data
        COleSafeArray array;
        DWORD dims[2] = {1, DWORD(n)};
        array.Create(VT_BSTR, 2, dims);
        for (long c = 0; c < n; ++c) {
            long idx[2] = {0, c};
            BSTR s = SysAllocString(typed[c]);
            array.PutElement(idx, s);
            SysFreeString(s);
        }
        Obj target = sheet.get(0xC5, COleVariant(L"A5"), COleVariant(L"G5"));
        static const BYTE p[] = VTS_VARIANT;
        target.InvokeHelper(0x6, DISPATCH_PROPERTYPUT, VT_EMPTY, nullptr, p,
                            static_cast<const VARIANT*>(&array));
        EXPECT_EQ(textsOf(sheet), std::vector<std::wstring>(shows, shows + n));
        book.call(0x11B); // Save
        app.call(0x12E);  // Quit
    }
    Obj app = launch();
    Obj sheet = openBook(app, file, 1).get(0x1EE).get(0xAA, COleVariant(3L));
    EXPECT_EQ(textsOf(sheet), std::vector<std::wstring>(shows, shows + n));
}

TEST_F(AutomationTest, WindowsPathsGiveTheFileNameAsName) {
    Obj app = launch();
    int excel = excelhost::lastStartedExcel();
    ASSERT_TRUE(excelhost::openWorkbookBytes(excel, sizes().bytes(), L"C:\\Data\\sizes.xlsx"));
    Obj book = app.get(0x134);
    EXPECT_EQ(book.text(0x6E), L"sizes.xlsx");
    EXPECT_EQ(book.text(0x121), L"C:\\Data\\sizes.xlsx");
    EXPECT_EQ(app.get(0x23C).get(0xAA, COleVariant(L"SIZES.XLSX")).text(0x121),
              L"C:\\Data\\sizes.xlsx");
    // Another folder's file of the same name clashes with it.
    std::wstring error;
    EXPECT_FALSE(excelhost::openWorkbookBytes(excel, sizes().bytes(), L"D:\\other\\sizes.xlsx",
                                              false, &error));
    EXPECT_EQ(error.substr(0, 46), L"A document with the name 'sizes.xlsx' is alrea");
}

TEST_F(AutomationTest, DriverRulesAndCounting) {
    // An empty driver does nothing and leaves the result alone.
    COleDispatchDriver empty;
    long untouched = 77;
    empty.InvokeHelper(0x76, DISPATCH_PROPERTYGET, VT_I4, &untouched, nullptr);
    EXPECT_EQ(untouched, 77);

    Obj app = launch();
    EXPECT_EQ(raised([&] { app.number(0x7777); }), L"code " + std::to_wstring(0x80020003u));
    excelhost::clearCalls();
    app.text(0x188);
    app.text(0x188);
    app.get(0x23C).number(0x76);
    EXPECT_EQ(excelhost::callCount(L"Application.Version"), 2);
    EXPECT_EQ(excelhost::callCount(L"Workbooks.Count"), 1);
    EXPECT_EQ(excelhost::callLog().back(), L"Workbooks.Count");
    excelhost::failNextCall(L"Application.Version", E_FAIL);
    EXPECT_EQ(raised([&] { app.text(0x188); }), L"code " + std::to_wstring(0x80004005u));
    EXPECT_EQ(app.text(0x188), L"16.0");
}

TEST_F(AutomationTest, CallLogKeepsTheLatestCallsOfALongSession) {
    Obj app = launch();
    excelhost::clearCalls();
    app.text(0x188);
    for (int i = 0; i < 150000; ++i)
        app.number(0x22E);
    app.get(0x23C).number(0x76);
    std::vector<std::wstring> log = excelhost::callLog();
    // Bounded, newest last, and the counts still see every call.
    EXPECT_GE(log.size(), 65536u);
    EXPECT_LE(log.size(), 2u * 65536u);
    EXPECT_EQ(log[log.size() - 3], L"Application.Visible");
    EXPECT_EQ(log[log.size() - 2], L"Application.Workbooks");
    EXPECT_EQ(log.back(), L"Workbooks.Count");
    EXPECT_EQ(std::count(log.begin(), log.end(), L"Application.Version"), 0);
    EXPECT_EQ(excelhost::callCount(L"Application.Visible"), 150000);
    EXPECT_EQ(excelhost::callCount(L"Application.Version"), 1);
    EXPECT_EQ(excelhost::callCount(L"No.Such"), 0);
}

// --- the COM pieces under the drivers ---

TEST(ComText, ErrorMessageRules) {
    EXPECT_STREQ(_com_error(E_FAIL).ErrorMessage(), L"Unspecified error");
    EXPECT_STREQ(_com_error(DISP_E_BADINDEX).ErrorMessage(), L"Invalid index.");
    EXPECT_STREQ(_com_error(HRESULT(0x80040201)).ErrorMessage(), L"IDispatch error #1");
    EXPECT_STREQ(_com_error(HRESULT(0x8004FFFF)).ErrorMessage(), L"IDispatch error #65023");
    EXPECT_STREQ(_com_error(HRESULT(0x80040200)).ErrorMessage(), L"Unknown error 0x80040200");
    EXPECT_STREQ(_com_error(HRESULT(0x800A03EC)).ErrorMessage(), L"Unknown error 0x800A03EC");
    _com_error kept(E_UNEXPECTED);
    EXPECT_EQ(kept.ErrorMessage(), kept.ErrorMessage()); // made once, then kept

    wchar_t* text = nullptr;
    EXPECT_GT(FormatMessageW(0x1300, nullptr, 0x8000FFFF, LANG_USER_DEFAULT,
                             reinterpret_cast<LPWSTR>(&text), 0, nullptr),
              0u);
    EXPECT_STREQ(text, L"Catastrophic failure\r\n");
    LocalFree(text);
    EXPECT_EQ(FormatMessageW(0x1300, nullptr, 0x800A03EC, LANG_USER_DEFAULT,
                             reinterpret_cast<LPWSTR>(&text), 0, nullptr),
              0u);

    // Process: an OLE exception gives its code; everything else is unexpected.
    COleException ole;
    ole.m_sc = DISP_E_TYPEMISMATCH;
    EXPECT_EQ(COleException::Process(&ole), DISP_E_TYPEMISMATCH);
    COleDispatchException dispatch(L"x", 0, 0);
    EXPECT_EQ(COleException::Process(&dispatch), E_UNEXPECTED);
    CMemoryException memory;
    EXPECT_EQ(COleException::Process(&memory), E_OUTOFMEMORY);

    LPOLESTR clsid = nullptr;
    StringFromCLSID(excelhost::kExcelClsid, &clsid);
    EXPECT_STREQ(clsid, L"{00024500-0000-0000-C000-000000000046}");
    CLSID back;
    EXPECT_EQ(CLSIDFromString(clsid, &back), S_OK);
    EXPECT_TRUE(back == excelhost::kExcelClsid);
    CoTaskMemFree(clsid);
    EXPECT_EQ(vtMissing.vt, VT_ERROR);
    EXPECT_EQ(vtMissing.scode, DISP_E_PARAMNOTFOUND);
}

TEST(ComText, DatesFromText) {
    DATE d = 0;
    EXPECT_EQ(VarDateFromStr(L"3/14/2024", 0x409, 0, &d), S_OK);
    EXPECT_EQ(d, 45365.0);
    EXPECT_EQ(VarDateFromStr(L"2024-03-14 18:00", 0x409, 0, &d), S_OK);
    EXPECT_EQ(d, 45365.75);
    EXPECT_EQ(VarDateFromStr(L"March 14, 2024 6:00 PM", 0x409, 0, &d), S_OK);
    EXPECT_EQ(d, 45365.75);
    EXPECT_EQ(VarDateFromStr(L"12:00", 0x409, 0, &d), S_OK);
    EXPECT_EQ(d, 0.5);
    EXPECT_EQ(VarDateFromStr(L"12/29/1899 6:00", 0x409, 0, &d), S_OK);
    EXPECT_EQ(d, -1.25);
    EXPECT_EQ(VarDateFromStr(L"1/2/30", 0x409, 0, &d), S_OK); // two-digit years: 1930
    EXPECT_EQ(d, 10960.0);
    EXPECT_EQ(VarDateFromStr(L"yesterday", 0x409, 0, &d), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(VarDateFromStr(L"2/30/2024", 0x409, 0, &d), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(VarDateFromStr(L"", 0x409, 0, &d), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(VarDateFromStr(L"1/1/12345", 0x409, 0, &d), DISP_E_OVERFLOW);

    COleDateTime t;
    EXPECT_TRUE(t.ParseDateTime(L"3/14/2024 1:05:09 PM"));
    EXPECT_EQ(t.GetStatus(), COleDateTime::valid);
    EXPECT_EQ(t.GetYear(), 2024);
    EXPECT_EQ(t.GetHour(), 13);
    EXPECT_EQ(t.GetSecond(), 9);
    EXPECT_EQ(CString(t.Format(L"%Y-%m-%d %H:%M:%S")), L"2024-03-14 13:05:09");
    EXPECT_FALSE(t.ParseDateTime(L"not a date"));
    EXPECT_EQ(t.GetStatus(), COleDateTime::invalid);
    EXPECT_EQ(t.m_dt, 0.0);
    EXPECT_FALSE(t.ParseDateTime(L"1/1/12345"));
    EXPECT_EQ(t.m_dt, -1.0);
}

TEST(ComText, SafeArraysOfText) {
    COleSafeArray a;
    DWORD dims[2] = {2, 3};
    a.Create(VT_BSTR, 2, dims);
    long u1 = 0, u2 = 0;
    a.GetUBound(1, &u1);
    a.GetUBound(2, &u2);
    EXPECT_EQ(u1, 1);
    EXPECT_EQ(u2, 2);
    long idx[2] = {1, 2};
    BSTR s = SysAllocString(L"corner");
    a.PutElement(idx, s);
    SysFreeString(s);
    BSTR out = nullptr;
    a.GetElement(idx, &out);
    EXPECT_STREQ(out, L"corner");
    EXPECT_EQ(SysStringLen(out), 6u);
    SysFreeString(out);
    long beyond[2] = {2, 0};
    CException* raisedException = nullptr;
    try {
        a.PutElement(beyond, nullptr);
    } catch (CException* e) {
        raisedException = e;
    }
    ASSERT_NE(raisedException, nullptr);
    EXPECT_EQ(COleException::Process(raisedException), DISP_E_BADINDEX);
    raisedException->Delete();
    COleSafeArray copy(a);
    a.DestroyData();
    EXPECT_EQ(SafeArrayGetElemsize(a.parray), sizeof(BSTR)); // the descriptor stays
    copy.GetElement(idx, &out);
    EXPECT_STREQ(out, L"corner");
    SysFreeString(out);
}

} // namespace
