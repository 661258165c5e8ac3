// Uniquely named files in the user's temporary folder.
#ifndef TLVUTL_PLATFORM_TEMP_FILE_H
#define TLVUTL_PLATFORM_TEMP_FILE_H

#include <string>

namespace tlv::platform {

// Creates a new empty file named prefix + a unique part + suffix in the temporary folder
// ($TMPDIR, else /tmp), readable by the user only. Empty (and error set) on failure.
std::wstring CreateTempFile(const std::string& prefix, const std::string& suffix,
                            std::string& error);
// Removes the file; false when it could not be removed (a missing file counts as removed).
bool RemoveFile(const std::wstring& path);

} // namespace tlv::platform

#endif
