// Text of documents and nodes in UTF-8, as files, streams and the xml property see it.
#ifndef TLVUTL_XML_SERIALIZER_H
#define TLVUTL_XML_SERIALIZER_H

#include <libxml/tree.h>

#include <string>

namespace TlvUtl::xml_detail {

// The file form: an XML declaration naming UTF-8 (unless declaration is false), indented
// when indent is set. False (and the thread's last error set) when libxml2 fails.
bool SerializeDocument(xmlDocPtr doc, bool indent, std::string& out, bool declaration = true);
// The xml property: compact; a document starts with "<?xml version="1.0"?>" and a newline,
// an attribute reads name="value".
std::string SerializeNode(xmlNodePtr node);

} // namespace TlvUtl::xml_detail

#endif
