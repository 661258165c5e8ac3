// IStream: the byte stream that documents are loaded from and saved to, with a file and a
// memory implementation.
//
// On Windows IStream is COM's own (objidl.h), so any COM stream (SHCreateStreamOnFileEx,
// CreateStreamOnHGlobal, a host's) can be handed to the XML layer, and the library's streams
// can be handed to COM. The library only ever calls Read, Write and Seek on a stream it is
// given. Elsewhere IStream is a class of the library's with the same three calls and results
// (S_OK, S_FALSE at the end of the data, E_FAIL or an errno-based HRESULT on failure).
//
// Ownership: whoever creates a FileStream or MemoryStream owns it and deletes it (the
// unique_ptr of FileStream::Open, or the scope of a MemoryStream). On Windows the streams are
// also COM objects: QueryInterface answers IUnknown, ISequentialStream and IStream, and
// AddRef/Release keep a count that starts at 1 for the creator, but Release never deletes. A
// COM user that keeps a reference must not outlive the owner's object. Of the other IStream
// calls, SetSize, Stat (size and type only) and Commit work; CopyTo, Revert and Clone answer
// E_NOTIMPL and the region locks STG_E_INVALIDFUNCTION. Streams are not thread-safe.
#ifndef TLVUTL_STREAM_H
#define TLVUTL_STREAM_H

#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

#include <memory>
#include <string>
#include <vector>

#ifdef _WIN32
#include <objidl.h>

#include <atomic>
// The calling convention of the streams' Read and Write: COM's on Windows, none elsewhere.
#define TLVUTL_STREAM_CALL STDMETHODCALLTYPE
#else
// The calling convention of the streams' Read and Write: COM's on Windows, none elsewhere.
#define TLVUTL_STREAM_CALL

#ifndef STREAM_SEEK_SET
// The origins of IStream::Seek: the start of the data, the current position, the end of the data.
// @{
#define STREAM_SEEK_SET 0u
#define STREAM_SEEK_CUR 1u
#define STREAM_SEEK_END 2u
// @}
#endif

// A byte stream with a position, as documents are loaded from and saved to. Hosts may implement it
// over their own storage.
class TLVUTL_API IStream {
public:
    virtual ~IStream();
    // Reads up to size bytes; *read (if given) receives the count. S_FALSE when fewer bytes
    // than asked were left.
    virtual HRESULT Read(void* buffer, ULONG size, ULONG* read) = 0;
    // Writes all size bytes or fails; *written (if given) receives the count.
    virtual HRESULT Write(const void* data, ULONG size, ULONG* written) = 0;
    // origin is STREAM_SEEK_SET, STREAM_SEEK_CUR or STREAM_SEEK_END.
    virtual HRESULT Seek(LONGLONG offset, DWORD origin, ULONGLONG* newPosition) = 0;
};
#endif

namespace TlvUtils {

// Seeks any stream with plain integers (COM's Seek takes LARGE_INTEGER unions).
inline HRESULT SeekStream(IStream* stream, LONGLONG offset, DWORD origin, ULONGLONG* newPosition) {
#ifdef _WIN32
    LARGE_INTEGER move;
    move.QuadPart = offset;
    ULARGE_INTEGER at;
    at.QuadPart = 0;
    const HRESULT hr = stream->Seek(move, origin, &at);
    if (SUCCEEDED(hr) && newPosition)
        *newPosition = at.QuadPart;
    return hr;
#else
    return stream->Seek(offset, origin, newPosition);
#endif
}

#ifdef _WIN32
// The COM side shared by the library's streams: reference count, interface queries, and the
// IStream calls beyond Read and Write, built on three operations of the stream.
class TLVUTL_API StreamObject : public IStream {
public:
    // IUnknown, ISequentialStream and IStream; the count starts at 1 and never deletes.
    // @{
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    // @}

    // COM's Seek, on the stream's own.
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin,
                                   ULARGE_INTEGER* newPosition) override;
    // The same with plain integers, as on other systems.
    HRESULT Seek(LONGLONG offset, DWORD origin, ULONGLONG* newPosition) {
        return SeekTo(offset, origin, newPosition);
    }
    // Memory streams resize; file streams answer E_NOTIMPL.
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) override;
    // The IStream calls the streams do not offer: E_NOTIMPL, and STG_E_INVALIDFUNCTION for the
    // region locks. Commit is S_OK: writes reach the file or the memory at once.
    // @{
    HRESULT STDMETHODCALLTYPE CopyTo(IStream* target, ULARGE_INTEGER size, ULARGE_INTEGER* read,
                                     ULARGE_INTEGER* written) override;
    HRESULT STDMETHODCALLTYPE Commit(DWORD flags) override;
    HRESULT STDMETHODCALLTYPE Revert() override;
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER size,
                                         DWORD type) override;
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER size,
                                           DWORD type) override;
    HRESULT STDMETHODCALLTYPE Clone(IStream** clone) override;
    // @}
    // The type (STGTY_STREAM) and size; no name, whatever flags ask.
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* stat, DWORD flags) override;

    // Deleted by the creator, never by Release.
    virtual ~StreamObject();

protected:
    // A copy starts its own count.
    // @{
    StreamObject() = default;
    StreamObject(const StreamObject&) : IStream() {}
    StreamObject& operator=(const StreamObject&) { return *this; }
    // @}
    // What each stream provides: seeking with plain integers, resizing, and its size.
    // @{
    virtual HRESULT SeekTo(LONGLONG offset, DWORD origin, ULONGLONG* newPosition) = 0;
    virtual HRESULT Resize(ULONGLONG size) = 0;
    virtual HRESULT SizeOf(ULONGLONG* size) = 0;
    // @}

private:
    std::atomic<ULONG> references_{1};
};
// The base of the library's streams: the COM object on Windows, IStream elsewhere.
using StreamBase = StreamObject;
#else
// The base of the library's streams: the COM object on Windows, IStream elsewhere.
using StreamBase = IStream;
#endif

// A stream over a file. Open returns null (and sets *hr, if given) when the file cannot be
// opened; kRead needs an existing file, kWrite creates or truncates one.
class TLVUTL_API FileStream final : public StreamBase {
public:
    // How the file is opened: reading an existing file, writing a new or truncated one, or reading
    // and writing an existing one.
    enum class Mode { kRead, kWrite, kReadWrite };
    // Opens the file at path; see above for a failure.
    static std::unique_ptr<FileStream> Open(const std::wstring& path, Mode mode,
                                            HRESULT* hr = nullptr);
    ~FileStream() override;
    FileStream(const FileStream&) = delete;
    FileStream& operator=(const FileStream&) = delete;

    HRESULT TLVUTL_STREAM_CALL Read(void* buffer, ULONG size, ULONG* read) override;
    HRESULT TLVUTL_STREAM_CALL Write(const void* data, ULONG size, ULONG* written) override;
#ifdef _WIN32
    using StreamObject::Seek;
#else
    HRESULT Seek(LONGLONG offset, DWORD origin, ULONGLONG* newPosition) override;
#endif
    // Pushes buffered bytes to the file; false when that fails.
    bool Flush();

private:
    struct Impl;
    explicit FileStream(std::unique_ptr<Impl> impl);
#ifdef _WIN32
    HRESULT SeekTo(LONGLONG offset, DWORD origin, ULONGLONG* newPosition) override;
    HRESULT Resize(ULONGLONG size) override;
    HRESULT SizeOf(ULONGLONG* size) override;
#endif
    std::unique_ptr<Impl> impl_;
};

// A stream over a growable block of memory, positioned at its start.
class TLVUTL_API MemoryStream final : public StreamBase {
public:
    MemoryStream() = default;
    // A stream over a copy of data or of bytes, positioned at the start.
    // @{
    explicit MemoryStream(std::vector<BYTE> data) : data_(std::move(data)) {}
    explicit MemoryStream(const std::string& bytes) : data_(bytes.begin(), bytes.end()) {}
    // @}

    HRESULT TLVUTL_STREAM_CALL Read(void* buffer, ULONG size, ULONG* read) override;
    HRESULT TLVUTL_STREAM_CALL Write(const void* data, ULONG size, ULONG* written) override;
#ifdef _WIN32
    using StreamObject::Seek;
#else
    HRESULT Seek(LONGLONG offset, DWORD origin, ULONGLONG* newPosition) override;
#endif

    // The stream's contents, as bytes or as a byte string.
    // @{
    const std::vector<BYTE>& Data() const {
        return data_;
    }
    std::string Bytes() const {
        return std::string(data_.begin(), data_.end());
    }
    // @}

private:
#ifdef _WIN32
    HRESULT SeekTo(LONGLONG offset, DWORD origin, ULONGLONG* newPosition) override;
    HRESULT Resize(ULONGLONG size) override;
    HRESULT SizeOf(ULONGLONG* size) override;
#endif
    std::vector<BYTE> data_;
    std::size_t pos_ = 0;
};

} // namespace TlvUtils

#endif
