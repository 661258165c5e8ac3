#include "doc_state.h"

#include "xml_runtime.h"

#include <cstdint>

namespace TlvUtl::xml_detail {
namespace {

// References are counted on the libxml2 node itself (its _private field, which libxml2 and
// libxslt leave to the application), so taking a handle costs no lookup. Document nodes are
// never counted: they live as long as their DocState.
bool Counted(xmlNodePtr n) {
    return n->type != XML_DOCUMENT_NODE && n->type != XML_HTML_DOCUMENT_NODE;
}

std::uintptr_t Count(xmlNodePtr n) {
    return reinterpret_cast<std::uintptr_t>(n->_private);
}

bool HasCountedAttributes(xmlNodePtr n) {
    if (n->type != XML_ELEMENT_NODE)
        return false;
    for (xmlAttrPtr a = n->properties; a; a = a->next)
        if (a->_private)
            return true;
    return false;
}

// Entity references point at content that belongs to the entity, not to this subtree.
bool Descends(xmlNodePtr n) {
    return n->children && n->type != XML_ENTITY_REF_NODE && n->type != XML_ATTRIBUTE_NODE;
}

void FreeSubtree(xmlNodePtr root) {
    if (root->type == XML_ATTRIBUTE_NODE)
        xmlFreeProp(reinterpret_cast<xmlAttrPtr>(root));
    else
        xmlFreeNode(root);
}

xmlNodePtr TopOf(xmlNodePtr n) {
    while (n->parent)
        n = n->parent;
    return n;
}

} // namespace

void AddReference(xmlNodePtr node) {
    if (Counted(node))
        node->_private = reinterpret_cast<void*>(Count(node) + 1);
}

bool DropReference(xmlNodePtr node) {
    if (!Counted(node))
        return false;
    const std::uintptr_t c = Count(node) - 1;
    node->_private = reinterpret_cast<void*>(c);
    return c == 0;
}

bool IsReferenced(xmlNodePtr root) {
    // Iterative: programmatically built trees can be deeper than any stack.
    xmlNodePtr n = root;
    for (;;) {
        if (n->_private && Counted(n))
            return true;
        if (HasCountedAttributes(n))
            return true;
        if (Descends(n)) {
            n = n->children;
            continue;
        }
        while (n != root && !n->next)
            n = n->parent;
        if (n == root)
            return false;
        n = n->next;
    }
}

DocState::DocState(bool preserve) : preserveWhiteSpace(preserve) {}

DocState::~DocState() {
    // Detached nodes may use the dictionary of the document they came from: free them first.
    for (xmlNodePtr n : detached_)
        FreeSubtree(n);
    for (xmlDocPtr d : retired_)
        xmlFreeDoc(d);
    if (doc)
        xmlFreeDoc(doc);
}

void DocState::Detach(xmlNodePtr node) {
    xmlUnlinkNode(node);
    if (IsReferenced(node))
        detached_.insert(node);
    else
        FreeSubtree(node);
}

void DocState::AdoptDetached(xmlNodePtr root) {
    detached_.insert(root);
}

void DocState::TakeForInsertion(xmlNodePtr node) {
    if (!node->parent) {
        detached_.erase(node);
        return;
    }
    xmlNodePtr top = TopOf(node);
    xmlUnlinkNode(node);
    // Leaving a detached subtree may leave it without references.
    auto it = detached_.find(top);
    if (it != detached_.end() && !IsReferenced(top)) {
        detached_.erase(it);
        FreeSubtree(top);
    }
}

void DocState::ReleaseIfUnreferenced(xmlNodePtr node) {
    if (detached_.empty())
        return;
    xmlNodePtr top = TopOf(node);
    auto it = detached_.find(top);
    if (it == detached_.end() || IsReferenced(top))
        return;
    detached_.erase(it);
    FreeSubtree(top);
}

void DocState::ReplaceContent(xmlDocPtr content) {
    if (doc) {
        if (IsReferenced(reinterpret_cast<xmlNodePtr>(doc)))
            retired_.push_back(doc);
        else
            xmlFreeDoc(doc);
    }
    doc = content;
}

NodeRef::NodeRef(std::shared_ptr<DocState> o, xmlNodePtr n) : owner(std::move(o)), node(n) {
    AddReference(node);
}

NodeRef::~NodeRef() {
    if (DropReference(node))
        owner->ReleaseIfUnreferenced(node);
}

NodeListRef::NodeListRef(std::shared_ptr<DocState> o, std::vector<xmlNodePtr> n)
    : owner(std::move(o)), nodes(std::move(n)) {
    for (xmlNodePtr node : nodes)
        AddReference(node);
}

NodeListRef::~NodeListRef() {
    for (xmlNodePtr node : nodes)
        if (DropReference(node))
            owner->ReleaseIfUnreferenced(node);
}

WXmlNode MakeNode(const std::shared_ptr<DocState>& owner, xmlNodePtr node) {
    if (!node)
        return WXmlNode();
    return WXmlNode(std::make_shared<NodeRef>(owner, node));
}

NodeRef& Checked(const WXmlNodePtr& node) {
    if (!node)
        ThrowEmptyNode();
    return *node;
}

} // namespace TlvUtl::xml_detail
