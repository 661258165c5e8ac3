#include <tlvutl/frame.h>
#include <tlvutl/messages.h>

#include <gtest/gtest.h>

namespace {

using Kind = TlvUtl::CapturingMessageSink::Kind;

TlvUtl::CapturingMessageSink::Message BoxOf(const TlvUtl::CapturingMessageSink& sink) {
    for (const auto& m : sink.Messages())
        if (m.kind == Kind::Box)
            return m;
    ADD_FAILURE() << "no message box";
    return {};
}

TEST(FatalError, FormattedTextIsTheCaptionAndTheBodyIsFixed) {
    TlvUtl::ScopedMessageCapture sink;
    UIMSG_FatalError(1000, L"c:\\src\\module.src", 77, L"listman", 1);
    const auto messages = sink.Messages();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[0].kind, Kind::Beep);
    EXPECT_EQ(messages[0].style, 16u);
    const auto box = messages[1];
    EXPECT_EQ(box.kind, Kind::Box);
    EXPECT_EQ(box.style, 0x1010u);
    CString expected;
    expected.Format(UTLLoadStringEx(24007), L"listman", 1000u, L"C:\\SRC\\MODULE", 77u);
    EXPECT_EQ(box.caption, expected);
    EXPECT_EQ(box.text, UTLLoadStringEx(24008));
    // Body selector 0 picks the other text; a file name without extension stays whole.
    UIMSG_FatalError(5002, L"noext", 1, L"units", 0);
    ASSERT_EQ(sink.Messages().size(), 4u);
    const auto other = sink.Messages()[3];
    EXPECT_EQ(other.text, UTLLoadStringEx(24009));
    EXPECT_NE(other.caption.Find(L"NOEXT"), -1) << other.caption.ToUtf8();
}

TEST(FatalError, EmptyModuleNameUsesTheApplicationName) {
    WAppSkinSettingData::SetAppUIName(L"Illustrator Host");
    TlvUtl::ScopedMessageCapture sink;
    UIMSG_FatalError(1001, L"a.b.c", 5, L"", 1);
    const auto box = BoxOf(sink);
    EXPECT_EQ(box.caption.Find(L"Illustrator Host"), 0) << box.caption.ToUtf8();
    // Only the first point cuts: "a.b.c" shows as "A".
    EXPECT_NE(box.caption.Find(L" A,"), -1) << box.caption.ToUtf8();
    WAppSkinSettingData::SetAppUIName(L"");
}

TEST(FatalErrorDeathTest, PointBeyondTheFixedBufferEndsTheProcess) {
    const std::wstring name = std::wstring(300, L'x') + L".cpp";
    EXPECT_DEATH(UIMSG_FatalError(1000, name.c_str(), 1, L"m", 1), "too long");
}

} // namespace
