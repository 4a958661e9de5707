// The linkmesh program on a pseudo-terminal, driven as a user at the keyboard drives it.
#pragma once

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

namespace shelltest {

// The program on a pseudo-terminal: what the user sees, line by line, once the terminal has
// applied the carriage returns and backspaces readline sends.
class TerminalSession {
public:
    // The program with the prompt probe loaded, and any further arguments.
    explicit TerminalSession(const std::string& configDir,
                             const std::vector<std::string>& arguments = {}) {
        std::vector<std::string> words = {LINKMESH_PROGRAM, "--plugin", LINKMESH_PROBE};
        words.insert(words.end(), arguments.begin(), arguments.end());
        m_pid = forkpty(&m_master, nullptr, nullptr, nullptr);
        if (m_pid == 0) {
            setenv("XDG_CONFIG_HOME", configDir.c_str(), 1);
            setenv("TERM", "dumb", 1);
            std::vector<char*> argv;
            for (std::string& w : words)
                argv.push_back(w.data());
            argv.push_back(nullptr);
            execv(LINKMESH_PROGRAM, argv.data());
            _exit(127);
        }
    }
    ~TerminalSession() {
        if (m_master >= 0)
            close(m_master);
        if (m_pid > 0)
            waitpid(m_pid, nullptr, 0);
    }
    bool started() const { return m_pid > 0; }
    const std::string& raw() const { return m_raw; }

    // Reads until the screen's last line ends with the text (a prompt waiting), or a few
    // seconds pass.
    bool waitFor(const std::string& text) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!screenEndsWith(text)) {
            pollfd p{m_master, POLLIN, 0};
            if (std::chrono::steady_clock::now() > deadline || poll(&p, 1, 100) < 0)
                return false;
            if ((p.revents & (POLLIN | POLLHUP)) && !readSome())
                return false;
        }
        return true;
    }
    // Keys as they are pressed, with no Enter: "\x03" is Ctrl-C, which the terminal turns into
    // SIGINT.
    void press(const std::string& keys) {
        usleep(150 * 1000);
        ASSERT_EQ(write(m_master, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    void typeLine(const std::string& line) {
        // A user takes a moment: readline has set up the terminal by then, and the kernel does
        // not echo the line a second time.
        usleep(150 * 1000);
        std::string bytes = line + "\r";
        ASSERT_EQ(write(m_master, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    int finish() {
        while (readSome()) {
        }
        int status = 0;
        waitpid(m_pid, &status, 0);
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::vector<std::string> screen() const {
        std::vector<std::string> lines(1);
        size_t column = 0;
        for (char c : m_raw) {
            std::string& line = lines.back();
            if (c == '\n') {
                lines.emplace_back();
                column = 0;
            } else if (c == '\r') {
                column = 0;
            } else if (c == '\b') {
                column = column ? column - 1 : 0;
            } else {
                if (column < line.size())
                    line[column] = c;
                else
                    line.push_back(c);
                ++column;
            }
        }
        return lines;
    }

private:
    bool screenEndsWith(const std::string& text) const {
        std::string last = screen().back();
        return last.size() >= text.size() &&
               last.compare(last.size() - text.size(), text.size(), text) == 0;
    }
    bool readSome() {
        char buffer[4096];
        ssize_t n = read(m_master, buffer, sizeof buffer);
        if (n <= 0)
            return false;
        m_raw.append(buffer, static_cast<size_t>(n));
        return true;
    }

    int m_master = -1;
    pid_t m_pid = -1;
    std::string m_raw;
};

// The screen's lines that are not empty.
inline std::vector<std::string> nonEmptyLines(const std::vector<std::string>& screen) {
    std::vector<std::string> seen;
    for (const std::string& line : screen)
        if (!line.empty())
            seen.push_back(line);
    return seen;
}

} // namespace shelltest
