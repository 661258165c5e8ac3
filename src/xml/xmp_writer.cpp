// WXmpDoc's tag writer. Every piece of the packet goes through WriteData, which either writes
// it to the file or, in deferred mode, keeps it for WritePostTagsIfAny. The shape of the text
// (a line break before every tag and value, attributes last-pushed first, no escaping) is the
// packet format, so these functions are byte for byte what embedded packets carry.
#include "xmp_temp_file.h"

#include <tlvutl/encoding.h>
#include <tlvutl/xmp.h>

#include <limits>

bool WXmpDoc::TempFile::Flush() {
    if (!stream || pending.size() > std::numeric_limits<ULONG>::max())
        return false;
    if (pending.empty())
        return true;
    const HRESULT hr = stream->Write(pending.data(), static_cast<ULONG>(pending.size()), nullptr);
    pending.clear();
    return SUCCEEDED(hr);
}

int WXmpDoc::WriteBytes(std::string_view bytes) {
    if (!file_ || !file_->stream) {
        SetError(XMP_ERROR_WRITE);
        return 1;
    }
    file_->pending.append(bytes);
    if (file_->pending.size() >= TempFile::kFlushSize && !file_->Flush()) {
        SetError(XMP_ERROR_WRITE);
        return 1;
    }
    return 0;
}

int WXmpDoc::WriteData(const CString& text) {
    if (writeMode_ != WriteDirect) {
        postTags_.push_back(text);
        return 0;
    }
    // UTF-8 stands in for the ANSI code page, so that any title makes a valid packet.
    return WriteBytes(TlvUtils::ToUtf8(text.view()));
}

WXmpDoc::WriteMode WXmpDoc::SetWriteMode(WriteMode mode) {
    const WriteMode previous = writeMode_;
    writeMode_ = mode;
    return previous;
}

WXmpDoc::WriteMode WXmpDoc::GetWriteMode() const {
    return writeMode_;
}

int WXmpDoc::PushAttribute(const CString& name, const CString& value) {
    attributes_.emplace_back(name, value);
    return 0;
}

int WXmpDoc::StartTag(const CString& name) {
    CString text = L"\n<";
    text += name;
    for (auto it = attributes_.rbegin(); it != attributes_.rend(); ++it) {
        text += L" ";
        text += it->first;
        text += L"=\"";
        text += it->second;
        text += L"\"";
    }
    text += L">";
    attributes_.clear();
    openTags_.push_back(name);
    return WriteData(text);
}

int WXmpDoc::EndLastTag() {
    if (openTags_.empty()) {
        SetError(XMP_ERROR_TAG_NESTING);
        return 1;
    }
    CString text = L"\n</";
    text += openTags_.back();
    text += L">";
    openTags_.pop_back();
    return WriteData(text);
}

int WXmpDoc::WriteTagValue(const CString& value) {
    CString text = L"\n";
    text += value;
    return WriteData(text);
}

int WXmpDoc::WriteTag(const CString& name, const CString& value) {
    if (StartTag(name) || WriteTagValue(value) || EndLastTag())
        return 1;
    return 0;
}

int WXmpDoc::WritePostTagsIfAny() {
    // Moved out first: WriteData would append to the list again in deferred mode.
    std::vector<CString> tags;
    tags.swap(postTags_);
    for (const CString& tag : tags)
        if (WriteData(tag))
            return 1;
    return 0;
}
