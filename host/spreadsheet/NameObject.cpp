// A Name object: a defined name of a workbook.
#include "spreadsheet/AutomationDispatch.h"

#include <string>

namespace excelhost::automation {

namespace {

class NameObject : public AutoObject {
public:
    NameObject(InstancePtr i, BookPtr b, spreadsheet::DefinedName d)
        : AutoObject(Kind::Name, std::move(i)), m_book(std::move(b)), m_name(std::move(d)) {}

protected:
    void call(const Member& m, WORD, const Args&, VARIANT* r) override {
        std::wstring n = m.name;
        if (n == L"Application")
            return setObject(r, makeApplication(instPtr()));
        if (n == L"RefersTo")
            return setText(r, L"=" + m_name.refersTo);
        std::wstring text = m_name.name;
        if (m_name.scopeSheet >= 0 && size_t(m_name.scopeSheet) < m_book->workbook->sheetCount())
            text = m_book->workbook->sheet(size_t(m_name.scopeSheet)).name() + L"!" + text;
        setText(r, text);
    }

private:
    BookPtr m_book;
    spreadsheet::DefinedName m_name;
};

} // namespace

AutoObject* makeName(const InstancePtr& inst, const BookPtr& book,
                     const spreadsheet::DefinedName& name) {
    return new NameObject(inst, book, name);
}

} // namespace excelhost::automation
