// WUTLRegistry and GetRegSzValue: path-addressed keys, the static one-call helpers with their
// default write-back, the name lists and recursive deletion.
#include "platform/registry_raw.h"
#include "platform/registry_sandbox.h"
#include "platform_marks.h"

#include <tlvutl/encoding.h>
#include <tlvutl/folders.h>
#include <tlvutl/registry.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <deque>
#include <fstream>
#include <string>

namespace {

// Reaches the protected building blocks.
class Probe : public WUTLRegistry {
public:
    using WUTLRegistry::HelperGetCurrentHandle;
    using WUTLRegistry::HelperGetHKeyConstant;
    using WUTLRegistry::HelperGetString;
    using WUTLRegistry::HelperParseRootFromSubKey;
    using WUTLRegistry::WUTLRegistry;
};

// The stored type and bytes of a value, read past WUTLRegistry.
std::string Stored(const wchar_t* path, const wchar_t* name, DWORD* type = nullptr) {
    Probe key(path);
    if (!key.HelperGetCurrentHandle())
        return "<no key>";
    BYTE buffer[2048];
    DWORD size = sizeof buffer;
    if (tlv::platform::RegQueryValueRaw(key.HelperGetCurrentHandle(), name, type, buffer, &size) !=
        ERROR_SUCCESS)
        return "<missing>";
    return std::string(reinterpret_cast<char*>(buffer), size);
}

std::string U16(const wchar_t* text) {
    return TlvUtils::ToUtf16LE(text);
}

// A string as the library writes it: UTF-16LE with its terminating NUL.
std::string Sz(const wchar_t* text) {
    return U16(text) + std::string(2, '\0');
}

std::wstring List(const wchar_t* buffer, int size) {
    return std::wstring(buffer, static_cast<std::size_t>(size));
}

void SetVariable(const char* name, const char* value) {
#ifdef _WIN32
    ::SetEnvironmentVariableA(name, value);
#else
    ::setenv(name, value, 1);
#endif
}

class WUTLRegistryTest : public ::testing::Test {
protected:
    RegistrySandbox sandbox;
    // The root prefix of the one-call helpers: the base key's path and a backslash.
    const std::wstring prefix = sandbox.Path() + L"\\";
    const wchar_t* const kUser = prefix.c_str();
    // The full path of a key below the base, alive as long as the test.
    const wchar_t* P(const std::wstring& below) {
        return paths_.emplace_back(sandbox.Path(below)).c_str();
    }
    const wchar_t* S(const std::wstring& below) {
        return paths_.emplace_back(sandbox.SubKey(below)).c_str();
    }

private:
    std::deque<std::wstring> paths_;
};

TEST_F(WUTLRegistryTest, RootNamesAreExactAndCaseSensitive) {
    ASSERT_EQ(WUTLRegistry::CreateKey(P(L"Talvo")), 0);
    EXPECT_EQ(WUTLRegistry::IsValid(L"HKEY_LOCAL_MACHINE"), 0); // the root itself
    EXPECT_EQ(WUTLRegistry::IsValid(P(L"Talvo")), 0);
    EXPECT_EQ(WUTLRegistry::IsValid(P(L"Missing")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(WUTLRegistry::IsValid(L"HKLM\\Software"), ERROR_OPEN_FAILED);
    EXPECT_EQ(WUTLRegistry::IsValid(L"HKEY_LOCAL_MACHINE_\\x"), ERROR_OPEN_FAILED);
    EXPECT_EQ(WUTLRegistry::IsValid(L""), ERROR_OPEN_FAILED);
    EXPECT_EQ(WUTLRegistry::IsValid(nullptr), -1);
    EXPECT_EQ(WUTLRegistry::CreateKey(nullptr), -1);

    const std::pair<const wchar_t*, HKEY> roots[] = {
        {L"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
        {L"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
        {L"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
        {L"HKEY_USERS", HKEY_USERS},
        {L"HKEY_CURRENT_CONFIG", HKEY_CURRENT_CONFIG},
        {L"HKEY_PERFORMANCE_DATA", HKEY_PERFORMANCE_DATA}};
    for (const auto& [name, key] : roots) {
        HKEY found = nullptr;
        EXPECT_EQ(Probe::HelperGetHKeyConstant(name, found), 1);
        EXPECT_EQ(found, key);
        EXPECT_EQ(Probe::HelperGetString(key), name);
        EXPECT_EQ(WUTLRegistry::IsValid(name), 0);
    }
    HKEY found = HKEY_USERS;
    EXPECT_EQ(Probe::HelperGetHKeyConstant(L"HKEY_Users", found), 0);
    EXPECT_EQ(found, nullptr);

    wchar_t buffer[MAX_PATH] = L"HKEY_USERS\\S-1\\Software";
    HKEY root = nullptr;
    EXPECT_EQ(Probe::HelperParseRootFromSubKey(buffer, root), 1);
    EXPECT_EQ(root, HKEY_USERS);
    EXPECT_STREQ(buffer, L"S-1\\Software");
}

TEST_F(WUTLRegistryTest, OpenKeyKeepsTheOldKeyWhenTheNewOneFails) {
    ASSERT_EQ(WUTLRegistry::CreateKey(P(L"A")), 0);
    Probe key(P(L"A"));
    const HKEY first = key.HelperGetCurrentHandle();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(key.OpenKey(P(L"Missing")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(key.HelperGetCurrentHandle(), first);
    CString path;
    EXPECT_TRUE(key.GetCurrentKeyLocation(path));
    EXPECT_EQ(path, P(L"A"));
    EXPECT_EQ(key.OpenKey(nullptr), ERROR_FILE_NOT_FOUND); // the last result, unchanged
    EXPECT_EQ(key.IsValid(), 0);                           // reopens the stored path

    // Opening with create makes the key and holds it for reading and writing whatever was
    // asked for.
    Probe made(P(L"A\\B\\C"), KEY_WRITE, 1);
    ASSERT_NE(made.HelperGetCurrentHandle(), nullptr);
    EXPECT_EQ(made.SetValue(L"n", 5), 0);
    int n = 0;
    EXPECT_EQ(made.GetValue(L"n", n), 0);
    EXPECT_EQ(n, 5);
    // Opened without create, KEY_WRITE is what it says.
    Probe writeOnly(P(L"A\\B\\C"), KEY_WRITE, 0);
    EXPECT_EQ(writeOnly.GetValue(L"n", n), ERROR_ACCESS_DENIED);

    // Unopened objects.
    Probe none;
    EXPECT_EQ(none.IsValid(), ERROR_OPEN_FAILED);
    EXPECT_EQ(none.SetValue(L"n", 1), -1);

    // Paths past MAX_PATH are refused, not cut to a different key.
    const std::wstring longPath = L"HKEY_CURRENT_USER\\" + std::wstring(300, L'k');
    EXPECT_EQ(WUTLRegistry::IsValid(longPath.c_str()), ERROR_BAD_PATHNAME);
}

TEST_F(WUTLRegistryTest, ValuesKeepTheBytesTheInterfaceDefines) {
    WUTLRegistry key(P(L"Values"), KEY_READ | KEY_WRITE, 1);
    ASSERT_EQ(key.SetValue(L"text", L"abc"), 0);
    ASSERT_EQ(key.SetValue(L"empty", L""), 0);
    ASSERT_EQ(key.SetValue(L"int", -2), 0);
    DWORD type = 0;
    // REG_SZ with its NUL (an empty text is the NUL alone), REG_DWORD little-endian.
    EXPECT_EQ(Stored(P(L"Values"), L"text", &type), Sz(L"abc"));
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(Stored(P(L"Values"), L"empty"), Sz(L""));
    EXPECT_EQ(Stored(P(L"Values"), L"int", &type), "\xFE\xFF\xFF\xFF");
    EXPECT_EQ(type, static_cast<DWORD>(REG_DWORD));

    CString text = L"old";
    EXPECT_EQ(key.GetValue(L"TEXT", text), 0);
    EXPECT_EQ(text, L"abc");
    EXPECT_EQ(key.GetValue(L"missing", text), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(text, L"abc"); // left as the failed call left it
    int n = 0;
    EXPECT_EQ(key.GetValue(L"int", n), 0);
    EXPECT_EQ(n, -2);
    // The stored type is not checked: a DWORD read as text is its bytes as UTF-16.
    ASSERT_EQ(key.SetValue(L"aa", 0x00410041), 0);
    EXPECT_EQ(key.GetValue(L"aa", text), 0);
    EXPECT_EQ(text, L"AA");
    // The reader's buffer is 260 characters, NUL included.
    ASSERT_EQ(key.SetValue(L"long", std::wstring(260, L'x').c_str()), 0);
    EXPECT_EQ(key.GetValue(L"long", text), ERROR_MORE_DATA);
    ASSERT_EQ(key.SetValue(L"fits", std::wstring(259, L'y').c_str()), 0);
    EXPECT_EQ(key.GetValue(L"fits", text), 0);
    EXPECT_EQ(text, CString(std::wstring(259, L'y')));

    // Enumeration: names, texts and integers by index (set in name order, which is the
    // enumeration order of every registry).
    WUTLRegistry list(P(L"List"), KEY_READ | KEY_WRITE, 1);
    ASSERT_EQ(list.SetValue(L"a-text", L"abc"), 0);
    ASSERT_EQ(list.SetValue(L"b-int", -2), 0);
    CString name, value;
    EXPECT_EQ(list.GetNextValue(name, value, 0), 0);
    EXPECT_EQ(value, L"abc");
    EXPECT_EQ(list.GetNextValue(name, n, 1), 0);
    EXPECT_EQ(name, L"b-int");
    EXPECT_EQ(n, -2);
    EXPECT_EQ(list.GetNextValue(name, 2), ERROR_NO_MORE_ITEMS);
}

TEST_F(WUTLRegistryTest, DeleteRegistryValueLeavesTheObjectClosed) {
    WUTLRegistry::RegWriteString(L"Del", L"v", L"1", kUser);
    Probe key(P(L"Del"), KEY_READ | KEY_WRITE);
    ASSERT_NE(key.HelperGetCurrentHandle(), nullptr);
    EXPECT_EQ(key.DeleteRegistryValue(L"v"), 0);
    EXPECT_EQ(key.HelperGetCurrentHandle(), nullptr);
    EXPECT_EQ(key.DeleteRegistryValue(L"v"), -1); // no key open any more

    // Also when the deletion fails.
    ASSERT_EQ(key.OpenKey(P(L"Del"), 0, KEY_READ), 0);
    EXPECT_EQ(key.DeleteRegistryValue(L"v"), ERROR_ACCESS_DENIED); // read-only
    EXPECT_EQ(key.HelperGetCurrentHandle(), nullptr);
    int n = 0;
    EXPECT_EQ(key.GetValue(L"v", n), -1);
}

TEST_F(WUTLRegistryTest, CopiesShareTheHandleAndFailCleanlyAfterTheOriginalCloses) {
    WUTLRegistry::RegWriteString(L"Copy", L"v", L"1", kUser);
    auto* original = new Probe(P(L"Copy"));
    const Probe copy(*original);
    EXPECT_EQ(copy.HelperGetCurrentHandle(), original->HelperGetCurrentHandle());
    delete original;
    Probe again(copy);
    CString text;
    EXPECT_EQ(again.GetValue(L"v", text), ERROR_INVALID_HANDLE);
}

TEST_F(WUTLRegistryTest, RegReadIntWritesTheDefaultBackAsText) {
    EXPECT_EQ(WUTLRegistry::RegReadInt(L"Software\\Talvo\\New", L"Count", 7, kUser), 7);
    DWORD type = 0;
    EXPECT_EQ(Stored(P(L"Software\\Talvo\\New"), L"Count", &type), Sz(L"7"));
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(WUTLRegistry::RegReadInt(L"Software\\Talvo\\New", L"Count", 9, kUser), 7);

    // Leading digits count, anything else gives 0; a REG_DWORD is taken as text.
    WUTLRegistry key(P(L"Software\\Talvo\\New"), KEY_ALL_ACCESS);
    const std::pair<const wchar_t*, int> cases[] = {{L"42abc", 42}, {L"abc", 0}, {L" -15", -15}};
    for (const auto& [text, value] : cases) {
        key.SetValue(L"v", text);
        EXPECT_EQ(WUTLRegistry::RegReadInt(L"Software\\Talvo\\New", L"v", 1, kUser), value);
    }
    key.SetValue(L"dword", 7);
    EXPECT_EQ(WUTLRegistry::RegReadInt(L"Software\\Talvo\\New", L"dword", 1, kUser), 0);
    EXPECT_EQ(Stored(P(L"Software\\Talvo\\New"), L"dword", &type),
              std::string("\x07\0\0\0", 4)); // nothing written back: it was read
    EXPECT_EQ(WUTLRegistry::RegReadInt(L"x", L"y", -3, L"HKLM\\"), -3);
}

TEST_F(WUTLRegistryTest, RegReadStringCutsCopiesAndWritesTheDefaultBack) {
    wchar_t buffer[8] = L"unused";
    EXPECT_EQ(WUTLRegistry::RegReadString(L"S", L"Name", L"Default", buffer, 8, kUser), 7);
    EXPECT_STREQ(buffer, L"Default");
    EXPECT_EQ(Stored(P(L"S"), L"Name"), Sz(L"Default"));
    // Cut to size - 1 with a NUL in the last place.
    EXPECT_EQ(WUTLRegistry::RegReadString(L"S", L"Name", L"x", buffer, 4, kUser), 3);
    EXPECT_STREQ(buffer, L"Def");
    // A missing value with a null default writes nothing and leaves the buffer.
    EXPECT_EQ(WUTLRegistry::RegReadString(L"S", L"Other", nullptr, buffer, 8, kUser), 3);
    EXPECT_EQ(Stored(P(L"S"), L"Other"), "<missing>");
    // Null value name: the value-name list; null sub-key: the sub-key list of the prefix.
    WUTLRegistry::RegWriteString(L"S", L"Second", L"2", kUser);
    wchar_t list[32];
    EXPECT_EQ(WUTLRegistry::RegReadString(L"S", nullptr, nullptr, list, 32, kUser), 4);
    EXPECT_EQ(List(list, 13), std::wstring(L"Name\0Second\0\0", 13));
    WUTLRegistry::CreateKey(P(L"S\\Kid"));
    EXPECT_EQ(WUTLRegistry::RegReadString(nullptr, L"v", nullptr, list, 32, P(L"S")), 3);
    EXPECT_EQ(List(list, 5), std::wstring(L"Kid\0\0", 5));
}

TEST_F(WUTLRegistryTest, NameListsEndInTwoNulsAndCutWhatDoesNotFit) {
    for (const wchar_t* name : {L"gamma", L"alpha", L"beta"})
        WUTLRegistry::CreateKey(P(std::wstring(L"L\\") + name));
    WUTLRegistry key(P(L"L"));
    // What the buffer holds after the call, with the first character past it ('#', untouched).
    // Exactly full (18): the closing NUL pair still lands in the last two characters.
    const struct {
        int size;
        long result;
        std::wstring held;
    } cases[] = {
        {18, 0, std::wstring(L"alpha\0beta\0gamma\0\0#", 19)},
        {10, ERROR_MORE_DATA, std::wstring(L"alpha\0be\0\0#", 11)},
        {2, ERROR_MORE_DATA, std::wstring(L"\0\0#", 3)},
    };
    wchar_t buffer[32];
    for (const auto& k : cases) {
        std::fill(std::begin(buffer), std::end(buffer), L'#');
        EXPECT_EQ(key.GetSubkeyList(buffer, k.size), k.result) << k.size;
        EXPECT_EQ(List(buffer, static_cast<int>(k.held.size())), k.held) << k.size;
    }
    WUTLRegistry empty(P(L"L\\beta"));
    std::fill(std::begin(buffer), std::end(buffer), L'#');
    EXPECT_EQ(empty.GetValueNameList(buffer, 32), 0);
    EXPECT_EQ(List(buffer, 2), std::wstring(L"\0#", 2));
}

TEST_F(WUTLRegistryTest, DeleteRegistryKeyRemovesTheWholeTreeAndNothingElse) {
    for (const wchar_t* path : {L"T\\a\\x\\deep", L"T\\a\\y", L"T\\b", L"T2\\keep"})
        WUTLRegistry::RegWriteString(path, L"v", L"1", kUser);
    EXPECT_EQ(WUTLRegistry::DeleteRegistryKey(P(L"T")), 0);
    EXPECT_EQ(WUTLRegistry::IsValid(P(L"T")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(WUTLRegistry::IsValid(P(L"T2\\keep")), 0);
    EXPECT_EQ(WUTLRegistry::DeleteRegistryKey(P(L"T")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(WUTLRegistry::DeleteRegistryKey(nullptr), -1);
    EXPECT_EQ(WUTLRegistry::DeleteRegistryKey(L"HKCU\\T2"), ERROR_OPEN_FAILED);
    EXPECT_EQ(WUTLRegistry::IsValid(P(L"T2\\keep")), 0);
}

TEST_F(WUTLRegistryTest, RegWriteStringAndBinary) {
    EXPECT_EQ(WUTLRegistry::RegWriteString(L"W\\Sub", L"v", L"text", kUser), 1); // creates
    EXPECT_EQ(Stored(P(L"W\\Sub"), L"v"), Sz(L"text"));
    EXPECT_EQ(WUTLRegistry::RegWriteString(L"W\\Sub", L"v", nullptr, kUser), 1); // deletes
    EXPECT_EQ(Stored(P(L"W\\Sub"), L"v"), "<missing>");
    EXPECT_EQ(WUTLRegistry::RegWriteString(L"W\\Sub", L"v", nullptr, kUser), 0);
    EXPECT_EQ(WUTLRegistry::RegWriteString(L"W", nullptr, nullptr, kUser), 1); // the tree
    EXPECT_EQ(WUTLRegistry::IsValid(P(L"W")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(WUTLRegistry::RegWriteString(L"W", L"v", L"x", L"HKLM\\"), 0);

    const BYTE bytes[] = {0, 1, 2, 0xFF, 0};
    EXPECT_NE(WUTLRegistry::RegWriteBinary(L"Bin", L"b", bytes, 5, kUser), 0);
    DWORD type = 0;
    EXPECT_EQ(Stored(P(L"Bin"), L"b", &type), std::string("\0\1\2\xFF\0", 5));
    EXPECT_EQ(type, static_cast<DWORD>(REG_BINARY));
    BYTE out[8] = {};
    EXPECT_EQ(WUTLRegistry::RegReadBinary(L"Bin", L"b", out, 8, kUser), 5);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out), 5), std::string("\0\1\2\xFF\0", 5));
    EXPECT_EQ(WUTLRegistry::RegReadBinary(L"Bin", L"b", out, 4, kUser), -1);
    EXPECT_EQ(WUTLRegistry::RegReadBinary(L"None", L"b", out, 8, kUser), -1);
    EXPECT_EQ(WUTLRegistry::RegReadBinary(nullptr, L"b", out, 8, kUser), -1);
    EXPECT_EQ(WUTLRegistry::RegWriteBinary(L"Bin", nullptr, bytes, 5, kUser), 0);
}

TEST_F(WUTLRegistryTest, GetRegSzValueTakesStringsAndExpandsVariables) {
    SetVariable("TEMP", "/var/tmp/tlv");
    Probe key(P(L"Sz"), KEY_ALL_ACCESS, 1);
    auto raw = [&](const wchar_t* name, DWORD type, const std::string& bytes) {
        tlv::platform::RegSetValueRaw(key.HelperGetCurrentHandle(), name, type,
                                      reinterpret_cast<const BYTE*>(bytes.data()),
                                      static_cast<DWORD>(bytes.size()));
    };
    key.SetValue(L"plain", L"hello");
    key.SetValue(L"dword", 5);
    key.SetValue(L"blank", L"");        // the NUL alone
    raw(L"empty", REG_SZ, "");          // no bytes at all
    raw(L"bare", REG_SZ, U16(L"bare")); // no NUL: handed back terminated
    raw(L"expand", REG_EXPAND_SZ, Sz(L"%TEMP%\\x"));
    raw(L"long", REG_EXPAND_SZ, U16((L"%TEMP%" + std::wstring(250, L'y')).c_str()));

    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"plain", L"hello"}, {L"bare", L"bare"},
        {L"blank", L""},      {L"expand", L"/var/tmp/tlv\\x"},
        {L"dword", nullptr},  {L"empty", nullptr},
        {L"long", nullptr},   {L"missing", nullptr}};
    for (const auto& [name, expected] : cases) {
        wchar_t* text = nullptr;
        EXPECT_EQ(GetRegSzValue(HKEY_CURRENT_USER, S(L"Sz"), name, &text), expected != nullptr)
            << TlvUtils::ToUtf8(name);
        EXPECT_STREQ(text ? text : L"<null>", expected ? expected : L"<null>");
        std::free(text);
    }
    wchar_t* text = nullptr;
    EXPECT_FALSE(GetRegSzValue(HKEY_CURRENT_USER, S(L"Nope"), L"plain", &text));
}

TEST_F(WUTLRegistryTest, DamagedStoreGivesStatusesAndDefaults) {
    TLVUTL_POSIX_ONLY("the library's own store: a damaged database file");
    { std::ofstream(sandbox.File("HKEY_LOCAL_MACHINE"), std::ios::binary) << "not a database"; }
    EXPECT_EQ(WUTLRegistry::IsValid(L"HKEY_LOCAL_MACHINE\\Software"), ERROR_BADDB);
    EXPECT_EQ(WUTLRegistry::RegReadInt(L"Software", L"n", 4, L"HKEY_LOCAL_MACHINE\\"), 4);
    wchar_t buffer[8] = L"";
    EXPECT_EQ(
        WUTLRegistry::RegReadString(L"Software", L"s", L"def", buffer, 8, L"HKEY_LOCAL_MACHINE\\"),
        3);
    EXPECT_EQ(WUTLRegistry::RegWriteString(L"Software", L"s", L"x", L"HKEY_LOCAL_MACHINE\\"), 0);
    WUTLRegistry key(L"HKEY_LOCAL_MACHINE\\Software", KEY_ALL_ACCESS, 1);
    EXPECT_EQ(key.IsValid(), ERROR_OPEN_FAILED);
}

TEST_F(WUTLRegistryTest, DefaultInstallationIsRecordedOnAFreshStoreAsATerminatedString) {
    TLVUTL_POSIX_ONLY("the library's own store, fresh: the product key lies below "
                      "HKEY_LOCAL_MACHINE, which a test does not write in the system's registry");
    const CString product = INIGetRegistryProductKey();
    const std::wstring path = L"HKEY_LOCAL_MACHINE\\" + product.str();
    ASSERT_EQ(Stored(path.c_str(), L"ConfigDir"), "<no key>");
    EXPECT_TRUE(TlvUtl::RegisterDefaultInstallation());
    DWORD type = 0;
    const std::string bytes = Stored(path.c_str(), L"ConfigDir", &type);
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    ASSERT_GE(bytes.size(), 4u);
    EXPECT_EQ(bytes.substr(bytes.size() - 2), std::string(2, '\0'));
    EXPECT_NE(bytes[bytes.size() - 4], '\0');
    // Recorded and present: kept, and still a success.
    EXPECT_TRUE(TlvUtl::RegisterDefaultInstallation());
    EXPECT_TRUE(TlvUtl::RegisterDefaultInstallation(true));
}

} // namespace
