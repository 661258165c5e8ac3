// Parsing text into a libxml2 document the one way the library allows: no network, no DTD
// (a document that declares one is refused, as the Windows parser refuses it by default, so
// entity expansion can never run away), the library's own limits checked on the bytes
// before libxml2 reads them, and errors kept out of the process's error stream.
//
// The limits are generous for settings files and stop hostile ones early: libxml2 checks
// duplicate attributes of an element pairwise, so 200,000 attributes would take minutes
// where counting them takes a millisecond.
#ifndef TLVUTL_XML_PARSER_H
#define TLVUTL_XML_PARSER_H

#include <libxml/tree.h>

#include <cstddef>
#include <string>

namespace TlvUtl::xml_detail {

inline constexpr std::size_t kMaxDocumentBytes = std::size_t{128} << 20;
inline constexpr std::size_t kMaxAttributesPerElement = 10000;
// Characters of one text run, attribute value, comment, CDATA section or processing
// instruction (bytes in 8-bit encodings, UTF-16 units in UTF-16 files).
inline constexpr std::size_t kMaxTextLength = std::size_t{4} << 20;
// Elements open at once.
inline constexpr int kMaxDepth = 256;

// Checks bytes against the limits above in one pass; false with error set to a sentence
// for a user.
bool WithinLimits(const char* bytes, std::size_t size, std::string& error);

struct ParseRequest {
    const char* bytes = nullptr;
    std::size_t size = 0;
    const char* url = nullptr;      // base of relative references, or null
    const char* encoding = nullptr; // forces the encoding, or null to detect it
    bool keepBlanks = false;        // keep white-space-only text between elements
    xmlDict* dict = nullptr;        // names are interned here (libxslt's documents), or null
    int extraOptions = 0;           // further XML_PARSE_ options that add no power
};

// The document (with a document element), or null with error set to the parser's message.
xmlDocPtr ParseXml(const ParseRequest& request, std::string& error);

} // namespace TlvUtl::xml_detail

#endif
