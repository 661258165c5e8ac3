// Several processes writing one ini file, and a writer killed in the middle of its work.
#include <tlvutl/profile.h>

#include "platform_marks.h"
#include "temp_dir.h"
#include "unicode_paths.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

using namespace TlvUtl::Win32;

#ifndef _WIN32
std::wstring Key(int writer, int i) {
    return L"w" + std::to_wstring(writer) + L"k" + std::to_wstring(i);
}
#endif

TEST(ProfileProcesses, TwoWritersOfDifferentKeysLoseNothing) {
    TLVUTL_POSIX_ONLY("fork");
#ifndef _WIN32
    TempDir dir;
    const std::wstring file = (dir / "shared.ini").wstring();
    constexpr int kKeys = 1000;
    pid_t children[2];
    for (int w = 0; w < 2; ++w) {
        children[w] = fork();
        ASSERT_GE(children[w], 0);
        if (children[w] == 0) {
            for (int i = 0; i < kKeys; ++i)
                if (!WritePrivateProfileStringW(L"Keys", Key(w, i).c_str(),
                                                std::to_wstring(i).c_str(), file.c_str()))
                    _exit(1);
            _exit(0);
        }
    }
    for (pid_t c : children) {
        int status = 0;
        ASSERT_EQ(waitpid(c, &status, 0), c);
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    for (int w = 0; w < 2; ++w)
        for (int i = 0; i < kKeys; ++i)
            ASSERT_EQ(GetPrivateProfileIntW(L"Keys", Key(w, i).c_str(), -1, file.c_str()),
                      static_cast<UINT>(i))
                << "writer " << w << " key " << i;
#endif
}

#ifndef _WIN32
int Temporaries(const TempDir& dir, const std::string& base) {
    int n = 0;
    for (const auto& e : std::filesystem::directory_iterator(dir.path())) {
        const std::string name = e.path().filename().string();
        n += name.size() == base.size() + 7 && name.rfind(base + ".", 0) == 0;
    }
    return n;
}
#endif

TEST(ProfileProcesses, KilledWriterLeavesTheOldOrTheNewFile) {
    TLVUTL_POSIX_ONLY("fork and kill");
#ifndef _WIN32
    TempDir dir;
    const std::string base = "кэш-日本.ini";
    const std::wstring file = unicode_paths::Wide((dir / base).string());
    ASSERT_TRUE(WritePrivateProfileStringW(L"Base", L"keep", L"yes", file.c_str()));
    int acks[2];
    ASSERT_EQ(pipe(acks), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(acks[0]);
        // Large values make each rewrite long enough to be caught in the middle.
        const std::wstring filler(2000, L'x');
        for (int i = 0;; ++i) {
            if (!WritePrivateProfileStringW(L"Log", Key(0, i).c_str(),
                                            (std::to_wstring(i) + filler).c_str(), file.c_str()))
                _exit(1);
            const int n = i;
            if (write(acks[1], &n, sizeof n) != sizeof n)
                _exit(1);
        }
    }
    close(acks[1]);
    int last = -1, n = 0;
    while (last < 200 && read(acks[0], &n, sizeof n) == sizeof n)
        last = n;
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    // Drain what the writer acknowledged before it died.
    while (read(acks[0], &n, sizeof n) == sizeof n)
        last = n;
    close(acks[0]);
    ASSERT_GE(last, 200);

    wchar_t value[8];
    EXPECT_EQ(GetPrivateProfileStringW(L"Base", L"keep", L"", value, 8, file.c_str()), 3u);
    for (int i = 0; i <= last; ++i)
        ASSERT_EQ(GetPrivateProfileIntW(L"Log", Key(0, i).c_str(), -1, file.c_str()),
                  static_cast<UINT>(i))
            << i;
    // At most one temporary is left, by the killed write; the next write, which holds the
    // lock the killed writer no longer holds, removes it.
    EXPECT_LE(Temporaries(dir, base), 1);
    ASSERT_TRUE(WritePrivateProfileStringW(L"Base", L"after", L"1", file.c_str()));
    EXPECT_EQ(Temporaries(dir, base), 0);
#endif
}

// What counts as a temporary of the file: its name, a dot and six letters and digits, a
// regular file. A user's "settings.ini.backup", another file's temporaries and a folder stay.
TEST(ProfileProcesses, OnlyTheFilesOwnTemporariesAreRemoved) {
    TLVUTL_POSIX_ONLY(
        "the library's own ini writer and its temporaries (Windows writes through the system's)");
#ifndef _WIN32
    TempDir dir;
    const std::wstring file = unicode_paths::Wide((dir / "é.ini").string());
    const std::string stale[] = {"é.ini.Ab3dE9", "é.ini.zzzzz1", "é.ini.aBcDeF"};
    const std::string kept[] = {"é.ini.backup", "é.ini.BACKUP",  "é.ini.Ab3dE",  "é.ini.Ab3dE99",
                                "é.ini.Ab-dE9", "é.inix.Ab3dE9", "x.ini.Ab3dE9", "é.ini"};
    for (const std::string& name : stale)
        std::ofstream(dir / name) << "[Half]\nwritten=";
    for (const std::string& name : kept)
        if (name != "é.ini")
            std::ofstream(dir / name) << "mine";
    std::filesystem::create_directory(dir / "é.ini.Zz9Zz9");
    ASSERT_TRUE(WritePrivateProfileStringW(L"S", L"k", L"v", file.c_str()));
    for (const std::string& name : stale)
        EXPECT_FALSE(std::filesystem::exists(dir / name)) << name;
    for (const std::string& name : kept)
        EXPECT_TRUE(std::filesystem::exists(dir / name)) << name;
    EXPECT_TRUE(std::filesystem::is_directory(dir / "é.ini.Zz9Zz9"));
#endif
}

} // namespace
