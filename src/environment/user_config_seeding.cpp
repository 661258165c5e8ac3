#include "user_config_seeding.h"

#include "platform/file_system.h"

namespace tlv::environment {

void SeedUserConfig(const std::wstring& userConfig, const std::wstring& installConfig) {
    if (installConfig.empty() || platform::Exists(platform::JoinPath(userConfig, L"talvoapp.ini")))
        return;
    // Installed files are often read-only; the tree copy makes the user's copies editable.
    // (The archive attribute the Windows build also sets has no POSIX counterpart.)
    platform::CopyTree(installConfig, userConfig);
}

} // namespace tlv::environment
