// The workbook model of the spreadsheet substitute: real .xlsx files, read lazily,
// displayed as the spreadsheet program displays them, and saved back in place.
//
// This is a plain C++ API; the automation objects are built on top of it.
#pragma once

#include "spreadsheet/CellRef.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace spreadsheet {

enum class Status {
    Ok,
    FileNotFound,   // no such file, or it cannot be read
    NotAZip,        // the file is no zip archive
    MissingPart,    // a zip, but a part the workbook needs is missing
    BadXml,         // a part is not well-formed XML or lacks its root element
    DtdForbidden,   // a part declares a DOCTYPE (entity tricks)
    TooLarge,       // a part or the whole package inflates past the limits
    BadReference,   // a cell, row or column reference beyond XFD1048576, or malformed
    TooManyStrings, // the shared-string table is larger than the limit
    TooManySheets,
    ReadOnly,    // saving over a file opened read-only
    NoPath,      // saving a new workbook that has no file yet
    WriteFailed, // the file could not be written
    NoSuchSheet,
    DuplicatePart, // two zip entries whose names differ only in case
    TooDeep,       // XML nested deeper than Limits::maxXmlDepth
    TooManyNodes,  // a part holds more XML elements and attributes than Limits::maxXmlNodes
    NotAFile,      // saving over something that is not a regular file (a FIFO, a device)
    FileReadOnly,  // saving over a file without write permission
    Locked,        // another editor has the workbook open (its owner file is held)
    ChangedOnDisk, // the file was replaced by someone else since it was opened
};

// English text of a status, for messages and logs.
std::wstring statusText(Status status);

// The file name of a path, after its last slash of either kind: "book.xlsx" for
// "C:\a\book.xlsx" and for "/a/book.xlsx".
std::wstring fileNameOf(const std::wstring& path);

// Caps against hostile files; the defaults fit any real workbook.
struct Limits {
    std::size_t maxFileBytes = std::size_t(1) << 30;
    std::size_t maxPartBytes = std::size_t(512) << 20;
    std::size_t maxTotalBytes = std::size_t(1) << 31;
    std::size_t maxEntries = 100000;
    std::size_t maxSharedStrings = 16u << 20;
    std::size_t maxSheets = 4096;
    // A part's elements and attributes, counted in its text before it is parsed: each
    // costs the parser 40 to 64 bytes, so this bounds a parse to about 2 GB. A sheet of
    // 30 MB holds about 3 million.
    std::size_t maxXmlNodes = std::size_t(32) << 20;
    // Workbook parts nest a handful of levels; far deeper is an attack on recursion.
    std::size_t maxXmlDepth = 256;
};

enum class SheetState { Visible, Hidden, VeryHidden };

enum class CellType { Empty, Number, String, Boolean, Error };

struct CellValue {
    CellType type = CellType::Empty;
    double number = 0;   // Number; Boolean as 0 or 1
    std::wstring string; // String, and the code of an Error such as "#N/A"
    bool formula = false;
    bool calculate = false; // a formula to calculate before it is shown (no result, volatile)
};

// A formula as the file stores it.
struct StoredFormula {
    int row = 0, col = 0;
    std::wstring text;     // empty for a cell that shares another cell's formula
    std::string kind;      // "" normal, "shared", "array", "dataTable"
    int sharedIndex = -1;  // si of a shared formula
    bool hasValue = false; // the file holds a result
};

struct DefinedName {
    std::wstring name;
    int scopeSheet = -1;   // 0-based sheet index for a sheet-level name, -1 workbook scope
    std::wstring refersTo; // as written in the file, e.g. "Sheet1!$B$4"
    int sheet = -1;        // sheet index the reference resolves to, -1 if not a plain reference
    RangeRef range;
};

class Workbook;
class Calculation;
struct SheetData;
struct LightCell;

class Worksheet {
public:
    ~Worksheet();
    Worksheet(const Worksheet&) = delete;
    Worksheet& operator=(const Worksheet&) = delete;

    const std::wstring& name() const { return m_name; }
    SheetState state() const { return m_state; }
    void setState(SheetState state);
    Workbook& workbook() const { return *m_book; }

    // Loads the sheet on first touch; later calls give the first result. Reading cells
    // needs only the rows that are read: a quick scan finds the rows, and each row is
    // parsed when first read.
    Status load();
    // Parses and checks the whole sheet (every row and cell reference). Used ranges,
    // cell lists and every change of the sheet do this first.
    Status loadAll();
    bool loaded() const { return m_data != nullptr; }

    // The cell's value; a formula without a current result is calculated first.
    CellValue value(int row, int col);
    // The value as the file (or the last calculation) holds it, without calculating.
    CellValue storedValue(int row, int col);
    // The formula of a cell as written in the file ("" when none).
    std::wstring formula(int row, int col);
    // True when the cell's result could not be calculated after its inputs changed (or
    // has never been calculated), so the spreadsheet program may show another one.
    bool mayBeStale(int row, int col);
    // Number format code that applies to the cell ("General" when none).
    std::wstring numberFormat(int row, int col);
    // The cell as displayed (Range.Text), for the column's current width.
    std::wstring text(int row, int col);

    // Enters a block of typed texts with its top-left corner at (row, col), as the program
    // reads typed text (readTypedEntry): numbers, percentages, currency, dates and booleans
    // become values, a General cell takes the number format the typing implies, an empty
    // text clears the cell, anything else stays text. Cells beyond XFD1048576 are not
    // written.
    Status putTexts(int row, int col, const std::vector<std::vector<std::wstring>>& block);

    // Bounding box of the cells present; $A$1 alone for an empty sheet.
    RangeRef usedRange();
    // The cells present in the file, row by row.
    std::vector<CellRef> cells();

    // Column width in characters as the file stores it (includes the cell padding).
    double columnWidth(int col);
    // Width available to a cell's content in pixels.
    int columnContentPixels(int col);
    // Recomputes widths of columns first..last from their displayed texts; empty
    // columns keep their width.
    void autoFitColumns(int firstCol, int lastCol);

    // Saved selection: the active cell and the selected ranges ("B2:C4 E5").
    CellRef activeCell();
    const std::wstring& selectionRef();
    void select(const RangeRef& range, CellRef active);

private:
    friend class Workbook;
    friend struct WorkbookImpl;
    friend class Calculation;
    Worksheet(Workbook* book, std::wstring name, std::string partName);
    std::vector<StoredFormula> formulas();
    // Writes a calculated result beside the cell's formula.
    void storeResult(int row, int col, const CellValue& value);
    void forEachCell(const RangeRef& range, const std::function<void(int, int)>& visit);
    int index() const;
    const LightCell* lightCell(int row, int col);

    Workbook* m_book;
    std::wstring m_name;
    std::string m_partName; // zip entry name of the sheet XML; empty for a new sheet
    SheetState m_state = SheetState::Visible;
    std::unique_ptr<SheetData> m_data;
    Status m_loadStatus = Status::Ok;
};

struct WorkbookImpl;

class Workbook {
public:
    ~Workbook();
    Workbook(const Workbook&) = delete;
    Workbook& operator=(const Workbook&) = delete;

    // Opens a .xlsx file; reads only workbook, relationships, shared strings and styles.
    static std::unique_ptr<Workbook> open(const std::wstring& path, bool readOnly, Status& status,
                                          const Limits& limits = {});
    // Same from bytes in memory (the full name is what FullName will report).
    static std::unique_ptr<Workbook> openBytes(std::string bytes, const std::wstring& fullName,
                                               bool readOnly, Status& status,
                                               const Limits& limits = {});
    // A new unsaved workbook with one empty sheet "Sheet1".
    static std::unique_ptr<Workbook> create(const std::wstring& name = L"Book1");

    const std::wstring& fullName() const { return m_fullName; } // path, or the name if new
    const std::wstring& name() const { return m_name; }         // file name with extension
    bool readOnly() const { return m_readOnly; }
    bool hasFile() const { return m_hasFile; }
    bool dirty() const { return m_dirty; }
    bool date1904() const;

    std::size_t sheetCount() const { return m_sheets.size(); }
    Worksheet& sheet(std::size_t index) { return *m_sheets.at(index); }
    int findSheet(const std::wstring& name) const; // ignoring case; -1 if none
    int activeSheet() const { return m_activeSheet; }
    void setActiveSheet(int index);

    const std::vector<DefinedName>& names() const;
    // A sheet-scope name of scopeSheet wins over a workbook-scope name.
    const DefinedName* findName(const std::wstring& name, int scopeSheet = -1) const;

    // The formula engine of this workbook, made when first needed.
    Calculation& calculation();
    // Asks the spreadsheet program to recalculate the whole file when it next opens it.
    void requestFullCalculation();
    bool fullCalculationRequested() const;

    // Writes the workbook back to its file, keeping every part it did not change.
    Status save();
    // Writes to another file, which becomes the workbook's file.
    Status saveAs(const std::wstring& path);

    // Who holds the owner file of the workbook at `path` ("" when nobody does).
    static std::wstring lockHolder(const std::wstring& path);

private:
    friend class Worksheet;
    Workbook();
    void markDirty() { m_dirty = true; }

    Status lockFor(const std::wstring& path);

    std::unique_ptr<WorkbookImpl> m_impl;
    std::vector<std::unique_ptr<Worksheet>> m_sheets;
    std::unique_ptr<Calculation> m_calculation;
    std::wstring m_fullName;
    std::wstring m_name;
    bool m_readOnly = false;
    bool m_hasFile = false;
    bool m_dirty = false;
    int m_activeSheet = 0;
    friend struct WorkbookImpl;
};

} // namespace spreadsheet
