#include <tlvutl/encoding.h>

#include <gtest/gtest.h>

using namespace TlvUtils;

TEST(Encoding, Utf8RoundTripsEveryPlaneAndMalformedBytesBecomeReplacements) {
    const std::wstring text = L"a\u00e9\u20ac\U0001F600z";
    EXPECT_EQ(ToUtf8(text), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z");
    EXPECT_EQ(FromUtf8(ToUtf8(text)), text);
    // A stray continuation byte, a truncated sequence, an overlong form and a surrogate.
    EXPECT_EQ(FromUtf8("a\x80z"), L"a\uFFFDz");
    EXPECT_EQ(FromUtf8("a\xE2\x82"), L"a\uFFFD");
    EXPECT_EQ(FromUtf8("\xC0\xAF"), L"\uFFFD");
    EXPECT_EQ(FromUtf8("\xED\xA0\x80x"), L"\uFFFDx");
}

TEST(Encoding, Utf16LeBytesAndSurrogates) {
    const std::string bytes = ToUtf16LE(L"A\U0001F600");
    EXPECT_EQ(bytes, std::string("A\0\x3D\xD8\x00\xDE", 6));
    EXPECT_EQ(FromUtf16LE(bytes.data(), bytes.size()), L"A\U0001F600");
    // An unpaired high surrogate and an odd trailing byte.
    const char lone[] = {'\x3D', '\xD8', 'B', '\0', 'C'};
    EXPECT_EQ(FromUtf16LE(lone, sizeof lone), L"\uFFFDB");
}

TEST(Encoding, Wtf8KeepsLoneSurrogatesWhereUtf8ReplacesThem) {
    const std::wstring text = {L'a', static_cast<wchar_t>(0xD800), L'\u00e9',
                               static_cast<wchar_t>(0xDFFF)};
    EXPECT_EQ(TlvUtils::ToWtf8(text), "a\xED\xA0\x80\xC3\xA9\xED\xBF\xBF");
    EXPECT_EQ(TlvUtils::FromWtf8(TlvUtils::ToWtf8(text)), text);
    EXPECT_EQ(TlvUtils::FromUtf8(TlvUtils::ToWtf8(text)), L"a\uFFFD\u00e9\uFFFD");
    EXPECT_EQ(TlvUtils::ToUtf8(text), "a\xEF\xBF\xBD\xC3\xA9\xEF\xBF\xBD");
}
