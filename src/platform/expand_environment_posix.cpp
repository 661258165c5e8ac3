// ExpandEnvironmentStringsW over the process environment.
#include <tlvutl/encoding.h>
#include <tlvutl/registry.h>

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <unistd.h>

namespace {

// Windows variable names ignore case; the POSIX environment does not. An exact match wins,
// then the first that differs only in ASCII case, so ported "%Temp%" finds TEMP.
bool Lookup(std::wstring_view name, std::wstring& value) {
    const std::string key = TlvUtils::ToUtf8(name);
    if (key.find('=') != std::string::npos)
        return false;
    if (const char* v = std::getenv(key.c_str())) {
        value = TlvUtils::FromUtf8(v);
        return true;
    }
    for (char** e = environ; e && *e; ++e) {
        const std::string_view entry(*e);
        const std::size_t eq = entry.find('=');
        if (eq != key.size())
            continue;
        const bool same = std::equal(key.begin(), key.end(), entry.begin(), [](char a, char b) {
            const auto up = [](char c) { return c >= 'a' && c <= 'z' ? char(c - 32) : c; };
            return up(a) == up(b);
        });
        if (same) {
            value = TlvUtils::FromUtf8(entry.substr(eq + 1));
            return true;
        }
    }
    return false;
}

} // namespace

namespace TlvUtl {

DWORD ExpandEnvironmentStringsW(LPCWSTR lpSrc, LPWSTR lpDst, DWORD nSize) {
    if (!lpSrc)
        lpSrc = L""; // as the system's: no source is an empty one
    const std::wstring_view src(lpSrc);
    std::wstring out, value;
    for (std::size_t i = 0; i < src.size();) {
        if (src[i] == L'%') {
            const std::size_t end = src.find(L'%', i + 1);
            if (end != std::wstring_view::npos && end > i + 1 &&
                Lookup(src.substr(i + 1, end - i - 1), value)) {
                out += value;
                i = end + 1;
                continue;
            }
            // Not a set variable: the percent sign stays and the scan goes on after it, so
            // the closing sign may open the next reference.
        }
        out += src[i++];
    }
    const auto need = static_cast<DWORD>(out.size() + 1);
    if (lpDst && nSize) {
        const std::size_t n = std::min<std::size_t>(out.size(), nSize - 1);
        std::wmemcpy(lpDst, out.data(), n);
        lpDst[n] = 0;
    }
    return need;
}

} // namespace TlvUtl
