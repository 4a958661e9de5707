// The Worksheets collection of a workbook.
#include "spreadsheet/AutomationDispatch.h"

#include <string>

namespace excelhost::automation {

namespace {

class WorksheetsObject : public AutoObject {
public:
    WorksheetsObject(InstancePtr i, BookPtr b)
        : AutoObject(Kind::Worksheets, std::move(i)), m_book(std::move(b)) {}

protected:
    void call(const Member& m, WORD, const Args& args, VARIANT* r) override {
        if (!m_book->open)
            fail(RPC_E_DISCONNECTED);
        spreadsheet::Workbook& wb = *m_book->workbook;
        std::wstring n = m.name;
        if (n == L"Count")
            return setLong(r, static_cast<long>(wb.sheetCount()));
        if (n == L"Application")
            return setObject(r, makeApplication(instPtr()));
        if (n == L"Item") {
            const VARIANT* index = args.at(0);
            if (!index)
                fail(DISP_E_PARAMNOTFOUND);
            if (index->vt == VT_BSTR) {
                int s = wb.findSheet(index->bstrVal ? index->bstrVal : L"");
                if (s < 0)
                    fail(DISP_E_BADINDEX);
                return setObject(r, makeWorksheet(instPtr(), m_book, s));
            }
            long i = argLong(index);
            if (i < 1 || size_t(i) > wb.sheetCount())
                fail(DISP_E_BADINDEX);
            return setObject(r, makeWorksheet(instPtr(), m_book, int(i - 1)));
        }
        fail(DISP_E_MEMBERNOTFOUND);
    }

private:
    BookPtr m_book;
};

} // namespace

AutoObject* makeWorksheets(const InstancePtr& inst, const BookPtr& book) {
    return new WorksheetsObject(inst, book);
}

} // namespace excelhost::automation
