// .reg text files: the exact form written, a byte-exact round trip through an empty store,
// and imports that fail whole.
#include "platform/registry_raw.h"
#include "platform/registry_sandbox.h"

#include <tlvutl/encoding.h>
#include <tlvutl/registry.h>

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>

namespace {

using namespace TlvUtl;

HKEY Make(const wchar_t* path) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                              nullptr),
              0);
    return key;
}

void Put(HKEY key, const wchar_t* name, DWORD type, const std::string& bytes) {
    ASSERT_EQ(tlv::platform::RegSetValueRaw(key, name, type,
                                            reinterpret_cast<const BYTE*>(bytes.data()),
                                            static_cast<DWORD>(bytes.size())),
              0);
}

std::string U16(const std::wstring& text, bool nul = true) {
    return TlvUtils::ToUtf16LE(text) + (nul ? std::string(2, '\0') : std::string());
}

// Every key below root, with every value's name, type and bytes, in enumeration order.
std::wstring Dump(HKEY key, const std::wstring& path = L"") {
    std::wstring out = L"[" + path + L"]\n";
    std::wstring name;
    std::string data;
    DWORD type = 0;
    for (DWORD i = 0; tlv::platform::RegEnumValueBytes(key, i, name, type, data) == 0; ++i) {
        out += name + L" " + std::to_wstring(type) + L" ";
        for (unsigned char c : data)
            out += L"0123456789abcdef"[c >> 4], out += L"0123456789abcdef"[c & 15];
        out += L"\n";
    }
    for (DWORD i = 0;; ++i) {
        wchar_t child[256];
        DWORD length = 256;
        if (RegEnumKeyExW(key, i, child, &length, nullptr, nullptr, nullptr, nullptr))
            return out;
        HKEY sub = nullptr;
        EXPECT_EQ(RegOpenKeyExW(key, child, 0, KEY_READ, &sub), 0);
        out += Dump(sub, path + L"\\" + child);
        RegCloseKey(sub);
    }
}

std::wstring DumpUser() {
    return Dump(HKEY_CURRENT_USER);
}

std::string ReadFile(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void WriteUtf16(const std::filesystem::path& p, const std::wstring& text) {
    std::ofstream(p, std::ios::binary) << "\xFF\xFE" << TlvUtils::ToUtf16LE(text);
}

class RegFile : public ::testing::Test {
protected:
    std::unique_ptr<RegistrySandbox> sandbox = std::make_unique<RegistrySandbox>();
    std::filesystem::path file =
        sandbox->Dir().parent_path() / (sandbox->Dir().filename().string() + "-file.reg");
    void TearDown() override { std::filesystem::remove(file); }
};

TEST_F(RegFile, ExportWritesTheWindowsTextForm) {
    HKEY key = Make(L"Software\\Talvo\\Export");
    Put(key, L"", REG_SZ, U16(L"default"));
    Put(key, L"Quote\"d", REG_SZ, U16(L"a\\b\"c \u00e9"));
    Put(key, L"Count", REG_DWORD, std::string("\x2a\0\0\0", 4));
    Put(key, L"NoNul", REG_SZ, U16(L"7", false));
    Put(key, L"Expand", REG_EXPAND_SZ, U16(L"%T%"));
    Put(key, L"Multi", REG_MULTI_SZ, U16(L"a") + U16(L"b") + std::string(2, '\0'));
    Put(key, L"Big", REG_QWORD, "\x08\x07\x06\x05\x04\x03\x02\x01");
    Put(key, L"Empty", REG_BINARY, "");
    RegCloseKey(Make(L"Software\\Talvo\\Export\\Child"));
    RegCloseKey(key);

    std::wstring error;
    ASSERT_EQ(RegExportFile(L"HKEY_CURRENT_USER\\Software\\Talvo\\Export", file.wstring().c_str(),
                            &error),
              0)
        << TlvUtils::ToUtf8(error);
    const std::string bytes = ReadFile(file);
    ASSERT_GE(bytes.size(), 2u);
    EXPECT_EQ(bytes.substr(0, 2), "\xFF\xFE");
    EXPECT_EQ(TlvUtils::FromUtf16LE(bytes.data() + 2, bytes.size() - 2),
              L"Windows Registry Editor Version 5.00\r\n"
              L"\r\n"
              L"[HKEY_CURRENT_USER\\Software\\Talvo\\Export]\r\n"
              L"@=\"default\"\r\n"
              L"\"Quote\\\"d\"=\"a\\\\b\\\"c \u00e9\"\r\n"
              L"\"Count\"=dword:0000002a\r\n"
              L"\"NoNul\"=hex(1):37,00\r\n"
              L"\"Expand\"=hex(2):25,00,54,00,25,00,00,00\r\n"
              L"\"Multi\"=hex(7):61,00,00,00,62,00,00,00,00,00\r\n"
              L"\"Big\"=hex(b):08,07,06,05,04,03,02,01\r\n"
              L"\"Empty\"=hex:\r\n"
              L"\r\n"
              L"[HKEY_CURRENT_USER\\Software\\Talvo\\Export\\Child]\r\n"
              L"\r\n");
    EXPECT_EQ(RegExportFile(L"HKEY_CURRENT_USER\\Missing", file.wstring().c_str(), &error),
              ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegExportFile(L"HKCU\\Software", file.wstring().c_str(), &error), ERROR_OPEN_FAILED);
}

TEST_F(RegFile, ExportThenImportIntoAnEmptyStoreGivesTheSameKeysValuesAndBytes) {
    HKEY key = Make(L"Software\\Talvo\\Round");
    Put(key, L"", REG_SZ, U16(L""));
    Put(key, L"unicode \u4e2d \U0001F600", REG_SZ, U16(L"\u00fc\u00df \U0001F600"));
    Put(key, L"lone surrogate", REG_SZ, std::string("\x00\xD8\x41\x00\x00\x00", 6));
    Put(key, L"line\tbreak", REG_SZ, U16(L"one\r\ntwo"));
    Put(key, L"inner nul", REG_SZ, U16(L"a") + U16(L"b"));
    Put(key, L"odd", REG_SZ, "abc");
    Put(key, L"dword short", REG_DWORD, "\x01\x02");
    Put(key, L"none", REG_NONE, "\x01");
    Put(key, L"custom", 0x12345, "zz");
    std::string big;
    for (int i = 0; i < 700; ++i)
        big += static_cast<char>(i * 37);
    Put(key, L"wrapped", REG_BINARY, big);
    Put(key, L"back\\slash\"quote", REG_EXPAND_SZ, U16(L"%PATH%;C:\\"));
    RegCloseKey(Make(L"Software\\Talvo\\Round\\Empty Key"));
    HKEY deep = Make(L"Software\\Talvo\\Round\\b\\c\\d");
    Put(deep, L"x", REG_DWORD, std::string(4, '\xFF'));
    RegCloseKey(deep);
    RegCloseKey(Make(L"Software\\Talvo\\Round\\A_"));
    RegCloseKey(key);
    const std::wstring before = DumpUser();

    std::wstring error;
    ASSERT_EQ(RegExportFile(L"HKEY_CURRENT_USER\\Software", file.wstring().c_str(), &error), 0)
        << TlvUtils::ToUtf8(error);
    // No line longer than regedit writes.
    const std::string bytes = ReadFile(file);
    const std::wstring text = TlvUtils::FromUtf16LE(bytes.data() + 2, bytes.size() - 2);
    std::size_t start = 0, longest = 0;
    for (std::size_t end; (end = text.find(L"\r\n", start)) != std::wstring::npos; start = end + 2)
        longest = std::max(longest, end - start);
    EXPECT_LE(longest, 80u);

    sandbox.reset(); // before the next one is made: a sandbox resets the folder as it goes
    sandbox = std::make_unique<RegistrySandbox>(); // an empty store
    EXPECT_EQ(DumpUser(), L"[]\n");
    ASSERT_EQ(RegImportFile(file.wstring().c_str(), &error), 0) << TlvUtils::ToUtf8(error);
    EXPECT_EQ(DumpUser(), before);
}

TEST_F(RegFile, MalformedImportNamesTheLineAndChangesNothing) {
    HKEY key = Make(L"Keep");
    Put(key, L"v", REG_SZ, U16(L"old"));
    RegCloseKey(key);
    const std::wstring before = DumpUser();

    const std::pair<std::wstring, std::wstring> cases[] = {
        {L"Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\Keep]\r\n"
         L"\"v\"=\"new\"\r\n\"n\"=dword:00000001\r\n\r\n\"bad\"=dword:xyz\r\n",
         L"line 7: "},
        {L"Windows Registry Editor Version 5.00\r\n[HKEY_CURRENT_USER\\New]\r\n"
         L"\"b\"=hex:01,02,\\\r\n  03,zz\r\n",
         L"line 3: "},
        {L"Windows Registry Editor Version 5.00\r\n[HKEY_CURRENT_USER\\New]\r\n"
         L"[HKCU\\Software]\r\n",
         L"line 3: unknown root key"},
        {L"Windows Registry Editor Version 5.00\r\n\"v\"=\"x\"\r\n", L"line 2: "},
        {L"Windows Registry Editor Version 5.00\r\n[HKEY_CURRENT_USER\\New]\r\n\"v=\"x\"\r\n",
         L"line 3: "},
        {L"Windows Registry Editor Version 5.00\r\n[HKEY_CURRENT_USER\\New]\r\n"
         L"\"v\"=dword:100000000\r\n",
         L"line 3: "},
        {L"Windows Registry Editor Version 5.00\r\n[HKEY_CURRENT_USER\\\\New]\r\n", L"line 2: "},
        {L"Windows Registry Editor Version 5.00\r\n[-HKEY_CURRENT_USER]\r\n", L"line 2: "},
        {L"REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\New]\r\n", L"line 1: "},
        {L"", L"line 1: "},
    };
    for (const auto& [content, expected] : cases) {
        WriteUtf16(file, content);
        std::wstring error;
        EXPECT_EQ(RegImportFile(file.wstring().c_str(), &error), ERROR_INVALID_DATA)
            << TlvUtils::ToUtf8(content);
        EXPECT_EQ(error.substr(0, expected.size()), expected) << TlvUtils::ToUtf8(error);
        EXPECT_EQ(DumpUser(), before) << TlvUtils::ToUtf8(content);
    }
    std::filesystem::remove(file);
    EXPECT_EQ(RegImportFile(file.wstring().c_str()), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegFile, ImportDeletesAndWritesAsRegeditDoes) {
    HKEY gone = Make(L"Gone\\Deeper");
    Put(gone, L"v", REG_SZ, U16(L"x"));
    RegCloseKey(gone);
    HKEY keep = Make(L"Keep");
    Put(keep, L"drop", REG_SZ, U16(L"x"));
    Put(keep, L"stay", REG_SZ, U16(L"x"));
    RegCloseKey(keep);

    // As written by hand or another tool: UTF-8, comments, blank lines, lower-case root.
    std::ofstream(file, std::ios::binary) << "Windows Registry Editor Version 5.00\n"
                                             "; a comment\n"
                                             "[-HKEY_CURRENT_USER\\Gone]\n"
                                             "\n"
                                             "[hkey_current_user\\Keep]\n"
                                             "\"drop\"=-\n"
                                             "@=\"d\xC3\xA9\x66\"\n"
                                             "\"dw\" = dword:7\n"
                                             "[HKEY_LOCAL_MACHINE\\Software\\Talvo]\n"
                                             "\"ConfigDir\"=\"/home/u/.config/talvo\"\n";
    std::wstring error;
    ASSERT_EQ(RegImportFile(file.wstring().c_str(), &error), 0) << TlvUtils::ToUtf8(error);
    EXPECT_EQ(DumpUser(), L"[]\n[\\Keep]\nstay 1 78000000\n 1 6400e90066000000\n"
                          L"dw 4 07000000\n");
    wchar_t* dir = nullptr;
    ASSERT_TRUE(GetRegSzValue(HKEY_LOCAL_MACHINE, L"Software\\Talvo", L"ConfigDir", &dir));
    EXPECT_STREQ(dir, L"/home/u/.config/talvo");
    std::free(dir);
}

TEST_F(RegFile, ImportIntoADamagedStoreChangesNoOtherStore) {
    { std::ofstream(sandbox->File("HKEY_LOCAL_MACHINE"), std::ios::binary) << "garbage!"; }
    WriteUtf16(file, L"Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\A]\r\n"
                     L"\"v\"=\"1\"\r\n\r\n[HKEY_LOCAL_MACHINE\\B]\r\n\"v\"=\"2\"\r\n");
    std::wstring error;
    EXPECT_EQ(RegImportFile(file.wstring().c_str(), &error), ERROR_BADDB);
    EXPECT_NE(error.find(L"HKEY_LOCAL_MACHINE"), std::wstring::npos) << TlvUtils::ToUtf8(error);
    EXPECT_EQ(DumpUser(), L"[]\n");
}

} // namespace
