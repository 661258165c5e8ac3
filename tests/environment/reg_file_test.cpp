// .reg text files: the exact form written, a byte-exact round trip through an empty store,
// and imports that fail whole.
#include "platform/registry_raw.h"
#include "platform/registry_sandbox.h"
#include "platform_marks.h"

#include <tlvutl/encoding.h>
#include <tlvutl/registry.h>

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>

namespace {

using namespace TlvUtl;

void Put(HKEY key, const wchar_t* name, DWORD type, const std::string& bytes) {
    ASSERT_EQ(tlv::platform::RegSetValueRaw(key, name, type,
                                            reinterpret_cast<const BYTE*>(bytes.data()),
                                            static_cast<DWORD>(bytes.size())),
              0);
}

std::string U16(const std::wstring& text, bool nul = true) {
    return TlvUtils::ToUtf16LE(text) + (nul ? std::string(2, '\0') : std::string());
}

// Every key below root, with every value's name, type and bytes, in enumeration order (or
// sorted by name, where the order is not what a test is about).
std::wstring Dump(HKEY key, const std::wstring& path = L"", bool sortValues = false) {
    std::wstring out = L"[" + path + L"]\n";
    std::wstring name;
    std::string data;
    DWORD type = 0;
    std::vector<std::pair<std::wstring, std::wstring>> lines;
    for (DWORD i = 0; tlv::platform::RegEnumValueBytes(key, i, name, type, data) == 0; ++i) {
        std::wstring line = name + L" " + std::to_wstring(type) + L" ";
        for (unsigned char c : data)
            line += L"0123456789abcdef"[c >> 4], line += L"0123456789abcdef"[c & 15];
        lines.emplace_back(name, line + L"\n");
    }
    if (sortValues)
        std::sort(lines.begin(), lines.end());
    for (const auto& line : lines)
        out += line.second;
    for (DWORD i = 0;; ++i) {
        wchar_t child[256];
        DWORD length = 256;
        if (RegEnumKeyExW(key, i, child, &length, nullptr, nullptr, nullptr, nullptr))
            return out;
        HKEY sub = nullptr;
        EXPECT_EQ(RegOpenKeyExW(key, child, 0, KEY_READ, &sub), 0);
        out += Dump(sub, path + L"\\" + child, sortValues);
        RegCloseKey(sub);
    }
}

std::string ReadFile(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void WriteUtf16(const std::filesystem::path& p, const std::wstring& text) {
    std::ofstream(p, std::ios::binary) << "\xFF\xFE" << TlvUtils::ToUtf16LE(text);
}

std::filesystem::path FileNextTo(const RegistrySandbox& sandbox) {
    if (!sandbox.Dir().empty())
        return sandbox.Dir().parent_path() / (sandbox.Dir().filename().string() + "-file.reg");
    static int counter = 0;
    return std::filesystem::temp_directory_path() /
           ("tlvutl-reg-file-" + std::to_string(registry_sandbox::ProcessId()) + "-" +
            std::to_string(counter++) + ".reg");
}

void ReplaceAll(std::wstring& text, const std::wstring& from, const std::wstring& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::wstring::npos; at += to.size())
        text.replace(at, from.size(), to);
}

class RegFile : public ::testing::Test {
protected:
    std::unique_ptr<RegistrySandbox> sandbox = std::make_unique<RegistrySandbox>();
    std::filesystem::path file = FileNextTo(*sandbox);
    void TearDown() override { std::filesystem::remove(file); }

    // A key below the base (HKEY_CURRENT_USER) made or opened.
    HKEY Make(const wchar_t* path) {
        HKEY key = nullptr;
        EXPECT_EQ(RegCreateKeyExW(sandbox->Base(), path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                  &key, nullptr),
                  0);
        return key;
    }
    std::wstring DumpUser(bool sortValues = false) {
        return Dump(sandbox->Base(), L"", sortValues);
    }
    std::wstring DumpMachine() { return Dump(sandbox->OtherBase()); }
    // Imports the test's file, keeping the message and the encoding it was read in.
    LONG Import() { return RegImportFile(file.wstring().c_str(), &error, &encoding); }
    // Exports a key named as for Here() to the test's file.
    LONG Export(const wchar_t* key, RegFileFormat format = RegFileFormat::kUnicode) {
        return RegExportFile(Here(key).c_str(), file.wstring().c_str(), &error, format);
    }
    std::wstring error, encoding;
    // The key most tests check is left alone: Keep, with v="old".
    void MakeKeep() {
        HKEY key = Make(L"Keep");
        Put(key, L"v", REG_SZ, U16(L"old"));
        RegCloseKey(key);
    }
    // The .reg text of a test written for the roots themselves, moved below the bases:
    // HKEY_CURRENT_USER\x names the base's x, HKEY_LOCAL_MACHINE\x the other base's.
    std::wstring Here(std::wstring text) const {
        ReplaceAll(text, L"HKEY_CURRENT_USER\\", sandbox->Path() + L"\\");
        ReplaceAll(text, L"hkey_current_user\\",
                   L"hkey_current_user\\" + sandbox->SubKey() + L"\\");
        ReplaceAll(text, L"HKEY_LOCAL_MACHINE\\", sandbox->OtherPath() + L"\\");
        return text;
    }
    std::string Here(const std::string& bytes) const {
        // The bases' paths are ASCII: 8-bit text keeps them as they are.
        std::wstring wide(bytes.begin(), bytes.end());
        for (wchar_t& c : wide)
            c = static_cast<unsigned char>(c);
        wide = Here(wide);
        std::string out;
        for (wchar_t c : wide)
            out += static_cast<char>(c);
        return out;
    }
};

TEST_F(RegFile, ExportWritesTheWindowsTextForm) {
    // Set in name order: the file's order is then the same whether the registry enumerates
    // values in the order set (Windows) or by name (Wine).
    HKEY key = Make(L"Software\\Talvo\\Export");
    Put(key, L"", REG_SZ, U16(L"default"));
    Put(key, L"Big", REG_QWORD, "\x08\x07\x06\x05\x04\x03\x02\x01");
    Put(key, L"Count", REG_DWORD, std::string("\x2a\0\0\0", 4));
    Put(key, L"Empty", REG_BINARY, "");
    Put(key, L"Multi", REG_MULTI_SZ, U16(L"a") + U16(L"b") + std::string(2, '\0'));
    Put(key, L"NoNul", REG_SZ, U16(L"7", false));
    Put(key, L"Quote\"d", REG_SZ, U16(L"a\\b\"c \u00e9"));
    RegCloseKey(Make(L"Software\\Talvo\\Export\\Child"));
    RegCloseKey(key);

    ASSERT_EQ(Export(L"HKEY_CURRENT_USER\\Software\\Talvo\\Export"), 0) << TlvUtils::ToUtf8(error);
    const std::string bytes = ReadFile(file);
    ASSERT_GE(bytes.size(), 2u);
    EXPECT_EQ(bytes.substr(0, 2), "\xFF\xFE");
    EXPECT_EQ(TlvUtils::FromUtf16LE(bytes.data() + 2, bytes.size() - 2),
              Here(L"Windows Registry Editor Version 5.00\r\n"
                   L"\r\n"
                   L"[HKEY_CURRENT_USER\\Software\\Talvo\\Export]\r\n"
                   L"@=\"default\"\r\n"
                   L"\"Big\"=hex(b):08,07,06,05,04,03,02,01\r\n"
                   L"\"Count\"=dword:0000002a\r\n"
                   L"\"Empty\"=hex:\r\n"
                   L"\"Multi\"=hex(7):61,00,00,00,62,00,00,00,00,00\r\n"
                   L"\"NoNul\"=hex(1):37,00\r\n"
                   L"\"Quote\\\"d\"=\"a\\\\b\\\"c \u00e9\"\r\n"
                   L"\r\n"
                   L"[HKEY_CURRENT_USER\\Software\\Talvo\\Export\\Child]\r\n"
                   L"\r\n"));
    EXPECT_EQ(Export(L"HKEY_CURRENT_USER\\Missing"), ERROR_FILE_NOT_FOUND);
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
    Put(key, L"custom", 0x12345, "zz");
    std::string big;
    for (int i = 0; i < 700; ++i)
        big += static_cast<char>(i * 37);
    Put(key, L"wrapped", REG_BINARY, big);
    Put(key, L"back\\slash\"quote", REG_EXPAND_SZ, U16(L"%PATH%;C:\\"));
    RegCloseKey(Make(L"Software\\Talvo\\Round\\Empty Key"));
    RegCloseKey(Make(L"Software\\Talvo\\Round\\A_"));
    RegCloseKey(key);
    const std::wstring before = DumpUser();

    ASSERT_EQ(Export(L"HKEY_CURRENT_USER\\Software"), 0) << TlvUtils::ToUtf8(error);
    // No line longer than regedit writes.
    const std::string bytes = ReadFile(file);
    const std::wstring text = TlvUtils::FromUtf16LE(bytes.data() + 2, bytes.size() - 2);
    std::size_t start = 0, longest = 0;
    for (std::size_t end; (end = text.find(L"\r\n", start)) != std::wstring::npos; start = end + 2)
        if (text[start] != L'[') // key lines are as long as their path
            longest = std::max(longest, end - start);
    EXPECT_LE(longest, 80u);

    sandbox->Empty();
    EXPECT_EQ(DumpUser(), L"[]\n");
    ASSERT_EQ(Import(), 0) << TlvUtils::ToUtf8(error);
    EXPECT_EQ(DumpUser(), before);
}

TEST_F(RegFile, MalformedImportNamesTheLineAndChangesNothing) {
    MakeKeep();
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
        {L"Windows Registry Editor Version 5.00\r\n[HKEY_CURRENT_USER\\New]\r\n"
         L"\"v\"=dword:100000000\r\n",
         L"line 3: "},
        {L"Windows Registry Editor Version 5.00\r\n[-HKEY_CURRENT_USER]\r\n", L"line 2: "},
        {L"REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\New]\r\n", L"line 1: "},
        {L"", L"line 1: "},
    };
    for (const auto& [content, expected] : cases) {
        WriteUtf16(file, Here(content));
        EXPECT_EQ(Import(), ERROR_INVALID_DATA) << TlvUtils::ToUtf8(content);
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
    std::ofstream(file, std::ios::binary) << Here("Windows Registry Editor Version 5.00\n"
                                                  "; a comment\n"
                                                  "[-HKEY_CURRENT_USER\\Gone]\n"
                                                  "\n"
                                                  "[hkey_current_user\\Keep]\n"
                                                  "\"drop\"=-\n"
                                                  "@=\"d\xC3\xA9\x66\"\n"
                                                  "\"dw\" = dword:7\n"
                                                  "[HKEY_LOCAL_MACHINE\\Software\\Talvo]\n"
                                                  "\"ConfigDir\"=\"/home/u/.config/talvo\"\n");
    ASSERT_EQ(Import(), 0) << TlvUtils::ToUtf8(error);
    EXPECT_EQ(DumpUser(true), L"[]\n[\\Keep]\n 1 6400e90066000000\ndw 4 07000000\n"
                              L"stay 1 78000000\n");
    wchar_t* dir = nullptr;
    const std::wstring talvo = sandbox->OtherSubKey() + L"\\Software\\Talvo";
    ASSERT_TRUE(GetRegSzValue(sandbox->OtherRoot(), talvo.c_str(), L"ConfigDir", &dir));
    EXPECT_STREQ(dir, L"/home/u/.config/talvo");
    std::free(dir);
}

void WriteBytes(const std::filesystem::path& p, const std::string& bytes) {
    std::ofstream(p, std::ios::binary) << bytes;
}

TEST_F(RegFile, AnOverLongValueNameInTheSecondRootChangesNeitherRoot) {
    MakeKeep();
    const std::wstring user = DumpUser(), machine = DumpMachine();
    auto fileWithName = [&](std::size_t length) {
        WriteUtf16(file, Here(L"Windows Registry Editor Version 5.00\r\n\r\n"
                              L"[HKEY_CURRENT_USER\\Keep]\r\n\"v\"=\"new\"\r\n\r\n"
                              L"[HKEY_LOCAL_MACHINE\\Software\\Talvo]\r\n\"" +
                              std::wstring(length, L'n') + L"\"=\"x\"\r\n"));
    };
    fileWithName(16384);
    EXPECT_EQ(Import(), ERROR_INVALID_DATA);
    EXPECT_EQ(error.substr(0, 8), L"line 7: ") << TlvUtils::ToUtf8(error);
    EXPECT_EQ(DumpUser(), user);
    EXPECT_EQ(DumpMachine(), machine);
    // The longest name there may be goes in, with the other root.
    fileWithName(16383);
    ASSERT_EQ(Import(), 0) << TlvUtils::ToUtf8(error);
    EXPECT_NE(DumpUser(), user);
    EXPECT_NE(DumpMachine().find(std::wstring(16383, L'n') + L" 1 7800"), std::wstring::npos);
}

// A store damaged where no read before the write looks: the import's first write checks the
// whole file, and the change already made to the other root is rolled back with it.
TEST_F(RegFile, DamageFoundWhileApplyingRollsBackEveryRoot) {
    TLVUTL_POSIX_ONLY("the library's own store: a damaged database file, its check");
    HKEY big = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Big", 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, &big, nullptr),
              0);
    for (int i = 0; i < 200; ++i)
        Put(big, (L"value " + std::to_wstring(i)).c_str(), REG_BINARY, std::string(900, 'b'));
    RegCloseKey(big);
    sandbox->Reopen(); // the log goes into the file as the connection closes
    const auto db = sandbox->File("HKEY_LOCAL_MACHINE");
    std::string bytes = ReadFile(db);
    ASSERT_GT(bytes.size(), 40u * 4096);
    for (std::size_t at = 20 * 4096; at < 22 * 4096; ++at)
        bytes[at] = '\xA5';
    WriteBytes(db, bytes);

    MakeKeep();
    const std::wstring user = DumpUser();
    WriteUtf16(file, L"Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\Keep]\r\n"
                     L"\"v\"=\"new\"\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\Small]\r\n"
                     L"\"v\"=\"2\"\r\n");
    EXPECT_EQ(Import(), ERROR_BADDB) << TlvUtils::ToUtf8(error);
    EXPECT_EQ(DumpUser(), user);
    // The damaged store takes no write from now on, and a check says what is wrong.
    HKEY soft = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_ALL_ACCESS, &soft), 0);
    EXPECT_EQ(RegSetValueExW(soft, L"x", 0, REG_BINARY, reinterpret_cast<const BYTE*>("1"), 1),
              ERROR_BADDB);
    RegCloseKey(soft);
    std::vector<std::wstring> problems;
    EXPECT_EQ(CheckRegistryStore(HKEY_LOCAL_MACHINE, &problems), ERROR_BADDB);
    EXPECT_FALSE(problems.empty());
    EXPECT_EQ(ReadFile(db), bytes);
    EXPECT_EQ(CheckRegistryStore(HKEY_CURRENT_USER, &problems), ERROR_SUCCESS);
    EXPECT_TRUE(problems.empty());
    EXPECT_EQ(CheckRegistryStore(HKEY_USERS, &problems), ERROR_FILE_NOT_FOUND);
    WriteBytes(sandbox->File("HKEY_USERS"), "");
    EXPECT_EQ(CheckRegistryStore(HKEY_USERS, &problems), ERROR_FILE_NOT_FOUND);
    WriteBytes(sandbox->File("HKEY_CURRENT_CONFIG"), "not a database at all, some text");
    EXPECT_EQ(CheckRegistryStore(HKEY_CURRENT_CONFIG, &problems), ERROR_BADDB);
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_NE(problems[0].find(L"not a database"), std::wstring::npos);
    EXPECT_EQ(CheckRegistryStore(HKEY_PERFORMANCE_DATA, &problems), ERROR_INVALID_HANDLE);
}

TEST_F(RegFile, Regedit4ExportRoundTripsAndPicksItsEncoding) {
    HKEY key = Make(L"Software\\Old"); // values in name order, as the export test says why
    Put(key, L"", REG_SZ, U16(L"d\u00e9faut \u20ac"));
    Put(key, L"Count", REG_DWORD, std::string("\x2a\0\0\0", 4));
    Put(key, L"Expand", REG_EXPAND_SZ, U16(L"%HOME%\\\u00e9"));
    Put(key, L"Multi", REG_MULTI_SZ, U16(L"a") + U16(L"b") + std::string(2, '\0'));
    Put(key, L"NoNul", REG_SZ, U16(L"7", false));
    RegCloseKey(key);
    const std::wstring before = DumpUser();
    ASSERT_EQ(Export(L"HKEY_CURRENT_USER\\Software", RegFileFormat::kRegedit4), 0)
        << TlvUtils::ToUtf8(error);
    EXPECT_EQ(ReadFile(file), Here(std::string("REGEDIT4\r\n\r\n"
                                               "[HKEY_CURRENT_USER\\Software]\r\n\r\n"
                                               "[HKEY_CURRENT_USER\\Software\\Old]\r\n"
                                               "@=\"d\xE9"
                                               "faut \x80\"\r\n"
                                               "\"Count\"=dword:0000002a\r\n"
                                               "\"Expand\"=hex(2):25,48,4f,4d,45,25,5c,e9,00\r\n"
                                               "\"Multi\"=hex(7):61,00,62,00,00\r\n"
                                               "\"NoNul\"=hex(1):37\r\n\r\n")));
    sandbox->Empty();
    ASSERT_EQ(Import(), 0) << TlvUtils::ToUtf8(error);
    EXPECT_EQ(encoding, L"Windows-1252");
    EXPECT_EQ(DumpUser(), before);

    // Text outside Windows-1252 makes the whole file UTF-8.
    key = Make(L"Software\\Old");
    Put(key, L"\u4e2d", REG_EXPAND_SZ, U16(L"\u0416"));
    RegCloseKey(key);
    const std::wstring wide = DumpUser();
    ASSERT_EQ(Export(L"HKEY_CURRENT_USER\\Software", RegFileFormat::kRegedit4), 0);
    EXPECT_NE(ReadFile(file).find("\"\xE4\xB8\xAD\"=hex(2):d0,96,00"), std::string::npos);
    sandbox->Empty();
    ASSERT_EQ(Import(), 0);
    EXPECT_EQ(encoding, L"UTF-8");
    EXPECT_EQ(DumpUser(), wide);

    // String data that is not UTF-16 has no 8-bit form: refused, not mangled.
    key = Make(L"Software\\Odd");
    Put(key, L"odd", REG_SZ, "abc");
    RegCloseKey(key);
    EXPECT_EQ(Export(L"HKEY_CURRENT_USER\\Software", RegFileFormat::kRegedit4), ERROR_INVALID_DATA);
    EXPECT_NE(error.find(L"odd"), std::wstring::npos) << TlvUtils::ToUtf8(error);
}

// An import refused at any one of its changes leaves both roots exactly as they were: values
// changed, added and deleted (one stored without its NUL), keys made, and a key deleted with
// its tree and made again.
TEST_F(RegFile, AFailureAtAnyChangeLeavesEveryRootAsItWas) {
    HKEY keep = Make(L"Keep");
    Put(keep, L"v", REG_SZ, U16(L"old"));
    Put(keep, L"gone", REG_BINARY, "\x01\x02");
    Put(keep, L"bare", REG_SZ, U16(L"no nul", false));
    RegCloseKey(keep);
    HKEY tree = Make(L"Tree\\Inner");
    Put(tree, L"deep", REG_DWORD, std::string("\x05\0\0\0", 4));
    Put(tree, L"", REG_EXPAND_SZ, U16(L"%X%", false));
    RegCloseKey(tree);
    HKEY other = nullptr;
    ASSERT_EQ(RegCreateKeyExW(sandbox->OtherBase(), L"Machine", 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, &other, nullptr),
              0);
    Put(other, L"m", REG_SZ, U16(L"kept"));
    RegCloseKey(other);
    const std::wstring user = DumpUser(), machine = DumpMachine();
    WriteUtf16(file, Here(L"Windows Registry Editor Version 5.00\r\n\r\n"
                          L"[HKEY_CURRENT_USER\\Keep]\r\n\"v\"=\"new\"\r\n\"gone\"=-\r\n"
                          L"\"bare\"=\"now\"\r\n\"added\"=dword:00000001\r\n\r\n"
                          L"[-HKEY_CURRENT_USER\\Tree]\r\n\r\n"
                          L"[HKEY_CURRENT_USER\\Tree\\Inner]\r\n\"fresh\"=\"x\"\r\n\r\n"
                          L"[HKEY_CURRENT_USER\\New\\Deeper]\r\n\"n\"=\"1\"\r\n\r\n"
                          L"[HKEY_LOCAL_MACHINE\\Machine]\r\n\"m\"=\"changed\"\r\n\r\n"
                          L"[HKEY_LOCAL_MACHINE\\Made\\Below]\r\n\"x\"=\"y\"\r\n"));
    int refused = 0;
    for (long at = 0; at < 64; ++at) {
        tlv::platform::FailRegChangeForTesting(at, ERROR_ACCESS_DENIED);
        const LONG r = Import();
        if (r == ERROR_SUCCESS)
            break;
        ++refused;
        ASSERT_EQ(r, ERROR_ACCESS_DENIED) << "change " << at << ": " << TlvUtils::ToUtf8(error);
        ASSERT_EQ(DumpUser(), user) << "change " << at;
        ASSERT_EQ(DumpMachine(), machine) << "change " << at;
    }
    EXPECT_EQ(refused, 14); // every change was refused once; the next import went through
    EXPECT_EQ(DumpUser(true), L"[]\n[\\Keep]\nadded 4 01000000\nbare 1 6e006f0077000000\n"
                              L"v 1 6e00650077000000\n[\\New]\n[\\New\\Deeper]\n"
                              L"n 1 31000000\n[\\Tree]\n[\\Tree\\Inner]\nfresh 1 78000000\n");
    EXPECT_EQ(DumpMachine(), L"[]\n[\\Machine]\nm 1 6300680061006e006700650064000000\n"
                             L"[\\Made]\n[\\Made\\Below]\nx 1 79000000\n");
}

} // namespace
