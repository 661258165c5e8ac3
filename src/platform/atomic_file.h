// Files that several processes read and rewrite: whole-file reads, crash-safe whole-file
// writes, a stamp that tells whether a file changed, and an exclusive inter-process lock on a
// path.
#ifndef TLVUTL_PLATFORM_ATOMIC_FILE_H
#define TLVUTL_PLATFORM_ATOMIC_FILE_H

#include <cstdint>
#include <string>
#include <string_view>

namespace tlv::platform {

struct FileStamp {
    bool exists = false;
    std::int64_t mtimeNs = 0;
    std::int64_t ctimeNs = 0; // changes with every write, even one that restores mtime
    std::int64_t size = 0;
    std::uint64_t inode = 0;
    std::uint64_t device = 0;
    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

FileStamp StatFile(std::wstring_view path);

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

// The file's bytes; false with a message (naming the system's reason) when it cannot be read.
bool ReadWholeFile(const std::wstring& path, std::string& bytes, std::string& error);

// Replaces the file's content so that a crash or power loss at any moment leaves either the
// old file or the new one: the bytes go to a new file beside it, are flushed to the disk,
// and the new file is renamed over the old one. A new file gets the usual permissions
// (0666 less the umask); a replaced one keeps its own.
bool WriteFileAtomically(const std::wstring& path, std::string_view bytes, std::string& error);

} // namespace tlv::platform

#endif
