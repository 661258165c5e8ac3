/* Numbers in the user's regional format.
 *
 * WRegionalSupportFormat turns a number typed in any mix of regional forms ("1.234,5 mm")
 * into the locale's canonical text, keeping a trailing suffix such as a unit name, and
 * strips thousands separators. All handles share one implementation object, which notices a
 * change of the user's locale before every operation. Use it from one thread (the
 * user-interface thread).
 *
 * The UTL functions edit NUL-terminated wide buffers in place; they never read past the
 * terminator. UTLAddNumericGroupingSymbols takes the buffer's capacity in characters of text,
 * not counting the terminator (the buffer holds capacity + 1 characters), and leaves the
 * text unchanged when the grouped text would not fit. */
#ifndef TLVUTL_REGIONAL_FORMAT_H
#define TLVUTL_REGIONAL_FORMAT_H

#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

TLVUTL_C_BEGIN

/* Removes every space and tab; returns the new length. */
TLVUTL_API int UTLRemoveSpaces(wchar_t* text);
/* Removes leading spaces and tabs; returns text. */
TLVUTL_API wchar_t* UTLRemoveLeadingSpaces(wchar_t* text);
/* Removes trailing spaces and tabs; returns the new length. */
TLVUTL_API int UTLRemoveTrailingSpaces(wchar_t* text);
/* Cuts trailing zeros after the locale's decimal separator (and the separator when nothing
 * is left after it); whatever followed the digits is cut with them. Returns text. */
TLVUTL_API wchar_t* UTLTruncateDecimalTrailingZeros(wchar_t* text);
/* Inserts the locale's thousands separator into the integer part, always by threes.
 * Returns text. */
TLVUTL_API wchar_t* UTLAddNumericGroupingSymbols(wchar_t* text, int capacity);

TLVUTL_C_END

#ifdef __cplusplus
#include <tlvutl/cstring.h>

#include <memory>

class WRegionalSupportFormatImpl;

/* Locale-aware number text (see above). A cheap handle: copies share the process-wide
 * implementation. */
class TLVUTL_API WRegionalSupportFormat {
public:
    /* A handle on the shared implementation, created when there is none (first use, or after
     * DestroyInstance). */
    WRegionalSupportFormat();
    virtual ~WRegionalSupportFormat();
    /* Copies share the implementation.
     * @{ */
    WRegionalSupportFormat(const WRegionalSupportFormat&) = default;
    WRegionalSupportFormat& operator=(const WRegionalSupportFormat&) = default;
    /* @} */

    /* The number in value in the locale's format, with any suffix kept; false (and the
     * cleaned number) when the value holds no number or cannot be formatted. */
    virtual bool GetValueInLocaleFormat(CString value, CString& out);
    /* value without the thousands separator; false (out untouched) when it has none. */
    virtual bool RemoveThousandSeptFromValue(CString value, CString& out);
    /* Sets the decimals the shared format starts from when it next reads the locale;
     * GetValueInLocaleFormat writes as many decimals as the typed value has (at most 9). */
    virtual void SetNumFractionalDigit(unsigned digits);

    /* Releases the shared implementation (handles still alive keep theirs). */
    static void DestroyInstance();

private:
    std::shared_ptr<WRegionalSupportFormatImpl> impl_;
};

#endif

#endif
