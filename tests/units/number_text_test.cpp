#include <tlvutl/locale.h>
#include <tlvutl/regional_format.h>

#include <gtest/gtest.h>

#include <cwchar>
#include <vector>

namespace {

TlvUtl::LocaleOverride Locale(const wchar_t* dec, const wchar_t* thou) {
    TlvUtl::LocaleOverride o;
    o.decimalSeparator = dec, o.thousandSeparator = thou;
    return o;
}

// A buffer with guard characters after capacity + 1, to catch writes past it.
struct Buffer {
    explicit Buffer(const wchar_t* text, int capacity)
        : data(static_cast<std::size_t>(capacity) + 9, L'#') {
        std::wcscpy(data.data(), text);
        cap = capacity;
    }
    std::wstring Text() const { return data.data(); }
    bool GuardsIntact() const {
        for (std::size_t i = static_cast<std::size_t>(cap) + 1; i < data.size(); ++i)
            if (data[i] != L'#')
                return false;
        return true;
    }
    std::vector<wchar_t> data;
    int cap;
};

TEST(NumberText, Blanks) {
    wchar_t a[] = L" \t1 2\t3 ";
    EXPECT_EQ(UTLRemoveSpaces(a), 3);
    EXPECT_STREQ(a, L"123");
    wchar_t b[] = L" \t \t";
    EXPECT_EQ(UTLRemoveSpaces(b), 0);
    EXPECT_STREQ(b, L"");
    wchar_t c[] = L"\t x y ";
    EXPECT_STREQ(UTLRemoveLeadingSpaces(c), L"x y ");
    EXPECT_EQ(UTLRemoveTrailingSpaces(c), 3);
    EXPECT_STREQ(c, L"x y");
    EXPECT_EQ(UTLRemoveSpaces(nullptr), 0);
}

TEST(NumberText, TruncateTrailingZeros) {
    TlvUtl::ScopedLocaleOverride locale(Locale(L".", L","));
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"7.000", L"7"},         {L"7.010", L"7.01"}, {L"120", L"120"},     {L"12.50 mm", L"12.5"},
        {L"12.5 mm", L"12.5 mm"}, {L"0.0", L"0"},      {L"1. mm", L"1. mm"}, {L"", L""}};
    for (const auto& [in, out] : cases) {
        wchar_t buf[32];
        std::wcscpy(buf, in);
        EXPECT_STREQ(UTLTruncateDecimalTrailingZeros(buf), out) << in;
    }
    TlvUtl::ScopedLocaleOverride comma(Locale(L",", L"."));
    wchar_t buf[] = L"3,1400";
    EXPECT_STREQ(UTLTruncateDecimalTrailingZeros(buf), L"3,14");
}

TEST(NumberText, GroupingByThreesWithinCapacity) {
    TlvUtl::ScopedLocaleOverride locale(Locale(L".", L","));
    Buffer four(L"1234", 4);
    UTLAddNumericGroupingSymbols(four.data.data(), 4);
    EXPECT_EQ(four.Text(), L"1234");
    // The integer part runs to the decimal separator or the end, so a unit after the number
    // counts as digits; callers group bare numbers.
    Buffer unit(L"1234 mm", 40);
    UTLAddNumericGroupingSymbols(unit.data.data(), 40);
    EXPECT_EQ(unit.Text(), L"1,234, mm");
    Buffer five(L"1234", 5);
    UTLAddNumericGroupingSymbols(five.data.data(), 5);
    EXPECT_EQ(five.Text(), L"1,234");
    EXPECT_TRUE(five.GuardsIntact());
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {{L"123", L"123"},
                                                               {L"1234567.891", L"1,234,567.891"},
                                                               {L"-1234", L"-1,234"},
                                                               {L".5", L".5"},
                                                               {L"abc", L"abc"}};
    for (const auto& [in, out] : cases) {
        Buffer b(in, 40);
        UTLAddNumericGroupingSymbols(b.data.data(), 40);
        EXPECT_EQ(b.Text(), out) << in;
        EXPECT_TRUE(b.GuardsIntact());
    }
}

TEST(NumberText, GroupingIgnoresTheLocaleGroupingAndUsesLongSeparators) {
    TlvUtl::LocaleOverride o = Locale(L",", L"'.'");
    o.grouping = L"3;2;0";
    TlvUtl::ScopedLocaleOverride locale(o);
    Buffer b(L"1234567,5", 15);
    UTLAddNumericGroupingSymbols(b.data.data(), 15);
    EXPECT_EQ(b.Text(), L"1'.'234'.'567,5");
    Buffer tight(L"1234567,5", 14);
    UTLAddNumericGroupingSymbols(tight.data.data(), 14);
    EXPECT_EQ(tight.Text(), L"1234567,5");
    EXPECT_TRUE(tight.GuardsIntact());
}

} // namespace
