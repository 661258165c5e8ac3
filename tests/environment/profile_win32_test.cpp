// The private-profile functions where Windows' results are easy to get wrong: the last error,
// CR-alone line ends, a cache that must never answer with stale data, quoted numbers and
// empty lists. File names carry accents, Cyrillic and CJK. On Windows the same tests run
// against the system's functions, which pins the library's engine to them.
#include <tlvutl/encoding.h>
#include <tlvutl/locale.h>
#include <tlvutl/profile.h>

#include "platform/last_error.h"
#include "platform_marks.h"
#include "temp_dir.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace {

using namespace TlvUtl::Win32;
#ifdef _WIN32
// The system's profile functions set the system's last error.
using ::GetLastError;
using ::SetLastError;
#endif

constexpr DWORD kUntouched = 0xDEADBEEF;

std::wstring Wide(const std::filesystem::path& p) {
    return TempDir::Wide(p);
}

// Rewrites the file in place (same inode), as an editor that does not replace files would.
void Overwrite(const std::filesystem::path& p, const std::string& bytes) {
#ifdef _WIN32
    const int fd = ::_wopen(p.c_str(), _O_WRONLY | _O_TRUNC | _O_BINARY);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::_write(fd, bytes.data(), static_cast<unsigned>(bytes.size())),
              static_cast<int>(bytes.size()));
    ::_close(fd);
#else
    const int fd = ::open(p.c_str(), O_WRONLY | O_TRUNC);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    ::close(fd);
#endif
}

class ProfileWin32 : public ::testing::Test {
protected:
    TempDir dir;
    std::filesystem::path path = dir / "réglages-Настройки-設定.ini";
    std::wstring file = Wide(path);

    std::wstring Get(const wchar_t* app, const wchar_t* key) {
        wchar_t out[64];
        GetPrivateProfileStringW(app, key, L"def", out, 64, file.c_str());
        return out;
    }
};

TEST_F(ProfileWin32, LastErrorIsSetAsWindowsSetsIt) {
    wchar_t out[32];
    // A missing file: every read says so.
    ASSERT_FALSE(std::filesystem::exists(path));
    SetLastError(kUntouched);
    EXPECT_EQ(GetPrivateProfileStringW(L"S", L"k", L"d", out, 32, file.c_str()), 1u);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    SetLastError(kUntouched);
    EXPECT_EQ(GetPrivateProfileSectionW(L"S", out, 32, file.c_str()), 0u);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));

    // A write into a folder that does not exist.
    const std::wstring nowhere = Wide(dir / "нет" / "x.ini");
    SetLastError(kUntouched);
    EXPECT_FALSE(WritePrivateProfileStringW(L"S", L"k", L"v", nowhere.c_str()));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));

    // No section.
    SetLastError(kUntouched);
    EXPECT_FALSE(WritePrivateProfileStringW(nullptr, L"k", L"v", file.c_str()));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    ASSERT_TRUE(WritePrivateProfileStringW(L"S", L"k", L"v", file.c_str()));
    SetLastError(kUntouched);
    EXPECT_EQ(GetPrivateProfileSectionW(nullptr, out, 32, file.c_str()), 0u);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));

    // A section read of an existing file clears it.
    SetLastError(kUntouched);
    EXPECT_EQ(GetPrivateProfileSectionW(L"S", out, 32, file.c_str()), 4u);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SUCCESS));
}

TEST_F(ProfileWin32, ACarriageReturnAloneEndsALine) {
    TempDir::Write(path, "[section1]\ra=1\r[section2]\rk=v\r");
    wchar_t names[64];
    const DWORD n = GetPrivateProfileSectionNamesW(names, 64, file.c_str());
    EXPECT_EQ(std::wstring(names, n + 1), std::wstring(L"section1\0section2\0\0", 19));
    EXPECT_EQ(Get(L"section2", L"k"), L"v");
    // Mixed with CR LF: each CR LF is one line end, not two.
    TempDir::Write(path, "[A]\r\nx=1\r[B]\ny=2\r\n");
    EXPECT_EQ(Get(L"A", L"x"), L"1");
    EXPECT_EQ(Get(L"B", L"y"), L"2");
    // UTF-16LE files too.
    TempDir::Write(path, "\xFF\xFE" + TlvUtils::ToUtf16LE(L"[U]\rz=\u00b5\r"));
    EXPECT_EQ(Get(L"U", L"z"), L"\u00b5");

    TLVUTL_KNOWN_WINE_DIFFERENCE("Wine writes the whole file back with CR LF line ends");
    // A write keeps the file's own line end.
    TempDir::Write(path, "[section1]\ra=1\r[section2]\rk=v\r");
    ASSERT_TRUE(WritePrivateProfileStringW(L"section1", L"b", L"2", file.c_str()));
    EXPECT_EQ(TempDir::Read(path), "[section1]\ra=1\rb=2\r[section2]\rk=v\r");
}

TEST_F(ProfileWin32, TheCacheNeverAnswersWithStaleData) {
    TempDir::Write(path, "[S]\nk=1\n");
    EXPECT_EQ(GetPrivateProfileIntW(L"S", L"k", 0, file.c_str()), 1u);
    // Rewritten by another program at once, at the same size.
    Overwrite(path, "[S]\nk=2\n");
    EXPECT_EQ(GetPrivateProfileIntW(L"S", L"k", 0, file.c_str()), 2u);
    TLVUTL_POSIX_ONLY("change times, inodes and symbolic links of the library's own cache");
#ifndef _WIN32
    // Same size, and the modification time put back: only the change time tells.
    struct stat before {};
    ASSERT_EQ(::stat(path.c_str(), &before), 0);
    EXPECT_EQ(GetPrivateProfileIntW(L"S", L"k", 0, file.c_str()), 2u);
    Overwrite(path, "[S]\nk=3\n");
    const timespec times[2] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    EXPECT_EQ(GetPrivateProfileIntW(L"S", L"k", 0, file.c_str()), 3u);

    // Replaced by another file (a new inode) of the same size and time.
    const auto other = dir / "other.ini";
    TempDir::Write(other, "[S]\nk=4\n");
    ASSERT_EQ(::utimensat(AT_FDCWD, other.c_str(), times, 0), 0);
    std::filesystem::rename(other, path);
    EXPECT_EQ(GetPrivateProfileIntW(L"S", L"k", 0, file.c_str()), 4u);

    // Deleted, then made again.
    std::filesystem::remove(path);
    EXPECT_EQ(GetPrivateProfileIntW(L"S", L"k", 0, file.c_str()), 0u);
    EXPECT_EQ(Get(L"S", L"k"), L"def");
    TempDir::Write(path, "[S]\nk=5\n");
    EXPECT_EQ(GetPrivateProfileIntW(L"S", L"k", 0, file.c_str()), 5u);

    // A symbolic link pointed at another file of the same size.
    const auto a = dir / "a.ini", b = dir / "b.ini", link = dir / "ссылка.ini";
    TempDir::Write(a, "[S]\nk=6\n");
    TempDir::Write(b, "[S]\nk=7\n");
    std::filesystem::create_symlink(a, link);
    EXPECT_EQ(GetPrivateProfileIntW(L"S", L"k", 0, Wide(link).c_str()), 6u);
    std::filesystem::remove(link);
    std::filesystem::create_symlink(b, link);
    EXPECT_EQ(GetPrivateProfileIntW(L"S", L"k", 0, Wide(link).c_str()), 7u);
#endif
}

TEST_F(ProfileWin32, QuotedNumbersMayStartWithBlanks) {
    TempDir::Write(path, "[N]\ni=\" 42\"\nj=\"\t-7\"\nh=' 0x10'\nw=\"  \"\n");
    EXPECT_EQ(GetPrivateProfileIntW(L"N", L"i", 0, file.c_str()), 42u);
    EXPECT_EQ(GetPrivateProfileIntW(L"N", L"j", 0, file.c_str()), 0u - 7u);
    EXPECT_EQ(GetPrivateProfileIntW(L"N", L"h", 0, file.c_str()), 16u);
    EXPECT_EQ(GetPrivateProfileIntW(L"N", L"w", 9, file.c_str()), 0u); // blanks alone: no digits
}

TEST_F(ProfileWin32, AnEmptyListIsOneNul) {
    TempDir::Write(path, "[Empty]\n; only a comment\n");
    wchar_t out[8];
    std::fill(std::begin(out), std::end(out), L'#');
    EXPECT_EQ(GetPrivateProfileSectionW(L"Empty", out, 8, file.c_str()), 0u);
    EXPECT_EQ(std::wstring(out, 2), std::wstring(L"\0#", 2));

    TLVUTL_KNOWN_WINE_DIFFERENCE("Wine gives the default value for the key list of a section "
                                 "without keys");
    std::fill(std::begin(out), std::end(out), L'#');
    EXPECT_EQ(GetPrivateProfileStringW(L"Empty", nullptr, L"d", out, 8, file.c_str()), 0u);
    EXPECT_EQ(std::wstring(out, 2), std::wstring(L"\0#", 2));
    TempDir::Write(path, "");
    std::fill(std::begin(out), std::end(out), L'#');
    EXPECT_EQ(GetPrivateProfileSectionNamesW(out, 8, file.c_str()), 0u);
    EXPECT_EQ(std::wstring(out, 2), std::wstring(L"\0#", 2));
}

// Names compare without case beyond ASCII, whatever the locale; ß is not folded to SS.
TEST_F(ProfileWin32, NamesCompareWithoutCaseBeyondAscii) {
    TempDir::Write(path, "\xFF\xFE" + TlvUtils::ToUtf16LE(L"[Größe]\r\nШирина=1,5\r\n"));
    EXPECT_EQ(Get(L"größe", L"Ширина"), L"1,5");
    TLVUTL_KNOWN_WINE_DIFFERENCE("Wine compares key names without case for ASCII and Latin "
                                 "letters only, not for Cyrillic");
    EXPECT_EQ(Get(L"GRÖßE", L"ШИРИНА"), L"1,5");
    EXPECT_EQ(Get(L"GRÖSSE", L"ШИРИНА"), L"def");
}

} // namespace
