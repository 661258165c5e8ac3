// XPath selection for one document: a reusable evaluation context and a cache of compiled
// expressions, so that repeated selections cost what the evaluation itself costs.
#ifndef TLVUTL_XML_SELECTION_H
#define TLVUTL_XML_SELECTION_H

#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace TlvUtl::xml_detail {

class Selection {
public:
    Selection() = default;
    ~Selection();
    Selection(const Selection&) = delete;
    Selection& operator=(const Selection&) = delete;

    // The nodes path selects from context, in document order (only the first when
    // firstOnly). Throws ComError(E_FAIL) with the parser's message for a path that is not
    // XPath or does not give nodes.
    void Select(xmlNodePtr context, const std::string& path, bool firstOnly,
                std::vector<xmlNodePtr>& out);
    // Replaces the prefixes paths may use.
    void SetNamespaces(std::vector<std::pair<std::string, std::string>> prefixToUri);

private:
    xmlXPathContextPtr Context();
    xmlXPathCompExprPtr Compile(const std::string& path);

    xmlXPathContextPtr ctx_ = nullptr;
    std::unordered_map<std::string, xmlXPathCompExprPtr> compiled_;
    std::vector<std::pair<std::string, std::string>> namespaces_;
};

// Parses "xmlns:a='uri' xmlns:b=\"uri\"" into pairs; false when the text is not a list of
// such declarations.
bool ParseNamespaceDeclarations(const std::string& text,
                                std::vector<std::pair<std::string, std::string>>& out);

} // namespace TlvUtl::xml_detail

#endif
