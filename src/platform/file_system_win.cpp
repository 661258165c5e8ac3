// The file system on the wide Win32 calls. Paths go to the system as they are (UTF-16);
// '/' and '\' both separate steps. Failures are Win32 codes in the system category.
#include "file_system.h"
#include "temporary_name.h"
#include "thread_slot.h"

#include <tlvutl/encoding.h>

#include <windows.h>

#include <cerrno>
#include <cwctype>
#include <utility>
#include <vector>

namespace tlv::platform {
namespace {

std::error_code Win32(DWORD code) {
    return std::error_code(static_cast<int>(code), std::system_category());
}

std::error_code LastWin32() {
    return Win32(::GetLastError());
}

bool IsSeparator(wchar_t c) {
    return c == L'\\' || c == L'/';
}

std::wstring Str(std::wstring_view v) {
    return std::wstring(v);
}

// "C:", "\\server\share" or "\": the part of an absolute path that ".." never removes.
std::size_t RootLength(std::wstring_view p) {
    if (p.size() >= 2 && p[1] == L':' && std::iswalpha(p[0]))
        return p.size() >= 3 && IsSeparator(p[2]) ? 3 : 2;
    if (p.size() >= 2 && IsSeparator(p[0]) && IsSeparator(p[1])) {
        std::size_t at = 2, parts = 0;
        while (at < p.size() && parts < 2) {
            while (at < p.size() && !IsSeparator(p[at]))
                ++at;
            ++parts;
            if (parts < 2 && at < p.size())
                ++at;
        }
        return at;
    }
    return !p.empty() && IsSeparator(p[0]) ? 1 : 0;
}

std::int64_t Ticks(const FILETIME& t) {
    return static_cast<std::int64_t>((static_cast<std::uint64_t>(t.dwHighDateTime) << 32) |
                                     t.dwLowDateTime);
}

// File times count 100 ns since 1601; the library's nanosecond times count from 1970.
std::int64_t UnixNanoseconds(const FILETIME& t) {
    return (Ticks(t) - 116444736000000000LL) * 100;
}

FileKind KindOfAttributes(DWORD attributes) {
    if (attributes & FILE_ATTRIBUTE_REPARSE_POINT)
        return FileKind::kLink;
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) ? FileKind::kDirectory : FileKind::kFile;
}

} // namespace

// ---- Paths -------------------------------------------------------------------------------

std::wstring JoinPath(std::wstring_view base, std::wstring_view sub) {
    std::wstring joined(base);
    if (RootLength(sub) > 0) {
        joined = sub; // an absolute sub stands for itself
    } else if (!sub.empty()) {
        if (!joined.empty() && !IsSeparator(joined.back()) && joined.back() != L':')
            joined += kPathSeparator;
        joined += sub;
    }
    const std::size_t rootLength = RootLength(joined);
    std::wstring out = joined.substr(0, rootLength);
    for (wchar_t& c : out)
        if (c == L'/')
            c = kPathSeparator;
    const bool absolute = rootLength > 0;
    std::vector<std::wstring_view> steps;
    std::wstring_view rest = std::wstring_view(joined).substr(rootLength);
    while (!rest.empty()) {
        std::size_t slash = 0;
        while (slash < rest.size() && !IsSeparator(rest[slash]))
            ++slash;
        const std::wstring_view step = rest.substr(0, slash);
        rest = slash >= rest.size() ? std::wstring_view() : rest.substr(slash + 1);
        if (step.empty() || step == L".")
            continue;
        if (step == L".." && !steps.empty() && steps.back() != L"..") {
            steps.pop_back();
            continue;
        }
        if (step == L".." && absolute)
            continue;
        steps.push_back(step);
    }
    for (std::size_t i = 0; i < steps.size(); ++i) {
        if (i || (!out.empty() && !IsSeparator(out.back()) && out.back() != L':'))
            out += kPathSeparator;
        out += steps[i];
    }
    return out;
}

std::wstring ParentPath(std::wstring_view path) {
    const std::size_t root = RootLength(path);
    while (path.size() > root && path.size() > 1 && IsSeparator(path.back()))
        path.remove_suffix(1);
    std::size_t slash = path.size();
    while (slash > root && !IsSeparator(path[slash - 1]))
        --slash;
    if (slash == 0)
        return L".";
    if (slash <= root)
        return Str(path.substr(0, root));
    return Str(path.substr(0, slash - 1));
}

std::wstring FileName(std::wstring_view path) {
    while (path.size() > 1 && IsSeparator(path.back()))
        path.remove_suffix(1);
    std::size_t slash = path.size();
    while (slash > 0 && !IsSeparator(path[slash - 1]))
        --slash;
    return Str(path.substr(slash));
}

// ---- What is there -----------------------------------------------------------------------

std::error_code Stat(std::wstring_view path, FileInfo& info, bool followLinks) {
    info = FileInfo();
    const std::wstring p(path);
    DWORD flags = FILE_FLAG_BACKUP_SEMANTICS; // folders open too
    if (!followLinks)
        flags |= FILE_FLAG_OPEN_REPARSE_POINT;
    HANDLE h = ::CreateFileW(p.c_str(), FILE_READ_ATTRIBUTES,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                             OPEN_EXISTING, flags, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        return LastWin32();
    BY_HANDLE_FILE_INFORMATION bhi{};
    const BOOL ok = ::GetFileInformationByHandle(h, &bhi);
    const std::error_code ec = ok ? std::error_code() : LastWin32();
    ::CloseHandle(h);
    if (ec)
        return ec;
    info.kind = followLinks && (bhi.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT)
                    ? ((bhi.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) ? FileKind::kDirectory
                                                                         : FileKind::kFile)
                    : KindOfAttributes(bhi.dwFileAttributes);
    info.size = (static_cast<std::int64_t>(bhi.nFileSizeHigh) << 32) | bhi.nFileSizeLow;
    info.mtimeNs = UnixNanoseconds(bhi.ftLastWriteTime);
    info.ctimeNs = info.mtimeNs;
    info.inode = (static_cast<std::uint64_t>(bhi.nFileIndexHigh) << 32) | bhi.nFileIndexLow;
    info.device = bhi.dwVolumeSerialNumber;
    info.links = bhi.nNumberOfLinks;
    // Windows keeps one read-only bit; the permission bits say what it allows.
    info.mode = (bhi.dwFileAttributes & FILE_ATTRIBUTE_READONLY) ? 0444 : 0666;
    if (info.kind == FileKind::kDirectory)
        info.mode |= 0111;
    return {};
}

bool Exists(std::wstring_view path) {
    return ::GetFileAttributesW(Str(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool IsDirectory(std::wstring_view path) {
    const DWORD a = ::GetFileAttributesW(Str(path).c_str());
    return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY);
}

bool IsRegularFile(std::wstring_view path) {
    const DWORD a = ::GetFileAttributesW(Str(path).c_str());
    return a != INVALID_FILE_ATTRIBUTES && !(a & FILE_ATTRIBUTE_DIRECTORY);
}

std::error_code CanonicalPath(std::wstring_view path, std::wstring& canonical) {
    canonical.clear();
    // The handle's final path resolves links and junctions as the system follows them.
    HANDLE h =
        ::CreateFileW(Str(path).c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                      nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        return LastWin32();
    std::wstring buffer(MAX_PATH, L'\0');
    DWORD n = ::GetFinalPathNameByHandleW(h, buffer.data(), static_cast<DWORD>(buffer.size()),
                                          FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
    if (n >= buffer.size()) { // too small: n is the size needed, with the NUL
        buffer.assign(n, L'\0');
        n = ::GetFinalPathNameByHandleW(h, buffer.data(), static_cast<DWORD>(buffer.size()),
                                        FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
    }
    const std::error_code ec = n == 0 || n >= buffer.size() ? LastWin32() : std::error_code();
    ::CloseHandle(h);
    if (ec)
        return ec;
    buffer.resize(n);
    // "\\?\C:\x" is given back as "C:\x", "\\?\UNC\server\share" as "\\server\share",
    // so that the result compares with paths callers build themselves.
    std::wstring_view v(buffer);
    if (v.substr(0, 8) == L"\\\\?\\UNC\\")
        canonical = L"\\" + std::wstring(v.substr(7));
    else if (v.substr(0, 4) == L"\\\\?\\")
        canonical = std::wstring(v.substr(4));
    else
        canonical = std::wstring(v);
    return {};
}

std::error_code ListDirectory(std::wstring_view folder, std::vector<DirEntry>& entries) {
    entries.clear();
    std::wstring pattern(folder);
    if (!pattern.empty() && !IsSeparator(pattern.back()))
        pattern += kPathSeparator;
    pattern += L'*';
    WIN32_FIND_DATAW data{};
    HANDLE h = ::FindFirstFileExW(pattern.c_str(), FindExInfoBasic, &data, FindExSearchNameMatch,
                                  nullptr, 0);
    if (h == INVALID_HANDLE_VALUE) {
        const DWORD e = ::GetLastError();
        // An existing empty folder has no entries; a missing one is an error.
        return e == ERROR_FILE_NOT_FOUND && IsDirectory(folder) ? std::error_code() : Win32(e);
    }
    std::error_code ec;
    do {
        const std::wstring_view name(data.cFileName);
        if (name == L"." || name == L"..")
            continue;
        entries.push_back({Str(name), KindOfAttributes(data.dwFileAttributes)});
    } while (::FindNextFileW(h, &data));
    if (::GetLastError() != ERROR_NO_MORE_FILES)
        ec = LastWin32();
    ::FindClose(h);
    return ec;
}

// ---- Changing the tree -------------------------------------------------------------------

std::error_code CreateDirectories(std::wstring_view folder, std::uint32_t) {
    std::wstring path(folder);
    const std::size_t root = RootLength(path);
    while (path.size() > root && path.size() > 1 && IsSeparator(path.back()))
        path.pop_back();
    if (path.empty())
        return Win32(ERROR_INVALID_PARAMETER);
    const DWORD a = ::GetFileAttributesW(path.c_str());
    if (a != INVALID_FILE_ATTRIBUTES)
        return (a & FILE_ATTRIBUTE_DIRECTORY) ? std::error_code() : Win32(ERROR_DIRECTORY);
    // Create the missing folders from the top down.
    std::size_t from = root;
    for (;;) {
        std::size_t slash = from;
        while (slash < path.size() && !IsSeparator(path[slash]))
            ++slash;
        const std::wstring step = path.substr(0, slash);
        if (!step.empty() && step.size() > root && !::CreateDirectoryW(step.c_str(), nullptr)) {
            const DWORD e = ::GetLastError();
            if (e != ERROR_ALREADY_EXISTS)
                return Win32(e);
            if (!IsDirectory(step))
                return Win32(ERROR_DIRECTORY);
        }
        if (slash >= path.size())
            return {};
        from = slash + 1;
    }
}

std::error_code SetPermissions(std::wstring_view path, std::uint32_t mode) {
    const std::wstring p(path);
    DWORD a = ::GetFileAttributesW(p.c_str());
    if (a == INVALID_FILE_ATTRIBUTES)
        return LastWin32();
    a = (mode & 0222) ? (a & ~DWORD{FILE_ATTRIBUTE_READONLY}) : (a | FILE_ATTRIBUTE_READONLY);
    if (!::SetFileAttributesW(p.c_str(), a ? a : FILE_ATTRIBUTE_NORMAL))
        return LastWin32();
    return {};
}

std::error_code CopyFile(std::wstring_view from, std::wstring_view to) {
    if (!::CopyFileW(Str(from).c_str(), Str(to).c_str(), FALSE))
        return LastWin32();
    return {};
}

std::error_code Remove(std::wstring_view path) {
    const std::wstring p(path);
    if (::DeleteFileW(p.c_str()))
        return {};
    DWORD e = ::GetLastError();
    if (e == ERROR_FILE_NOT_FOUND || e == ERROR_PATH_NOT_FOUND)
        return {};
    if (e == ERROR_ACCESS_DENIED && IsDirectory(p)) {
        if (::RemoveDirectoryW(p.c_str()))
            return {};
        e = ::GetLastError();
    }
    return Win32(e);
}

std::error_code Rename(std::wstring_view from, std::wstring_view to) {
    if (!::MoveFileExW(Str(from).c_str(), Str(to).c_str(),
                       MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        return LastWin32();
    return {};
}

// ---- Contents ----------------------------------------------------------------------------

std::error_code ReadWholeFile(std::wstring_view path, std::string& bytes) {
    bytes.clear();
    if (IsDirectory(path))
        return Win32(ERROR_ACCESS_DENIED);
    File f;
    if (const std::error_code ec = f.Open(path, File::Mode::kRead))
        return ec;
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
    const std::wstring path(widePath);
    std::wstring temp;
    File f;
    std::error_code ec;
    for (int attempt = 0; attempt < 100; ++attempt) {
        temp = path + L'.' + TemporarySuffix<wchar_t>(::GetCurrentProcessId());
        ec = f.Open(temp, File::Mode::kCreateNew);
        if (!ec || Win32Error(ec) != ERROR_FILE_EXISTS)
            break;
    }
    if (ec)
        return ec;
    ec = f.Write(bytes.data(), bytes.size());
    if (!ec)
        ec = f.Sync();
    if (const std::error_code closed = f.Close(); !ec)
        ec = closed;
    // A replaced file keeps its read-only bit.
    const DWORD old = ::GetFileAttributesW(path.c_str());
    if (!ec && old != INVALID_FILE_ATTRIBUTES && (old & FILE_ATTRIBUTE_READONLY)) {
        ::SetFileAttributesW(path.c_str(), old & ~DWORD{FILE_ATTRIBUTE_READONLY});
        ::SetFileAttributesW(temp.c_str(), FILE_ATTRIBUTE_READONLY);
    }
    // While another writer's replacement of the same file is still being completed, the
    // system refuses a second one (access denied, or a sharing violation while a reader has
    // it open); that passes within moments, so the rename is tried again for up to a second.
    for (int attempt = 0; !ec; ++attempt) {
        ec = Rename(temp, path);
        const DWORD error = ec ? Win32Error(ec) : ERROR_SUCCESS;
        if (attempt >= 200 || (error != ERROR_ACCESS_DENIED && error != ERROR_SHARING_VIOLATION))
            break;
        ec.clear();
        ::Sleep(attempt < 20 ? 0 : 5);
    }
    if (ec) {
        ::DeleteFileW(temp.c_str());
        return ec;
    }
    return {};
}

int RemoveStaleTemporaries(std::wstring_view widePath) {
    const std::wstring path(widePath);
    std::size_t cut = path.size();
    while (cut > 0 && !IsSeparator(path[cut - 1]) && path[cut - 1] != L':')
        --cut;
    const std::wstring base = path.substr(cut);
    const std::wstring folder = ParentPath(path);
    // Only names of the temporary's length come back: base, a dot and six characters.
    const std::wstring pattern = JoinPath(folder, base + L".??????");
    WIN32_FIND_DATAW found{};
    HANDLE find = ::FindFirstFileW(pattern.c_str(), &found);
    if (find == INVALID_HANDLE_VALUE)
        return 0;
    int removed = 0;
    do {
        const std::wstring_view name(found.cFileName);
        // The system matches case-insensitively and "?" may match nothing at the end.
        if (!IsTemporaryName<wchar_t>(base, name))
            continue;
        if (found.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT))
            continue;
        if (::DeleteFileW(JoinPath(folder, name).c_str()))
            ++removed;
    } while (::FindNextFileW(find, &found));
    ::FindClose(find);
    return removed;
}

std::error_code CreateTempFile(std::string_view prefix, std::string_view suffix,
                               std::wstring& path) {
    path.clear();
    wchar_t folder[MAX_PATH + 1];
    const DWORD n = ::GetTempPathW(MAX_PATH + 1, folder);
    if (n == 0 || n > MAX_PATH)
        return LastWin32();
    const std::wstring base = std::wstring(folder, n) + TlvUtils::FromUtf8(prefix);
    const std::wstring tail = TlvUtils::FromUtf8(suffix);
    std::error_code ec;
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::wstring name = base + TemporarySuffix<wchar_t>(::GetCurrentProcessId()) + tail;
        File f;
        ec = f.Open(name, File::Mode::kCreateNew);
        if (!ec) {
            path = name;
            return f.Close();
        }
        if (Win32Error(ec) != ERROR_FILE_EXISTS)
            break;
    }
    return ec;
}

// ---- File --------------------------------------------------------------------------------

File::File(File&& other) noexcept : fd_(other.fd_) {
    other.fd_ = kNoFile;
}

File& File::operator=(File&& other) noexcept {
    if (this != &other) {
        Close();
        fd_ = other.fd_;
        other.fd_ = kNoFile;
    }
    return *this;
}

std::error_code File::Open(std::wstring_view path, Mode mode) {
    Close();
    DWORD access = GENERIC_READ, disposition = OPEN_EXISTING;
    switch (mode) {
    case Mode::kRead:
        break;
    case Mode::kWrite:
        access = GENERIC_WRITE;
        disposition = CREATE_ALWAYS;
        break;
    case Mode::kReadWrite:
        access = GENERIC_READ | GENERIC_WRITE;
        break;
    case Mode::kCreateNew:
        access = GENERIC_READ | GENERIC_WRITE;
        disposition = CREATE_NEW;
        break;
    }
    // Others may read, write, rename and delete meanwhile, as on POSIX.
    HANDLE h = ::CreateFileW(Str(path).c_str(), access,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                             disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        return LastWin32();
    fd_ = h;
    return {};
}

std::error_code File::Read(void* buffer, std::size_t size, std::size_t& read) {
    read = 0;
    if (!IsOpen())
        return Win32(ERROR_INVALID_HANDLE);
    DWORD n = 0;
    const DWORD want = size > 0x40000000 ? 0x40000000 : static_cast<DWORD>(size);
    if (!::ReadFile(fd_, buffer, want, &n, nullptr))
        return LastWin32();
    read = n;
    return {};
}

std::error_code File::Write(const void* data, std::size_t size) {
    if (!IsOpen())
        return Win32(ERROR_INVALID_HANDLE);
    const char* p = static_cast<const char*>(data);
    while (size > 0) {
        const DWORD chunk = size > 0x40000000 ? 0x40000000 : static_cast<DWORD>(size);
        DWORD n = 0;
        if (!::WriteFile(fd_, p, chunk, &n, nullptr))
            return LastWin32();
        p += n;
        size -= n;
    }
    return {};
}

std::error_code File::Seek(std::int64_t offset, int whence, std::int64_t& position) {
    if (!IsOpen())
        return Win32(ERROR_INVALID_HANDLE);
    LARGE_INTEGER to, at;
    to.QuadPart = offset;
    const DWORD method = whence == 0 ? FILE_BEGIN : whence == 1 ? FILE_CURRENT : FILE_END;
    if (whence < 0 || whence > 2)
        return Win32(ERROR_INVALID_PARAMETER);
    if (!::SetFilePointerEx(fd_, to, &at, method))
        return LastWin32();
    position = at.QuadPart;
    return {};
}

std::error_code File::Sync() {
    if (!IsOpen())
        return Win32(ERROR_INVALID_HANDLE);
    if (!::FlushFileBuffers(fd_))
        return LastWin32();
    return {};
}

std::error_code File::Close() {
    if (!IsOpen())
        return {};
    HANDLE h = fd_;
    fd_ = kNoFile;
    if (!::CloseHandle(h))
        return LastWin32();
    return {};
}

// ---- Locks between processes -------------------------------------------------------------

namespace {
// The folders whose lock this thread holds, with how many PathLocks share each. A second
// LockFileEx of the same range through another handle waits even in the same process.
std::vector<std::pair<std::string, int>>& HeldFolders() {
    static PerThread<std::vector<std::pair<std::string, int>>> held;
    return held.Get();
}
} // namespace

PathLock::PathLock(std::wstring_view path) {
    const std::wstring folder = ParentPath(path);
    folder_ = NativePath(folder);
    auto& heldFolders = HeldFolders();
    for (auto& held : heldFolders)
        if (held.first == folder_) {
            ++held.second;
            nested_ = true;
            return;
        }
    if (!IsDirectory(folder)) {
        error_ = Win32(ERROR_PATH_NOT_FOUND);
        return;
    }
    // A byte-range lock on a hidden file of the folder; LockFileEx waits for the holder.
    const std::wstring lockFile = JoinPath(folder, L".tlvutl.lock");
    HANDLE h = ::CreateFileW(lockFile.c_str(), GENERIC_READ | GENERIC_WRITE,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                             OPEN_ALWAYS, FILE_ATTRIBUTE_HIDDEN, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        error_ = LastWin32();
        return;
    }
    OVERLAPPED o{};
    if (!::LockFileEx(h, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &o)) {
        error_ = LastWin32();
        ::CloseHandle(h);
        return;
    }
    handle_ = h;
    heldFolders.emplace_back(folder_, 1);
}

PathLock::~PathLock() {
    if (!nested_ && !handle_)
        return;
    auto& heldFolders = HeldFolders();
    for (auto it = heldFolders.begin(); it != heldFolders.end(); ++it)
        if (it->first == folder_) {
            if (--it->second == 0)
                heldFolders.erase(it);
            break;
        }
    if (handle_) {
        OVERLAPPED o{};
        ::UnlockFileEx(handle_, 0, 1, 0, &o);
        ::CloseHandle(handle_);
    }
}

bool PathLock::Locked() const {
    return handle_ != nullptr || nested_;
}

// ---- Errors ------------------------------------------------------------------------------

DWORD Win32Error(const std::error_code& error, std::wstring_view path) {
    if (!error)
        return 0;
    if (error.category() == std::system_category()) {
        const DWORD code = static_cast<DWORD>(error.value());
        if (code == ERROR_FILE_NOT_FOUND && !path.empty() && !IsDirectory(ParentPath(path)))
            return ERROR_PATH_NOT_FOUND;
        return code;
    }
    if (error.category() != std::generic_category())
        return ERROR_GEN_FAILURE;
    // Errors the library makes itself from std::errc.
    switch (error.value()) {
    case ENOENT:
        return !path.empty() && !IsDirectory(ParentPath(path)) ? ERROR_PATH_NOT_FOUND
                                                               : ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
        return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
        return ERROR_ACCESS_DENIED;
    case EEXIST:
        return ERROR_FILE_EXISTS;
    case ENOSPC:
        return ERROR_DISK_FULL;
    case ENOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    case ENAMETOOLONG:
        return ERROR_FILENAME_EXCED_RANGE;
    case EINVAL:
        return ERROR_INVALID_PARAMETER;
    default:
        return ERROR_GEN_FAILURE;
    }
}

std::string Describe(const std::error_code& error, std::wstring_view path) {
    if (!error)
        return "success";
    switch (Win32Error(error, path)) {
    case ERROR_FILE_NOT_FOUND:
        return "no such file";
    case ERROR_PATH_NOT_FOUND:
    case ERROR_DIRECTORY:
        return "no such folder";
    case ERROR_ACCESS_DENIED:
        return IsDirectory(path) ? "is a folder" : "permission denied";
    case ERROR_WRITE_PROTECT:
        return "read-only file system";
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
        return "already exists";
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
        return "no space left";
    case ERROR_FILENAME_EXCED_RANGE:
        return "name too long";
    default:
        return error.message();
    }
}

} // namespace tlv::platform
