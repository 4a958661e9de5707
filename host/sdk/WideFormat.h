// printf formatting with the host platform's wide-format rules.
#pragma once

#include <cstdarg>
#include <string>

namespace lmhost {

// In a wide format %s and %c take wide arguments and %S, %C narrow ones, as on the host
// platform; %ls/%ws and %hs/%hc say the width explicitly. Everything else is C's printf.
std::wstring formatWideV(const wchar_t* format, va_list args);
std::wstring formatWide(const wchar_t* format, ...);

// Narrow text as the host decodes it (UTF-8 here).
std::wstring widen(const char* text);
std::wstring widen(const std::string& text);
std::string narrow(const std::wstring& text);

} // namespace lmhost
