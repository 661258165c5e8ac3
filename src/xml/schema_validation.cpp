// WXmlDoc::Validate: XSD validation through libxml2. The schema file is parsed as every
// document is (no network, no DTD); its includes, imports and redefines may name only local
// files in the schema's folder or below, parsed the same way (LoadPolicy).
#include "doc_state.h"
#include "parser.h"
#include "xml_runtime.h"

#include "platform/file_system.h"

#include <tlvutl/encoding.h>

#include <libxml/xmlschemas.h>

using namespace TlvUtl::xml_detail;

namespace {

void KeepFirst(void* into, xmlErrorPtr error) {
    auto* message = static_cast<std::string*>(into);
    if (message->empty())
        *message = DescribeXmlError(error);
}

} // namespace

bool WXmlDoc::Validate(const wchar_t* schemaPath) {
    ClearLastXmlError();
    if (!doc_ || !doc_->doc)
        ThrowNoDocument();
    if (!schemaPath)
        return false;
    std::string bytes, error;
    if (const std::error_code ec = tlv::platform::ReadWholeFile(schemaPath, bytes)) {
        SetLastXmlError("cannot read " + TlvUtils::ToUtf8(schemaPath) + ": " +
                        tlv::platform::Describe(ec, schemaPath));
        return false;
    }
    const std::string url = ToXml(schemaPath);
    ParseRequest request;
    request.bytes = bytes.data();
    request.size = bytes.size();
    request.url = url.c_str();
    xmlDocPtr schemaDoc = ParseXml(request, error);
    if (!schemaDoc) {
        SetLastXmlError("the schema cannot be read: " + error);
        return false;
    }
    TakeDiagnostics();
    LoadPolicy policy({FolderOfDocument(schemaDoc)});
    std::string message;
    xmlSchemaPtr schema = nullptr;
    if (xmlSchemaParserCtxtPtr pctxt = xmlSchemaNewDocParserCtxt(schemaDoc)) {
        xmlSchemaSetParserStructuredErrors(pctxt, KeepFirst, &message);
        schema = xmlSchemaParse(pctxt);
        xmlSchemaFreeParserCtxt(pctxt);
    }
    if (!schema) {
        xmlFreeDoc(schemaDoc);
        const std::string refused = RefusedLoad();
        SetLastXmlError("the schema is not usable: " +
                        (refused.empty() ? message : refused + "; " + message));
        return false;
    }
    int result = -1;
    if (xmlSchemaValidCtxtPtr vctxt = xmlSchemaNewValidCtxt(schema)) {
        xmlSchemaSetValidStructuredErrors(vctxt, KeepFirst, &message);
        result = xmlSchemaValidateDoc(vctxt, doc_->doc);
        xmlSchemaFreeValidCtxt(vctxt);
    }
    xmlSchemaFree(schema);
    xmlFreeDoc(schemaDoc);
    TakeDiagnostics();
    if (result != 0) {
        SetLastXmlError(message.empty() ? "the document is not valid" : message);
        return false;
    }
    return true;
}
