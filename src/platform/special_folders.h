// The user's special folders as the desktop defines them (XDG on POSIX, shell folders on
// Windows). Paths are absolute, without a trailing separator; empty when unknown.
#ifndef TLVUTL_PLATFORM_SPECIAL_FOLDERS_H
#define TLVUTL_PLATFORM_SPECIAL_FOLDERS_H

#include <string>

namespace tlv::platform {

std::wstring RoamingAppDataFolder();
std::wstring DocumentsFolder();
std::wstring PublicDocumentsFolder();
// Where programs keep the user's data files: $XDG_DATA_HOME, else ~/.local/share.
std::wstring DataHomeFolder();

} // namespace tlv::platform

#endif
