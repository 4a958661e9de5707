#include "Terminal.h"

#include <readline/readline.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <streambuf>

namespace shell::terminal {

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

void onInterrupt(int) {
    g_interrupted = 1;
}

// What the callback interface hands over when a line is complete.
struct PendingLine {
    bool done = false;
    bool end = false;
    std::string text;
};
PendingLine g_pending;

void takeLine(char* raw) {
    g_pending.done = true;
    if (raw) {
        g_pending.text = raw;
        std::free(raw);
    } else {
        g_pending.end = true;
    }
    rl_callback_handler_remove();
}

// Gives up the line being typed: readline's state is reset and the terminal restored.
void abandonLine() {
    rl_replace_line("", 0);
    rl_redisplay();
    rl_free_line_state();
    rl_callback_sigcleanup();
    rl_callback_handler_remove();
}

// Passes everything on to stdout's buffer and remembers whether the last line is still open.
class LineTracker : public std::streambuf {
public:
    explicit LineTracker(std::streambuf* target) : m_target(target) {}
    bool open() const { return m_open; }
    void closed() { m_open = false; }
    std::streambuf* target() const { return m_target; }

protected:
    int overflow(int c) override {
        if (c == traits_type::eof())
            return traits_type::not_eof(c);
        m_open = c != '\n';
        return m_target->sputc(static_cast<char>(c));
    }
    std::streamsize xsputn(const char* s, std::streamsize n) override {
        if (n > 0)
            m_open = s[n - 1] != '\n';
        return m_target->sputn(s, n);
    }
    int sync() override { return m_target->pubsync(); }

private:
    std::streambuf* m_target;
    bool m_open = false;
};

// Passes everything on to stderr's buffer, after ending stdout's open line.
class ErrorLine : public std::streambuf {
public:
    ErrorLine(std::streambuf* target, LineTracker* out) : m_target(target), m_out(out) {}

protected:
    int overflow(int c) override {
        if (c == traits_type::eof())
            return traits_type::not_eof(c);
        endOutput();
        return m_target->sputc(static_cast<char>(c));
    }
    std::streamsize xsputn(const char* s, std::streamsize n) override {
        endOutput();
        return m_target->sputn(s, n);
    }
    int sync() override { return m_target->pubsync(); }

private:
    void endOutput() {
        if (!m_out->open())
            return;
        m_out->target()->sputc('\n');
        m_out->target()->pubsync();
        m_out->closed();
    }
    std::streambuf* m_target;
    LineTracker* m_out;
};

LineTracker* g_output = nullptr;

bool sameDestination(int a, int b) {
    struct stat sa {};
    struct stat sb {};
    if (fstat(a, &sa) != 0 || fstat(b, &sb) != 0)
        return false;
    return sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

} // namespace

void catchInterrupts() {
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    // No SA_RESTART: the wait for a key gives up at once.
    action.sa_flags = 0;
    sigaction(SIGINT, &action, nullptr);
    // The callback interface below does its own signal handling.
    rl_catch_signals = 0;
}

void forgetInterrupt() {
    g_interrupted = 0;
}

bool takeInterrupt() {
    bool interrupted = g_interrupted != 0;
    g_interrupted = 0;
    return interrupted;
}

Read readLine(const std::string& prompt, bool alreadyShown, std::string& line) {
    line.clear();
    sigset_t interrupt, outside;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    // SIGINT waits while readline works; it can only arrive in the wait below, so none is lost
    // between the check and the wait.
    sigprocmask(SIG_BLOCK, &interrupt, &outside);
    Read result = Read::Line;
    if (g_interrupted) {
        g_interrupted = 0;
        result = Read::Interrupted;
    } else {
        g_pending = PendingLine();
        rl_already_prompted = alreadyShown ? 1 : 0;
        rl_callback_handler_install(prompt.c_str(), takeLine);
        rl_already_prompted = 0;
        int fd = fileno(rl_instream ? rl_instream : stdin);
        while (!g_pending.done) {
            fd_set ready;
            FD_ZERO(&ready);
            FD_SET(fd, &ready);
            int n = pselect(fd + 1, &ready, nullptr, nullptr, nullptr, &outside);
            if (n < 0 && errno == EINTR && g_interrupted) {
                g_interrupted = 0;
                abandonLine();
                result = Read::Interrupted;
                break;
            }
            if (n < 0 && errno != EINTR) {
                rl_callback_handler_remove();
                g_pending.end = true;
                break;
            }
            if (n > 0)
                rl_callback_read_char();
        }
        if (result == Read::Line) {
            if (g_pending.end)
                result = Read::End;
            else
                line = g_pending.text;
        }
    }
    sigprocmask(SIG_SETMASK, &outside, nullptr);
    std::fflush(rl_outstream ? rl_outstream : stdout);
    // Whatever readline showed, the user's Enter ended the line.
    if (g_output && result == Read::Line)
        g_output->closed();
    return result;
}

void endOpenLineBeforeErrors() {
    if (g_output || !sameDestination(STDOUT_FILENO, STDERR_FILENO))
        return;
    // Never freed: the streams are used up to the very end of the program.
    g_output = new LineTracker(std::cout.rdbuf());
    std::cout.rdbuf(g_output);
    std::cerr.rdbuf(new ErrorLine(std::cerr.rdbuf(), g_output));
}

} // namespace shell::terminal
