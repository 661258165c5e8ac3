// WXmpDoc: an XMP metadata packet built from a property store, handed out in chunks.
//
// CreateFromPropertyStore reads the store's title (PKEY_Title), description (PKEY_Comment),
// authors (PKEY_Author), rights (PKEY_Copyright), keywords (PKEY_Keywords), rating
// (PKEY_Rating, as a 16-bit integer) and creation date (PKEY_Photo_DateTaken, else
// PKEY_DateCreated), writes the packet to a temporary file and splits it into chunks of at
// most kMaxChunkSize bytes, the size image writers embed one piece at a time in. The bytes are
// a format that embedded packets already carry, so they never change:
//
//   - every start tag, end tag and value begins with "\n"; nothing is indented;
//   - attributes are written in the reverse of the order they were pushed;
//   - values are written as given, without XML escaping: a caller whose text may hold markup
//     characters escapes it before it reaches the store (the "tlvutl xmp" command does);
//   - text is UTF-8; the header's byte-order mark is the three bytes EF BB BF;
//   - the rating and the creation date follow the main description as descriptions of their
//     own ("MicrosoftPhoto:Rating" with the number, "xmp:Rating" with 0 to 5 stars;
//     "xmp:CreateDate" in local time with milliseconds and no zone designator);
//   - 2,049 characters of padding (a line break every hundred) let editors grow the packet in
//     place, and the "w" trailer marks it writable.
//
// Every step returns 0 on success and 1 on failure; GetError tells which XmpError stopped it.
// A failed packet has no chunks. Store entries the packet does not carry are kept as non-XMP
// entries, as text, for hosts that embed them by other means.
//
// Copies share the store and the temporary file; the file is removed when the last object
// that shares it is destroyed or builds a new packet. Not thread-safe.
#ifndef TLVUTL_XMP_H
#define TLVUTL_XMP_H

#include <tlvutl/cstring.h>
#include <tlvutl/export.h>
#include <tlvutl/property_store.h>
#include <tlvutl/wintypes.h>

#include <memory>
#include <string_view>
#include <utility>
#include <vector>

// Why WXmpDoc's last step failed; XMP_ERROR_NONE while none did.
enum XmpError {
    XMP_ERROR_NONE = 0,
    XMP_ERROR_NO_STORE = 1,    // constructed without a property store
    XMP_ERROR_TEMP_FILE = 2,   // the temporary file could not be created or opened
    XMP_ERROR_WRITE = 3,       // writing the packet failed, or there was no file to write to
    XMP_ERROR_STORE = 4,       // the store failed, or gave a date that has no local time
    XMP_ERROR_TAG_NESTING = 5, // an end tag with no tag open
    XMP_ERROR_SIZE = 6,        // the packet could not be measured, or exceeds 4 GiB
};

// One chunk of a packet: its size and its offset from the packet's first byte.
struct XmpChunkEntry {
    DWORD size;   // bytes in the chunk, at most WXmpDoc::kMaxChunkSize
    DWORD offset; // from the packet's first byte
};

// Builds an XMP packet from a property store and hands it out in chunks: CreateFromPropertyStore,
// then GetNumberOfChunks and GetDataToVector for each chunk. See the header comment for the
// packet's bytes.
class TLVUTL_API WXmpDoc {
public:
    // Direct writes go to the file; deferred writes wait in the post tags, which are written
    // after the main description.
    enum WriteMode { WriteDirect = 0, WriteDeferred = 1 };
    // The largest chunk, in bytes.
    static constexpr int kMaxChunkSize = 2000;

    // A writer over store (which may be null: building then fails with XMP_ERROR_NO_STORE).
    explicit WXmpDoc(std::shared_ptr<IPropertyStore> store);
    // Copies share the store and the packet's temporary file.
    // @{
    WXmpDoc(const WXmpDoc& other);
    WXmpDoc& operator=(const WXmpDoc& other);
    // @}
    virtual ~WXmpDoc();

    // Builds the packet: 0 on success, 1 on failure (also at once without a store).
    int CreateFromPropertyStore();
    // Number of chunks of the packet built; 0 before a build and after a failed one.
    int GetNumberOfChunks() const;
    // 0 outside 0 to GetNumberOfChunks() - 1.
    int GetChunkSize(int chunk) const;
    // Fills data with the chunk's bytes and returns their number; -1 when there are no chunks,
    // the index is out of range, or the file cannot be positioned or read.
    long GetDataToVector(std::vector<char>& data, int chunk);
    // Size of the whole packet in bytes.
    ULONGLONG GetDataSize() const;
    // The XmpError of the last failed step, XMP_ERROR_NONE when none failed.
    int GetError() const;

    // The index of the key among the non-XMP entries, or -1.
    int IsNonXMPInfoPresent(PROPERTYKEY key);
    // The entry's text (strings as they are, lists joined with "; ", numbers in decimal, file
    // times as local "YYYY-MM-DDThh:mm:ss.fff"), padded with spaces to at least 5 characters so
    // an image writer always stores it outside its directory entry; empty when out of range.
    CString GetNonXMPTagDataToString(int index);
    // The size of that text in UTF-8 bytes; 0 when out of range.
    ULONGLONG GetNonXMPTagSize(int index);

private:
    friend struct XmpDocTestPeer;
    struct TempFile;

    int CreateAndOpenTempFile();
    int AddHeader();
    int PushAttribute(const CString& name, const CString& value);
    int StartTag(const CString& name);
    int WriteTag(const CString& name, const CString& value);
    int WriteTagValue(const CString& value);
    int EndLastTag();
    int WritePropertyStoreTags();
    int WritePostTagsIfAny();
    int AddPaddingData();
    int AddTrailer();
    int SetUpChunks();
    int WriteData(const CString& text);
    // Bytes that must reach the file as they are, whatever the text conversion.
    int WriteBytes(std::string_view bytes);
    WriteMode SetWriteMode(WriteMode mode);
    WriteMode GetWriteMode() const;
    int GetChunkOffset(int chunk) const;
    CString GetFormattedString(int value, int width) const;
    void PadExtraBytesIfNecessary(CString& text) const;
    void CloseTempFile();
    CString GetFileName() const;
    void SetError(int error);

    // The shapes of the property tags.
    int WriteAltText(const CString& name, const CString& value);
    int WriteList(const CString& name, const CString& container,
                  const std::vector<std::wstring>& items);
    int WriteRating(int rating);
    int WriteCreateDate(const FILETIME& time);
    bool LocalDateText(const FILETIME& time, CString& text) const;
    // The store's value for key; 1 (with the error set) when the store fails.
    int ReadValue(REFPROPERTYKEY key, PropVariant& value);
    int CollectNonXmpEntries();
    void ResetPacketState();

    std::shared_ptr<IPropertyStore> store_;
    std::shared_ptr<TempFile> file_;
    int error_ = XMP_ERROR_NONE;
    int chunksReady_ = 0;
    ULONGLONG dataSize_ = 0;
    WriteMode writeMode_ = WriteDirect;
    int chunkCount_ = 0;
    std::vector<std::pair<CString, CString>> attributes_;
    std::vector<CString> openTags_;
    std::vector<CString> postTags_;
    std::vector<std::pair<PROPERTYKEY, PropVariant>> nonXmp_;
    std::vector<XmpChunkEntry> chunks_;
};

#endif
