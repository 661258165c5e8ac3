// Folder and file names that are not ASCII, and the locales a host may run under, for the
// tests of every family that takes paths.
#ifndef TLVUTL_TESTS_UNICODE_PATHS_H
#define TLVUTL_TESTS_UNICODE_PATHS_H

#include <tlvutl/encoding.h>

#include <clocale>
#include <locale>
#include <stdexcept>
#include <string>
#include <vector>

namespace unicode_paths {

// Latin-1 accents, Cyrillic, CJK, and a name that mixes them with blanks.
inline const std::vector<std::string>& Names() {
    static const std::vector<std::string> names = {"José Público", "Документы", "文档",
                                                   "Données Профиль 用户"};
    return names;
}

// The classic locale, the C locale with UTF-8 and a UTF-8 locale with a comma as its decimal
// separator (when installed).
inline const std::vector<std::string>& Locales() {
    static const std::vector<std::string> locales = [] {
        std::vector<std::string> out = {"C", "C.UTF-8"};
        if (std::setlocale(LC_ALL, "de_DE.UTF-8"))
            out.push_back("de_DE.UTF-8");
        std::setlocale(LC_ALL, "C");
        return out;
    }();
    return locales;
}

// Sets both the C and the C++ global locale for its lifetime, as a host calling setlocale and
// std::locale::global would.
class ScopedLocale {
public:
    explicit ScopedLocale(const std::string& name) {
        std::setlocale(LC_ALL, name.c_str());
        try {
            std::locale::global(std::locale(name));
        } catch (const std::runtime_error&) {
            std::locale::global(std::locale::classic());
        }
    }
    ~ScopedLocale() {
        std::setlocale(LC_ALL, "C");
        std::locale::global(std::locale::classic());
    }
    ScopedLocale(const ScopedLocale&) = delete;
    ScopedLocale& operator=(const ScopedLocale&) = delete;
};

inline std::wstring Wide(const std::string& utf8) {
    return TlvUtils::FromUtf8(utf8);
}

} // namespace unicode_paths

#endif
