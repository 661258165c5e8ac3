// WXmpDoc's chunk table: the finished packet cut into pieces of at most kMaxChunkSize bytes,
// read back one piece at a time.
#include "xmp_chunks.h"
#include "xmp_temp_file.h"

#include <tlvutl/xmp.h>

#include <limits>

namespace tlv::xml {

std::vector<XmpChunkEntry> SplitIntoChunks(std::uint64_t size, std::uint32_t maxSize) {
    std::vector<XmpChunkEntry> chunks;
    if (maxSize == 0)
        return chunks;
    chunks.reserve(static_cast<std::size_t>((size + maxSize - 1) / maxSize));
    for (std::uint64_t offset = 0; offset < size; offset += maxSize) {
        const std::uint64_t left = size - offset;
        chunks.push_back(
            {static_cast<DWORD>(left < maxSize ? left : maxSize), static_cast<DWORD>(offset)});
    }
    return chunks;
}

} // namespace tlv::xml

int WXmpDoc::SetUpChunks() {
    if (file_ && file_->stream && !file_->Flush()) {
        SetError(XMP_ERROR_WRITE);
        return 1;
    }
    ULONGLONG size = 0;
    if (!file_ || !file_->stream || FAILED(file_->stream->Seek(0, STREAM_SEEK_END, &size))) {
        SetError(XMP_ERROR_SIZE);
        return 1;
    }
    // Offsets are 32-bit; the count must also fit an int.
    if (size > std::numeric_limits<DWORD>::max()) {
        SetError(XMP_ERROR_SIZE);
        return 1;
    }
    dataSize_ = size;
    chunks_ = tlv::xml::SplitIntoChunks(size, kMaxChunkSize);
    chunkCount_ = static_cast<int>(chunks_.size());
    chunksReady_ = 1;
    return 0;
}

int WXmpDoc::GetNumberOfChunks() const {
    return chunkCount_;
}

int WXmpDoc::GetChunkSize(int chunk) const {
    if (chunk < 0 || chunk >= chunkCount_)
        return 0;
    return static_cast<int>(chunks_[static_cast<std::size_t>(chunk)].size);
}

int WXmpDoc::GetChunkOffset(int chunk) const {
    if (chunk < 0 || chunk >= chunkCount_)
        return 0;
    return static_cast<int>(chunks_[static_cast<std::size_t>(chunk)].offset);
}

ULONGLONG WXmpDoc::GetDataSize() const {
    return dataSize_;
}

long WXmpDoc::GetDataToVector(std::vector<char>& data, int chunk) {
    const int size = GetChunkSize(chunk);
    if (!chunksReady_ || size < 1 || !file_ || !file_->stream)
        return -1;
    data.resize(static_cast<std::size_t>(size));
    const LONGLONG offset = GetChunkOffset(chunk);
    ULONGLONG position = 0;
    if (FAILED(file_->stream->Seek(offset, STREAM_SEEK_SET, &position)) ||
        position != static_cast<ULONGLONG>(offset))
        return -1;
    ULONG read = 0;
    if (FAILED(file_->stream->Read(data.data(), static_cast<ULONG>(size), &read)))
        return -1;
    return static_cast<long>(read);
}
