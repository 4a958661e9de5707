#include "ScriptReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

namespace shell {

namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    ~FileDescriptor() {
        if (m_fd >= 0)
            close(m_fd);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return m_fd; }

private:
    int m_fd;
};

// Cuts bytes into lines as they come, so that no line grows past its bound.
class LineSplitter {
public:
    explicit LineSplitter(std::vector<RawScriptLine>& lines) : m_lines(lines) {}

    bool feed(std::string_view bytes, ScriptReadError& error) {
        for (char c : bytes) {
            bool crlf = m_afterCR && c == '\n';
            m_afterCR = false;
            if (crlf)
                continue;
            if (c == '\n' || c == '\r') {
                if (m_lines.size() >= kMaxScriptLines) {
                    error.line = 0;
                    error.reason =
                        "the script has more than " + std::to_string(kMaxScriptLines) + " lines";
                    return false;
                }
                endLine();
                m_afterCR = c == '\r';
                continue;
            }
            if (c == '\0' || m_current.size() >= kMaxScriptLineBytes) {
                error.line = m_number;
                error.reason = c == '\0' ? "the line holds a NUL byte" : "the line is too long";
                return false;
            }
            m_current += c;
        }
        return true;
    }

    void finish() {
        if (!m_current.empty())
            endLine();
    }

private:
    void endLine() {
        m_lines.push_back({m_number++, std::move(m_current)});
        m_current.clear();
    }

    std::vector<RawScriptLine>& m_lines;
    std::string m_current;
    int m_number = 1;
    bool m_afterCR = false;
};

} // namespace

bool readScriptFile(const std::string& path, std::vector<RawScriptLine>& lines,
                    ScriptReadError& error) {
    lines.clear();
    error = ScriptReadError();
    auto fail = [&error](std::string reason) {
        error.line = 0;
        error.reason = std::move(reason);
        return false;
    };
    FileDescriptor fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0)
        return fail(std::strerror(errno));
    error.opened = true;
    struct stat st;
    if (fstat(fd.get(), &st) != 0)
        return fail(std::strerror(errno));
    if (S_ISDIR(st.st_mode))
        return fail("it is a folder, not a script");

    LineSplitter splitter(lines);
    std::string head; // the first bytes, until it is known whether they are a mark
    bool headSettled = false;
    size_t total = 0;
    char buffer[16 * 1024];
    while (true) {
        ssize_t n = read(fd.get(), buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return fail(std::strerror(errno));
        if (n == 0)
            break;
        total += static_cast<size_t>(n);
        if (total > kMaxScriptBytes)
            return fail("the script is larger than " +
                        std::to_string(kMaxScriptBytes / (1024 * 1024)) + " MB");
        std::string_view bytes(buffer, static_cast<size_t>(n));
        if (!headSettled) {
            head.append(bytes);
            if (head.size() < kUtf8Mark.size() && kUtf8Mark.starts_with(head))
                continue;
            headSettled = true;
            if (head.starts_with("\xFF\xFE") || head.starts_with("\xFE\xFF"))
                return fail("it is UTF-16 text; linkmesh reads scripts in UTF-8");
            bytes = head;
            if (bytes.starts_with(kUtf8Mark))
                bytes.remove_prefix(kUtf8Mark.size());
        }
        if (!splitter.feed(bytes, error))
            return false;
    }
    if (!headSettled && !splitter.feed(head, error))
        return false;
    splitter.finish();
    return true;
}

} // namespace shell
