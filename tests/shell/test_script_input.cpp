// What the program does with script files that are not plain text files of sensible size,
// and with a transcript that cannot be written.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include "ShellRun.h"

namespace shelltest {
namespace {

using namespace std::string_literals;

// Feeds a FIFO with one pattern, over and over, until the reader goes away or the cap is
// reached; the bytes written tell how far the reader read.
class EndlessWriter {
public:
    EndlessWriter(const fs::path& fifo, std::string pattern, size_t cap)
        : m_thread([this, fifo, pattern = std::move(pattern), cap] { feed(fifo, pattern, cap); }) {}
    ~EndlessWriter() { finish(); }
    EndlessWriter(const EndlessWriter&) = delete;
    EndlessWriter& operator=(const EndlessWriter&) = delete;

    size_t finish() {
        if (m_thread.joinable())
            m_thread.join();
        return m_written;
    }

private:
    void feed(const fs::path& fifo, const std::string& pattern, size_t cap) {
        int fd = -1;
        // Without a reader a non-blocking open fails; give the program time to start.
        for (int i = 0; i < 600 && fd < 0; ++i) {
            fd = open(fifo.c_str(), O_WRONLY | O_NONBLOCK);
            if (fd < 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        if (fd < 0)
            return;
        fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
        std::string chunk;
        while (chunk.size() < 64 * 1024)
            chunk += pattern;
        while (m_written < cap) {
            ssize_t n = write(fd, chunk.data(), chunk.size());
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                break; // the reader closed its end
            m_written += static_cast<size_t>(n);
        }
        close(fd);
    }

    std::atomic<size_t> m_written{0};
    std::thread m_thread;
};

class ScriptFiles : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        std::signal(SIGPIPE, SIG_IGN);
    }
    fs::path fifo() {
        fs::path path = m_dir / "script.fifo";
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        return path;
    }
};

TEST_F(ScriptFiles, AFolderIsNoScript) {
    ProgramRun r = runFile(m_dir);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.errors, "linkmesh: cannot read the script " + m_dir.string() +
                            ": it is a folder, not a script\n");
}

TEST_F(ScriptFiles, DevZeroIsRefusedAtItsFirstLine) {
    ProgramRun r = runFile("/dev/zero");
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_EQ(r.errors, "linkmesh: /dev/zero:1: the line holds a NUL byte\n");
}

TEST_F(ScriptFiles, ANulByteIsRefusedWithItsLineBeforeAnythingRuns) {
    ProgramRun r = run("MENUBAR\nMENU\0BAR\nMENUBAR\n"s);
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_EQ(r.errors,
              "linkmesh: " + (m_dir / "script.scr").string() + ":2: the line holds a NUL byte\n");
    EXPECT_EQ(r.transcript.find("\nCommand: MENUBAR"), std::string::npos) << r.transcript;
}

TEST_F(ScriptFiles, AnEndlessLineIsRefusedAtItsBoundNotReadWhole) {
    fs::path path = fifo();
    EndlessWriter writer(path, "MENUBAR ", 256u << 20);
    ProgramRun r = runFile(path);
    size_t written = writer.finish();
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_NE(r.errors.find("script.fifo:1: the line is too long"), std::string::npos) << r.errors;
    // The line bound, and what the pipe holds; far from all of the line.
    EXPECT_LT(written, 4u << 20);
}

TEST_F(ScriptFiles, EndlessShortLinesAreRefusedAtTheLineBound) {
    fs::path path = fifo();
    EndlessWriter writer(path, "#\n", 256u << 20);
    ProgramRun r = runFile(path);
    size_t written = writer.finish();
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.errors.find("the script has more than 1000000 lines"), std::string::npos)
        << r.errors;
    EXPECT_LT(written, 8u << 20);
}

TEST_F(ScriptFiles, AByteOrderMarkIsSkipped) {
    ProgramRun r = run("\xEF\xBB\xBFMENUBAR\n");
    EXPECT_EQ(r.exitCode, 0) << r.errors;
    EXPECT_NE(r.transcript.find("\nCommand: MENUBAR\nMenu bar: "), std::string::npos)
        << r.transcript;
}

TEST_F(ScriptFiles, Utf16IsToldForWhatItIs) {
    ProgramRun r = run("\xFF\xFEM\0E\0N\0U\0\n\0"s);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.errors.find("it is UTF-16 text; linkmesh reads scripts in UTF-8"),
              std::string::npos)
        << r.errors;
}

TEST_F(ScriptFiles, LinesEndAtLFOrCROrCRLF) {
    // Line 1 ends CRLF, 2 CR, 3 LF, 4 is empty, 5 is the unknown command.
    ProgramRun r = run("# comment\r\nMENUBAR\rMENUBAR\n\nNOSUCH\r\nMENUBAR");
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_NE(r.errors.find("script.scr:5: unknown command \"NOSUCH\""), std::string::npos)
        << r.errors;
    size_t first = r.transcript.find("\nCommand: MENUBAR\nMenu bar: ");
    ASSERT_NE(first, std::string::npos) << r.transcript;
    EXPECT_NE(r.transcript.find("\nCommand: MENUBAR\nMenu bar: ", first + 1), std::string::npos)
        << r.transcript;
    // No carriage return reaches a command.
    EXPECT_EQ(r.transcript.find('\r'), std::string::npos) << r.transcript;
}

// ---------------------------------------------------------------------------------------
// The transcript

class TranscriptFile : public ShellTest {};

TEST_F(TranscriptFile, AFullDiskShowsInTheExitCodeAndAMessage) {
    // The later --transcript wins.
    ProgramRun r = run("MENUBAR\n", "--transcript /dev/full");
    EXPECT_EQ(r.exitCode, 4);
    EXPECT_EQ(r.errors,
              "linkmesh: cannot write the transcript /dev/full: No space left on device\n");
}

TEST_F(TranscriptFile, AScriptErrorKeepsItsOwnExitCodeWhenTheTranscriptFailsToo) {
    ProgramRun r = run("NOSUCH\n", "--transcript /dev/full");
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_NE(r.errors.find("cannot write the transcript /dev/full"), std::string::npos)
        << r.errors;
    EXPECT_NE(r.errors.find("script.scr:1: unknown command"), std::string::npos) << r.errors;
}

} // namespace
} // namespace shelltest
