// TlvUtils::FileStream: the stream interface over an open file of the file-system seam.
#include "file_system.h"

#include <tlvutl/stream.h>

namespace TlvUtils {
namespace {

// The HRESULT of a failure: HRESULT_FROM_WIN32 of the Win32 error it stands for.
HRESULT FromError(const std::error_code& ec) {
    if (ec == std::errc::not_enough_memory)
        return E_OUTOFMEMORY;
    return static_cast<HRESULT>(0x80070000u | (tlv::platform::Win32Error(ec) & 0xFFFFu));
}

} // namespace

struct FileStream::Impl {
    tlv::platform::File file;
};

FileStream::FileStream(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

FileStream::~FileStream() = default;

std::unique_ptr<FileStream> FileStream::Open(const std::wstring& path, Mode mode, HRESULT* hr) {
    using tlv::platform::File;
    auto impl = std::make_unique<Impl>();
    const File::Mode how = mode == Mode::kRead    ? File::Mode::kRead
                           : mode == Mode::kWrite ? File::Mode::kWrite
                                                  : File::Mode::kReadWrite;
    const std::error_code ec = impl->file.Open(path, how);
    if (hr)
        *hr = ec ? FromError(ec) : S_OK;
    return ec ? nullptr : std::unique_ptr<FileStream>(new FileStream(std::move(impl)));
}

HRESULT TLVUTL_STREAM_CALL FileStream::Read(void* buffer, ULONG size, ULONG* read) {
    // A short read from a file is not its end: read on until the count or the end.
    std::size_t total = 0;
    HRESULT result = S_OK;
    while (total < size) {
        std::size_t n = 0;
        if (const std::error_code ec =
                impl_->file.Read(static_cast<char*>(buffer) + total, size - total, n)) {
            result = FromError(ec);
            break;
        }
        if (n == 0) {
            result = S_FALSE;
            break;
        }
        total += n;
    }
    if (read)
        *read = static_cast<ULONG>(total);
    return result;
}

HRESULT TLVUTL_STREAM_CALL FileStream::Write(const void* data, ULONG size, ULONG* written) {
    const std::error_code ec = impl_->file.Write(data, size);
    if (written)
        *written = ec ? 0 : size;
    return ec ? FromError(ec) : S_OK;
}

#ifdef _WIN32
HRESULT FileStream::SeekTo(LONGLONG offset, DWORD origin, ULONGLONG* newPosition) {
#else
HRESULT FileStream::Seek(LONGLONG offset, DWORD origin, ULONGLONG* newPosition) {
#endif
    if (origin > STREAM_SEEK_END)
        return E_INVALIDARG;
    std::int64_t at = 0;
    if (const std::error_code ec = impl_->file.Seek(offset, static_cast<int>(origin), at))
        return ec == std::errc::invalid_argument ? E_INVALIDARG : FromError(ec);
    if (newPosition)
        *newPosition = static_cast<ULONGLONG>(at);
    return S_OK;
}

#ifdef _WIN32
// The file seam has no truncation: a file stream keeps its size.
HRESULT FileStream::Resize(ULONGLONG) {
    return E_NOTIMPL;
}

HRESULT FileStream::SizeOf(ULONGLONG* size) {
    std::int64_t here = 0, end = 0, back = 0;
    if (const std::error_code ec = impl_->file.Seek(0, 1, here))
        return FromError(ec);
    if (const std::error_code ec = impl_->file.Seek(0, 2, end))
        return FromError(ec);
    if (const std::error_code ec = impl_->file.Seek(here, 0, back))
        return FromError(ec);
    *size = static_cast<ULONGLONG>(end);
    return S_OK;
}
#endif

bool FileStream::Flush() {
    // Writes go straight to the file; there is nothing of the stream's own to push.
    return impl_->file.IsOpen();
}

} // namespace TlvUtils
