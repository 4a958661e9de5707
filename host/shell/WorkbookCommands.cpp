// The host's commands around workbook links: changing a workbook cell as a user does in the
// spreadsheet program (type into the cell, save the file), and saving a copy of a workbook.
#include <filesystem>
#include <string>
#include <vector>

#include "Shell.h"
#include "acdocman.h"
#include "sdk/WideFormat.h"
#include "sdk/control/Documents.h"
#include "spreadsheet/Calculation.h"
#include "spreadsheet/CellRef.h"
#include "spreadsheet/Workbook.h"

namespace shell {

namespace {

using lmhost::CommandResult;
using Args = std::vector<std::wstring>;

CommandResult refuse(const std::wstring& text) {
    lmhost::print(L"\n" + text);
    return CommandResult::Failed;
}

// "Cannot open PATH: why." where the status text is a sentence with its own full stop.
// A workbook locked by another editor names who has it open.
std::wstring failure(const std::wstring& what, spreadsheet::Status status,
                     const std::wstring& path) {
    std::wstring why = spreadsheet::statusText(status);
    if (status == spreadsheet::Status::Locked) {
        std::wstring holder = spreadsheet::Workbook::lockHolder(path);
        if (!holder.empty())
            why = L"The file is locked for editing by '" + holder + L"'.";
    }
    if (why.empty() || why.back() != L'.')
        why += L'.';
    return what + L": " + why;
}

// A relative path is taken from the program's working folder.
std::wstring absolutePath(const std::wstring& path) {
    std::error_code ignored;
    std::filesystem::path full = std::filesystem::absolute(std::filesystem::path(path), ignored);
    return full.lexically_normal().wstring();
}

// The formulas that followed the typed cell, as the user sees them change in the sheet.
void reportRecalculated(spreadsheet::Workbook& book) {
    constexpr size_t kShown = 10;
    auto cells = book.calculation().recalculated();
    for (size_t i = 0; i < cells.size() && i < kShown; ++i) {
        spreadsheet::Worksheet& ws = book.sheet(static_cast<size_t>(cells[i].sheet));
        const spreadsheet::CellRef& c = cells[i].cell;
        std::wstring line =
            L"\n  " + ws.name() + L"!" + spreadsheet::cellAddress(c.row, c.col, false) + L" (=" +
            ws.formula(c.row, c.col) + L") shows \"" + ws.text(c.row, c.col) + L"\"";
        if (ws.mayBeStale(c.row, c.col))
            line +=
                L", which may be stale (" + book.calculation().whyStale(ws, c.row, c.col) + L")";
        lmhost::print(line + L".");
    }
    if (cells.size() > kShown)
        lmhost::print(L"\n  and " + std::to_wstring(cells.size() - kShown) +
                      L" more formulas recalculated.");
}

CommandResult setWorkbookCell(const Args& args) {
    if (args.size() < 3)
        return refuse(L"XLSET needs a workbook, a sheet, a cell and the text to type.");
    std::wstring path = absolutePath(args[0]);
    std::wstring typed;
    for (size_t i = 3; i < args.size(); ++i)
        typed += (i > 3 ? L" " : L"") + args[i];
    spreadsheet::Status status;
    auto book = spreadsheet::Workbook::open(path, false, status);
    if (!book)
        return refuse(failure(L"Cannot open " + path, status, path));
    int sheetIndex = book->findSheet(args[1]);
    if (sheetIndex < 0)
        return refuse(path + L" has no sheet \"" + args[1] + L"\".");
    spreadsheet::Worksheet* sheet = &book->sheet(static_cast<size_t>(sheetIndex));
    spreadsheet::CellRef cell;
    if (!spreadsheet::parseCellRef(args[2], cell)) {
        // A defined name stands for its first cell, as the name box takes the user there.
        const spreadsheet::DefinedName* name = book->findName(args[2], sheetIndex);
        if (!name || name->sheet < 0)
            return refuse(L"\"" + args[2] + L"\" is no cell or name of " + path + L".");
        sheet = &book->sheet(static_cast<size_t>(name->sheet));
        cell = name->range.first;
    }
    status = sheet->putTexts(cell.row, cell.col, {{typed}});
    if (status == spreadsheet::Status::Ok)
        status = book->save();
    if (status != spreadsheet::Status::Ok)
        return refuse(failure(L"Cannot save " + path, status, path));
    lmhost::print(L"\n" + sheet->name() + L"!" + args[2] + L" shows \"" +
                  sheet->text(cell.row, cell.col) + L"\"; " + book->name() + L" saved.");
    reportRecalculated(*book);
    return CommandResult::Ended;
}

// File > Save As in the spreadsheet program: the workbook is written under a new name and
// the original stays as it was.
CommandResult saveWorkbookAs(const Args& args) {
    if (args.size() != 2)
        return refuse(L"XLSAVEAS needs a workbook and the new file's path.");
    std::wstring source = absolutePath(args[0]);
    std::wstring target = absolutePath(args[1]);
    spreadsheet::Status status;
    auto book = spreadsheet::Workbook::open(source, false, status);
    // A copy may be taken of a workbook that another editor has open.
    if (!book && status == spreadsheet::Status::Locked)
        book = spreadsheet::Workbook::open(source, true, status);
    if (!book)
        return refuse(failure(L"Cannot open " + source, status, source));
    // Named before the save: the open workbook takes the new file's name.
    std::wstring name = book->name();
    status = book->saveAs(target);
    if (status != spreadsheet::Status::Ok)
        return refuse(failure(L"Cannot save " + target, status, target));
    lmhost::print(L"\n" + name + L" saved as " + target + L".");
    return CommandResult::Ended;
}

} // namespace

void registerWorkbookCommands() {
    using lmhost::registerHostCommand;
    registerHostCommand(L"XLSET", setWorkbookCell,
                        L"XLSET workbook sheet cell text: type text into a workbook cell (or "
                        L"named cell) and save the workbook, as a user does in the spreadsheet");
    registerHostCommand(L"XLSAVEAS", saveWorkbookAs,
                        L"XLSAVEAS workbook file: save a copy of a workbook under a new name");
}

} // namespace shell
