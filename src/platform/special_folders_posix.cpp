#include "special_folders.h"

#include "console.h"

#include <tlvutl/encoding.h>

#include <fstream>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tlv::platform {
namespace {

std::wstring Home() {
    std::wstring home = GetEnvironment("HOME");
    if (home.empty())
        if (const passwd* pw = getpwuid(getuid()); pw && pw->pw_dir)
            home = TlvUtils::FromUtf8(pw->pw_dir);
    return home;
}

std::wstring ConfigHome() {
    const std::wstring v = GetEnvironment("XDG_CONFIG_HOME");
    return !v.empty() && v[0] == L'/' ? v : Home() + L"/.config";
}

// One entry of user-dirs.dirs: XDG_DOCUMENTS_DIR="$HOME/Documents".
std::wstring UserDir(const char* key, const wchar_t* fallback) {
    std::ifstream in(TlvUtils::ToUtf8(ConfigHome() + L"/user-dirs.dirs"));
    const std::string prefix = std::string(key) + "=";
    for (std::string line; std::getline(in, line);) {
        if (line.rfind(prefix, 0) != 0)
            continue;
        std::string v = line.substr(prefix.size());
        if (v.size() >= 2 && v.front() == '"' && v.back() == '"')
            v = v.substr(1, v.size() - 2);
        std::wstring w = TlvUtils::FromUtf8(v);
        if (w.rfind(L"$HOME", 0) == 0)
            w = Home() + w.substr(5);
        if (!w.empty() && w[0] == L'/')
            return w;
    }
    return Home() + L"/" + fallback;
}

} // namespace

std::wstring RoamingAppDataFolder() {
    return ConfigHome();
}

std::wstring DocumentsFolder() {
    return UserDir("XDG_DOCUMENTS_DIR", L"Documents");
}

std::wstring PublicDocumentsFolder() {
    const std::wstring v = GetEnvironment("TLV_PUBLIC_DOCUMENTS");
    return !v.empty() ? v : UserDir("XDG_PUBLICSHARE_DIR", L"Public");
}

bool MakeWritableByOwner(const std::wstring& path) {
    const std::string p = TlvUtils::ToUtf8(path);
    struct stat st {};
    if (::stat(p.c_str(), &st) != 0)
        return false;
    return (st.st_mode & S_IWUSR) || ::chmod(p.c_str(), (st.st_mode & 07777) | S_IWUSR) == 0;
}

} // namespace tlv::platform
