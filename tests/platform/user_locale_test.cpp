// The locale service against real POSIX locales (Debian's locales-all in CI).
#include <tlvutl/locale.h>

#include <gtest/gtest.h>

namespace {

TlvUtl::LocaleSettings Read(const wchar_t* name) {
    TlvUtl::LocaleSettings s;
    if (!TlvUtl::ReadPosixLocale(name, s))
        ADD_FAILURE() << "locale not installed (install locales-all)";
    return s;
}

TEST(UserLocale, ReadsInstalledLocales) {
    const auto de = Read(L"de_DE.UTF-8");
    EXPECT_EQ(de.decimalSeparator, L",");
    EXPECT_EQ(de.thousandSeparator, L".");
    EXPECT_EQ(de.grouping, L"3;0");
    EXPECT_EQ(de.listSeparator, L";");
    EXPECT_EQ(de.measure, 0);
    EXPECT_EQ(de.geoId, 94);

    const auto us = Read(L"en_US.UTF-8");
    EXPECT_EQ(us.measure, 1);

    const auto in = Read(L"en_IN.UTF-8");
    EXPECT_EQ(in.grouping, L"3;2;0");
    EXPECT_EQ(in.geoId, 113);

    const auto he = Read(L"he_IL.UTF-8");
    EXPECT_TRUE(he.rightToLeft);
    EXPECT_FALSE(de.rightToLeft);
}

TEST(UserLocale, UnknownLocaleIsRefusedAndCIsUsEnglish) {
    TlvUtl::LocaleSettings s;
    EXPECT_FALSE(TlvUtl::ReadPosixLocale(L"xx_YY.UTF-8", s));
    ASSERT_TRUE(TlvUtl::ReadPosixLocale(L"C", s));
    EXPECT_EQ(s.decimalSeparator, L".");
    EXPECT_EQ(s.grouping, L"3;0");
}

TEST(UserLocale, OverrideWinsFieldByFieldAndChangesTheIdentifier) {
    const LCID before = TlvUtl::Win32::GetUserDefaultLCID();
    TlvUtl::LocaleOverride o;
    o.listSeparator = L"|";
    o.geoId = 94;
    o.measure = 1;
    {
        TlvUtl::ScopedLocaleOverride scope(o);
        EXPECT_NE(TlvUtl::Win32::GetUserDefaultLCID(), before);
        wchar_t buf[8];
        ASSERT_EQ(TlvUtl::Win32::GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SLIST, buf, 8), 2);
        EXPECT_STREQ(buf, L"|");
        ASSERT_EQ(TlvUtl::Win32::GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_IMEASURE, buf, 8), 2);
        EXPECT_STREQ(buf, L"1");
        EXPECT_EQ(TlvUtl::Win32::GetUserGeoID(GEOCLASS_NATION), 94);
        // Capacity rules: 0 asks for the size, too small fails.
        EXPECT_EQ(TlvUtl::Win32::GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SLIST, nullptr, 0), 2);
        EXPECT_EQ(TlvUtl::Win32::GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SLIST, buf, 1), 0);
        EXPECT_EQ(TlvUtl::Win32::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
        EXPECT_EQ(TlvUtl::Win32::GetLocaleInfoW(LOCALE_USER_DEFAULT, 0xFFFF, buf, 8), 0);
    }
    EXPECT_EQ(TlvUtl::Win32::GetUserGeoID(99), GEOID_NOT_AVAILABLE);
}

} // namespace
