// The token classes of the expression parser.
#include <tlvutl/eq_parser.h>
#include <tlvutl/frame.h>

#include <charconv>
#include <cmath>
#include <string>

TLVUTL_IMPLEMENT_DYNAMIC(WToken, CObject)
TLVUTL_IMPLEMENT_DYNAMIC(WTokenOpen, WToken)
TLVUTL_IMPLEMENT_DYNAMIC(WTokenClosed, WToken)
TLVUTL_IMPLEMENT_DYNAMIC(WTokenFunction, WToken)
TLVUTL_IMPLEMENT_DYNAMIC(WTokenTrig, WTokenFunction)
TLVUTL_IMPLEMENT_DYNAMIC(WTokenRevTrig, WTokenFunction)

namespace {

bool IsDigit(wchar_t c) {
    return c >= L'0' && c <= L'9';
}

// Digits and one '.', as the value tokens hand them over.
double ParseNumber(std::wstring_view text) {
    std::string narrow;
    narrow.reserve(text.size());
    for (wchar_t c : text)
        narrow += static_cast<char>(c);
    if (narrow.empty() || narrow == ".")
        return 0.0;
    double v = 0.0;
    const auto r = std::from_chars(narrow.data(), narrow.data() + narrow.size(), v);
    if (r.ec == std::errc::result_out_of_range)
        return HUGE_VAL; // a million digits: the result check refuses it later
    return v;
}

bool Pop(std::vector<double>& values, double& v) {
    if (values.empty())
        return false;
    v = values.back();
    values.pop_back();
    return true;
}

template <class F> bool Binary(std::vector<double>& values, F f) {
    double right, left;
    if (!Pop(values, right) || !Pop(values, left))
        return false;
    values.push_back(f(left, right));
    return true;
}

} // namespace

WToken::WToken(UINT textId, int inputPriority, int stackPriority)
    : text_(textId ? UTLLoadStringEx(textId) : CString()), input_(inputPriority),
      stack_(stackPriority) {}

bool WToken::Apply(std::vector<double>&) const {
    return true;
}

std::size_t WToken::Match(WTokenMatch& m) const {
    if (text_.IsEmpty() || m.text.substr(0, text_.str().size()) != text_.view())
        return 0;
    m.operand = false;
    return text_.str().size();
}

double WToken::ValueOf(std::wstring_view) const {
    return 0.0;
}

bool WToken::IsOperand(bool) const {
    return false;
}

// A closing bracket ends an operand: what follows it is a binary operator.
std::size_t WTokenClosed::Match(WTokenMatch& m) const {
    const std::size_t n = WToken::Match(m);
    if (n)
        m.operand = true;
    return n;
}

std::size_t WTokenOpen::Match(WTokenMatch& m) const {
    return WToken::Match(m);
}

bool WTokenFunction::Apply(std::vector<double>& values) const {
    double v;
    if (!Pop(values, v))
        return false;
    values.push_back(f_(v));
    return true;
}

TLVUTL_IMPLEMENT_DYNCREATE(WTokenNull, WToken)

TLVUTL_IMPLEMENT_DYNCREATE(WTokenValue, WToken)
WTokenValue::WTokenValue() : WToken(0, 0, 0) {}

// The longest run of digits and decimal separators, stopping at the second separator.
std::size_t WTokenValue::Match(WTokenMatch& m) const {
    std::size_t n = 0;
    bool separator = false;
    for (; n < m.text.size(); ++n) {
        const wchar_t c = m.text[n];
        if (IsDigit(c))
            continue;
        if (c == m.decimal && !separator) {
            separator = true;
            continue;
        }
        break;
    }
    if (n)
        m.operand = true;
    return n;
}

double WTokenValue::ValueOf(std::wstring_view matched) const {
    return ParseNumber(matched);
}

TLVUTL_IMPLEMENT_DYNCREATE(WTokenFraction, WToken)
WTokenFraction::WTokenFraction() : WToken(24090, 11, 12) {}

// digits "/" digits, nothing between.
std::size_t WTokenFraction::Match(WTokenMatch& m) const {
    const std::wstring_view slash = text_.view();
    std::size_t n = 0;
    while (n < m.text.size() && IsDigit(m.text[n]))
        ++n;
    if (n == 0 || slash.empty() || m.text.substr(n, slash.size()) != slash)
        return 0;
    std::size_t d = n + slash.size();
    const std::size_t denominatorStart = d;
    while (d < m.text.size() && IsDigit(m.text[d]))
        ++d;
    if (d == denominatorStart)
        return 0;
    m.operand = true;
    return d;
}

double WTokenFraction::ValueOf(std::wstring_view matched) const {
    const std::size_t slash = matched.find(text_.view());
    const double n = ParseNumber(matched.substr(0, slash));
    const double d = ParseNumber(matched.substr(slash + text_.str().size()));
    return n / d; // 1/0 is infinite, which the result check refuses
}

// After a number: the fraction part of a mixed number, signed like the whole.
bool WTokenFraction::Apply(std::vector<double>& values) const {
    double fraction, whole;
    if (!Pop(values, fraction) || !Pop(values, whole))
        return false;
    values.push_back(std::signbit(whole) ? whole - fraction : whole + fraction);
    return true;
}

#define TLVUTL_BINARY(name, id, in, st, expr)                                                      \
    TLVUTL_IMPLEMENT_DYNCREATE(name, WToken)                                                       \
    name::name() : WToken(id, in, st) {                                                            \
        plainText_ = true;                                                                         \
    }                                                                                              \
    bool name::Apply(std::vector<double>& values) const {                                          \
        return Binary(values, [](double a, double b) { return expr; });                            \
    }                                                                                              \
    std::size_t name::Match(WTokenMatch& m) const {                                                \
        return WToken::Match(m);                                                                   \
    }
TLVUTL_BINARY(WTokenOpMultiply, 24089, 3, 4, a* b)
TLVUTL_BINARY(WTokenOpDivide, 24090, 3, 4, a / b)
TLVUTL_BINARY(WTokenOpExp, 24091, 6, 5, std::pow(a, b))
#undef TLVUTL_BINARY

// Plus and minus share their text between the binary and the unary form; the operand flag
// tells them apart.
#define TLVUTL_SIGNED(name, id, in, st, binary)                                                    \
    TLVUTL_IMPLEMENT_DYNCREATE(name, WToken)                                                       \
    name::name() : WToken(id, in, st) {                                                            \
        plainText_ = true;                                                                         \
    }                                                                                              \
    std::size_t name::Match(WTokenMatch& m) const {                                                \
        return m.operand == binary ? WToken::Match(m) : 0;                                         \
    }
TLVUTL_SIGNED(WTokenOpPlus, 24088, 1, 2, true)
TLVUTL_SIGNED(WTokenOpMinus, 24087, 1, 2, true)
TLVUTL_SIGNED(WTokenUnaryPlus, 24088, 10, 9, false)
TLVUTL_SIGNED(WTokenUnaryMinus, 24087, 10, 9, false)
#undef TLVUTL_SIGNED

bool WTokenOpPlus::Apply(std::vector<double>& values) const {
    return Binary(values, [](double a, double b) { return a + b; });
}

bool WTokenOpMinus::Apply(std::vector<double>& values) const {
    return Binary(values, [](double a, double b) { return a - b; });
}

bool WTokenUnaryPlus::Apply(std::vector<double>& values) const {
    return !values.empty();
}

bool WTokenUnaryMinus::Apply(std::vector<double>& values) const {
    if (values.empty())
        return false;
    values.back() = -values.back();
    return true;
}

// Opening brackets go over anything (input 100) and give way to nothing (stack 0).
#define TLVUTL_BRACKETS(Open, Close, openId, closeId)                                              \
    TLVUTL_IMPLEMENT_DYNCREATE(Open, WTokenOpen)                                                   \
    TLVUTL_IMPLEMENT_DYNCREATE(Close, WTokenClosed)                                                \
    Open::Open() : WTokenOpen(openId, 100, 0) {                                                    \
        plainText_ = true;                                                                         \
    }                                                                                              \
    Close::Close() : WTokenClosed(closeId, 0, 99) {                                                \
        plainText_ = true;                                                                         \
    }
TLVUTL_BRACKETS(WTokenOBracket, WTokenCBracket, 24096, 24097)
TLVUTL_BRACKETS(WTokenOParen, WTokenCParen, 24094, 24095)
TLVUTL_BRACKETS(WTokenOBrace, WTokenCBrace, 24092, 24093)
#undef TLVUTL_BRACKETS

#define TLVUTL_FUNCTION(name, base, id, expr)                                                      \
    TLVUTL_IMPLEMENT_DYNCREATE(name, base)                                                         \
    name::name() : base(id, [](double x) { return expr; }) {                                       \
        plainText_ = true;                                                                         \
    }
TLVUTL_FUNCTION(WTokenLog, WTokenFunction, 24172, std::log10(x))
TLVUTL_FUNCTION(WTokenLn, WTokenFunction, 24173, std::log(x))
TLVUTL_FUNCTION(WTokenSqrt, WTokenFunction, 24174, std::sqrt(x))
TLVUTL_FUNCTION(WTokenSin, WTokenTrig, 24175, std::sin(x))
TLVUTL_FUNCTION(WTokenCos, WTokenTrig, 24176, std::cos(x))
TLVUTL_FUNCTION(WTokenTan, WTokenTrig, 24177, std::tan(x))
TLVUTL_FUNCTION(WTokenASin, WTokenRevTrig, 24178, std::asin(x))
TLVUTL_FUNCTION(WTokenACos, WTokenRevTrig, 24179, std::acos(x))
TLVUTL_FUNCTION(WTokenATan, WTokenRevTrig, 24180, std::atan(x))
TLVUTL_FUNCTION(WTokenSinH, WTokenFunction, 24181, std::sinh(x))
TLVUTL_FUNCTION(WTokenCosH, WTokenFunction, 24182, std::cosh(x))
TLVUTL_FUNCTION(WTokenTanH, WTokenFunction, 24183, std::tanh(x))
TLVUTL_FUNCTION(WTokenCsc, WTokenTrig, 24184, 1.0 / std::sin(x))
TLVUTL_FUNCTION(WTokenSec, WTokenTrig, 24185, 1.0 / std::cos(x))
TLVUTL_FUNCTION(WTokenCot, WTokenTrig, 24186, 1.0 / std::tan(x))
TLVUTL_FUNCTION(WTokenACsc, WTokenRevTrig, 24187, std::asin(1.0 / x))
TLVUTL_FUNCTION(WTokenASec, WTokenRevTrig, 24188, std::acos(1.0 / x))
TLVUTL_FUNCTION(WTokenACot, WTokenRevTrig, 24189, std::atan(1.0 / x))
#undef TLVUTL_FUNCTION
