#include "user_language.h"

#include <windows.h>

namespace tlv::platform {

// The user's preferred interface languages ("pt-BR") as language folder names ("pt_BR"),
// each followed by its neutral language ("pt").
std::vector<std::wstring> UserUILanguages() {
    std::vector<std::wstring> out;
    ULONG count = 0, size = 0;
    if (!::GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, nullptr, &size) || size == 0)
        return out;
    std::wstring list(size, L'\0');
    if (!::GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, list.data(), &size))
        return out;
    for (const wchar_t* p = list.c_str(); *p; p += wcslen(p) + 1) {
        std::wstring name(p);
        for (wchar_t& c : name)
            if (c == L'-')
                c = L'_';
        if (name.empty() || name == L"C")
            continue;
        out.push_back(name);
        const std::size_t us = name.find(L'_');
        if (us != std::wstring::npos)
            out.push_back(name.substr(0, us));
    }
    return out;
}

} // namespace tlv::platform
