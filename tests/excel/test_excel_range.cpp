// Reading blocks of the current worksheet into a CStringTable, and writing a text array.
#include <gtest/gtest.h>

#include "excel/BridgeFixture.h"
#include "spreadsheet/Workbook.h"

namespace {

using exceltest::boxText;
using exceltest::BridgeTest;
using lmhost::StatusBarEvent;

class RangeTest : public BridgeTest {
protected:
    void SetUp() override {
        BridgeTest::SetUp();
        m_file = write("sizes.xlsx", sizes());
        m_excel = excelhost::startExcel();
        ASSERT_TRUE(excelhost::openWorkbook(m_excel, m_file));
        ASSERT_EQ(ExcelUtils::GetActiveExcel(nullptr), 1);
        excelhost::clearCalls();
    }
    static std::vector<std::vector<std::wstring>> rows(const CStringTable& t) {
        std::vector<std::vector<std::wstring>> out;
        for (INT_PTR r = 0; r < t.GetSize(); ++r) {
            out.emplace_back();
            for (INT_PTR c = 0; c < t[r].GetSize(); ++c)
                out.back().push_back(t[r][c].GetString());
        }
        return out;
    }
    spreadsheet::Worksheet& sheet(int index) {
        return excelhost::workbook(m_excel, L"sizes.xlsx")->sheet(size_t(index));
    }
    std::wstring m_file;
    int m_excel = 0;
};

using Rows = std::vector<std::vector<std::wstring>>;

TEST_F(RangeTest, OneCellIsOneTrimmedStringWithoutAMeter) {
    CStringTable table;
    ASSERT_EQ(ExcelUtils::ReadRange(table, L"$B$2"), 1);
    EXPECT_EQ(rows(table), (Rows{{L"12.5"}}));
    EXPECT_EQ(table.m_strAddress, L"$B$2");
    EXPECT_TRUE(lmhost::statusBarEvents().empty());
    CStringTable spaced;
    ExcelUtils::ReadRange(spaced, L"$C$2");
    EXPECT_EQ(rows(spaced), (Rows{{L"abc"}}));
    CStringTable named;
    ExcelUtils::ReadRange(named, L"Width");
    EXPECT_EQ(rows(named), (Rows{{L"12.5"}}));
    EXPECT_EQ(excelhost::callCount(L"Worksheet.Range"), 3);
    EXPECT_EQ(excelhost::callCount(L"Range.Text"), 3);
}

TEST_F(RangeTest, ABlockIsReadCellByCellUnderTheMeter) {
    CStringTable table;
    ASSERT_EQ(ExcelUtils::ReadRange(table, L"$B$2:$C$3"), 1);
    EXPECT_EQ(rows(table), (Rows{{L"12.5", L"abc"}, {L"3", L"25.00"}}));
    const auto& meter = lmhost::statusBarEvents();
    ASSERT_EQ(meter.size(), 6u);
    EXPECT_EQ(meter[0].kind, StatusBarEvent::Open);
    EXPECT_EQ(meter[0].label, L"Reading Excel data ...");
    EXPECT_EQ(meter[0].minPos, 0);
    EXPECT_EQ(meter[0].maxPos, 5);
    EXPECT_EQ(meter[4].pos, 4);
    EXPECT_EQ(meter[5].kind, StatusBarEvent::Restore);
    EXPECT_EQ(excelhost::callCount(L"Range.Item"), 4);
    EXPECT_EQ(excelhost::callCount(L"Range.Text"), 4);

    // Empty cells keep their place; several areas span from the first dollar to the first
    // colon.
    CStringTable gaps;
    ASSERT_EQ(ExcelUtils::ReadRange(gaps, L"$A$1,$C$3:$D$4"), 1);
    EXPECT_EQ(rows(gaps), (Rows{{L"", L"", L"", L""},
                                {L"", L"12.5", L"abc", L""},
                                {L"", L"3", L"25.00", L""},
                                {L"", L"", L"", L"wide text in D"}}));
}

TEST_F(RangeTest, WholeRowsAndColumnsGiveAnEmptySuccess) {
    for (const wchar_t* address : {L"$2:$9", L"$A:$C"}) {
        lmhost::clearStatusBar();
        CStringTable table;
        EXPECT_EQ(ExcelUtils::ReadRange(table, address), 1) << address;
        EXPECT_EQ(table.GetSize(), 0);
        EXPECT_FALSE(lmhost::progressMeterShown());
        EXPECT_EQ(lmhost::statusBarEvents().back().kind, StatusBarEvent::Restore);
    }
    EXPECT_EQ(excelhost::callCount(L"Range.Item"), 0);
}

TEST_F(RangeTest, FailuresReportAndMayLeaveAPartialTable) {
    CStringTable bad;
    EXPECT_EQ(ExcelUtils::ReadRange(bad, L"$A$0"), 0);
    EXPECT_EQ(bad.GetSize(), 0);
    EXPECT_EQ(boxText(0), L"Catastrophic failure\r\n");

    // A failing cell ends the read: what was read stays, and the meter stays up.
    CStringTable partial;
    excelhost::failNextCall(L"Range.Text", E_FAIL);
    EXPECT_EQ(ExcelUtils::ReadRange(partial, L"$B$2:$C$3"), 0);
    EXPECT_EQ(partial.GetSize(), 0);
    EXPECT_TRUE(lmhost::progressMeterShown());
    EXPECT_EQ(boxText(1), L"Unspecified error\r\n");
}

TEST_F(RangeTest, TextArrayCreatePutAndWrite) {
    EXPECT_EQ(ExcelUtils::CreateTextArray(0, 3), 0);
    EXPECT_EQ(ExcelUtils::CreateTextArray(2, 0), 0);
    EXPECT_EQ(ExcelUtils::WriteTextArray(L"$A$1"), 1); // no array: nothing written
    EXPECT_EQ(excelhost::callCount(L"Worksheet.Range"), 0);

    ASSERT_EQ(ExcelUtils::CreateTextArray(2, 2), 1);
    ExcelUtils::PutTextElement(L"d1", 0, 0);
    ExcelUtils::PutTextElement(L"12.5", 0, 1);
    ExcelUtils::PutTextElement(L"d2", 1, 0);
    ExcelUtils::PutTextElement(L"beyond", 2, 0); // past the upper bound: ignored
    ExcelUtils::PutTextElement(L"beyond", 0, 2);
    ExcelUtils::PutTextElement(L"negative", -1, 0);
    ASSERT_EQ(ExcelUtils::ActivateWorksheet(L"Data"), 1);
    EXPECT_EQ(ExcelUtils::WriteTextArray(L"$E$5"), 0);
    EXPECT_EQ(excelhost::callCount(L"Range.Value"), 1); // the whole block in one call
    EXPECT_TRUE(lmhost::messageBoxes().empty());
    spreadsheet::Worksheet& data = sheet(2);
    EXPECT_EQ(data.text(5, 5), L"d1");
    EXPECT_EQ(data.value(5, 6).type, spreadsheet::CellType::Number);
    EXPECT_EQ(data.value(5, 6).number, 12.5);
    EXPECT_EQ(data.text(6, 5), L"d2");
    EXPECT_EQ(data.value(6, 6).type, spreadsheet::CellType::Empty);
    EXPECT_EQ(data.value(7, 5).type, spreadsheet::CellType::Empty);
    EXPECT_EQ(data.value(5, 7).type, spreadsheet::CellType::Empty);
}

// The bounds of both dimensions are read whatever the array is: an array that is not two
// rows by columns, or none at all, is a failure the user is shown, and nothing is put.
TEST_F(RangeTest, PutIntoAnArrayOfAnotherShapeIsReported) {
    DWORD elements[1] = {3};
    ExcelUtils::s_textArray.Create(VT_BSTR, 1, elements);
    ExcelUtils::PutTextElement(L"d1", 0, 0);
    ASSERT_EQ(lmhost::messageBoxes().size(), 1u);
    EXPECT_EQ(boxText(0), L"Invalid index.\r\n");
    EXPECT_EQ(lmhost::messageBoxes()[0].style, unsigned(MB_ICONINFORMATION));
    long index = 0;
    BSTR stored = nullptr;
    ExcelUtils::s_textArray.GetElement(&index, &stored);
    EXPECT_EQ(stored, nullptr);
    SysFreeString(stored);

    ExcelUtils::s_textArray.Clear();
    ExcelUtils::PutTextElement(L"d1", 0, 0);
    ASSERT_EQ(lmhost::messageBoxes().size(), 2u);
    EXPECT_EQ(boxText(1), L"The parameter is incorrect.\r\n");
}

// A server of its own for one case: the sheet's Range is itself, and its Text is marked
// Null while it still hands a string over.
class UntypedTextServer : public IDispatch {
public:
    explicit UntypedTextServer(const wchar_t* text) : m_text(SysAllocString(text)) {}
    ~UntypedTextServer() { SysFreeString(m_text); }
    HRESULT QueryInterface(REFIID, void** object) override {
        *object = this;
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override { return --m_references; }
    HRESULT GetTypeInfoCount(UINT* count) override {
        *count = 0;
        return S_OK;
    }
    HRESULT GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*,
                   UINT*) override {
        if (member == 0xC5) { // Worksheet.Range
            AddRef();
            result->vt = VT_DISPATCH;
            result->pdispVal = this;
            return S_OK;
        }
        if (member == 0x8A) { // Range.Text; the string stays the server's
            result->vt = VT_NULL;
            result->bstrVal = m_text;
            return S_OK;
        }
        return DISP_E_MEMBERNOTFOUND;
    }
    ULONG references() const { return m_references; }

private:
    BSTR m_text;
    ULONG m_references = 1;
};

TEST_F(RangeTest, TextIsTakenOutOfItsVariantWithoutATestOfItsType) {
    UntypedTextServer server(L"  7.5 ");
    ExcelUtils::s_worksheet.AttachDispatch(&server, FALSE);
    CStringTable table;
    ASSERT_EQ(ExcelUtils::ReadRange(table, L"$B$2"), 1);
    EXPECT_EQ(rows(table), (Rows{{L"7.5"}}));
    ExcelUtils::s_worksheet.DetachDispatch();
    EXPECT_EQ(server.references(), 1u);
}

TEST_F(RangeTest, AutoFitUsedColumns) {
    double before = sheet(0).columnWidth(4);
    EXPECT_EQ(ExcelUtils::AutoFitUsedColumns(), 1);
    EXPECT_GT(sheet(0).columnWidth(4), before); // D holds the long text
    EXPECT_EQ(excelhost::callCount(L"Range.AutoFit"), 1);
    excelhost::failNextCall(L"Range.AutoFit", DISP_E_EXCEPTION);
    EXPECT_EQ(ExcelUtils::AutoFitUsedColumns(), 0);
}

// The table is one of the framework's arrays, and through it a CObject with its run-time
// class: a table handed on as a CObject is still known as a table of rows.
TEST(StringTable, IsAnArrayOfRowsAndAnObjectOfItsOwnClass) {
    CStringTable table;
    CStringArrayEx row;
    row.Add(L"12.5");
    row.Add(L"abc");
    table.Add(row);
    table.m_strAddress = L"$B$2:$C$2";

    CArray<CStringArrayEx, CStringArrayEx&>& rows = table;
    CObject& object = rows;
    EXPECT_TRUE(object.IsKindOf(RUNTIME_CLASS(CStringTable)));
    EXPECT_TRUE(object.IsKindOf(RUNTIME_CLASS(CObject)));
    EXPECT_FALSE(CStringArrayEx().IsKindOf(RUNTIME_CLASS(CStringTable)));
    EXPECT_STREQ(object.GetRuntimeClass()->m_lpszClassName, "CStringTable");
    EXPECT_EQ(object.GetRuntimeClass()->m_pBaseClass, RUNTIME_CLASS(CObject));
    object.AssertValid();
    CDumpContext dump;
    object.Dump(dump);
    EXPECT_NE(dump.text().find(L"a CStringTable at $"), std::wstring::npos);
    EXPECT_NE(dump.text().find(L"\nm_strAddress = $B$2:$C$2\nrows = 1"), std::wstring::npos);

    // Destroyed through its root, the rows go with it (the sanitizers watch for leaks).
    auto* filled = new CStringTable;
    filled->Add(row);
    CObject* owned = filled;
    delete owned;
}

TEST(StringArrayEx, FindStringSearchesFromBothEnds) {
    CStringArrayEx empty;
    EXPECT_EQ(empty.FindString(L"a", FALSE), -1);
    CStringArrayEx row;
    for (const wchar_t* s : {L"x", L"y", L"b", L"z", L"b", L"w"})
        row.Add(s);
    EXPECT_EQ(row.FindString(L"b", FALSE), 4); // the back end meets it first
    EXPECT_EQ(row.FindString(L"x", FALSE), 0);
    EXPECT_EQ(row.FindString(L"z", FALSE), 3);
    EXPECT_EQ(row.FindString(L"B", FALSE), -1);
    EXPECT_EQ(row.FindString(L"W", TRUE), 5);
    EXPECT_EQ(row.FindString(L"q", TRUE), -1);
}

} // namespace
