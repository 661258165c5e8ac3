// Folders, ini files, the registry store and .reg files in folders whose names are not ASCII
// (accents, Cyrillic, CJK), under the classic locale, C.UTF-8 and a UTF-8 locale with a
// decimal comma: the same results everywhere, and nothing throws.
#include <tlvutl/encoding.h>
#include <tlvutl/folders.h>
#include <tlvutl/profile.h>
#include <tlvutl/registry.h>

#include "platform_marks.h"
#include "unicode_paths.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace {

namespace stdfs = std::filesystem;
using unicode_paths::Wide;

// Paths from UTF-8 and from the library's wide text: wide on Windows, where a narrow path is
// read in the ANSI code page; the UTF-8 bytes elsewhere.
stdfs::path U(const std::string& utf8) {
#ifdef _WIN32
    return stdfs::path(Wide(utf8));
#else
    return stdfs::path(utf8);
#endif
}

stdfs::path FromWide(const std::wstring& text) {
#ifdef _WIN32
    return stdfs::path(text);
#else
    return stdfs::path(TlvUtils::ToUtf8(text));
#endif
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

std::string Slurp(const stdfs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// A fresh folder whose own name is not ASCII; the paths below it are built from UTF-8 bytes,
// which std::filesystem passes through untouched.
class UnicodePathsTest : public ::testing::Test {
protected:
    stdfs::path root = stdfs::temp_directory_path() /
                       U("tlvutl-ü-Я-字-" + std::to_string(::getpid()) + "-" +
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
    std::wstring W(const stdfs::path& p) const {
#ifdef _WIN32
        return p.wstring();
#else
        return Wide(p.string());
#endif
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
            std::ofstream(install / "Config" / "talvoapp.ini", std::ios::binary) << iniBytes;
            std::ofstream(install / "Data" / "AppBoxID.xml", std::ios::binary)
                << "<AppBoxID><ApplicationRegKey>Suite</ApplicationRegKey>"
                   "<UserPathDir>Éditeur</UserPathDir><UserProductDir>製品</UserProductDir>"
                   "</AppBoxID>";
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
            EXPECT_EQ(ini, config + L"talvoapp.ini");
            EXPECT_EQ(Slurp(FromWide(ini)), iniBytes);
            wchar_t value[64] = {};
            EXPECT_EQ(TlvUtl::Win32::GetPrivateProfileStringW(L"Config", L"Key", L"", value, 64,
                                                              ini.c_str()),
                      Wide(name).size());
            EXPECT_EQ(std::wstring(value), Wide(name));
            // Documents trees are made on first use, the samples link inside them.
            const std::wstring docs = GetUserDocumentsTalvoDir().str();
            EXPECT_TRUE(stdfs::is_directory(FromWide(docs)));
            INIEnsureUserDocFilesExist();
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

TEST_F(UnicodePathsTest, IniFilesWithNonAsciiNames) {
    using namespace TlvUtl::Win32;
    std::wstring lastFile;
    for (const std::string& locale : unicode_paths::Locales()) {
        unicode_paths::ScopedLocale scoped(locale);
        for (const std::string& name : unicode_paths::Names()) {
            SCOPED_TRACE(locale + " / " + name);
            stdfs::create_directories(root / U(name));
            const std::wstring file = W(root / U(name) / U(name + " " + locale + ".ini"));
#ifdef _WIN32
            // The system's functions make new files in the ANSI code page, which has no
            // Cyrillic: a file meant for any text is made Unicode first.
            ASSERT_EQ(UTLCreateUnicodeIniFile(file.c_str()), 1);
#endif
            ASSERT_TRUE(WritePrivateProfileStringW(L"Größe", L"Ширина", L"1,5", file.c_str()));
            // Names compare without case beyond ASCII, whatever the locale.
            wchar_t value[16] = {};
            GetPrivateProfileStringW(L"größe", L"Ширина", L"", value, 16, file.c_str());
            EXPECT_EQ(std::wstring(value), L"1,5");
            lastFile = file;
            EXPECT_EQ(GetPrivateProfileIntW(L"Größe", L"Fehlt", 7, file.c_str()), 7u);
            const stdfs::path fresh = root / U(name) / U("新しい.ini");
            EXPECT_EQ(UTLCreateUnicodeIniFile(W(fresh).c_str()), 1);
            EXPECT_EQ(Slurp(fresh).substr(0, 2), "\xFF\xFE");
            stdfs::remove(fresh);
        }
    }
    TLVUTL_KNOWN_WINE_DIFFERENCE("Wine compares key names without case for ASCII and Latin "
                                 "letters only, not for Cyrillic");
    wchar_t value[16] = {};
    GetPrivateProfileStringW(L"GRÖSSE", L"ШИРИНА", L"", value, 16, lastFile.c_str());
    EXPECT_EQ(std::wstring(value), L"") << "no folding of ß to SS";
    GetPrivateProfileStringW(L"GRÖßE", L"ШИРИНА", L"", value, 16, lastFile.c_str());
    EXPECT_EQ(std::wstring(value), L"1,5");
}

TEST_F(UnicodePathsTest, RegistryStoreAndRegFilesInNonAsciiFolders) {
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
#endif
}

} // namespace
