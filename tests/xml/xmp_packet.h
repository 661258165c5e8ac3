// Helpers shared by the XMP tests: a folder of their own for the writer's temporary files, a
// file's bytes, and a packet read back chunk by chunk.
#pragma once

#include "environment/temp_dir.h"

#include <tlvutl/encoding.h>
#include <tlvutl/xmp.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

#ifndef TLVUTL_XML_TEST_DATA
#error "TLVUTL_XML_TEST_DATA names the folder of the expected packets"
#endif

// The packet pinned for the full store, with its creation date in Central European time.
inline std::string FullStorePacket() {
    return TempDir::Read(std::filesystem::path(TLVUTL_XML_TEST_DATA) / "xmp_full_store.xmp");
}

// The whole packet, read back chunk by chunk as an image writer reads it.
inline std::string Packet(WXmpDoc& doc) {
    std::string all;
    std::vector<char> chunk;
    for (int i = 0; i < doc.GetNumberOfChunks(); ++i) {
        const long n = doc.GetDataToVector(chunk, i);
        EXPECT_EQ(n, doc.GetChunkSize(i)) << "chunk " << i;
        if (n > 0)
            all.append(chunk.data(), static_cast<std::size_t>(n));
    }
    EXPECT_EQ(all.size(), doc.GetDataSize());
    return all;
}

namespace fs = std::filesystem;

// A path from the library's wide text: wide on Windows, where a narrow path is read in the
// ANSI code page; the UTF-8 bytes elsewhere.
inline fs::path PathOf(const std::wstring& text) {
    return TempDir::Name(TlvUtils::ToUtf8(text));
}

// The folder the library makes its temporary files in (GetTempPathW reads TMP on Windows).
#ifdef _WIN32
inline constexpr const char* kTempVariable = "TMP";
#else
inline constexpr const char* kTempVariable = "TMPDIR";
#endif

inline void SetVariable(const char* name, const std::optional<fs::path>& value) {
#ifdef _WIN32
    const std::wstring wide = TlvUtils::FromUtf8(name);
    ::SetEnvironmentVariableW(wide.c_str(), value ? value->c_str() : nullptr);
#else
    if (value)
        ::setenv(name, value->c_str(), 1);
    else
        ::unsetenv(name);
#endif
}

inline std::optional<fs::path> Variable(const char* name) {
#ifdef _WIN32
    const std::wstring wide = TlvUtils::FromUtf8(name);
    wchar_t value[32768];
    const DWORD n = ::GetEnvironmentVariableW(wide.c_str(), value, 32768);
    if (n == 0 || n >= 32768)
        return std::nullopt;
    return fs::path(std::wstring(value, n));
#else
    if (const char* value = std::getenv(name))
        return fs::path(value);
    return std::nullopt;
#endif
}

// Every test writes its temporary files into a folder of its own whose name has accents,
// Cyrillic and CJK, and checks that nothing is left there.
class XmpTempFolder : public ::testing::Test {
protected:
    fs::path dir;
    std::optional<fs::path> oldTmp;

    void SetUp() override {
        // UTF-8 bytes: a narrow path holds them as they are.
        dir = fs::temp_directory_path() /
              PathOf(TlvUtils::FromUtf8(
                  "tlvutl-xmp-Äpfel-Ёлка-画像-" + std::to_string(::getpid()) + "-" +
                  ::testing::UnitTest::GetInstance()->current_test_info()->name()));
        fs::remove_all(dir);
        fs::create_directories(dir);
        oldTmp = Variable(kTempVariable);
        SetVariable(kTempVariable, dir);
    }
    void TearDown() override {
        EXPECT_TRUE(fs::is_empty(dir)) << "a temporary file was left behind";
        SetVariable(kTempVariable, oldTmp);
        fs::remove_all(dir);
    }
};
