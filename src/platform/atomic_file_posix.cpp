#include "atomic_file.h"

#include <tlvutl/encoding.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tlv::platform {
namespace {

std::string Reason(const std::string& what, const std::string& path) {
    return what + " " + path + ": " + std::strerror(errno);
}

bool WriteAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::write(fd, bytes.data(), bytes.size());
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

std::string DirectoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

} // namespace

FileStamp StatFile(std::wstring_view path) {
    struct stat st {};
    FileStamp s;
    if (::stat(TlvUtils::ToUtf8(path).c_str(), &st) != 0 || !S_ISREG(st.st_mode))
        return s;
    s.exists = true;
    s.mtimeNs = static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    s.ctimeNs = static_cast<std::int64_t>(st.st_ctim.tv_sec) * 1000000000 + st.st_ctim.tv_nsec;
    s.size = static_cast<std::int64_t>(st.st_size);
    s.inode = static_cast<std::uint64_t>(st.st_ino);
    s.device = static_cast<std::uint64_t>(st.st_dev);
    return s;
}

PathLock::PathLock(const std::wstring& widePath) {
    const std::string path = TlvUtils::ToUtf8(widePath);
    for (int attempt = 0; attempt < 1000; ++attempt) {
        const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        if (fd < 0)
            return;
        while (::flock(fd, LOCK_EX) != 0) {
            if (errno != EINTR) {
                ::close(fd);
                return;
            }
        }
        // Still the file at the path? A writer may have renamed a new one over it while we
        // waited; then our lock guards nothing.
        struct stat held {
        }, current{};
        if (::fstat(fd, &held) == 0 && ::stat(path.c_str(), &current) == 0 &&
            held.st_ino == current.st_ino && held.st_dev == current.st_dev) {
            fd_ = fd;
            return;
        }
        ::close(fd);
    }
}

PathLock::~PathLock() {
    if (fd_ >= 0)
        ::close(fd_); // releases the lock
}

bool ReadWholeFile(const std::wstring& widePath, std::string& bytes, std::string& error) {
    const std::string path = TlvUtils::ToUtf8(widePath);
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = Reason("cannot open", path);
        return false;
    }
    struct stat st {};
    if (::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
        ::close(fd);
        errno = EISDIR;
        error = Reason("cannot read", path);
        return false;
    }
    bytes.clear();
    if (st.st_size > 0)
        bytes.reserve(static_cast<std::size_t>(st.st_size));
    char chunk[65536];
    for (;;) {
        const ssize_t n = ::read(fd, chunk, sizeof chunk);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            error = Reason("cannot read", path);
            ::close(fd);
            return false;
        }
        if (n == 0)
            break;
        bytes.append(chunk, static_cast<std::size_t>(n));
    }
    ::close(fd);
    return true;
}

bool WriteFileAtomically(const std::wstring& widePath, std::string_view bytes, std::string& error) {
    const std::string path = TlvUtils::ToUtf8(widePath);
    std::string temp = path + ".XXXXXX";
    const int fd = ::mkostemp(temp.data(), O_CLOEXEC);
    if (fd < 0) {
        error = Reason("cannot create a file beside", path);
        return false;
    }
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0) {
        ::fchmod(fd, st.st_mode & 07777);
    } else {
        const mode_t mask = ::umask(0);
        ::umask(mask);
        ::fchmod(fd, 0666 & ~mask);
    }
    if (!WriteAll(fd, bytes) || ::fsync(fd) != 0) {
        error = Reason("cannot write", temp);
        ::close(fd);
        ::unlink(temp.c_str());
        return false;
    }
    if (::close(fd) != 0) {
        error = Reason("cannot write", temp);
        ::unlink(temp.c_str());
        return false;
    }
    if (::rename(temp.c_str(), path.c_str()) != 0) {
        error = Reason("cannot replace", path);
        ::unlink(temp.c_str());
        return false;
    }
    // The rename itself must reach the disk too.
    const int dir = ::open(DirectoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
    return true;
}

} // namespace tlv::platform
