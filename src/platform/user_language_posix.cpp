#include "user_language.h"

#include "console.h"

namespace tlv::platform {

// POSIX precedence for message catalogues: LC_ALL, then LC_MESSAGES, then LANG.
std::vector<std::wstring> UserUILanguages() {
    std::wstring value;
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        value = GetEnvironment(name);
        if (!value.empty())
            break;
    }
    // "de_DE.UTF-8@euro" -> "de_DE", "de"
    const std::size_t cut = value.find_first_of(L".@");
    if (cut != std::wstring::npos)
        value.resize(cut);
    std::vector<std::wstring> out;
    if (value.empty() || value == L"C" || value == L"POSIX")
        return out;
    out.push_back(value);
    const std::size_t us = value.find(L'_');
    if (us != std::wstring::npos)
        out.push_back(value.substr(0, us));
    return out;
}

} // namespace tlv::platform
