// Text typed into a cell, read as the spreadsheet program (en-US) reads it: numbers with
// their implied number format, percentages, currency, dates, booleans, or text.
#pragma once

#include <string>

namespace spreadsheet {

struct TypedEntry {
    enum class Kind { Empty, Number, Boolean, Text };
    Kind kind = Kind::Empty;
    double number = 0;   // Number; Boolean as 0 or 1
    std::wstring text;   // Text, without a leading apostrophe
    int formatId = 0;    // built-in number format the typing implies; 0 when none
    bool quoted = false; // a leading apostrophe forced text
};

// Reads one typed text; date serials follow the workbook's date system.
TypedEntry readTypedEntry(const std::wstring& typed, bool date1904);

// Built-in number format ids that typed entries imply.
namespace typedformat {
constexpr int kThousands = 3;        // #,##0
constexpr int kThousandsDecimal = 4; // #,##0.00
constexpr int kCurrency = 5;         // $#,##0_);($#,##0)
constexpr int kCurrencyDecimal = 7;  // $#,##0.00_);($#,##0.00)
constexpr int kPercent = 9;          // 0%
constexpr int kPercentDecimal = 10;  // 0.00%
constexpr int kScientific = 11;      // 0.00E+00
constexpr int kDate = 14;            // m/d/yyyy
constexpr int kDayMonthYear = 15;    // d-mmm-yy
} // namespace typedformat

} // namespace spreadsheet
