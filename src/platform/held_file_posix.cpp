#include "held_file.h"

#include <tlvutl/encoding.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tlv::platform {

HeldFile::HeldFile(const std::wstring& widePath) {
    const std::string path = TlvUtils::ToUtf8(widePath);
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

FileStamp HeldFile::Stamp() const {
    struct stat st {};
    FileStamp s;
    if (fd_ < 0 || ::fstat(fd_, &st) != 0 || st.st_nlink == 0)
        return s;
    s.exists = true;
    s.mtimeNs = static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    s.ctimeNs = static_cast<std::int64_t>(st.st_ctim.tv_sec) * 1000000000 + st.st_ctim.tv_nsec;
    s.size = static_cast<std::int64_t>(st.st_size);
    s.inode = static_cast<std::uint64_t>(st.st_ino);
    s.device = static_cast<std::uint64_t>(st.st_dev);
    return s;
}

bool HeldFile::ReadAll(std::string& bytes) const {
    bytes.clear();
    if (fd_ < 0)
        return false;
    char chunk[65536];
    for (off_t at = 0;;) {
        const ssize_t n = ::pread(fd_, chunk, sizeof chunk, at);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        if (n == 0)
            return true;
        bytes.append(chunk, static_cast<std::size_t>(n));
        at += n;
    }
}

} // namespace tlv::platform
