// The Windows backend of the platform layer on the system's own services: drive-letter and
// UNC paths, wide file names, Win32 error codes, the lock, shell links, the resource DLL's
// string table, byte-exact registry values, the message-only window's timers, the locale.
#include "platform/change_notification.h"
#include "platform/console.h"
#include "platform/file_system.h"
#include "platform/held_file.h"
#include "platform/message_loop.h"
#include "platform/module_loader.h"
#include "platform/registry_raw.h"
#include "platform/special_folders.h"
#include "platform/user_locale.h"

#include <tlvutl/dir_tracker.h>
#include <tlvutl/encoding.h>
#include <tlvutl/locale.h>
#include <tlvutl/profile.h>
#include <tlvutl/registry.h>

#include "platform_marks.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace fs = tlv::platform;
using namespace std::chrono_literals;

namespace {

// A fresh folder below the temporary folder, named with accents, Cyrillic and CJK, removed
// with everything in it at the end.
class ScratchFolder {
public:
    ScratchFolder() {
        wchar_t temp[MAX_PATH + 1];
        const DWORD n = ::GetTempPathW(MAX_PATH + 1, temp);
        path_ = fs::JoinPath(std::wstring(temp, n), L"tlvutl José Документы 文档 " +
                                                        std::to_wstring(::GetCurrentProcessId()) +
                                                        L"-" + std::to_wstring(++counter_));
        const std::error_code ec = fs::CreateDirectories(path_);
        EXPECT_FALSE(ec) << ec.value() << " " << TlvUtils::ToUtf8(path_);
    }
    ~ScratchFolder() { RemoveTree(path_); }
    const std::wstring& Path() const { return path_; }
    std::wstring operator/(const std::wstring& name) const { return fs::JoinPath(path_, name); }

private:
    static void RemoveTree(const std::wstring& folder) {
        std::vector<fs::DirEntry> entries;
        fs::ListDirectory(folder, entries);
        for (const fs::DirEntry& e : entries) {
            const std::wstring p = fs::JoinPath(folder, e.name);
            if (e.kind == fs::FileKind::kDirectory)
                RemoveTree(p);
            else
                fs::Remove(p);
        }
        fs::Remove(folder);
    }
    static inline int counter_ = 0;
    std::wstring path_;
};

} // namespace

TEST(WinPaths, DriveLettersUncAndBothSeparators) {
    EXPECT_EQ(fs::JoinPath(L"C:\\a\\b", L"..\\c"), L"C:\\a\\c");
    EXPECT_EQ(fs::JoinPath(L"C:/a/b", L"c/./d/"), L"C:\\a\\b\\c\\d");
    EXPECT_EQ(fs::JoinPath(L"C:\\a", L"D:\\x"), L"D:\\x");    // an absolute sub stands alone
    EXPECT_EQ(fs::JoinPath(L"C:\\", L"..\\..\\x"), L"C:\\x"); // ".." stops at the drive
    EXPECT_EQ(fs::JoinPath(L"\\\\srv\\share", L"..\\x"), L"\\\\srv\\share\\x");
    EXPECT_EQ(fs::JoinPath(L"a", L"..\\..\\b"), L"..\\b"); // relative: a leading ".." stays
    EXPECT_EQ(fs::ParentPath(L"C:\\a"), L"C:\\");
    EXPECT_EQ(fs::ParentPath(L"C:\\"), L"C:\\");
    EXPECT_EQ(fs::ParentPath(L"\\\\srv\\share\\x"), L"\\\\srv\\share");
    EXPECT_EQ(fs::FileName(L"C:\\a/b.txt"), L"b.txt");
    EXPECT_EQ(fs::FileName(L"C:\\a\\dir\\"), L"dir");
}

TEST(WinFiles, HeldFileSurvivesDeletionAndKeepsOldBytes) {
    ScratchFolder dir;
    const std::wstring file = dir / L"кэш 設定.ini";
    ASSERT_FALSE(fs::WriteFileAtomically(file, "old"));
    fs::HeldFile held(file);
    ASSERT_TRUE(held.IsOpen());
    EXPECT_FALSE(held.ThroughLink());
    fs::FileInfo before;
    ASSERT_FALSE(held.Stat(before));
    EXPECT_EQ(before.links, 1u);
    EXPECT_EQ(before.size, 3);
    fs::FileInfo byName;
    ASSERT_FALSE(fs::Stat(file, byName));
    EXPECT_EQ(byName.inode, before.inode);

    EXPECT_FALSE(fs::HeldFile(dir / L"missing.ini").IsOpen());
    EXPECT_FALSE(fs::HeldFile(dir.Path()).IsOpen()) << "a folder is not a held file";

    // Holding the file does not stop its deletion: the handle still reads the old bytes and
    // says no name is left.
    ASSERT_TRUE(::DeleteFileW(file.c_str())) << ::GetLastError();
    fs::FileInfo after;
    ASSERT_FALSE(held.Stat(after));
    std::string bytes;
    ASSERT_FALSE(held.ReadAll(bytes));
    EXPECT_EQ(bytes, "old");
    TLVUTL_KNOWN_WINE_DIFFERENCE("Wine does not report a pending deletion on the open handle");
    EXPECT_EQ(after.links, 0u) << "a deleted file must say its name is gone";
}

TEST(WinFiles, CanonicalPathResolvesDotsAndComparesWithBuiltPaths) {
    ScratchFolder dir;
    ASSERT_FALSE(fs::CreateDirectories(dir / L"ä\\б"));
    std::wstring top, inner;
    ASSERT_FALSE(fs::CanonicalPath(dir.Path(), top));
    ASSERT_FALSE(fs::CanonicalPath(dir.Path() + L"\\ä\\б\\..\\.\\б", inner));
    EXPECT_EQ(inner, top + L"\\ä\\б");
    EXPECT_NE(top.substr(0, 4), L"\\\\?\\") << "the long-path prefix is stripped";
    std::wstring missing = L"x";
    const std::error_code ec = fs::CanonicalPath(dir / L"nowhere", missing);
    EXPECT_EQ(fs::Win32Error(ec), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_TRUE(missing.empty());
}

TEST(WinFiles, StaleTemporariesRemovedAndLookAlikesKept) {
    ScratchFolder dir;
    const std::wstring file = dir / L"prefs ñ.ini";
    ASSERT_FALSE(fs::WriteFileAtomically(file, "keep"));
    for (const wchar_t* stale : {L".a1B2c3", L".ZZZZZ9", L".q7w8e9"})
        ASSERT_FALSE(fs::WriteFileAtomically(file + stale, "x"));
    // One case only, too short, too long, another punctuation, another file's temporary.
    for (const wchar_t* kept : {L".backup", L".RETAIN", L".a1b2c", L".a1b2c3d", L".a1-2c3"})
        ASSERT_FALSE(fs::WriteFileAtomically(file + kept, "y"));
    ASSERT_FALSE(fs::WriteFileAtomically(dir / L"other.ini.a1b2c3", "z"));
    ASSERT_FALSE(fs::CreateDirectories(file + L".d1r2c3")); // a folder is never removed
    EXPECT_EQ(fs::RemoveStaleTemporaries(file), 3);
    std::vector<fs::DirEntry> entries;
    ASSERT_FALSE(fs::ListDirectory(dir.Path(), entries));
    EXPECT_EQ(entries.size(), 1u + 5u + 1u + 1u);
    EXPECT_TRUE(fs::Exists(file));
    EXPECT_EQ(fs::RemoveStaleTemporaries(file), 0);
    EXPECT_EQ(fs::RemoveStaleTemporaries(dir / L"nowhere\\x.ini"), 0);
}

TEST(WinTracker, WaitEventsStayReadableUntilReset) {
    fs::WaitEvent a, b;
    const int fds[3] = {a.Descriptor(), -1, b.Descriptor()};
    bool ready[3] = {true, true, true};
    ASSERT_TRUE(b.Signal());
    ASSERT_TRUE(a.Signal());
    ASSERT_TRUE(fs::WaitForAnyReadable(fds, 3, ready));
    EXPECT_TRUE(ready[0]);
    EXPECT_FALSE(ready[1]);
    EXPECT_TRUE(ready[2]) << "a second signalled event is reported in the same wait";
    a.Reset();
    ASSERT_TRUE(fs::WaitForAnyReadable(fds, 3, ready));
    EXPECT_FALSE(ready[0]);
    EXPECT_TRUE(ready[2]) << "waiting does not consume an event";
    b.Reset();
    std::thread signaller([&] {
        std::this_thread::sleep_for(50ms);
        a.Signal();
    });
    ASSERT_TRUE(fs::WaitForAnyReadable(fds, 3, ready));
    signaller.join();
    EXPECT_TRUE(ready[0]);
    EXPECT_FALSE(ready[2]);
}

TEST(WinFiles, FolderLinkIsAShellLinkFile) {
    ScratchFolder dir;
    ASSERT_FALSE(fs::CreateDirectories(dir / L"Samples"));
    const std::wstring link = dir / L"Talvo Примеры";
    ASSERT_FALSE(fs::CreateFolderLink(dir / L"Samples", link));
    std::string bytes;
    ASSERT_FALSE(fs::ReadWholeFile(link + L".lnk", bytes));
    ASSERT_GE(bytes.size(), 20u);
    EXPECT_EQ(bytes.substr(0, 4), std::string("\x4C\0\0\0", 4)); // the shell link header size
    EXPECT_EQ(fs::Win32Error(fs::CreateFolderLink(dir / L"Samples", link)),
              DWORD{ERROR_FILE_EXISTS});
}

TEST(WinModules, ResourceDllStringsThroughLoadString) {
    const std::wstring root = fs::GetEnvironment("TLV_RESOURCE_DIR");
    ASSERT_FALSE(root.empty());
    HMODULE m = fs::LoadModule(fs::JoinPath(root, L"en\\tlvutlintl.dll"));
    ASSERT_NE(m, nullptr);
    wchar_t buffer[64];
    EXPECT_EQ(fs::LoadModuleString(m, 24016, buffer, 64), 6);
    EXPECT_STREQ(buffer, L"inches");
    EXPECT_EQ(fs::LoadModuleString(m, 24016, buffer, 3), 2); // cut, terminated
    EXPECT_STREQ(buffer, L"in");
    EXPECT_EQ(fs::LoadModuleString(m, 24016, buffer, 0), 0);
    EXPECT_EQ(fs::LoadModuleString(m, 1, buffer, 64), 0); // no such string
    EXPECT_STREQ(buffer, L"");
    EXPECT_TRUE(fs::ModuleHasString(m, 24175));
    EXPECT_FALSE(fs::ModuleHasString(m, 1));
    EXPECT_TRUE(fs::UnloadModule(m));
    EXPECT_EQ(fs::LoadModule(fs::JoinPath(root, L"xx\\tlvutlintl.dll")), nullptr);
    EXPECT_EQ(fs::LibraryDirectory().back(), L'\\');
    const std::wstring exe = fs::ExecutableName();
    EXPECT_EQ(exe.substr(exe.size() - 4), L".exe");
}

// Every string of the source table comes back from the DLL exactly: the resource script
// generator must keep brackets, semicolons, quotes, escapes and text beyond ASCII.
TEST(WinModules, ResourceDllHoldsEveryStringOfTheSourceTable) {
    std::string source;
    ASSERT_FALSE(fs::ReadWholeFile(TlvUtils::FromUtf8(TLVUTL_STRINGS_EN), source));
    HMODULE m =
        fs::LoadModule(fs::JoinPath(fs::GetEnvironment("TLV_RESOURCE_DIR"), L"en\\tlvutlintl.dll"));
    ASSERT_NE(m, nullptr);
    int checked = 0;
    std::size_t at = 0;
    while (at < source.size()) {
        std::size_t end = source.find('\n', at);
        if (end == std::string::npos)
            end = source.size();
        std::string line = source.substr(at, end - at);
        at = end + 1;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        const std::size_t tab = line.find('\t');
        if (line.empty() || line[0] == '#' || tab == std::string::npos)
            continue;
        std::string text;
        for (std::size_t i = tab + 1; i < line.size(); ++i) {
            if (line[i] == '\\' && i + 1 < line.size()) {
                const char e = line[++i];
                text += e == 'n' ? '\n' : e == 't' ? '\t' : e;
            } else {
                text += line[i];
            }
        }
        const unsigned id = static_cast<unsigned>(std::stoul(line.substr(0, tab)));
        wchar_t buffer[1024];
        const int n = fs::LoadModuleString(m, id, buffer, 1024);
        EXPECT_EQ(std::wstring(buffer, static_cast<std::size_t>(n)), TlvUtils::FromUtf8(text))
            << "string " << id;
        ++checked;
    }
    EXPECT_GT(checked, 200);
    fs::UnloadModule(m);
}

// A batch of changes on the system's registry, then the tree removed by one change.
TEST(WinRegistry, AppliedChangesReachTheSystemsRegistry) {
    const std::wstring sub = L"Software\\TlvUtl Tests\\" + std::to_wstring(::GetCurrentProcessId());
    HKEY key = nullptr;
    tlv::platform::RegPath path;
    ASSERT_EQ(fs::SplitRegistryPath((sub + L"\\Batch\\Deep").c_str(), path), ERROR_SUCCESS);
    fs::RegChange set;
    set.kind = fs::RegChange::Kind::SetValue;
    set.path = path;
    set.name = L"n";
    set.type = REG_DWORD;
    set.data = std::string("\x2A\0\0\0", 4);
    ASSERT_EQ(fs::RegApplyChanges(HKEY_CURRENT_USER, {set}), ERROR_SUCCESS);
    DWORD value = 0, valueSize = sizeof value;
    EXPECT_EQ(::RegGetValueW(HKEY_CURRENT_USER, (sub + L"\\Batch\\Deep").c_str(), L"n",
                             RRF_RT_REG_DWORD, nullptr, &value, &valueSize),
              ERROR_SUCCESS);
    EXPECT_EQ(value, 42u);
    fs::RegChange drop;
    drop.kind = fs::RegChange::Kind::DeleteTree;
    ASSERT_EQ(fs::SplitRegistryPath(sub.c_str(), drop.path), ERROR_SUCCESS);
    ASSERT_EQ(fs::RegApplyChanges(HKEY_CURRENT_USER, {drop}), ERROR_SUCCESS);
    EXPECT_EQ(TlvUtl::RegOpenKeyExW(HKEY_CURRENT_USER, sub.c_str(), 0, KEY_READ, &key),
              ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(fs::SplitRegistryPath(L"\\lead", path), ERROR_BAD_PATHNAME);
    EXPECT_EQ(fs::SplitRegistryPath(L"a\\\\b", path), ERROR_BAD_PATHNAME);
}

TEST(WinLocale, NamedLocalesFromTheSystemsData) {
    TlvUtl::LocaleSettings s;
    ASSERT_TRUE(fs::ReadLocale(L"de_DE.UTF-8", s));
    EXPECT_EQ(s.name, L"de_DE");
    EXPECT_EQ(s.decimalSeparator, L",");
    EXPECT_EQ(s.thousandSeparator, L".");
    EXPECT_EQ(s.listSeparator, L";");
    EXPECT_EQ(s.measure, 0);
    EXPECT_EQ(s.geoId, 94); // Germany
    ASSERT_TRUE(fs::ReadLocale(L"en-US", s));
    EXPECT_EQ(s.grouping, L"3;0");
    EXPECT_EQ(s.measure, 1);
    ASSERT_TRUE(fs::ReadLocale(L"C", s));
    EXPECT_EQ(s.name, L"C");
    EXPECT_FALSE(fs::ReadLocale(L"xx_YY", s));
    EXPECT_EQ(fs::ReadMeasurement(L"fr_FR"), 0);
    EXPECT_EQ(fs::ReadMeasurement(L"en_US.UTF-8"), 1);
    EXPECT_EQ(fs::ReadMeasurement(L"C"), -1);
}

// The library's number formatter and the system's agree on every rule an explicit format
// gives: rounding, grouping forms, separators, negative modes.
TEST(WinNumberFormat, LibraryAndSystemAgreeOnExplicitFormats) {
    wchar_t decimal[] = L",", thousand[] = L" ";
    const wchar_t* values[] = {L"0",  L"-0.5",   L"1234567.891", L"999.4",    L"-1234.5",    L"12",
                               L".5", L"-0.004", L"1000000",     L"123456.5", L"-9999998.25"};
    for (UINT grouping : {0u, 3u, 32u, 30u})
        for (UINT negative = 0; negative <= 4; ++negative)
            for (UINT digits : {0u, 2u})
                for (UINT leadingZero : {1u}) { // without it a zero integer part prints
                                                // nothing under Wine, "0" here
                    NUMBERFMTW f{digits, leadingZero, grouping, decimal, thousand, negative};
                    for (const wchar_t* v : values) {
                        wchar_t mine[64] = {}, system[64] = {};
                        const int a = TlvUtl::Win32::GetNumberFormatW(LOCALE_USER_DEFAULT, 0, v, &f,
                                                                      mine, 64);
                        const int b = ::GetNumberFormatW(LOCALE_INVARIANT, 0, v, &f, system, 64);
                        EXPECT_EQ(a, b) << TlvUtils::ToUtf8(v) << " grouping " << grouping
                                        << " negative " << negative;
                        EXPECT_STREQ(mine, system) << TlvUtils::ToUtf8(v) << " grouping "
                                                   << grouping << " negative " << negative;
                    }
                }
}
