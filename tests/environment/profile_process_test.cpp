// Several processes writing one ini file, and a writer killed in the middle of its work.
#include <tlvutl/profile.h>

#include "temp_dir.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace TlvUtl::Win32;

std::wstring Key(int writer, int i) {
    return L"w" + std::to_wstring(writer) + L"k" + std::to_wstring(i);
}

TEST(ProfileProcesses, TwoWritersOfDifferentKeysLoseNothing) {
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
}

TEST(ProfileProcesses, KilledWriterLeavesTheOldOrTheNewFile) {
    TempDir dir;
    const std::wstring file = (dir / "crash.ini").wstring();
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
    // No temporary file is left behind by a finished write; at most one by the killed one.
    int leftovers = 0;
    for (const auto& e : std::filesystem::directory_iterator(dir.path()))
        leftovers += e.path().filename().string().rfind("crash.ini.", 0) == 0;
    EXPECT_LE(leftovers, 1);
}

} // namespace
