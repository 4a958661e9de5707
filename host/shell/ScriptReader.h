// Reads a script file into numbered lines, with bounds, before anything of it runs.
#pragma once

#include <string>
#include <vector>

namespace shell {

// One line of a script as read, with its number (blank and comment lines are counted too).
struct RawScriptLine {
    int number = 0;
    std::string text;
};

// Longest line, and largest script, taken; a longer one is refused where it is met, without
// reading the rest of it.
constexpr size_t kMaxScriptLineBytes = 64 * 1024;
constexpr size_t kMaxScriptBytes = 16 * 1024 * 1024;
constexpr size_t kMaxScriptLines = 1000000;

struct ScriptReadError {
    bool opened = false; // false when the file could not be opened at all
    int line = 0;        // 0 when it concerns the whole file
    std::string reason;
};

// Reads a script: LF, CR and CRLF all end a line, a UTF-8 byte-order mark at the start is
// skipped. A folder, a read error, a NUL byte, a UTF-16 file, an overlong line or a script
// over the size bounds is refused with the reason (and the line where it was met).
bool readScriptFile(const std::string& path, std::vector<RawScriptLine>& lines,
                    ScriptReadError& error);

} // namespace shell
