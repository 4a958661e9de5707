// Inside a workbook: the parsed parts and the sheets' data that the workbook's files
// share. Only the spreadsheet's own sources include this.
#pragma once

#include "spreadsheet/NumberFormat.h"
#include "spreadsheet/Package.h"
#include "spreadsheet/Workbook.h"
#include "spreadsheet/WorkbookFile.h"

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

namespace spreadsheet {

struct CellEntry {
    int row;
    int col;
    pugi::xml_node node;
};

struct ColSpan {
    int min;
    int max;
    double width;
};

struct LightCell {
    int col;
    int style;
    CellValue value;
};

struct LightRow {
    int row;
    std::size_t begin, end; // the row element's bytes in the buffer
};

struct SheetData {
    // Light mode: only the sheet's head is parsed; rows are found by a scan of the raw
    // text and parsed one by one when read. Anything that needs the whole sheet or
    // changes it turns the sheet into a full document first.
    bool light = false;
    std::string headBuffer;
    pugi::xml_document headDoc;
    std::vector<LightRow> lightRows;
    std::unordered_map<std::size_t, std::vector<LightCell>> parsedRows;

    std::string buffer; // the XML text the document points into
    pugi::xml_document doc;
    pugi::xml_node root;
    pugi::xml_node sheetData;
    std::vector<std::pair<int, pugi::xml_node>> rows;
    std::vector<CellEntry> cells; // sorted by row, then column
    std::vector<ColSpan> cols;
    double defaultWidth = 0;
    CellRef activeCell{1, 1};
    std::wstring sqref = L"A1";
    bool modified = false;

    const CellEntry* find(int row, int col) const {
        auto it =
            std::lower_bound(cells.begin(), cells.end(), std::make_pair(row, col),
                             [](const CellEntry& e, const std::pair<int, int>& k) {
                                 return e.row < k.first || (e.row == k.first && e.col < k.second);
                             });
        if (it != cells.end() && it->row == row && it->col == col)
            return &*it;
        return nullptr;
    }
};

// The shared-string table: the part stays parsed, and an item becomes text when a cell first
// asks for it, so that opening a workbook of a hundred thousand strings builds none of them.
class SharedStrings {
public:
    std::size_t size() const { return m_items.size(); }
    const std::wstring& text(std::size_t index);
    // Parses the part and adds its items; refuses more than maxSharedStrings in all.
    Status load(Package& pkg, const std::string& part, const Limits& limits);

private:
    struct Part {
        std::string buffer; // the text the document points into
        pugi::xml_document doc;
    };
    std::vector<std::unique_ptr<Part>> m_parts;
    std::vector<pugi::xml_node> m_items;
    std::vector<std::wstring> m_texts;
    std::vector<bool> m_made;
};

struct WorkbookImpl {
    Limits limits;
    Package pkg;
    std::string workbookPart;
    std::string workbookBuffer;
    pugi::xml_document workbookDoc;
    bool workbookModified = false;
    SharedStrings sharedStrings;
    std::vector<int> xfFormat;  // numFmtId per cell format
    std::vector<bool> xfQuoted; // cell formats that mark text typed with an apostrophe
    // The styles part stays parsed so that typed entries can add cell formats.
    std::string stylesPart;
    std::string stylesBuffer;
    pugi::xml_document stylesDoc;
    bool stylesModified = false;
    std::map<std::tuple<int, int, bool>, int> derivedStyles;
    std::map<int, std::wstring> customFormats;
    std::unordered_map<std::wstring, std::unique_ptr<NumberFormat>> formatCache;
    bool date1904 = false;
    std::vector<DefinedName> names;
    FileStamp stamp; // of the file as read or last saved
    std::unique_ptr<OwnerFile> owner;

    const NumberFormat& format(const std::wstring& code) {
        auto it = formatCache.find(code);
        if (it == formatCache.end())
            it = formatCache.emplace(code, std::make_unique<NumberFormat>(code)).first;
        return *it->second;
    }

    std::wstring formatCode(int style) const {
        if (style < 0 || std::size_t(style) >= xfFormat.size())
            return L"General";
        int id = xfFormat[std::size_t(style)];
        auto it = customFormats.find(id);
        return it != customFormats.end() ? it->second : builtinFormatCode(id);
    }

    // A cell format like `style` but with the number format and apostrophe mark given;
    // an equal one is reused. Without a styles part the style stays as it is.
    int deriveStyle(int style, int numFmtId, bool quoted);

    Status loadStyles(const std::string& part);
    static Status openPackage(Workbook& book, std::string bytes);
    static Status loadSheet(Workbook& book, Worksheet& sheet, bool full);
};

// Small XML and text helpers shared by reading and writing (WorkbookXml.cpp).
std::wstring stringItemText(pugi::xml_node item);
std::wstring escapeText(std::wstring_view w);
int intAttr(pugi::xml_attribute a, int fallback);
std::string numberText(double v);
pugi::xml_node ensureChild(pugi::xml_node parent, const char* name,
                           std::initializer_list<const char*> before);

// A cell's value as shown in its format and column (WorksheetRead.cpp).
std::wstring displayText(WorkbookImpl& impl, const CellValue& v, const std::wstring& code,
                         int contentPixels);

} // namespace spreadsheet
