// What the tool tells a user when the library reports a Win32 error.
#include "command.h"

#include <tlvutl/encoding.h>
#include <tlvutl/stream.h>

namespace tlvtool {

std::string DescribeWin32Error(unsigned long code) {
    switch (code) {
    case 2:
        return "no such file";
    case 3:
        return "no such folder";
    case 5:
        return "permission denied";
    case 32:
        return "the file is in use";
    case 80:
        return "the file exists";
    case 87:
        return "invalid argument";
    case 112:
        return "no space left on the disk";
    case 206:
        return "the name is too long";
    default:
        return "error " + std::to_string(code);
    }
}

bool ReadFileBytes(const std::string& path, std::string& bytes, std::string& why) {
    HRESULT hr = S_OK;
    auto stream = TlvUtils::FileStream::Open(TlvUtils::FromUtf8(path),
                                             TlvUtils::FileStream::Mode::kRead, &hr);
    if (!stream) {
        // HRESULT_FROM_WIN32 keeps the Win32 code in the low word.
        why = DescribeWin32Error(static_cast<unsigned long>(hr) & 0xFFFFu);
        return false;
    }
    bytes.clear();
    char chunk[65536];
    for (;;) {
        ULONG got = 0;
        hr = stream->Read(chunk, sizeof chunk, &got);
        bytes.append(chunk, got);
        if (hr == S_FALSE)
            return true;
        if (hr != S_OK) {
            why = DescribeWin32Error(static_cast<unsigned long>(hr) & 0xFFFFu);
            return false;
        }
    }
}

} // namespace tlvtool
