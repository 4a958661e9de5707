// Text files of the framework over POSIX files, and the reports of their exceptions.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

#include "WideFormat.h"
#include "afxfile.h"

int CException::ReportError(UINT type, UINT) {
    wchar_t text[1024];
    if (!GetErrorMessage(text, 1024))
        return AfxMessageBox(L"No error message is available.", type);
    return AfxMessageBox(text, type);
}

BOOL CFileException::GetErrorMessage(LPTSTR error, UINT maxError, UINT* helpContext) const {
    if (helpContext)
        *helpContext = 0;
    if (!error || maxError == 0)
        return FALSE;
    const wchar_t* name = m_strFileName;
    std::wstring text;
    switch (m_cause) {
    case fileNotFound:
        text = std::wstring(name) + L" was not found.";
        break;
    case badPath:
        text = std::wstring(name) + L" contains an incorrect path.";
        break;
    case accessDenied:
        text = L"Access to " + std::wstring(name) + L" was denied.";
        break;
    case invalidFile:
        text = std::wstring(name) + L" is not a file that can be read or written.";
        break;
    case diskFull:
        text = L"There was not enough space on the disk while writing " + std::wstring(name) + L".";
        break;
    case tooManyOpenFiles:
        text = L"Too many files were open while opening " + std::wstring(name) + L".";
        break;
    default:
        text = L"An unexpected error occurred while accessing " + std::wstring(name) + L".";
        break;
    }
    if (m_lOsError)
        text += L" (" + lmhost::widen(std::strerror(static_cast<int>(m_lOsError))) + L")";
    wcsncpy_s(error, maxError, text.c_str(), maxError - 1);
    return TRUE;
}

namespace {

int causeOf(int osError, bool writing) {
    switch (osError) {
    case ENOENT:
        return writing ? CFileException::badPath : CFileException::fileNotFound;
    case ENOTDIR:
    case ENAMETOOLONG:
    case ELOOP:
        return CFileException::badPath;
    case EACCES:
    case EPERM:
    case EISDIR:
    case EROFS:
        return CFileException::accessDenied;
    case ENOSPC:
        return CFileException::diskFull;
    case EMFILE:
    case ENFILE:
        return CFileException::tooManyOpenFiles;
    default:
        return CFileException::genericException;
    }
}

void fail(CFileException* error, int cause, int osError, const wchar_t* name) {
    if (error) {
        error->m_cause = cause;
        error->m_lOsError = osError;
        error->m_strFileName = name;
    }
}

} // namespace

CStdioFile::~CStdioFile() {
    if (m_file)
        std::fclose(m_file);
}

BOOL CStdioFile::Open(const wchar_t* fileName, UINT openFlags, CFileException* error) {
    if (m_file)
        return FALSE;
    const wchar_t* name = fileName ? fileName : L"";
    bool writing = (openFlags & (modeWrite | modeReadWrite)) != 0;
    std::string path = lmhost::narrow(name);
    if (path.empty()) {
        fail(error, CFileException::badPath, ENOENT, name);
        return FALSE;
    }
    int flags = O_CLOEXEC | O_NONBLOCK | (writing ? O_WRONLY : O_RDONLY);
    if (openFlags & modeCreate)
        flags |= O_CREAT;
    // Without O_NONBLOCK a pipe would wait here for the other end.
    int fd = ::open(path.c_str(), flags, 0666);
    if (fd < 0) {
        int e = errno;
        fail(error, causeOf(e, writing), e, name);
        return FALSE;
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        bool directory = S_ISDIR(info.st_mode);
        ::close(fd);
        fail(error, directory ? CFileException::accessDenied : CFileException::invalidFile, 0,
             name);
        return FALSE;
    }
    if (writing && (openFlags & modeCreate) && !(openFlags & modeNoTruncate) &&
        ::ftruncate(fd, 0) != 0) {
        int e = errno;
        ::close(fd);
        fail(error, causeOf(e, true), e, name);
        return FALSE;
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    m_file = ::fdopen(fd, writing ? "w" : "r");
    if (!m_file) {
        int e = errno;
        ::close(fd);
        fail(error, causeOf(e, writing), e, name);
        return FALSE;
    }
    m_strFileName = name;
    return TRUE;
}

void CStdioFile::WriteString(const wchar_t* text) {
    if (!m_file)
        throw new CFileException(CFileException::genericException, EBADF, m_strFileName);
    std::string bytes = lmhost::narrow(text ? text : L"");
    if (std::fwrite(bytes.data(), 1, bytes.size(), m_file) != bytes.size()) {
        int e = errno;
        throw new CFileException(causeOf(e, true), e, m_strFileName);
    }
}

BOOL CStdioFile::ReadString(CString& line) {
    line.Empty();
    if (!m_file)
        return FALSE;
    char* buffer = nullptr;
    size_t capacity = 0;
    ssize_t length = ::getline(&buffer, &capacity, m_file);
    if (length < 0) {
        std::free(buffer);
        return FALSE;
    }
    std::string bytes(buffer, static_cast<size_t>(length));
    std::free(buffer);
    // A NUL byte ends the text as the framework's strings hold it.
    bytes.resize(std::strlen(bytes.c_str()));
    if (!bytes.empty() && bytes.back() == '\n')
        bytes.pop_back();
    if (!bytes.empty() && bytes.back() == '\r')
        bytes.pop_back();
    line = lmhost::widen(bytes).c_str();
    return TRUE;
}

void CStdioFile::Close() {
    if (!m_file)
        return;
    std::FILE* file = m_file;
    m_file = nullptr;
    if (std::fclose(file) != 0) {
        int e = errno;
        throw new CFileException(causeOf(e, true), e, m_strFileName);
    }
}

// --- file status ---

namespace {

std::tm localOf(std::time_t time) {
    std::tm local{};
    localtime_r(&time, &local);
    return local;
}

} // namespace

int CTime::GetYear() const {
    return localOf(m_time).tm_year + 1900;
}
int CTime::GetMonth() const {
    return localOf(m_time).tm_mon + 1;
}
int CTime::GetDay() const {
    return localOf(m_time).tm_mday;
}
int CTime::GetHour() const {
    return localOf(m_time).tm_hour;
}
int CTime::GetMinute() const {
    return localOf(m_time).tm_min;
}
int CTime::GetSecond() const {
    return localOf(m_time).tm_sec;
}

BOOL CFile::GetStatus(const wchar_t* fileName, CFileStatus& status) {
    if (!fileName || !*fileName)
        return FALSE;
    std::string name = lmhost::narrow(fileName);
    struct stat info {};
    if (::stat(name.c_str(), &info) != 0)
        return FALSE;
    status.m_ctime = CTime(info.st_ctime);
    status.m_atime = CTime(info.st_atime);
    status.m_mtime = CTime(info.st_mtime);
    status.m_size = static_cast<long long>(info.st_size);
    status.m_attribute = S_ISDIR(info.st_mode) ? 0x10 : 0;
    if (::access(name.c_str(), W_OK) != 0)
        status.m_attribute |= 0x01; // read-only
    std::wstring full = fileName;
    if (full[0] != L'/') {
        char here[4096];
        if (::getcwd(here, sizeof here))
            full = lmhost::widen(here) + L"/" + full;
    }
    std::wcsncpy(status.m_szFullName, full.c_str(), MAX_PATH - 1);
    status.m_szFullName[MAX_PATH - 1] = 0;
    return TRUE;
}
