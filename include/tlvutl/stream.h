// IStream: the byte stream that documents are loaded from and saved to, with a file and a
// memory implementation.
//
// The interface keeps the COM stream's calls and results (S_OK, S_FALSE at the end of the
// data, E_FAIL or an errno-based HRESULT on failure) but not its reference counting: whoever
// creates a stream owns it. Streams are not thread-safe.
#ifndef TLVUTL_STREAM_H
#define TLVUTL_STREAM_H

#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

#include <memory>
#include <string>
#include <vector>

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

namespace TlvUtils {

// A stream over a file. Open returns null (and sets *hr, if given) when the file cannot be
// opened; kRead needs an existing file, kWrite creates or truncates one.
class TLVUTL_API FileStream final : public IStream {
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

    HRESULT Read(void* buffer, ULONG size, ULONG* read) override;
    HRESULT Write(const void* data, ULONG size, ULONG* written) override;
    HRESULT Seek(LONGLONG offset, DWORD origin, ULONGLONG* newPosition) override;
    // Pushes buffered bytes to the file; false when that fails.
    bool Flush();

private:
    struct Impl;
    explicit FileStream(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

// A stream over a growable block of memory, positioned at its start.
class TLVUTL_API MemoryStream final : public IStream {
public:
    MemoryStream() = default;
    // A stream over a copy of data or of bytes, positioned at the start.
    // @{
    explicit MemoryStream(std::vector<BYTE> data) : data_(std::move(data)) {}
    explicit MemoryStream(const std::string& bytes) : data_(bytes.begin(), bytes.end()) {}
    // @}

    HRESULT Read(void* buffer, ULONG size, ULONG* read) override;
    HRESULT Write(const void* data, ULONG size, ULONG* written) override;
    HRESULT Seek(LONGLONG offset, DWORD origin, ULONGLONG* newPosition) override;

    // The stream's contents, as bytes or as a byte string.
    // @{
    const std::vector<BYTE>& Data() const { return data_; }
    std::string Bytes() const { return std::string(data_.begin(), data_.end()); }
    // @}

private:
    std::vector<BYTE> data_;
    std::size_t pos_ = 0;
};

} // namespace TlvUtils

#endif
