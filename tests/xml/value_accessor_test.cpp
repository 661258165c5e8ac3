#include "xml/value_text.h"

#include "cstring_printer.h"

#include <tlvutl/com_error.h>
#include <tlvutl/xml.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <random>

namespace {

using namespace TlvUtl::xml_detail;

class Accessor : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(doc.LoadFromString(L"<r><e a=\"\"/></r>"));
        e = doc.GetRootNode().GetNode(WXPath(L"e"));
    }
    // The attribute "v" holding text, read back through a fresh accessor.
    WXmlValueAccessor With(const wchar_t* text) {
        e.Attribute(L"@v").SetString(text);
        return e.Attribute(L"@v");
    }
    CString Stored() { return e.Attribute(L"@v").GetString(L"<missing>"); }

    WXmlDoc doc;
    WXmlNode e;
};

TEST_F(Accessor, BoolReadsOnlyTheExactWords) {
    EXPECT_EQ(With(L"true").Get<bool>(), true);
    EXPECT_EQ(With(L"false").Get<bool>(), false);
    for (const wchar_t* t : {L"TRUE", L"1", L" true", L"true ", L""}) {
        EXPECT_FALSE(With(t).Get<bool>()) << CString(t).ToUtf8();
        EXPECT_TRUE(With(t).GetBool(true));
        try {
            With(t).GetBool();
            ADD_FAILURE() << "no exception";
        } catch (const WXmlValueTypeNotFoundException& x) {
            EXPECT_EQ(x.GetMessage(), L"bool");
        }
    }
}

// Short texts, read as the C library reads them with the zero rule, are
// ReadersAgreeWithTheCLibraryConversions'; here, what lies past them.
TEST_F(Accessor, NumbersSaturateAndUnreadableOnesTakeTheDefault) {
    // Out of range saturates, as the 32-bit conversion does.
    EXPECT_EQ(With(L"99999999999").Get<int>(), INT_MAX);
    EXPECT_EQ(With(L"-99999999999").Get<int>(), INT_MIN);
    EXPECT_EQ(With(L"99999999999999999999").Get<__int64>(), INT64_MAX);
    EXPECT_EQ(With(L"0").Get<__int64>(), 0);
    EXPECT_FALSE(With(L"x").Get<__int64>());
    EXPECT_EQ(With(L"-2.25").GetDouble(7.0), -2.25);
    EXPECT_EQ(With(L"x").GetDouble(7.0), 7.0);
    try {
        With(L"x").GetIntPtr();
        ADD_FAILURE();
    } catch (const WXmlValueTypeNotFoundException& x) {
        EXPECT_EQ(x.GetMessage(), L"intptr");
    }
}

TEST_F(Accessor, TextFormsAreByteExactAtTheBoundaries) {
    struct Case {
        void (*write)(WXmlValueAccessor&);
        const wchar_t* text;
    };
    const Case cases[] = {
        {[](WXmlValueAccessor& a) { a.SetInt(INT_MIN); }, L"-2147483648"},
        {[](WXmlValueAccessor& a) { a.SetInt(INT_MAX); }, L"2147483647"},
        {[](WXmlValueAccessor& a) { a.SetIntPtr(INT64_MAX); }, L"9223372036854775807"},
        {[](WXmlValueAccessor& a) { a.SetIntPtr(INT64_MIN); }, L"-9223372036854775808"},
        {[](WXmlValueAccessor& a) { a.SetDouble(-0.0); }, L"-0.000000"},
        {[](WXmlValueAccessor& a) { a.SetDouble(2.0000005); }, L"2.000001"},
        {[](WXmlValueAccessor& a) { a.SetPoint(CPoint(-3, 4)); }, L"(-3,4)"},
        {[](WXmlValueAccessor& a) { a.SetSize(CSize(INT_MAX, INT_MIN)); },
         L"(2147483647,-2147483648)"},
        {[](WXmlValueAccessor& a) { a.SetRect(CRect(1, 2, 3, 4)); }, L"1,2,3,4"},
    };
    for (const auto& c : cases) {
        WXmlValueAccessor a = e.Attribute(L"@v");
        c.write(a);
        EXPECT_EQ(Stored(), c.text);
    }
    WXmlValueAccessor a = e.Attribute(L"@v");
    a.SetDouble(1e300);
    const CString big = Stored();
    EXPECT_EQ(big.Left(4), L"1000");
    EXPECT_EQ(big.Right(7), L".000000");
    EXPECT_EQ(big.Find(L'e'), -1);
    EXPECT_EQ(a.Get<double>(), 1e300);
}

TEST_F(Accessor, PointsAndRectanglesReadOnlyTheirForms) {
    EXPECT_EQ(With(L"(3,4)").Get<CPoint>(), CPoint(3, 4));
    EXPECT_EQ(With(L"(3,4)tail").Get<CSize>(), CSize(3, 4));
    for (const wchar_t* t : {L" (3,4)", L"(3,4 )", L"3,4", L"(,4)", L"(3,)", L"(3;4)", L"("})
        EXPECT_FALSE(With(t).Get<CPoint>()) << CString(t).ToUtf8();
    EXPECT_EQ(With(L"1,2,3,4").Get<CRect>(), CRect(1, 2, 3, 4));
    EXPECT_EQ(With(L" 1 , -2 ,3, 4").Get<CRect>(), CRect(1, -2, 3, 4));
    for (const wchar_t* t : {L"(1,2,3,4)", L"1,2,3", L"1,2,,4", L""})
        EXPECT_FALSE(With(t).Get<CRect>()) << CString(t).ToUtf8();
    for (auto get :
         {+[](WXmlValueAccessor& a) { a.GetPoint(); }, +[](WXmlValueAccessor& a) { a.GetSize(); },
          +[](WXmlValueAccessor& a) { a.GetRect(); }}) {
        try {
            WXmlValueAccessor a = With(L"x");
            get(a);
            ADD_FAILURE();
        } catch (const WXmlValueTypeNotFoundException& x) {
            EXPECT_EQ(x.GetMessage(), L"rect");
        }
    }
    EXPECT_EQ(With(L"junk").GetSize(CSize(7, 8)), CSize(7, 8));
}

TEST_F(Accessor, WritingTheDefaultClearsButNeverCreatesOrRemoves) {
    e.Attribute(L"@n").SetInt(5, 5);
    EXPECT_FALSE(e.Attribute(L"@n").Exists());
    e.Attribute(L"@n").SetInt(9);
    e.Attribute(L"@n").SetInt(5, 5);
    EXPECT_TRUE(e.Attribute(L"@n").Exists());
    EXPECT_TRUE(e.Attribute(L"@n").IsEmpty());
    EXPECT_EQ(e.Attribute(L"@n").GetInt(5), 5);
    e.Attribute(L"@n").SetInt(6, 5);
    EXPECT_EQ(e.Attribute(L"@n").GetInt(), 6);
    e.Attribute(L"@d").SetDouble(0.0, -0.0); // equal by ==
    EXPECT_FALSE(e.Attribute(L"@d").Exists());
    e.Attribute(L"@p").SetPoint(CPoint(1, 1), CPoint(1, 1));
    e.Attribute(L"@q").SetRect(CRect(), CRect());
    EXPECT_FALSE(e.Attribute(L"@p").Exists() || e.Attribute(L"@q").Exists());
}

TEST_F(Accessor, QueriesClearAndDelete) {
    WXmlValueAccessor missing = e.Attribute(L"@nope");
    EXPECT_TRUE(missing.IsEmpty());
    missing.Clear(); // does not create it
    EXPECT_FALSE(missing.Exists());
    EXPECT_FALSE(missing.Get<CString>());
    EXPECT_THROW(missing.GetString(), WXmlValueTypeNotFoundException);
    WXmlValueAccessor a = e.Attribute(L"@a");
    EXPECT_EQ(a.Get<CString>(), CString(L""));
    a.Delete();
    EXPECT_FALSE(a.Exists());
    a.Delete(); // nothing left to remove
    // The selector's first character is dropped whatever it is.
    e.Attribute(L"#k").SetInt(3);
    EXPECT_EQ(e.Attribute(L"@k").GetInt(), 3);
    // The node's own text.
    e.Value().SetInt(42);
    EXPECT_EQ(e.GetXML(), L"<e k=\"3\">42</e>");
    e.Value().Clear();
    EXPECT_EQ(e.GetXML(), L"<e k=\"3\"/>");
}

TEST_F(Accessor, EmptyNodesHaveNoValuesAndTakeNone) {
    WXmlNode empty;
    EXPECT_FALSE(empty.Attribute(L"@a").Exists());
    EXPECT_FALSE(empty.Value().Get<int>());
    EXPECT_EQ(empty.Attribute(L"@a").GetInt(4), 4);
    try {
        empty.Attribute(L"@a").SetInt(1);
        ADD_FAILURE();
    } catch (const WXmlValueTypeNotFoundException& x) {
        EXPECT_EQ(x.GetMessage(), L"int");
    }
    // An attribute has no attributes of its own.
    WXmlNode attr = e.GetNode(WXPath(L"@a"));
    EXPECT_THROW(attr.Attribute(L"@x").SetString(L"1"), WXmlValueTypeNotFoundException);
    attr.Value().SetString(L"via the node");
    EXPECT_EQ(e.Attribute(L"@a").GetString(), L"via the node");
}

TEST_F(Accessor, TextThatXmlCannotHoldIsRefused) {
    try {
        e.Attribute(L"@v").SetString(L"bell\x07");
        ADD_FAILURE();
    } catch (const ComError& x) {
        EXPECT_EQ(static_cast<std::uint32_t>(x.Error()), 0x80070057u);
    }
    EXPECT_FALSE(e.Attribute(L"@v").Exists());
    EXPECT_THROW(e.Attribute(L"@bad name").SetString(L"1"), ComError);
    EXPECT_THROW(e.Attribute(L"@1x").SetString(L"1"), ComError);
    EXPECT_THROW(e.Attribute(L"@xmlns:p").SetString(L"urn:x"), ComError);
}

TEST_F(Accessor, BinaryIsTypedBase64OnElements) {
    const unsigned char bytes[] = {0x00, 0x01, 0xFE, 0xFF, 'x'};
    WXmlNode blob = doc.GetRootNode().CreateChild(L"blob", nullptr);
    blob.Value().SetBinary(bytes, sizeof bytes);
    EXPECT_EQ(blob.GetXML(), L"<blob xmlns:dt=\"urn:schemas-microsoft-com:datatypes\" "
                             L"dt:dt=\"bin.base64\">AAH+/3g=</blob>");
    unsigned char out[8] = {};
    EXPECT_EQ(blob.Value().GetBinary(nullptr, 0), 5u);
    EXPECT_EQ(blob.Value().GetBinary(out, sizeof out), 5u);
    EXPECT_EQ(std::memcmp(out, bytes, 5), 0);
    unsigned char shortBuf[2] = {};
    EXPECT_EQ(blob.Value().GetBinary(shortBuf, 2), 2u);
    EXPECT_EQ(shortBuf[1], 0x01);
    // Written again: still one marker.
    blob.Value().SetBinary(bytes, 1);
    EXPECT_EQ(blob.GetXML(), L"<blob xmlns:dt=\"urn:schemas-microsoft-com:datatypes\" "
                             L"dt:dt=\"bin.base64\">AA==</blob>");
    // No bytes at all: an empty typed value.
    blob.Value().SetBinary(nullptr, 0);
    EXPECT_EQ(blob.Value().GetBinary(out, sizeof out), 0u);
    e.Attribute(L"@none").SetString(L"");
    EXPECT_EQ(e.Attribute(L"@none").GetBinary(out, sizeof out), 0u);
    // Attributes cannot be typed: plain base64.
    e.Attribute(L"@b").SetBinary(bytes, 3);
    EXPECT_EQ(e.Attribute(L"@b").GetString(), L"AAH+");
    EXPECT_EQ(e.Attribute(L"@b").GetBinary(out, sizeof out), 3u);
}

TEST_F(Accessor, BinaryWrittenOnWindowsReadsBack) {
    WXmlDoc win;
    ASSERT_TRUE(win.LoadFromString(
        L"<?xml version=\"1.0\"?>\r\n<s xmlns:x=\"urn:schemas-microsoft-com:datatypes\">"
        L"<a x:dt=\"bin.base64\">SGVs\r\nbG8=</a><b>SGVsbG8=</b><c "
        L"x:dt=\"bin.base64\">!!</c></s>"));
    unsigned char out[16] = {};
    WXmlNode root = win.GetRootNode();
    EXPECT_EQ(root.GetNode(WXPath(L"a")).Value().GetBinary(out, sizeof out), 5u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out), 5), "Hello");
    EXPECT_EQ(root.GetNode(WXPath(L"b")).Value().GetBinary(out, sizeof out), 0u)
        << "an untyped element holds a string, not bytes";
    EXPECT_THROW(root.GetNode(WXPath(L"c")).Value().GetBinary(out, sizeof out), ComError);
    EXPECT_EQ(root.GetNodeNoThrow(WXPath(L"zzz")).Value().GetBinary(out, sizeof out), 0u);
}

TEST(ValueText, ReadingIgnoresTheProcessLocale) {
    const char* german = std::setlocale(LC_ALL, "de_DE.UTF-8");
    if (!german)
        GTEST_SKIP() << "no German locale on this machine";
    EXPECT_EQ(ReadDouble(L"1.5"), 1.5);
    EXPECT_EQ(ReadDouble(L"1,5"), 1.0);
    EXPECT_EQ(WriteDouble(1.5), L"1.500000");
    std::setlocale(LC_ALL, "C");
}

// The readers must agree with the C library's wide conversions (in the C locale) that
// define them, on any text.
TEST(ValueText, ReadersAgreeWithTheCLibraryConversions) {
    std::setlocale(LC_ALL, "C");
    std::mt19937 rng(7);
    const wchar_t alphabet[] = L" \t+-0123456789.eExXpPaInNfFy";
    const int n = static_cast<int>(std::wcslen(alphabet));
    for (int round = 0; round < 50000; ++round) {
        std::wstring t;
        const int len = static_cast<int>(rng() % 10);
        for (int i = 0; i < len; ++i)
            t += alphabet[rng() % static_cast<unsigned>(n)];
        long long l = std::wcstoll(t.c_str(), nullptr, 10);
        l = std::max<long long>(INT_MIN, std::min<long long>(INT_MAX, l));
        const std::optional<int> i = ReadInt(t);
        if (l == 0 && t != L"0")
            ASSERT_FALSE(i) << CString(t).ToUtf8();
        else
            ASSERT_EQ(i, static_cast<int>(l)) << CString(t).ToUtf8();
        const double d = std::wcstod(t.c_str(), nullptr);
        const std::optional<double> r = ReadDouble(t);
        if (d == 0.0 && (t.empty() || t[0] != L'0')) {
            ASSERT_FALSE(r) << CString(t).ToUtf8();
        } else {
            ASSERT_TRUE(r) << CString(t).ToUtf8();
            if (std::isnan(d))
                ASSERT_TRUE(std::isnan(*r)) << CString(t).ToUtf8();
            else
                ASSERT_EQ(*r, d) << CString(t).ToUtf8();
        }
    }
}

} // namespace
