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

    TempFile() = default;
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    // Closes the stream and removes the file.
    ~TempFile();
};

#endif
