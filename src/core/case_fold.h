// The library's one rule for comparing text without case.
//
// Names the library compares without case (registry keys and values, ini sections and
// keys, module and unit names, CString's *NoCase members) all fold the same way: Unicode's
// simple one-to-one case mapping of the Basic Multilingual Plane, as Windows' own tables do,
// and the same whatever locale the host has set: a comparison must not change its answer
// because a host called setlocale. Characters beyond the plane, and surrogates, fold to
// themselves.
#ifndef TLVUTL_CORE_CASE_FOLD_H
#define TLVUTL_CORE_CASE_FOLD_H

#include <string>
#include <string_view>

namespace tlv::core {

wchar_t FoldUpper(wchar_t c);
wchar_t FoldLower(wchar_t c);
std::wstring FoldUpper(std::wstring_view text);
std::wstring FoldLower(std::wstring_view text);

bool EqualNoCase(std::wstring_view a, std::wstring_view b);
// <0, 0 or >0, comparing the lower-case forms as the C runtime's _wcsicmp does.
int CompareNoCase(std::wstring_view a, std::wstring_view b);

} // namespace tlv::core

#endif
