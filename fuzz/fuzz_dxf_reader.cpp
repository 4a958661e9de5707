// Fuzzes the DXF reader: any input is refused with a reason or read into a drawing, which is
// then written and read again (what was read once must write a file that reads).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "drawing/Dxf.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    drawing::DxfReport report;
    std::wstring error;
    auto db = drawing::readDxf(text, report, error);
    if (!db) {
        if (error.empty())
            std::abort(); // a refusal always says why
        return 0;
    }
    std::string written = drawing::writeDxf(db.get());
    auto again = drawing::readDxf(written, report, error);
    if (!again || drawing::writeDxf(again.get()) != written)
        std::abort(); // our own output reads back to the same bytes
    return 0;
}
