#include <tlvutl/messages.h>

#include "platform_marks.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(MessageSink, SettingReturnsThePreviousAndNullRestoresTheDefault) {
    TlvUtl::MessageSink& original = TlvUtl::GetMessageSink();
    TlvUtl::CapturingMessageSink outer;
    TlvUtl::MessageSink* before = TlvUtl::SetMessageSink(&outer);
    {
        TlvUtl::ScopedMessageCapture inner;
        EXPECT_EQ(&TlvUtl::GetMessageSink(), &inner);
        TlvUtl::GetMessageSink().Beep(MB_ICONWARNING);
        EXPECT_EQ(inner.Messages().size(), 1u);
    }
    EXPECT_EQ(&TlvUtl::GetMessageSink(), &outer);
    EXPECT_TRUE(outer.Messages().empty());
    EXPECT_EQ(TlvUtl::SetMessageSink(nullptr), &outer);
    EXPECT_EQ(&TlvUtl::GetMessageSink(), &original);
    TlvUtl::SetMessageSink(before);
}

// Windows' default shows a modal box, which a test cannot dismiss.
TEST(MessageSink, DefaultSinkWritesOneStderrLinePerMessage) {
    TLVUTL_POSIX_ONLY("the default sink is the system's modal message box on Windows");
    TlvUtl::MessageSink* before = TlvUtl::SetMessageSink(nullptr);
    TlvUtl::MessageSink& sink = TlvUtl::GetMessageSink();
    testing::internal::CaptureStderr();
    const int button =
        sink.MessageBox(nullptr, L"two\nlines \u00e9\u0416\u4e2d", L"Caption", MB_OK);
    sink.ShowError(L"bad\r\nthing");
    sink.ShowWarning(L"careful");
    sink.MessageBox(nullptr, L"no caption", nullptr, MB_OK);
    const std::string err = testing::internal::GetCapturedStderr();
    TlvUtl::SetMessageSink(before);
    EXPECT_EQ(button, IDOK);
    EXPECT_EQ(err, "Caption: two lines \xc3\xa9\xd0\x96\xe4\xb8\xad\n"
                   "Error: bad  thing\n"
                   "Warning: careful\n"
                   "no caption\n");
}

} // namespace
