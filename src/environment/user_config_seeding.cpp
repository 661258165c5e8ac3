#include "user_config_seeding.h"

#include "platform/special_folders.h"

#include <tlvutl/encoding.h>

#include <filesystem>

namespace tlv::environment {
namespace {

namespace fs = std::filesystem;

void CopyTree(const fs::path& from, const fs::path& to) {
    std::error_code ec;
    for (fs::directory_iterator it(from, ec), end; !ec && it != end; it.increment(ec)) {
        const fs::path target = to / it->path().filename();
        if (it->is_directory(ec)) {
            fs::create_directories(target, ec);
            CopyTree(it->path(), target);
            continue;
        }
        std::error_code copyError;
        fs::copy_file(it->path(), target, fs::copy_options::overwrite_existing, copyError);
        if (copyError)
            continue;
        // Installed files are often read-only; the user's copy must be editable. (The archive
        // attribute the Windows build also sets has no POSIX counterpart.)
        tlv::platform::MakeWritableByOwner(TlvUtils::FromUtf8(target.string()));
    }
}

} // namespace

void SeedUserConfig(const std::wstring& userConfig, const std::wstring& installConfig) {
    std::error_code ec;
    // UTF-8 paths: std::filesystem's own wide conversion throws on non-ASCII characters.
    const fs::path user(TlvUtils::ToUtf8(userConfig));
    if (fs::exists(user / "talvoapp.ini", ec) || installConfig.empty())
        return;
    CopyTree(fs::path(TlvUtils::ToUtf8(installConfig)), user);
}

} // namespace tlv::environment
