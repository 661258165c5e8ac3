// Reading follows the C runtime conversions the text forms were defined with (wide integer
// and double conversion with leading white space and a sign, stopping at the first character
// that does not fit), reimplemented here so the result never depends on the locale.
#include "value_text.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cwctype>
#include <limits>
#include <string>

namespace TlvUtl::xml_detail {
namespace {

bool IsBlank(wchar_t c) {
    return std::iswspace(static_cast<wint_t>(c)) != 0;
}

std::size_t SkipBlanks(std::wstring_view t, std::size_t i) {
    while (i < t.size() && IsBlank(t[i]))
        ++i;
    return i;
}

// wcstoll in base 10 from position i: optional blanks and sign, then digits; saturates at
// the limits of T. consumed is false when no digit was read (the result is then 0).
template <class T> T ParseInteger(std::wstring_view t, std::size_t& i, bool& consumed) {
    i = SkipBlanks(t, i);
    bool negative = false;
    if (i < t.size() && (t[i] == L'+' || t[i] == L'-'))
        negative = t[i++] == L'-';
    using U = std::make_unsigned_t<T>;
    const U limit =
        negative ? U(std::numeric_limits<T>::max()) + 1u : U(std::numeric_limits<T>::max());
    U value = 0;
    bool overflow = false;
    consumed = false;
    for (; i < t.size() && t[i] >= L'0' && t[i] <= L'9'; ++i) {
        consumed = true;
        const U digit = static_cast<U>(t[i] - L'0');
        if (value > (limit - digit) / 10u)
            overflow = true;
        else
            value = value * 10u + digit;
    }
    if (overflow)
        value = limit;
    if (!negative)
        return static_cast<T>(value);
    return value == U(std::numeric_limits<T>::max()) + 1u ? std::numeric_limits<T>::min()
                                                          : -static_cast<T>(value);
}

// A 0 result counts only when the whole text is "0": anything else that converts to 0 is
// text that is not a number.
template <class T> std::optional<T> ReadWhole(std::wstring_view text) {
    std::size_t i = 0;
    bool consumed = false;
    const T v = ParseInteger<T>(text, i, consumed);
    if (v == 0 && text != L"0")
        return std::nullopt;
    return v;
}

// wcstod: blanks, a sign, then a decimal or hexadecimal number, "inf", "infinity" or "nan".
// Only ASCII can be part of a number, so the candidate is narrowed and handed to from_chars.
double ParseDouble(std::wstring_view t) {
    std::size_t i = SkipBlanks(t, 0);
    bool negative = false;
    if (i < t.size() && (t[i] == L'+' || t[i] == L'-'))
        negative = t[i++] == L'-';
    // Settings hold short numbers: they are narrowed on the stack; a longer one (such as
    // 1e300 written with "%f", 301 digits) takes a string.
    char small[64];
    std::string large;
    std::size_t n = 0;
    for (std::size_t j = i; j < t.size() && t[j] > 0x20 && t[j] < 0x7F; ++j)
        ++n;
    char* ascii = small;
    if (n > sizeof small) {
        large.resize(n);
        ascii = large.data();
    }
    for (std::size_t k = 0; k < n; ++k)
        ascii[k] = static_cast<char>(t[i + k]);
    double value = 0.0;
    if (n > 0 && (ascii[0] == '+' || ascii[0] == '-'))
        return 0.0; // a second sign: no number at all
    const char* first = ascii;
    const char* last = ascii + n;
    if (n >= 3 && ascii[0] == '0' && (ascii[1] == 'x' || ascii[1] == 'X') && ascii[2] != '+' &&
        ascii[2] != '-') {
        const auto r = std::from_chars(first + 2, last, value, std::chars_format::hex);
        if (r.ec == std::errc() || r.ec == std::errc::result_out_of_range) {
            if (r.ec == std::errc::result_out_of_range)
                value = r.ptr == first + 2 ? 0.0 : HUGE_VAL;
            return negative ? -value : value;
        }
        // "0x" without hex digits converts the "0" alone.
        return negative ? -0.0 : 0.0;
    }
    const auto r = std::from_chars(first, last, value, std::chars_format::general);
    if (r.ec == std::errc::result_out_of_range) {
        // Out of range: huge magnitudes saturate to infinity, tiny ones become 0, as strtod.
        const std::string_view s(first, static_cast<std::size_t>(r.ptr - first));
        const std::size_t e = s.find_first_of("eE");
        const bool tiny = e != std::string_view::npos && e + 1 < s.size() && s[e + 1] == '-';
        value = tiny ? 0.0 : HUGE_VAL;
    } else if (r.ec != std::errc()) {
        value = 0.0;
    }
    return negative ? -value : value;
}

} // namespace

std::optional<bool> ReadBool(std::wstring_view text) {
    if (text == L"true")
        return true;
    if (text == L"false")
        return false;
    return std::nullopt;
}

std::optional<int> ReadInt(std::wstring_view text) {
    return ReadWhole<int>(text);
}

std::optional<__int64> ReadInt64(std::wstring_view text) {
    return ReadWhole<__int64>(text);
}

std::optional<double> ReadDouble(std::wstring_view text) {
    const double v = ParseDouble(text);
    if (v == 0.0 && (text.empty() || text[0] != L'0'))
        return std::nullopt;
    return v;
}

std::optional<CPoint> ReadPoint(std::wstring_view t) {
    if (t.empty() || t[0] != L'(')
        return std::nullopt;
    std::size_t i = 1;
    bool consumed = false;
    const LONG x = ParseInteger<LONG>(t, i, consumed);
    if (!consumed)
        return std::nullopt;
    i = SkipBlanks(t, i);
    if (i >= t.size() || t[i] != L',')
        return std::nullopt;
    const LONG y = ParseInteger<LONG>(t, ++i, consumed);
    if (!consumed || i >= t.size() || t[i] != L')')
        return std::nullopt;
    return CPoint(x, y);
}

std::optional<CRect> ReadRect(std::wstring_view t) {
    LONG v[4];
    std::size_t i = 0;
    for (int k = 0; k < 4; ++k) {
        if (k > 0) {
            i = SkipBlanks(t, i);
            if (i >= t.size() || t[i] != L',')
                return std::nullopt;
            ++i;
        }
        bool consumed = false;
        v[k] = ParseInteger<LONG>(t, i, consumed);
        if (!consumed)
            return std::nullopt;
    }
    return CRect(v[0], v[1], v[2], v[3]);
}

CString WriteBool(bool value) {
    return value ? L"true" : L"false";
}

CString WriteInt(int value) {
    CString s;
    s.Format(L"%d", value);
    return s;
}

CString WriteInt64(__int64 value) {
    CString s;
    s.Format(L"%I64d", value);
    return s;
}

CString WriteDouble(double value) {
    CString s;
    s.Format(L"%f", value);
    return s;
}

CString WritePoint(LONG x, LONG y) {
    CString s;
    s.Format(L"(%d,%d)", x, y);
    return s;
}

CString WriteRect(const CRect& r) {
    CString s;
    s.Format(L"%d,%d,%d,%d", r.left, r.top, r.right, r.bottom);
    return s;
}

} // namespace TlvUtl::xml_detail
