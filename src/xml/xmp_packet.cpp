// Building WXmpDoc's packet from the property store: header, the three opening tags, the
// property tags, the deferred rating and date descriptions, padding and trailer.
#include "platform/local_time.h"

#include <tlvutl/xmp.h>

#include <string>

namespace {

const wchar_t kMetaNamespace[] = L"adobe:ns:meta/";
const wchar_t kRdfNamespace[] = L"http://www.w3.org/1999/02/22-rdf-syntax-ns#";
const wchar_t kXmpBasicNamespace[] = L"http://ns.adobe.com/xap/1.0/";
const wchar_t kDublinCoreNamespace[] = L"http://purl.org/dc/elements/1.1/";
const wchar_t kPhotoNamespace[] = L"http://ns.microsoft.com/photo/1.0/";

constexpr int kPaddingLength = 2048;
constexpr int kPaddingLineLength = 100;

// The star count of a 0-99 rating. Below 1 is unrated; 100 and above, which the property
// system shows as five stars, is five.
int StarsOfRating(int rating) {
    if (rating < 1)
        return 0;
    if (rating <= 12)
        return 1;
    if (rating <= 37)
        return 2;
    if (rating <= 62)
        return 3;
    if (rating <= 87)
        return 4;
    return 5;
}

CString Decimal(int value) {
    return CString(std::to_wstring(value));
}

} // namespace

int WXmpDoc::CreateFromPropertyStore() {
    if (!store_) {
        SetError(XMP_ERROR_NO_STORE);
        return 1;
    }
    ResetPacketState();
    if (CreateAndOpenTempFile() || AddHeader())
        return 1;
    PushAttribute(L"xmlns:x", kMetaNamespace);
    if (StartTag(L"x:xmpmeta"))
        return 1;
    PushAttribute(L"xmlns:rdf", kRdfNamespace);
    if (StartTag(L"rdf:RDF"))
        return 1;
    PushAttribute(L"rdf:about", L"");
    PushAttribute(L"xmlns:xap", kXmpBasicNamespace);
    PushAttribute(L"xmlns:dc", kDublinCoreNamespace);
    if (StartTag(L"rdf:Description") || WritePropertyStoreTags() || EndLastTag() ||
        WritePostTagsIfAny() || EndLastTag() || EndLastTag())
        return 1;
    if (AddPaddingData() || AddTrailer() || SetUpChunks())
        return 1;
    return 0;
}

int WXmpDoc::AddHeader() {
    // The byte-order mark goes out as its UTF-8 bytes, never as the UTF-8 form of the three
    // Latin-1 characters that spell those bytes.
    if (WriteData(L"<?xpacket begin='") || WriteBytes("\xEF\xBB\xBF") ||
        WriteData(L"' id='W5M0MpCehiHzreSzNTczkc9d'?>\n"))
        return 1;
    return 0;
}

int WXmpDoc::ReadValue(REFPROPERTYKEY key, PropVariant& value) {
    value = PropVariant(); // a store that leaves it alone for an absent key still reads empty
    if (FAILED(store_->GetValue(key, &value))) {
        SetError(XMP_ERROR_STORE);
        return 1;
    }
    return 0;
}

int WXmpDoc::WriteAltText(const CString& name, const CString& value) {
    if (StartTag(name))
        return 1;
    PushAttribute(L"xmlns:rdf", kRdfNamespace);
    if (StartTag(L"rdf:Alt"))
        return 1;
    PushAttribute(L"xml:lang", L"x-default");
    if (StartTag(L"rdf:li") || WriteTagValue(value) || EndLastTag() || EndLastTag() || EndLastTag())
        return 1;
    return 0;
}

int WXmpDoc::WriteList(const CString& name, const CString& container,
                       const std::vector<std::wstring>& items) {
    if (StartTag(name))
        return 1;
    PushAttribute(L"xmlns:rdf", kRdfNamespace);
    if (StartTag(container))
        return 1;
    for (const std::wstring& item : items)
        if (WriteTag(L"rdf:li", CString(item)))
            return 1;
    return EndLastTag() || EndLastTag() ? 1 : 0;
}

int WXmpDoc::WriteRating(int rating) {
    // Deferred, so that both descriptions land after the main one rather than inside it.
    const WriteMode previous = SetWriteMode(WriteDeferred);
    PushAttribute(L"xmlns:MicrosoftPhoto", kPhotoNamespace);
    int failed = StartTag(L"rdf:Description") ||
                 WriteTag(L"MicrosoftPhoto:Rating", Decimal(rating)) || EndLastTag();
    if (!failed) {
        PushAttribute(L"xmlns:xmp", kXmpBasicNamespace);
        failed = StartTag(L"rdf:Description") ||
                 WriteTag(L"xmp:Rating", Decimal(StarsOfRating(rating))) || EndLastTag();
    }
    SetWriteMode(previous);
    return failed ? 1 : 0;
}

bool WXmpDoc::LocalDateText(const FILETIME& time, CString& text) const {
    const std::uint64_t ticks =
        (static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
    tlv::platform::LocalDateTime local;
    if (!tlv::platform::FileTimeToLocalDateTime(ticks, local))
        return false;
    text = GetFormattedString(local.year, 4);
    text += L"-";
    text += GetFormattedString(local.month, 2);
    text += L"-";
    text += GetFormattedString(local.day, 2);
    text += L"T";
    text += GetFormattedString(local.hour, 2);
    text += L":";
    text += GetFormattedString(local.minute, 2);
    text += L":";
    text += GetFormattedString(local.second, 2);
    text += L".";
    text += GetFormattedString(local.milliseconds, 3);
    return true;
}

int WXmpDoc::WriteCreateDate(const FILETIME& time) {
    CString text;
    if (!LocalDateText(time, text)) {
        SetError(XMP_ERROR_STORE);
        return 1;
    }
    const WriteMode previous = SetWriteMode(WriteDeferred);
    PushAttribute(L"xmlns:xmp", kXmpBasicNamespace);
    const int failed =
        StartTag(L"rdf:Description") || WriteTag(L"xmp:CreateDate", text) || EndLastTag();
    SetWriteMode(previous);
    return failed ? 1 : 0;
}

int WXmpDoc::WritePropertyStoreTags() {
    PropVariant value;
    std::wstring text;
    std::vector<std::wstring> items;

    if (ReadValue(PKEY_Title, value))
        return 1;
    if (SUCCEEDED(value.ToString(text)) && WriteAltText(L"dc:title", text))
        return 1;
    if (ReadValue(PKEY_Comment, value))
        return 1;
    if (SUCCEEDED(value.ToString(text)) && WriteAltText(L"dc:description", text))
        return 1;
    if (ReadValue(PKEY_Author, value))
        return 1;
    if (SUCCEEDED(value.ToStringVector(items)) && WriteList(L"dc:creator", L"rdf:Seq", items))
        return 1;
    if (ReadValue(PKEY_Copyright, value))
        return 1;
    if (SUCCEEDED(value.ToString(text)) && WriteTag(L"dc:rights", text))
        return 1;
    if (ReadValue(PKEY_Keywords, value))
        return 1;
    if (SUCCEEDED(value.ToStringVector(items)) && WriteList(L"dc:subject", L"rdf:Bag", items))
        return 1;

    if (ReadValue(PKEY_Rating, value))
        return 1;
    int16_t rating = 0;
    if (SUCCEEDED(value.ToInt16(rating)) && WriteRating(rating))
        return 1;

    FILETIME created{};
    if (ReadValue(PKEY_Photo_DateTaken, value))
        return 1;
    if (value.IsEmpty() && ReadValue(PKEY_DateCreated, value))
        return 1;
    if (SUCCEEDED(value.ToFileTime(created)) && WriteCreateDate(created))
        return 1;

    return CollectNonXmpEntries();
}

int WXmpDoc::AddPaddingData() {
    std::wstring padding;
    padding.reserve(kPaddingLength + 1);
    for (int i = 0; i < kPaddingLength;) {
        if (i % kPaddingLineLength == 0) {
            padding += L'\n';
            ++i;
        }
        padding += L' ';
        ++i;
    }
    padding += L'\n';
    return WriteData(CString(std::move(padding)));
}

int WXmpDoc::AddTrailer() {
    return WriteData(L"\n<?xpacket end=\"w\"?>");
}

CString WXmpDoc::GetFormattedString(int value, int width) const {
    std::wstring text = std::to_wstring(value);
    if (static_cast<int>(text.size()) < width)
        text.insert(0, static_cast<std::size_t>(width) - text.size(), L'0');
    return CString(std::move(text));
}

void WXmpDoc::PadExtraBytesIfNecessary(CString& text) const {
    while (text.GetLength() < 5)
        text += L" ";
}
