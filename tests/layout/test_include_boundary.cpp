// The plug-in sees the host only through its API headers: every include under src/ must be
// a file of src/, a header of host/sdk/include, or a standard header. The host never
// includes the plug-in, and its parts include one way: the API surface (host/sdk) nothing
// above it, each model (host/drawing, host/spreadsheet) the surface and itself, the shell
// everything.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <fstream>
#include <iterator>
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

// The part of the host a path lies in ("sdk", "drawing", ...), or "" outside the parts.
std::string hostPart(const fs::path& file) {
    fs::path rel = file.lexically_normal().lexically_relative((root / "host").lexically_normal());
    if (rel.empty() || *rel.begin() == ".." || std::next(rel.begin()) == rel.end())
        return "";
    return rel.begin()->string();
}

// The host file an include names: beside the including file (quoted only), under host/, or
// an API header; empty for anything else (a standard or system header).
fs::path resolveInHost(const Include& inc) {
    std::vector<fs::path> bases = {root / "host", root / "host" / "sdk" / "include"};
    if (!inc.angled)
        bases.insert(bases.begin(), inc.file.parent_path());
    for (const fs::path& base : bases)
        if (fs::exists(base / inc.name))
            return (base / inc.name).lexically_normal();
    return {};
}

// The parts each part may include: itself and those below it.
const std::map<std::string, std::set<std::string>> kMayInclude = {
    {"sdk", {"sdk"}},
    {"drawing", {"drawing", "sdk"}},
    {"spreadsheet", {"spreadsheet", "sdk"}},
    {"shell", {"shell", "drawing", "spreadsheet", "sdk"}},
};

std::vector<std::string> wrongWayIncludes(const std::vector<Include>& includes) {
    std::vector<std::string> out;
    for (const Include& inc : includes) {
        std::string from = hostPart(inc.file);
        fs::path target = resolveInHost(inc);
        if (from.empty() || target.empty())
            continue;
        std::string to = hostPart(target);
        auto allowed = kMayInclude.find(from);
        if (allowed == kMayInclude.end() || !allowed->second.count(to))
            out.push_back(fs::relative(inc.file, root).string() + ":" + std::to_string(inc.line) +
                          ": " + from + " includes " + inc.name + " of " +
                          (to.empty() ? "the host's root" : to));
    }
    return out;
}

std::string joined(const std::vector<std::string>& lines) {
    std::string all;
    for (const auto& l : lines)
        all += l + "\n";
    return all;
}

TEST(IncludeBoundary, EveryPartOfTheHostIsKnownToTheLayering) {
    for (const auto& entry : fs::directory_iterator(root / "host")) {
        if (entry.is_directory()) {
            EXPECT_TRUE(kMayInclude.count(entry.path().filename().string()))
                << entry.path() << " is a part of the host the layering does not name";
        }
    }
}

TEST(IncludeBoundary, HostPartsIncludeOnlyThemselvesAndThePartsBelow) {
    std::vector<std::string> violations = wrongWayIncludes(includesUnder(root / "host"));
    EXPECT_TRUE(violations.empty()) << joined(violations);
}

TEST(IncludeBoundary, AWrongWayIncludeIsFound) {
    // The check above must see through each way a host file names another.
    const fs::path sdk = root / "host" / "sdk" / "Database.cpp";
    const fs::path drawing = root / "host" / "drawing" / "Blocks.cpp";
    const fs::path spreadsheet = root / "host" / "spreadsheet" / "Workbook.cpp";
    const fs::path shell = root / "host" / "shell" / "Shell.cpp";
    std::vector<Include> wrong = {
        {sdk, 1, "drawing/Blocks.h", false},           // the surface into a model
        {sdk, 2, "../shell/Shell.h", false},           // beside it, up into the shell
        {drawing, 3, "spreadsheet/Workbook.h", false}, // one model into the other
        {spreadsheet, 4, "drawing/Tables.h", false},
        {spreadsheet, 5, "shell/DrawingText.h", false},
        {sdk, 6, "drawing/control/Editor.h", true},
    };
    std::vector<Include> right = {
        {drawing, 7, "sdk/Database.h", false},
        {drawing, 8, "dbmain.h", false},
        {spreadsheet, 9, "sdk/control/ComRegistry.h", false},
        {shell, 10, "drawing/Blocks.h", false},
        {shell, 11, "spreadsheet/Workbook.h", false},
        {sdk, 12, "vector", true},
    };
    std::vector<std::string> found = wrongWayIncludes(wrong);
    EXPECT_EQ(found.size(), wrong.size()) << joined(found);
    EXPECT_TRUE(wrongWayIncludes(right).empty()) << joined(wrongWayIncludes(right));
}

} // namespace
