// Files that several processes read and rewrite: a stamp that tells whether a file changed,
// an exclusive inter-process lock on a path, and replacement of a file's contents that
// leaves either the old or the new file after a crash, never a torn one.
#ifndef TLVUTL_PLATFORM_ATOMIC_FILE_H
#define TLVUTL_PLATFORM_ATOMIC_FILE_H

#include <cstdint>
#include <string>
#include <string_view>

namespace tlv::platform {

struct FileStamp {
    bool exists = false;
    std::int64_t mtimeNs = 0;
    std::int64_t size = 0;
    std::uint64_t inode = 0;
    std::uint64_t device = 0;
    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

FileStamp StatFile(std::wstring_view path);
// The whole file; false when it cannot be read.
bool ReadFileBytes(const std::wstring& path, std::string& out);

// Holds an exclusive lock on the file at a path (created empty when missing) for its
// lifetime. The lock follows the path, not an old inode: after another process replaced the
// file, locking retries on the new one.
class PathLock {
public:
    explicit PathLock(const std::wstring& path);
    ~PathLock();
    PathLock(const PathLock&) = delete;
    PathLock& operator=(const PathLock&) = delete;
    bool Locked() const { return fd_ >= 0; }

private:
    int fd_ = -1;
};

// Writes bytes to a temporary file beside path, flushes it to disk, gives it the mode of
// the file it replaces and renames it over path. False (path untouched) on failure.
bool ReplaceFileContents(const std::wstring& path, const std::string& bytes);

} // namespace tlv::platform

#endif
