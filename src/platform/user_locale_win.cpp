// The user's regional settings of the Windows build: the system's locale data
// (GetLocaleInfoEx) and the user's geographical location (GetUserGeoID). Locale names may
// be given the Windows way ("de-DE") or the POSIX way ("de_DE.UTF-8").
#include "user_locale.h"

#include <windows.h>

namespace tlv::platform {
namespace {

std::wstring UserDefaultName() {
    wchar_t name[LOCALE_NAME_MAX_LENGTH] = {};
    return ::GetUserDefaultLocaleName(name, LOCALE_NAME_MAX_LENGTH) > 0 ? std::wstring(name)
                                                                        : std::wstring();
}

bool IsCLocale(const std::wstring& name) {
    return name.empty() || name == L"C" || name == L"POSIX" || name.rfind(L"C.", 0) == 0;
}

// "de_DE.UTF-8@euro" -> "de-DE".
std::wstring WindowsName(std::wstring name) {
    const std::size_t cut = name.find_first_of(L".@");
    if (cut != std::wstring::npos)
        name.resize(cut);
    for (wchar_t& c : name)
        if (c == L'_')
            c = L'-';
    return name;
}

bool Text(const std::wstring& locale, LCTYPE type, std::wstring& out) {
    wchar_t buffer[128] = {};
    const int n = ::GetLocaleInfoEx(locale.c_str(), type, buffer, 128);
    if (n <= 0)
        return false;
    out.assign(buffer, static_cast<std::size_t>(n - 1));
    return true;
}

int Number(const std::wstring& locale, LCTYPE type, int fallback) {
    DWORD value = 0;
    if (::GetLocaleInfoEx(locale.c_str(), type | LOCALE_RETURN_NUMBER,
                          reinterpret_cast<LPWSTR>(&value), sizeof value / sizeof(wchar_t)) <= 0)
        return fallback;
    return static_cast<int>(value);
}

bool Known(const std::wstring& locale) {
    return !locale.empty() && ::IsValidLocaleName(locale.c_str());
}

} // namespace

std::wstring UserLocaleName() {
    return UserDefaultName();
}
std::wstring UserMeasurementLocaleName() {
    return UserDefaultName();
}
std::wstring UserMessagesLocaleName() {
    return UserDefaultName();
}

int ReadMeasurement(const std::wstring& name) {
    if (IsCLocale(name))
        return -1;
    const std::wstring locale = WindowsName(name);
    if (!Known(locale))
        return -1;
    return Number(locale, LOCALE_IMEASURE, -1);
}

bool ReadLocale(const std::wstring& name, TlvUtl::LocaleSettings& out) {
    if (IsCLocale(name)) {
        out = CLocaleSettings();
        return true;
    }
    const std::wstring locale = WindowsName(name);
    if (!Known(locale))
        return false;
    TlvUtl::LocaleSettings s;
    s.name = locale;
    for (wchar_t& c : s.name)
        if (c == L'-')
            c = L'_';
    Text(locale, LOCALE_SDECIMAL, s.decimalSeparator);
    if (s.decimalSeparator.empty())
        s.decimalSeparator = L".";
    Text(locale, LOCALE_STHOUSAND, s.thousandSeparator);
    if (!Text(locale, LOCALE_SGROUPING, s.grouping))
        s.grouping = L"3;0";
    if (!Text(locale, LOCALE_SLIST, s.listSeparator))
        s.listSeparator = s.decimalSeparator == L"," ? L";" : L",";
    if (!Text(locale, LOCALE_SNEGATIVESIGN, s.negativeSign))
        s.negativeSign = L"-";
    s.digits = Number(locale, LOCALE_IDIGITS, 2);
    s.leadingZero = Number(locale, LOCALE_ILZERO, 1);
    s.negativeMode = Number(locale, LOCALE_INEGNUMBER, 1);
    s.measure = Number(locale, LOCALE_IMEASURE, 0);
    // The user's own location is a setting of its own; other locales answer their country.
    s.geoId = locale == UserDefaultName() ? ::GetUserGeoID(GEOCLASS_NATION)
                                          : Number(locale, LOCALE_IGEOID, GEOID_NOT_AVAILABLE);
    s.rightToLeft = Number(locale, LOCALE_IREADINGLAYOUT, 0) == 1;
    out = s;
    return true;
}

} // namespace tlv::platform
