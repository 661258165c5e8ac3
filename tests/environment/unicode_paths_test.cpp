// Folders, ini files, the registry store and .reg files in folders whose names are not ASCII
// (accents, Cyrillic, CJK), under the classic locale, C.UTF-8 and a UTF-8 locale with a
// decimal comma: the same results everywhere, and nothing throws.
#include <tlvutl/encoding.h>
#include <tlvutl/folders.h>
#include <tlvutl/profile.h>
#include <tlvutl/registry.h>

#include "unicode_paths.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace {

namespace stdfs = std::filesystem;
using unicode_paths::Wide;

std::string Slurp(const stdfs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// A fresh folder whose own name is not ASCII; the paths below it are built from UTF-8 bytes,
// which std::filesystem passes through untouched.
class UnicodePathsTest : public ::testing::Test {
protected:
    stdfs::path root = stdfs::temp_directory_path() /
                       ("tlvutl-ü-Я-字-" + std::to_string(::getpid()) + "-" +
                        ::testing::UnitTest::GetInstance()->current_test_info()->name());
    void SetUp() override {
        stdfs::remove_all(root);
        stdfs::create_directories(root);
    }
    void TearDown() override {
        for (auto r : {TlvUtl::FolderRoot::Installation, TlvUtl::FolderRoot::Config,
                       TlvUtl::FolderRoot::AppData, TlvUtl::FolderRoot::Documents,
                       TlvUtl::FolderRoot::PublicDocuments})
            TlvUtl::SetFolderRoot(r, L"");
        TlvUtl::SetRegistryDirectory(L"");
        std::error_code ec;
        stdfs::remove_all(root, ec);
    }
    std::wstring W(const stdfs::path& p) const { return Wide(p.string()); }
};

TEST_F(UnicodePathsTest, FolderGettersSeedAndLinkUnderNonAsciiRoots) {
    for (const std::string& locale : unicode_paths::Locales()) {
        unicode_paths::ScopedLocale scoped(locale);
        for (const std::string& name : unicode_paths::Names()) {
            SCOPED_TRACE(locale + " / " + name);
            const stdfs::path base = root / (locale + " " + name);
            const stdfs::path install = base / ("Установка " + name);
            stdfs::create_directories(install / "Config");
            stdfs::create_directories(install / "Data");
            stdfs::create_directories(install / "Samples");
            std::ofstream(install / "Config" / "talvoapp.ini")
                << "[Config]\r\nKey=" << name << "\r\n";
            std::ofstream(install / "Data" / "AppBoxID.xml")
                << "<AppBoxID><ApplicationRegKey>Suite</ApplicationRegKey>"
                   "<UserPathDir>Éditeur</UserPathDir><UserProductDir>製品</UserProductDir>"
                   "</AppBoxID>";
            TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::Installation, W(install));
            TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::Config, W(install / "Config"));
            TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::AppData, W(base / "Données"));
            TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::Documents, W(base / "Документы"));
            TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::PublicDocuments, W(base / "Público"));

            const std::wstring config = GetUserProfileConfigDir().str();
            EXPECT_EQ(config.rfind(W(base / "Données"), 0), 0u) << TlvUtils::ToUtf8(config);
            EXPECT_NE(config.find(L"Éditeur/製品"), std::wstring::npos);
            // Seeded from the installation: the common ini file is the user's copy.
            const std::wstring ini = INIGetCommonIniFile().str();
            EXPECT_EQ(ini, config + L"talvoapp.ini");
            EXPECT_EQ(Slurp(TlvUtils::ToUtf8(ini)), "[Config]\r\nKey=" + name + "\r\n");
            wchar_t value[64] = {};
            EXPECT_EQ(TlvUtl::Win32::GetPrivateProfileStringW(L"Config", L"Key", L"", value, 64,
                                                              ini.c_str()),
                      Wide(name).size());
            EXPECT_EQ(std::wstring(value), Wide(name));
            // Documents trees are made on first use, the samples link inside them.
            const std::wstring docs = GetUserDocumentsTalvoDir().str();
            EXPECT_TRUE(stdfs::is_directory(TlvUtils::ToUtf8(docs)));
            INIEnsureUserDocFilesExist();
            int links = 0;
            for (const auto& e : stdfs::directory_iterator(TlvUtils::ToUtf8(docs)))
                links += e.is_symlink();
            EXPECT_EQ(links, 1);
            EXPECT_TRUE(stdfs::is_directory(TlvUtils::ToUtf8(GetPublicDocumentsTalvoDir().str())));
        }
    }
}

TEST_F(UnicodePathsTest, IniFilesWithNonAsciiNames) {
    using namespace TlvUtl::Win32;
    for (const std::string& locale : unicode_paths::Locales()) {
        unicode_paths::ScopedLocale scoped(locale);
        for (const std::string& name : unicode_paths::Names()) {
            SCOPED_TRACE(locale + " / " + name);
            stdfs::create_directories(root / name);
            const std::wstring file = W(root / name / (name + " " + locale + ".ini"));
            ASSERT_TRUE(WritePrivateProfileStringW(L"Größe", L"Ширина", L"1,5", file.c_str()));
            // Names compare without case beyond ASCII, whatever the locale.
            wchar_t value[16] = {};
            GetPrivateProfileStringW(L"größe", L"ШИРИНА", L"", value, 16, file.c_str());
            EXPECT_EQ(std::wstring(value), L"1,5");
            EXPECT_EQ(GetPrivateProfileIntW(L"Größe", L"Fehlt", 7, file.c_str()), 7u);
            EXPECT_EQ(UTLCreateUnicodeIniFile(W(root / name / "新しい.ini").c_str()), 1);
            EXPECT_EQ(Slurp(root / name / "新しい.ini").substr(0, 2), "\xFF\xFE");
            stdfs::remove(root / name / "新しい.ini");
        }
    }
}

TEST_F(UnicodePathsTest, RegistryStoreAndRegFilesInNonAsciiFolders) {
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

            const std::wstring reg = W(root / (name + " " + locale + ".reg"));
            std::wstring error;
            ASSERT_EQ(RegExportFile((L"HKEY_CURRENT_USER\\" + sub).c_str(), reg.c_str(), &error),
                      ERROR_SUCCESS)
                << TlvUtils::ToUtf8(error);
            ASSERT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, sub.c_str()), ERROR_SUCCESS);
            ASSERT_EQ(RegImportFile(reg.c_str(), &error), ERROR_SUCCESS) << TlvUtils::ToUtf8(error);
            ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, sub.c_str(), 0, KEY_READ, &key),
                      ERROR_SUCCESS);
            // Byte counts of string data count two bytes a character, as on Windows.
            wchar_t back[64] = {};
            DWORD size = 64 * 2;
            EXPECT_EQ(RegQueryValueExW(key, L"名前", nullptr, nullptr,
                                       reinterpret_cast<BYTE*>(back), &size),
                      ERROR_SUCCESS);
            EXPECT_EQ(std::wstring(back), text);
            RegCloseKey(key);
            // A file that is not there is named with its reason.
            EXPECT_EQ(RegImportFile(W(root / "нет" / "x.reg").c_str(), &error),
                      ERROR_PATH_NOT_FOUND);
            EXPECT_NE(error.find(L"no such folder"), std::wstring::npos) << TlvUtils::ToUtf8(error);
        }
    }
}

} // namespace
