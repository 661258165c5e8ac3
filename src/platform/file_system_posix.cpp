#include "file_system.h"
#include "temporary_name.h"

#include <tlvutl/encoding.h>

#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tlv::platform {
namespace {

std::error_code LastErrno() {
    return std::error_code(errno, std::generic_category());
}

std::error_code Errc(std::errc e) {
    return std::make_error_code(e);
}

FileKind KindOf(mode_t mode) {
    if (S_ISREG(mode))
        return FileKind::kFile;
    if (S_ISDIR(mode))
        return FileKind::kDirectory;
    if (S_ISLNK(mode))
        return FileKind::kLink;
    return FileKind::kOther;
}

std::int64_t Nanoseconds(const timespec& t) {
    return static_cast<std::int64_t>(t.tv_sec) * 1000000000 + t.tv_nsec;
}

// Retries a call that a signal interrupted.
template <typename F> auto Retry(F f) {
    for (;;) {
        auto r = f();
        if (r >= 0 || errno != EINTR)
            return r;
    }
}

std::error_code WriteAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return LastErrno();
        }
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return {};
}

std::error_code SyncFolder(const std::string& folder) {
    const int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir < 0)
        return LastErrno();
    std::error_code ec;
    if (::fsync(dir) != 0 && errno != EINVAL) // some file systems cannot sync a folder
        ec = LastErrno();
    ::close(dir);
    return ec;
}

std::string NativeParent(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Creates path + "." + six random letters and digits with O_EXCL, so the kernel applies the
// process's umask to 0666 and no other writer can share the name.
int CreateSibling(const std::string& path, std::string& name) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        name = path + '.' + TemporarySuffix<char>(static_cast<std::uint64_t>(::getpid()));
        const int fd = Retry(
            [&] { return ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666); });
        if (fd >= 0 || errno != EEXIST)
            return fd;
    }
    errno = EEXIST;
    return -1;
}

} // namespace

// ---- Paths -------------------------------------------------------------------------------

std::wstring JoinPath(std::wstring_view base, std::wstring_view sub) {
    std::wstring joined(base);
    if (!sub.empty() && sub.front() == kPathSeparator) {
        joined = sub; // an absolute sub stands for itself
    } else if (!sub.empty()) {
        if (!joined.empty() && joined.back() != kPathSeparator && sub.front() != kPathSeparator)
            joined += kPathSeparator;
        joined += sub;
    }
    const bool absolute = !joined.empty() && joined.front() == kPathSeparator;
    std::vector<std::wstring_view> steps;
    std::wstring_view rest(joined);
    while (!rest.empty()) {
        const std::size_t slash = rest.find(kPathSeparator);
        const std::wstring_view step = rest.substr(0, slash);
        rest = slash == std::wstring_view::npos ? std::wstring_view() : rest.substr(slash + 1);
        if (step.empty() || step == L".")
            continue;
        if (step == L".." && !steps.empty() && steps.back() != L"..") {
            steps.pop_back();
            continue;
        }
        if (step == L".." && absolute)
            continue; // "/.." is "/"
        steps.push_back(step);
    }
    std::wstring out = absolute ? std::wstring(1, kPathSeparator) : std::wstring();
    for (std::size_t i = 0; i < steps.size(); ++i) {
        if (i)
            out += kPathSeparator;
        out += steps[i];
    }
    return out;
}

std::wstring ParentPath(std::wstring_view path) {
    while (path.size() > 1 && path.back() == kPathSeparator)
        path.remove_suffix(1);
    const std::size_t slash = path.find_last_of(kPathSeparator);
    if (slash == std::wstring_view::npos)
        return L".";
    return slash == 0 ? std::wstring(1, kPathSeparator) : std::wstring(path.substr(0, slash));
}

std::wstring FileName(std::wstring_view path) {
    while (path.size() > 1 && path.back() == kPathSeparator)
        path.remove_suffix(1);
    const std::size_t slash = path.find_last_of(kPathSeparator);
    return std::wstring(slash == std::wstring_view::npos ? path : path.substr(slash + 1));
}

// ---- What is there -----------------------------------------------------------------------

std::error_code Stat(std::wstring_view path, FileInfo& info, bool followLinks) {
    info = FileInfo();
    struct stat st {};
    const std::string native = NativePath(path);
    if ((followLinks ? ::stat(native.c_str(), &st) : ::lstat(native.c_str(), &st)) != 0)
        return LastErrno();
    info.kind = KindOf(st.st_mode);
    info.size = static_cast<std::int64_t>(st.st_size);
    info.mtimeNs = Nanoseconds(st.st_mtim);
    info.ctimeNs = Nanoseconds(st.st_ctim);
    info.inode = static_cast<std::uint64_t>(st.st_ino);
    info.device = static_cast<std::uint64_t>(st.st_dev);
    info.links = static_cast<std::uint64_t>(st.st_nlink);
    info.mode = static_cast<std::uint32_t>(st.st_mode & 07777);
    return {};
}

bool Exists(std::wstring_view path) {
    FileInfo info;
    return !Stat(path, info);
}

bool IsDirectory(std::wstring_view path) {
    FileInfo info;
    return !Stat(path, info) && info.kind == FileKind::kDirectory;
}

bool IsRegularFile(std::wstring_view path) {
    FileInfo info;
    return !Stat(path, info) && info.kind == FileKind::kFile;
}

std::error_code CanonicalPath(std::wstring_view path, std::wstring& canonical) {
    canonical.clear();
    const std::string native = NativePath(path);
    char* resolved = ::realpath(native.c_str(), nullptr);
    if (!resolved)
        return LastErrno();
    canonical = WidePath(resolved);
    std::free(resolved);
    return {};
}

std::error_code ListDirectory(std::wstring_view folder, std::vector<DirEntry>& entries) {
    entries.clear();
    DIR* dir = ::opendir(NativePath(folder).c_str());
    if (!dir)
        return LastErrno();
    std::error_code ec;
    for (;;) {
        errno = 0;
        const dirent* e = ::readdir(dir);
        if (!e) {
            if (errno)
                ec = LastErrno();
            break;
        }
        const std::string_view name(e->d_name);
        if (name == "." || name == "..")
            continue;
        DirEntry entry;
        entry.name = WidePath(name);
        switch (e->d_type) {
        case DT_REG:
            entry.kind = FileKind::kFile;
            break;
        case DT_DIR:
            entry.kind = FileKind::kDirectory;
            break;
        case DT_LNK:
            entry.kind = FileKind::kLink;
            break;
        case DT_UNKNOWN: { // some file systems do not fill the type in
            FileInfo info;
            Stat(JoinPath(folder, entry.name), info, false);
            entry.kind = info.kind;
            break;
        }
        default:
            entry.kind = FileKind::kOther;
        }
        entries.push_back(std::move(entry));
    }
    ::closedir(dir);
    return ec;
}

// ---- Changing the tree -------------------------------------------------------------------

std::error_code CreateDirectories(std::wstring_view folder, std::uint32_t mode) {
    std::string native = NativePath(folder);
    while (native.size() > 1 && native.back() == '/')
        native.pop_back();
    if (native.empty())
        return Errc(std::errc::invalid_argument);
    struct stat st {};
    if (::stat(native.c_str(), &st) == 0)
        return S_ISDIR(st.st_mode) ? std::error_code() : Errc(std::errc::not_a_directory);
    // Create the missing folders from the top down.
    std::size_t from = 1;
    for (;;) {
        const std::size_t slash = native.find('/', from);
        const std::string step = native.substr(0, slash);
        if (::mkdir(step.c_str(), static_cast<mode_t>(mode)) != 0 && errno != EEXIST)
            return LastErrno();
        if (errno == EEXIST && ::stat(step.c_str(), &st) == 0 && !S_ISDIR(st.st_mode))
            return Errc(std::errc::not_a_directory);
        if (slash == std::string::npos)
            return {};
        from = slash + 1;
    }
}

std::error_code SetPermissions(std::wstring_view path, std::uint32_t mode) {
    if (::chmod(NativePath(path).c_str(), static_cast<mode_t>(mode)) != 0)
        return LastErrno();
    return {};
}

std::error_code CopyFile(std::wstring_view from, std::wstring_view to) {
    File in;
    if (const std::error_code ec = in.Open(from, File::Mode::kRead))
        return ec;
    File out;
    if (const std::error_code ec = out.Open(to, File::Mode::kWrite))
        return ec;
    char chunk[65536];
    for (;;) {
        std::size_t n = 0;
        if (const std::error_code ec = in.Read(chunk, sizeof chunk, n))
            return ec;
        if (n == 0)
            break;
        if (const std::error_code ec = out.Write(chunk, n))
            return ec;
    }
    return out.Close();
}

std::error_code CreateFolderLink(std::wstring_view target, std::wstring_view link) {
    if (::symlink(NativePath(target).c_str(), NativePath(link).c_str()) != 0)
        return LastErrno();
    return {};
}

std::error_code Remove(std::wstring_view path) {
    const std::string native = NativePath(path);
    if (::unlink(native.c_str()) == 0 || errno == ENOENT)
        return {};
    if ((errno == EISDIR || errno == EPERM) && ::rmdir(native.c_str()) == 0)
        return {};
    return LastErrno();
}

std::error_code Rename(std::wstring_view from, std::wstring_view to) {
    if (::rename(NativePath(from).c_str(), NativePath(to).c_str()) != 0)
        return LastErrno();
    return {};
}

// ---- Contents ----------------------------------------------------------------------------

std::error_code ReadWholeFile(std::wstring_view path, std::string& bytes) {
    bytes.clear();
    File f;
    if (const std::error_code ec = f.Open(path, File::Mode::kRead))
        return ec;
    FileInfo info;
    if (!Stat(path, info) && info.size > 0)
        bytes.reserve(static_cast<std::size_t>(info.size));
    char chunk[65536];
    for (;;) {
        std::size_t n = 0;
        if (const std::error_code ec = f.Read(chunk, sizeof chunk, n))
            return ec;
        if (n == 0)
            return {};
        bytes.append(chunk, n);
    }
}

std::error_code WriteFileAtomically(std::wstring_view widePath, std::string_view bytes) {
    const std::string path = NativePath(widePath);
    std::string temp;
    const int fd = CreateSibling(path, temp);
    if (fd < 0)
        return LastErrno();
    // A replaced file keeps its permissions; a new one has 0666 less the umask already.
    struct stat st {};
    std::error_code ec;
    if (::stat(path.c_str(), &st) == 0 && ::fchmod(fd, st.st_mode & 07777) != 0)
        ec = LastErrno();
    if (!ec)
        ec = WriteAll(fd, bytes.data(), bytes.size());
    if (!ec && ::fsync(fd) != 0)
        ec = LastErrno();
    if (::close(fd) != 0 && !ec)
        ec = LastErrno();
    if (!ec && ::rename(temp.c_str(), path.c_str()) != 0)
        ec = LastErrno();
    if (ec) {
        ::unlink(temp.c_str());
        return ec;
    }
    // The rename itself must reach the disk too.
    SyncFolder(NativeParent(path));
    return {};
}

int RemoveStaleTemporaries(std::wstring_view widePath) {
    const std::string path = NativePath(widePath);
    const std::size_t slash = path.rfind('/');
    const std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
    const std::string folder = NativeParent(path);
    const int dirFd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd < 0)
        return 0;
    DIR* dir = ::fdopendir(dirFd);
    if (!dir) {
        ::close(dirFd);
        return 0;
    }
    int removed = 0;
    while (const dirent* e = ::readdir(dir)) {
        const std::string_view name(e->d_name);
        if (!IsTemporaryName<char>(base, name))
            continue;
        struct stat st {};
        if (::fstatat(dirFd, e->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(st.st_mode))
            continue;
        if (::unlinkat(dirFd, e->d_name, 0) == 0)
            ++removed;
    }
    ::closedir(dir); // closes dirFd too
    return removed;
}

std::error_code CreateTempFile(std::string_view prefix, std::string_view suffix,
                               std::wstring& path) {
    path.clear();
    const char* dir = std::getenv("TMPDIR");
    std::string folder = dir && *dir ? dir : "/tmp";
    if (folder.back() != '/')
        folder += '/';
    std::string name = folder;
    name.append(prefix).append("XXXXXX").append(suffix);
    const int fd = ::mkostemps(name.data(), static_cast<int>(suffix.size()), O_CLOEXEC);
    if (fd < 0)
        return LastErrno();
    ::close(fd);
    path = WidePath(name);
    return {};
}

// ---- File --------------------------------------------------------------------------------

File::File(File&& other) noexcept : fd_(other.fd_) {
    other.fd_ = -1;
}

File& File::operator=(File&& other) noexcept {
    if (this != &other) {
        Close();
        fd_ = other.fd_;
        other.fd_ = -1;
    }
    return *this;
}

std::error_code File::Open(std::wstring_view path, Mode mode) {
    Close();
    int flags = O_CLOEXEC;
    switch (mode) {
    case Mode::kRead:
        flags |= O_RDONLY;
        break;
    case Mode::kWrite:
        flags |= O_WRONLY | O_CREAT | O_TRUNC;
        break;
    case Mode::kReadWrite:
        flags |= O_RDWR;
        break;
    case Mode::kCreateNew:
        flags |= O_WRONLY | O_CREAT | O_EXCL;
        break;
    }
    const std::string native = NativePath(path);
    const int fd = Retry([&] { return ::open(native.c_str(), flags, 0666); });
    if (fd < 0)
        return LastErrno();
    struct stat st {};
    if (::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
        ::close(fd);
        return Errc(std::errc::is_a_directory);
    }
    fd_ = fd;
    return {};
}

std::error_code File::Read(void* buffer, std::size_t size, std::size_t& read) {
    read = 0;
    const ssize_t n = Retry([&] { return ::read(fd_, buffer, size); });
    if (n < 0)
        return LastErrno();
    read = static_cast<std::size_t>(n);
    return {};
}

std::error_code File::Write(const void* data, std::size_t size) {
    return WriteAll(fd_, static_cast<const char*>(data), size);
}

std::error_code File::Seek(std::int64_t offset, int whence, std::int64_t& position) {
    const int how = whence == 0 ? SEEK_SET : whence == 1 ? SEEK_CUR : SEEK_END;
    const off_t at = ::lseek(fd_, static_cast<off_t>(offset), how);
    if (at < 0)
        return LastErrno();
    position = static_cast<std::int64_t>(at);
    return {};
}

std::error_code File::Sync() {
    if (::fsync(fd_) != 0)
        return LastErrno();
    return {};
}

std::error_code File::Close() {
    if (fd_ < 0)
        return {};
    const int fd = fd_;
    fd_ = -1;
    if (::close(fd) != 0)
        return LastErrno();
    return {};
}

// ---- Locks -------------------------------------------------------------------------------

namespace {
// The folders whose lock this thread holds, with how many PathLocks share each. flock()
// locks of one process through two descriptors exclude each other, so a second lock of
// the same folder on the same thread would wait forever.
thread_local std::vector<std::pair<std::string, int>> t_heldFolders;
} // namespace

PathLock::PathLock(std::wstring_view path) : folder_(NativeParent(NativePath(path))) {
    for (auto& held : t_heldFolders)
        if (held.first == folder_) {
            ++held.second;
            nested_ = true;
            return;
        }
    const int fd = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        error_ = LastErrno();
        return;
    }
    if (Retry([&] { return ::flock(fd, LOCK_EX); }) != 0) {
        error_ = LastErrno();
        ::close(fd);
        return;
    }
    fd_ = fd;
    t_heldFolders.emplace_back(folder_, 1);
}

PathLock::~PathLock() {
    if (!nested_ && fd_ < 0)
        return;
    for (auto it = t_heldFolders.begin(); it != t_heldFolders.end(); ++it)
        if (it->first == folder_) {
            if (--it->second == 0)
                t_heldFolders.erase(it);
            break;
        }
    if (fd_ >= 0)
        ::close(fd_); // releases the lock
}

bool PathLock::Locked() const {
    return fd_ >= 0 || nested_;
}

// ---- Errors ------------------------------------------------------------------------------

DWORD Win32Error(const std::error_code& error, std::wstring_view path) {
    if (!error)
        return 0;
    if (error.category() != std::generic_category() && error.category() != std::system_category())
        return 31; // ERROR_GEN_FAILURE
    switch (error.value()) {
    case ENOENT:
        // A missing folder on the way is ERROR_PATH_NOT_FOUND, as Windows tells them apart.
        if (!path.empty() && !IsDirectory(ParentPath(path)))
            return 3;
        return 2; // ERROR_FILE_NOT_FOUND
    case ENOTDIR:
        return 3; // ERROR_PATH_NOT_FOUND
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
        return 5; // ERROR_ACCESS_DENIED
    case EEXIST:
        return 80; // ERROR_FILE_EXISTS
    case ENOSPC:
    case EDQUOT:
        return 112; // ERROR_DISK_FULL
    case ENOMEM:
        return 8; // ERROR_NOT_ENOUGH_MEMORY
    case ENAMETOOLONG:
        return 206; // ERROR_FILENAME_EXCED_RANGE
    case EMFILE:
    case ENFILE:
        return 4; // ERROR_TOO_MANY_OPEN_FILES
    case EBUSY:
    case ETXTBSY:
        return 32; // ERROR_SHARING_VIOLATION
    case EINVAL:
        return 87; // ERROR_INVALID_PARAMETER
    default:
        return 31; // ERROR_GEN_FAILURE
    }
}

std::string Describe(const std::error_code& error, std::wstring_view path) {
    if (!error)
        return "success";
    if (error.category() == std::generic_category() || error.category() == std::system_category()) {
        switch (error.value()) {
        case ENOENT:
            return !path.empty() && !IsDirectory(ParentPath(path)) ? "no such folder"
                                                                   : "no such file";
        case ENOTDIR:
            return "no such folder";
        case EACCES:
        case EPERM:
            return "permission denied";
        case EROFS:
            return "read-only file system";
        case EISDIR:
            return "is a folder";
        case EEXIST:
            return "already exists";
        case ENOSPC:
        case EDQUOT:
            return "no space left";
        case ENAMETOOLONG:
            return "name too long";
        default:
            break;
        }
    }
    return error.message();
}

} // namespace tlv::platform
