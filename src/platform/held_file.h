// An open file whose change is checked through its descriptor (a handle on Windows): one
// query of the open file, no path look-up.
// Readers that answer from a cache use it to validate every read cheaply.
#ifndef TLVUTL_PLATFORM_HELD_FILE_H
#define TLVUTL_PLATFORM_HELD_FILE_H

#include "file_system.h"

#include <string>
#include <system_error>

namespace tlv::platform {

class HeldFile {
public:
    // Opens the regular file at path for reading (not inherited by child programs).
    explicit HeldFile(std::wstring_view path);
    ~HeldFile();
    HeldFile(const HeldFile&) = delete;
    HeldFile& operator=(const HeldFile&) = delete;

#ifdef _WIN32
    bool IsOpen() const {
        return handle_ != nullptr;
    }
#else
    bool IsOpen() const {
        return fd_ >= 0;
    }
#endif
    // The path was a symbolic link: the link may be pointed elsewhere while the held file
    // stays as it is, so such paths must be checked by name.
    bool ThroughLink() const {
        return link_;
    }
    // The held file as it is now. info.links is 0 once no name links to it any more:
    // deleted, or replaced by a rename (which is how atomic writers, this library's
    // included, write).
    std::error_code Stat(FileInfo& info) const;
    // The held file's bytes from the start.
    std::error_code ReadAll(std::string& bytes) const;

private:
#ifdef _WIN32
    void* handle_ = nullptr; // the file, open for reading with every sharing mode
#else
    int fd_ = -1;
#endif
    bool link_ = false;
};

} // namespace tlv::platform

#endif
