#include <tlvutl/stream.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#ifndef _WIN32
IStream::~IStream() = default;
#endif

namespace TlvUtils {

#ifdef _WIN32
StreamObject::~StreamObject() = default;

HRESULT STDMETHODCALLTYPE StreamObject::QueryInterface(REFIID iid, void** object) {
    if (!object)
        return E_POINTER;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_ISequentialStream) ||
        IsEqualIID(iid, IID_IStream)) {
        *object = static_cast<IStream*>(this);
        AddRef();
        return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE StreamObject::AddRef() {
    return ++references_;
}

// The creator's reference is never given up through Release: the creator deletes the
// object (see stream.h), so a count reaching zero only means a COM user released one too
// many; the object stays.
ULONG STDMETHODCALLTYPE StreamObject::Release() {
    ULONG now = references_.load();
    while (now > 0 && !references_.compare_exchange_weak(now, now - 1)) {
    }
    return now > 0 ? now - 1 : 0;
}

HRESULT STDMETHODCALLTYPE StreamObject::Seek(LARGE_INTEGER move, DWORD origin,
                                             ULARGE_INTEGER* newPosition) {
    ULONGLONG at = 0;
    const HRESULT hr = SeekTo(move.QuadPart, origin, &at);
    if (SUCCEEDED(hr) && newPosition)
        newPosition->QuadPart = at;
    return hr;
}

HRESULT STDMETHODCALLTYPE StreamObject::SetSize(ULARGE_INTEGER size) {
    return Resize(size.QuadPart);
}

HRESULT STDMETHODCALLTYPE StreamObject::CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*,
                                               ULARGE_INTEGER*) {
    return E_NOTIMPL;
}

// Writes reach the file or the memory at once: there is nothing to commit.
HRESULT STDMETHODCALLTYPE StreamObject::Commit(DWORD) {
    return S_OK;
}

HRESULT STDMETHODCALLTYPE StreamObject::Revert() {
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE StreamObject::LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) {
    return STG_E_INVALIDFUNCTION;
}

HRESULT STDMETHODCALLTYPE StreamObject::UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) {
    return STG_E_INVALIDFUNCTION;
}

HRESULT STDMETHODCALLTYPE StreamObject::Stat(STATSTG* stat, DWORD) {
    if (!stat)
        return STG_E_INVALIDPOINTER;
    ULONGLONG size = 0;
    if (const HRESULT hr = SizeOf(&size); FAILED(hr))
        return hr;
    // No name is given, whatever the flag asks: the caller has nothing to free.
    std::memset(stat, 0, sizeof *stat);
    stat->type = STGTY_STREAM;
    stat->cbSize.QuadPart = size;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE StreamObject::Clone(IStream** clone) {
    if (clone)
        *clone = nullptr;
    return E_NOTIMPL;
}
#endif

namespace {

HRESULT SeekMemory(std::size_t& pos, std::size_t size, LONGLONG offset, DWORD origin,
                   ULONGLONG* newPosition) {
    LONGLONG base = 0;
    if (origin == STREAM_SEEK_CUR)
        base = static_cast<LONGLONG>(pos);
    else if (origin == STREAM_SEEK_END)
        base = static_cast<LONGLONG>(size);
    else if (origin != STREAM_SEEK_SET)
        return E_INVALIDARG;
    if ((offset < 0 && base < -offset) ||
        (offset > 0 && base > std::numeric_limits<LONGLONG>::max() - offset))
        return E_INVALIDARG;
    pos = static_cast<std::size_t>(base + offset);
    if (newPosition)
        *newPosition = pos;
    return S_OK;
}

} // namespace

HRESULT TLVUTL_STREAM_CALL MemoryStream::Read(void* buffer, ULONG size, ULONG* read) {
    const std::size_t left = pos_ < data_.size() ? data_.size() - pos_ : 0;
    const std::size_t n = std::min<std::size_t>(left, size);
    if (n)
        std::memcpy(buffer, data_.data() + pos_, n);
    pos_ += n;
    if (read)
        *read = static_cast<ULONG>(n);
    return n < size ? S_FALSE : S_OK;
}

HRESULT TLVUTL_STREAM_CALL MemoryStream::Write(const void* data, ULONG size, ULONG* written) {
    if (pos_ + size > data_.size())
        data_.resize(pos_ + size);
    if (size)
        std::memcpy(data_.data() + pos_, data, size);
    pos_ += size;
    if (written)
        *written = size;
    return S_OK;
}

#ifdef _WIN32
HRESULT MemoryStream::SeekTo(LONGLONG offset, DWORD origin, ULONGLONG* newPosition) {
    return SeekMemory(pos_, data_.size(), offset, origin, newPosition);
}

HRESULT MemoryStream::Resize(ULONGLONG size) {
    if (size > data_.max_size())
        return E_OUTOFMEMORY;
    try {
        data_.resize(static_cast<std::size_t>(size));
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

HRESULT MemoryStream::SizeOf(ULONGLONG* size) {
    *size = data_.size();
    return S_OK;
}
#else
HRESULT MemoryStream::Seek(LONGLONG offset, DWORD origin, ULONGLONG* newPosition) {
    return SeekMemory(pos_, data_.size(), offset, origin, newPosition);
}
#endif

} // namespace TlvUtils
