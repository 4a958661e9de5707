// The workbook's file on disk: read once through one open file, replaced safely, and the
// owner file that tells two editors of one workbook of each other.
#pragma once

#include "spreadsheet/Workbook.h"

#include <cstdint>
#include <string>

namespace spreadsheet {

// What identifies one version of a file: a save by anyone else changes it.
struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t size = -1;
    std::int64_t modifiedNs = 0;
    bool operator==(const FileStamp&) const = default;
};

// Reads a regular file through one descriptor, never more than `maxBytes` (TooLarge past
// it). Anything that is not a regular file is FileNotFound.
Status readWorkbookFile(const std::string& path, std::size_t maxBytes, std::string& out,
                        FileStamp& stamp);

// The stamp of the file at `path` now, following links; size -1 when there is none.
FileStamp stampOf(const std::string& path);

// The file a path stands for: symbolic links followed to their target, which may not exist
// yet. Empty when the links loop.
std::string resolveLinks(const std::string& path);

// Writes `bytes` as the new content of `path`: through symbolic links to their target, via
// a temporary file of a unique name beside it that is renamed over it, keeping the old
// file's mode and owner. A hard-linked file, or one whose owner cannot be kept, is
// rewritten in place once the new content is safely on disk. Refuses anything that is not
// a regular file (NotAFile) and a file without write permission (FileReadOnly).
Status replaceFile(const std::string& path, const std::string& bytes);

// The owner file "~$name" beside a workbook, held open and locked while a workbook is open
// for editing. A lock that nobody holds is stale and taken over.
class OwnerFile {
public:
    OwnerFile() = default;
    ~OwnerFile();
    OwnerFile(const OwnerFile&) = delete;
    OwnerFile& operator=(const OwnerFile&) = delete;

    // Ok and held, or Locked with `holder` naming who has the workbook open.
    Status acquire(const std::string& workbookPath, std::wstring& holder);
    void release();
    bool held() const { return m_fd >= 0; }

    // "~$book.xlsx" beside "book.xlsx".
    static std::string pathFor(const std::string& workbookPath);

private:
    int m_fd = -1;
    std::string m_path;
};

} // namespace spreadsheet
