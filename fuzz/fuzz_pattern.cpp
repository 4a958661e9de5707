// Compiles and runs fuzzer-made patterns over fuzzer-made texts. The input is
// read as 16-bit units; the first zero unit splits pattern from text.
#include "support/PatternMatcher.h"

#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::wstring pattern;
    std::wstring text;
    bool inText = false;
    for (std::size_t i = 0; i + 1 < size; i += 2) {
        const wchar_t unit = static_cast<wchar_t>(data[i] | (data[i + 1] << 8));
        if (unit == 0 && !inText)
            inText = true;
        else
            (inText ? text : pattern) += unit;
    }
    // The text is read up to its first zero, as the matcher sees it.
    text.resize(std::wcslen(text.c_str()));

    PatternMatcher matcher;
    const int error = matcher.Parse(pattern.c_str());
    if (error < 0 || error > kPatternNullInput)
        __builtin_trap();
    matcher.SetStepLimit(200'000);
    PatternMatchContext context;
    const int found = matcher.Match(text.c_str(), &context);
    if (error != kPatternOk && found)
        __builtin_trap();
    if (found) {
        const wchar_t* first = text.c_str();
        const wchar_t* last = first + text.size();
        if (context.GetMatchStart() < first || context.GetMatchEnd() > last ||
            context.GetMatchStart() > context.GetMatchEnd())
            __builtin_trap();
        for (unsigned g = 0; g < context.GetGroupCount(); ++g) {
            const wchar_t* start = nullptr;
            const wchar_t* end = nullptr;
            context.GetMatch(g, &start, &end);
            if ((start == nullptr) != (end == nullptr) ||
                (start && (start < first || end > last || start > end)))
                __builtin_trap();
        }
    }
    if (!context.LimitReached() && !text.empty() && !pattern.empty()) {
        CStringArray groups;
        if (ApplyPattern(CString(text), CString(pattern), groups) != found)
            __builtin_trap();
        if (found && groups.GetSize() != static_cast<INT_PTR>(context.GetGroupCount()))
            __builtin_trap();
    }
    return 0;
}
