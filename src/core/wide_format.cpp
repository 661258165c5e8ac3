// The MSVC wide-printf engine behind CString::Format and the library's wsprintf-style
// formatting.
//
// Hosts were written against the MSVC rules, where the meaning of %s, %S, %c and the width
// of %ld differ from glibc's wide printf. Floating-point text comes from std::to_chars, so
// it is the C locale's whatever locale the process runs in (settings files rely on "%f"
// writing a point).
#include <tlvutl/cstring.h>
#include <tlvutl/encoding.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cwctype>

namespace TlvUtils::detail {
namespace {

// Where the engine takes its arguments from: a typed array or a C va_list.
class ArgSource {
public:
    virtual ~ArgSource() = default;
    virtual bool Signed(unsigned bytes, long long& v) = 0;
    virtual bool Unsigned(unsigned bytes, unsigned long long& v) = 0;
    virtual bool Double(double& v) = 0;
    virtual bool WideText(const wchar_t*& v) = 0;
    virtual bool NarrowText(const char*& v) = 0;
    virtual bool Pointer(const void*& v) = 0;
};

long long SignExtend(unsigned long long v, unsigned bytes) {
    switch (bytes) {
    case 1:
        return static_cast<signed char>(v);
    case 2:
        return static_cast<short>(v);
    case 4:
        return static_cast<int>(v);
    default:
        return static_cast<long long>(v);
    }
}

unsigned long long Truncate(unsigned long long v, unsigned bytes) {
    return bytes >= 8 ? v : v & ((1ULL << (bytes * 8)) - 1);
}

class ArraySource final : public ArgSource {
public:
    ArraySource(const FormatArg* a, std::size_t n) : a_(a), n_(n) {}
    bool Signed(unsigned bytes, long long& v) override {
        unsigned long long raw;
        if (!Raw(raw))
            return false;
        v = SignExtend(raw, bytes);
        return true;
    }
    bool Unsigned(unsigned bytes, unsigned long long& v) override {
        unsigned long long raw;
        if (!Raw(raw))
            return false;
        v = Truncate(raw, bytes);
        return true;
    }
    bool Double(double& v) override {
        if (i_ >= n_)
            return false;
        const FormatArg& a = a_[i_++];
        switch (a.kind) {
        case FormatArg::Kind::Double:
            v = a.d;
            break;
        case FormatArg::Kind::Int:
            v = static_cast<double>(a.i);
            break;
        case FormatArg::Kind::UInt:
            v = static_cast<double>(a.u);
            break;
        default:
            v = 0.0;
            break;
        }
        return true;
    }
    bool WideText(const wchar_t*& v) override {
        if (i_ >= n_)
            return false;
        const FormatArg& a = a_[i_++];
        if (a.kind == FormatArg::Kind::Str) {
            // A narrow string where a wide one was asked for: convert rather than misread.
            scratch_ = FromUtf8(a.s ? a.s : "(null)");
            v = scratch_.c_str();
        } else {
            v = a.kind == FormatArg::Kind::WStr ? a.ws : nullptr;
        }
        return true;
    }
    bool NarrowText(const char*& v) override {
        if (i_ >= n_)
            return false;
        const FormatArg& a = a_[i_++];
        if (a.kind == FormatArg::Kind::WStr) {
            narrow_ = ToUtf8(a.ws ? a.ws : L"(null)");
            v = narrow_.c_str();
        } else {
            v = a.kind == FormatArg::Kind::Str ? a.s : nullptr;
        }
        return true;
    }
    bool Pointer(const void*& v) override {
        if (i_ >= n_)
            return false;
        const FormatArg& a = a_[i_++];
        v = a.kind == FormatArg::Kind::Ptr    ? a.p
            : a.kind == FormatArg::Kind::WStr ? static_cast<const void*>(a.ws)
            : a.kind == FormatArg::Kind::Str  ? static_cast<const void*>(a.s)
                                              : reinterpret_cast<const void*>(a.u);
        return true;
    }

private:
    bool Raw(unsigned long long& v) {
        if (i_ >= n_)
            return false;
        const FormatArg& a = a_[i_++];
        switch (a.kind) {
        case FormatArg::Kind::Double:
            v = static_cast<unsigned long long>(static_cast<long long>(a.d));
            break;
        case FormatArg::Kind::Ptr:
            v = reinterpret_cast<std::uintptr_t>(a.p);
            break;
        case FormatArg::Kind::WStr:
            v = reinterpret_cast<std::uintptr_t>(a.ws);
            break;
        case FormatArg::Kind::Str:
            v = reinterpret_cast<std::uintptr_t>(a.s);
            break;
        default:
            v = a.u;
            break;
        }
        return true;
    }
    const FormatArg* a_;
    std::size_t n_;
    std::size_t i_ = 0;
    std::wstring scratch_;
    std::string narrow_;
};

class VaSource final : public ArgSource {
public:
    explicit VaSource(va_list ap) { va_copy(ap_, ap); }
    ~VaSource() override { va_end(ap_); }
    bool Signed(unsigned bytes, long long& v) override {
        v = bytes > 4 ? va_arg(ap_, long long)
                      : SignExtend(static_cast<unsigned>(va_arg(ap_, int)), bytes);
        return true;
    }
    bool Unsigned(unsigned bytes, unsigned long long& v) override {
        v = bytes > 4 ? va_arg(ap_, unsigned long long) : Truncate(va_arg(ap_, unsigned), bytes);
        return true;
    }
    bool Double(double& v) override {
        v = va_arg(ap_, double);
        return true;
    }
    bool WideText(const wchar_t*& v) override {
        v = va_arg(ap_, const wchar_t*);
        return true;
    }
    bool NarrowText(const char*& v) override {
        v = va_arg(ap_, const char*);
        return true;
    }
    bool Pointer(const void*& v) override {
        v = va_arg(ap_, const void*);
        return true;
    }

private:
    va_list ap_;
};

struct Conversion {
    bool left = false, plus = false, space = false, alt = false, zero = false;
    int width = 0;
    int precision = -1;
    unsigned bytes = 4; // integer width in bytes
    int textWidth = 0;  // -1 narrow, 1 wide, 0 by conversion letter
};

void Pad(std::wstring& out, std::size_t n, wchar_t ch) {
    out.append(n, ch);
}

// Emits body with sign/prefix and the padding rules of printf.
void Emit(std::wstring& out, const Conversion& sp, std::wstring_view prefix, std::wstring_view body,
          bool zeroPadAllowed) {
    const std::size_t len = prefix.size() + body.size();
    const std::size_t width = sp.width > 0 ? static_cast<std::size_t>(sp.width) : 0;
    const std::size_t pad = width > len ? width - len : 0;
    if (sp.left) {
        out += prefix;
        out += body;
        Pad(out, pad, L' ');
    } else if (sp.zero && zeroPadAllowed) {
        out += prefix;
        Pad(out, pad, L'0');
        out += body;
    } else {
        Pad(out, pad, L' ');
        out += prefix;
        out += body;
    }
}

void FormatInteger(std::wstring& out, const Conversion& sp, wchar_t conv,
                   unsigned long long magnitude, bool negative) {
    int base = 10;
    if (conv == L'o')
        base = 8;
    else if (conv == L'x' || conv == L'X')
        base = 16;
    char digits[72];
    std::to_chars_result r = std::to_chars(digits, digits + sizeof digits, magnitude, base);
    // The body on the stack: digits, the precision's zeros and the octal zero fit unless the
    // precision is huge, which takes the heap.
    const std::size_t count =
        sp.precision == 0 && magnitude == 0 ? 0 : static_cast<std::size_t>(r.ptr - digits);
    const std::size_t zeros = sp.precision > 0 && count < static_cast<std::size_t>(sp.precision)
                                  ? static_cast<std::size_t>(sp.precision) - count
                                  : 0;
    wchar_t local[96];
    std::wstring heap;
    wchar_t* body = local;
    if (zeros + count + 1 > sizeof local / sizeof local[0]) {
        heap.resize(zeros + count + 1);
        body = heap.data();
    }
    std::size_t n = 0;
    for (std::size_t i = 0; i < zeros; ++i)
        body[n++] = L'0';
    for (std::size_t i = 0; i < count; ++i) {
        const char c = digits[i];
        body[n++] = static_cast<wchar_t>(conv == L'X' && c >= 'a' && c <= 'f' ? c - 'a' + 'A' : c);
    }
    wchar_t prefix[4];
    std::size_t p = 0;
    if (negative)
        prefix[p++] = L'-';
    else if ((conv == L'd' || conv == L'i') && sp.plus)
        prefix[p++] = L'+';
    else if ((conv == L'd' || conv == L'i') && sp.space)
        prefix[p++] = L' ';
    std::wstring_view text(body, n);
    std::wstring withZero;
    if (sp.alt && magnitude != 0) {
        if (conv == L'x' || conv == L'X') {
            prefix[p++] = L'0';
            prefix[p++] = conv;
        } else if (conv == L'o' && (n == 0 || body[0] != L'0')) {
            withZero.reserve(n + 1);
            withZero += L'0';
            withZero += text;
            text = withZero;
        }
    }
    Emit(out, sp, std::wstring_view(prefix, p), text, sp.precision < 0);
}

void FormatFloat(std::wstring& out, const Conversion& sp, wchar_t conv, double v) {
    // The conversion letters are ASCII: no locale-dependent case functions needed.
    const bool upper = conv >= L'A' && conv <= L'Z';
    const wchar_t lower = upper ? static_cast<wchar_t>(conv - L'A' + L'a') : conv;
    std::chars_format fmt = std::chars_format::fixed;
    int precision = sp.precision < 0 ? 6 : sp.precision;
    if (lower == L'e')
        fmt = std::chars_format::scientific;
    else if (lower == L'g')
        fmt = std::chars_format::general, precision = precision == 0 ? 1 : precision;
    else if (lower == L'a')
        fmt = std::chars_format::hex;
    const bool negative = std::signbit(v);
    const double magnitude = negative ? -v : v;
    // Most texts fit the stack buffer; fixed notation of a huge value with a huge precision
    // takes the heap once.
    char local[400];
    std::string heap;
    char* first = local;
    std::to_chars_result r{};
    if (lower == L'a' && sp.precision < 0)
        r = std::to_chars(local, local + sizeof local, magnitude, fmt);
    else
        r = std::to_chars(local, local + sizeof local, magnitude, fmt, precision);
    if (r.ec != std::errc()) {
        heap.resize(2000);
        first = heap.data();
        r = std::to_chars(first, first + heap.size(), magnitude, fmt, std::min(precision, 1000));
    }
    std::string_view text(first, static_cast<std::size_t>(r.ptr - first));
    const bool finite = std::isfinite(v);
    std::string withPoint;
    if (sp.alt && finite && text.find('.') == std::string_view::npos && lower != L'g') {
        withPoint.assign(text);
        const std::size_t e = withPoint.find_first_of("ep");
        withPoint.insert(e == std::string::npos ? withPoint.size() : e, 1, '.');
        text = withPoint;
    }
    wchar_t localBody[400];
    std::wstring heapBody;
    wchar_t* body = localBody;
    if (text.size() > sizeof localBody / sizeof localBody[0]) {
        heapBody.resize(text.size());
        body = heapBody.data();
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        body[i] = static_cast<wchar_t>(upper && c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    }
    wchar_t prefix[4];
    std::size_t p = 0;
    if (negative)
        prefix[p++] = L'-';
    else if (sp.plus)
        prefix[p++] = L'+';
    else if (sp.space)
        prefix[p++] = L' ';
    if (lower == L'a' && finite) {
        prefix[p++] = L'0';
        prefix[p++] = upper ? L'X' : L'x';
    }
    Emit(out, sp, std::wstring_view(prefix, p), std::wstring_view(body, text.size()), finite);
}

void FormatText(std::wstring& out, const Conversion& sp, std::wstring_view text) {
    if (sp.precision >= 0 && text.size() > static_cast<std::size_t>(sp.precision))
        text = text.substr(0, static_cast<std::size_t>(sp.precision));
    Emit(out, sp, {}, text, false);
}

bool Engine(std::wstring& out, const wchar_t* fmt, ArgSource& src) {
    if (!fmt)
        return false;
    for (const wchar_t* p = fmt; *p; ++p) {
        if (*p != L'%') {
            // The literal run up to the next conversion in one append.
            const wchar_t* run = p;
            while (p[1] && p[1] != L'%')
                ++p;
            out.append(run, static_cast<std::size_t>(p - run + 1));
            continue;
        }
        ++p;
        if (*p == L'%') {
            out += L'%';
            continue;
        }
        Conversion sp;
        for (;; ++p) {
            if (*p == L'-')
                sp.left = true;
            else if (*p == L'+')
                sp.plus = true;
            else if (*p == L' ')
                sp.space = true;
            else if (*p == L'#')
                sp.alt = true;
            else if (*p == L'0')
                sp.zero = true;
            else
                break;
        }
        if (*p == L'*') {
            long long w;
            if (!src.Signed(4, w))
                return false;
            if (w < 0)
                sp.left = true, w = -w;
            sp.width = static_cast<int>(std::min<long long>(w, 100000));
            ++p;
        } else {
            while (*p >= L'0' && *p <= L'9')
                sp.width = std::min(sp.width * 10 + (*p++ - L'0'), 100000);
        }
        if (*p == L'.') {
            ++p;
            sp.precision = 0;
            if (*p == L'*') {
                long long pr;
                if (!src.Signed(4, pr))
                    return false;
                sp.precision = pr < 0 ? -1 : static_cast<int>(std::min<long long>(pr, 100000));
                ++p;
            } else {
                while (*p >= L'0' && *p <= L'9')
                    sp.precision = std::min(sp.precision * 10 + (*p++ - L'0'), 100000);
            }
        }
        // Length modifiers, MSVC meanings: l is 32-bit for integers and wide for text.
        if (p[0] == L'I' && p[1] == L'6' && p[2] == L'4')
            sp.bytes = 8, p += 3;
        else if (p[0] == L'I' && p[1] == L'3' && p[2] == L'2')
            sp.bytes = 4, p += 3;
        else if (p[0] == L'I' || p[0] == L'z' || p[0] == L'j' || p[0] == L't')
            sp.bytes = 8, ++p;
        else if (p[0] == L'l' && p[1] == L'l')
            sp.bytes = 8, p += 2;
        else if (p[0] == L'h' && p[1] == L'h')
            sp.bytes = 1, sp.textWidth = -1, p += 2;
        else if (p[0] == L'h')
            sp.bytes = 2, sp.textWidth = -1, ++p;
        else if (p[0] == L'l' || p[0] == L'w')
            sp.bytes = 4, sp.textWidth = 1, ++p;
        else if (p[0] == L'L')
            ++p;
        const wchar_t conv = *p;
        switch (conv) {
        case L'd':
        case L'i': {
            long long v;
            if (!src.Signed(sp.bytes, v))
                return false;
            const bool neg = v < 0;
            const unsigned long long mag = neg ? 0ULL - static_cast<unsigned long long>(v)
                                               : static_cast<unsigned long long>(v);
            FormatInteger(out, sp, conv, mag, neg);
            break;
        }
        case L'u':
        case L'o':
        case L'x':
        case L'X': {
            unsigned long long v;
            if (!src.Unsigned(sp.bytes, v))
                return false;
            FormatInteger(out, sp, conv, v, false);
            break;
        }
        case L'f':
        case L'F':
        case L'e':
        case L'E':
        case L'g':
        case L'G':
        case L'a':
        case L'A': {
            double v;
            if (!src.Double(v))
                return false;
            FormatFloat(out, sp, conv, v);
            break;
        }
        case L'c':
        case L'C': {
            long long v;
            if (!src.Signed(4, v))
                return false;
            const bool narrow = sp.textWidth < 0 || (conv == L'C' && sp.textWidth == 0);
            const wchar_t ch = narrow ? static_cast<wchar_t>(static_cast<unsigned char>(v))
                                      : static_cast<wchar_t>(v);
            FormatText(out, Conversion{sp.left, false, false, false, false, sp.width, -1, 4, 0},
                       std::wstring_view(&ch, 1));
            break;
        }
        case L's':
        case L'S': {
            const bool narrow = sp.textWidth < 0 || (conv == L'S' && sp.textWidth == 0);
            if (narrow) {
                const char* s;
                if (!src.NarrowText(s))
                    return false;
                FormatText(out, sp, FromUtf8(s ? s : "(null)"));
            } else {
                const wchar_t* s;
                if (!src.WideText(s))
                    return false;
                FormatText(out, sp, s ? s : L"(null)");
            }
            break;
        }
        case L'p': {
            const void* v;
            if (!src.Pointer(v))
                return false;
            Conversion hex = sp;
            hex.precision = 16;
            hex.alt = false;
            FormatInteger(out, hex, L'X', reinterpret_cast<std::uintptr_t>(v), false);
            break;
        }
        default:
            // %n and unknown conversions: MSVC rejects them through its invalid-parameter
            // handler; here formatting stops and reports the fault.
            return false;
        }
    }
    return true;
}

} // namespace

bool FormatInto(std::wstring& out, const wchar_t* format, const FormatArg* args,
                std::size_t count) {
    ArraySource src(args, count);
    return Engine(out, format, src);
}

bool FormatIntoV(std::wstring& out, const wchar_t* format, va_list args) {
    VaSource src(args);
    return Engine(out, format, src);
}

} // namespace TlvUtils::detail
