#include <tlvutl/cstring.h>
#include <tlvutl/encoding.h>

#include "case_fold.h"

#include <algorithm>
#include <cwchar>
#include <cwctype>

namespace {

int Clamp(int v, int lo, int hi) {
    return v < lo ? lo : (v > hi ? hi : v);
}

bool InSet(wchar_t ch, const wchar_t* set) {
    return set && ch && std::wcschr(set, ch) != nullptr;
}

bool IsBlank(wchar_t ch) {
    return std::iswspace(static_cast<wint_t>(ch)) != 0;
}

} // namespace

CString::CString(const wchar_t* s, int length) {
    if (s && length > 0)
        s_.assign(s, static_cast<std::size_t>(length));
}

CString::CString(wchar_t ch, int repeat) {
    if (repeat > 0)
        s_.assign(static_cast<std::size_t>(repeat), ch);
}

CString::CString(const char* s) : s_(TlvUtils::FromUtf8(s ? s : "")) {}

std::string CString::ToUtf8() const {
    return TlvUtils::ToUtf8(s_);
}

wchar_t CString::GetAt(int i) const {
    return i >= 0 && i < GetLength() ? s_[static_cast<std::size_t>(i)] : L'\0';
}

void CString::SetAt(int i, wchar_t ch) {
    if (i >= 0 && i < GetLength())
        s_[static_cast<std::size_t>(i)] = ch;
}

wchar_t* CString::GetBuffer(int minLength) {
    if (minLength > GetLength())
        s_.resize(static_cast<std::size_t>(minLength));
    return s_.data();
}

wchar_t* CString::GetBufferSetLength(int length) {
    s_.resize(static_cast<std::size_t>(std::max(length, 0)));
    return s_.data();
}

void CString::ReleaseBuffer(int newLength) {
    if (newLength < 0)
        newLength = static_cast<int>(std::wcslen(s_.c_str()));
    s_.resize(static_cast<std::size_t>(std::min(newLength, GetLength())));
}

CString& CString::operator=(const wchar_t* s) {
    s_ = s ? s : L"";
    return *this;
}

CString& CString::operator=(wchar_t ch) {
    s_.assign(1, ch);
    return *this;
}

void CString::Append(const wchar_t* s, int n) {
    if (s && n > 0)
        s_.append(s, static_cast<std::size_t>(n));
}

int CString::Compare(const wchar_t* s) const {
    return std::wcscmp(s_.c_str(), s ? s : L"");
}

int CString::CompareNoCase(const wchar_t* s) const {
    return tlv::core::CompareNoCase(s_.c_str(), s ? s : L"");
}

CString CString::Left(int count) const {
    return CString(s_.substr(0, static_cast<std::size_t>(Clamp(count, 0, GetLength()))));
}

CString CString::Right(int count) const {
    const int n = Clamp(count, 0, GetLength());
    return CString(s_.substr(static_cast<std::size_t>(GetLength() - n)));
}

CString CString::Mid(int first) const {
    return Mid(first, GetLength());
}

CString CString::Mid(int first, int count) const {
    first = Clamp(first, 0, GetLength());
    count = Clamp(count, 0, GetLength() - first);
    return CString(s_.substr(static_cast<std::size_t>(first), static_cast<std::size_t>(count)));
}

CString CString::SpanIncluding(const wchar_t* set) const {
    std::size_t n = 0;
    while (n < s_.size() && InSet(s_[n], set))
        ++n;
    return CString(s_.substr(0, n));
}

CString CString::SpanExcluding(const wchar_t* set) const {
    std::size_t n = 0;
    while (n < s_.size() && !InSet(s_[n], set))
        ++n;
    return CString(s_.substr(0, n));
}

int CString::Find(wchar_t ch, int start) const {
    if (start < 0 || start >= GetLength())
        return -1;
    const std::size_t r = s_.find(ch, static_cast<std::size_t>(start));
    return r == std::wstring::npos ? -1 : static_cast<int>(r);
}

int CString::Find(const wchar_t* sub, int start) const {
    if (!sub || start < 0 || start > GetLength())
        return -1;
    const std::size_t r = s_.find(sub, static_cast<std::size_t>(start));
    return r == std::wstring::npos ? -1 : static_cast<int>(r);
}

int CString::ReverseFind(wchar_t ch) const {
    const std::size_t r = s_.rfind(ch);
    return r == std::wstring::npos ? -1 : static_cast<int>(r);
}

int CString::FindOneOf(const wchar_t* set) const {
    if (!set)
        return -1;
    const std::size_t r = s_.find_first_of(set);
    return r == std::wstring::npos ? -1 : static_cast<int>(r);
}

int CString::Replace(wchar_t oldCh, wchar_t newCh) {
    int n = 0;
    for (wchar_t& c : s_)
        if (c == oldCh)
            c = newCh, ++n;
    return n;
}

int CString::Replace(const wchar_t* oldText, const wchar_t* newText) {
    if (!oldText || !*oldText)
        return 0;
    const std::wstring_view from(oldText);
    const std::wstring_view to(newText ? newText : L"");
    std::wstring out;
    int n = 0;
    std::size_t pos = 0;
    for (;;) {
        const std::size_t hit = s_.find(from, pos);
        if (hit == std::wstring::npos)
            break;
        out.append(s_, pos, hit - pos);
        out += to;
        pos = hit + from.size();
        ++n;
    }
    if (n) {
        out.append(s_, pos, std::wstring::npos);
        s_ = std::move(out);
    }
    return n;
}

int CString::Remove(wchar_t ch) {
    const std::size_t before = s_.size();
    s_.erase(std::remove(s_.begin(), s_.end(), ch), s_.end());
    return static_cast<int>(before - s_.size());
}

int CString::Insert(int index, wchar_t ch) {
    s_.insert(static_cast<std::size_t>(Clamp(index, 0, GetLength())), 1, ch);
    return GetLength();
}

int CString::Insert(int index, const wchar_t* s) {
    if (s)
        s_.insert(static_cast<std::size_t>(Clamp(index, 0, GetLength())), s);
    return GetLength();
}

int CString::Delete(int index, int count) {
    index = std::max(index, 0);
    if (count > 0 && index < GetLength())
        s_.erase(static_cast<std::size_t>(index),
                 static_cast<std::size_t>(std::min(count, GetLength() - index)));
    return GetLength();
}

CString& CString::TrimLeft() {
    std::size_t n = 0;
    while (n < s_.size() && IsBlank(s_[n]))
        ++n;
    s_.erase(0, n);
    return *this;
}

CString& CString::TrimRight() {
    std::size_t n = s_.size();
    while (n > 0 && IsBlank(s_[n - 1]))
        --n;
    s_.resize(n);
    return *this;
}

CString& CString::TrimLeft(const wchar_t* set) {
    std::size_t n = 0;
    while (n < s_.size() && InSet(s_[n], set))
        ++n;
    s_.erase(0, n);
    return *this;
}

CString& CString::TrimRight(const wchar_t* set) {
    std::size_t n = s_.size();
    while (n > 0 && InSet(s_[n - 1], set))
        --n;
    s_.resize(n);
    return *this;
}

CString& CString::TrimLeft(wchar_t ch) {
    const wchar_t set[2] = {ch, 0};
    return TrimLeft(set);
}

CString& CString::TrimRight(wchar_t ch) {
    const wchar_t set[2] = {ch, 0};
    return TrimRight(set);
}

CString& CString::Trim() {
    return TrimRight().TrimLeft();
}
CString& CString::Trim(wchar_t ch) {
    return TrimRight(ch).TrimLeft(ch);
}
CString& CString::Trim(const wchar_t* set) {
    return TrimRight(set).TrimLeft(set);
}

CString& CString::MakeUpper() {
    for (wchar_t& c : s_)
        c = tlv::core::FoldUpper(c);
    return *this;
}

CString& CString::MakeLower() {
    for (wchar_t& c : s_)
        c = tlv::core::FoldLower(c);
    return *this;
}

CString& CString::MakeReverse() {
    std::reverse(s_.begin(), s_.end());
    return *this;
}

CString CString::Tokenize(const wchar_t* set, int& start) const {
    if (start < 0 || start >= GetLength()) {
        start = -1;
        return CString();
    }
    if (!set || !*set) {
        // ATL: with no delimiters the rest of the string is the token.
        CString rest = Mid(start);
        start = GetLength();
        return rest;
    }
    std::size_t i = static_cast<std::size_t>(start);
    while (i < s_.size() && InSet(s_[i], set))
        ++i;
    if (i >= s_.size()) {
        start = -1;
        return CString();
    }
    std::size_t j = i;
    while (j < s_.size() && !InSet(s_[j], set))
        ++j;
    start = static_cast<int>(j + 1);
    return CString(s_.substr(i, j - i));
}

void CString::FormatV(const wchar_t* format, va_list args) {
    s_.clear();
    TlvUtils::detail::FormatIntoV(s_, format, args);
}
