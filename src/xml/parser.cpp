#include "parser.h"

#include "xml_runtime.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <climits>

namespace TlvUtl::xml_detail {
namespace {

struct ParseState {
    bool sawDtd = false;
};

void RefuseDtd(void* ctx, const xmlChar*, const xmlChar*, const xmlChar*) {
    auto* ctxt = static_cast<xmlParserCtxtPtr>(ctx);
    static_cast<ParseState*>(ctxt->_private)->sawDtd = true;
    xmlStopParser(ctxt);
}

} // namespace

xmlDocPtr ParseXml(const ParseRequest& request, std::string& error) {
    EnsureXmlRuntime();
    if (request.size > static_cast<std::size_t>(INT_MAX)) {
        error = "the document is larger than the parser accepts";
        return nullptr;
    }
    xmlParserCtxtPtr ctxt = xmlNewParserCtxt();
    if (!ctxt) {
        error = "out of memory";
        return nullptr;
    }
    ParseState state;
    ctxt->_private = &state;
    ctxt->sax->internalSubset = RefuseDtd;
    int options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
    if (!request.keepBlanks)
        options |= XML_PARSE_NOBLANKS;
    if (request.encoding)
        options |= XML_PARSE_IGNORE_ENC;
    LocalFilesOnly localOnly;
    xmlDocPtr doc =
        xmlCtxtReadMemory(ctxt, request.size ? request.bytes : "", static_cast<int>(request.size),
                          request.url, request.encoding, options);
    if (state.sawDtd) {
        error = "DTD is prohibited";
    } else if (!doc) {
        error = DescribeXmlError(xmlCtxtGetLastError(ctxt));
    } else if (!xmlDocGetRootElement(doc)) {
        error = "the document has no document element";
    } else {
        xmlFreeParserCtxt(ctxt);
        return doc;
    }
    xmlFreeDoc(doc);
    xmlFreeParserCtxt(ctxt);
    return nullptr;
}

} // namespace TlvUtl::xml_detail
