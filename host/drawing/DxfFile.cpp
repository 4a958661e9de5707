// Drawing files on disk: reading with limits that keep a bad path from hanging or
// exhausting the host, and atomic saves.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <cwctype>
#include <string>

#include "drawing/Dxf.h"
#include "sdk/WideFormat.h"

namespace drawing {

namespace {

std::wstring systemError(int code) {
    std::wstring text = lmhost::widen(std::strerror(code));
    if (!text.empty())
        text[0] = static_cast<wchar_t>(std::towlower(text[0]));
    return text;
}

class Descriptor {
public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor() {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return m_fd; }
    int release() {
        int fd = m_fd;
        m_fd = -1;
        return fd;
    }

private:
    int m_fd;
};

bool writeAll(int fd, const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        done += static_cast<std::size_t>(n);
    }
    return true;
}

} // namespace

std::unique_ptr<AcDbDatabase> openDxfFile(const std::wstring& path, DxfReport& report,
                                          std::wstring& error) {
    std::string narrow = lmhost::narrow(path);
    // Non-blocking, so that a FIFO with no writer does not wait; it is refused below.
    Descriptor fd(::open(narrow.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (fd.get() < 0) {
        error = systemError(errno);
        return nullptr;
    }
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0) {
        error = systemError(errno);
        return nullptr;
    }
    if (S_ISDIR(info.st_mode)) {
        error = L"it is a folder, not a drawing file";
        return nullptr;
    }
    if (!S_ISREG(info.st_mode)) {
        error = L"it is not a regular file (a device, FIFO or socket)";
        return nullptr;
    }
    auto size = static_cast<std::uint64_t>(info.st_size);
    if (size > kMaxDxfFileBytes) {
        error = L"the file is " + std::to_wstring(size >> 20) + L" MB; drawings of at most " +
                std::to_wstring(kMaxDxfFileBytes >> 20) + L" MB are read";
        return nullptr;
    }
    std::string bytes(size, '\0');
    std::size_t done = 0;
    while (done < size) {
        ssize_t n = ::read(fd.get(), bytes.data() + done, size - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            error = systemError(errno);
            return nullptr;
        }
        if (n == 0)
            break; // the file shrank meanwhile
        done += static_cast<std::size_t>(n);
    }
    bytes.resize(done);
    return readDxf(bytes, report, error);
}

bool saveDxfFile(AcDbDatabase* database, const std::wstring& path, std::wstring& error) {
    std::string target = lmhost::narrow(path);
    struct stat info {};
    bool exists = ::stat(target.c_str(), &info) == 0;
    if (exists && !S_ISREG(info.st_mode)) {
        error = S_ISDIR(info.st_mode) ? L"it is a folder" : L"it is not a regular file";
        return false;
    }
    std::string text = writeDxf(database);
    std::string temp = target + ".XXXXXX";
    Descriptor fd(::mkstemp(temp.data()));
    if (fd.get() < 0) {
        error = systemError(errno);
        return false;
    }
    bool ok = writeAll(fd.get(), text) && ::fsync(fd.get()) == 0;
    int code = errno;
    if (ok) {
        // mkstemp makes the file private: the old file's permissions, or the usual ones.
        mode_t mode = info.st_mode & 07777;
        if (!exists) {
            mode_t mask = ::umask(0);
            ::umask(mask);
            mode = 0666 & ~mask;
        }
        ::fchmod(fd.get(), mode);
    }
    if (::close(fd.release()) != 0 && ok) {
        ok = false;
        code = errno;
    }
    if (ok && ::rename(temp.c_str(), target.c_str()) != 0) {
        ok = false;
        code = errno;
    }
    if (!ok) {
        ::unlink(temp.c_str());
        error = systemError(code);
        return false;
    }
    return true;
}

} // namespace drawing
