#include <tlvutl/locale.h>
#include <tlvutl/regional_format.h>

#include <gtest/gtest.h>

namespace {

TlvUtl::LocaleOverride German() {
    TlvUtl::LocaleOverride o;
    o.name = L"de_DE", o.decimalSeparator = L",", o.thousandSeparator = L".", o.grouping = L"3;0";
    o.leadingZero = 1, o.negativeMode = 1, o.rightToLeft = false;
    return o;
}

TlvUtl::LocaleOverride English() {
    TlvUtl::LocaleOverride o;
    o.name = L"en_US", o.decimalSeparator = L".", o.thousandSeparator = L",", o.grouping = L"3;0";
    o.leadingZero = 1, o.negativeMode = 1, o.rightToLeft = false;
    return o;
}

CString Format(const wchar_t* value, bool* ok = nullptr) {
    WRegionalSupportFormat f;
    CString out = L"<untouched>";
    const bool r = f.GetValueInLocaleFormat(value, out);
    if (ok)
        *ok = r;
    return out;
}

TEST(RegionalFormat, CommaDecimalWithPointGroupingKeepsTheSuffixAndComesOutAgain) {
    TlvUtl::ScopedLocaleOverride locale(German());
    bool ok = false;
    EXPECT_EQ(Format(L"1.234,5 mm", &ok), L"1.234,5 mm");
    EXPECT_TRUE(ok);
    EXPECT_EQ(Format(L"1234567,25"), L"1.234.567,25");
    // Taking the separators out needs at least one.
    WRegionalSupportFormat f;
    CString out = L"untouched";
    EXPECT_FALSE(f.RemoveThousandSeptFromValue(L"1234,5", out));
    EXPECT_EQ(out, L"untouched");
    EXPECT_TRUE(f.RemoveThousandSeptFromValue(L"1.234.567,5", out));
    EXPECT_EQ(out, L"1234567,5");
}

TEST(RegionalFormat, NoNumberOrNoDigitsGivesFalseAndAtMostNineFractionalDigitsShow) {
    TlvUtl::ScopedLocaleOverride locale(English());
    bool ok = true;
    EXPECT_EQ(Format(L"", &ok), L"");
    EXPECT_FALSE(ok);
    EXPECT_EQ(Format(L"mm", &ok), L"mm");
    EXPECT_FALSE(ok);
    // Several minus signs survive the cleaning and the formatter refuses them.
    EXPECT_EQ(Format(L"1-2-3 in", &ok), L"1-2-3 in");
    EXPECT_FALSE(ok);
    // Without a decimal separator no fraction is shown.
    EXPECT_EQ(Format(L"12345 pt", &ok), L"12,345 pt");
    EXPECT_TRUE(ok);
    // At most nine fractional digits.
    EXPECT_EQ(Format(L"0.123456789012"), L"0.123456789");
    EXPECT_EQ(Format(L"1.9999999999"), L"2.000000000");
}

TEST(RegionalFormat, IndianGroupingIsReadAsAnInteger) {
    // "3;2;0" read as a number is 3: the object groups by threes.
    TlvUtl::LocaleOverride o = English();
    o.grouping = L"3;2;0";
    TlvUtl::ScopedLocaleOverride locale(o);
    EXPECT_EQ(Format(L"1234567.5"), L"1,234,567.5");
}

TEST(RegionalFormat, RightToLeftInterfaceMirrorsTheNegativeModes) {
    const UINT expected[5][2] = {{0, 0}, {1, 3}, {2, 4}, {3, 1}, {4, 2}};
    const wchar_t* texts[5] = {L"(5)", L"-5", L"- 5", L"5-", L"5 -"};
    for (const auto& [mode, mirrored] : expected) {
        TlvUtl::LocaleOverride o = English();
        o.negativeMode = static_cast<int>(mode);
        o.rightToLeft = true;
        TlvUtl::ScopedLocaleOverride locale(o);
        EXPECT_EQ(Format(L"-5"), texts[mirrored]) << "mode " << mode;
    }
}

TEST(RegionalFormat, HandlesShareOneImplementationAndSurviveTeardown) {
    TlvUtl::ScopedLocaleOverride locale(English());
    WRegionalSupportFormat a;
    WRegionalSupportFormat::DestroyInstance();
    CString out;
    EXPECT_TRUE(a.GetValueInLocaleFormat(L"1000", out)); // the handle keeps its object
    WRegionalSupportFormat b;
    EXPECT_TRUE(b.GetValueInLocaleFormat(L"1000", out));
    EXPECT_EQ(out, L"1,000");
}

} // namespace
