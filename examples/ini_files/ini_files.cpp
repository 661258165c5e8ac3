// Ini files with the private-profile functions: values, integers, the list of sections and
// keys, deleting, and the file's comments kept through every write.
#include <tlvutl/encoding.h>
#include <tlvutl/profile.h>

#include <cstdio>
#include <cwchar>
#include <string>
#include <unistd.h>

using namespace TlvUtl::Win32;

namespace {

// Prints a NUL-separated list ended by a second NUL.
void PrintList(const char* what, const wchar_t* list) {
    std::printf("%s:", what);
    for (const wchar_t* p = list; *p; p += std::wcslen(p) + 1)
        std::printf(" [%s]", TlvUtils::ToUtf8(p).c_str());
    std::printf("\n");
}

} // namespace

int main() {
    char folder[] = "/tmp/tlvutl-ini-XXXXXX";
    if (!mkdtemp(folder))
        return 1;
    const std::wstring ini = TlvUtils::FromUtf8(folder) + L"/Настройки.ini";
    const wchar_t* file = ini.c_str();

    // Creates the file; sections and keys compare case-insensitively.
    WritePrivateProfileStringW(L"Window", L"Width", L"1280", file);
    WritePrivateProfileStringW(L"Window", L"Height", L" 0x300 ", file); // blanks are trimmed
    WritePrivateProfileStringW(L"Recent", L"File1", L"\"/home/ana/plan d'été.tlv\"", file);
    WritePrivateProfileStringW(L"Recent", L"File2", L"/home/ana/old.tlv", file);

    const UINT width = GetPrivateProfileIntW(L"WINDOW", L"width", 640, file);
    const UINT height = GetPrivateProfileIntW(L"Window", L"Height", 480, file); // hexadecimal
    const UINT depth = GetPrivateProfileIntW(L"Window", L"Depth", 24, file);    // missing
    wchar_t value[MAX_PATH];
    GetPrivateProfileStringW(L"Recent", L"File1", L"", value, MAX_PATH, file); // quotes go
    std::printf("width %u, height %u, depth %u, recent %s\n", width, height, depth,
                TlvUtils::ToUtf8(value).c_str());

    WritePrivateProfileStringW(L"Recent", L"File2", nullptr, file); // deletes the key
    wchar_t list[256];
    GetPrivateProfileSectionNamesW(list, 256, file);
    PrintList("sections", list);
    GetPrivateProfileStringW(L"Recent", nullptr, L"", list, 256, file);
    PrintList("keys of [Recent]", list);

    unlink(TlvUtils::ToUtf8(ini).c_str());
    rmdir(folder);
    return width == 1280 && height == 0x300 && depth == 24 &&
                   std::wstring(value) == L"/home/ana/plan d'été.tlv" && std::wcslen(list) == 5 &&
                   list[6] == 0
               ? 0
               : 1;
}
