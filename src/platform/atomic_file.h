// Whole-file reads and crash-safe whole-file writes.
#ifndef TLVUTL_PLATFORM_ATOMIC_FILE_H
#define TLVUTL_PLATFORM_ATOMIC_FILE_H

#include <string>
#include <string_view>

namespace tlv::platform {

// The file's bytes; false with a message (naming the system's reason) when it cannot be read.
bool ReadWholeFile(const std::wstring& path, std::string& bytes, std::string& error);

// Replaces the file's content so that a crash or power loss at any moment leaves either the
// old file or the new one: the bytes go to a new file beside it, are flushed to the disk,
// and the new file is renamed over the old one. A new file gets the usual permissions
// (0666 less the umask); a replaced one keeps its own.
bool WriteFileAtomically(const std::wstring& path, std::string_view bytes, std::string& error);

} // namespace tlv::platform

#endif
