#include <tlvutl/eq_parser.h>

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>

namespace {

struct Result {
    int ok;
    double value;
};

Result Eval(const std::wstring& text, unsigned flags = WEQ_ALL, DRG mode = DRG_RAD) {
    WEqParser p(CString(text), flags, mode);
    Result r{0, -1.0};
    r.ok = p.GetValue(r.value);
    return r;
}

double Ok(const std::wstring& text, DRG mode = DRG_RAD) {
    const Result r = Eval(text, WEQ_ALL, mode);
    EXPECT_EQ(r.ok, 1) << std::string(text.begin(), text.end());
    return r.value;
}

void Fails(const std::wstring& text, unsigned flags = WEQ_ALL) {
    const Result r = Eval(text, flags);
    EXPECT_EQ(r.ok, 0) << std::string(text.begin(), text.end());
    EXPECT_EQ(r.value, 0.0);
}

using Exact = std::pair<const wchar_t*, double>;

TEST(EqParser, PrioritiesAssociativityAndBrackets) {
    // The last row holds fractions: a whole number, a space and a fraction.
    const Exact cases[] = {
        {L"8-3-2", 3.0},  {L"2^3^2", 512.0}, {L"-2^2", 4.0},  {L"2*3+4", 10.0}, {L"2+3*4", 14.0},
        {L"16/4/2", 2.0}, {L"2*-3", -6.0},   {L"--2", 2.0},   {L"+-+2", -2.0},  {L"2^-1", 0.5},
        {L"12.5", 12.5},  {L".5", 0.5},      {L"5.", 5.0},    {L"(2)-1", 1.0},  {L"-(2+3)", -5.0},
        {L"3 1/2", 3.5},  {L"-3 1/2", -3.5}, {L"1/4*2", 0.5}, {L"2*3 1/2", 7.0}};
    for (const auto& [text, value] : cases)
        EXPECT_EQ(Ok(text), value) << CString(text).ToUtf8();
    EXPECT_EQ(Ok(L"2*(3+4)^2"), 98.0);
    EXPECT_EQ(Ok(L"[1+{2*(3-1)}]*2"), 10.0);
    // Empty text is zero.
    for (const wchar_t* blank : {L"", L"   "}) {
        EXPECT_EQ(Eval(blank).ok, 1);
        EXPECT_EQ(Eval(blank).value, 0.0);
    }
}

TEST(EqParser, SyntaxErrors) {
    for (const wchar_t* bad :
         {L"(1+2]", L"(1+2", L"1+2)", L"()", L"2*()", L"[(1)]]", L"1 2", L"1.2.3", L"1+", L"*2",
          L"2**3", L"abc", L"2 x", L"1e5", L"1/0", L"sqrt(-1)", L"10^400", L"sin", L"sin()"})
        Fails(bad);
    Fails(L"2+3", 0); // without the operator set only numbers and signs are known
    EXPECT_EQ(Eval(L"-2", 0).value, -2.0);
    EXPECT_EQ(Eval(L"3 1/2", WEQ_OPERATORS).ok, 0); // without fractions: two numbers in a row
}

TEST(EqParser, FunctionsAndAngleModes) {
    EXPECT_NEAR(Ok(L"sqrt(2)*log(100)/ln(10)"), std::sqrt(2.0) * 2 / std::log(10.0), 1e-12);
    struct Case {
        const wchar_t* text;
        DRG mode;
        double value;
    } cases[] = {
        {L"sinh(1)", DRG_RAD, std::sinh(1.0)}, {L"sin(30)", DRG_DEG, 0.5},
        {L"asin(0.5)", DRG_DEG, 30.0},         {L"sin(30)", DRG_GRAD, std::sin(30.0)},
        {L"sinh(1)", DRG_DEG, std::sinh(1.0)}, // the hyperbolic functions take no angle
    };
    for (const Case& c : cases)
        EXPECT_NEAR(Ok(c.text, c.mode), c.value, 1e-12) << CString(c.text).ToUtf8();
}

TEST(EqParser, HostileInputNeverCrashes) {
    EXPECT_EQ(Ok(std::wstring(100000, L'(') + L"1" + std::wstring(100000, L')')), 1.0);
    Fails(std::wstring(100000, L'('));
    Fails(std::wstring(1000000, L'9'));
    Fails(std::wstring(L"1\0+2", 4));
    std::wstring all;
    for (wchar_t c = 1; c < 0x3000; ++c)
        all += c;
    Fails(all);
    Fails(std::wstring(100000, L'-'));
    EXPECT_EQ(Ok(std::wstring(100001, L'-') + L"1"), -1.0);
}

} // namespace
