// Any text through the cell address parsers: they must answer, never crash or read out of
// bounds.
#include <cstddef>
#include <cstdint>
#include <string>

#include "excel/ExcelUtils.h"
#include "sdk/control/HostControl.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Two bytes a character, so that any code unit, control characters included, can occur.
    std::wstring text;
    for (size_t i = 0; i + 1 < size; i += 2)
        text += static_cast<wchar_t>(data[i] | (data[i + 1] << 8));
    int row = 0, column = 0;
    ExcelUtils::ParseCellAddress(text.c_str(), row, column);
    row = column = 0;
    ExcelUtils::ParseRangeStart(text.c_str(), row, column);
    row = column = 0;
    ExcelUtils::ParseRangeEnd(text.c_str(), row, column);
    if (size >= 8) {
        int32_t r, c;
        __builtin_memcpy(&r, data, 4);
        __builtin_memcpy(&c, data + 4, 4);
        // Columns far beyond the grammar still give some text, never a crash.
        (void)ExcelUtils::GetCellAddress(r % 2000000, c % 100000);
        lmhost::clearTranscript();
    }
    return 0;
}
