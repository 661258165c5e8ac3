#include "atomic_file.h"

#include <tlvutl/encoding.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tlv::platform {
namespace {

std::string Narrow(const std::wstring& p) {
    return TlvUtils::ToUtf8(p);
}

bool WriteAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

std::string Directory(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string(".")
                                      : (slash == 0 ? std::string("/") : path.substr(0, slash));
}

} // namespace

FileStamp StatFile(std::wstring_view path) {
    struct stat st {};
    FileStamp s;
    if (::stat(TlvUtils::ToUtf8(path).c_str(), &st) != 0 || !S_ISREG(st.st_mode))
        return s;
    s.exists = true;
    s.mtimeNs = static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    s.size = static_cast<std::int64_t>(st.st_size);
    s.inode = static_cast<std::uint64_t>(st.st_ino);
    s.device = static_cast<std::uint64_t>(st.st_dev);
    return s;
}

bool ReadFileBytes(const std::wstring& path, std::string& out) {
    const int fd = ::open(Narrow(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    out.clear();
    char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            ::close(fd);
            return false;
        }
        if (n == 0)
            break;
        out.append(buffer, static_cast<std::size_t>(n));
    }
    ::close(fd);
    return true;
}

PathLock::PathLock(const std::wstring& wpath) {
    const std::string path = Narrow(wpath);
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

bool ReplaceFileContents(const std::wstring& wpath, const std::string& bytes) {
    const std::string path = Narrow(wpath);
    std::string temp = Directory(path) + "/.tlvutl-XXXXXX";
    const int fd = ::mkstemp(temp.data());
    if (fd < 0)
        return false;
    struct stat st {};
    const mode_t mode = ::stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0644;
    const bool ok =
        WriteAll(fd, bytes.data(), bytes.size()) && ::fchmod(fd, mode) == 0 && ::fsync(fd) == 0;
    ::close(fd);
    if (!ok || ::rename(temp.c_str(), path.c_str()) != 0) {
        ::unlink(temp.c_str());
        return false;
    }
    // The rename itself must reach the disk for the new file to survive a power cut.
    const int dir = ::open(Directory(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
    return true;
}

} // namespace tlv::platform
