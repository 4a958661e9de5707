// The host's wide-text helpers: printf formatting with the host platform's wide-format
// rules, narrow text decoded, and names compared without regard to case.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>

namespace lmhost {

// In a wide format %s and %c take wide arguments and %S, %C narrow ones, as on the host
// platform; %ls/%ws and %hs/%hc say the width explicitly. Everything else is C's printf.
std::wstring formatWideV(const wchar_t* format, va_list args);
std::wstring formatWide(const wchar_t* format, ...);

// Narrow text as the host decodes it (UTF-8 here).
std::wstring widen(const char* text);
std::wstring widen(const std::string& text);
std::string narrow(const std::wstring& text);
// The same into out, which holds at least 4 * text.size() + 1 bytes; gives the length
// without the closing null it writes.
std::size_t narrowInto(std::wstring_view text, char* out);

// Equal ignoring case, character by character as _wcsicmp compares (names of commands,
// files, sheets, keywords typed by the user).
bool equalNoCase(std::wstring_view a, std::wstring_view b);

} // namespace lmhost
