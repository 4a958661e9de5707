#include "spreadsheet/WorkbookFile.h"

#include "spreadsheet/Package.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace spreadsheet {

namespace {

FileStamp stampFrom(const struct stat& st) {
    FileStamp s;
    s.device = std::uint64_t(st.st_dev);
    s.inode = std::uint64_t(st.st_ino);
    s.size = std::int64_t(st.st_size);
    s.modifiedNs = std::int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    return s;
}

std::string dirOf(const std::string& path) {
    auto slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string baseOf(const std::string& path) {
    auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool writeAll(int fd, const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += std::size_t(n);
    }
    return true;
}

void syncDir(const std::string& dir) {
    int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

std::string userName() {
    if (const passwd* pw = ::getpwuid(::geteuid()); pw && pw->pw_name && *pw->pw_name)
        return pw->pw_name;
    if (const char* u = std::getenv("USER"); u && *u)
        return u;
    return "another user";
}

// The name in an owner file: ours hold it as a line of UTF-8; the spreadsheet program's
// start with the name's length in a byte.
std::wstring holderName(int fd) {
    char buf[256];
    ssize_t n = ::pread(fd, buf, sizeof buf, 0);
    if (n <= 0)
        return L"another user";
    std::string name;
    auto len = static_cast<unsigned char>(buf[0]);
    if (len > 0 && len < 0x20 && ssize_t(len) < n)
        name.assign(buf + 1, len);
    else
        name.assign(buf, std::size_t(n));
    auto end = name.find_first_of("\r\n");
    if (end != std::string::npos)
        name.resize(end);
    while (!name.empty() && name.back() == ' ')
        name.pop_back();
    std::wstring w = fromUtf8(name);
    for (wchar_t& c : w)
        if (c < 0x20)
            c = L'?';
    return w.empty() ? L"another user" : w;
}

} // namespace

Status readWorkbookFile(const std::string& path, std::size_t maxBytes, std::string& out,
                        FileStamp& stamp) {
    out.clear();
    // Non-blocking, so that a FIFO in the workbook's place cannot hang the open.
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return Status::FileNotFound;
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return Status::FileNotFound;
    }
    stamp = stampFrom(st);
    // The size is a hint for the first allocation; what counts is what the read gives.
    if (st.st_size > 0 && std::uint64_t(st.st_size) <= maxBytes)
        out.reserve(std::size_t(st.st_size) + 1);
    Status status = Status::Ok;
    char buf[1 << 16];
    for (;;) {
        ssize_t n = ::read(fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            status = Status::FileNotFound;
            break;
        }
        if (n == 0)
            break;
        if (out.size() + std::size_t(n) > maxBytes) {
            status = Status::TooLarge;
            break;
        }
        out.append(buf, std::size_t(n));
    }
    ::close(fd);
    if (status != Status::Ok) {
        out.clear();
        out.shrink_to_fit();
    }
    return status;
}

FileStamp stampOf(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0)
        return {};
    return stampFrom(st);
}

std::string resolveLinks(const std::string& path) {
    std::string p = path;
    for (int hops = 0; hops < 40; ++hops) {
        struct stat st {};
        if (::lstat(p.c_str(), &st) != 0 || !S_ISLNK(st.st_mode))
            return p;
        std::string target(std::size_t(st.st_size > 0 ? st.st_size : PATH_MAX) + 1, '\0');
        ssize_t n = ::readlink(p.c_str(), target.data(), target.size());
        if (n < 0)
            return p;
        target.resize(std::size_t(n));
        p = !target.empty() && target[0] == '/' ? target : dirOf(p) + "/" + target;
    }
    return {};
}

Status replaceFile(const std::string& path, const std::string& bytes) {
    std::string target = resolveLinks(path);
    if (target.empty())
        return Status::NotAFile;
    struct stat old {};
    bool exists = ::stat(target.c_str(), &old) == 0;
    if (exists) {
        if (!S_ISREG(old.st_mode))
            return Status::NotAFile;
        // A file without write permission is read-only even to an administrator.
        if ((old.st_mode & 0222) == 0 || ::access(target.c_str(), W_OK) != 0)
            return Status::FileReadOnly;
    } else if (errno != ENOENT) {
        return Status::WriteFailed;
    }

    std::string dir = dirOf(target);
    std::string tmp = dir + "/." + baseOf(target) + ".lmsave-XXXXXX";
    int fd = ::mkstemp(tmp.data());
    if (fd < 0)
        return Status::WriteFailed;
    bool ok = writeAll(fd, bytes) && ::fsync(fd) == 0;
    bool inPlace = false;
    if (ok && exists) {
        ok = ::fchmod(fd, old.st_mode & 07777) == 0;
        if (ok && (old.st_uid != ::geteuid() || old.st_gid != ::getegid()) &&
            ::fchown(fd, old.st_uid, old.st_gid) != 0)
            inPlace = true; // only the old file itself keeps its owner
        inPlace = inPlace || old.st_nlink > 1;
    } else if (ok) {
        mode_t mask = ::umask(0);
        ::umask(mask);
        ok = ::fchmod(fd, 0666 & ~mask) == 0;
    }
    ::close(fd);
    if (!ok) {
        ::unlink(tmp.c_str());
        return Status::WriteFailed;
    }
    if (inPlace) {
        // The new content is on disk beside it; the room is taken before the old content
        // is cut, so a full disk fails before anything is lost.
        int out = ::open(target.c_str(), O_WRONLY | O_CLOEXEC);
        ok = out >= 0;
        if (ok && bytes.size() > std::size_t(old.st_size))
            ok = ::posix_fallocate(out, 0, off_t(bytes.size())) == 0;
        ok = ok && ::pwrite(out, bytes.data(), bytes.size(), 0) == ssize_t(bytes.size()) &&
             ::ftruncate(out, off_t(bytes.size())) == 0 && ::fsync(out) == 0;
        if (out >= 0)
            ::close(out);
        ::unlink(tmp.c_str());
        return ok ? Status::Ok : Status::WriteFailed;
    }
    if (::rename(tmp.c_str(), target.c_str()) != 0) {
        ::unlink(tmp.c_str());
        return Status::WriteFailed;
    }
    syncDir(dir);
    return Status::Ok;
}

// ---- OwnerFile ----------------------------------------------------------------------

OwnerFile::~OwnerFile() {
    release();
}

std::string OwnerFile::pathFor(const std::string& workbookPath) {
    std::string target = resolveLinks(workbookPath);
    if (target.empty())
        target = workbookPath;
    std::string dir = dirOf(target);
    return (dir == "/" ? dir : dir + "/") + "~$" + baseOf(target);
}

Status OwnerFile::acquire(const std::string& workbookPath, std::wstring& holder) {
    release();
    std::string path = pathFor(workbookPath);
    for (int attempt = 0; attempt < 8; ++attempt) {
        int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0666);
        if (fd < 0) {
            // A folder that is missing or that we may not write to: nobody can save a
            // workbook there, so nobody needs telling.
            if (errno == EACCES || errno == EROFS || errno == EPERM || errno == ENOENT ||
                errno == ENOTDIR)
                return Status::Ok;
            return Status::WriteFailed;
        }
        struct stat st {};
        if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
            ::close(fd);
            return Status::WriteFailed;
        }
        if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
            holder = holderName(fd);
            ::close(fd);
            return Status::Locked;
        }
        // The holder before us may have removed the file between our open and our lock.
        struct stat now {};
        if (::stat(path.c_str(), &now) != 0 || now.st_ino != st.st_ino || now.st_dev != st.st_dev) {
            ::close(fd);
            continue;
        }
        std::string line = userName() + "\n";
        if (::ftruncate(fd, 0) != 0 || ::pwrite(fd, line.data(), line.size(), 0) < 0) {
            ::close(fd);
            return Status::WriteFailed;
        }
        m_fd = fd;
        m_path = path;
        return Status::Ok;
    }
    return Status::WriteFailed;
}

void OwnerFile::release() {
    if (m_fd < 0)
        return;
    // Removed while still locked, so that nobody takes over a file on its way out.
    ::unlink(m_path.c_str());
    ::close(m_fd);
    m_fd = -1;
    m_path.clear();
}

} // namespace spreadsheet
