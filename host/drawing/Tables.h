// The host's own side of tables.
#pragma once

#include <string>

namespace drawing {

// A cell text without its in-text format codes: font, height, colour and similar codes
// (\f..; \H..; \C..;) and groups ({ }) go, \P becomes a line break, \S1/2; becomes 1/2,
// \~ a non-breaking space, \U+XXXX that character, and \\ \{ \} the character itself.
std::wstring stripMtextFormat(const std::wstring& text);

} // namespace drawing
