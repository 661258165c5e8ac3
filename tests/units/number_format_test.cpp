// Number text by the Win32 rules, case by case (the expected texts were checked against
// an independent implementation of the same call).
#include <tlvutl/locale.h>

#include <gtest/gtest.h>

namespace {

std::wstring Fmt(const wchar_t* value, UINT digits, UINT grouping = 3, UINT negative = 1,
                 UINT lz = 1, const wchar_t* dec = L".", const wchar_t* thou = L",") {
    NUMBERFMTW f{digits, lz, grouping, const_cast<LPWSTR>(dec), const_cast<LPWSTR>(thou), negative};
    wchar_t out[256];
    const int n = TlvUtl::Win32::GetNumberFormatW(LOCALE_USER_DEFAULT, 0, value, &f, out, 256);
    return n ? std::wstring(out)
             : L"<fail " + std::to_wstring(TlvUtl::Win32::GetLastError()) + L">";
}

TEST(NumberFormat, RoundsHalfAwayFromZeroOnTheDigitsAndNegativeZeroKeepsItsSign) {
    EXPECT_EQ(Fmt(L"999.995", 2), L"1,000.00"); // carries across a group boundary
    EXPECT_EQ(Fmt(L"2.675", 2), L"2.68");       // a double would give 2.67
    EXPECT_EQ(Fmt(L"-1.5", 0, 3, 1), L"-2");
    EXPECT_EQ(Fmt(L"0.05", 1, 3, 1, 0), L".1");
    // A negative zero keeps its sign.
    EXPECT_EQ(Fmt(L"-0.001", 2), L"-0.00");
    EXPECT_EQ(Fmt(L"-0.004", 2, 3, 0), L"(0.00)");
    EXPECT_EQ(Fmt(L"-0", 0), L"-0");
}

TEST(NumberFormat, LeadingZeroAndPadding) {
    EXPECT_EQ(Fmt(L".5", 1, 3, 1, 0), L".5");
    EXPECT_EQ(Fmt(L".5", 1, 3, 1, 1), L"0.5");
    EXPECT_EQ(Fmt(L"0000.000", 2, 3, 1, 0), L".00");
    EXPECT_EQ(Fmt(L"1", 10), L"1.0000000000");
}

TEST(NumberFormat, GroupingIntegerForms) {
    EXPECT_EQ(Fmt(L"1234567890", 0, 32), L"1,23,45,67,890");
    EXPECT_EQ(Fmt(L"1234567890", 0, 30), L"1234567,890");
    EXPECT_EQ(Fmt(L"1234567890", 0, 0), L"1234567890");
    EXPECT_EQ(Fmt(L"123456789", 0, 321), L"1,2,3,4,56,789");
    EXPECT_EQ(Fmt(L"123456789", 0, 320), L"1234,56,789");
}

TEST(NumberFormat, NegativeModesAndLongSeparators) {
    EXPECT_EQ(Fmt(L"-1234.5", 1, 3, 0), L"(1,234.5)");
    EXPECT_EQ(Fmt(L"-1234.5", 1, 3, 1), L"-1,234.5");
    EXPECT_EQ(Fmt(L"-1234.5", 1, 3, 2), L"- 1,234.5");
    EXPECT_EQ(Fmt(L"-1234.5", 1, 3, 3), L"1,234.5-");
    EXPECT_EQ(Fmt(L"-1234.5", 1, 3, 4), L"1,234.5 -");
    EXPECT_EQ(Fmt(L"1234567.25", 2, 3, 1, 1, L"<dec>", L"\u202f\u202f"),
              L"1\u202f\u202f234\u202f\u202f567<dec>25");
}

TEST(NumberFormat, TextThatIsNotANumberFails) {
    for (const wchar_t* bad :
         {L"1.2.3", L"--1", L"1-", L"+1", L" 1", L"1 ", L"", L"-", L".", L"1e5", L"0x1"})
        EXPECT_EQ(Fmt(bad, 0), L"<fail 87>") << bad;
    NUMBERFMTW f{2, 1, 3, nullptr, const_cast<LPWSTR>(L","), 1};
    wchar_t out[32];
    EXPECT_EQ(TlvUtl::Win32::GetNumberFormatW(0, 0, L"1", &f, out, 32), 0);
    EXPECT_EQ(Fmt(L"1", 2, 3, 5), L"<fail 87>");
    EXPECT_EQ(Fmt(L"1", 2, 3, 1, 2), L"<fail 87>");
    EXPECT_EQ(Fmt(L"1", 100), L"<fail 87>");
}

TEST(NumberFormat, CapacityRules) {
    NUMBERFMTW f{2, 1, 3, const_cast<LPWSTR>(L"."), const_cast<LPWSTR>(L","), 1};
    wchar_t out[16] = L"untouched";
    EXPECT_EQ(TlvUtl::Win32::GetNumberFormatW(0, 0, L"1234", &f, nullptr, 0), 9);
    EXPECT_EQ(TlvUtl::Win32::GetNumberFormatW(0, 0, L"1234", &f, out, 8), 0);
    EXPECT_EQ(TlvUtl::Win32::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_STREQ(out, L"untouched");
    EXPECT_EQ(TlvUtl::Win32::GetNumberFormatW(0, 0, L"1234", &f, out, 9), 9);
    EXPECT_STREQ(out, L"1,234.00");
    EXPECT_EQ(TlvUtl::Win32::GetNumberFormatW(0, 0, nullptr, &f, out, 9), 0);
    EXPECT_EQ(TlvUtl::Win32::GetNumberFormatW(0, 1, L"1", &f, out, 9), 0); // flags with a record
}

TEST(NumberFormat, LocaleStringGroupingWithoutARecord) {
    TlvUtl::LocaleOverride o;
    o.decimalSeparator = L".", o.thousandSeparator = L",", o.digits = 2, o.negativeMode = 1;
    wchar_t out[64];
    o.grouping = L"3;2;0";
    {
        TlvUtl::ScopedLocaleOverride scope(o);
        ASSERT_GT(TlvUtl::Win32::GetNumberFormatW(0, 0, L"1234567890.125", nullptr, out, 64), 0);
        EXPECT_STREQ(out, L"1,23,45,67,890.13");
    }
    o.grouping = L"3";
    {
        TlvUtl::ScopedLocaleOverride scope(o);
        ASSERT_GT(TlvUtl::Win32::GetNumberFormatW(0, 0, L"1234567", nullptr, out, 64), 0);
        EXPECT_STREQ(out, L"1234,567.00");
    }
}

} // namespace
