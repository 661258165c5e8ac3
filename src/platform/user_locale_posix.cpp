#include "user_locale.h"

#include "console.h"

#include <tlvutl/encoding.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <langinfo.h>
#include <locale.h>
#include <string_view>
#include <vector>

namespace tlv::platform {
namespace {

struct GeoEntry {
    const char* code;
    GEOID id;
};

constexpr GeoEntry kGeoIds[] = {
#include "geo_ids.inc"
};

GEOID GeoIdOfTerritory(std::string_view code) {
    const auto* end = std::end(kGeoIds);
    const auto* it =
        std::lower_bound(std::begin(kGeoIds), end, code,
                         [](const GeoEntry& e, std::string_view c) { return e.code < c; });
    return it != end && it->code == code ? it->id : GEOID_NOT_AVAILABLE;
}

std::wstring FirstSet(std::initializer_list<const char*> names) {
    for (const char* n : names) {
        std::wstring v = GetEnvironment(n);
        if (!v.empty())
            return v;
    }
    return {};
}

// "de_DE.ISO-8859-1@euro" -> language "de", territory "DE", modifier "@euro".
struct LocaleName {
    std::string language, territory, modifier;
};

LocaleName Split(const std::string& name) {
    LocaleName n;
    std::string base = name;
    const std::size_t at = base.find('@');
    if (at != std::string::npos)
        n.modifier = base.substr(at), base.resize(at);
    const std::size_t dot = base.find('.');
    if (dot != std::string::npos)
        base.resize(dot);
    const std::size_t us = base.find('_');
    n.language = base.substr(0, us);
    if (us != std::string::npos)
        n.territory = base.substr(us + 1);
    return n;
}

// Opens the locale in UTF-8 so its texts decode the same whatever codeset its name gives.
locale_t Open(const std::string& name) {
    const LocaleName n = Split(name);
    if (!n.language.empty()) {
        const std::string utf8 =
            n.language + (n.territory.empty() ? "" : "_" + n.territory) + ".UTF-8" + n.modifier;
        if (locale_t l = newlocale(LC_ALL_MASK, utf8.c_str(), static_cast<locale_t>(nullptr)))
            return l;
    }
    return newlocale(LC_ALL_MASK, name.c_str(), static_cast<locale_t>(nullptr));
}

// POSIX grouping bytes ("\3" repeats threes, "\3\2" Indian, CHAR_MAX stops) as the
// Windows grouping string ("3;0", "3;2;0", "3", "0").
std::wstring WindowsGrouping(const char* g) {
    if (!g || !*g || *g == CHAR_MAX || *g <= 0)
        return L"0";
    std::vector<int> sizes;
    bool repeat = true;
    for (; *g; ++g) {
        if (*g == CHAR_MAX || *g < 0) {
            repeat = false; // no further grouping
            break;
        }
        sizes.push_back(*g);
    }
    // glibc often spells "threes" as 3;3: a repeated last size says nothing more.
    while (repeat && sizes.size() > 1 && sizes[sizes.size() - 1] == sizes[sizes.size() - 2])
        sizes.pop_back();
    std::wstring out;
    for (int size : sizes) {
        if (!out.empty())
            out += L';';
        out += std::to_wstring(size);
    }
    return repeat ? out + L";0" : out;
}

bool IsRightToLeftLanguage(const std::string& language) {
    static constexpr const char* kRtl[] = {"ar", "dv", "fa",  "he", "iw", "ks", "ku",
                                           "ps", "sd", "syr", "ug", "ur", "yi"};
    return std::any_of(std::begin(kRtl), std::end(kRtl),
                       [&](const char* l) { return language == l; });
}

} // namespace

std::wstring UserLocaleName() {
    return FirstSet({"LC_ALL", "LC_NUMERIC", "LANG"});
}
std::wstring UserMeasurementLocaleName() {
    return FirstSet({"LC_ALL", "LC_MEASUREMENT", "LANG"});
}
std::wstring UserMessagesLocaleName() {
    return FirstSet({"LC_ALL", "LC_MESSAGES", "LANG"});
}

int ReadMeasurement(const std::wstring& wname) {
    const std::string name = TlvUtils::ToUtf8(wname);
    if (name.empty() || name == "C" || name == "POSIX" || name.rfind("C.", 0) == 0)
        return -1;
    locale_t l = Open(name);
    if (!l)
        return -1;
    // glibc: 1 metric, 2 U.S. customary.
    const char* m = nl_langinfo_l(_NL_MEASUREMENT_MEASUREMENT, l);
    const int value = m && *m == 2 ? 1 : (m && *m == 1 ? 0 : -1);
    freelocale(l);
    return value;
}

bool ReadLocale(const std::wstring& wname, TlvUtl::LocaleSettings& out) {
    const std::string name = TlvUtils::ToUtf8(wname);
    if (name.empty() || name == "C" || name == "POSIX" || name.rfind("C.", 0) == 0) {
        out = CLocaleSettings();
        return true;
    }
    locale_t l = Open(name);
    if (!l)
        return false;
    const LocaleName n = Split(name);
    TlvUtl::LocaleSettings s;
    s.name = TlvUtils::FromUtf8(n.language + (n.territory.empty() ? "" : "_" + n.territory));
    s.decimalSeparator = TlvUtils::FromUtf8(nl_langinfo_l(RADIXCHAR, l));
    if (s.decimalSeparator.empty())
        s.decimalSeparator = L".";
    s.thousandSeparator = TlvUtils::FromUtf8(nl_langinfo_l(THOUSEP, l));
    s.grouping = WindowsGrouping(nl_langinfo_l(GROUPING, l));
    const char* m = nl_langinfo_l(_NL_MEASUREMENT_MEASUREMENT, l);
    s.measure = m && *m == 2 ? 1 : 0;
    freelocale(l);
    // Windows defaults where POSIX keeps nothing: the list separator avoids the decimal
    // separator, negatives print as "-1.1", with a leading zero and two digits.
    s.listSeparator = s.decimalSeparator == L"," ? L";" : L",";
    s.negativeSign = L"-";
    s.negativeMode = 1;
    s.leadingZero = 1;
    s.digits = 2;
    s.geoId = GeoIdOfTerritory(n.territory);
    s.rightToLeft = IsRightToLeftLanguage(n.language);
    out = s;
    return true;
}

} // namespace tlv::platform
