// Any bytes as a script file: the reader gives lines or a reason, within its bounds.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "ScriptReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path =
        (std::filesystem::temp_directory_path() / ("lmfuzz-script-" + std::to_string(getpid())))
            .string();
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    std::vector<shell::RawScriptLine> lines;
    shell::ScriptReadError error;
    if (shell::readScriptFile(path, lines, error)) {
        for (const shell::RawScriptLine& line : lines)
            if (line.text.size() > shell::kMaxScriptLineBytes ||
                line.text.find_first_of(std::string("\r\n\0", 3)) != std::string::npos)
                std::abort(); // a line holds what ends or refuses a line
    } else if (error.reason.empty()) {
        std::abort(); // a refusal always says why
    }
    return 0;
}
