// The Application object, and the Shape that is its selection when no range is.
#include "spreadsheet/AutomationDispatch.h"

#include <cstdint>
#include <string>

namespace excelhost::automation {

namespace {

const IID kIID_Application = {0x000208D5, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

class ApplicationObject : public AutoObject {
public:
    explicit ApplicationObject(InstancePtr i) : AutoObject(Kind::Application, std::move(i)) {}

protected:
    bool answers(REFIID riid) const override { return riid == kIID_Application; }
    void call(const Member& m, WORD kind, const Args& args, VARIANT* r) override {
        Instance& in = inst();
        std::wstring n = m.name;
        if (n == L"Visible") {
            if (kind == kPut) {
                in.visible = argBool(args.value);
                return;
            }
            return setBool(r, in.visible);
        }
        if (n == L"DisplayAlerts") {
            if (kind == kPut) {
                in.displayAlerts = argBool(args.value);
                return;
            }
            return setBool(r, in.displayAlerts);
        }
        if (n == L"EditDirectlyInCell") {
            if (kind == kPut) {
                in.editDirectlyInCell = argBool(args.value);
                return;
            }
            return setBool(r, in.editDirectlyInCell);
        }
        if (n == L"Interactive") {
            if (kind == kPut) {
                in.interactive = argBool(args.value);
                return;
            }
            return setBool(r, in.interactive);
        }
        if (n == L"Version")
            return setText(r, in.version);
        if (n == L"Name")
            return setText(r, L"Microsoft Excel");
        if (n == L"Hwnd")
            return setLong(r, static_cast<long>(reinterpret_cast<uintptr_t>(in.hwnd)));
        if (n == L"Workbooks")
            return setObject(r, makeWorkbooks(instPtr()));
        if (n == L"Application")
            return setObject(r, makeApplication(instPtr()));
        if (n == L"Quit")
            return quit(in);
        BookPtr book;
        int sheet = 0;
        bool hasSheet = activeSheetOf(in, book, sheet);
        if (n == L"ActiveWorkbook")
            return setObject(r, in.active ? makeWorkbook(instPtr(), in.active) : nullptr);
        if (n == L"ActiveSheet")
            return setObject(r, hasSheet ? makeWorksheet(instPtr(), book, sheet) : nullptr);
        if (n == L"ActiveCell") {
            if (!hasSheet)
                return setObject(r, nullptr);
            CellRef a = loadedSheet(book, sheet).activeCell();
            return setObject(r, makeRange(instPtr(), book, sheet, {{a, a}}));
        }
        if (n == L"Selection") {
            if (!hasSheet)
                return setObject(r, nullptr);
            if (in.shapeSelected)
                return setObject(r, makeShapeObject());
            return setObject(r, makeRange(instPtr(), book, sheet, selectionOf(book, sheet)));
        }
        fail(DISP_E_MEMBERNOTFOUND);
    }
    AutoObject* makeShapeObject();
};

// A drawing object that the user selected: no range.
class ShapeObject : public AutoObject {
public:
    explicit ShapeObject(InstancePtr i) : AutoObject(Kind::Shape, std::move(i)) {}

protected:
    void call(const Member& m, WORD, const Args&, VARIANT* r) override {
        if (std::wstring(m.name) == L"Name")
            return setText(r, L"Rectangle 1");
        setObject(r, makeApplication(instPtr()));
    }
};

AutoObject* ApplicationObject::makeShapeObject() {
    return new ShapeObject(instPtr());
}

} // namespace

AutoObject* makeApplication(const InstancePtr& inst) {
    return new ApplicationObject(inst);
}

} // namespace excelhost::automation
