// The Win32 registry functions on the store: names, order, statuses, bytes and handles.
#include "platform/registry_raw.h"
#include "platform/registry_sandbox.h"
#include "platform_marks.h"

#include <tlvutl/encoding.h>
#include <tlvutl/registry.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace TlvUtl;

HKEY Create(HKEY parent, const wchar_t* path, REGSAM sam = KEY_ALL_ACCESS,
            DWORD* disposition = nullptr) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExW(parent, path, 0, nullptr, 0, sam, nullptr, &key, disposition),
              ERROR_SUCCESS)
        << "creating " << TlvUtils::ToUtf8(path);
    return key;
}

LONG Open(HKEY parent, const wchar_t* path, HKEY& key, REGSAM sam = KEY_READ) {
    return RegOpenKeyExW(parent, path, 0, sam, &key);
}

std::string Raw(HKEY key, const wchar_t* name, DWORD* type = nullptr) {
    DWORD size = 0;
    if (tlv::platform::RegQueryValueRaw(key, name, type, nullptr, &size) != ERROR_SUCCESS)
        return "<missing>";
    std::string bytes(size, '\0');
    EXPECT_EQ(tlv::platform::RegQueryValueRaw(key, name, type,
                                              reinterpret_cast<BYTE*>(bytes.data()), &size),
              ERROR_SUCCESS);
    return bytes;
}

DWORD QuerySize(HKEY key, const wchar_t* name, DWORD* type = nullptr) {
    DWORD size = 12345;
    EXPECT_EQ(RegQueryValueExW(key, name, nullptr, type, nullptr, &size), ERROR_SUCCESS)
        << TlvUtils::ToUtf8(name);
    return size;
}

LONG SetBytes(HKEY key, const wchar_t* name, DWORD type, const std::string& bytes) {
    return RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                          static_cast<DWORD>(bytes.size()));
}

std::vector<std::wstring> SubKeys(HKEY key) {
    std::vector<std::wstring> names;
    for (DWORD i = 0;; ++i) {
        wchar_t name[256];
        DWORD length = 256;
        const LONG r = RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (r != ERROR_SUCCESS) {
            EXPECT_EQ(r, ERROR_NO_MORE_ITEMS);
            return names;
        }
        names.emplace_back(name, length);
    }
}

struct Entry {
    std::wstring name;
    DWORD type;
    std::string bytes;
    bool operator==(const Entry&) const = default;
};

std::vector<Entry> Values(HKEY key) {
    std::vector<Entry> out;
    for (DWORD i = 0;; ++i) {
        Entry e;
        const LONG r = tlv::platform::RegEnumValueBytes(key, i, e.name, e.type, e.bytes);
        if (r != ERROR_SUCCESS) {
            EXPECT_EQ(r, ERROR_NO_MORE_ITEMS);
            return out;
        }
        out.push_back(e);
    }
}

const std::wstring& NameOf(const std::wstring& name) {
    return name;
}
const std::wstring& NameOf(const Entry& entry) {
    return entry.name;
}

std::string U16(const wchar_t* text, bool withNul) {
    std::string b = TlvUtils::ToUtf16LE(text);
    if (withNul)
        b += std::string(2, '\0');
    return b;
}

class RegistryApi : public ::testing::Test {
protected:
    RegistrySandbox sandbox;
};

TEST_F(RegistryApi, StatusCodes) {
    const std::wstring status = sandbox.SubKey(L"Status");
    HKEY key = Create(sandbox.Base(), L"Status");
    HKEY child = Create(key, L"Child");
    HKEY missing = nullptr;
    EXPECT_EQ(Open(key, L"Nope", missing), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(missing, nullptr);
    EXPECT_EQ(RegQueryValueExW(key, L"nothing", nullptr, nullptr, nullptr, nullptr),
              ERROR_FILE_NOT_FOUND);

    // A root is never deleted (a key with sub-keys is the model test's).
    EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, L""), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteKeyW(key, L"CHILD"), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(child), ERROR_SUCCESS); // a deleted key's handle is still one

    // Read-only handles refuse writes, write-only handles refuse reads.
    HKEY ro = nullptr, wo = nullptr;
    ASSERT_EQ(Open(HKEY_CURRENT_USER, status.c_str(), ro, KEY_READ), 0);
    ASSERT_EQ(Open(HKEY_CURRENT_USER, status.c_str(), wo, KEY_WRITE), 0);
    EXPECT_EQ(SetBytes(ro, L"v", REG_BINARY, "x"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteValueW(ro, L"v"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(SetBytes(wo, L"v", REG_BINARY, "x"), ERROR_SUCCESS);
    EXPECT_EQ(RegQueryValueExW(wo, L"v", nullptr, nullptr, nullptr, nullptr), ERROR_ACCESS_DENIED);
    EXPECT_EQ(Raw(ro, L"v"), "x");

    // ERROR_MORE_DATA reports the size and leaves the buffer alone.
    ASSERT_EQ(SetBytes(key, L"big", REG_BINARY, "0123456789"), 0);
    BYTE buffer[4] = {'a', 'b', 'c', 'd'};
    DWORD size = sizeof buffer;
    EXPECT_EQ(RegQueryValueExW(key, L"big", nullptr, nullptr, buffer, &size), ERROR_MORE_DATA);
    EXPECT_EQ(size, 10u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), 4), "abcd");

    // Malformed paths and handles.
    EXPECT_EQ(Open(HKEY_CURRENT_USER, L"\\Software", missing), ERROR_BAD_PATHNAME);
    // Backslashes in a row are one separator; a trailing one is ignored.
    EXPECT_EQ(Open(HKEY_CURRENT_USER, L"Software\\\\tlvutl-tests", missing), ERROR_SUCCESS);
    RegCloseKey(missing);
    EXPECT_EQ(Open(HKEY_CURRENT_USER, (status + L"\\").c_str(), missing), ERROR_SUCCESS);
    RegCloseKey(missing);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
    EXPECT_EQ(SetBytes(key, L"v", REG_BINARY, "x"), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegCloseKey(HKEY_CURRENT_USER), ERROR_SUCCESS);
    RegCloseKey(ro);
    RegCloseKey(wo);
}

TEST_F(RegistryApi, StringsAreStoredAsTheUtf16BytesTheWriterSent) {
    HKEY key = Create(sandbox.Base(), L"Bytes");
    const wchar_t text[] = L"abc", longer[] = L"abcd";
    // Byte counts for string data are two per wchar_t: 8 with the NUL, 6 without.
    ASSERT_EQ(RegSetValueExW(key, L"with", 0, REG_SZ, reinterpret_cast<const BYTE*>(text), 8), 0);
    ASSERT_EQ(RegSetValueExW(key, L"without", 0, REG_SZ, reinterpret_cast<const BYTE*>(longer), 6),
              0);
    EXPECT_EQ(Raw(key, L"with"), U16(L"abc", true));
    EXPECT_EQ(Raw(key, L"without"), U16(L"abc", false));

    // Reading into a wide buffer converts; a missing NUL is added when there is room.
    wchar_t out[8];
    std::fill(std::begin(out), std::end(out), L'#');
    DWORD size = sizeof out / 2, type = 0;
    ASSERT_EQ(
        RegQueryValueExW(key, L"without", nullptr, &type, reinterpret_cast<BYTE*>(out), &size), 0);
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(size, 6u);
    EXPECT_STREQ(out, L"abc");
    std::fill(std::begin(out), std::end(out), L'#');
    size = 6; // exactly the text: no room for the NUL
    ASSERT_EQ(
        RegQueryValueExW(key, L"without", nullptr, nullptr, reinterpret_cast<BYTE*>(out), &size),
        0);
    EXPECT_EQ(out[3], L'#');
    size = 4;
    EXPECT_EQ(RegQueryValueExW(key, L"with", nullptr, nullptr, reinterpret_cast<BYTE*>(out), &size),
              ERROR_MORE_DATA);
    EXPECT_EQ(size, 8u);

    // Beyond the BMP: a surrogate pair in the store, one wchar_t at the edge.
    const wchar_t smile[] = L"\U0001F600";
    ASSERT_EQ(RegSetValueExW(key, L"smile", 0, REG_SZ, reinterpret_cast<const BYTE*>(smile), 4), 0);
    EXPECT_EQ(Raw(key, L"smile"), std::string("\x3D\xD8\x00\xDE\x00\x00", 6));
    size = sizeof out / 2;
    ASSERT_EQ(
        RegQueryValueExW(key, L"smile", nullptr, nullptr, reinterpret_cast<BYTE*>(out), &size), 0);
    EXPECT_EQ(std::wstring(out), L"\U0001F600");

    // Other types are byte for byte; REG_DWORD is four little-endian bytes.
    const DWORD dword = 0x0A0B0C0D;
    ASSERT_EQ(RegSetValueExW(key, L"d", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&dword), 4), 0);
    EXPECT_EQ(Raw(key, L"d"), std::string("\x0D\x0C\x0B\x0A", 4));
    const std::string multi = U16(L"one", true) + U16(L"two", true) + std::string(2, '\0');
    const std::wstring wideMulti(L"one\0two\0\0", 9);
    ASSERT_EQ(RegSetValueExW(key, L"m", 0, REG_MULTI_SZ,
                             reinterpret_cast<const BYTE*>(wideMulti.data()), 18),
              0);
    EXPECT_EQ(Raw(key, L"m"), multi);
    ASSERT_EQ(SetBytes(key, L"empty", REG_SZ, ""), 0);
    EXPECT_EQ(Raw(key, L"empty"), "");
    RegCloseKey(key);
}

TEST_F(RegistryApi, QueryInfoCountsAndLengths) {
    HKEY key = Create(sandbox.Base(), L"Info");
    RegCloseKey(Create(key, L"short"));
    RegCloseKey(Create(key, L"a-longer-name"));
    ASSERT_EQ(SetBytes(key, L"v", REG_BINARY, std::string(300, 'x')), 0);
    ASSERT_EQ(SetBytes(key, L"value-name", REG_SZ, U16(L"hi", true)), 0);
    DWORD subKeys = 0, maxSub = 0, values = 0, maxName = 0, maxData = 0;
    FILETIME written{};
    ASSERT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subKeys, &maxSub, nullptr, &values,
                               &maxName, &maxData, nullptr, &written),
              0);
    EXPECT_EQ(subKeys, 2u);
    EXPECT_EQ(maxSub, 13u);
    EXPECT_EQ(values, 2u);
    EXPECT_EQ(maxName, 10u);
    EXPECT_EQ(maxData, 300u);
    // FILETIME of this century (after 2020-01-01).
    const auto ticks =
        (static_cast<std::uint64_t>(written.dwHighDateTime) << 32) | written.dwLowDateTime;
    EXPECT_GT(ticks, 132223104000000000ull);
    RegCloseKey(key);
}

TEST_F(RegistryApi, PerformanceDataOpensAndHoldsNothing) {
    TLVUTL_POSIX_ONLY("the library's own store: Windows answers HKEY_PERFORMANCE_DATA itself");
    HKEY key = nullptr;
    ASSERT_EQ(Open(HKEY_PERFORMANCE_DATA, L"", key), 0);
    EXPECT_EQ(Open(HKEY_PERFORMANCE_DATA, L"Counter", key), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(SetBytes(HKEY_PERFORMANCE_DATA, L"v", REG_BINARY, "x"), ERROR_ACCESS_DENIED);
    HKEY sub = nullptr;
    EXPECT_EQ(RegCreateKeyExW(HKEY_PERFORMANCE_DATA, L"x", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                              &sub, nullptr),
              ERROR_ACCESS_DENIED);
    EXPECT_TRUE(SubKeys(HKEY_PERFORMANCE_DATA).empty());
    EXPECT_TRUE(GetRegistryStoreFile(HKEY_PERFORMANCE_DATA).empty());
    EXPECT_FALSE(std::filesystem::exists(sandbox.File("HKEY_PERFORMANCE_DATA")));
}

TEST_F(RegistryApi, EachRootHasItsOwnFileAndHandlesEndWithTheStore) {
    TLVUTL_POSIX_ONLY("the library's own store: one database file per root");
    HKEY user = Create(HKEY_CURRENT_USER, L"Kept");
    HKEY machine = Create(HKEY_LOCAL_MACHINE, L"Kept");
    ASSERT_EQ(SetBytes(user, L"who", REG_BINARY, "user"), 0);
    ASSERT_EQ(SetBytes(machine, L"who", REG_BINARY, "machine"), 0);
    EXPECT_EQ(GetRegistryStoreFile(HKEY_CURRENT_USER), sandbox.File("HKEY_CURRENT_USER").wstring());
    EXPECT_TRUE(std::filesystem::exists(sandbox.File("HKEY_CURRENT_USER")));
    EXPECT_TRUE(std::filesystem::exists(sandbox.File("HKEY_LOCAL_MACHINE")));

    sandbox.Reopen();
    EXPECT_EQ(SetBytes(user, L"who", REG_BINARY, "x"), ERROR_INVALID_HANDLE);
}

TEST_F(RegistryApi, ForeignSqliteFileIsReportedAndLeftAlone) {
    TLVUTL_POSIX_ONLY("the library's own store: its database files");
    // A valid SQLite database that is not a hive: never taken over.
    {
        std::ofstream(sandbox.File("HKEY_CLASSES_ROOT"), std::ios::binary)
            << std::string("SQLite format 3\0", 16) << std::string(4080, '\0');
    }
    const auto before = std::filesystem::file_size(sandbox.File("HKEY_CLASSES_ROOT"));
    HKEY key = nullptr;
    EXPECT_EQ(Open(HKEY_CLASSES_ROOT, L"x", key), ERROR_BADDB);
    EXPECT_EQ(std::filesystem::file_size(sandbox.File("HKEY_CLASSES_ROOT")), before);
    // An empty file is a new store.
    { std::ofstream(sandbox.File("HKEY_USERS"), std::ios::binary); }
    RegCloseKey(Create(HKEY_USERS, L"fine"));
}

// The store against a plain model under a random mix of operations: names differing only in
// case (beyond ASCII too), deletes, re-creation, sub-keys blocking a delete, and restarts. Names
// keep the case they were first made with; sub-keys enumerate in upper-case order ('B' before
// '_'), values in the order they were first set, an update keeping the place.
TEST_F(RegistryApi, MatchesASimpleModelUnderRandomOperations) {
    struct ModelValue {
        std::wstring name;
        std::string bytes;
    };
    struct Model {
        std::map<std::wstring, std::wstring> keys; // fold -> name as created
        std::map<std::wstring, bool> hasChild;
        std::vector<ModelValue> values; // in first-set order
    } model;
    auto fold = [](std::wstring s) {
        for (wchar_t& c : s)
            c = c >= L'a' && c <= L'z' ? c - 32 : c == L'\u00e4' ? L'\u00c4' : c;
        return s;
    };
    const std::vector<std::wstring> pool = {L"alpha", L"Beta",   L"gamma_", L"GAMMAX", L"\u00e4x",
                                            L"z",     L"_under", L"a",      L"\u00c4x"};
    std::mt19937 rng(20240611);
    // Wine keeps sub-keys in lower-case order and values sorted by name: there the contents
    // are compared, not their order.
    bool orderKnown = true;
#ifdef _WIN32
    orderKnown = !platform_marks::UnderWine();
#endif
    auto ordered = [&](auto list) {
        if (!orderKnown)
            std::sort(list.begin(), list.end(), [&](const auto& a, const auto& b) {
                return fold(NameOf(a)) < fold(NameOf(b));
            });
        return list;
    };
    auto pick = [&] {
        std::wstring s = pool[rng() % pool.size()];
        for (wchar_t& c : s)
            if (rng() % 2)
                c = c >= L'a' && c <= L'z' ? c - 32 : c >= L'A' && c <= L'Z' ? c + 32 : c;
        return s;
    };

    const std::wstring model_key = sandbox.SubKey(L"Model");
    const wchar_t* const parent = model_key.c_str();
    RegCloseKey(Create(HKEY_CURRENT_USER, parent));
    for (int step = 0; step < 300; ++step) {
        HKEY key = nullptr;
        ASSERT_EQ(Open(HKEY_CURRENT_USER, parent, key, KEY_ALL_ACCESS), 0);
        const std::wstring name = pick();
        const std::wstring f = fold(name);
        switch (rng() % 6) {
        case 0: {
            DWORD disposition = 0;
            RegCloseKey(Create(key, name.c_str(), KEY_ALL_ACCESS, &disposition));
            EXPECT_EQ(disposition, model.keys.count(f) ? DWORD{REG_OPENED_EXISTING_KEY}
                                                       : DWORD{REG_CREATED_NEW_KEY});
            model.keys.emplace(f, name);
            break;
        }
        case 1: {
            const LONG r = RegDeleteKeyW(key, name.c_str());
            const bool exists = model.keys.count(f) != 0;
            const LONG expected = !exists             ? ERROR_FILE_NOT_FOUND
                                  : model.hasChild[f] ? ERROR_ACCESS_DENIED
                                                      : ERROR_SUCCESS;
            ASSERT_EQ(r, expected) << "step " << step;
            if (r == ERROR_SUCCESS)
                model.keys.erase(f);
            break;
        }
        case 2: {
            const std::wstring child = name + L"\\leaf";
            RegCloseKey(Create(key, child.c_str()));
            model.keys.emplace(f, name);
            model.hasChild[f] = true;
            if (rng() % 2) {
                ASSERT_EQ(RegDeleteKeyW(key, child.c_str()), 0);
                model.hasChild[f] = false;
            }
            break;
        }
        case 3:
        case 4: {
            const std::string bytes(rng() % 5, static_cast<char>('a' + step % 26));
            ASSERT_EQ(SetBytes(key, name.c_str(), REG_BINARY, bytes), 0);
            auto it = std::find_if(model.values.begin(), model.values.end(),
                                   [&](const ModelValue& v) { return fold(v.name) == f; });
            if (it == model.values.end())
                model.values.push_back({name, bytes});
            else
                it->bytes = bytes;
            break;
        }
        case 5: {
            auto it = std::find_if(model.values.begin(), model.values.end(),
                                   [&](const ModelValue& v) { return fold(v.name) == f; });
            ASSERT_EQ(RegDeleteValueW(key, name.c_str()),
                      it == model.values.end() ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS);
            if (it != model.values.end())
                model.values.erase(it);
            break;
        }
        }
        RegCloseKey(key);
        if (step % 50 == 49)
            sandbox.Reopen(); // what was written must come back from the store

        ASSERT_EQ(Open(HKEY_CURRENT_USER, parent, key), 0);
        std::vector<std::wstring> expectedKeys;
        for (const auto& [k, v] : model.keys)
            expectedKeys.push_back(v);
        ASSERT_EQ(ordered(SubKeys(key)), ordered(expectedKeys)) << "step " << step;
        std::vector<Entry> expectedValues;
        for (const ModelValue& v : model.values)
            expectedValues.push_back({v.name, REG_BINARY, v.bytes});
        ASSERT_EQ(ordered(Values(key)), ordered(expectedValues)) << "step " << step;
        RegCloseKey(key);
    }
}

// Threads of one process share a connection per root; each sees every other's writes and
// enumeration stays consistent while they write.
TEST_F(RegistryApi, ThreadsShareTheStore) {
    constexpr int kThreads = 4, kEach = 60;
    HKEY shared = Create(sandbox.Base(), L"Threads");
    const std::wstring upper = sandbox.SubKey(L"THREADS");
    std::vector<std::thread> threads;
    std::atomic<int> failures{0};
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            HKEY own = nullptr;
            if (Open(HKEY_CURRENT_USER, upper.c_str(), own, KEY_ALL_ACCESS))
                ++failures;
            for (int i = 0; i < kEach; ++i) {
                const std::wstring name = L"t" + std::to_wstring(t) + L"-" + std::to_wstring(i);
                // Alternate between a handle of its own and the shared one.
                if (SetBytes(i % 2 ? own : shared, name.c_str(), REG_BINARY,
                             std::string(1, char(i))))
                    ++failures;
                if (Raw(i % 2 ? shared : own, name.c_str()) != std::string(1, char(i)))
                    ++failures;
                DWORD values = 0;
                if (RegQueryInfoKeyW(own, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                     &values, nullptr, nullptr, nullptr, nullptr) ||
                    values < static_cast<DWORD>(i + 1))
                    ++failures;
            }
            RegCloseKey(own);
        });
    }
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(Values(shared).size(), static_cast<std::size_t>(kThreads * kEach));
    RegCloseKey(shared);
}

// Where Windows' results are easy to get wrong: empty and null data, the count that stops
// before a string's NUL, enumeration with a short name buffer, and handles whose key was
// deleted.
TEST_F(RegistryApi, NullDataWithZeroCountStoresAnEmptyValue) {
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

TEST_F(RegistryApi, CountJustShortOfTheNulTakesTheNul) {
    HKEY key = Create(sandbox.Base(), L"Terminator");
    const wchar_t abc[] = L"abc";
    const auto* p = reinterpret_cast<const BYTE*>(abc);
    for (const DWORD t : {DWORD{REG_SZ}, DWORD{REG_EXPAND_SZ}}) {
        ASSERT_EQ(RegSetValueExW(key, L"short", 0, t, p, 6), ERROR_SUCCESS);
        EXPECT_EQ(QuerySize(key, L"short"), 8u) << t;
    }
    // No NUL after the counted text: stored as counted, as the UTF-16 bytes test shows.
    // Shorter: nothing added (a terminated string is the UTF-16 bytes test's).
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

TEST_F(RegistryApi, EnumValueWithAShortNameStillTellsTypeAndSize) {
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
    RegCloseKey(key);
}

TEST_F(RegistryApi, HandleOfADeletedKeyAnswersKeyDeleted) {
    HKEY parent = Create(sandbox.Base(), L"Gone");
    HKEY key = Create(parent, L"Child");
    ASSERT_EQ(RegSetValueExW(key, L"v", 0, REG_BINARY, reinterpret_cast<const BYTE*>("x"), 1), 0);
    HKEY other = Create(sandbox.Base(), L"Gone\\Child"); // a second handle deletes it
    ASSERT_EQ(RegDeleteValueW(other, L"v"), ERROR_SUCCESS);
    ASSERT_EQ(RegDeleteKeyW(parent, L"Child"), ERROR_SUCCESS);

    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExW(key, L"v", nullptr, nullptr, nullptr, &size), ERROR_KEY_DELETED);
    wchar_t name[16];
    DWORD length = 16;
    EXPECT_EQ(RegEnumValueW(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr),
              ERROR_KEY_DELETED);
    EXPECT_EQ(RegSetValueExW(key, L"v", 0, REG_BINARY, reinterpret_cast<const BYTE*>("x"), 1),
              ERROR_KEY_DELETED);
    EXPECT_EQ(RegDeleteValueW(key, L"v"), ERROR_KEY_DELETED);
    HKEY sub = nullptr;
    EXPECT_EQ(RegOpenKeyExW(key, L"Below", 0, KEY_READ, &sub), ERROR_KEY_DELETED);

    // A key made again under the same name is a new key: the old handle still reaches nothing.
    HKEY again = Create(parent, L"Child");
    EXPECT_EQ(RegQueryValueExW(key, L"v", nullptr, nullptr, nullptr, &size), ERROR_KEY_DELETED);
    for (HKEY h : {parent, key, other, again})
        RegCloseKey(h);
}

void SetVariable(const char* name, const char* value) {
#ifdef _WIN32
    ::SetEnvironmentVariableA(name, value);
#else
    if (value)
        ::setenv(name, value, 1);
    else
        ::unsetenv(name);
#endif
}

TEST(ExpandEnvironment, ReplacesSetVariablesAndKeepsTheRest) {
    SetVariable("TLV_EXPAND_A", "alpha");
    SetVariable("TLV_EXPAND_EMPTY", "");
    SetVariable("TLV_EXPAND_MISSING", nullptr);
    auto expand = [](const wchar_t* in) {
        wchar_t out[64];
        const DWORD n = ExpandEnvironmentStringsW(in, out, 64);
        EXPECT_EQ(n, std::wcslen(out) + 1);
        return std::wstring(out);
    };
    EXPECT_EQ(expand(L"%TLV_EXPAND_A%\\x"), L"alpha\\x");
    EXPECT_EQ(expand(L"%tlv_expand_a%"), L"alpha"); // names ignore case, as on Windows
    EXPECT_EQ(expand(L"[%TLV_EXPAND_EMPTY%]"), L"[]");
    EXPECT_EQ(expand(L"%TLV_EXPAND_MISSING%"), L"%TLV_EXPAND_MISSING%");
    EXPECT_EQ(expand(L"100%"), L"100%");
    EXPECT_EQ(expand(L"%%"), L"%%");

    wchar_t small[4] = {L'#', L'#', L'#', L'#'};
    EXPECT_EQ(ExpandEnvironmentStringsW(L"%TLV_EXPAND_A%", small, 4), 6u);
    EXPECT_STREQ(small, L"alp");
    EXPECT_EQ(ExpandEnvironmentStringsW(L"%TLV_EXPAND_A%", nullptr, 0), 6u);
    // No source is an empty one.
    EXPECT_EQ(ExpandEnvironmentStringsW(nullptr, small, 4), 1u);
    EXPECT_STREQ(small, L"");
}

TEST(ExpandEnvironment, TheClosingSignOfAnUnknownNameMayOpenTheNextReference) {
    TLVUTL_KNOWN_WINE_DIFFERENCE("Wine copies an unknown %NAME% whole, closing sign included, "
                                 "and goes on after it");
    SetVariable("TLV_EXPAND_A", "alpha");
    SetVariable("TLV_EXPAND_MISSING", nullptr);
    wchar_t out[64];
    EXPECT_EQ(ExpandEnvironmentStringsW(L"%TLV_EXPAND_MISSING%TLV_EXPAND_A%", out, 64), 25u);
    EXPECT_STREQ(out, L"%TLV_EXPAND_MISSINGalpha");
}

} // namespace
