// Number text with the rules of GetNumberFormatW: rounding half away from zero on the
// decimal digits themselves (never through a double, so long inputs keep every digit),
// grouping by the record's integer form or the locale's string form, separators of any
// length and the five negative forms.
#include <tlvutl/locale.h>

#include "platform/last_error.h"

#include <algorithm>
#include <cwchar>
#include <string>
#include <vector>

namespace TlvUtl::Win32 {
namespace {

// Far beyond any double's precision; bounds the text a bad record can ask for.
constexpr UINT kMaxDigits = 99;

// A few group sizes without a heap block: a grouping string of more than 32 parts (no
// locale has more than three) keeps its first 32.
struct GroupSizes {
    int at[32];
    std::size_t n = 0;
    bool empty() const { return n == 0; }
    std::size_t size() const { return n; }
    int back() const { return at[n - 1]; }
    void pop_back() { --n; }
    void push_back(int v) {
        if (n < sizeof at / sizeof at[0])
            at[n++] = v;
    }
    int operator[](std::size_t i) const { return at[i]; }
};

struct Grouping {
    GroupSizes sizes;    // from the decimal separator leftwards
    bool repeat = false; // the last size repeats
};

// The record's integer form: 3 = threes, 32 = three then twos, 30 = one group of three.
Grouping FromInteger(UINT g) {
    Grouping out;
    wchar_t digits[12];
    std::size_t n = 0;
    do {
        digits[n++] = static_cast<wchar_t>(L'0' + g % 10);
        g /= 10;
    } while (g);
    while (n)
        out.sizes.push_back(digits[--n] - L'0');
    if (!out.sizes.empty() && out.sizes.back() == 0)
        out.sizes.pop_back();
    else
        out.repeat = true;
    return out;
}

// The locale's string form: "3;0" = threes, "3;2;0" = three then twos, "3" = one group.
Grouping FromString(const std::wstring& g) {
    Grouping out;
    std::size_t i = 0;
    while (i < g.size()) {
        std::size_t j = g.find(L';', i);
        if (j == std::wstring::npos)
            j = g.size();
        const std::wstring part = g.substr(i, j - i);
        out.sizes.push_back(
            part.empty() ? 0 : static_cast<int>(std::wcstol(part.c_str(), nullptr, 10)));
        i = j + 1;
    }
    if (out.sizes.size() > 1 && out.sizes.back() == 0) {
        out.sizes.pop_back();
        out.repeat = true;
    }
    return out;
}

std::wstring Group(const std::wstring& integer, const Grouping& g, const std::wstring& sep) {
    if (g.sizes.empty() || g.sizes[0] <= 0 || sep.empty())
        return integer;
    // Built from the right, reversed, then turned around once: no list of parts.
    std::wstring out;
    out.reserve(integer.size() * (sep.size() + 1));
    std::size_t end = integer.size();
    std::size_t k = 0;
    while (end > 0) {
        int size;
        if (k < g.sizes.size())
            size = g.sizes[k];
        else if (g.repeat)
            size = g.sizes.back();
        else
            size = 0;
        const std::size_t take = size <= 0 || static_cast<std::size_t>(size) >= end
                                     ? end
                                     : static_cast<std::size_t>(size);
        for (std::size_t i = 0; i < take; ++i)
            out += integer[end - 1 - i];
        end -= take;
        if (end > 0)
            out.append(sep.rbegin(), sep.rend());
        ++k;
    }
    std::reverse(out.begin(), out.end());
    return out;
}

} // namespace

int GetNumberFormatW(LCID, DWORD flags, LPCWSTR value, const NUMBERFMTW* format, LPWSTR out,
                     int capacity) {
    if (!value || capacity < 0 || (capacity > 0 && !out)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    if (format && flags != 0) {
        SetLastError(ERROR_INVALID_FLAGS);
        return 0;
    }
    // Digits, at most one point, an optional leading minus sign; at least one digit.
    const wchar_t* p = value;
    const bool negative = *p == L'-';
    if (negative)
        ++p;
    std::wstring integer, fraction;
    bool point = false;
    for (; *p; ++p) {
        if (*p >= L'0' && *p <= L'9')
            (point ? fraction : integer) += *p;
        else if (*p == L'.' && !point)
            point = true;
        else {
            SetLastError(ERROR_INVALID_PARAMETER);
            return 0;
        }
    }
    if (integer.empty() && fraction.empty()) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }

    UINT digits, leadingZero, negativeOrder;
    Grouping grouping;
    std::wstring decimalSep, thousandSep;
    if (format) {
        if (format->LeadingZero > 1 || format->NegativeOrder > 4 || !format->lpDecimalSep ||
            !format->lpThousandSep || format->NumDigits > kMaxDigits) {
            SetLastError(ERROR_INVALID_PARAMETER);
            return 0;
        }
        digits = format->NumDigits;
        leadingZero = format->LeadingZero;
        negativeOrder = format->NegativeOrder;
        grouping = FromInteger(format->Grouping);
        decimalSep = format->lpDecimalSep;
        thousandSep = format->lpThousandSep;
    } else {
        const LocaleSettings s = CurrentLocaleSettings();
        digits =
            static_cast<UINT>(s.digits < 0 ? 0 : std::min(s.digits, static_cast<int>(kMaxDigits)));
        leadingZero = s.leadingZero ? 1u : 0u;
        negativeOrder =
            static_cast<UINT>(s.negativeMode >= 0 && s.negativeMode <= 4 ? s.negativeMode : 1);
        grouping = FromString(s.grouping);
        decimalSep = s.decimalSeparator;
        thousandSep = s.thousandSeparator;
    }

    // Round half away from zero at `digits` fractional digits, on the digit string.
    const bool roundUp = fraction.size() > digits && fraction[digits] >= L'5';
    fraction.resize(digits, L'0');
    if (roundUp) {
        std::wstring all = integer + fraction;
        int i = static_cast<int>(all.size()) - 1;
        for (; i >= 0; --i) {
            if (all[static_cast<std::size_t>(i)] == L'9')
                all[static_cast<std::size_t>(i)] = L'0';
            else {
                ++all[static_cast<std::size_t>(i)];
                break;
            }
        }
        if (i < 0)
            all.insert(0, 1, L'1');
        integer = all.substr(0, all.size() - digits);
        fraction = all.substr(all.size() - digits);
    }
    const std::size_t firstNonZero = integer.find_first_not_of(L'0');
    integer = firstNonZero == std::wstring::npos ? std::wstring() : integer.substr(firstNonZero);
    if (integer.empty() && (leadingZero || digits == 0))
        integer = L"0";

    std::wstring number = Group(integer, grouping, thousandSep);
    if (digits > 0)
        number += decimalSep + fraction;
    // The sign goes by the text, not the rounded value: "-0.001" with two digits is "-0.00".
    if (negative) {
        switch (negativeOrder) {
        case 0:
            number = L"(" + number + L")";
            break;
        case 1:
            number = L"-" + number;
            break;
        case 2:
            number = L"- " + number;
            break;
        case 3:
            number += L"-";
            break;
        case 4:
            number += L" -";
            break;
        default:
            break;
        }
    }
    const int needed = static_cast<int>(number.size()) + 1;
    if (capacity == 0)
        return needed;
    if (capacity < needed) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    std::wmemcpy(out, number.c_str(), number.size() + 1);
    return needed;
}

} // namespace TlvUtl::Win32
