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

class TLVUTL_API CString {
public:
    CString() = default;
    CString(const wchar_t* s) : s_(s ? s : L"") {}
    CString(const wchar_t* s, int length);
    CString(wchar_t ch, int repeat = 1);
    // Narrow text is UTF-8.
    CString(const char* s);
    CString(std::wstring s) : s_(std::move(s)) {}
    CString(std::wstring_view s) : s_(s) {}

    int GetLength() const { return static_cast<int>(s_.size()); }
    bool IsEmpty() const { return s_.empty(); }
    void Empty() { s_.clear(); }
    const wchar_t* GetString() const { return s_.c_str(); }
    operator const wchar_t*() const { return s_.c_str(); }
    const std::wstring& str() const { return s_; }
    std::wstring_view view() const { return s_; }
    std::string ToUtf8() const;

    wchar_t GetAt(int i) const;
    void SetAt(int i, wchar_t ch);
    wchar_t operator[](int i) const { return GetAt(i); }

    // Writable buffer of at least minLength characters (plus terminator). ReleaseBuffer(-1)
    // takes the length up to the first NUL.
    wchar_t* GetBuffer(int minLength = 0);
    wchar_t* GetBufferSetLength(int length);
    void ReleaseBuffer(int newLength = -1);
    void Preallocate(int length) { s_.reserve(length > 0 ? static_cast<std::size_t>(length) : 0); }

    CString& operator=(const wchar_t* s);
    CString& operator=(wchar_t ch);
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

    int Compare(const wchar_t* s) const;
    int CompareNoCase(const wchar_t* s) const;

    CString Left(int count) const;
    CString Right(int count) const;
    CString Mid(int first) const;
    CString Mid(int first, int count) const;
    CString SpanIncluding(const wchar_t* set) const;
    CString SpanExcluding(const wchar_t* set) const;

    int Find(wchar_t ch, int start = 0) const;
    int Find(const wchar_t* sub, int start = 0) const;
    int ReverseFind(wchar_t ch) const;
    int FindOneOf(const wchar_t* set) const;

    int Replace(wchar_t oldCh, wchar_t newCh);
    int Replace(const wchar_t* oldText, const wchar_t* newText);
    int Remove(wchar_t ch);
    int Insert(int index, wchar_t ch);
    int Insert(int index, const wchar_t* s);
    int Delete(int index, int count = 1);

    CString& Trim();
    CString& Trim(wchar_t ch);
    CString& Trim(const wchar_t* set);
    CString& TrimLeft();
    CString& TrimLeft(wchar_t ch);
    CString& TrimLeft(const wchar_t* set);
    CString& TrimRight();
    CString& TrimRight(wchar_t ch);
    CString& TrimRight(const wchar_t* set);
    CString& MakeUpper();
    CString& MakeLower();
    CString& MakeReverse();

    // Next token delimited by any of the characters of set, starting at start; start is
    // advanced past the token. At the end returns empty and sets start to -1.
    CString Tokenize(const wchar_t* set, int& start) const;

    template <class... Args> void Format(const wchar_t* format, const Args&... args) {
        const TlvUtils::detail::FormatArg a[] = {TlvUtils::detail::MakeFormatArg(args)...,
                                                 TlvUtils::detail::FormatArg(0LL)};
        s_.clear();
        TlvUtils::detail::FormatInto(s_, format, a, sizeof...(Args));
    }
    template <class... Args> void AppendFormat(const wchar_t* format, const Args&... args) {
        const TlvUtils::detail::FormatArg a[] = {TlvUtils::detail::MakeFormatArg(args)...,
                                                 TlvUtils::detail::FormatArg(0LL)};
        TlvUtils::detail::FormatInto(s_, format, a, sizeof...(Args));
    }
    void FormatV(const wchar_t* format, va_list args);

    // Loads string resource id through the library's string loaders; false if not found.
    bool LoadString(UINT id);

    friend CString operator+(const CString& a, const CString& b) { return CString(a.s_ + b.s_); }
    friend CString operator+(const CString& a, const wchar_t* b) {
        return CString(a.s_ + (b ? b : L""));
    }
    friend CString operator+(const wchar_t* a, const CString& b) {
        return CString((a ? std::wstring(a) : std::wstring()) + b.s_);
    }
    friend CString operator+(const CString& a, wchar_t b) { return CString(a.s_ + b); }
    friend CString operator+(wchar_t a, const CString& b) { return CString(a + b.s_); }
    friend bool operator==(const CString& a, const CString& b) { return a.s_ == b.s_; }
    friend bool operator==(const CString& a, const wchar_t* b) { return a.s_ == (b ? b : L""); }
    friend bool operator<(const CString& a, const CString& b) { return a.s_ < b.s_; }

private:
    std::wstring s_;
};

namespace std {
template <> struct hash<CString> {
    size_t operator()(const CString& s) const noexcept { return hash<wstring>()(s.str()); }
};
} // namespace std

#endif
