// Direct evaluation of the paths settings code uses most: child steps by name, each with
// optional "[@attribute='value']" and "[n]" filters ("paper[@name='A4']", "items/item[3]").
// The result is exactly what XPath 1.0 gives for them, found by walking the children instead
// of running the general engine, which spends most of its time allocating for each node it
// tests. Anything else (axes, functions, "*", prefixes, blanks, absolute paths) is left to
// libxml2.
#ifndef TLVUTL_XML_SIMPLE_PATH_H
#define TLVUTL_XML_SIMPLE_PATH_H

#include <libxml/tree.h>

#include <string>
#include <vector>

namespace TlvUtl::xml_detail {

class SimplePath {
public:
    // False when the path is not of the simple kind.
    bool Parse(const std::string& path);
    // The nodes selected from context (an element or a document), in document order.
    void Select(xmlNodePtr context, bool firstOnly, std::vector<xmlNodePtr>& out) const;

private:
    struct Filter {
        long position = 0; // 1-based; 0 for an attribute filter
        std::string attribute;
        std::string value;
    };
    struct Step {
        std::string name;
        std::vector<Filter> filters;
    };
    std::vector<Step> steps_;
};

} // namespace TlvUtl::xml_detail

#endif
