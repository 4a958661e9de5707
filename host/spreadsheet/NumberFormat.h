// Number formats as the spreadsheet program renders them for display (en-US).
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace spreadsheet {

// Code of a built-in format id (0-49); General for ids that are not built in.
std::wstring builtinFormatCode(int id);

struct DisplayContext {
    bool date1904 = false;
    int contentPixels = -1; // width available to the text; -1 for no limit
};

// The General format: up to 11 characters, fitted to the width, scientific when needed.
std::wstring formatGeneral(double value, int contentPixels);

struct ParsedFormat;

class NumberFormat {
public:
    explicit NumberFormat(std::wstring_view code);
    ~NumberFormat();
    NumberFormat(NumberFormat&&) noexcept;
    NumberFormat& operator=(NumberFormat&&) noexcept;

    // The displayed text of a number, "#"-filled when it does not fit.
    std::wstring formatNumber(double value, const DisplayContext& context) const;
    // The displayed text of a text value (the text section, or the text itself).
    std::wstring formatText(const std::wstring& text) const;
    bool isDate() const;

private:
    std::unique_ptr<ParsedFormat> m_parsed;
};

} // namespace spreadsheet
