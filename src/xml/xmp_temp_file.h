// The temporary file a WXmpDoc writes its packet to, shared by the copies of one document.
#ifndef TLVUTL_XML_XMP_TEMP_FILE_H
#define TLVUTL_XML_XMP_TEMP_FILE_H

#include <tlvutl/stream.h>
#include <tlvutl/xmp.h>

#include <memory>
#include <string>

struct WXmpDoc::TempFile {
    std::wstring name;
    std::unique_ptr<TlvUtils::FileStream> stream;
    // Bytes written but not yet handed to the stream. A packet is a few hundred small
    // pieces and each stream write is a system call, so they are gathered here and go out
    // in blocks; everything is out before the packet is measured.
    std::string pending;
    static constexpr std::size_t kFlushSize = 8192;

    TempFile() = default;
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    // Hands the pending bytes to the stream; false when that fails.
    bool Flush();
    // Closes the stream and removes the file.
    ~TempFile();
};

#endif
