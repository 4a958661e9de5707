// The window of a workbook, whose native object is its Window.
#include "sdk/control/ComRegistry.h"
#include "spreadsheet/AutomationDispatch.h"

#include <memory>

namespace excelhost::automation {

namespace {

// The window of a workbook, reached through accessibility.
class WindowObject : public AutoObject {
public:
    WindowObject(InstancePtr i, BookPtr b)
        : AutoObject(Kind::Window, std::move(i)), m_book(std::move(b)) {}

protected:
    bool answers(REFIID riid) const override { return riid == kIID_Window; }
    void call(const Member& m, WORD, const Args&, VARIANT* r) override {
        if (!m_book->open)
            fail(RPC_E_DISCONNECTED);
        std::wstring n = m.name;
        if (n == L"Application")
            return setObject(r, makeApplication(instPtr()));
        int s = m_book->workbook->activeSheet();
        if (n == L"ActiveSheet")
            return setObject(r, makeWorksheet(instPtr(), m_book, s));
        CellRef a = loadedSheet(m_book, s).activeCell();
        setObject(r, makeRange(instPtr(), m_book, s, {{a, a}}));
    }

private:
    BookPtr m_book;
};

} // namespace

HWND makeBookWindow(const InstancePtr& inst, const BookPtr& book) {
    std::weak_ptr<Instance> wi = inst;
    std::weak_ptr<Book> wb = book;
    lmhost::WindowRecord record;
    record.className = L"EXCEL7";
    record.text = book->workbook->name();
    record.nativeObject = [wi, wb](REFIID riid, void** object) -> HRESULT {
        auto i = wi.lock();
        auto b = wb.lock();
        if (!i || !b || !i->running || !b->open)
            return E_FAIL;
        AutoObject* window = new WindowObject(i, b);
        HRESULT hr = window->QueryInterface(riid, object);
        window->Release();
        return hr;
    };
    return lmhost::createWindow(std::move(record));
}

} // namespace excelhost::automation
