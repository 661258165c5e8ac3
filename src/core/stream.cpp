#include <tlvutl/stream.h>

#include <algorithm>
#include <cstring>
#include <limits>

IStream::~IStream() = default;

namespace TlvUtils {

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
