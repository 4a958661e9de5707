// The user's side of the spreadsheet program: what a person does in the Excel that the
// plug-in talks to (start it, open a workbook, click a sheet, select cells, type, save,
// close, quit), and a look at the active sheet as the program displays it.
#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "Shell.h"
#include "spreadsheet/CellRef.h"
#include "spreadsheet/ExcelControl.h"
#include "spreadsheet/Workbook.h"
#include "windows.h"

namespace shell {

namespace {

using lmhost::CommandResult;
using Args = std::vector<std::wstring>;

// What XLSHOW prints at most: a sheet is shown, not dumped.
constexpr int kShownRows = 200;
constexpr int kShownColumns = 26;
constexpr size_t kShownCellWidth = 40;

CommandResult refuse(const std::wstring& text) {
    lmhost::print(L"\n" + text);
    return CommandResult::Failed;
}

void say(const std::wstring& text) {
    lmhost::print(L"\n" + text);
}

std::wstring absolutePath(const std::wstring& path) {
    std::error_code ignored;
    return std::filesystem::absolute(std::filesystem::path(path), ignored)
        .lexically_normal()
        .wstring();
}

std::wstring joined(const Args& args, size_t from) {
    std::wstring text;
    for (size_t i = from; i < args.size(); ++i)
        text += (i > from ? L" " : L"") + args[i];
    return text;
}

// The Excel the user works in: the one the plug-in would attach to.
int runningExcel() {
    return excelhost::activeExcel();
}

struct ActiveSheet {
    int excel = 0;
    spreadsheet::Workbook* book = nullptr;
    spreadsheet::Worksheet* sheet = nullptr;
};

// The active sheet of the active workbook; false after saying why there is none.
bool activeSheet(ActiveSheet& active) {
    active.excel = runningExcel();
    if (!active.excel) {
        refuse(L"Excel is not running (XLSTART starts it).");
        return false;
    }
    std::wstring name = excelhost::excelState(active.excel).activeWorkbook;
    active.book = name.empty() ? nullptr : excelhost::workbook(active.excel, name);
    if (!active.book) {
        refuse(L"Excel has no workbook open (XLOPEN opens one).");
        return false;
    }
    active.sheet = &active.book->sheet(static_cast<size_t>(active.book->activeSheet()));
    if (active.sheet->load() != spreadsheet::Status::Ok) {
        refuse(L"The sheet " + active.sheet->name() + L" cannot be read.");
        return false;
    }
    return true;
}

// A cell's text for the picture of the sheet: control characters shown, long texts cut.
std::wstring shownText(const std::wstring& text) {
    std::wstring shown;
    for (wchar_t c : text) {
        if (shown.size() >= kShownCellWidth) {
            shown.resize(kShownCellWidth - 3);
            shown += L"...";
            break;
        }
        shown += c < 0x20 ? L'?' : c;
    }
    return shown;
}

std::wstring padded(const std::wstring& text, size_t width) {
    return text + std::wstring(width > text.size() ? width - text.size() : 0, L' ');
}

CommandResult startExcel(const Args& args) {
    if (!args.empty())
        return refuse(L"XLSTART takes no arguments.");
    int excel = excelhost::startExcel(true, true);
    say(L"Excel started with " + excelhost::excelState(excel).activeWorkbook + L".");
    return CommandResult::Ended;
}

CommandResult openWorkbook(const Args& args) {
    if (args.size() != 1)
        return refuse(L"XLOPEN needs the workbook's file.");
    int excel = runningExcel();
    if (!excel)
        return refuse(L"Excel is not running (XLSTART starts it).");
    std::wstring path = absolutePath(args[0]);
    std::wstring error;
    if (!excelhost::openWorkbook(excel, path, false, &error))
        return refuse(L"Excel cannot open " + path + L": " + error);
    ActiveSheet active;
    if (!activeSheet(active))
        return CommandResult::Failed;
    say(active.book->name() + L" opened; " + active.sheet->name() + L" is active.");
    return CommandResult::Ended;
}

CommandResult clickSheet(const Args& args) {
    if (args.size() != 1)
        return refuse(L"XLSHEET needs the sheet's name.");
    ActiveSheet active;
    if (!activeSheet(active))
        return CommandResult::Failed;
    if (!excelhost::selectSheet(active.excel, args[0]))
        return refuse(active.book->name() + L" shows no sheet \"" + args[0] + L"\".");
    activeSheet(active);
    say(active.sheet->name() + L" of " + active.book->name() + L" is active.");
    return CommandResult::Ended;
}

CommandResult selectCells(const Args& args) {
    if (args.size() != 1)
        return refuse(L"XLSELECT needs the cells (B2, B2:D5, A1,C3:D4, a name).");
    ActiveSheet active;
    if (!activeSheet(active))
        return CommandResult::Failed;
    if (!excelhost::selectRange(active.excel, args[0]))
        return refuse(L"\"" + args[0] + L"\" is no range of " + active.sheet->name() + L".");
    spreadsheet::CellRef cell = active.sheet->activeCell();
    say(L"Selected " + args[0] + L" on " + active.sheet->name() + L"; the active cell is " +
        spreadsheet::cellAddress(cell.row, cell.col, false) + L".");
    return CommandResult::Ended;
}

CommandResult typeIntoCell(const Args& args) {
    if (args.size() < 1)
        return refuse(L"XLTYPE needs a cell and the text to type.");
    ActiveSheet active;
    if (!activeSheet(active))
        return CommandResult::Failed;
    if (active.book->readOnly())
        return refuse(active.book->name() + L" is open read-only.");
    spreadsheet::CellRef cell;
    if (!spreadsheet::parseCellRef(args[0], cell))
        return refuse(L"\"" + args[0] + L"\" is no cell.");
    spreadsheet::Status status = active.sheet->putTexts(cell.row, cell.col, {{joined(args, 1)}});
    if (status != spreadsheet::Status::Ok)
        return refuse(L"Excel refuses the entry: " + spreadsheet::statusText(status));
    say(active.sheet->name() + L"!" + spreadsheet::cellAddress(cell.row, cell.col, false) +
        L" shows \"" + active.sheet->text(cell.row, cell.col) + L"\".");
    return CommandResult::Ended;
}

// The used range as the spreadsheet shows it: column letters, row numbers, displayed texts.
CommandResult showSheet(const Args& args) {
    if (!args.empty())
        return refuse(L"XLSHOW takes no arguments.");
    ActiveSheet active;
    if (!activeSheet(active))
        return CommandResult::Failed;
    spreadsheet::Worksheet& ws = *active.sheet;
    spreadsheet::RangeRef used = ws.usedRange();
    spreadsheet::CellRef cell = ws.activeCell();
    say(active.book->name() + (active.book->dirty() ? L" (not saved)" : L"") + L", sheet " +
        ws.name() + L", used range " + spreadsheet::rangeAddress(used, false) + L", active cell " +
        spreadsheet::cellAddress(cell.row, cell.col, false) + L":");
    int lastRow = std::min(used.last.row, used.first.row + kShownRows - 1);
    int lastCol = std::min(used.last.col, used.first.col + kShownColumns - 1);
    std::vector<std::vector<std::wstring>> grid;
    std::vector<size_t> widths(static_cast<size_t>(lastCol - used.first.col + 1), 0);
    for (int r = used.first.row; r <= lastRow; ++r) {
        grid.emplace_back();
        for (int c = used.first.col; c <= lastCol; ++c) {
            std::wstring text = shownText(ws.text(r, c));
            size_t& w = widths[static_cast<size_t>(c - used.first.col)];
            w = std::max({w, text.size(), spreadsheet::columnLetters(c).size()});
            grid.back().push_back(text);
        }
    }
    size_t rowWidth = std::to_wstring(lastRow).size();
    std::wstring header = std::wstring(rowWidth, L' ');
    for (int c = used.first.col; c <= lastCol; ++c)
        header += L" | " + padded(spreadsheet::columnLetters(c),
                                  widths[static_cast<size_t>(c - used.first.col)]);
    while (!header.empty() && header.back() == L' ')
        header.pop_back();
    say(header);
    for (size_t i = 0; i < grid.size(); ++i) {
        std::wstring number = std::to_wstring(used.first.row + static_cast<int>(i));
        std::wstring line = std::wstring(rowWidth - number.size(), L' ') + number;
        for (size_t c = 0; c < grid[i].size(); ++c)
            line += L" | " + padded(grid[i][c], widths[c]);
        // Empty cells at the end of a row show as nothing.
        while (!line.empty() && (line.back() == L' ' || line.back() == L'|'))
            line.pop_back();
        say(line);
    }
    if (lastRow < used.last.row || lastCol < used.last.col)
        say(L"(" + std::to_wstring(used.rows()) + L" rows, " + std::to_wstring(used.columns()) +
            L" columns; the first " + std::to_wstring(lastRow - used.first.row + 1) +
            L" rows and " + std::to_wstring(lastCol - used.first.col + 1) + L" columns are shown)");
    return CommandResult::Ended;
}

CommandResult saveWorkbook(const Args& args) {
    if (args.size() > 1)
        return refuse(L"XLSAVE takes at most the file to save under.");
    ActiveSheet active;
    if (!activeSheet(active))
        return CommandResult::Failed;
    std::wstring name = active.book->name();
    spreadsheet::Status status;
    if (args.empty()) {
        if (!active.book->hasFile())
            return refuse(name + L" was never saved: XLSAVE needs a file name for it.");
        if (active.book->readOnly())
            return refuse(name + L" is open read-only: XLSAVE needs a new file name for it.");
        status = active.book->save();
    } else {
        std::wstring path = absolutePath(args[0]);
        std::wstring file = std::filesystem::path(path).filename().wstring();
        for (const std::wstring& open : excelhost::excelState(active.excel).workbooks) {
            std::wstring other = std::filesystem::path(open).filename().wstring();
            if (_wcsicmp(other.c_str(), file.c_str()) == 0 &&
                _wcsicmp(open.c_str(), active.book->fullName().c_str()) != 0)
                return refuse(L"A workbook named " + other + L" is open already.");
        }
        status = active.book->saveAs(path);
    }
    if (status != spreadsheet::Status::Ok)
        return refuse(L"Excel cannot save " + name + L": " + spreadsheet::statusText(status));
    say(name + L" saved as " + active.book->fullName() + L".");
    return CommandResult::Ended;
}

CommandResult closeWorkbook(const Args& args) {
    if (args.size() > 1)
        return refuse(L"XLCLOSE takes at most the workbook's name.");
    int excel = runningExcel();
    if (!excel)
        return refuse(L"Excel is not running.");
    std::wstring name = args.empty() ? excelhost::excelState(excel).activeWorkbook : args[0];
    spreadsheet::Workbook* book = name.empty() ? nullptr : excelhost::workbook(excel, name);
    if (!book)
        return refuse(L"Excel has no workbook " + (name.empty() ? L"open" : name) + L".");
    name = book->name();
    bool unsaved = book->dirty();
    excelhost::closeWorkbook(excel, name);
    say(name + L" closed" + (unsaved ? L"; its changes were not saved." : L"."));
    return CommandResult::Ended;
}

CommandResult quitExcel(const Args& args) {
    if (!args.empty())
        return refuse(L"XLQUIT takes no arguments.");
    int excel = runningExcel();
    if (!excel)
        return refuse(L"Excel is not running.");
    std::wstring lost;
    for (const std::wstring& full : excelhost::excelState(excel).workbooks) {
        std::wstring name = std::filesystem::path(full).filename().wstring();
        spreadsheet::Workbook* book = excelhost::workbook(excel, name);
        if (book && book->dirty())
            lost += (lost.empty() ? L"" : L", ") + book->name();
    }
    excelhost::quitExcel(excel);
    say(L"Excel quit" + (lost.empty() ? std::wstring(L".") : L"; not saved: " + lost + L"."));
    return CommandResult::Ended;
}

} // namespace

void registerExcelCommands() {
    using lmhost::registerHostCommand;
    registerHostCommand(L"XLSTART", startExcel,
                        L"XLSTART: start Excel as a user does, with a blank workbook");
    registerHostCommand(L"XLOPEN", openWorkbook,
                        L"XLOPEN file: open a workbook in the running Excel");
    registerHostCommand(L"XLSHEET", clickSheet,
                        L"XLSHEET name: click a sheet tab of the active workbook");
    registerHostCommand(L"XLSELECT", selectCells,
                        L"XLSELECT cells: select cells of the active sheet (the first is the "
                        L"active cell)");
    registerHostCommand(L"XLTYPE", typeIntoCell,
                        L"XLTYPE cell text: type into a cell of the active sheet (not saved)");
    registerHostCommand(L"XLSHOW", showSheet,
                        L"XLSHOW: the active sheet's used range as Excel displays it");
    registerHostCommand(L"XLSAVE", saveWorkbook,
                        L"XLSAVE [file]: save the active workbook, or save it under a new name");
    registerHostCommand(L"XLCLOSE", closeWorkbook,
                        L"XLCLOSE [workbook]: close a workbook without saving it");
    registerHostCommand(L"XLQUIT", quitExcel, L"XLQUIT: quit Excel; workbooks not saved are lost");
}

} // namespace shell
