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
    EXPECT_EQ(fs::ParentPath(L"C:\\a\\b.txt"), L"C:\\a");
    EXPECT_EQ(fs::ParentPath(L"C:\\a"), L"C:\\");
    EXPECT_EQ(fs::ParentPath(L"C:\\"), L"C:\\");
    EXPECT_EQ(fs::ParentPath(L"\\\\srv\\share\\x"), L"\\\\srv\\share");
    EXPECT_EQ(fs::ParentPath(L"name"), L".");
    EXPECT_EQ(fs::FileName(L"C:\\a/b.txt"), L"b.txt");
    EXPECT_EQ(fs::FileName(L"C:\\a\\dir\\"), L"dir");
}

TEST(WinFiles, WideNamesRoundTripThroughTheSystem) {
    ScratchFolder dir;
    const std::wstring file = dir / L"Données Профиль 用户.ini";
    const std::string bytes("\xEF\xBB\xBFline\r\n\0tail", 15);
    ASSERT_FALSE(fs::WriteFileAtomically(file, bytes));
    std::string back;
    ASSERT_FALSE(fs::ReadWholeFile(file, back));
    EXPECT_EQ(back, bytes);
    fs::FileInfo info;
    ASSERT_FALSE(fs::Stat(file, info));
    EXPECT_EQ(info.kind, fs::FileKind::kFile);
    EXPECT_EQ(info.size, 15);
    // Replacing keeps one file: no temporary sibling is left behind.
    ASSERT_FALSE(fs::WriteFileAtomically(file, "new"));
    std::vector<fs::DirEntry> entries;
    ASSERT_FALSE(fs::ListDirectory(dir.Path(), entries));
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].name, L"Données Профиль 用户.ini");
    EXPECT_EQ(entries[0].kind, fs::FileKind::kFile);
    ASSERT_FALSE(fs::Rename(file, dir / L"文档.txt"));
    EXPECT_FALSE(fs::Exists(file));
    EXPECT_TRUE(fs::IsRegularFile(dir / L"文档.txt"));
    EXPECT_FALSE(fs::Remove(dir / L"文档.txt"));
    EXPECT_FALSE(fs::Remove(dir / L"文档.txt")); // a missing file counts as removed
}

TEST(WinFiles, ErrorsAreWin32CodesAndSayWhatIsMissing) {
    ScratchFolder dir;
    std::string bytes;
    const std::wstring missingFile = dir / L"nothing.txt";
    std::error_code ec = fs::ReadWholeFile(missingFile, bytes);
    ASSERT_TRUE(ec);
    EXPECT_EQ(ec.category(), std::system_category());
    EXPECT_EQ(fs::Win32Error(ec, missingFile), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(fs::Describe(ec, missingFile), "no such file");

    const std::wstring inMissingFolder = dir / L"nowhere\\nothing.txt";
    ec = fs::ReadWholeFile(inMissingFolder, bytes);
    ASSERT_TRUE(ec);
    EXPECT_EQ(fs::Win32Error(ec, inMissingFolder), DWORD{ERROR_PATH_NOT_FOUND});
    EXPECT_EQ(fs::Describe(ec, inMissingFolder), "no such folder");

    ASSERT_FALSE(fs::WriteFileAtomically(dir / L"taken", "x"));
    fs::File f;
    ec = f.Open(dir / L"taken", fs::File::Mode::kCreateNew);
    EXPECT_EQ(fs::Win32Error(ec), DWORD{ERROR_FILE_EXISTS});
    EXPECT_EQ(fs::Describe(ec), "already exists");
    // A file in the way of a folder.
    EXPECT_TRUE(fs::CreateDirectories(dir / L"taken\\sub"));
    // Errors the library makes from std::errc map too.
    EXPECT_EQ(fs::Win32Error(std::make_error_code(std::errc::permission_denied)),
              DWORD{ERROR_ACCESS_DENIED});
}

TEST(WinFiles, CopyTreeMakesCopiesWritable) {
    ScratchFolder dir;
    ASSERT_FALSE(fs::CreateDirectories(dir / L"from\\Ünter\\深"));
    ASSERT_FALSE(fs::WriteFileAtomically(dir / L"from\\Ünter\\深\\a.txt", "alpha"));
    ASSERT_FALSE(fs::WriteFileAtomically(dir / L"from\\locked.txt", "beta"));
    ASSERT_FALSE(fs::SetPermissions(dir / L"from\\locked.txt", 0444));
    fs::FileInfo info;
    ASSERT_FALSE(fs::Stat(dir / L"from\\locked.txt", info));
    EXPECT_EQ(info.mode & 0222, 0u);
    ASSERT_FALSE(fs::CopyTree(dir / L"from", dir / L"to"));
    std::string text;
    ASSERT_FALSE(fs::ReadWholeFile(dir / L"to\\Ünter\\深\\a.txt", text));
    EXPECT_EQ(text, "alpha");
    ASSERT_FALSE(fs::Stat(dir / L"to\\locked.txt", info));
    EXPECT_NE(info.mode & 0200, 0u);
    fs::SetPermissions(dir / L"from\\locked.txt", 0666); // so the scratch folder goes
}

TEST(WinFiles, PathLockExcludesAnotherHolderUntilReleased) {
    ScratchFolder dir;
    const std::wstring file = dir / L"settings.ini";
    std::atomic<int> stage{0};
    std::thread other;
    {
        fs::PathLock first(file);
        ASSERT_TRUE(first.Locked());
        other = std::thread([&] {
            stage = 1;
            fs::PathLock second(file);
            stage = second.Locked() ? 2 : 3;
        });
        while (stage.load() == 0)
            std::this_thread::yield();
        std::this_thread::sleep_for(100ms);
        EXPECT_EQ(stage.load(), 1) << "the lock was taken while it was held";
    }
    other.join();
    EXPECT_EQ(stage.load(), 2);
    fs::PathLock missing(dir / L"nowhere\\x.ini");
    EXPECT_FALSE(missing.Locked());
    EXPECT_EQ(fs::Win32Error(missing.Error()), DWORD{ERROR_PATH_NOT_FOUND});
}

TEST(WinFiles, PathLockTakenAgainOnOneThreadOnlyCounts) {
    ScratchFolder dir;
    const std::wstring file = dir / L"réglages.ini";
    std::atomic<int> stage{0};
    std::thread other;
    {
        fs::PathLock outer(file);
        ASSERT_TRUE(outer.Locked());
        {
            // Another file of the same folder: the same lock, which would wait forever if the
            // inner one asked the system again.
            fs::PathLock inner(dir / L"другой.ini");
            ASSERT_TRUE(inner.Locked());
        }
        // The inner lock's end must not release the outer one.
        other = std::thread([&] {
            fs::PathLock second(file);
            stage = second.Locked() ? 2 : 3;
        });
        std::this_thread::sleep_for(100ms);
        EXPECT_EQ(stage.load(), 0) << "the inner lock's end released the folder";
    }
    other.join();
    EXPECT_EQ(stage.load(), 2);
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
    EXPECT_EQ(byName.links, 1u);

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

TEST(WinTracker, WidePathsWithEitherSeparatorAreWatched) {
    ScratchFolder dir;
    const std::wstring folder = dir / L"監視 Überwachung";
    ASSERT_FALSE(fs::CreateDirectories(folder));
    ASSERT_FALSE(fs::WriteFileAtomically(folder + L"\\a file.txt", "x"));
    std::atomic<int> calls{0};
    CDirectoriesChangesTracker::AppStarted();
    // A trailing separator and '/' are the system's to read: the seam passes them on.
    std::wstring slashed = folder + L"/";
    auto watch = CDirectoriesChangesTracker::TrackChangeIn(
        CString(slashed.c_str()), TRUE, FILE_NOTIFY_CHANGE_FILE_NAME, [&] { ++calls; }, {});
    ASSERT_NE(watch.get(), INVALID_HANDLE_VALUE);
    auto file =
        CDirectoriesChangesTracker::TrackChangeIn(CString((folder + L"\\a file.txt").c_str()),
                                                  FALSE, FILE_NOTIFY_CHANGE_FILE_NAME, [] {}, {});
    EXPECT_EQ(file.get(), INVALID_HANDLE_VALUE); // a file is not a folder
    ASSERT_FALSE(fs::WriteFileAtomically(folder + L"\\новый.txt", "y"));
    const auto end = std::chrono::steady_clock::now() + 10s;
    while (calls.load() == 0 && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(1ms);
    EXPECT_GT(calls.load(), 0);
    watch.reset();
    CDirectoriesChangesTracker::AppShuttingDown();
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
    EXPECT_TRUE(fs::IsRegularFile(link + L".lnk"));
    std::string bytes;
    ASSERT_FALSE(fs::ReadWholeFile(link + L".lnk", bytes));
    ASSERT_GE(bytes.size(), 20u);
    EXPECT_EQ(bytes.substr(0, 4), std::string("\x4C\0\0\0", 4)); // the shell link header size
    EXPECT_EQ(fs::Win32Error(fs::CreateFolderLink(dir / L"Samples", link)),
              DWORD{ERROR_FILE_EXISTS});
}

TEST(WinEncoding, SurrogatePairsAreOneCharacterInUtf8) {
    const std::wstring grin = L"a\xD83D\xDE00z"; // U+1F600 as a UTF-16 pair
    EXPECT_EQ(TlvUtils::ToUtf8(grin), "a\xF0\x9F\x98\x80z");
    EXPECT_EQ(TlvUtils::ToWtf8(grin), "a\xF0\x9F\x98\x80z");
    EXPECT_EQ(TlvUtils::FromUtf8("a\xF0\x9F\x98\x80z"), grin);
    // A lone surrogate survives WTF-8 and becomes U+FFFD in UTF-8.
    const std::wstring lone = L"x\xD800y";
    EXPECT_EQ(TlvUtils::ToWtf8(lone), "x\xED\xA0\x80y");
    EXPECT_EQ(TlvUtils::FromWtf8(TlvUtils::ToWtf8(lone)), lone);
    EXPECT_EQ(TlvUtils::ToUtf8(lone), "x\xEF\xBF\xBDy");
    EXPECT_EQ(TlvUtils::ToUtf16LE(grin), std::string("a\0\x3D\xD8\x00\xDEz\0", 8));
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

TEST(WinRegistry, BytesAndCountsAreTheSystemsOwn) {
    const std::wstring sub = L"Software\\TlvUtl Tests\\" + std::to_wstring(::GetCurrentProcessId());
    HKEY key = nullptr;
    ASSERT_EQ(TlvUtl::RegCreateKeyExW(HKEY_CURRENT_USER, sub.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                                      nullptr, &key, nullptr),
              ERROR_SUCCESS);
    // "abc" with its NUL is 8 bytes: wchar_t is two bytes here, as the store keeps them.
    const wchar_t abc[] = L"abc";
    ASSERT_EQ(fs::RegSetValueRaw(key, L"Текст \xD83D\xDE00", REG_SZ,
                                 reinterpret_cast<const BYTE*>(abc), sizeof abc),
              ERROR_SUCCESS);
    DWORD type = 0, size = 0;
    ASSERT_EQ(fs::RegQueryValueRaw(key, L"Текст \xD83D\xDE00", &type, nullptr, &size),
              ERROR_SUCCESS);
    EXPECT_EQ(type, DWORD{REG_SZ});
    EXPECT_EQ(size, 8u);
    BYTE small[4];
    size = sizeof small;
    EXPECT_EQ(fs::RegQueryValueRaw(key, L"Текст \xD83D\xDE00", &type, small, &size),
              ERROR_MORE_DATA);
    EXPECT_EQ(size, 8u);
    std::wstring name;
    std::string data;
    ASSERT_EQ(fs::RegEnumValueBytes(key, 0, name, type, data), ERROR_SUCCESS);
    EXPECT_EQ(name, L"Текст \xD83D\xDE00");
    EXPECT_EQ(data, std::string("a\0b\0c\0\0\0", 8));
    EXPECT_EQ(fs::RegEnumValueBytes(key, 1, name, type, data), ERROR_NO_MORE_ITEMS);
    TlvUtl::RegCloseKey(key);

    // A batch of changes, then the tree removed by one change.
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

TEST(WinProfile, TheSystemsPrivateProfileFunctions) {
    ScratchFolder dir;
    const std::wstring file = dir / L"Настройки.ini";
    ASSERT_TRUE(
        TlvUtl::Win32::WritePrivateProfileStringW(L"Units", L"Default Unit", L"mm", file.c_str()));
    wchar_t out[32];
    EXPECT_EQ(TlvUtl::Win32::GetPrivateProfileStringW(L"units", L"default unit", L"?", out, 32,
                                                      file.c_str()),
              2u);
    EXPECT_STREQ(out, L"mm");
    // A value that does not fit is cut to size - 1.
    EXPECT_EQ(TlvUtl::Win32::GetPrivateProfileStringW(L"Units", L"Default Unit", L"?", out, 2,
                                                      file.c_str()),
              1u);
    EXPECT_EQ(TlvUtl::Win32::GetPrivateProfileIntW(L"Units", L"Missing", 7, file.c_str()), 7u);
}

TEST(WinMessageLoop, WindowTimersTickAndPostsWakeTheLoop) {
    struct Ticks {
        std::atomic<int> count{0};
    } ticks;
    std::error_code error;
    auto loop = fs::MessageLoop::Create(
        [](void* context, std::uint32_t id) {
            if (id == 7)
                ++static_cast<Ticks*>(context)->count;
        },
        &ticks, error);
    ASSERT_TRUE(loop) << error.message();
    loop->SetTimer(7, 15ms);
    EXPECT_EQ(loop->TimerCount(), 1u);
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (ticks.count.load() < 3 && std::chrono::steady_clock::now() < deadline)
        loop->RunFor(50ms);
    EXPECT_GE(ticks.count.load(), 3);
    EXPECT_TRUE(loop->KillTimer(7));
    EXPECT_FALSE(loop->KillTimer(7));

    // Another thread's call runs on the loop's thread and its Quit ends Run.
    const DWORD owner = ::GetCurrentThreadId();
    std::atomic<DWORD> ranOn{0};
    std::thread poster([&] {
        std::this_thread::sleep_for(20ms);
        loop->Post([&] { ranOn = ::GetCurrentThreadId(); });
        loop->Quit();
    });
    loop->Run();
    poster.join();
    EXPECT_EQ(ranOn.load(), owner);
    EXPECT_EQ(loop->FileDescriptor(), -1);
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
    EXPECT_EQ(s.decimalSeparator, L".");
    EXPECT_EQ(s.grouping, L"3;0");
    EXPECT_EQ(s.measure, 1);
    ASSERT_TRUE(fs::ReadLocale(L"C", s));
    EXPECT_EQ(s.name, L"C");
    EXPECT_FALSE(fs::ReadLocale(L"xx_YY", s));
    EXPECT_EQ(fs::ReadMeasurement(L"fr_FR"), 0);
    EXPECT_EQ(fs::ReadMeasurement(L"en_US.UTF-8"), 1);
    EXPECT_EQ(fs::ReadMeasurement(L"C"), -1);
}

TEST(WinFolders, KnownFoldersAreAbsoluteWithoutTrailingSeparator) {
    for (const std::wstring& folder :
         {fs::RoamingAppDataFolder(), fs::DocumentsFolder(), fs::DataHomeFolder()}) {
        ASSERT_GE(folder.size(), 3u);
        EXPECT_EQ(folder[1], L':') << TlvUtils::ToUtf8(folder);
        EXPECT_NE(folder.back(), L'\\');
    }
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

// A carry that adds a digit is grouped like any other digit.
TEST(WinNumberFormat, SystemGroupsTheDigitACarryAdds) {
    TLVUTL_KNOWN_WINE_DIFFERENCE("Wine 8 groups the digits before rounding, so a carry that "
                                 "adds a digit stays ungrouped (999.995 gives 1000.00)");
    wchar_t decimal[] = L".", thousand[] = L",";
    NUMBERFMTW f{2, 1, 3, decimal, thousand, 1};
    wchar_t out[64];
    ASSERT_GT(::GetNumberFormatW(LOCALE_INVARIANT, 0, L"999.995", &f, out, 64), 0);
    EXPECT_STREQ(out, L"1,000.00");
}

// With no format the system groups by the locale's "3;0": every three digits.
TEST(WinNumberFormat, SystemDefaultFormatGroupsEveryThreeDigits) {
    TLVUTL_KNOWN_WINE_DIFFERENCE("Wine 8 applies the grouping 3;0 once with a null format "
                                 "(1234567.891 gives 1234,567.89)");
    wchar_t out[64];
    ASSERT_GT(::GetNumberFormatEx(L"en-US", 0, L"1234567.891", nullptr, out, 64), 0);
    EXPECT_STREQ(out, L"1,234,567.89");
}
