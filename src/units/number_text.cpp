// In-place edits of number text in wide buffers. Each reads only up to the terminator and
// writes only inside the text (or, when grouping, inside the given capacity).
#include <tlvutl/locale.h>
#include <tlvutl/regional_format.h>

#include <cwchar>

namespace {

bool IsBlank(wchar_t c) {
    return c == L' ' || c == L'\t';
}

// The locale text of type, at most four characters as the fixed buffers of old callers hold.
std::wstring Separator(LCTYPE type) {
    wchar_t buffer[64];
    if (!TlvUtl::Win32::GetLocaleInfoW(LOCALE_USER_DEFAULT, type, buffer, 64))
        return {};
    std::wstring s(buffer);
    if (s.size() > 4)
        s.resize(4);
    return s;
}

} // namespace

int UTLRemoveSpaces(wchar_t* text) {
    if (!text)
        return 0;
    wchar_t* w = text;
    for (const wchar_t* r = text; *r; ++r)
        if (!IsBlank(*r))
            *w++ = *r;
    *w = L'\0';
    return static_cast<int>(w - text);
}

wchar_t* UTLRemoveLeadingSpaces(wchar_t* text) {
    if (!text)
        return text;
    const wchar_t* r = text;
    while (IsBlank(*r))
        ++r;
    if (r != text)
        std::wmemmove(text, r, std::wcslen(r) + 1);
    return text;
}

int UTLRemoveTrailingSpaces(wchar_t* text) {
    if (!text)
        return 0;
    std::size_t n = std::wcslen(text);
    while (n > 0 && IsBlank(text[n - 1]))
        text[--n] = L'\0';
    return static_cast<int>(n);
}

wchar_t* UTLTruncateDecimalTrailingZeros(wchar_t* text) {
    if (!text)
        return text;
    const std::wstring sep = Separator(LOCALE_SDECIMAL);
    if (sep.empty())
        return text;
    wchar_t* at = std::wcsstr(text, sep.c_str());
    if (!at)
        return text;
    wchar_t* const fractionStart = at + sep.size();
    wchar_t* p = text + std::wcslen(text);
    // The last digit after the separator.
    while (p > fractionStart && !(p[-1] >= L'0' && p[-1] <= L'9'))
        --p;
    if (p == fractionStart || p[-1] != L'0')
        return text;
    // Zeros end the text; what followed them goes with them.
    while (p > fractionStart && p[-1] == L'0')
        --p;
    *p = L'\0';
    if (p == fractionStart)
        *at = L'\0';
    return text;
}

wchar_t* UTLAddNumericGroupingSymbols(wchar_t* text, int capacity) {
    if (!text || capacity <= 0)
        return text;
    const std::wstring thousand = Separator(LOCALE_STHOUSAND);
    const std::wstring decimal = Separator(LOCALE_SDECIMAL);
    const std::size_t length = std::wcslen(text);
    std::size_t first = 0;
    while (first < length && !(text[first] >= L'0' && text[first] <= L'9'))
        ++first;
    std::size_t end = length;
    if (!decimal.empty()) {
        const wchar_t* d = std::wcsstr(text, decimal.c_str());
        if (d)
            end = static_cast<std::size_t>(d - text);
    }
    if (first >= end || thousand.empty())
        return text;
    const std::size_t n = end - first;
    std::size_t groups = n / 3;
    std::size_t head = n % 3;
    if (head == 0)
        head = 3, --groups;
    if (groups == 0)
        return text;
    const std::size_t grown = length + thousand.size() * groups;
    if (grown > static_cast<std::size_t>(capacity))
        return text;
    std::wstring out(text, first + head);
    for (std::size_t i = first + head; i < end; i += 3) {
        out += thousand;
        out.append(text + i, 3);
    }
    out.append(text + end);
    std::wmemcpy(text, out.c_str(), out.size() + 1);
    return text;
}
