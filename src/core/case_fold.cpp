#include "case_fold.h"

#include <cstdint>
#include <cwctype>
#include <locale.h>

namespace tlv::core {
namespace {

// The C.UTF-8 locale's case tables, independent of the process's current locale. Read once.
locale_t Invariant() {
    static const locale_t loc = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(0));
    return loc;
}

bool Foldable(wchar_t c) {
    const auto u = static_cast<std::uint32_t>(c);
    return u <= 0xFFFF && !(u >= 0xD800 && u <= 0xDFFF);
}

// A mapping that would leave the plane is not one-to-one in UTF-16: keep the character.
wchar_t Within(wint_t mapped, wchar_t c) {
    return static_cast<std::uint32_t>(mapped) <= 0xFFFF ? static_cast<wchar_t>(mapped) : c;
}

} // namespace

wchar_t FoldUpper(wchar_t c) {
    if (c < 0x80)
        return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - 32) : c;
    const locale_t loc = Invariant();
    if (!Foldable(c) || !loc)
        return c;
    return Within(towupper_l(static_cast<wint_t>(c), loc), c);
}

wchar_t FoldLower(wchar_t c) {
    if (c < 0x80)
        return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c;
    const locale_t loc = Invariant();
    if (!Foldable(c) || !loc)
        return c;
    return Within(towlower_l(static_cast<wint_t>(c), loc), c);
}

std::wstring FoldUpper(std::wstring_view text) {
    std::wstring out(text);
    for (wchar_t& c : out)
        c = FoldUpper(c);
    return out;
}

std::wstring FoldLower(std::wstring_view text) {
    std::wstring out(text);
    for (wchar_t& c : out)
        c = FoldLower(c);
    return out;
}

bool EqualNoCase(std::wstring_view a, std::wstring_view b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i] && FoldLower(a[i]) != FoldLower(b[i]))
            return false;
    return true;
}

int CompareNoCase(std::wstring_view a, std::wstring_view b) {
    const std::size_t n = a.size() < b.size() ? a.size() : b.size();
    for (std::size_t i = 0; i < n; ++i) {
        const wchar_t x = FoldLower(a[i]), y = FoldLower(b[i]);
        if (x != y)
            return x < y ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

} // namespace tlv::core
