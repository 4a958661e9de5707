// linkmesh cell WORKBOOK SHEET CELL... [--value]: what a link to those cells would read.
#include <iostream>
#include <string>
#include <vector>

#include "Shell.h"
#include "sdk/WideFormat.h"
#include "spreadsheet/CellRef.h"
#include "spreadsheet/Workbook.h"

namespace {

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
    spreadsheet::Status status;
    auto book = spreadsheet::Workbook::open(lmhost::widen(words[0]), true, status);
    if (!book) {
        std::cerr << "linkmesh: cannot open " << words[0] << ": "
                  << lmhost::narrow(spreadsheet::statusText(status)) << "\n";
        return shell::kExitScriptError;
    }
    int sheetIndex = book->findSheet(lmhost::widen(words[1]));
    if (sheetIndex < 0) {
        std::cerr << "linkmesh: " << words[0] << " has no sheet \"" << words[1] << "\"\n";
        return shell::kExitScriptError;
    }
    int code = shell::kExitOk;
    for (size_t i = 2; i < words.size(); ++i) {
        std::wstring address = lmhost::widen(words[i]);
        spreadsheet::CellRef ref;
        spreadsheet::Worksheet* sheet = &book->sheet(static_cast<size_t>(sheetIndex));
        if (!spreadsheet::parseCellRef(address, ref)) {
            const spreadsheet::DefinedName* name = book->findName(address, sheetIndex);
            if (!name || name->sheet < 0) {
                std::cerr << "linkmesh: \"" << words[i]
                          << "\" is neither a cell address nor a defined name of the workbook\n";
                code = shell::kExitScriptError;
                continue;
            }
            sheet = &book->sheet(static_cast<size_t>(name->sheet));
            ref = name->range.first;
        }
        // Reading the cell may find the sheet hostile (a row nested too deep), so the
        // sheet's state is asked after the read as well.
        std::string text = lmhost::narrow(sheet->text(ref.row, ref.col));
        if (spreadsheet::Status st = sheet->load(); st != spreadsheet::Status::Ok) {
            std::cerr << "linkmesh: the sheet \"" << lmhost::narrow(sheet->name())
                      << "\" cannot be read: " << lmhost::narrow(spreadsheet::statusText(st))
                      << "\n";
            return shell::kExitScriptError;
        }
        std::string line = words[i] + "\t" + text;
        if (withValue) {
            spreadsheet::CellValue v = sheet->value(ref.row, ref.col);
            std::string stored =
                v.type == spreadsheet::CellType::Number || v.type == spreadsheet::CellType::Boolean
                    ? lmhost::narrow(lmhost::formatWide(L"%.17g", v.number))
                    : lmhost::narrow(v.string);
            line += "\t" + typeName(v.type) + "\t" + stored + "\t" +
                    lmhost::narrow(sheet->numberFormat(ref.row, ref.col));
        }
        std::cout << line << "\n";
    }
    return code;
}
