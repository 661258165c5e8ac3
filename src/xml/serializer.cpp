#include "serializer.h"

#include "xml_runtime.h"

#include <tlvutl/wintypes.h>

#include <libxml/xmlsave.h>

#include <memory>

namespace TlvUtl::xml_detail {
namespace {

struct BufferFree {
    void operator()(xmlBufferPtr b) const { xmlBufferFree(b); }
};
using Buffer = std::unique_ptr<xmlBuffer, BufferFree>;

// Saves through a save context into memory. The encoding is named so that characters
// beyond ASCII are written as UTF-8, not as character references.
bool Save(xmlNodePtr node, int options, std::string& out) {
    EnsureXmlRuntime(); // this thread's messages are kept too
    Buffer buffer(xmlBufferCreate());
    if (!buffer) {
        SetLastXmlError("out of memory");
        return false;
    }
    xmlSaveCtxtPtr ctxt = xmlSaveToBuffer(buffer.get(), "UTF-8", options);
    if (!ctxt) {
        SetLastXmlError("cannot create an XML writer");
        return false;
    }
    long written = node->type == XML_DOCUMENT_NODE
                       ? xmlSaveDoc(ctxt, reinterpret_cast<xmlDocPtr>(node))
                       : xmlSaveTree(ctxt, node);
    if (xmlSaveClose(ctxt) < 0 || written < 0) {
        SetLastXmlError("the XML writer failed");
        return false;
    }
    out.assign(reinterpret_cast<const char*>(xmlBufferContent(buffer.get())),
               static_cast<std::size_t>(xmlBufferLength(buffer.get())));
    return true;
}

} // namespace

bool SerializeDocument(xmlDocPtr doc, bool indent, std::string& out, bool declaration) {
    return Save(reinterpret_cast<xmlNodePtr>(doc),
                (indent ? XML_SAVE_FORMAT : 0) | (declaration ? 0 : XML_SAVE_NO_DECL), out);
}

std::string SerializeNode(xmlNodePtr node) {
    std::string out;
    if (node->type == XML_DOCUMENT_NODE) {
        if (!Save(node, XML_SAVE_NO_DECL, out))
            ThrowComError(E_FAIL, LastXmlError());
        return "<?xml version=\"1.0\"?>\n" + out;
    }
    if (!Save(node, XML_SAVE_NO_DECL, out))
        ThrowComError(E_FAIL, LastXmlError());
    if (node->type == XML_ATTRIBUTE_NODE && !out.empty() && out[0] == ' ')
        out.erase(0, 1);
    return out;
}

} // namespace TlvUtl::xml_detail
