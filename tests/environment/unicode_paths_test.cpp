// Folders, ini files, the registry store and .reg files in folders whose names are not ASCII
// (accents, Cyrillic, CJK), under the classic locale, C.UTF-8 and a UTF-8 locale with a
// decimal comma: the same results everywhere, and nothing throws.
#include <tlvutl/encoding.h>
#include <tlvutl/folders.h>
#include <tlvutl/profile.h>
#include <tlvutl/registry.h>

#include "platform_marks.h"
#include "temp_dir.h"
#include "unicode_paths.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace {

namespace stdfs = std::filesystem;
using unicode_paths::Wide;

// TempDir's UTF-8 and wide path conversions under short names.
stdfs::path U(const std::string& utf8) {
    return TempDir::Name(utf8);
}
std::wstring W(const stdfs::path& p) {
    return TempDir::Wide(p);
}
stdfs::path FromWide(const std::wstring& text) {
    return TempDir::Name(TlvUtils::ToUtf8(text));
}

// An ini file's bytes for text that is not ASCII: UTF-16LE with its mark on Windows, whose
// profile functions read other files in the ANSI code page; UTF-8 elsewhere.
std::string IniBytes(const std::string& utf8) {
#ifdef _WIN32
    return "\xFF\xFE" + TlvUtils::ToUtf16LE(Wide(utf8));
#else
    return utf8;
#endif
}

constexpr wchar_t kSeparator = static_cast<wchar_t>(stdfs::path::preferred_separator);

// A fresh folder whose own name is not ASCII.
class UnicodePathsTest : public ::testing::Test {
protected:
    TempDir dir;
    stdfs::path root = dir / "ü-Я-字";
    void SetUp() override { stdfs::create_directories(root); }
    void TearDown() override {
        for (auto r : {TlvUtl::FolderRoot::Installation, TlvUtl::FolderRoot::Config,
                       TlvUtl::FolderRoot::AppData, TlvUtl::FolderRoot::Documents,
                       TlvUtl::FolderRoot::PublicDocuments})
            TlvUtl::SetFolderRoot(r, L"");
        TlvUtl::SetRegistryDirectory(L"");
    }
};

TEST_F(UnicodePathsTest, FolderGettersSeedAndLinkUnderNonAsciiRoots) {
    for (const std::string& locale : unicode_paths::Locales()) {
        unicode_paths::ScopedLocale scoped(locale);
        for (const std::string& name : unicode_paths::Names()) {
            SCOPED_TRACE(locale + " / " + name);
            const stdfs::path base = root / U(locale + " " + name);
            const stdfs::path install = base / U("Установка " + name);
            stdfs::create_directories(install / "Config");
            stdfs::create_directories(install / "Data");
            stdfs::create_directories(install / "Samples");
            const std::string iniBytes = IniBytes("[Config]\r\nKey=" + name + "\r\n");
            TempDir::Write(install / "Config" / "talvoapp.ini", iniBytes);
            TempDir::Write(install / "Data" / "AppBoxID.xml",
                           "<AppBoxID><ApplicationRegKey>Suite</ApplicationRegKey><UserPathDir>"
                           "Éditeur</UserPathDir><UserProductDir>製品</UserProductDir></AppBoxID>");
            TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::Installation, W(install));
            TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::Config, W(install / "Config"));
            TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::AppData, W(base / U("Données")));
            TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::Documents, W(base / U("Документы")));
            TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::PublicDocuments, W(base / U("Público")));

            const std::wstring config = GetUserProfileConfigDir().str();
            EXPECT_EQ(config.rfind(W(base / U("Données")), 0), 0u) << TlvUtils::ToUtf8(config);
            EXPECT_NE(config.find(std::wstring(L"Éditeur") + kSeparator + L"製品"),
                      std::wstring::npos);
            // Seeded from the installation: the common ini file is the user's copy.
            const std::wstring ini = INIGetCommonIniFile().str();
            EXPECT_EQ(TempDir::Read(FromWide(ini)), iniBytes);
            wchar_t value[64] = {};
            EXPECT_EQ(TlvUtl::Win32::GetPrivateProfileStringW(L"Config", L"Key", L"", value, 64,
                                                              ini.c_str()),
                      Wide(name).size());
            EXPECT_EQ(std::wstring(value), Wide(name));
            // Documents trees are made on first use, the samples link inside them.
            const std::wstring docs = GetUserDocumentsTalvoDir().str();
            EXPECT_TRUE(stdfs::is_directory(FromWide(docs)));
            INIEnsureUserDocFilesExist();
            INIEnsureUserDocFilesExist(); // the link is made once
            int links = 0;
            for (const auto& e : stdfs::directory_iterator(FromWide(docs)))
#ifdef _WIN32
                links += e.path().extension() == L".lnk"; // a shell link
#else
                links += e.is_symlink();
#endif
            EXPECT_EQ(links, 1);
            EXPECT_TRUE(stdfs::is_directory(FromWide(GetPublicDocumentsTalvoDir().str())));
        }
    }
}

TEST_F(UnicodePathsTest, RegistryStoreInNonAsciiFolders) {
    TLVUTL_POSIX_ONLY("the library's own registry store in a folder (Windows has the system's)");
#ifndef _WIN32
    using namespace TlvUtl;
    for (const std::string& locale : unicode_paths::Locales()) {
        unicode_paths::ScopedLocale scoped(locale);
        for (const std::string& name : unicode_paths::Names()) {
            SCOPED_TRACE(locale + " / " + name);
            const stdfs::path store = root / ("Реестр " + name + " " + locale);
            SetRegistryDirectory(W(store)); // created on first use
            HKEY key = nullptr;
            const std::wstring sub = L"Software\\" + Wide(name);
            ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, sub.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                                      nullptr, &key, nullptr),
                      ERROR_SUCCESS);
            const std::wstring text = L"Ω " + Wide(name);
            ASSERT_EQ(RegSetValueExW(key, L"名前", 0, REG_SZ,
                                     reinterpret_cast<const BYTE*>(text.c_str()),
                                     static_cast<DWORD>((text.size() + 1) * 2)),
                      ERROR_SUCCESS);
            RegCloseKey(key);
            EXPECT_TRUE(stdfs::exists(store / "HKEY_CURRENT_USER.db"));

            std::wstring error;
            wchar_t* back = nullptr;
            EXPECT_TRUE(GetRegSzValue(HKEY_CURRENT_USER, sub.c_str(), L"名前", &back));
            EXPECT_EQ(std::wstring(back ? back : L""), text);
            std::free(back);
            // A file that is not there is named with its reason.
            EXPECT_EQ(RegImportFile(W(root / "нет" / "x.reg").c_str(), &error),
                      ERROR_PATH_NOT_FOUND);
            EXPECT_NE(error.find(L"no such folder"), std::wstring::npos) << TlvUtils::ToUtf8(error);
        }
    }
#endif
}

} // namespace
