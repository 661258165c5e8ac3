#include <tlvutl/cstring.h>

#include <gtest/gtest.h>

#include <clocale>
#include <vector>

namespace {

CString Fmt(const wchar_t* f, auto... a) {
    CString s;
    s.Format(f, a...);
    return s;
}

CString FmtV(const wchar_t* f, ...) {
    va_list ap;
    va_start(ap, f);
    CString s;
    s.FormatV(f, ap);
    va_end(ap);
    return s;
}

TEST(CStringFormat, FollowsMsvcWideRules) {
    // %s is wide and %S narrow in the wide functions; %c is a wide character.
    EXPECT_EQ(Fmt(L"[%s|%S|%c|%C]", L"wide", "narrow", L'\u00e9', 'x'), L"[wide|narrow|\u00e9|x]");
    EXPECT_EQ(Fmt(L"%hs/%ls/%ws", "h", L"l", L"w"), L"h/l/w");
    // %ld is 32-bit as on Windows (the rest of the integer and float conversions are
    // compared with the C library in wide_format_test.cpp); %I64d and %lld are 64-bit.
    EXPECT_EQ(Fmt(L"%ld", 0x1FFFFFFFFLL), L"-1");
    EXPECT_EQ(Fmt(L"%I64d %lld %I64u", 5000000000LL, -5000000000LL, 18446744073709551615ULL),
              L"5000000000 -5000000000 18446744073709551615");
    EXPECT_EQ(Fmt(L"%hd %hu", 70000, 70000), L"4464 4464");
    EXPECT_EQ(Fmt(L"%*d|%-*d|%.*f", 4, 1, 3, 2, 2, 3.14159), L"   1|2  |3.14");
    EXPECT_EQ(Fmt(L"%.0f|%.0f", 0.5, 1.5), L"0|2"); // ties to even
    EXPECT_EQ(Fmt(L"%.3s|%6.2s|", L"abcdef", L"xyz"), L"abc|    xy|");
    EXPECT_EQ(Fmt(L"%s", static_cast<const wchar_t*>(nullptr)), L"(null)");
    EXPECT_EQ(Fmt(L"%p", reinterpret_cast<void*>(0xABC)), L"0000000000000ABC");
}

TEST(CStringFormat, FloatsUseThePointWhateverTheLocale) {
    const char* old = std::setlocale(LC_NUMERIC, nullptr);
    const std::string saved = old ? old : "C";
    std::setlocale(LC_NUMERIC, "de_DE.UTF-8"); // may not exist; the result must not depend on it
    EXPECT_EQ(Fmt(L"%f|%.2f|%e|%g|%g|%G", 1.5, -0.005, 12345.678, 0.0001, 1e20, 1e-10),
              L"1.500000|-0.01|1.234568e+04|0.0001|1e+20|1E-10");
    EXPECT_EQ(Fmt(L"%08.3f|%-8.1f|%+.1f", -3.14159, 2.25, 2.0), L"-003.142|2.2     |+2.0");
    std::setlocale(LC_NUMERIC, saved.c_str());
}

TEST(CStringFormat, ArgumentsAreTypeSafe) {
    CString name = L"units";
    // A CString passes directly, an int for %f is converted, too few arguments stop cleanly.
    EXPECT_EQ(Fmt(L"%s=%f", name, 2), L"units=2.000000");
    EXPECT_EQ(Fmt(L"a%db%dc", 1), L"a1b");
    EXPECT_EQ(Fmt(L"x%n"), L"x");
    EXPECT_EQ(FmtV(L"%s %d %I64d %S %f", L"v", -3, 1LL << 40, "n", 0.25),
              L"v -3 1099511627776 n 0.250000");
}

// Out-of-range positions and counts are clamped, never read past the text.
TEST(CString, AtlMemberSemanticsTokensAndBuffers) {
    CString s = L"Hello, World";
    EXPECT_EQ(s.Left(-1), L"");
    EXPECT_EQ(s.Right(100), L"Hello, World");
    EXPECT_EQ(s.Mid(-3, 2), L"He");
    EXPECT_EQ(s.Mid(20, 2), L"");
    EXPECT_EQ(s.Find(L'o', 5), 8);
    EXPECT_EQ(s.Find(L'o', 100), -1);
    EXPECT_EQ(s.ReverseFind(L'o'), 8);
    EXPECT_EQ(s.FindOneOf(L",W"), 5);
    EXPECT_EQ(s.CompareNoCase(L"hello, world"), 0);

    CString r = L"a--b--c";
    EXPECT_EQ(r.Replace(L"--", L"+"), 2);
    EXPECT_EQ(r.Remove(L'+'), 2);
    EXPECT_EQ(r.Insert(1, L"XY"), 5);
    EXPECT_EQ(r.Delete(0, 2), 3);
    EXPECT_EQ(r, L"Ybc");
    CString u = L"xxabcxx";
    EXPECT_EQ(u.Trim(L'x'), L"abc");
    EXPECT_EQ(CString(L"abc").SpanExcluding(L"c"), L"ab");

    // Tokenize skips empty tokens and ends with -1.
    CString list = L";;a;b;;c;";
    int pos = 0;
    std::vector<CString> tokens;
    for (CString k = list.Tokenize(L";", pos); pos != -1; k = list.Tokenize(L";", pos))
        tokens.push_back(k);
    EXPECT_EQ(tokens, (std::vector<CString>{L"a", L"b", L"c"}));

    CString buffered;
    wchar_t* b = buffered.GetBuffer(10);
    wcscpy(b, L"abc");
    buffered.ReleaseBuffer();
    EXPECT_EQ(buffered.GetLength(), 3);
    b = buffered.GetBuffer(0);
    b[1] = L'X';
    buffered.ReleaseBuffer(2);
    EXPECT_EQ(buffered, L"aX");
}

} // namespace
