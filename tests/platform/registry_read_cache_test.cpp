// Value reads are cached per connection; these tests show that no read ever returns what
// another connection, in this process or another one, has replaced or removed.
#include "platform/registry_store.h"

#include <tlvutl/registry.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string StatusText(LONG r) {
    std::string out(1, '<');
    out += std::to_string(r);
    out += '>';
    return out;
}

using tlv::platform::kRootKey;
using tlv::platform::RegistryHive;
using tlv::platform::RegKeyId;

class RegistryReadCacheTest : public ::testing::Test {
protected:
    void SetUp() override {
        const char* base = std::getenv("TLV_REGISTRY_DIR");
        dir_ =
            std::filesystem::path(base && *base ? base : std::filesystem::temp_directory_path()) /
            ("cache-" + std::to_string(::getpid()) + "-" +
             ::testing::UnitTest::GetInstance()->current_test_info()->name() +
             "-r\xC3\xA9gistre-\xD0\xBA\xD1\x8D\xD1\x88-\xE7\xBC\x93\xE5\xAD\x98");
        std::filesystem::remove_all(dir_);
        std::filesystem::create_directories(dir_);
        file_ = (dir_ / "hive.db").string();
        hive_ = Open();
        bool created = false;
        ASSERT_EQ(hive_->CreateKey(kRootKey, {L"Software", L"Talvo"}, L"", key_, created), 0);
        ASSERT_EQ(hive_->SetValue(key_, L"Path", REG_SZ, "one"), 0);
    }
    void TearDown() override {
        hive_.reset();
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }

    std::unique_ptr<RegistryHive> Open() const {
        LONG status = -1;
        auto hive = RegistryHive::Open(file_, status);
        EXPECT_EQ(status, 0);
        return hive;
    }

    // The value as this process's hive reads it now; "<status>" when the read fails.
    std::string Read(const wchar_t* name = L"Path") const {
        DWORD type = 0;
        std::string data;
        const LONG r = hive_->QueryValue(key_, name, type, data);
        return r == 0 ? data : StatusText(r);
    }

    // Runs body in a child process (which opens connections of its own) and waits for it.
    template <class Body> void InChild(Body body) const {
        const pid_t pid = fork();
        ASSERT_NE(pid, -1);
        if (pid == 0)
            _exit(body() ? 0 : 1);
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }

    // A child's own hive on the same file, for one change.
    template <class Change> void ChangeInChild(Change change) const {
        InChild([&] {
            LONG status = -1;
            auto hive = RegistryHive::Open(file_, status);
            return hive && change(*hive) == 0;
        });
    }

    std::filesystem::path dir_;
    std::string file_;
    std::unique_ptr<RegistryHive> hive_;
    RegKeyId key_ = 0;
};

TEST_F(RegistryReadCacheTest, SeesRemovalsByAnotherProcess) {
    ASSERT_EQ(Read(), "one");
    ASSERT_EQ(Read(), "one");
    ChangeInChild([&](RegistryHive& h) { return h.DeleteValue(key_, L"PATH"); });
    EXPECT_EQ(Read(), StatusText(ERROR_FILE_NOT_FOUND));
}

TEST_F(RegistryReadCacheTest, SeesAnotherConnectionOfThisProcess) {
    auto other = Open();
    ASSERT_EQ(Read(), "one");
    for (int i = 0; i < 100; ++i) {
        const std::string v = std::to_string(i);
        ASSERT_EQ(other->SetValue(key_, L"Path", REG_BINARY, v), 0);
        ASSERT_EQ(Read(), v);
        ASSERT_EQ(Read(), v);
    }
}

// While another process writes an increasing counter, the values read never go back and the
// last one read after it ends is its last write.
TEST_F(RegistryReadCacheTest, NeverGoesBackWhileAnotherProcessWrites) {
    constexpr int kWrites = 300;
    ASSERT_EQ(hive_->SetValue(key_, L"Counter", REG_SZ, "0"), 0);
    const pid_t pid = fork();
    ASSERT_NE(pid, -1);
    if (pid == 0) {
        LONG status = -1;
        auto hive = RegistryHive::Open(file_, status);
        bool ok = hive != nullptr;
        for (int i = 1; ok && i <= kWrites; ++i)
            ok = hive->SetValue(key_, L"Counter", REG_SZ, std::to_string(i)) == 0;
        _exit(ok ? 0 : 1);
    }
    int last = 0, reads = 0;
    for (;;) {
        int status = 0;
        const bool done = waitpid(pid, &status, WNOHANG) == pid;
        const int now = std::stoi(Read(L"Counter"));
        ASSERT_GE(now, last) << "after " << reads << " reads";
        last = now;
        ++reads;
        if (done) {
            ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
            break;
        }
    }
    EXPECT_EQ(std::stoi(Read(L"Counter")), kWrites);
}

} // namespace
