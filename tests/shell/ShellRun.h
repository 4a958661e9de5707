// Runs the linkmesh program on a script in a scratch folder of its own and gives back what
// the user saw: the exit code, the transcript and the errors on stderr.
#pragma once

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace shelltest {

namespace fs = std::filesystem;

struct ProgramRun {
    int exitCode = -1;
    std::string transcript;
    std::string errors;
};

inline std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

inline void writeFile(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

class ShellTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_dir = fs::temp_directory_path() /
                ("lmshell-" + std::to_string(getpid()) + "-" +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(m_dir);
        fs::create_directories(m_dir / "config");
    }
    void TearDown() override { fs::remove_all(m_dir); }

    fs::path store() const { return m_dir / "config" / "linkmesh" / "registry"; }

    ProgramRun runFile(const fs::path& script, const std::string& options = "") {
        return launch(options + " '" + script.string() + "'");
    }

    // A script named relative to folder, run from there, as a user runs the shipped examples.
    ProgramRun runFileIn(const fs::path& folder, const std::string& script) {
        return launch("'" + script + "'", folder);
    }

    ProgramRun run(const std::string& script, const std::string& options = "") {
        writeFile(m_dir / "script.scr", script);
        return runFile(m_dir / "script.scr", options);
    }

    // Lines typed at the terminal: a refused command does not end the session there.
    ProgramRun type(const std::string& input, const std::string& options = "") {
        writeFile(m_dir / "typed.txt", input);
        return launch(options + " < '" + (m_dir / "typed.txt").string() + "' > /dev/null");
    }

    // Script lines that store links as a user does: the lines of a link list file written to
    // the test's folder, imported through the Parameter Links Manager.
    std::string importLinks(const std::string& lines, const std::string& file = "links.csv") {
        writeFile(m_dir / file, lines);
        return "Lmesh_LinkParameters\n> press 107\n> type 1152 " + (m_dir / file).string() +
               "\n> ok\n> press 2\n";
    }

    fs::path m_dir;

private:
    ProgramRun launch(const std::string& arguments, const fs::path& folder = {}) {
        std::string command = (folder.empty() ? "" : "cd '" + folder.string() + "' && ") +
                              "XDG_CONFIG_HOME='" + (m_dir / "config").string() + "' '" +
                              LINKMESH_PROGRAM + "' --quiet --transcript '" +
                              (m_dir / "out.txt").string() + "' " + arguments + " 2> '" +
                              (m_dir / "err.txt").string() + "'";
        ProgramRun r;
        int status = std::system(command.c_str());
        r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        r.transcript = readFile(m_dir / "out.txt");
        r.errors = readFile(m_dir / "err.txt");
        return r;
    }
};

// What every session with the plug-in loaded begins with.
const std::string kStartup = "\nCommand: (command \"Lmesh_LoadMenu\")";

// What an import of links shows on the command line when every line was taken.
const std::string kImported =
    "\nCommand: Lmesh_LinkParameters"
    "\n[box \"Norvane Linkmesh\" 64] Successfully import the links. -> OK";

} // namespace shelltest
