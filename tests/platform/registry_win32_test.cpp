// The registry functions where Windows' results are easy to get wrong: empty and null data,
// the count that stops before a string's NUL, enumeration with a short name buffer, and
// handles whose key was deleted.
#include "platform/registry_raw.h"
#include "platform/registry_sandbox.h"

#include <tlvutl/encoding.h>
#include <tlvutl/registry.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace TlvUtl;

HKEY Create(HKEY parent, const wchar_t* path) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExW(parent, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    return key;
}

DWORD QuerySize(HKEY key, const wchar_t* name, DWORD* type = nullptr) {
    DWORD size = 12345;
    EXPECT_EQ(RegQueryValueExW(key, name, nullptr, type, nullptr, &size), ERROR_SUCCESS)
        << TlvUtils::ToUtf8(name);
    return size;
}

std::string Raw(HKEY key, const wchar_t* name) {
    BYTE buffer[64];
    DWORD size = sizeof buffer;
    if (tlv::platform::RegQueryValueRaw(key, name, nullptr, buffer, &size) != ERROR_SUCCESS)
        return "<missing>";
    return std::string(reinterpret_cast<char*>(buffer), size);
}

class RegistryWin32 : public ::testing::Test {
protected:
    RegistrySandbox sandbox;
};

TEST_F(RegistryWin32, NullDataWithZeroCountStoresAnEmptyValue) {
    HKEY key = Create(sandbox.Base(), L"Empty");
    DWORD type = 0;
    for (const DWORD t : {DWORD{REG_BINARY}, DWORD{REG_SZ}, DWORD{REG_NONE}}) {
        ASSERT_EQ(RegSetValueExW(key, L"v", 0, t, nullptr, 0), ERROR_SUCCESS) << t;
        EXPECT_EQ(QuerySize(key, L"v", &type), 0u);
        EXPECT_EQ(type, t);
    }
    // The raw path, as the .reg reader and the CLI's empty REG_BINARY use it.
    EXPECT_EQ(tlv::platform::RegSetValueRaw(key, L"raw", REG_BINARY, nullptr, 0), ERROR_SUCCESS);
    EXPECT_EQ(Raw(key, L"raw"), "");
    // A count with no buffer behind it is a bad address, not a bad parameter.
    EXPECT_EQ(RegSetValueExW(key, L"bad", 0, REG_BINARY, nullptr, 4), ERROR_NOACCESS);
    EXPECT_EQ(RegQueryValueExW(key, L"bad", nullptr, nullptr, nullptr, nullptr),
              ERROR_FILE_NOT_FOUND);
    RegCloseKey(key);
}

TEST_F(RegistryWin32, CountJustShortOfTheNulTakesTheNul) {
    HKEY key = Create(sandbox.Base(), L"Terminator");
    const wchar_t abc[] = L"abc";
    const wchar_t abcd[] = L"abcd";
    const auto* p = reinterpret_cast<const BYTE*>(abc);
    for (const DWORD t : {DWORD{REG_SZ}, DWORD{REG_EXPAND_SZ}}) {
        ASSERT_EQ(RegSetValueExW(key, L"short", 0, t, p, 6), ERROR_SUCCESS);
        EXPECT_EQ(QuerySize(key, L"short"), 8u) << t;
    }
    // No NUL after the counted text: stored as counted.
    ASSERT_EQ(RegSetValueExW(key, L"cut", 0, REG_SZ, reinterpret_cast<const BYTE*>(abcd), 6), 0);
    EXPECT_EQ(QuerySize(key, L"cut"), 6u);
    EXPECT_EQ(Raw(key, L"cut"), TlvUtils::ToUtf16LE(L"abc"));
    // Already terminated, or shorter: nothing added.
    ASSERT_EQ(RegSetValueExW(key, L"full", 0, REG_SZ, p, 8), 0);
    EXPECT_EQ(QuerySize(key, L"full"), 8u);
    ASSERT_EQ(RegSetValueExW(key, L"two", 0, REG_SZ, p, 4), 0);
    EXPECT_EQ(QuerySize(key, L"two"), 4u);
    // A list whose final NUL was left out of the count.
    const std::wstring multi(L"one\0two\0\0", 9);
    ASSERT_EQ(
        RegSetValueExW(key, L"m", 0, REG_MULTI_SZ, reinterpret_cast<const BYTE*>(multi.data()), 14),
        0);
    EXPECT_EQ(QuerySize(key, L"m"), 16u);
    // Binary data is never extended.
    ASSERT_EQ(RegSetValueExW(key, L"b", 0, REG_BINARY, p, 6), 0);
    EXPECT_EQ(Raw(key, L"b").size(), 6u);
    RegCloseKey(key);
}

TEST_F(RegistryWin32, EnumValueWithAShortNameStillTellsTypeAndSize) {
    HKEY key = Create(sandbox.Base(), L"Enum");
    const wchar_t text[] = L"hello";
    ASSERT_EQ(RegSetValueExW(key, L"LongName", 0, REG_SZ, reinterpret_cast<const BYTE*>(text), 12),
              0);
    wchar_t name[4] = {L'#', L'#', L'#', L'#'};
    DWORD length = 4, type = 0, size = 0;
    BYTE data[64] = {};
    size = sizeof data;
    EXPECT_EQ(RegEnumValueW(key, 0, name, &length, nullptr, &type, data, &size), ERROR_MORE_DATA);
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(size, 12u);
    EXPECT_EQ(data[0], 0); // nothing copied
    EXPECT_EQ(name[0], L'#');
    // The size alone, too.
    type = 0;
    size = 0;
    length = 4;
    EXPECT_EQ(RegEnumValueW(key, 0, name, &length, nullptr, &type, nullptr, &size),
              ERROR_MORE_DATA);
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(size, 12u);
    RegCloseKey(key);
}

TEST_F(RegistryWin32, HandleOfADeletedKeyAnswersKeyDeleted) {
    HKEY parent = Create(sandbox.Base(), L"Gone");
    HKEY key = Create(parent, L"Child");
    ASSERT_EQ(RegSetValueExW(key, L"v", 0, REG_BINARY, reinterpret_cast<const BYTE*>("x"), 1), 0);
    HKEY other = Create(sandbox.Base(), L"Gone\\Child"); // a second handle deletes it
    ASSERT_EQ(RegDeleteValueW(other, L"v"), ERROR_SUCCESS);
    ASSERT_EQ(RegDeleteKeyW(parent, L"Child"), ERROR_SUCCESS);

    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExW(key, L"v", nullptr, nullptr, nullptr, &size), ERROR_KEY_DELETED);
    EXPECT_EQ(RegQueryValueExW(key, nullptr, nullptr, nullptr, nullptr, &size), ERROR_KEY_DELETED);
    wchar_t name[16];
    DWORD length = 16;
    EXPECT_EQ(RegEnumValueW(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr),
              ERROR_KEY_DELETED);
    length = 16;
    EXPECT_EQ(RegEnumKeyExW(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr),
              ERROR_KEY_DELETED);
    EXPECT_EQ(RegSetValueExW(key, L"v", 0, REG_BINARY, reinterpret_cast<const BYTE*>("x"), 1),
              ERROR_KEY_DELETED);
    EXPECT_EQ(RegDeleteValueW(key, L"v"), ERROR_KEY_DELETED);
    DWORD values = 0;
    EXPECT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values,
                               nullptr, nullptr, nullptr, nullptr),
              ERROR_KEY_DELETED);
    HKEY sub = nullptr;
    EXPECT_EQ(RegOpenKeyExW(key, L"Below", 0, KEY_READ, &sub), ERROR_KEY_DELETED);
    EXPECT_EQ(RegCreateKeyExW(key, L"Below", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &sub, nullptr),
              ERROR_KEY_DELETED);

    // A key made again under the same name is a new key: the old handle still reaches nothing.
    HKEY again = Create(parent, L"Child");
    EXPECT_EQ(RegQueryValueExW(key, L"v", nullptr, nullptr, nullptr, &size), ERROR_KEY_DELETED);
    // The parent, alive, still says "not found" for what it lacks.
    EXPECT_EQ(RegQueryValueExW(parent, L"v", nullptr, nullptr, nullptr, &size),
              ERROR_FILE_NOT_FOUND);
    length = 16;
    EXPECT_EQ(RegEnumValueW(parent, 0, name, &length, nullptr, nullptr, nullptr, nullptr),
              ERROR_NO_MORE_ITEMS);
    for (HKEY h : {parent, key, other, again})
        RegCloseKey(h);
}

} // namespace
