// The user's special folders as the desktop defines them (XDG on POSIX, shell folders on
// Windows). Paths are absolute, without a trailing separator; empty when unknown.
#ifndef TLVUTL_PLATFORM_SPECIAL_FOLDERS_H
#define TLVUTL_PLATFORM_SPECIAL_FOLDERS_H

#include <string>

namespace tlv::platform {

std::wstring RoamingAppDataFolder();
std::wstring DocumentsFolder();
std::wstring PublicDocumentsFolder();
// Makes the file writable by its owner (the read-only fix-up of files copied from an
// installation); false when that failed.
bool MakeWritableByOwner(const std::wstring& path);

} // namespace tlv::platform

#endif
