#include "console.h"

#include <tlvutl/encoding.h>

#include <windows.h>

#include <cstdio>
#include <mutex>

namespace tlv::platform {

void WriteErrorLine(const std::wstring& line) {
    static std::mutex m; // keep lines from two threads whole
    std::string text = TlvUtils::ToUtf8(line);
    text += '\n';
    std::lock_guard<std::mutex> guard(m);
    HANDLE err = ::GetStdHandle(STD_ERROR_HANDLE);
    DWORD mode = 0;
    if (err && err != INVALID_HANDLE_VALUE && ::GetConsoleMode(err, &mode)) {
        // A console shows wide text as it is, whatever its code page.
        const std::wstring wide = line + L"\n";
        DWORD written = 0;
        ::WriteConsoleW(err, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
        return;
    }
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

void SoundBeep() {
    ::MessageBeep(MB_OK);
}

std::wstring GetEnvironment(const char* name) {
    const std::wstring wide = TlvUtils::FromUtf8(name);
    const DWORD n = ::GetEnvironmentVariableW(wide.c_str(), nullptr, 0);
    if (n == 0)
        return {};
    std::wstring value(n, L'\0');
    const DWORD got = ::GetEnvironmentVariableW(wide.c_str(), value.data(), n);
    value.resize(got < n ? got : 0);
    return value;
}

bool HasEnvironment(const char* name) {
    const std::wstring wide = TlvUtils::FromUtf8(name);
    return ::GetEnvironmentVariableW(wide.c_str(), nullptr, 0) != 0 ||
           ::GetLastError() != ERROR_ENVVAR_NOT_FOUND;
}

} // namespace tlv::platform
