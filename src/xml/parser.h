// Parsing text into a libxml2 document the one way the library allows: no network, no DTD
// (a document that declares one is refused, as the Windows parser refuses it by default, so
// entity expansion can never run away), the parser's own limits on depth and size kept, and
// errors kept out of the process's error stream.
#ifndef TLVUTL_XML_PARSER_H
#define TLVUTL_XML_PARSER_H

#include <libxml/tree.h>

#include <cstddef>
#include <string>

namespace TlvUtl::xml_detail {

struct ParseRequest {
    const char* bytes = nullptr;
    std::size_t size = 0;
    const char* url = nullptr;      // base of relative references, or null
    const char* encoding = nullptr; // forces the encoding, or null to detect it
    bool keepBlanks = false;        // keep white-space-only text between elements
};

// The document (with a document element), or null with error set to the parser's message.
xmlDocPtr ParseXml(const ParseRequest& request, std::string& error);

} // namespace TlvUtl::xml_detail

#endif
