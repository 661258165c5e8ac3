// Profile semantics case by case. The expected results were checked against an independent
// implementation of the same Win32 calls.
#include <tlvutl/encoding.h>
#include <tlvutl/profile.h>

#include "temp_dir.h"

#include <gtest/gtest.h>

#include "platform_marks.h"

#include <thread>

namespace {

using namespace TlvUtl::Win32;
using namespace std::string_literals;

const char* const kSample = "; top comment\r\n"
                            "[Sec]\r\n"
                            "  Key1  =  value one  \r\n"
                            "quoted=\"  q  \"\r\n"
                            "sq='s'\r\n"
                            "half=\"abc\r\n"
                            "int1= -5\r\n"
                            "int2=0x1F\r\n"
                            "int3=12abc\r\n"
                            "int4=+7\r\n"
                            "int5= 3000000000\r\n"
                            "int6=\r\n"
                            "justkey\r\n"
                            ";comment=5\r\n"
                            "[sec]\r\n"
                            "Key1=second\r\n"
                            "[Other]\r\n"
                            "a=1\r\n"
                            "b=2\r\n";

// Why the tests of line ends, comments and list layouts are POSIX only.
[[maybe_unused]] constexpr const char* kOwnIniEngine =
    "the library's own ini engine; the Windows build calls the system's private-profile "
    "functions, which write CRLF and keep no comments";

class ProfileTest : public ::testing::Test {
protected:
    TempDir dir;
    std::wstring file = (dir / "t.ini").wstring();
    void SetUp() override { TempDir::Write(dir / "t.ini", kSample); }

    std::wstring Get(const wchar_t* app, const wchar_t* key, const wchar_t* def = L"def",
                     DWORD size = 256, DWORD* result = nullptr) {
        std::wstring buf(size + 4, L'#');
        const DWORD r = GetPrivateProfileStringW(app, key, def, buf.data(), size, file.c_str());
        if (result)
            *result = r;
        return buf.substr(0, std::min<std::size_t>(size, r + 2)); // the text and its NULs
    }
    // Another file of this test's folder, holding bytes.
    std::wstring Scratch(const char* name, const std::string& bytes) {
        TempDir::Write(dir / name, bytes);
        return (dir / name).wstring();
    }
    std::string Contents(const char* name) const { return TempDir::Read(dir / name); }
};

TEST_F(ProfileTest, ValuesAreTrimmedUnquotedAndTruncatedAndNamesIgnoreCase) {
    EXPECT_EQ(Get(L"SEC", L"key1").c_str(), std::wstring(L"value one"));
    EXPECT_EQ(Get(L"Sec", L"quoted").c_str(), std::wstring(L"  q  "));
    EXPECT_EQ(Get(L"Sec", L"sq").c_str(), std::wstring(L"s"));
    EXPECT_EQ(Get(L"Sec", L"half").c_str(), std::wstring(L"\"abc"));
    // The first [sec] answers.
    EXPECT_EQ(Get(L" sec ", L" KEY1 ").c_str(), std::wstring(L"value one"));
    DWORD r = 0;
    EXPECT_EQ(Get(L"Sec", L"key1", L"def", 4, &r), std::wstring(L"val\0", 4));
    EXPECT_EQ(r, 3u);
    EXPECT_EQ(Get(L"Sec", L"key1", L"def", 1, &r), std::wstring(L"\0", 1));
    EXPECT_EQ(r, 0u);
    EXPECT_EQ(Get(L"Sec", L"missing", L"default", 4, &r), std::wstring(L"def\0", 4));
}

TEST_F(ProfileTest, DefaultsLoseTrailingBlanksAndCommentsAreNoKeys) {
    TLVUTL_POSIX_ONLY(kOwnIniEngine);
    DWORD r = 0;
    EXPECT_EQ(Get(L"Sec", L"missing", L"def  ", 256, &r).c_str(), std::wstring(L"def"));
    EXPECT_EQ(r, 3u);
    EXPECT_EQ(Get(L"Sec", L"missing", nullptr, 256, &r).c_str(), std::wstring(L""));
    EXPECT_EQ(r, 0u);
    EXPECT_EQ(Get(L"Sec", L"justkey").c_str(), std::wstring(L"def"));
    EXPECT_EQ(Get(L"Sec", L";comment").c_str(), std::wstring(L"def"));
    EXPECT_EQ(Get(L"Nope", L"x").c_str(), std::wstring(L"def"));
    EXPECT_EQ(GetPrivateProfileStringW(L"Sec", L"key1", L"d", nullptr, 5, file.c_str()), 0u);
}

TEST_F(ProfileTest, ListsAndTheirTruncation) {
    TLVUTL_POSIX_ONLY(kOwnIniEngine);
    DWORD r = 0;
    EXPECT_EQ(Get(L"Other", nullptr, L"def", 5, &r), std::wstring(L"a\0b\0\0", 5));
    EXPECT_EQ(r, 3u);
    EXPECT_EQ(Get(L"Other", nullptr, L"def", 4, &r), std::wstring(L"a\0\0\0", 4));
    EXPECT_EQ(r, 2u);
    EXPECT_EQ(Get(nullptr, nullptr, L"def", 7, &r), std::wstring(L"Sec\0s\0\0", 7));
    EXPECT_EQ(r, 5u);
    EXPECT_EQ(Get(L"Nope", nullptr, L"def", 256, &r), std::wstring(L"def\0\0", 5));
    EXPECT_EQ(r, 3u);

    wchar_t section[256];
    r = GetPrivateProfileSectionW(L"Sec", section, 256, file.c_str());
    const std::wstring expected =
        L"Key1=value one\0quoted=\"  q  \"\0sq='s'\0half=\"abc\0int1=-5\0int2=0x1F\0"
        L"int3=12abc\0int4=+7\0int5=3000000000\0int6=\0justkey\0"s;
    EXPECT_EQ(std::wstring(section, r), expected);
    EXPECT_EQ(GetPrivateProfileSectionW(L"Other", section, 5, file.c_str()), 3u);
    EXPECT_EQ(std::wstring(section, 5), std::wstring(L"a=1\0\0", 5));
}

TEST_F(ProfileTest, IntegerReader) {
    const std::pair<const wchar_t*, UINT> cases[] = {
        {L"int1", 0u - 5u},     {L"int2", 31u}, {L"int3", 12u}, {L"int4", 7u},
        {L"int5", 3000000000u}, {L"int6", 42u}, {L"key1", 0u},  {L"nokey", 42u}};
    for (const auto& [key, value] : cases)
        EXPECT_EQ(GetPrivateProfileIntW(L"Sec", key, 42, file.c_str()), value) << key;
    EXPECT_EQ(GetPrivateProfileIntW(L"Sec", L"nokey", -3, file.c_str()), 0u - 3u);
}

TEST_F(ProfileTest, WritesKeepEverythingElse) {
    TLVUTL_POSIX_ONLY(kOwnIniEngine);
    ASSERT_TRUE(WritePrivateProfileStringW(L"OTHER", L"B", L"  spaced  ", file.c_str()));
    ASSERT_TRUE(WritePrivateProfileStringW(L"Other", L"c", L"new", file.c_str()));
    ASSERT_TRUE(WritePrivateProfileStringW(L"Other", L"a", nullptr, file.c_str()));
    ASSERT_TRUE(WritePrivateProfileStringW(L"NewSec", L"x", L"1", file.c_str()));
    ASSERT_TRUE(WritePrivateProfileStringW(L"sec", nullptr, nullptr, file.c_str()));
    EXPECT_EQ(TempDir::Read(dir / "t.ini"), "; top comment\r\n"
                                            "[sec]\r\n"
                                            "Key1=second\r\n"
                                            "[Other]\r\n"
                                            "b=spaced\r\n"
                                            "c=new\r\n"
                                            "[NewSec]\r\n"
                                            "x=1\r\n");
    EXPECT_TRUE(WritePrivateProfileStringW(nullptr, nullptr, nullptr, file.c_str()));
    EXPECT_FALSE(WritePrivateProfileStringW(nullptr, L"k", L"v", file.c_str()));
}

TEST_F(ProfileTest, NewKeysGoAfterTheSectionsLastLineUnixEndingsStayFilesAreCreated) {
    TLVUTL_POSIX_ONLY(kOwnIniEngine);
    const std::wstring u =
        Scratch("u.ini", "[A]\nx=1\n\n[B]\ny=2\n# unknown line\n\xff\xfe raw bytes\n");
    ASSERT_TRUE(WritePrivateProfileStringW(L"A", L"z", L"3", u.c_str()));
    EXPECT_EQ(Contents("u.ini"), "[A]\nx=1\nz=3\n\n[B]\ny=2\n# unknown line\n\xff\xfe raw bytes\n");
    // A file that does not exist is created.
    const std::wstring n = (dir / "n.ini").wstring();
    ASSERT_TRUE(WritePrivateProfileStringW(L"S", L"k", L"v", n.c_str()));
    EXPECT_EQ(Contents("n.ini"), "[S]\r\nk=v\r\n");
}

TEST_F(ProfileTest, EachLineKeepsItsOwnEndingAndAHalfCharacterShiftsNothing) {
    TLVUTL_POSIX_ONLY(kOwnIniEngine);
    // Line ends mixed by hand-editing: each untouched line is written back with its own (and a
    // file without a final line end keeps having none).
    const std::wstring m = Scratch("m.ini", "[A]\r\nx=1\ny=2\r; mac\r\n[B]\nz=3");
    ASSERT_TRUE(WritePrivateProfileStringW(L"B", L"w", L"4", m.c_str()));
    EXPECT_EQ(Contents("m.ini"), "[A]\r\nx=1\ny=2\r; mac\r\n[B]\nz=3\r\nw=4");
    ASSERT_TRUE(WritePrivateProfileStringW(L"A", L"y", L"5", m.c_str()));
    EXPECT_EQ(Contents("m.ini"), "[A]\r\nx=1\ny=5\r; mac\r\n[B]\nz=3\r\nw=4");

    // A UTF-16 file cut inside its last character: what is written after it stays readable.
    const std::wstring cut = Scratch(
        "c.ini", "\xFF\xFE" + TlvUtils::ToUtf16LE(L"[A]\r\n\0x=1\r\n"s) + std::string(1, 'k'));
    ASSERT_TRUE(WritePrivateProfileStringW(L"New", L"k", L"v", cut.c_str()));
    wchar_t out[8] = {};
    EXPECT_EQ(GetPrivateProfileStringW(L"New", L"k", L"", out, 8, cut.c_str()), 1u);
    EXPECT_STREQ(out, L"v");
    EXPECT_EQ(Contents("c.ini"),
              "\xFF\xFE" + TlvUtils::ToUtf16LE(L"[A]\r\n\0x=1\r\n[New]\r\nk=v\r\n"s));
}

TEST_F(ProfileTest, ThreadsWritingAndReadingOneFileLoseNothing) {
    file = (dir / "threads.ini").wstring(); // created by the first write
    constexpr int kKeys = 100;
    auto writer = [&](int w) {
        for (int i = 0; i < kKeys; ++i) {
            const std::wstring key = L"t" + std::to_wstring(w) + L"k" + std::to_wstring(i);
            ASSERT_TRUE(WritePrivateProfileStringW(L"S", key.c_str(), std::to_wstring(i).c_str(),
                                                   file.c_str()));
            wchar_t out[16];
            GetPrivateProfileStringW(L"S", key.c_str(), L"", out, 16, file.c_str());
        }
    };
    std::thread a(writer, 0), b(writer, 1);
    a.join();
    b.join();
    for (int w = 0; w < 2; ++w)
        for (int i = 0; i < kKeys; ++i) {
            const std::wstring key = L"t" + std::to_wstring(w) + L"k" + std::to_wstring(i);
            EXPECT_EQ(GetPrivateProfileIntW(L"S", key.c_str(), -1, file.c_str()),
                      static_cast<UINT>(i));
        }
}

TEST_F(ProfileTest, WriteSectionReplacesKeysAndKeepsComments) {
    TLVUTL_POSIX_ONLY(kOwnIniEngine);
    const std::wstring s = Scratch("s.ini", "[S]\r\n; note\r\na=1\r\nb=2\r\n\r\n[T]\r\nc=3\r\n");
    ASSERT_TRUE(WritePrivateProfileSectionW(L"s", L"x=9\0y=8\0", s.c_str()));
    EXPECT_EQ(Contents("s.ini"), "[S]\r\n; note\r\nx=9\r\ny=8\r\n\r\n[T]\r\nc=3\r\n");
    ASSERT_TRUE(WritePrivateProfileSectionW(L"T", nullptr, s.c_str()));
    EXPECT_EQ(Contents("s.ini"), "[S]\r\n; note\r\nx=9\r\ny=8\r\n\r\n");
}

} // namespace
