// Conversions between the library's wide text (wchar_t) and the byte encodings that files
// and stores fix: UTF-8 and UTF-16LE.
//
// Malformed input never fails: invalid UTF-8 sequences and unpaired UTF-16 surrogates
// become U+FFFD, so a damaged file still reads as text.
#ifndef TLVUTL_ENCODING_H
#define TLVUTL_ENCODING_H

#include <tlvutl/export.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace TlvUtils {

// UTF-8 bytes of text; unpaired surrogates become U+FFFD.
TLVUTL_API std::string ToUtf8(std::wstring_view text);
// Text of UTF-8 bytes; invalid sequences become U+FFFD.
TLVUTL_API std::wstring FromUtf8(std::string_view bytes);
// WTF-8: UTF-8 that also carries lone surrogates (as three-byte sequences), so any wchar_t
// text comes back exactly; for stores that must return the names they were given.
TLVUTL_API std::string ToWtf8(std::wstring_view text);
// Text of WTF-8 bytes, the inverse of ToWtf8; invalid sequences become U+FFFD.
TLVUTL_API std::wstring FromWtf8(std::string_view bytes);
// UTF-16LE bytes, no byte-order mark and no terminator.
TLVUTL_API std::string ToUtf16LE(std::wstring_view text);
// Reads size/2 code units; an odd trailing byte is ignored.
TLVUTL_API std::wstring FromUtf16LE(const void* bytes, std::size_t size);

} // namespace TlvUtils

#endif
