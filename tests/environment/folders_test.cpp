#include <tlvutl/encoding.h>
#include <tlvutl/folders.h>
#include <tlvutl/frame.h>
#include <tlvutl/messages.h>
#include <tlvutl/profile.h>

#include "platform_marks.h"
#include "temp_dir.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

namespace fs = std::filesystem;

// A small installation (Config with the common ini file and a read-only file, Data with the
// product descriptor, Samples) and empty user roots, all under one temporary folder.
class FoldersTest : public ::testing::Test {
protected:
    TempDir dir;
    fs::path install = dir / "install";

    void SetUp() override {
        fs::create_directories(install / "Config" / "Sub");
        fs::create_directories(install / "Data");
        fs::create_directories(install / "Samples");
        TempDir::Write(install / "Config" / "talvoapp.ini",
                       "[Config]\r\nNetworkWorkspaceDir=/net/ws\r\n");
        TempDir::Write(install / "Config" / "locked.xml", "<x/>");
        TempDir::Write(install / "Config" / "Sub" / "nested.txt", "n");
        fs::permissions(install / "Config" / "locked.xml",
                        fs::perms::owner_read | fs::perms::group_read);
        TempDir::Write(
            install / "Data" / "AppBoxID.xml",
            "<AppBoxID><ApplicationRegKey>Test "
            "Suite</ApplicationRegKey><UserPathDir>Maker</UserPathDir>"
            "<UserProductDir>Product</UserProductDir><UserContentDir>Content</UserContentDir>"
            "<InstalledContentDir>Public Content</InstalledContentDir></AppBoxID>");
        TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::Installation, install.wstring());
        TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::Config, (install / "Config").wstring());
        TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::AppData, (dir / "appdata").wstring());
        TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::Documents, (dir / "docs").wstring());
        TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::PublicDocuments, (dir / "public").wstring());
        TlvUtl::SetAppFolderName(L"Draw");
    }
    void TearDown() override {
        for (auto r : {TlvUtl::FolderRoot::Installation, TlvUtl::FolderRoot::Config,
                       TlvUtl::FolderRoot::AppData, TlvUtl::FolderRoot::Documents,
                       TlvUtl::FolderRoot::PublicDocuments})
            TlvUtl::SetFolderRoot(r, L"");
        TlvUtl::SetAppFolderName(L"");
    }
    // A folder as the getters answer it: with the system's separator at its end.
    std::wstring P(const fs::path& p) {
        return p.wstring() + static_cast<wchar_t>(fs::path::preferred_separator);
    }
};

TEST_F(FoldersTest, TreesFromTheRootsAndTheProductDescriptor) {
    EXPECT_EQ(INIGetConfigDir().str(), P(install / "Config"));
    EXPECT_EQ(INIGetInstallDir().str(), P(install));
    EXPECT_EQ(INIGetAppDir().str(), P(install / "Draw"));
    EXPECT_EQ(INIGetRegistryProductKey(), L"SOFTWARE\\Talvo\\Test Suite");
    EXPECT_EQ(GetUserProfileGraphicsDir().str(), P(dir / "appdata" / "Maker" / "Product"));
    EXPECT_EQ(GetUserDocumentsTalvoSuiteDir().str(), P(dir / "docs" / "Maker" / "Content"));
    EXPECT_EQ(GetPublicDocumentsTalvoContentDir().str(),
              P(dir / "public" / "Talvo" / "Public Content"));
    EXPECT_EQ(GetUserProfileBrushDir().str(),
              P(dir / "appdata" / "Maker" / "Product" / "Draw" / "Presets" / "Brush"));
    EXPECT_TRUE(fs::is_directory(GetUserProfileBrushDir().str()));
    EXPECT_FALSE(fs::exists(INIGetColorDir().str())); // the installation tree is never created
    EXPECT_EQ(INIGetCommonIniFile().str(),
              P(dir / "appdata" / "Maker" / "Product" / "Config") + L"talvoapp.ini");
}

TEST_F(FoldersTest, TwoThreadsGetTheSamePathAndTheFolderExists) {
    CString a, b;
    std::thread t1([&] { a = GetUserProfileSymbolsDir(); });
    std::thread t2([&] { b = GetUserProfileSymbolsDir(); });
    t1.join();
    t2.join();
    EXPECT_EQ(a, b);
    EXPECT_TRUE(fs::is_directory(a.str()));
}

TEST_F(FoldersTest, SeedingCopiesTheConfigurationWritable) {
    const fs::path config(GetUserProfileConfigDir().str());
    EXPECT_TRUE(fs::exists(config / "Sub" / "nested.txt"));
    const auto perms = fs::status(config / "locked.xml").permissions();
    EXPECT_NE(perms & fs::perms::owner_write, fs::perms::none);
    EXPECT_EQ(INIGetNetworkWorkspaceDir(), L"/net/ws");
}

TEST_F(FoldersTest, SeedingIsSkippedWhenTheCommonIniFileExists) {
    const fs::path user = dir / "appdata" / "Maker" / "Product" / "Config";
    fs::create_directories(user);
    TempDir::Write(user / "talvoapp.ini", "[Config]\r\n");
    GetUserProfileConfigDir();
    EXPECT_FALSE(fs::exists(user / "locked.xml"));
    EXPECT_EQ(TempDir::Read(user / "talvoapp.ini"), "[Config]\r\n");
}

// Any flag other than 0 reads back as 1.
TEST_F(FoldersTest, IniBackedSettings) {
    EXPECT_EQ(INIGetScanCloseDlgFlag(), 1);
    EXPECT_TRUE(INIWriteScanCloseDlgFlag(0));
    EXPECT_EQ(INIGetScanCloseDlgFlag(), 0);
    EXPECT_TRUE(INIWriteScanCloseDlgFlag(7));
    EXPECT_EQ(INIGetScanCloseDlgFlag(), 1);
    EXPECT_TRUE(INISetCustomUnit(3, L"a,b,c,d,1.0,1,0.1,0.2,0.5,2"));
    wchar_t line[64];
    EXPECT_EQ(INIGetCustomUnit(3, line, 64), 27u);
    EXPECT_STREQ(line, L"a,b,c,d,1.0,1,0.1,0.2,0.5,2");
}

// The link is made once (the non-ASCII folder test checks that, on Windows too); a link of
// another name to the same folder counts as made.
TEST_F(FoldersTest, SamplesLinkOfAnotherNameCounts) {
    TLVUTL_POSIX_ONLY("symbolic links made by the test");
    TempDir::Write(install / "Samples" / "a.drw", "x");
    WAppSkinSettingData::SetAppUIName(L"Draw");
    INIEnsureUserDocFilesExist();
    const fs::path link =
        fs::path(GetUserDocumentsTalvoDir().str()) / (L"Draw " + UTLLoadStringEx(19820).str());
    ASSERT_TRUE(fs::is_symlink(link));
    EXPECT_TRUE(fs::exists(link / "a.drw"));
    fs::remove(link);
    fs::create_directory_symlink(install / "Samples",
                                 fs::path(GetUserDocumentsTalvoDir().str()) / "My samples");
    INIEnsureUserDocFilesExist();
    EXPECT_FALSE(fs::exists(fs::symlink_status(link)));
    WAppSkinSettingData::SetAppUIName(L"");
}

TEST_F(FoldersTest, MissingProductDescriptorIsReportedAndDefaultsApply) {
    fs::remove(install / "Data" / "AppBoxID.xml");
    TlvUtl::ResetFolderCaches();
    TlvUtl::ScopedMessageCapture sink;
    EXPECT_EQ(BOXIDGetUserPathDir(), L"Talvo");
    const auto messages = sink.Messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].text, L"Failed to load the AppBoxID.xml file.");
    // Beside the application folder it is found first.
    fs::create_directories(install / "Draw");
    TempDir::Write(install / "Draw" / "AppBoxID.xml",
                   "<AppBoxID><UserPathDir>Beside</UserPathDir></AppBoxID>");
    TlvUtl::ResetFolderCaches();
    EXPECT_EQ(BOXIDGetUserPathDir(), L"Beside");
}

TEST(UnicodeIniFile, HeaderIsByteExactAndExistingFilesAreKept) {
    TempDir dir;
    const std::wstring file = (dir / "u.ini").wstring();
    ASSERT_EQ(UTLCreateUnicodeIniFile(file.c_str()), 1);
    EXPECT_EQ(TempDir::Read(dir / "u.ini"),
              "\xFF\xFE" +
                  TlvUtils::ToUtf16LE(
                      L"; Please do not remove! This line is required by Winnt4.\r\n\r\n"));
    // The profile functions keep it Unicode.
    ASSERT_TRUE(TlvUtl::Win32::WritePrivateProfileStringW(L"S", L"k", L"\u00e9", file.c_str()));
    EXPECT_EQ(TempDir::Read(dir / "u.ini").substr(0, 2), "\xFF\xFE");
    const std::string before = TempDir::Read(dir / "u.ini");
    EXPECT_EQ(UTLCreateUnicodeIniFile(file.c_str()), 0);
    EXPECT_EQ(TempDir::Read(dir / "u.ini"), before);
    EXPECT_EQ(UTLCreateUnicodeIniFile((dir / "no" / "such.ini").wstring().c_str()), 0);
}

} // namespace
