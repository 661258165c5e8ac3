// The locale service: every question the library asks about the user's regional settings,
// in the Win32 terms its callers use, and number formatting with the Win32 rules.
//
// On POSIX the answers come from the user's locale (LC_ALL, then LC_NUMERIC, then LANG;
// LC_MEASUREMENT for the measurement system; the territory maps to a Windows geographical
// id). Settings POSIX lacks (list separator, negative-number mode) take the Windows defaults
// for the locale. The environment is read once; RefreshLocale() re-reads it. A process-wide
// override, set field by field, takes precedence: hosts use it to mirror their own regional
// settings, tests to run in a known locale. Every change of the effective settings gives a
// new locale identifier, which is how cached formatters notice.
#ifndef TLVUTL_LOCALE_H
#define TLVUTL_LOCALE_H

#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

#include <optional>
#include <string>

typedef DWORD LCID;
typedef DWORD LCTYPE;
typedef LONG GEOID;
typedef DWORD GEOCLASS;

#ifndef LOCALE_USER_DEFAULT
#define LOCALE_USER_DEFAULT 0x0400u
#define LOCALE_SYSTEM_DEFAULT 0x0800u
#define LOCALE_SLIST 0x0000000Cu
#define LOCALE_IMEASURE 0x0000000Du
#define LOCALE_SDECIMAL 0x0000000Eu
#define LOCALE_STHOUSAND 0x0000000Fu
#define LOCALE_SGROUPING 0x00000010u
#define LOCALE_IDIGITS 0x00000011u
#define LOCALE_ILZERO 0x00000012u
#define LOCALE_SNEGATIVESIGN 0x00000051u
#define LOCALE_INEGNUMBER 0x00001010u
#define LOCALE_SNAME 0x0000005Cu
#define GEOCLASS_NATION 16u
#define GEOID_NOT_AVAILABLE (-1)
#endif

#ifndef _WIN32 // the Windows build takes it from the platform's headers
typedef struct _numberfmtW {
    UINT NumDigits;
    UINT LeadingZero;
    UINT Grouping; // 3 = by threes, 32 = three then twos, 30 = one group of three, 0 = none
    LPWSTR lpDecimalSep;
    LPWSTR lpThousandSep;
    UINT NegativeOrder; // 0 "(1.1)", 1 "-1.1", 2 "- 1.1", 3 "1.1-", 4 "1.1 -"
} NUMBERFMTW;
#endif

namespace TlvUtl {

// The settings the service answers from. Grouping is the Windows LOCALE_SGROUPING string
// ("3;0", "3;2;0", "3", "0").
struct LocaleSettings {
    std::wstring name; // "de_DE", or "C"
    std::wstring decimalSeparator;
    std::wstring thousandSeparator;
    std::wstring listSeparator;
    std::wstring negativeSign;
    std::wstring grouping;
    int digits = 2;
    int leadingZero = 1;
    int negativeMode = 1;
    int measure = 0; // 0 metric, 1 U.S.
    GEOID geoId = GEOID_NOT_AVAILABLE;
    bool rightToLeft = false; // the user-interface language is written right to left
};

// Fields to override; an empty optional keeps the locale's value.
struct LocaleOverride {
    std::optional<std::wstring> name, decimalSeparator, thousandSeparator, listSeparator,
        negativeSign, grouping;
    std::optional<int> digits, leadingZero, negativeMode, measure;
    std::optional<GEOID> geoId;
    std::optional<bool> rightToLeft;
};

TLVUTL_API void SetLocaleOverride(const LocaleOverride& fields);
TLVUTL_API void ClearLocaleOverride();
// Re-reads the user's locale from the environment.
TLVUTL_API void RefreshLocale();
TLVUTL_API LocaleSettings CurrentLocaleSettings();
// The settings of a named POSIX locale ("fr_FR.UTF-8"), without the override; false when
// the locale is not installed.
TLVUTL_API bool ReadPosixLocale(const std::wstring& name, LocaleSettings& out);

// Overrides for the duration of a scope (tests).
class TLVUTL_API ScopedLocaleOverride {
public:
    explicit ScopedLocaleOverride(const LocaleOverride& fields) { SetLocaleOverride(fields); }
    ~ScopedLocaleOverride() { ClearLocaleOverride(); }
    ScopedLocaleOverride(const ScopedLocaleOverride&) = delete;
    ScopedLocaleOverride& operator=(const ScopedLocaleOverride&) = delete;
};

namespace Win32 {

// The Win32 locale calls, answered by the service. Any LCID names the user default locale.
TLVUTL_API LCID GetUserDefaultLCID();
// Writes the value as text (numbers in decimal) into data (capacity in characters including
// the terminator) and returns the characters written with the terminator; capacity 0 returns
// the size needed; 0 on failure (unknown type, buffer too small).
TLVUTL_API int GetLocaleInfoW(LCID locale, LCTYPE type, LPWSTR data, int capacity);
TLVUTL_API GEOID GetUserGeoID(GEOCLASS geoClass);
// Formats value (digits, at most one '.', an optional leading '-') by the given record, or by
// the locale when format is null. Returns the characters written with the terminator, the
// size needed when capacity is 0, and 0 on invalid text or a buffer too small.
TLVUTL_API int GetNumberFormatW(LCID locale, DWORD flags, LPCWSTR value, const NUMBERFMTW* format,
                                LPWSTR out, int capacity);
TLVUTL_API DWORD GetLastError();

} // namespace Win32

} // namespace TlvUtl

#endif
