#include <tlvutl/encoding.h>
#include <tlvutl/stream.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

namespace {

// The Win32 error an errno stands for, as an HRESULT (HRESULT_FROM_WIN32).
HRESULT FromErrno(int e) {
    DWORD win32 = 0x1F; // ERROR_GEN_FAILURE
    switch (e) {
    case ENOENT:
        win32 = 2; // ERROR_FILE_NOT_FOUND
        break;
    case EACCES:
    case EPERM:
        win32 = 5; // ERROR_ACCESS_DENIED
        break;
    case ENOSPC:
        win32 = 112; // ERROR_DISK_FULL
        break;
    case ENOMEM:
        return E_OUTOFMEMORY;
    default:
        break;
    }
    return static_cast<HRESULT>(0x80070000u | win32);
}

} // namespace

IStream::~IStream() = default;

namespace TlvUtils {

std::unique_ptr<FileStream> FileStream::Open(const std::wstring& path, Mode mode, HRESULT* hr) {
    const char* how = mode == Mode::kRead ? "rb" : mode == Mode::kWrite ? "wb" : "r+b";
    std::FILE* f = std::fopen(ToUtf8(path).c_str(), how);
    if (hr)
        *hr = f ? S_OK : FromErrno(errno);
    return f ? std::unique_ptr<FileStream>(new FileStream(f)) : nullptr;
}

FileStream::~FileStream() {
    std::fclose(file_);
}

HRESULT FileStream::Read(void* buffer, ULONG size, ULONG* read) {
    const std::size_t n = std::fread(buffer, 1, size, file_);
    if (read)
        *read = static_cast<ULONG>(n);
    if (n < size && std::ferror(file_))
        return FromErrno(errno);
    return n < size ? S_FALSE : S_OK;
}

HRESULT FileStream::Write(const void* data, ULONG size, ULONG* written) {
    const std::size_t n = std::fwrite(data, 1, size, file_);
    if (written)
        *written = static_cast<ULONG>(n);
    return n == size ? S_OK : FromErrno(errno);
}

HRESULT FileStream::Seek(LONGLONG offset, DWORD origin, ULONGLONG* newPosition) {
    const int whence = origin == STREAM_SEEK_SET   ? SEEK_SET
                       : origin == STREAM_SEEK_CUR ? SEEK_CUR
                       : origin == STREAM_SEEK_END ? SEEK_END
                                                   : -1;
    if (whence < 0)
        return E_INVALIDARG;
    if (std::fseek(file_, static_cast<long>(offset), whence) != 0)
        return FromErrno(errno);
    if (newPosition)
        *newPosition = static_cast<ULONGLONG>(std::ftell(file_));
    return S_OK;
}

bool FileStream::Flush() {
    return std::fflush(file_) == 0;
}

HRESULT MemoryStream::Read(void* buffer, ULONG size, ULONG* read) {
    const std::size_t left = pos_ < data_.size() ? data_.size() - pos_ : 0;
    const std::size_t n = std::min<std::size_t>(left, size);
    if (n)
        std::memcpy(buffer, data_.data() + pos_, n);
    pos_ += n;
    if (read)
        *read = static_cast<ULONG>(n);
    return n < size ? S_FALSE : S_OK;
}

HRESULT MemoryStream::Write(const void* data, ULONG size, ULONG* written) {
    if (pos_ + size > data_.size())
        data_.resize(pos_ + size);
    if (size)
        std::memcpy(data_.data() + pos_, data, size);
    pos_ += size;
    if (written)
        *written = size;
    return S_OK;
}

HRESULT MemoryStream::Seek(LONGLONG offset, DWORD origin, ULONGLONG* newPosition) {
    LONGLONG base = 0;
    if (origin == STREAM_SEEK_CUR)
        base = static_cast<LONGLONG>(pos_);
    else if (origin == STREAM_SEEK_END)
        base = static_cast<LONGLONG>(data_.size());
    else if (origin != STREAM_SEEK_SET)
        return E_INVALIDARG;
    if ((offset < 0 && base < -offset) ||
        (offset > 0 && base > std::numeric_limits<LONGLONG>::max() - offset))
        return E_INVALIDARG;
    pos_ = static_cast<std::size_t>(base + offset);
    if (newPosition)
        *newPosition = pos_;
    return S_OK;
}

} // namespace TlvUtils
