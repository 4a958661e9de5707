// Arbitrary text as a parameter expression (under each linear unit mode), a distance and an
// angle, and accepted values written back in every unit mode: a refusal is fine, a crash, a
// hang or an accepted value outside the range is not.
#include "drawing/ParameterExpression.h"
#include "drawing/UnitFormatting.h"
#include "drawing/UnitParsing.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::wstring text;
    text.reserve(size);
    for (std::size_t i = 0; i < size; ++i)
        text.push_back(static_cast<wchar_t>(data[i]));

    // Under every linear unit mode, since feet, inches and mixed numbers read differently.
    for (int units = 1; units <= 5; ++units) {
        drawing::ParameterSet set;
        set.setLinearUnits(units);
        drawing::VariableId a = drawing::kNoVariable, b = drawing::kNoVariable;
        drawing::ExprError error;
        set.add(L"a", L"3", a, error);
        set.add(L"b", L"1 / (a - 2) + a * 3", b, error);
        if (set.assign(a, text, error) == drawing::ExprStatus::ok) {
            for (double v : {set.value(a), set.value(b)}) {
                if (!std::isfinite(v) || std::fabs(v) > 1e100)
                    std::abort(); // outside the host's range of values
                for (int mode = 1; mode <= 5; ++mode)
                    if (drawing::formatDistance(v, mode, units).empty())
                        std::abort();
                for (int mode = 0; mode <= 4; ++mode)
                    if (drawing::formatAngle(v, mode, units + 3).empty())
                        std::abort();
            }
            if (b == drawing::kNoVariable ||
                (set.lastStatus(b) != drawing::ExprStatus::ok && set.lastError(b).empty()))
                std::abort(); // an invalid dependent says why
        } else if (error.text.empty()) {
            std::abort(); // every refusal says why
        }
    }

    for (int mode = 1; mode <= 5; ++mode)
        if (auto d = drawing::parseDistance(text, mode); d && !std::isfinite(*d))
            std::abort();
    for (int mode = 0; mode <= 4; ++mode)
        if (auto r = drawing::parseAngle(text, mode); r && !(*r >= 0.0 && *r < 7.0))
            std::abort();
    return 0;
}
