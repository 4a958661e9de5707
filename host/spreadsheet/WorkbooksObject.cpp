// The Workbooks collection: count, items by index or name, Add and Open.
#include "spreadsheet/AutomationDispatch.h"

#include <string>

namespace excelhost::automation {

namespace {

class WorkbooksObject : public AutoObject {
public:
    explicit WorkbooksObject(InstancePtr i) : AutoObject(Kind::Workbooks, std::move(i)) {}

protected:
    void call(const Member& m, WORD, const Args& args, VARIANT* r) override {
        Instance& in = inst();
        std::wstring n = m.name;
        if (n == L"Count")
            return setLong(r, static_cast<long>(in.books.size()));
        if (n == L"Application")
            return setObject(r, makeApplication(instPtr()));
        if (n == L"Item") {
            const VARIANT* index = args.at(0);
            if (!index)
                fail(DISP_E_PARAMNOTFOUND);
            if (index->vt == VT_BSTR) {
                std::wstring name = index->bstrVal ? index->bstrVal : L"";
                for (const BookPtr& b : in.books)
                    if (equalNoCase(b->workbook->name(), name))
                        return setObject(r, makeWorkbook(instPtr(), b));
                fail(DISP_E_BADINDEX);
            }
            long i = argLong(index);
            if (i < 1 || size_t(i) > in.books.size())
                fail(DISP_E_BADINDEX);
            return setObject(r, makeWorkbook(instPtr(), in.books[size_t(i) - 1]));
        }
        if (n == L"Add") {
            if (args.at(0))
                raise(L"Add method of Workbooks class failed");
            return setObject(r, makeWorkbook(instPtr(), addNewBook(instPtr())));
        }
        if (n == L"Open") {
            std::wstring path = argText(args.at(0));
            bool readOnly = args.at(2) ? argBool(args.at(2)) : false;
            if (path.empty())
                raise(L"Open method of Workbooks class failed");
            return setObject(r, makeWorkbook(instPtr(), openIn(instPtr(), path, readOnly)));
        }
        fail(DISP_E_MEMBERNOTFOUND);
    }
};

} // namespace

AutoObject* makeWorkbooks(const InstancePtr& inst) {
    return new WorkbooksObject(inst);
}

} // namespace excelhost::automation
