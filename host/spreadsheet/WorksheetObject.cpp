// A Worksheet object: name, visibility, Activate, and its ranges.
#include "spreadsheet/AutomationDispatch.h"
#include "spreadsheet/ExcelAddress.h"
#include "spreadsheet/RangeObject.h"

#include <algorithm>
#include <string>
#include <vector>

namespace excelhost::automation {

namespace {

class WorksheetObject : public AutoObject {
public:
    WorksheetObject(InstancePtr i, BookPtr b, int s)
        : AutoObject(Kind::Worksheet, std::move(i)), m_book(std::move(b)), m_sheet(s) {}

protected:
    void call(const Member& m, WORD kind, const Args& args, VARIANT* r) override {
        if (!m_book->open)
            fail(RPC_E_DISCONNECTED);
        spreadsheet::Workbook& wb = *m_book->workbook;
        spreadsheet::Worksheet& ws = wb.sheet(size_t(m_sheet));
        std::wstring n = m.name;
        if (n == L"Name")
            return setText(r, ws.name());
        if (n == L"Application")
            return setObject(r, makeApplication(instPtr()));
        if (n == L"Visible") {
            if (kind == kPut) {
                long v = argLong(args.value);
                spreadsheet::SheetState state = v == 0   ? spreadsheet::SheetState::Hidden
                                                : v == 2 ? spreadsheet::SheetState::VeryHidden
                                                         : spreadsheet::SheetState::Visible;
                if (state != spreadsheet::SheetState::Visible) {
                    int visible = 0;
                    for (size_t i = 0; i < wb.sheetCount(); ++i)
                        if (wb.sheet(i).state() == spreadsheet::SheetState::Visible)
                            ++visible;
                    if (ws.state() == spreadsheet::SheetState::Visible && visible <= 1)
                        raise(L"Unable to set the Visible property of the Worksheet class");
                }
                if (state != ws.state())
                    ws.setState(state);
                return;
            }
            long v = ws.state() == spreadsheet::SheetState::Visible  ? -1
                     : ws.state() == spreadsheet::SheetState::Hidden ? 0
                                                                     : 2;
            return setLong(r, v);
        }
        if (n == L"Activate") {
            if (ws.state() != spreadsheet::SheetState::Visible)
                raise(L"Activate method of Worksheet class failed");
            wb.setActiveSheet(m_sheet);
            setActive(inst(), m_book);
            return;
        }
        if (n == L"Range") {
            loadedSheet(m_book, m_sheet);
            std::vector<RangeRef> first;
            if (!rangeArg(args.at(0), first))
                raise(L"Method 'Range' of object '_Worksheet' failed");
            if (const VARIANT* second = args.at(1)) {
                std::vector<RangeRef> other;
                if (!rangeArg(second, other))
                    raise(L"Method 'Range' of object '_Worksheet' failed");
                RangeRef a = first.front(), b = other.front();
                RangeRef box{
                    {std::min(a.first.row, b.first.row), std::min(a.first.col, b.first.col)},
                    {std::max(a.last.row, b.last.row), std::max(a.last.col, b.last.col)}};
                first = {box};
            }
            return setObject(r, makeRange(instPtr(), m_book, m_sheet, first));
        }
        if (n == L"Cells") {
            loadedSheet(m_book, m_sheet);
            return setObject(
                r, makeRange(instPtr(), m_book, m_sheet,
                             {{{1, 1}, {spreadsheet::kMaxRows, spreadsheet::kMaxColumns}}}));
        }
        if (n == L"UsedRange")
            return setObject(r, makeRange(instPtr(), m_book, m_sheet,
                                          {loadedSheet(m_book, m_sheet).usedRange()}));
        fail(DISP_E_MEMBERNOTFOUND);
    }

private:
    bool rangeArg(const VARIANT* v, std::vector<RangeRef>& areas);
    BookPtr m_book;
    int m_sheet;
};

bool WorksheetObject::rangeArg(const VARIANT* v, std::vector<RangeRef>& areas) {
    if (!v)
        return false;
    if (v->vt == VT_DISPATCH && v->pdispVal) {
        void* object = nullptr;
        if (FAILED(v->pdispVal->QueryInterface(kIID_Range, &object)))
            return false;
        auto* range =
            static_cast<RangeObject*>(static_cast<AutoObject*>(static_cast<IDispatch*>(object)));
        bool same = range->book() == m_book && range->sheet() == m_sheet;
        if (same)
            areas = range->areas();
        range->Release();
        return same;
    }
    if (v->vt != VT_BSTR)
        return false;
    return resolveAddress(*m_book->workbook, m_sheet, v->bstrVal ? v->bstrVal : L"", areas);
}

} // namespace

AutoObject* makeWorksheet(const InstancePtr& inst, const BookPtr& book, int sheet) {
    return new WorksheetObject(inst, book, sheet);
}

} // namespace excelhost::automation
