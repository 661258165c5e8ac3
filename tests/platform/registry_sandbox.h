// Gives one test a registry store of its own: a fresh folder under $TLV_REGISTRY_DIR (which
// the test environment points inside the build tree), removed afterwards.
#ifndef TLVUTL_TESTS_REGISTRY_SANDBOX_H
#define TLVUTL_TESTS_REGISTRY_SANDBOX_H

#include <tlvutl/registry.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

// Run by hand rather than by ctest, a test binary would otherwise fall back to the user's own
// store whenever no sandbox is active.
inline const bool kRegistryTestFolderSet = [] {
    const auto folder = std::filesystem::temp_directory_path() / "tlvutl-test-registry";
    return ::setenv("TLV_REGISTRY_DIR", folder.c_str(), 0) == 0;
}();

class RegistrySandbox {
public:
    RegistrySandbox() {
        static std::atomic<int> counter{0};
        const char* base = std::getenv("TLV_REGISTRY_DIR");
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        dir_ =
            std::filesystem::path(base && *base ? base : std::filesystem::temp_directory_path()) /
            ("sandbox-" + std::to_string(::getpid()) + "-" + std::to_string(counter++) + "-" +
             (info ? info->name() : "x"));
        std::filesystem::remove_all(dir_);
        std::filesystem::create_directories(dir_);
        TlvUtl::SetRegistryDirectory(dir_.wstring());
    }
    ~RegistrySandbox() {
        TlvUtl::SetRegistryDirectory(L"");
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }
    RegistrySandbox(const RegistrySandbox&) = delete;
    RegistrySandbox& operator=(const RegistrySandbox&) = delete;

    const std::filesystem::path& Dir() const { return dir_; }
    std::filesystem::path File(const char* root) const {
        return dir_ / (std::string(root) + ".db");
    }
    // Closes every connection of this process, as a restart would; handles become invalid.
    void Reopen() const { TlvUtl::SetRegistryDirectory(dir_.wstring()); }

private:
    std::filesystem::path dir_;
};

#endif
