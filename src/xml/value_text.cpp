// Reading follows the C runtime conversions the text forms were defined with (wide integer
// and double conversion with leading white space and a sign, stopping at the first character
// that does not fit), reimplemented here so the result never depends on the locale.
#include "value_text.h"

#include "core/c_number.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cwctype>
#include <limits>
#include <string>

namespace TlvUtl::xml_detail {
namespace {

using tlv::core::IsCBlank;

template <class T> T ParseInteger(std::wstring_view t, std::size_t& i, bool& consumed) {
    return tlv::core::ReadCInteger<T>(t, i, consumed);
}

std::size_t SkipBlanks(std::wstring_view t, std::size_t i) {
    while (i < t.size() && IsCBlank(t[i]))
        ++i;
    return i;
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

double ParseDouble(std::wstring_view t) {
    return tlv::core::ReadCDouble(t);
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
