// The held file on a Win32 handle. It is opened with every sharing mode, delete included, so
// that holding it never stops another process from writing or deleting the file; after a
// deletion the handle still reads the old content and its link count says the name is gone.
// A rename over a held file is refused by the system while the handle is open (the name
// stays until the last handle closes), so atomic writers of a held file must close it first.
#include "held_file.h"

#include <windows.h>

namespace tlv::platform {
namespace {

std::error_code LastWin32() {
    return std::error_code(static_cast<int>(::GetLastError()), std::system_category());
}

// File times count 100 ns since 1601; the library's nanosecond times count from 1970.
std::int64_t UnixNanoseconds(const FILETIME& t) {
    const std::int64_t ticks = static_cast<std::int64_t>(
        (static_cast<std::uint64_t>(t.dwHighDateTime) << 32) | t.dwLowDateTime);
    return (ticks - 116444736000000000LL) * 100;
}

} // namespace

HeldFile::HeldFile(std::wstring_view widePath) {
    const std::wstring path(widePath);
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY))
        return;
    link_ = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    // Handles are not inherited unless asked for, so child programs never get this one.
    HANDLE h = ::CreateFileW(path.c_str(), GENERIC_READ,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                             OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        return;
    if (::GetFileType(h) != FILE_TYPE_DISK) {
        ::CloseHandle(h);
        return;
    }
    handle_ = h;
}

HeldFile::~HeldFile() {
    if (handle_)
        ::CloseHandle(static_cast<HANDLE>(handle_));
}

std::error_code HeldFile::Stat(FileInfo& info) const {
    info = FileInfo();
    if (!handle_)
        return std::error_code(ERROR_INVALID_HANDLE, std::system_category());
    BY_HANDLE_FILE_INFORMATION bhi{};
    if (!::GetFileInformationByHandle(static_cast<HANDLE>(handle_), &bhi))
        return LastWin32();
    info.kind = FileKind::kFile;
    info.size = static_cast<std::int64_t>((static_cast<std::uint64_t>(bhi.nFileSizeHigh) << 32) |
                                          bhi.nFileSizeLow);
    info.mtimeNs = UnixNanoseconds(bhi.ftLastWriteTime);
    info.ctimeNs = info.mtimeNs;
    info.inode = (static_cast<std::uint64_t>(bhi.nFileIndexHigh) << 32) | bhi.nFileIndexLow;
    info.device = bhi.dwVolumeSerialNumber;
    info.links = bhi.nNumberOfLinks;
    // A file whose deletion is pending keeps its name until the last handle closes; it is
    // gone for every reader that asks by name, so it counts as unlinked.
    FILE_STANDARD_INFO standard{};
    if (::GetFileInformationByHandleEx(static_cast<HANDLE>(handle_), FileStandardInfo, &standard,
                                       sizeof standard) &&
        standard.DeletePending)
        info.links = 0;
    info.mode = (bhi.dwFileAttributes & FILE_ATTRIBUTE_READONLY) ? 0444 : 0666;
    return {};
}

std::error_code HeldFile::ReadAll(std::string& bytes) const {
    bytes.clear();
    if (!handle_)
        return std::error_code(ERROR_INVALID_HANDLE, std::system_category());
    char chunk[65536];
    for (std::uint64_t at = 0;;) {
        // Positioned reads: the handle's own file pointer is never relied upon.
        OVERLAPPED o{};
        o.Offset = static_cast<DWORD>(at);
        o.OffsetHigh = static_cast<DWORD>(at >> 32);
        DWORD n = 0;
        if (!::ReadFile(static_cast<HANDLE>(handle_), chunk, sizeof chunk, &n, &o)) {
            if (::GetLastError() == ERROR_HANDLE_EOF)
                return {};
            return LastWin32();
        }
        if (n == 0)
            return {};
        bytes.append(chunk, n);
        at += n;
    }
}

} // namespace tlv::platform
