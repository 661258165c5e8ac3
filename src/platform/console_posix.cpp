#include "console.h"

#include <tlvutl/encoding.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace tlv::platform {

void WriteErrorLine(const std::wstring& line) {
    static std::mutex m; // keep lines from two threads whole
    std::string text = TlvUtils::ToUtf8(line);
    text += '\n';
    std::lock_guard<std::mutex> guard(m);
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

void SoundBeep() {}

std::wstring GetEnvironment(const char* name) {
    const char* v = std::getenv(name);
    return v ? TlvUtils::FromUtf8(v) : std::wstring();
}

bool HasEnvironment(const char* name) {
    return std::getenv(name) != nullptr;
}

} // namespace tlv::platform
