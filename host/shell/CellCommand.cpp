// linkmesh cell WORKBOOK SHEET CELL... [--value]: what a link to those cells would read.
// The cells are read as a link reads them: the spreadsheet program opens the workbook, and
// each cell is Worksheet.Range of the sheet, then its Text.
#include <iostream>
#include <string>
#include <vector>

#include "Shell.h"
#include "afxdisp.h"
#include "sdk/WideFormat.h"
#include "spreadsheet/Calculation.h"
#include "spreadsheet/CellRef.h"
#include "spreadsheet/ExcelControl.h"
#include "spreadsheet/Workbook.h"

namespace {

// Excel's member numbers.
constexpr DISPID kWorkbooks = 0x23C, kOpen = 0x2AA, kWorksheets = 0x1EE, kItem = 0xAA,
                 kRange = 0xC5, kText = 0x8A;

std::string typeName(spreadsheet::CellType type) {
    switch (type) {
    case spreadsheet::CellType::Empty:
        return "empty";
    case spreadsheet::CellType::Number:
        return "number";
    case spreadsheet::CellType::String:
        return "text";
    case spreadsheet::CellType::Boolean:
        return "boolean";
    case spreadsheet::CellType::Error:
        return "error";
    }
    return "?";
}

LPDISPATCH getObject(COleDispatchDriver& from, DISPID member, const VARIANT* arg) {
    static const BYTE one[] = VTS_VARIANT;
    LPDISPATCH d = nullptr;
    if (arg)
        from.InvokeHelper(member, DISPATCH_PROPERTYGET, VT_DISPATCH, &d, one, arg);
    else
        from.InvokeHelper(member, DISPATCH_PROPERTYGET, VT_DISPATCH, &d, nullptr);
    return d;
}

// What the server said when a call failed.
std::string failureText(CException* e) {
    std::string what = "the spreadsheet program refused";
    if (auto* d = dynamic_cast<COleDispatchException*>(e))
        what = lmhost::narrow(d->m_strDescription.GetString());
    e->Delete();
    return what;
}

} // namespace

int cellCommand(const std::vector<std::string>& args) {
    bool withValue = false;
    std::vector<std::string> words;
    for (const std::string& a : args)
        (a == "--value" ? withValue = true : (words.push_back(a), false));
    if (words.size() < 3) {
        std::cerr << "usage: linkmesh cell WORKBOOK SHEET CELL... [--value]\n";
        return shell::kExitUsage;
    }
    std::wstring path = lmhost::widen(words[0]);
    std::wstring sheetName = lmhost::widen(words[1]);
    // Messages that say what is wrong with the file or the sheet come from reading them
    // directly. That is done only when the spreadsheet program has refused: a file it
    // opens and a sheet it finds are read by the same rules, and opening a big workbook
    // twice costs as much as its shared strings.
    auto refusedFileOrSheet = [&] {
        spreadsheet::Status status;
        auto probe = spreadsheet::Workbook::open(path, true, status);
        if (!probe) {
            std::cerr << "linkmesh: cannot open " << words[0] << ": "
                      << lmhost::narrow(spreadsheet::statusText(status)) << "\n";
            return true;
        }
        if (probe->findSheet(sheetName) < 0) {
            std::cerr << "linkmesh: " << words[0] << " has no sheet \"" << words[1] << "\"\n";
            return true;
        }
        return false;
    };

    int code = shell::kExitOk;
    COleDispatchDriver app, books, book, sheets, sheet;
    try {
        if (!app.CreateDispatch(L"Excel.Application")) {
            if (!refusedFileOrSheet())
                std::cerr << "linkmesh: the spreadsheet program cannot be started\n";
            return shell::kExitScriptError;
        }
        books.AttachDispatch(getObject(app, kWorkbooks, nullptr));
        static const BYTE openArgs[] = VTS_BSTR VTS_VARIANT VTS_VARIANT;
        COleVariant update(0L), readOnly(1L);
        LPDISPATCH opened = nullptr;
        books.InvokeHelper(kOpen, DISPATCH_METHOD, VT_DISPATCH, &opened, openArgs, path.c_str(),
                           &update, &readOnly);
        book.AttachDispatch(opened);
        sheets.AttachDispatch(getObject(book, kWorksheets, nullptr));
        COleVariant name(sheetName.c_str());
        sheet.AttachDispatch(getObject(sheets, kItem, &name));
    } catch (CException* e) {
        std::string why = failureText(e);
        if (!refusedFileOrSheet())
            std::cerr << "linkmesh: cannot open " << words[0] << ": " << why << "\n";
        return shell::kExitScriptError;
    }
    spreadsheet::Workbook* model =
        excelhost::workbook(excelhost::lastStartedExcel(), spreadsheet::fileNameOf(path));
    // The sheet the program found by that name, as the model numbers it.
    int sheetIndex = model ? model->findSheet(sheetName) : -1;
    for (size_t i = 2; i < words.size(); ++i) {
        std::wstring address = lmhost::widen(words[i]);
        COleDispatchDriver range;
        COleVariant text;
        try {
            COleVariant arg(address.c_str());
            range.AttachDispatch(getObject(sheet, kRange, &arg));
            VARIANT v;
            VariantInit(&v);
            range.InvokeHelper(kText, DISPATCH_PROPERTYGET, VT_VARIANT, &v, nullptr);
            text.Attach(v);
        } catch (CException* e) {
            std::string why = failureText(e);
            spreadsheet::CellRef ref;
            const spreadsheet::DefinedName* other =
                model && !spreadsheet::parseCellRef(address, ref) ? model->findName(address)
                                                                  : nullptr;
            if (other && other->sheet >= 0 && other->sheet != sheetIndex)
                std::cerr << "linkmesh: \"" << words[i] << "\" names cells of the sheet \""
                          << lmhost::narrow(model->sheet(std::size_t(other->sheet)).name())
                          << "\"; a link on " << words[1] << " cannot read it (" << why << ")\n";
            else
                std::cerr << "linkmesh: \"" << words[i]
                          << "\" is neither a cell address nor a defined name of the "
                             "workbook\n";
            code = shell::kExitScriptError;
            continue;
        }
        std::string line =
            words[i] + "\t" + (text.vt == VT_BSTR ? lmhost::narrow(text.bstrVal) : "");
        // The cell itself, for the stored value and whether its result is current.
        spreadsheet::CellRef ref;
        const spreadsheet::DefinedName* named =
            model ? model->findName(address, sheetIndex) : nullptr;
        spreadsheet::Worksheet* ws =
            model
                ? &model->sheet(std::size_t(named && named->sheet >= 0 ? named->sheet : sheetIndex))
                : nullptr;
        bool known = spreadsheet::parseCellRef(address, ref) ||
                     (named && named->sheet >= 0 && (ref = named->range.first, true));
        // A sheet the reader refused (a DOCTYPE, too large, nested too deep, a bad cell
        // reference) shows empty cells; say why instead.
        if (spreadsheet::Status st = ws ? ws->load() : spreadsheet::Status::Ok;
            st != spreadsheet::Status::Ok) {
            std::cerr << "linkmesh: the sheet \"" << lmhost::narrow(ws->name())
                      << "\" cannot be read: " << lmhost::narrow(spreadsheet::statusText(st))
                      << "\n";
            return shell::kExitScriptError;
        }
        if (withValue && ws && known) {
            spreadsheet::CellValue v = ws->value(ref.row, ref.col);
            std::string stored =
                v.type == spreadsheet::CellType::Number || v.type == spreadsheet::CellType::Boolean
                    ? lmhost::narrow(lmhost::formatWide(L"%.17g", v.number))
                    : lmhost::narrow(v.string);
            line += "\t" + typeName(v.type) + "\t" + stored + "\t" +
                    lmhost::narrow(ws->numberFormat(ref.row, ref.col));
            if (std::wstring f = ws->formula(ref.row, ref.col); v.formula && !f.empty())
                line += "\t=" + lmhost::narrow(f);
        }
        if (ws && known && ws->mayBeStale(ref.row, ref.col))
            line += "\tmay be stale: " +
                    lmhost::narrow(model->calculation().whyStale(*ws, ref.row, ref.col));
        std::cout << line << "\n";
    }
    return code;
}
