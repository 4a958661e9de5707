// Every shipped example script runs to its end, from a copy of the examples folder, and leaves
// exactly the transcript checked in as tests/shell/examples/<name>.expected. The run's folder
// shows as <folder> there. After a deliberate change, write the transcripts anew with
//   LINKMESH_UPDATE_EXAMPLES=1 ctest --test-dir build/debug -R ShippedExamples
// and read the diff before committing it (docs/linkmesh-program.md).
#include <algorithm>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "ShellRun.h"

namespace {

using namespace shelltest;

const fs::path kExamples = LINKMESH_EXAMPLES;
const fs::path kTranscripts = LINKMESH_EXAMPLE_TRANSCRIPTS;

bool updating() {
    const char* update = std::getenv("LINKMESH_UPDATE_EXAMPLES");
    return update && *update && std::string(update) != "0";
}

std::set<std::string> stemsOf(const fs::path& folder, const std::string& extension) {
    std::set<std::string> stems;
    for (const auto& entry : fs::directory_iterator(folder))
        if (entry.is_regular_file() && entry.path().extension() == extension)
            stems.insert(entry.path().stem().string());
    return stems;
}

std::string replaceAll(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

class ShippedExamples : public ShellTest {
protected:
    // The example's transcript with the run's own folder written as <folder>.
    ProgramRun runExample(const std::string& name) {
        fs::path folder = m_dir / "run";
        fs::create_directories(folder);
        fs::copy(kExamples, folder / "examples", fs::copy_options::recursive);
        ProgramRun r = runFileIn(folder, "examples/" + name + ".scr");
        r.transcript = replaceAll(r.transcript, folder.string(), "<folder>");
        return r;
    }
};

TEST_F(ShippedExamples, EachScriptHasACheckedTranscriptAndEachTranscriptAScript) {
    std::set<std::string> scripts = stemsOf(kExamples, ".scr");
    std::set<std::string> transcripts = stemsOf(kTranscripts, ".expected");
    EXPECT_FALSE(scripts.empty());
    for (const std::string& name : scripts) {
        if (!updating()) {
            EXPECT_TRUE(transcripts.count(name))
                << "examples/" << name << ".scr has no checked transcript; write it with "
                << "LINKMESH_UPDATE_EXAMPLES=1";
        }
        ProgramRun r = runExample(name);
        EXPECT_EQ(r.exitCode, 0) << name << ": " << r.errors;
        EXPECT_EQ(r.errors, "") << name;
        fs::path expected = kTranscripts / (name + ".expected");
        if (updating())
            writeFile(expected, r.transcript);
        else
            EXPECT_EQ(r.transcript, readFile(expected)) << "examples/" << name << ".scr";
        fs::remove_all(m_dir / "run");
    }
    for (const std::string& name : transcripts)
        EXPECT_TRUE(scripts.count(name)) << name << ".expected belongs to no example script";
}

TEST_F(ShippedExamples, TheWorkbookExampleLeavesTheShippedWorkbookAsItWas) {
    // The example works on a copy it saves beside its drawing.
    std::string shipped = readFile(kExamples / "workbook-links" / "doors.xlsx");
    ProgramRun r = runExample("workbook-links");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    fs::path run = m_dir / "run" / "examples" / "workbook-links";
    EXPECT_EQ(readFile(run / "doors.xlsx"), shipped);
    EXPECT_NE(readFile(run / "work" / "doors.xlsx"), shipped);
}

// The shipped drawing reads the workbook beside it: a dry run lists the changes and leaves the
// file as it was, the update saves them, and a second update finds nothing left to change.
TEST_F(ShippedExamples, TheShippedDrawingUpdatesFromTheWorkbookBesideIt) {
    fs::path folder = m_dir / "run";
    fs::create_directories(folder);
    fs::copy(kExamples, folder / "examples", fs::copy_options::recursive);
    fs::path drawing = folder / "examples" / "workbook-links" / "doors.dxf";
    std::string shipped = readFile(drawing);
    auto update = [&](const std::string& options) {
        fs::path out = m_dir / "update.txt";
        std::string command = "cd '" + folder.string() + "' && '" + LINKMESH_PROGRAM + "' update " +
                              options + " examples/workbook-links/doors.dxf > '" + out.string() +
                              "' 2>&1";
        int status = std::system(command.c_str());
        return std::make_pair(WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(out));
    };
    auto [dryCode, dry] = update("--dry-run");
    EXPECT_EQ(dryCode, 0) << dry;
    EXPECT_NE(dry.find("  width: 800 = 800 \u2192 900 = 900\n"), std::string::npos) << dry;
    EXPECT_NE(dry.find("  15 Width: 800 \u2192 900\n"), std::string::npos) << dry;
    EXPECT_NE(dry.find("[1/1] doors.dxf: 11 changed (dry run, not saved)\n"), std::string::npos);
    EXPECT_EQ(readFile(drawing), shipped);
    auto [code, real] = update("");
    EXPECT_EQ(code, 0) << real;
    EXPECT_NE(real.find("[1/1] doors.dxf: 11 changed\n"), std::string::npos) << real;
    EXPECT_NE(readFile(drawing), shipped);
    auto [againCode, again] = update("");
    EXPECT_EQ(againCode, 0) << again;
    EXPECT_NE(again.find("[1/1] doors.dxf: 0 changed\n"), std::string::npos) << again;
}

} // namespace
