// The file system as the library needs it, on wide paths.
//
// Every path is a wide string as the public functions take it. The POSIX backend hands the
// kernel the path's UTF-8 bytes (lone surrogates kept as WTF-8, so any name read from the
// disk comes back unchanged); nothing goes through the C or C++ locale, which would turn an
// accented or CJK name into an exception or a wrong file under LANG=C. A Windows backend
// passes the same strings to the wide Win32 calls.
//
// Failures are std::error_code values: errno values on POSIX, Win32 codes in the system
// category on Windows. Win32Error() maps
// one to the Win32 code the public functions leave in the last error, Describe() to the few
// words a user reads ("no such folder", "permission denied").
//
// Nothing outside src/platform/ touches files by path any other way.
#ifndef TLVUTL_PLATFORM_FILE_SYSTEM_H
#define TLVUTL_PLATFORM_FILE_SYSTEM_H

#include <tlvutl/wintypes.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace tlv::platform {

// ---- Paths -------------------------------------------------------------------------------

// The separator of this platform's paths. The Windows backend also accepts '/' wherever a
// path is read.
#ifdef _WIN32
inline constexpr wchar_t kPathSeparator = L'\\';
#else
inline constexpr wchar_t kPathSeparator = L'/';
#endif

// A path's UTF-8 bytes: what the POSIX kernel is given, and what libraries that take narrow
// file names (libxml2 widens them again on Windows) are given.
std::string NativePath(std::wstring_view path);
// A path as the operating system returned it, widened.
std::wstring WidePath(std::string_view native);

// base and sub joined with one separator (an absolute sub replaces base), "." and ".."
// steps folded lexically (as far as they go: a leading ".." of a relative path stays), no
// trailing separator. Touches no file.
std::wstring JoinPath(std::wstring_view base, std::wstring_view sub);
// The folder part of a path ("." when there is none) and the last step.
std::wstring ParentPath(std::wstring_view path);
std::wstring FileName(std::wstring_view path);

// ---- What is there -----------------------------------------------------------------------

enum class FileKind { kNone, kFile, kDirectory, kLink, kOther };

struct FileInfo {
    FileKind kind = FileKind::kNone;
    std::int64_t size = 0;
    std::int64_t mtimeNs = 0; // last change of the content
    std::int64_t ctimeNs = 0; // last change of the content or of the entry
    std::uint64_t inode = 0;
    std::uint64_t device = 0;
    std::uint64_t links = 0; // names linking to it: 0 once an open file was deleted or replaced
    std::uint32_t mode = 0;  // permission bits
};

// Follows links unless followLinks is false (then a link answers kLink). A missing entry is
// an error (no_such_file_or_directory) with info.kind kNone.
std::error_code Stat(std::wstring_view path, FileInfo& info, bool followLinks = true);
bool Exists(std::wstring_view path);
bool IsDirectory(std::wstring_view path);
bool IsRegularFile(std::wstring_view path);
// Both paths name one existing file or folder.
bool SameFile(std::wstring_view a, std::wstring_view b);
// The absolute path of an existing entry with every link, "." and ".." resolved, so that
// whether a file lies inside a folder can be decided by comparing the two strings.
std::error_code CanonicalPath(std::wstring_view path, std::wstring& canonical);

struct DirEntry {
    std::wstring name;               // the last step only
    FileKind kind = FileKind::kNone; // of the entry itself: a link is kLink
};
// The entries of a folder, without "." and "..", in no particular order.
std::error_code ListDirectory(std::wstring_view folder, std::vector<DirEntry>& entries);

// ---- Changing the tree -------------------------------------------------------------------

// Creates the folder and every missing folder above it; success when it already exists.
std::error_code CreateDirectories(std::wstring_view folder, std::uint32_t mode = 0777);
// Sets the permission bits of an existing entry.
std::error_code SetPermissions(std::wstring_view path, std::uint32_t mode);
// Makes an existing file writable by its owner (installed files are often read-only).
std::error_code MakeWritableByOwner(std::wstring_view path);
// Copies the files and folders under from into to, creating folders as needed and
// replacing files of the same name. Copies are writable by their owner. Links are copied as
// the files they point at. The first failure is returned; the copy goes on past it.
std::error_code CopyTree(std::wstring_view from, std::wstring_view to);
// Copies one file, replacing the target.
std::error_code CopyFile(std::wstring_view from, std::wstring_view to);
// A link at link that leads to the folder target (a symbolic link here, a shell link in the
// Windows build). Fails with file_exists when something is at link already.
std::error_code CreateFolderLink(std::wstring_view target, std::wstring_view link);
// Removes a file or an empty folder; a missing one counts as removed.
std::error_code Remove(std::wstring_view path);
// Renames, replacing a file at to.
std::error_code Rename(std::wstring_view from, std::wstring_view to);

// ---- Contents ----------------------------------------------------------------------------

// The file's bytes (a folder fails with is_a_directory).
std::error_code ReadWholeFile(std::wstring_view path, std::string& bytes);

// Replaces the file's content so that a crash or power loss at any moment leaves either the
// old file or the new one: the bytes go to a new file beside it (a unique name, so writers
// never share one), are flushed to the disk, and the new file is renamed over the old one,
// whose permissions it takes; a new file gets 0666 less the umask. The folder must exist.
std::error_code WriteFileAtomically(std::wstring_view path, std::string_view bytes);

// Removes the files WriteFileAtomically left beside path when its writer was killed before
// the rename: path + "." + six letters and digits. Call it only while holding the PathLock of
// path, which every writer of path holds: no temporary found then is still being written.
// Six letters all of one case ("x.ini.backup") are taken for a file of the user's and kept,
// at the cost of leaving the rare temporary named so. Returns how many were removed.
int RemoveStaleTemporaries(std::wstring_view path);

// Creates a new empty file named prefix + a unique part + suffix in the temporary folder
// ($TMPDIR, else /tmp), readable by the user only; its path goes to path.
std::error_code CreateTempFile(std::string_view prefix, std::string_view suffix,
                               std::wstring& path);

// An open file. Movable, not copyable; closes itself.
class File {
public:
    enum class Mode {
        kRead,      // an existing file, from its start
        kWrite,     // created or truncated
        kReadWrite, // an existing file
        kCreateNew, // created, failing with file_exists when something is there already
    };
    File() = default;
    ~File();
    File(File&& other) noexcept;
    File& operator=(File&& other) noexcept;
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    std::error_code Open(std::wstring_view path, Mode mode);
    bool IsOpen() const { return fd_ != kNoFile; }
    // Reads up to size bytes; read is how many came (0 at the end).
    std::error_code Read(void* buffer, std::size_t size, std::size_t& read);
    // Writes all the bytes or fails.
    std::error_code Write(const void* data, std::size_t size);
    // whence: 0 from the start, 1 from the current position, 2 from the end.
    std::error_code Seek(std::int64_t offset, int whence, std::int64_t& position);
    // Pushes the bytes to the disk.
    std::error_code Sync();
    std::error_code Close();

private:
#ifdef _WIN32
    using Descriptor = void*; // a HANDLE
    static constexpr Descriptor kNoFile = nullptr;
#else
    using Descriptor = int;
    static constexpr Descriptor kNoFile = -1;
#endif
    Descriptor fd_ = kNoFile;
};

// ---- Locks between processes -------------------------------------------------------------

// Holds an exclusive lock tied to a file's path for its lifetime, for read-modify-write
// cycles of files that several processes share. The lock is taken on the file's folder, so
// taking it never creates the target and a file that is replaced (renamed over) or created
// meanwhile is still guarded; it serialises writers of files in one folder, which is cheap
// for settings files. Fails (Locked() false, Error() set) when the folder is missing.
// A thread that already holds the lock of a folder may take it again (the inner lock only
// counts), so a read-modify-write can hold it while a save inside takes it too.
class PathLock {
public:
    explicit PathLock(std::wstring_view path);
    ~PathLock();
    PathLock(const PathLock&) = delete;
    PathLock& operator=(const PathLock&) = delete;
    bool Locked() const;
    const std::error_code& Error() const { return error_; }

private:
#ifdef _WIN32
    void* handle_ = nullptr; // the lock file, open without sharing
#else
    int fd_ = -1;
#endif
    bool nested_ = false;
    std::string folder_;
    std::error_code error_;
};

// ---- Errors ------------------------------------------------------------------------------

// The Win32 error a failure stands for (ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND when the
// folder of path is missing, ERROR_ACCESS_DENIED, ...). 0 for no error.
DWORD Win32Error(const std::error_code& error, std::wstring_view path = {});
// A few words for a user: "no such file", "no such folder", "permission denied", ...
std::string Describe(const std::error_code& error, std::wstring_view path = {});

} // namespace tlv::platform

#endif
