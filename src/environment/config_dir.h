// The installation's configuration folder as the installer recorded it: the value
// "ConfigDir" under HKEY_LOCAL_MACHINE\<product key>.
#ifndef TLVUTL_ENVIRONMENT_CONFIG_DIR_H
#define TLVUTL_ENVIRONMENT_CONFIG_DIR_H

#include <string>

namespace tlv::environment {

// The recorded folder, or empty.
std::wstring ReadConfigDir(const std::wstring& productKey);

} // namespace tlv::environment

#endif
