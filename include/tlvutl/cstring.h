// CString: the library's wide string value type.
//
// Holds wchar_t text with value semantics and offers the members of ATL's CStringW that the
// library's interfaces use, with the same results (indices are 0-based ints, -1 for
// "not found"; out-of-range arguments are clamped as ATL clamps them). Format follows the
// MSVC wide printf rules whatever the platform: %s is a wide string, %S a narrow (UTF-8)
// one, %c a wide character, %I64d a 64-bit integer, %ld 32-bit, and numbers are printed
// in the C locale. Arguments are taken type-safely, so a CString may be passed directly.
#ifndef TLVUTL_CSTRING_H
#define TLVUTL_CSTRING_H

#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

#include <cstdarg>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

class CString;

namespace TlvUtils::detail {

// One argument of a formatting call, captured with its kind so the formatter can apply the
// conversion's own rule (as printf would read the slot) without undefined behaviour.
struct FormatArg {
    enum class Kind : std::uint8_t { Int, UInt, Double, WStr, Str, Ptr };
    Kind kind;
    union {
        long long i;
        unsigned long long u;
        double d;
        const wchar_t* ws;
        const char* s;
        const void* p;
    };
    FormatArg(long long v) : kind(Kind::Int), i(v) {}
    FormatArg(unsigned long long v) : kind(Kind::UInt), u(v) {}
    FormatArg(double v) : kind(Kind::Double), d(v) {}
    FormatArg(const wchar_t* v) : kind(Kind::WStr), ws(v) {}
    FormatArg(const char* v) : kind(Kind::Str), s(v) {}
    FormatArg(const void* v) : kind(Kind::Ptr), p(v) {}
};

template <class T> FormatArg MakeFormatArg(const T& v) {
    using U = std::remove_cvref_t<T>;
    if constexpr (std::is_same_v<U, bool>)
        return FormatArg(static_cast<long long>(v));
    else if constexpr (std::is_same_v<U, wchar_t>)
        return FormatArg(static_cast<long long>(v));
    else if constexpr (std::is_enum_v<U>)
        return FormatArg(static_cast<long long>(v));
    else if constexpr (std::is_integral_v<U> && std::is_signed_v<U>)
        return FormatArg(static_cast<long long>(v));
    else if constexpr (std::is_integral_v<U>)
        return FormatArg(static_cast<unsigned long long>(v));
    else if constexpr (std::is_floating_point_v<U>)
        return FormatArg(static_cast<double>(v));
    else if constexpr (std::is_convertible_v<const U&, const wchar_t*>)
        return FormatArg(static_cast<const wchar_t*>(v));
    else if constexpr (std::is_convertible_v<const U&, const char*>)
        return FormatArg(static_cast<const char*>(v));
    else if constexpr (std::is_same_v<U, std::wstring>)
        return FormatArg(v.c_str());
    else if constexpr (std::is_same_v<U, std::string>)
        return FormatArg(v.c_str());
    else if constexpr (std::is_pointer_v<U>)
        return FormatArg(static_cast<const void*>(v));
    else
        static_assert(sizeof(U) == 0, "type cannot be formatted");
}

// Appends the formatted text to out; returns false on a malformed format (out then holds
// what was produced before the fault).
TLVUTL_API bool FormatInto(std::wstring& out, const wchar_t* format, const FormatArg* args,
                           std::size_t count);
TLVUTL_API bool FormatIntoV(std::wstring& out, const wchar_t* format, va_list args);

} // namespace TlvUtils::detail

// A wide string value: copies are independent, a null pointer anywhere reads as the empty string,
// and every member is safe with out-of-range indices (clamped, or a no-op as described).
class TLVUTL_API CString {
public:
    // The empty string; a copy of s (null: empty); at most length characters of s; ch repeated.
    // @{
    CString() = default;
    CString(const wchar_t* s) : s_(s ? s : L"") {}
    CString(const wchar_t* s, int length);
    CString(wchar_t ch, int repeat = 1);
    // @}
    // Narrow text is UTF-8.
    CString(const char* s);
    // Takes or copies standard wide text.
    // @{
    CString(std::wstring s) : s_(std::move(s)) {}
    CString(std::wstring_view s) : s_(s) {}
    // @}

    // Length in characters (UTF-16 code units on Windows, UTF-32 elsewhere), and whether it is 0.
    // @{
    int GetLength() const { return static_cast<int>(s_.size()); }
    bool IsEmpty() const { return s_.empty(); }
    // @}
    // Makes the string empty.
    void Empty() { s_.clear(); }
    // The null-terminated text, valid until the string is next changed or destroyed.
    // @{
    const wchar_t* GetString() const { return s_.c_str(); }
    operator const wchar_t*() const { return s_.c_str(); }
    // @}
    // The text as a standard string or view, valid as GetString is.
    // @{
    const std::wstring& str() const { return s_; }
    std::wstring_view view() const { return s_; }
    // @}
    // The text as UTF-8.
    std::string ToUtf8() const;

    // The character at index i, or L'\0' when i is out of range.
    wchar_t GetAt(int i) const;
    // Replaces the character at i; nothing when i is out of range.
    void SetAt(int i, wchar_t ch);
    // GetAt(i).
    wchar_t operator[](int i) const { return GetAt(i); }

    // Writable buffer of at least minLength characters (plus terminator). ReleaseBuffer(-1)
    // takes the length up to the first NUL.
    // @{
    wchar_t* GetBuffer(int minLength = 0);
    wchar_t* GetBufferSetLength(int length);
    void ReleaseBuffer(int newLength = -1);
    // @}
    // Reserves room for length characters; the text is unchanged.
    void Preallocate(int length) { s_.reserve(length > 0 ? static_cast<std::size_t>(length) : 0); }

    // Replaces the text with s (null: empty) or with the single character ch.
    // @{
    CString& operator=(const wchar_t* s);
    CString& operator=(wchar_t ch);
    // @}
    // Appends text or a character (a null pointer appends nothing).
    // @{
    CString& operator+=(const CString& s) {
        s_ += s.s_;
        return *this;
    }
    CString& operator+=(const wchar_t* s) {
        if (s)
            s_ += s;
        return *this;
    }
    CString& operator+=(wchar_t ch) {
        s_ += ch;
        return *this;
    }
    void Append(const wchar_t* s) {
        if (s)
            s_ += s;
    }
    void Append(const wchar_t* s, int n);
    void AppendChar(wchar_t ch) { s_ += ch; }
    // @}

    // Ordinal comparison: negative, 0 or positive as this string sorts before, equal to or after s
    // (null: empty). CompareNoCase folds case first, as the library's case-insensitive comparisons
    // do.
    // @{
    int Compare(const wchar_t* s) const;
    int CompareNoCase(const wchar_t* s) const;
    // @}

    // The first count characters, the last count characters, or from first to the end (or count
    // characters from first); arguments are clamped into the string.
    // @{
    CString Left(int count) const;
    CString Right(int count) const;
    CString Mid(int first) const;
    CString Mid(int first, int count) const;
    // @}
    // The longest prefix made only of characters of set, or of characters not in set.
    // @{
    CString SpanIncluding(const wchar_t* set) const;
    CString SpanExcluding(const wchar_t* set) const;
    // @}

    // Index of the first ch or sub at or after start, of the last ch, or of the first character of
    // set; -1 when not found or start is out of range.
    // @{
    int Find(wchar_t ch, int start = 0) const;
    int Find(const wchar_t* sub, int start = 0) const;
    int ReverseFind(wchar_t ch) const;
    int FindOneOf(const wchar_t* set) const;
    // @}

    // Replaces every occurrence (non-overlapping, left to right; an empty oldText replaces nothing)
    // and returns how many were replaced.
    // @{
    int Replace(wchar_t oldCh, wchar_t newCh);
    int Replace(const wchar_t* oldText, const wchar_t* newText);
    // @}
    // Removes every ch; returns how many were removed.
    int Remove(wchar_t ch);
    // Inserts at index (clamped into the string); returns the new length.
    // @{
    int Insert(int index, wchar_t ch);
    int Insert(int index, const wchar_t* s);
    // @}
    // Removes count characters from index (clamped); returns the new length.
    int Delete(int index, int count = 1);

    // Removes white space, one character, or any characters of set, from both ends, the start or
    // the end; returns this string.
    // @{
    CString& Trim();
    CString& Trim(wchar_t ch);
    CString& Trim(const wchar_t* set);
    CString& TrimLeft();
    CString& TrimLeft(wchar_t ch);
    CString& TrimLeft(const wchar_t* set);
    CString& TrimRight();
    CString& TrimRight(wchar_t ch);
    CString& TrimRight(const wchar_t* set);
    // @}
    // Case-maps each character with the library's case folding (locale-independent); returns this
    // string.
    // @{
    CString& MakeUpper();
    CString& MakeLower();
    // @}
    // Reverses the characters; returns this string.
    CString& MakeReverse();

    // Next token delimited by any of the characters of set, starting at start; start is
    // advanced past the token. At the end returns empty and sets start to -1.
    CString Tokenize(const wchar_t* set, int& start) const;

    // Replaces the text with format filled from args, by the MSVC wide printf rules of this header;
    // a malformed format leaves the text produced before the fault.
    template <class... Args> void Format(const wchar_t* format, const Args&... args) {
        const TlvUtils::detail::FormatArg a[] = {TlvUtils::detail::MakeFormatArg(args)...,
                                                 TlvUtils::detail::FormatArg(0LL)};
        s_.clear();
        TlvUtils::detail::FormatInto(s_, format, a, sizeof...(Args));
    }
    // As Format, appending to the text.
    template <class... Args> void AppendFormat(const wchar_t* format, const Args&... args) {
        const TlvUtils::detail::FormatArg a[] = {TlvUtils::detail::MakeFormatArg(args)...,
                                                 TlvUtils::detail::FormatArg(0LL)};
        TlvUtils::detail::FormatInto(s_, format, a, sizeof...(Args));
    }
    // As Format, with a C variable argument list.
    void FormatV(const wchar_t* format, va_list args);

    // Loads string resource id through the library's string loaders; false if not found.
    bool LoadString(UINT id);

    // Concatenation of two strings or of a string and a pointer (null: empty) or a character.
    // @{
    friend CString operator+(const CString& a, const CString& b) { return CString(a.s_ + b.s_); }
    friend CString operator+(const CString& a, const wchar_t* b) {
        return CString(a.s_ + (b ? b : L""));
    }
    friend CString operator+(const wchar_t* a, const CString& b) {
        return CString((a ? std::wstring(a) : std::wstring()) + b.s_);
    }
    friend CString operator+(const CString& a, wchar_t b) { return CString(a.s_ + b); }
    friend CString operator+(wchar_t a, const CString& b) { return CString(a + b.s_); }
    // @}
    // Ordinal equality, with a string or a null-terminated text (null: empty).
    // @{
    friend bool operator==(const CString& a, const CString& b) { return a.s_ == b.s_; }
    friend bool operator==(const CString& a, const wchar_t* b) { return a.s_ == (b ? b : L""); }
    // @}
    // Ordinal order, for ordered containers.
    friend bool operator<(const CString& a, const CString& b) { return a.s_ < b.s_; }

private:
    std::wstring s_;
};

namespace std {
// Hashes CString as its std::wstring, for unordered containers.
template <> struct hash<CString> {
    // The hash of s.str().
    size_t operator()(const CString& s) const noexcept { return hash<wstring>()(s.str()); }
};
} // namespace std

#endif
