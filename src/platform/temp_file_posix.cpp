#include "temp_file.h"

#include <tlvutl/encoding.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace tlv::platform {

std::wstring CreateTempFile(const std::string& prefix, const std::string& suffix,
                            std::string& error) {
    const char* dir = std::getenv("TMPDIR");
    std::string folder = dir && *dir ? dir : "/tmp";
    if (folder.back() != '/')
        folder += '/';
    std::string name = folder + prefix + "XXXXXX" + suffix;
    const int fd = ::mkostemps(name.data(), static_cast<int>(suffix.size()), O_CLOEXEC);
    if (fd < 0) {
        error = "cannot create a temporary file in " + folder + ": " + std::strerror(errno);
        return std::wstring();
    }
    ::close(fd);
    return TlvUtils::FromUtf8(name);
}

bool RemoveFile(const std::wstring& path) {
    return ::unlink(TlvUtils::ToUtf8(path).c_str()) == 0 || errno == ENOENT;
}

} // namespace tlv::platform
