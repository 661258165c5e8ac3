#include <tlvutl/frame.h>
#include <tlvutl/messages.h>

#include <gtest/gtest.h>

#include <cwchar>
#include <set>

namespace {

TEST(Strings, LoadFromTheResourceModuleAndUnknownIdsGiveEmptyText) {
    EXPECT_EQ(UTLLoadStringEx(24087), L"-");
    EXPECT_STREQ(UTLLoadString(24087), L"-");
    CString s;
    EXPECT_TRUE(s.LoadString(24175));
    EXPECT_EQ(s, L"sin");
    // Unknown ids give empty text.
    EXPECT_TRUE(UTLLoadStringEx(1).IsEmpty());
    EXPECT_STREQ(UTLLoadString(1), L"");
    s = L"keep";
    EXPECT_FALSE(s.LoadString(2));
}

TEST(Strings, RingWrapsAfterAbout9KAndOldPointersShowLaterTexts) {
    const wchar_t* first = UTLLoadString(24016);
    const std::wstring firstText = first;
    const std::wstring longText = UTLLoadStringEx(24008).str();
    ASSERT_GT(longText.size(), 20u);
    const wchar_t* lowest = first;
    const wchar_t* highest = first;
    bool overwritten = false;
    // Enough loads to go round the ring twice.
    for (int i = 0; i < 2 * 9217 / static_cast<int>(longText.size() + 1) + 2; ++i) {
        const wchar_t* p = UTLLoadString(24008);
        EXPECT_EQ(std::wstring(p), longText);
        lowest = std::min(lowest, p);
        highest = std::max(highest, p);
        if (std::wstring(first) != firstText)
            overwritten = true;
    }
    EXPECT_TRUE(overwritten);
    // Every text starts below position 9,217 and fits the 10,240-character buffer.
    EXPECT_LT(highest - lowest, 9217);
    EXPECT_LE(highest + longText.size() + 1, lowest + 10240);
}

TEST(ResourceDll, FailedLoadWarnsWithTheNameCutAt293AndReturnsNull) {
    TlvUtl::ScopedMessageCapture sink;
    EXPECT_EQ(UTLLoadResourceDLL(L"NOSUCHMODULE.DLL"), nullptr);
    const auto m = sink.Messages();
    ASSERT_EQ(m.size(), 1u);
    EXPECT_EQ(m[0].kind, TlvUtl::CapturingMessageSink::Kind::Warning);
    EXPECT_EQ(m[0].text, L"Unable to load resource DLL \nNOSUCHMODULE.DLL!");
    // The warning text is cut at 293 characters.
    const std::wstring name(400, L'n');
    EXPECT_EQ(UTLLoadResourceDLL(name.c_str()), nullptr);
    ASSERT_EQ(sink.Messages().size(), 2u);
    EXPECT_EQ(sink.Messages()[1].text.GetLength(), 293);
    EXPECT_EQ(UTLFreeResourceDLL(nullptr), 0);
}

TEST(Chaining, InitModuleTwiceChainsOnceAndRecordsAnswer) {
    ASSERT_EQ(InitModule(), 1);
    ASSERT_EQ(TLVUTLInitModule(), 1);
    AFX_EXTENSION_MODULE& self = UTLGetExtensionModule();
    int withResource = 0;
    for (CDynLinkLibrary* r : CDynLinkLibrary::Chain())
        withResource += r->m_hResource == self.hResource;
    EXPECT_EQ(withResource, 1);
    EXPECT_EQ(UTLIsDLLChained(self), 1);
    EXPECT_EQ(UTLIsResourceDLLChained(self), 1);

    AFX_EXTENSION_MODULE other{};
    int tag = 0;
    EXPECT_EQ(UTLIsDLLChained(other), 0); // null handle
    ASSERT_TRUE(AfxInitExtensionModule(&other, reinterpret_cast<HMODULE>(&tag)));
    EXPECT_EQ(UTLIsDLLChained(other), 0);
    const std::size_t before = CDynLinkLibrary::Chain().size();
    UTLInitExtensionDll(other);
    UTLInitExtensionDll(other);
    EXPECT_EQ(CDynLinkLibrary::Chain().size(), before + 1);
    EXPECT_EQ(UTLIsDLLChained(&other), 1);
    EXPECT_EQ(UTLIsResourceDLLChained(&other), 1);
}

} // namespace
