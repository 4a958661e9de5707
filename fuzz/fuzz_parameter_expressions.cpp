// Arbitrary text as a parameter expression, a distance and an angle: a refusal is fine,
// a crash, a hang or a non-finite accepted value is not.
#include "drawing/ParameterExpression.h"
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

    drawing::ParameterSet set;
    drawing::VariableId a = drawing::kNoVariable, b = drawing::kNoVariable;
    drawing::ExprError error;
    set.add(L"a", L"2", a, error);
    set.add(L"b", L"a * 3", b, error);
    if (set.assign(a, text, error) == drawing::ExprStatus::ok) {
        if (!std::isfinite(set.value(a)) || !std::isfinite(set.value(b)))
            std::abort();
    } else if (error.text.empty()) {
        std::abort(); // every refusal says why
    }

    for (int mode = 1; mode <= 5; ++mode)
        if (auto d = drawing::parseDistance(text, mode); d && !std::isfinite(*d))
            std::abort();
    for (int mode = 0; mode <= 4; ++mode)
        if (auto r = drawing::parseAngle(text, mode); r && !(*r >= 0.0 && *r < 7.0))
            std::abort();
    return 0;
}
