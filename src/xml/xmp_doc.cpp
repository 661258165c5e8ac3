// WXmpDoc's lifetime: construction, copies, the temporary file and the error code.
#include "platform/file_system.h"
#include "xmp_temp_file.h"

#include <tlvutl/xmp.h>

WXmpDoc::TempFile::~TempFile() {
    stream.reset(); // closed before the name is removed
    if (!name.empty())
        tlv::platform::Remove(name);
}

WXmpDoc::WXmpDoc(std::shared_ptr<IPropertyStore> store) : store_(std::move(store)) {}

WXmpDoc::WXmpDoc(const WXmpDoc& other) = default;

WXmpDoc& WXmpDoc::operator=(const WXmpDoc& other) = default;

WXmpDoc::~WXmpDoc() = default;

int WXmpDoc::GetError() const {
    return error_;
}

void WXmpDoc::SetError(int error) {
    error_ = error;
}

int WXmpDoc::CreateAndOpenTempFile() {
    CloseTempFile();
    auto file = std::make_shared<TempFile>();
    if (tlv::platform::CreateTempFile("TMP", "", file->name)) {
        SetError(XMP_ERROR_TEMP_FILE);
        return 1;
    }
    file->stream = TlvUtils::FileStream::Open(file->name, TlvUtils::FileStream::Mode::kReadWrite);
    if (!file->stream) {
        SetError(XMP_ERROR_TEMP_FILE);
        return 1; // the TempFile removes the empty file
    }
    file_ = std::move(file);
    return 0;
}

void WXmpDoc::CloseTempFile() {
    // Copies that share the file keep it; the last one removes it.
    file_.reset();
}

CString WXmpDoc::GetFileName() const {
    return file_ ? CString(file_->name) : CString();
}

void WXmpDoc::ResetPacketState() {
    error_ = XMP_ERROR_NONE;
    chunksReady_ = 0;
    dataSize_ = 0;
    writeMode_ = WriteDirect;
    chunkCount_ = 0;
    attributes_.clear();
    openTags_.clear();
    postTags_.clear();
    nonXmp_.clear();
    chunks_.clear();
}
