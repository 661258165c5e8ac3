// Changes to the tree made the way the library's handles need them: nodes are linked and
// unlinked without libxml2's merging of adjacent text nodes (which would free a node a
// handle may hold), replaced content goes through DocState::Detach, and names and text are
// checked first so that nothing is stored that would not read back as XML.
#ifndef TLVUTL_XML_TREE_EDIT_H
#define TLVUTL_XML_TREE_EDIT_H

#include "doc_state.h"

#include <libxml/tree.h>

#include <string>
#include <string_view>

namespace TlvUtl::xml_detail {

// Throws ComError(E_INVALIDARG) unless every character may appear in an XML document.
void CheckXmlText(std::wstring_view text);

// Creates an unattached element of doc (namespace prefix resolved against scope, if given).
xmlNodePtr NewElement(xmlDocPtr doc, xmlNodePtr scope, const std::string& qname);

// Inserts child into parent before `before` (null: at the end). Child must belong to
// parent's document; it is taken from wherever it was.
void InsertChild(DocState& owner, xmlNodePtr parent, xmlNodePtr child, xmlNodePtr before);

// The attribute of element with that qualified name ("p:name" or "name"), or null.
xmlAttrPtr FindAttribute(xmlNodePtr element, const std::string& qname);
// Sets (creating if needed) the attribute; returns it.
xmlAttrPtr SetAttribute(xmlNodePtr element, const std::string& qname, const std::string& value);

// The text of a node: an element's text content, an attribute's value, a text node's text.
std::string NodeText(xmlNodePtr node);
// Fast path for the value accessor: the text without a copy when it is one stored string.
const xmlChar* DirectText(xmlNodePtr node);
void SetNodeText(DocState& owner, xmlNodePtr node, const std::string& text);

// libxml2 copies and transforms trees recursively. Trees built by code can be far deeper than
// any parsed document (the parser stops at 256 levels); before such an operation this throws
// ComError(E_FAIL) when the subtree is deeper than the stack can be trusted with.
void CheckCopyDepth(xmlNodePtr root);

// The DOM name of a node ("#text", "p:name", ...).
std::string NodeName(xmlNodePtr node);

} // namespace TlvUtl::xml_detail

#endif
