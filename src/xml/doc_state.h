// The objects behind the handles: one DocState per parser document (what WXmlDoc copies
// share), one NodeRef per node handle, one NodeListRef per selection result.
//
// Lifetime rules. A NodeRef holds its DocState, so a node keeps its document alive. Every
// node that a handle or a list refers to carries a count of those references in libxml2's
// _private field. A subtree that is not attached to a document (made by CreateNode or Clone,
// or removed from the tree) is recorded as detached; it is freed as soon as no reference
// points into it, or with the DocState at the latest, and never twice. Content replaced by
// a transform is kept as a retired document until the DocState goes.
#ifndef TLVUTL_XML_DOC_STATE_H
#define TLVUTL_XML_DOC_STATE_H

#include "selection.h"

#include <tlvutl/xml.h>

#include <libxml/tree.h>

#include <memory>
#include <unordered_set>
#include <vector>

namespace TlvUtl::xml_detail {

struct DocState {
    explicit DocState(bool preserveWhiteSpace);
    ~DocState();
    DocState(const DocState&) = delete;
    DocState& operator=(const DocState&) = delete;

    // Takes a node out of the tree: freed now when nothing refers into it, else recorded.
    void Detach(xmlNodePtr node);
    // Records a subtree that was never attached (new or copied).
    void AdoptDetached(xmlNodePtr root);
    // Takes node out of wherever it is (the tree, or a detached subtree) because it is about
    // to be inserted somewhere: from now on its new parent owns it.
    void TakeForInsertion(xmlNodePtr node);
    // The last reference to node went away: free its detached subtree if that was the last
    // reference into it.
    void ReleaseIfUnreferenced(xmlNodePtr node);
    // Swaps in new content; the old one is freed or, while referenced, retired.
    void ReplaceContent(xmlDocPtr content);

    xmlDocPtr doc = nullptr;
    bool preserveWhiteSpace;
    // How the loaded text was written, kept when white space is preserved so that saving an
    // unchanged part writes it back as it was.
    bool declaration = true;
    bool finalNewline = true;
    Selection selection;

private:
    std::unordered_set<xmlNodePtr> detached_;
    std::vector<xmlDocPtr> retired_;
};

// Whether any node of the subtree (attributes included) is referenced by a handle.
bool IsReferenced(xmlNodePtr root);
void AddReference(xmlNodePtr node);
// True when that was the last reference.
bool DropReference(xmlNodePtr node);

struct NodeRef {
    NodeRef(std::shared_ptr<DocState> owner, xmlNodePtr node);
    ~NodeRef();
    NodeRef(const NodeRef&) = delete;
    NodeRef& operator=(const NodeRef&) = delete;

    std::shared_ptr<DocState> owner;
    xmlNodePtr node;
};

struct NodeListRef {
    NodeListRef(std::shared_ptr<DocState> owner, std::vector<xmlNodePtr> nodes);
    ~NodeListRef();
    NodeListRef(const NodeListRef&) = delete;
    NodeListRef& operator=(const NodeListRef&) = delete;

    std::shared_ptr<DocState> owner;
    std::vector<xmlNodePtr> nodes;
};

// Makes the next document creation fail with hr, as a missing parser would (for tests).
void FailNextDocumentCreation(HRESULT hr);

WXmlNode MakeNode(const std::shared_ptr<DocState>& owner, xmlNodePtr node);
// The node behind a handle; throws ComError(E_POINTER) for an empty one.
NodeRef& Checked(const WXmlNodePtr& node);

} // namespace TlvUtl::xml_detail

#endif
