// A fresh folder for one test, removed afterwards.
#ifndef TLVUTL_TESTS_TEMP_DIR_H
#define TLVUTL_TESTS_TEMP_DIR_H

#include <tlvutl/encoding.h>

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
    ~TempDir() {
        // Read-only files first become writable: Windows removes no read-only file.
        std::error_code ec;
        for (auto it = std::filesystem::recursive_directory_iterator(path_, ec);
             !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec))
            if (!it->is_symlink())
                std::filesystem::permissions(it->path(), std::filesystem::perms::owner_write,
                                             std::filesystem::perm_options::add, ec);
        std::filesystem::remove_all(path_, ec);
    }
    // name is UTF-8.
    std::filesystem::path operator/(const std::string& name) const { return path_ / Name(name); }
    const std::filesystem::path& path() const { return path_; }

    static void Write(const std::filesystem::path& p, const std::string& bytes) {
        std::ofstream(p, std::ios::binary | std::ios::trunc) << bytes;
    }
    static std::string Read(const std::filesystem::path& p) {
        std::ifstream in(p, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }

    // A path from UTF-8 text, and back as the library's wide text. Windows' paths are wide
    // (a narrow one would be read in the ANSI code page); POSIX paths are the UTF-8 bytes.
    static std::filesystem::path Name(const std::string& utf8) {
#ifdef _WIN32
        return std::filesystem::path(TlvUtils::FromUtf8(utf8));
#else
        return std::filesystem::path(utf8);
#endif
    }
    static std::wstring Wide(const std::filesystem::path& p) {
#ifdef _WIN32
        return p.wstring();
#else
        return TlvUtils::FromUtf8(p.string());
#endif
    }

private:
    std::filesystem::path path_;
};

#endif
