// The direct evaluator of simple child paths must select exactly what libxml2's XPath
// engine selects, on any document: checked here against the engine itself.
#include "xml/simple_path.h"

#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

using TlvUtl::xml_detail::SimplePath;

std::vector<xmlNodePtr> ByXPath(xmlDocPtr doc, xmlNodePtr context, const std::string& path) {
    xmlXPathContextPtr ctx = xmlXPathNewContext(doc);
    ctx->node = context;
    xmlXPathObjectPtr r = xmlXPathEvalExpression(BAD_CAST path.c_str(), ctx);
    std::vector<xmlNodePtr> nodes;
    if (r && r->nodesetval)
        nodes.assign(r->nodesetval->nodeTab, r->nodesetval->nodeTab + r->nodesetval->nodeNr);
    xmlXPathFreeObject(r);
    xmlXPathFreeContext(ctx);
    return nodes;
}

std::string RandomElement(std::mt19937& rng, int depth) {
    static const char* names[] = {"a", "b", "c", "p:a"};
    static const char* attrs[] = {"",         " id=\"1\"",   " id=\"2\"", " id=\"x y\"",
                                  " k=\"1\"", " p:id=\"1\"", " id=\"\"",  " id=\"1\" k=\"2\""};
    const std::string name = names[rng() % 4];
    std::string s = "<" + name + attrs[rng() % 8];
    const int children = depth > 0 ? static_cast<int>(rng() % 4) : 0;
    if (children == 0)
        return s + "/>";
    s += ">";
    for (int i = 0; i < children; ++i) {
        if (rng() % 5 == 0)
            s += "text";
        s += RandomElement(rng, depth - 1);
    }
    return s + "</" + name + ">";
}

std::string RandomPath(std::mt19937& rng) {
    static const char* names[] = {"a", "b", "c", "d"};
    static const char* filters[] = {"",          "[1]",         "[2]",         "[0]",
                                    "[@id='1']", "[@id=\"2\"]", "[@id='x y']", "[@k='2']",
                                    "[@id='']",  "[3]",         "[@zz='1']"};
    std::string p;
    const int steps = 1 + static_cast<int>(rng() % 3);
    for (int s = 0; s < steps; ++s) {
        if (s)
            p += "/";
        p += names[rng() % 4];
        const int n = static_cast<int>(rng() % 3);
        for (int f = 0; f < n; ++f)
            p += filters[rng() % 11];
    }
    return p;
}

TEST(SimplePath, TakesOnlyTheSimpleKind) {
    SimplePath p;
    for (const char* yes : {"a", "a/b", "item[@id='7']", "x[2][@k=\"v w\"]/y", "a-b.c_d[10]"})
        EXPECT_TRUE(p.Parse(yes)) << yes;
    // Absolute paths, empty steps, wildcards, axes, unions and functions.
    for (const char* no :
         {"", "/a", "a/", "a//b", "*", "text()", ".", "..", "@id", "a|b", "a[last()]"})
        EXPECT_FALSE(p.Parse(no)) << no;
    // Filters outside the one form, prefixes, and names that are not plain ASCII.
    for (const char* no : {"a[ @k='1']", "a[@k = '1']", "p:a", "a[@p:k='1']", "a[@k='1'", "a[@k=1]",
                           "a[1234567890]", "a[01x]", "\xC3\xA9"})
        EXPECT_FALSE(p.Parse(no)) << no;
}

TEST(SimplePath, SelectsWhatXPathSelects) {
    std::mt19937 rng(2024);
    for (int round = 0; round < 400; ++round) {
        const std::string text =
            "<r xmlns:p=\"urn:p\">" + RandomElement(rng, 3) + RandomElement(rng, 3) + "</r>";
        xmlDocPtr doc = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                      XML_PARSE_NOBLANKS);
        ASSERT_NE(doc, nullptr) << text;
        xmlNodePtr contexts[] = {xmlDocGetRootElement(doc), reinterpret_cast<xmlNodePtr>(doc)};
        for (int q = 0; q < 30; ++q) {
            const std::string path = RandomPath(rng);
            SimplePath simple;
            ASSERT_TRUE(simple.Parse(path)) << path;
            for (xmlNodePtr context : contexts) {
                const std::vector<xmlNodePtr> expected = ByXPath(doc, context, path);
                std::vector<xmlNodePtr> all, first;
                simple.Select(context, false, all);
                simple.Select(context, true, first);
                ASSERT_EQ(all, expected) << path << " in " << text;
                ASSERT_EQ(first.size(), expected.empty() ? 0u : 1u);
                if (!expected.empty()) {
                    ASSERT_EQ(first[0], expected[0]) << path;
                }
            }
        }
        xmlFreeDoc(doc);
    }
}

} // namespace
