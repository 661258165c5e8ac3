// A fresh folder for one test, removed afterwards.
#ifndef TLVUTL_TESTS_TEMP_DIR_H
#define TLVUTL_TESTS_TEMP_DIR_H

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

class TempDir {
public:
    TempDir() {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        path_ = std::filesystem::temp_directory_path() /
                ("tlvutl-" + std::string(info->test_suite_name()) + "-" + info->name() + "-" +
                 std::to_string(getpid()));
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    ~TempDir() { std::filesystem::remove_all(path_); }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
    const std::filesystem::path& path() const { return path_; }

    static void Write(const std::filesystem::path& p, const std::string& bytes) {
        std::ofstream(p, std::ios::binary | std::ios::trunc) << bytes;
    }
    static std::string Read(const std::filesystem::path& p) {
        std::ifstream in(p, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }

private:
    std::filesystem::path path_;
};

#endif
