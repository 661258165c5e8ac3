// tlvutl ini: read and change ini files with the library's profile functions.
#include "command.h"

#include <tlvutl/encoding.h>
#include <tlvutl/locale.h>
#include <tlvutl/profile.h>

#include <iostream>
#include <vector>

namespace tlvtool {
namespace {

using namespace TlvUtl::Win32;

const Command& Self() {
    return CommandNamed("ini");
}

std::wstring W(const std::string& s) {
    return TlvUtils::FromUtf8(s);
}

// Calls a list-returning profile function with a buffer that grows until the list fits.
template <class Fill> std::vector<std::wstring> List(Fill fill) {
    for (DWORD size = 4096;; size *= 4) {
        std::wstring buffer(size, L'\0');
        const DWORD n = fill(buffer.data(), size);
        if (n == size - 2 && size < (1u << 26))
            continue;
        std::vector<std::wstring> items;
        for (const wchar_t* p = buffer.c_str(); *p; p += std::wcslen(p) + 1)
            items.emplace_back(p);
        return items;
    }
}

// Reading a file that is not there answers defaults; the tool says so instead.
bool Readable(const std::string& file) {
    std::string bytes, why;
    if (ReadFileBytes(file, bytes, why))
        return true;
    std::cerr << "tlvutl ini: cannot read " << file << ": " << why << "\n";
    return false;
}

int CannotWrite(const std::string& file) {
    std::cerr << "tlvutl ini: cannot write " << file << ": "
              << DescribeWin32Error(TlvUtl::Win32::GetLastError()) << "\n";
    return kFailed;
}

int Print(const std::vector<std::wstring>& items) {
    for (const std::wstring& i : items)
        std::cout << TlvUtils::ToUtf8(i) << "\n";
    return kOk;
}

} // namespace

int RunIni(const Args& a) {
    if (a.size() < 2)
        return UsageError(Self(), "expected an action and a file");
    const std::string& action = a[0];
    const std::wstring file = W(a[1]);
    const bool reads = action == "get" || action == "sections" || action == "keys";
    if (reads && !Readable(a[1]))
        return kFailed;
    if (action == "get" && a.size() == 4) {
        const std::wstring section = W(a[2]), key = W(a[3]);
        // A marker default tells a missing key from an empty value.
        const std::vector<std::wstring> v = List([&](wchar_t* b, DWORD n) {
            return GetPrivateProfileStringW(section.c_str(), key.c_str(), L"\x01", b, n,
                                            file.c_str());
        });
        if (!v.empty() && v[0] == L"\x01") {
            std::cerr << "tlvutl ini: no key '" << a[3] << "' in section '" << a[2] << "' of "
                      << a[1] << "\n";
            return kFailed;
        }
        std::cout << (v.empty() ? std::string() : TlvUtils::ToUtf8(v[0])) << "\n";
        return kOk;
    }
    if (action == "set" && a.size() == 5) {
        if (!WritePrivateProfileStringW(W(a[2]).c_str(), W(a[3]).c_str(), W(a[4]).c_str(),
                                        file.c_str()))
            return CannotWrite(a[1]);
        return kOk;
    }
    if (action == "delete" && (a.size() == 3 || a.size() == 4)) {
        const std::wstring section = W(a[2]);
        const std::wstring key = a.size() == 4 ? W(a[3]) : std::wstring();
        if (!WritePrivateProfileStringW(section.c_str(), a.size() == 4 ? key.c_str() : nullptr,
                                        nullptr, file.c_str()))
            return CannotWrite(a[1]);
        return kOk;
    }
    if (action == "sections" && a.size() == 2)
        return Print(List([&](wchar_t* b, DWORD n) {
            return GetPrivateProfileSectionNamesW(b, n, file.c_str());
        }));
    if (action == "keys" && a.size() == 3) {
        const std::wstring section = W(a[2]);
        return Print(List([&](wchar_t* b, DWORD n) {
            return GetPrivateProfileSectionW(section.c_str(), b, n, file.c_str());
        }));
    }
    return UsageError(Self(), "unknown action or wrong number of arguments");
}

} // namespace tlvtool
