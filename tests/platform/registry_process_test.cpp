// The store shared by processes: concurrent writers, a writer killed mid-write, and files
// that are not databases.
#include "platform/registry_raw.h"
#include "platform/registry_sandbox.h"

#include <tlvutl/registry.h>

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <random>
#include <set>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace TlvUtl;

std::wstring Name(int writer, int i) {
    return L"w" + std::to_wstring(writer) + L"-" + std::to_wstring(i);
}

// The data of write i: a few hundred bytes, so that one commit spans several log frames.
std::string Data(int writer, int i, std::size_t size = 16) {
    std::string s(size, '\0');
    for (std::size_t k = 0; k < size; ++k)
        s[k] = static_cast<char>((writer * 131 + i * 7 + static_cast<int>(k)) & 0xFF);
    return s;
}

LONG Put(HKEY key, const std::wstring& name, const std::string& bytes) {
    return tlv::platform::RegSetValueRaw(key, name.c_str(), REG_BINARY,
                                         reinterpret_cast<const BYTE*>(bytes.data()),
                                         static_cast<DWORD>(bytes.size()));
}

std::string Get(HKEY key, const std::wstring& name) {
    BYTE buffer[1024];
    DWORD size = sizeof buffer;
    if (tlv::platform::RegQueryValueRaw(key, name.c_str(), nullptr, buffer, &size) != ERROR_SUCCESS)
        return "<missing>";
    return std::string(reinterpret_cast<char*>(buffer), size);
}

std::wstring BatchName(int round, int i) {
    return L"Batch" + std::to_wstring(round) + L"-" + std::to_wstring(i);
}

int ExitCode(pid_t pid) {
    int status = 0;
    if (waitpid(pid, &status, 0) != pid)
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

class RegistryProcesses : public ::testing::Test {
protected:
    RegistrySandbox sandbox;
};

TEST_F(RegistryProcesses, TwoWritersOnOneKeyLoseNothing) {
    constexpr int kPerWriter = 5000;
    // The parent uses the store before forking: the children must not share its connection.
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Shared", 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, &key, nullptr),
              0);
    int gate[2];
    ASSERT_EQ(pipe(gate), 0);
    pid_t writers[2];
    for (int w = 0; w < 2; ++w) {
        writers[w] = fork();
        ASSERT_GE(writers[w], 0);
        if (writers[w] == 0) {
            close(gate[1]);
            char c;
            while (read(gate[0], &c, 1) > 0) {
            } // both start when the parent closes the gate
            HKEY mine = nullptr;
            if (RegOpenKeyExW(HKEY_CURRENT_USER, L"SOFTWARE\\shared", 0, KEY_WRITE, &mine))
                _exit(2);
            for (int i = 0; i < kPerWriter; ++i)
                if (Put(mine, Name(w, i), Data(w, i)) != ERROR_SUCCESS)
                    _exit(3);
            _exit(0);
        }
    }
    close(gate[0]);
    close(gate[1]);
    EXPECT_EQ(ExitCode(writers[0]), 0);
    EXPECT_EQ(ExitCode(writers[1]), 0);

    DWORD values = 0;
    ASSERT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values,
                               nullptr, nullptr, nullptr, nullptr),
              0);
    EXPECT_EQ(values, 2u * kPerWriter);
    int wrong = 0;
    for (int w = 0; w < 2; ++w)
        for (int i = 0; i < kPerWriter; ++i)
            wrong += Get(key, Name(w, i)) != Data(w, i);
    EXPECT_EQ(wrong, 0);
    RegCloseKey(key);
}

// The child writes until killed and reports each write that returned success through a
// pipe; whatever was reported must be in the store afterwards. Kills land at different
// points of a commit, and each batch of the second writer must be there whole or not at all.
TEST_F(RegistryProcesses, KilledWriterLosesNoAcknowledgedWrite) {
    std::mt19937 rng(77);
    for (int round = 0; round < 3; ++round) {
        int acks[2];
        ASSERT_EQ(pipe(acks), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            close(acks[0]);
            HKEY key = nullptr;
            if (RegCreateKeyExW(HKEY_CURRENT_USER, L"Crash", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                &key, nullptr))
                _exit(2);
            for (int i = 0; i < 100000; ++i) {
                LONG r;
                if (i % 2 == 0) {
                    r = Put(key, Name(round, i), Data(round, i, 600));
                } else {
                    // Twenty values in one transaction.
                    std::vector<tlv::platform::RegChange> batch(20);
                    for (int k = 0; k < 20; ++k) {
                        batch[k].kind = tlv::platform::RegChange::Kind::SetValue;
                        batch[k].path = {L"Crash", BatchName(round, i)};
                        batch[k].name = Name(k, i);
                        batch[k].type = REG_BINARY;
                        batch[k].data = Data(k, i);
                    }
                    r = tlv::platform::RegApplyChanges(HKEY_CURRENT_USER, batch);
                }
                if (r != ERROR_SUCCESS)
                    _exit(3);
                if (write(acks[1], &i, sizeof i) != sizeof i)
                    _exit(4);
            }
            _exit(0);
        }
        close(acks[1]);
        const int threshold = 20 + static_cast<int>(rng() % 80);
        std::set<int> acknowledged;
        int i = 0;
        while (static_cast<int>(acknowledged.size()) < threshold &&
               read(acks[0], &i, sizeof i) == sizeof i)
            acknowledged.insert(i);
        usleep(rng() % 3000);
        kill(child, SIGKILL);
        EXPECT_EQ(ExitCode(child), 128 + SIGKILL);
        while (read(acks[0], &i, sizeof i) == sizeof i)
            acknowledged.insert(i);
        close(acks[0]);
        ASSERT_GE(static_cast<int>(acknowledged.size()), threshold);

        sandbox.Reopen(); // as a new process would find it
        HKEY key = nullptr;
        ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Crash", 0, KEY_ALL_ACCESS, &key), 0);
        const int last = *acknowledged.rbegin();
        for (int n = 0; n <= last + 1; ++n) {
            if (n % 2 == 0) {
                if (acknowledged.count(n)) {
                    ASSERT_EQ(Get(key, Name(round, n)), Data(round, n, 600))
                        << "round " << round << " write " << n;
                }
                continue;
            }
            HKEY batch = nullptr;
            const LONG r = RegOpenKeyExW(key, BatchName(round, n).c_str(), 0, KEY_READ, &batch);
            if (acknowledged.count(n)) {
                ASSERT_EQ(r, ERROR_SUCCESS) << "round " << round << " batch " << n;
            }
            if (r != ERROR_SUCCESS)
                continue;
            DWORD values = 0;
            ASSERT_EQ(RegQueryInfoKeyW(batch, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                       &values, nullptr, nullptr, nullptr, nullptr),
                      0);
            EXPECT_EQ(values, 20u) << "a batch was cut by the kill";
            EXPECT_EQ(Get(batch, Name(19, n)), Data(19, n));
            RegCloseKey(batch);
        }
        // And the store takes writes again.
        EXPECT_EQ(Put(key, L"after", "ok"), ERROR_SUCCESS);
        RegCloseKey(key);
    }
}

} // namespace
