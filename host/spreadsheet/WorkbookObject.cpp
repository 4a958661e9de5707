// A Workbook object: its names, sheets, Save, Close and Activate.
#include "spreadsheet/AutomationDispatch.h"

#include <string>

namespace excelhost::automation {

namespace {

class WorkbookObject : public AutoObject {
public:
    WorkbookObject(InstancePtr i, BookPtr b)
        : AutoObject(Kind::Workbook, std::move(i)), m_book(std::move(b)) {}

protected:
    void call(const Member& m, WORD, const Args& args, VARIANT* r) override {
        if (!m_book->open)
            fail(RPC_E_DISCONNECTED);
        spreadsheet::Workbook& wb = *m_book->workbook;
        std::wstring n = m.name;
        if (n == L"FullName")
            return setText(r, wb.fullName());
        if (n == L"Name")
            return setText(r, m_book->workbook->name());
        if (n == L"ReadOnly")
            return setBool(r, wb.readOnly());
        if (n == L"Worksheets")
            return setObject(r, makeWorksheets(instPtr(), m_book));
        if (n == L"Application")
            return setObject(r, makeApplication(instPtr()));
        if (n == L"ActiveSheet") {
            int s = wb.activeSheet();
            if (s < 0 || size_t(s) >= wb.sheetCount())
                return setObject(r, nullptr);
            return setObject(r, makeWorksheet(instPtr(), m_book, s));
        }
        if (n == L"Activate") {
            setActive(inst(), m_book);
            return;
        }
        if (n == L"Save") {
            if (wb.readOnly())
                raise(L"Cannot save as that name. Document was opened as read-only.");
            Status st = wb.save();
            if (st != Status::Ok)
                raise(L"Microsoft Excel cannot access the file '" + wb.fullName() + L"'. " +
                      spreadsheet::statusText(st));
            return;
        }
        if (n == L"Close") {
            if (args.at(0) && argBool(args.at(0))) {
                Status st = wb.readOnly() ? Status::ReadOnly : wb.save();
                if (st != Status::Ok)
                    raise(L"Close method of Workbook class failed");
            }
            closeBook(inst(), m_book);
            return;
        }
        fail(DISP_E_MEMBERNOTFOUND);
    }

private:
    BookPtr m_book;
};

} // namespace

AutoObject* makeWorkbook(const InstancePtr& inst, const BookPtr& book) {
    return new WorkbookObject(inst, book);
}

} // namespace excelhost::automation
