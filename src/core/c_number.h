// Numbers in text as the C runtime's wide conversions read them in the "C" locale.
//
// Settings files, registry strings, ini records and custom-unit records were defined with
// wcstod and wcstol; these readers give the same results without ever depending on the
// process's locale (a host in a German locale must not read "1.5" as 1). Only ASCII can be
// part of a number.
#ifndef TLVUTL_CORE_C_NUMBER_H
#define TLVUTL_CORE_C_NUMBER_H

#include <cstddef>
#include <limits>
#include <string_view>
#include <type_traits>

namespace tlv::core {

// The blanks wcstod and wcstol skip in the "C" locale.
constexpr bool IsCBlank(wchar_t c) {
    return c == L' ' || (c >= L'\t' && c <= L'\r');
}

// wcstod: blanks, a sign, then a decimal or hexadecimal ("0x") number, "inf", "infinity" or
// "nan", without case. used (if given) receives how many characters made the number, 0 when
// there was none (the result is then 0). Out of range, huge values saturate to infinity and
// tiny ones become 0.
double ReadCDouble(std::wstring_view text, std::size_t* used = nullptr);

// wcstol in base 10 from position i: blanks, a sign, then digits; saturates at the limits of
// T. i ends past the digits; consumed is false when no digit was read (the result is then 0).
template <class T> T ReadCInteger(std::wstring_view text, std::size_t& i, bool& consumed) {
    static_assert(std::is_integral_v<T> && std::is_signed_v<T>);
    while (i < text.size() && IsCBlank(text[i]))
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == L'+' || text[i] == L'-'))
        negative = text[i++] == L'-';
    using U = std::make_unsigned_t<T>;
    const U limit =
        negative ? U(std::numeric_limits<T>::max()) + 1u : U(std::numeric_limits<T>::max());
    U value = 0;
    bool overflow = false;
    consumed = false;
    for (; i < text.size() && text[i] >= L'0' && text[i] <= L'9'; ++i) {
        consumed = true;
        const U digit = static_cast<U>(text[i] - L'0');
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

} // namespace tlv::core

#endif
