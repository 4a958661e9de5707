// The framework's files and file dialogs: a line-oriented text file whose failures are
// file exceptions, and the common save and open dialogs.
#pragma once

#include <cstdio>
#include <ctime>

#include "afxdisp.h"
#include "afxwin.h"

#define OFN_OVERWRITEPROMPT 0x00000002L
#define OFN_HIDEREADONLY 0x00000004L
#define OFN_FILEMUSTEXIST 0x00001000L

class CFileException : public CException {
public:
    enum {
        none = 0,
        genericException = 1,
        fileNotFound = 2,
        badPath = 3,
        tooManyOpenFiles = 4,
        accessDenied = 5,
        invalidFile = 6,
        diskFull = 14,
        endOfFile = 15
    };
    CFileException() = default;
    CFileException(int cause, long osError, const wchar_t* fileName)
        : m_cause(cause), m_lOsError(osError), m_strFileName(fileName) {}
    // The framework's text of the cause, naming the file.
    BOOL GetErrorMessage(LPTSTR error, UINT maxError, UINT* helpContext = nullptr) const override;

    int m_cause = none;
    long m_lOsError = 0;
    CString m_strFileName;
};

// A moment as the C runtime counts it, read in local time.
class CTime {
public:
    CTime() = default;
    explicit CTime(std::time_t time) : m_time(time) {}
    static CTime GetCurrentTime() { return CTime(std::time(nullptr)); }
    std::time_t GetTime() const { return m_time; }
    int GetYear() const;
    int GetMonth() const;
    int GetDay() const;
    int GetHour() const;
    int GetMinute() const;
    int GetSecond() const;

private:
    std::time_t m_time = 0;
};

// What CFile::GetStatus tells of a file.
struct CFileStatus {
    CTime m_ctime;
    CTime m_atime;
    CTime m_mtime;
    long long m_size = 0;
    BYTE m_attribute = 0;
    wchar_t m_szFullName[MAX_PATH] = {0};
};

class CFile {
public:
    // The file's times, size and full name; FALSE when there is no such file.
    static BOOL GetStatus(const wchar_t* fileName, CFileStatus& status);

    enum OpenFlags : UINT {
        modeRead = 0x0000,
        modeWrite = 0x0001,
        modeReadWrite = 0x0002,
        modeCreate = 0x1000,
        modeNoTruncate = 0x2000,
        typeText = 0x4000,
        typeBinary = 0x8000
    };
};

// A text file read and written line by line in the platform's narrow encoding (UTF-8 here;
// bytes that are not UTF-8 read as U+FFFD). Only regular files open: a directory, a pipe or
// a device is refused at once, so that nothing waits on a writer that never comes.
class CStdioFile : public CFile {
public:
    CStdioFile() = default;
    ~CStdioFile();
    CStdioFile(const CStdioFile&) = delete;
    CStdioFile& operator=(const CStdioFile&) = delete;

    // FALSE, with the cause in `error` when one is given, if the file cannot be opened.
    BOOL Open(const wchar_t* fileName, UINT openFlags, CFileException* error = nullptr);
    // Writes the text; "\n" ends a line. A failure throws a CFileException*.
    void WriteString(const wchar_t* text);
    // The next line without its end; FALSE at the end of the file.
    BOOL ReadString(CString& line);
    // Closes the file; a failure to write what was buffered throws a CFileException*.
    void Close();

    CString GetFilePath() const { return m_strFileName; }

private:
    std::FILE* m_file = nullptr;
    CString m_strFileName;
};

// The common save or open dialog. The user types a path into the file name field (1152) and
// presses the dialog's button, or cancels. A name without an extension gets the default one;
// a save over an existing file asks first when OFN_OVERWRITEPROMPT is given.
class CFileDialog : public CDialog {
public:
    enum { IDC_FILE_NAME = 1152 };
    explicit CFileDialog(BOOL openFileDialog, const wchar_t* defaultExtension = nullptr,
                         const wchar_t* fileName = nullptr,
                         DWORD flags = OFN_HIDEREADONLY | OFN_OVERWRITEPROMPT,
                         const wchar_t* filter = nullptr, CWnd* parent = nullptr, DWORD size = 0,
                         BOOL vistaStyle = TRUE);
    INT_PTR DoModal() override;
    void OnOK() override;
    // The path the user chose, once DoModal ended with IDOK.
    CString GetPathName() const { return m_path; }

    BOOL m_bOpenFileDialog;
    DWORD m_flags;

private:
    CString m_defaultExtension;
    CString m_fileName;
    CString m_filter;
    CString m_path;
};
