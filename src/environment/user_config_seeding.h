// The first use of the per-user configuration folder copies the installation's.
#ifndef TLVUTL_ENVIRONMENT_USER_CONFIG_SEEDING_H
#define TLVUTL_ENVIRONMENT_USER_CONFIG_SEEDING_H

#include <string>

namespace tlv::environment {

// When userConfig holds no "talvoapp.ini", copies installConfig into it recursively, with
// overwrite, and makes every copied file writable by the user. A file that fails to copy is
// skipped.
void SeedUserConfig(const std::wstring& userConfig, const std::wstring& installConfig);

} // namespace tlv::environment

#endif
