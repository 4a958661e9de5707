// The plug-in sees the host only through its API headers: every include under src/ must be
// a file of src/, a header of host/sdk/include, or a standard header. The host never
// includes the plug-in.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

const fs::path root = LM_SOURCE_DIR;

struct Include {
    fs::path file;
    int line;
    std::string name;
    bool angled;
};

std::vector<Include> includesUnder(const fs::path& dir) {
    static const std::regex pattern(R"(^\s*#\s*include\s*([<"])([^>"]+)[>"])");
    std::vector<Include> out;
    for (const auto& entry : fs::recursive_directory_iterator(dir)) {
        auto ext = entry.path().extension();
        if (ext != ".h" && ext != ".cpp" && ext != ".hpp")
            continue;
        std::ifstream in(entry.path());
        std::string text;
        int line = 0;
        while (std::getline(in, text)) {
            ++line;
            std::smatch m;
            if (std::regex_search(text, m, pattern))
                out.push_back({entry.path(), line, m[2], m[1] == "<"});
        }
    }
    return out;
}

bool isStandardHeader(const std::string& name) {
    // The C++ library's headers have no extension; the C ones are the <c...> forms or a few
    // POSIX-free C headers.
    static const std::set<std::string> c = {"stdint.h", "stddef.h", "stdarg.h", "string.h",
                                            "wchar.h",  "math.h",   "stdlib.h", "stdio.h",
                                            "limits.h", "float.h"};
    return name.find('.') == std::string::npos || c.count(name) > 0;
}

TEST(IncludeBoundary, PluginIncludesOnlyItsOwnFilesTheSdkAndTheStandardLibrary) {
    const fs::path src = root / "src";
    const fs::path sdk = root / "host" / "sdk" / "include";
    std::vector<std::string> violations;
    for (const Include& inc : includesUnder(src)) {
        bool ok = (!inc.angled &&
                   (fs::exists(inc.file.parent_path() / inc.name) || fs::exists(src / inc.name))) ||
                  fs::exists(sdk / inc.name) || (inc.angled && isStandardHeader(inc.name));
        if (!ok)
            violations.push_back(fs::relative(inc.file, root).string() + ":" +
                                 std::to_string(inc.line) + ": " + inc.name);
    }
    EXPECT_TRUE(violations.empty()) << [&] {
        std::string all;
        for (auto& v : violations)
            all += v + "\n";
        return all;
    }();
}

TEST(IncludeBoundary, NoIncludeUnderSrcReachesIntoHostInternals) {
    for (const Include& inc : includesUnder(root / "src"))
        EXPECT_EQ(inc.name.find("host/"), std::string::npos) << inc.file << ":" << inc.line;
}

TEST(IncludeBoundary, HostNeverIncludesThePlugin) {
    const fs::path src = root / "src";
    for (const Include& inc : includesUnder(root / "host")) {
        bool local = fs::exists(inc.file.parent_path() / inc.name) ||
                     fs::exists(root / "host" / inc.name) ||
                     fs::exists(root / "host" / "sdk" / "include" / inc.name);
        EXPECT_FALSE(!local && fs::exists(src / inc.name))
            << inc.file << ":" << inc.line << " includes " << inc.name;
    }
}

} // namespace
