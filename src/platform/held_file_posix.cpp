#include "held_file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tlv::platform {

HeldFile::HeldFile(std::wstring_view widePath) {
    const std::string path = NativePath(widePath);
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0)
        return;
    link_ = S_ISLNK(st.st_mode);
    fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (fd_ >= 0 && (::fstat(fd_, &st) != 0 || !S_ISREG(st.st_mode))) {
        ::close(fd_);
        fd_ = -1;
    }
}

HeldFile::~HeldFile() {
    if (fd_ >= 0)
        ::close(fd_);
}

std::error_code HeldFile::Stat(FileInfo& info) const {
    info = FileInfo();
    struct stat st {};
    if (fd_ < 0)
        return std::make_error_code(std::errc::bad_file_descriptor);
    if (::fstat(fd_, &st) != 0)
        return std::error_code(errno, std::generic_category());
    info.kind = FileKind::kFile;
    info.size = static_cast<std::int64_t>(st.st_size);
    info.mtimeNs = static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    info.ctimeNs = static_cast<std::int64_t>(st.st_ctim.tv_sec) * 1000000000 + st.st_ctim.tv_nsec;
    info.inode = static_cast<std::uint64_t>(st.st_ino);
    info.device = static_cast<std::uint64_t>(st.st_dev);
    info.links = static_cast<std::uint64_t>(st.st_nlink);
    info.mode = static_cast<std::uint32_t>(st.st_mode & 07777);
    return {};
}

std::error_code HeldFile::ReadAll(std::string& bytes) const {
    bytes.clear();
    if (fd_ < 0)
        return std::make_error_code(std::errc::bad_file_descriptor);
    char chunk[65536];
    for (off_t at = 0;;) {
        const ssize_t n = ::pread(fd_, chunk, sizeof chunk, at);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return std::error_code(errno, std::generic_category());
        }
        if (n == 0)
            return {};
        bytes.append(chunk, static_cast<std::size_t>(n));
        at += n;
    }
}

} // namespace tlv::platform
