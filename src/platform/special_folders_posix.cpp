#include "special_folders.h"

#include "console.h"
#include "file_system.h"

#include <tlvutl/encoding.h>

#include <pwd.h>
#include <unistd.h>

namespace tlv::platform {
namespace {

std::wstring Home() {
    std::wstring home = GetEnvironment("HOME");
    if (home.empty())
        if (const passwd* pw = getpwuid(getuid()); pw && pw->pw_dir)
            home = WidePath(pw->pw_dir);
    return home;
}

// An XDG variable holds an absolute path or is ignored.
std::wstring XdgFolder(const char* variable, const wchar_t* fallback) {
    const std::wstring v = GetEnvironment(variable);
    return !v.empty() && v[0] == L'/' ? v : Home() + fallback;
}

std::wstring ConfigHome() {
    return XdgFolder("XDG_CONFIG_HOME", L"/.config");
}

// One entry of user-dirs.dirs: XDG_DOCUMENTS_DIR="$HOME/Documents".
std::wstring UserDir(const char* key, const wchar_t* fallback) {
    std::string text;
    if (ReadWholeFile(ConfigHome() + L"/user-dirs.dirs", text))
        text.clear();
    const std::string prefix = std::string(key) + "=";
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = text.find('\n', at);
        if (end == std::string::npos)
            end = text.size();
        const std::string_view line(text.data() + at, end - at);
        at = end + 1;
        if (line.rfind(prefix, 0) != 0)
            continue;
        std::string v(line.substr(prefix.size()));
        if (v.size() >= 2 && v.front() == '"' && v.back() == '"')
            v = v.substr(1, v.size() - 2);
        std::wstring w = WidePath(v);
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

std::wstring DataHomeFolder() {
    return XdgFolder("XDG_DATA_HOME", L"/.local/share");
}

} // namespace tlv::platform
