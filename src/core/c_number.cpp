#include "c_number.h"

#include <charconv>
#include <cmath>
#include <string>

namespace tlv::core {

double ReadCDouble(std::wstring_view t, std::size_t* used) {
    if (used)
        *used = 0;
    std::size_t i = 0;
    while (i < t.size() && IsCBlank(t[i]))
        ++i;
    bool negative = false;
    if (i < t.size() && (t[i] == L'+' || t[i] == L'-'))
        negative = t[i++] == L'-';
    // The candidate is narrowed to ASCII for from_chars: on the stack for the short numbers
    // settings hold, in a string for a long one (1e300 written with "%f" has 301 digits).
    std::size_t n = 0;
    while (i + n < t.size() && t[i + n] > 0x20 && t[i + n] < 0x7F)
        ++n;
    char small[64];
    std::string large;
    char* ascii = small;
    if (n > sizeof small) {
        large.resize(n);
        ascii = large.data();
    }
    for (std::size_t k = 0; k < n; ++k)
        ascii[k] = static_cast<char>(t[i + k]);
    if (n > 0 && (ascii[0] == '+' || ascii[0] == '-'))
        return 0.0; // a second sign: no number at all
    const char* first = ascii;
    const char* last = ascii + n;
    double value = 0.0;
    const char* end = first;
    if (n >= 3 && ascii[0] == '0' && (ascii[1] == 'x' || ascii[1] == 'X') && ascii[2] != '+' &&
        ascii[2] != '-') {
        const auto r = std::from_chars(first + 2, last, value, std::chars_format::hex);
        if (r.ec == std::errc() || r.ec == std::errc::result_out_of_range) {
            if (r.ec == std::errc::result_out_of_range)
                value = HUGE_VAL;
            end = r.ptr;
        } else {
            value = 0.0; // "0x" without hex digits converts the "0" alone
            end = first + 1;
        }
    } else {
        const auto r = std::from_chars(first, last, value, std::chars_format::general);
        if (r.ec == std::errc::result_out_of_range) {
            const std::string_view s(first, static_cast<std::size_t>(r.ptr - first));
            const std::size_t e = s.find_first_of("eE");
            const bool tiny = e != std::string_view::npos && e + 1 < s.size() && s[e + 1] == '-';
            value = tiny ? 0.0 : HUGE_VAL;
            end = r.ptr;
        } else if (r.ec != std::errc()) {
            return 0.0;
        } else {
            end = r.ptr;
        }
    }
    if (used)
        *used = i + static_cast<std::size_t>(end - first);
    return negative ? -value : value;
}

} // namespace tlv::core
