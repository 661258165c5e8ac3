#include "tree_edit.h"

#include "xml_runtime.h"

#include <tlvutl/wintypes.h>

#include <cstdio>
#include <cstring>

namespace TlvUtl::xml_detail {
namespace {

bool IsXmlChar(std::uint32_t c) {
    return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
           (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

void CheckQName(const std::string& qname, const char* what) {
    if (qname.empty() || xmlValidateQName(BAD_CAST qname.c_str(), 0) != 0)
        ThrowComError(E_INVALIDARG, "'" + qname + "' is not a valid XML " + what + " name");
}

// Splits "p:name"; prefix is empty without a colon.
void SplitQName(const std::string& qname, std::string& prefix, std::string& local) {
    const std::size_t colon = qname.find(':');
    if (colon == std::string::npos) {
        prefix.clear();
        local = qname;
    } else {
        prefix = qname.substr(0, colon);
        local = qname.substr(colon + 1);
    }
}

constexpr int kMaxCopyDepth = 4096;

bool IsAncestorOrSelf(xmlNodePtr candidate, xmlNodePtr node) {
    for (xmlNodePtr n = node; n; n = n->parent)
        if (n == candidate)
            return true;
    return false;
}

void Link(xmlNodePtr parent, xmlNodePtr child, xmlNodePtr before) {
    child->parent = parent;
    if (before) {
        child->next = before;
        child->prev = before->prev;
        if (before->prev)
            before->prev->next = child;
        else
            parent->children = child;
        before->prev = child;
    } else {
        child->next = nullptr;
        child->prev = parent->last;
        if (parent->last)
            parent->last->next = child;
        else
            parent->children = child;
        parent->last = child;
    }
}

void RemoveChildren(DocState& owner, xmlNodePtr node) {
    while (xmlNodePtr c = node->children)
        owner.Detach(c);
}

} // namespace

void CheckXmlText(std::wstring_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::uint32_t ch = static_cast<std::uint32_t>(text[i]);
        // Where wchar_t is 16-bit a character beyond the first plane is a surrogate pair;
        // a lone surrogate is no character at all.
        if constexpr (sizeof(wchar_t) == 2) {
            if (ch >= 0xD800 && ch <= 0xDBFF && i + 1 < text.size()) {
                const auto low = static_cast<std::uint32_t>(text[i + 1]);
                if (low >= 0xDC00 && low <= 0xDFFF) {
                    ch = 0x10000 + ((ch - 0xD800) << 10) + (low - 0xDC00);
                    ++i;
                }
            }
        }
        if (!IsXmlChar(ch)) {
            char code[16];
            std::snprintf(code, sizeof code, "U+%04X", static_cast<unsigned>(ch));
            ThrowComError(E_INVALIDARG,
                          std::string("the character ") + code + " cannot be stored in XML");
        }
    }
}

xmlNodePtr NewElement(xmlDocPtr doc, xmlNodePtr scope, const std::string& qname) {
    CheckQName(qname, "element");
    std::string prefix, local;
    SplitQName(qname, prefix, local);
    xmlNsPtr ns = nullptr;
    if (!prefix.empty() && scope)
        ns = xmlSearchNs(doc, scope, BAD_CAST prefix.c_str());
    xmlNodePtr n = ns ? xmlNewDocNode(doc, ns, BAD_CAST local.c_str(), nullptr)
                      : xmlNewDocNode(doc, nullptr, BAD_CAST qname.c_str(), nullptr);
    if (!n)
        ThrowComError(E_OUTOFMEMORY, "cannot create the element '" + qname + "'");
    return n;
}

void InsertChild(DocState& owner, xmlNodePtr parent, xmlNodePtr child, xmlNodePtr before) {
    const bool toDocument = parent->type == XML_DOCUMENT_NODE;
    if (parent->type != XML_ELEMENT_NODE && !toDocument)
        ThrowComError(E_FAIL, "this kind of node cannot have children");
    switch (child->type) {
    case XML_ELEMENT_NODE:
    case XML_COMMENT_NODE:
    case XML_PI_NODE:
        break;
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_ENTITY_REF_NODE:
        if (!toDocument)
            break;
        [[fallthrough]];
    default:
        ThrowComError(E_FAIL, "this kind of node cannot be inserted here");
    }
    if (before && before->parent != parent)
        ThrowComError(E_INVALIDARG, "the reference node is not a child of this node");
    if (IsAncestorOrSelf(child, parent))
        ThrowComError(E_FAIL, "a node cannot be inserted under itself or its descendants");
    if (toDocument && child->type == XML_ELEMENT_NODE) {
        xmlNodePtr root = xmlDocGetRootElement(reinterpret_cast<xmlDocPtr>(parent));
        if (root && root != child)
            ThrowComError(E_FAIL, "only one top level element is allowed in an XML document");
    }
    if (before == child)
        return;
    owner.TakeForInsertion(child);
    Link(parent, child, before);
}

xmlAttrPtr FindAttribute(xmlNodePtr element, const std::string& qname) {
    if (!element || element->type != XML_ELEMENT_NODE)
        return nullptr;
    // The common case, on every typed read: a name without a prefix (or an attribute made
    // with a colon in its plain name).
    const char* wanted = qname.c_str();
    for (xmlAttrPtr a = element->properties; a; a = a->next) {
        const char* name = reinterpret_cast<const char*>(a->name);
        if (name[0] == wanted[0] && std::strcmp(name, wanted) == 0 && !(a->ns && a->ns->prefix))
            return a;
    }
    const std::size_t colon = qname.find(':');
    if (colon == std::string::npos)
        return nullptr;
    const char* local = wanted + colon + 1;
    for (xmlAttrPtr a = element->properties; a; a = a->next) {
        if (!a->ns || !a->ns->prefix)
            continue;
        const char* prefix = reinterpret_cast<const char*>(a->ns->prefix);
        if (std::strlen(prefix) == colon && qname.compare(0, colon, prefix) == 0 &&
            std::strcmp(reinterpret_cast<const char*>(a->name), local) == 0)
            return a;
    }
    return nullptr;
}

xmlAttrPtr SetAttribute(xmlNodePtr element, const std::string& qname, const std::string& value) {
    if (xmlAttrPtr a = FindAttribute(element, qname)) {
        if (!xmlSetNsProp(element, a->ns, a->name, BAD_CAST value.c_str()))
            ThrowComError(E_OUTOFMEMORY, "cannot set the attribute '" + qname + "'");
        return a;
    }
    CheckQName(qname, "attribute");
    std::string prefix, local;
    SplitQName(qname, prefix, local);
    if (prefix == "xmlns" || qname == "xmlns")
        ThrowComError(E_INVALIDARG, "'" + qname + "' is a namespace declaration, not an attribute");
    xmlNsPtr ns = nullptr;
    if (!prefix.empty())
        ns = xmlSearchNs(element->doc, element, BAD_CAST prefix.c_str());
    xmlAttrPtr a = ns ? xmlNewNsProp(element, ns, BAD_CAST local.c_str(), BAD_CAST value.c_str())
                      : xmlNewProp(element, BAD_CAST qname.c_str(), BAD_CAST value.c_str());
    if (!a)
        ThrowComError(E_OUTOFMEMORY, "cannot create the attribute '" + qname + "'");
    return a;
}

const xmlChar* DirectText(xmlNodePtr node) {
    switch (node->type) {
    case XML_ATTRIBUTE_NODE:
    case XML_ELEMENT_NODE:
        if (!node->children)
            return BAD_CAST "";
        if (!node->children->next && node->children->type == XML_TEXT_NODE &&
            node->children->content)
            return node->children->content;
        return nullptr;
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_COMMENT_NODE:
    case XML_PI_NODE:
        return node->content ? node->content : BAD_CAST "";
    default:
        return nullptr;
    }
}

std::string NodeText(xmlNodePtr node) {
    if (const xmlChar* direct = DirectText(node))
        return reinterpret_cast<const char*>(direct);
    xmlChar* content = xmlNodeGetContent(node);
    std::string text = content ? reinterpret_cast<const char*>(content) : "";
    xmlFree(content);
    return text;
}

void SetNodeText(DocState& owner, xmlNodePtr node, const std::string& text) {
    switch (node->type) {
    case XML_ELEMENT_NODE: {
        RemoveChildren(owner, node);
        if (text.empty())
            return;
        xmlNodePtr t =
            xmlNewDocTextLen(node->doc, BAD_CAST text.data(), static_cast<int>(text.size()));
        if (!t)
            ThrowComError(E_OUTOFMEMORY, "cannot create a text node");
        Link(node, t, nullptr);
        return;
    }
    case XML_ATTRIBUTE_NODE: {
        auto* a = reinterpret_cast<xmlAttrPtr>(node);
        if (a->parent) {
            if (!xmlSetNsProp(a->parent, a->ns, a->name, BAD_CAST text.c_str()))
                ThrowComError(E_OUTOFMEMORY, "cannot set an attribute value");
            return;
        }
        // A detached attribute: its text children are never handed out, so replace them.
        xmlFreeNodeList(a->children);
        a->children = a->last = nullptr;
        if (!text.empty()) {
            xmlNodePtr t = xmlNewDocText(a->doc, BAD_CAST text.c_str());
            if (!t)
                ThrowComError(E_OUTOFMEMORY, "cannot create a text node");
            Link(node, t, nullptr);
        }
        return;
    }
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_COMMENT_NODE:
    case XML_PI_NODE:
        xmlNodeSetContent(node, BAD_CAST text.c_str());
        return;
    default:
        ThrowComError(E_FAIL, "the text of this kind of node cannot be set");
    }
}

void CheckCopyDepth(xmlNodePtr root) {
    int depth = 0;
    xmlNodePtr n = root;
    for (;;) {
        if (n->children && n->type != XML_ENTITY_REF_NODE && n->type != XML_ATTRIBUTE_NODE) {
            n = n->children;
            if (++depth > kMaxCopyDepth)
                ThrowComError(E_FAIL, "the tree is deeper than " + std::to_string(kMaxCopyDepth) +
                                          " levels and cannot be copied");
            continue;
        }
        while (n != root && !n->next) {
            n = n->parent;
            --depth;
        }
        if (n == root)
            return;
        n = n->next;
    }
}

std::string NodeName(xmlNodePtr node) {
    auto qualified = [](const xmlNsPtr ns, const xmlChar* name) {
        std::string n = name ? reinterpret_cast<const char*>(name) : "";
        if (ns && ns->prefix)
            n = std::string(reinterpret_cast<const char*>(ns->prefix)) + ":" + n;
        return n;
    };
    switch (node->type) {
    case XML_ELEMENT_NODE:
        return qualified(node->ns, node->name);
    case XML_ATTRIBUTE_NODE:
        return qualified(node->ns, node->name);
    case XML_TEXT_NODE:
        return "#text";
    case XML_CDATA_SECTION_NODE:
        return "#cdata-section";
    case XML_COMMENT_NODE:
        return "#comment";
    case XML_DOCUMENT_NODE:
    case XML_HTML_DOCUMENT_NODE:
        return "#document";
    case XML_DOCUMENT_FRAG_NODE:
        return "#document-fragment";
    default:
        return node->name ? reinterpret_cast<const char*>(node->name) : "";
    }
}

} // namespace TlvUtl::xml_detail
