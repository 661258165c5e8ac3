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

// The Win32 locale types: a locale identifier, a locale information type (LOCALE_*), a geographical
// identifier and a geographical class.
// @{
typedef DWORD LCID;
typedef DWORD LCTYPE;
typedef LONG GEOID;
typedef DWORD GEOCLASS;
// @}

// The locale identifiers and information types GetLocaleInfoW answers, and the nation class of
// GetUserGeoID (Win32 values).
// @{
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
// @}
#endif

#ifndef _WIN32 // the Windows build takes it from the platform's headers
// The Win32 number-format record of GetNumberFormatW; the separators are borrowed, not owned.
// @{
typedef struct _numberfmtW {
    UINT NumDigits;       // decimals written
    UINT LeadingZero;     // 1 writes "0.5", 0 writes ".5"
    UINT Grouping;        // 3 = by threes, 32 = three then twos, 30 = one group of three, 0 = none
    LPWSTR lpDecimalSep;  // the decimal separator
    LPWSTR lpThousandSep; // the group separator
    UINT NegativeOrder;   // 0 "(1.1)", 1 "-1.1", 2 "- 1.1", 3 "1.1-", 4 "1.1 -"
} NUMBERFMTW;
// @}
#endif

namespace TlvUtl {

// The settings the service answers from. Grouping is the Windows LOCALE_SGROUPING string
// ("3;0", "3;2;0", "3", "0").
struct LocaleSettings {
    // The locale's settings, as LOCALE_SNAME, LOCALE_SDECIMAL, LOCALE_STHOUSAND, LOCALE_SLIST,
    // LOCALE_SNEGATIVESIGN, LOCALE_SGROUPING, LOCALE_IDIGITS, LOCALE_ILZERO and LOCALE_INEGNUMBER
    // give them (negativeMode as NUMBERFMTW::NegativeOrder).
    // @{
    std::wstring name; // "de_DE", or "C"
    std::wstring decimalSeparator;
    std::wstring thousandSeparator;
    std::wstring listSeparator;
    std::wstring negativeSign;
    std::wstring grouping;
    int digits = 2;
    int leadingZero = 1;
    int negativeMode = 1;
    // @}
    int measure = 0; // 0 metric, 1 U.S.
    // The Windows geographical id of the user's territory, GEOID_NOT_AVAILABLE when unknown.
    GEOID geoId = GEOID_NOT_AVAILABLE;
    bool rightToLeft = false; // the user-interface language is written right to left
};

// Fields to override; an empty optional keeps the locale's value.
struct LocaleOverride {
    // The LocaleSettings fields of the same names.
    // @{
    std::optional<std::wstring> name, decimalSeparator, thousandSeparator, listSeparator,
        negativeSign, grouping;
    std::optional<int> digits, leadingZero, negativeMode, measure;
    std::optional<GEOID> geoId;
    std::optional<bool> rightToLeft;
    // @}
};

// Sets the engaged fields of fields as the process-wide override, replacing the previous override;
// ClearLocaleOverride removes it. Each change gives a new locale identifier.
// @{
TLVUTL_API void SetLocaleOverride(const LocaleOverride& fields);
TLVUTL_API void ClearLocaleOverride();
// @}
// Re-reads the user's locale from the environment.
TLVUTL_API void RefreshLocale();
// The effective settings: the user's locale with the override applied.
TLVUTL_API LocaleSettings CurrentLocaleSettings();
// The settings of a named POSIX locale ("fr_FR.UTF-8"), without the override; false when
// the locale is not installed.
TLVUTL_API bool ReadPosixLocale(const std::wstring& name, LocaleSettings& out);

// Overrides for the duration of a scope (tests).
class TLVUTL_API ScopedLocaleOverride {
public:
    // Sets fields as the override; the destructor clears the override (whatever was set before is
    // not restored).
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
// The user's territory for GEOCLASS_NATION; GEOID_NOT_AVAILABLE for other classes or when unknown.
TLVUTL_API GEOID GetUserGeoID(GEOCLASS geoClass);
// Formats value (digits, at most one '.', an optional leading '-') by the given record, or by
// the locale when format is null. Returns the characters written with the terminator, the
// size needed when capacity is 0, and 0 on invalid text or a buffer too small.
TLVUTL_API int GetNumberFormatW(LCID locale, DWORD flags, LPCWSTR value, const NUMBERFMTW* format,
                                LPWSTR out, int capacity);
// The error of this thread's last failing call of this namespace: ERROR_INSUFFICIENT_BUFFER,
// ERROR_INVALID_PARAMETER or ERROR_INVALID_FLAGS.
TLVUTL_API DWORD GetLastError();

} // namespace Win32

} // namespace TlvUtl

#endif
