// WXmlNode: selection from a node, and the changes to the tree made through nodes.
#include "doc_state.h"
#include "serializer.h"
#include "tree_edit.h"
#include "xml_runtime.h"

#include <tlvutl/com_error.h>

#include <cwchar>
#include <string>

using namespace TlvUtl::xml_detail;

namespace {

// "[n]" asks for n elements of a name; beyond this the path is taken as a mistake rather
// than a request to build a huge document.
constexpr long kMaxEnsuredPosition = 100000;

std::string PathText(const WXPath& path) {
    return ToXml(static_cast<const CString&>(path).view());
}

std::vector<xmlNodePtr> SelectFrom(NodeRef& ref, const WXPath& path, bool firstOnly) {
    std::vector<xmlNodePtr> nodes;
    ref.owner->selection.Select(ref.node, PathText(path), firstOnly, nodes);
    return nodes;
}

// The clause value of "@k='v'": from after the first apostrophe (or after "=" when there is
// none) up to the next space or apostrophe. A value holding a space is cut there.
std::wstring ClauseValue(const std::wstring& clause, std::size_t eq) {
    const std::size_t quote = clause.find(L'\'');
    const std::size_t start = quote == std::wstring::npos ? eq + 1 : quote + 1;
    const std::size_t end = clause.find_first_of(L" '", start);
    return clause.substr(start, end == std::wstring::npos ? std::wstring::npos : end - start);
}

// Refuses, before anything is created, a "[n]" that would build an absurd number of nodes.
void CheckPositions(const std::wstring& step, std::size_t open) {
    for (std::size_t o = open; o != std::wstring::npos;) {
        const std::size_t close = step.find(L']', o + 1);
        if (close == std::wstring::npos)
            return;
        const std::wstring clause = step.substr(o + 1, close - o - 1);
        if (clause.find(L'=') == std::wstring::npos) {
            const long wanted = std::wcstol(clause.c_str(), nullptr, 10);
            if (wanted > kMaxEnsuredPosition)
                ThrowComError(E_INVALIDARG, "position " + std::to_string(wanted) +
                                                " is beyond what a path may create");
        }
        o = step.find(L'[', close + 1);
    }
}

// Steps 4 to 6 of making a path exist: one step that selection did not find is created.
WXmlNode CreateStep(WXmlNode& parent, const std::wstring& step) {
    const std::size_t open = step.find(L'[');
    if (open != std::wstring::npos) {
        const std::wstring name = step.substr(0, open);
        CheckPositions(step, open);
        WXmlNode child = parent.CreateChild(name.c_str(), nullptr);
        for (std::size_t o = open; o != std::wstring::npos;) {
            const std::size_t close = step.find(L']', o + 1);
            if (close == std::wstring::npos)
                break;
            const std::wstring clause = step.substr(o + 1, close - o - 1);
            const std::size_t eq = clause.find(L'=');
            if (eq != std::wstring::npos) {
                const std::wstring selector = clause.substr(0, eq);
                child.Attribute(selector.c_str()).SetString(ClauseValue(clause, eq).c_str());
            } else {
                const long wanted = std::wcstol(clause.c_str(), nullptr, 10);
                int count = parent.GetNodes(WXPath(name.c_str())).Count();
                for (; count < wanted; ++count)
                    child = parent.CreateChild(name.c_str(), nullptr);
            }
            o = step.find(L'[', close + 1);
        }
        return child;
    }
    if (!step.empty() && step[0] == L'@') {
        parent.Attribute(step.c_str()).SetString(L"");
        return parent.GetNode(WXPath(step.c_str()));
    }
    return parent.CreateChild(step.c_str(), nullptr);
}

} // namespace

WXmlNode::WXmlNode() = default;
WXmlNode::WXmlNode(const WXmlNodePtr& node) : node_(node) {}
WXmlNode::WXmlNode(const WXmlNode& other) = default;
WXmlNode::WXmlNode(WXmlNode&& other) noexcept = default;
WXmlNode& WXmlNode::operator=(const WXmlNode& other) = default;
WXmlNode& WXmlNode::operator=(WXmlNode&& other) noexcept = default;
WXmlNode::~WXmlNode() = default;

void WXmlNode::swap(WXmlNode& other) noexcept {
    node_.swap(other.node_);
}

bool WXmlNode::operator==(const WXmlNode& other) const {
    return (node_ ? node_->node : nullptr) == (other.node_ ? other.node_->node : nullptr);
}

bool WXmlNode::IsValid() const {
    return node_ != nullptr;
}

CString WXmlNode::GetName() const {
    return FromXml(NodeName(Checked(node_).node));
}

CString WXmlNode::GetXML() const {
    return FromXml(SerializeNode(Checked(node_).node));
}

CString WXmlNode::SaveToString() const {
    return GetXML();
}

WXmlValueAccessor WXmlNode::Value() {
    return WXmlValueAccessor(node_, L".");
}

WXmlValueAccessor WXmlNode::Attribute(const wchar_t* selector) {
    return WXmlValueAccessor(node_, selector);
}

void WXmlNode::GetAttributes(std::vector<CString>& names) const {
    xmlNodePtr n = Checked(node_).node;
    names.clear();
    if (n->type != XML_ELEMENT_NODE)
        return;
    for (xmlAttrPtr a = n->properties; a; a = a->next)
        names.push_back(FromXml(NodeName(reinterpret_cast<xmlNodePtr>(a))));
}

void WXmlNode::CopyAttributeFrom(WXmlNode source, const wchar_t* from, const wchar_t* to) {
    const TlvUtils::optional<CString> value = source.Attribute(from).Get<CString>();
    if (value)
        Attribute(to).SetString(*value);
    else
        Attribute(to).Clear();
}

bool WXmlNode::GetNode(const WXPath& path, WXmlNode& node) const {
    NodeRef& ref = Checked(node_);
    const std::vector<xmlNodePtr> found = SelectFrom(ref, path, true);
    node = found.empty() ? WXmlNode() : MakeNode(ref.owner, found.front());
    return !found.empty();
}

WXmlNode WXmlNode::GetNode(const WXPath& path) {
    WXmlNode node;
    if (!GetNode(path, node))
        throw 0;
    return node;
}

WXmlNode WXmlNode::GetNodeNoThrow(const WXPath& path) {
    WXmlNode node;
    GetNode(path, node);
    return node;
}

bool WXmlNode::DoesNodeExist(const WXPath& path) const {
    return !SelectFrom(Checked(node_), path, true).empty();
}

bool WXmlNode::GetNodes(const WXPath& path, WXmlNodeList& list) const {
    NodeRef& ref = Checked(node_);
    list = WXmlNodeList(std::make_shared<NodeListRef>(ref.owner, SelectFrom(ref, path, false)));
    return list.Count() > 0;
}

WXmlNodeList WXmlNode::GetNodes(const WXPath& path) {
    WXmlNodeList list;
    GetNodes(path, list);
    return list;
}

WXmlNodeList WXmlNode::GetNodes(const WXPath& path, bool throwIfNone) {
    WXmlNodeList list;
    if (!GetNodes(path, list) && throwIfNone)
        throw 0;
    return list;
}

WXmlNode WXmlNode::EnsureDescendantExists(const WXPath& path) {
    // The definition recurses on the path's head and tail; heads are single steps, so the
    // walk down the path is a loop and a path of any length cannot exhaust the stack.
    WXmlNode current = *this;
    std::wstring rest = static_cast<const CString&>(path).str();
    for (;;) {
        WXmlNode found;
        if (current.GetNode(WXPath(rest.c_str()), found))
            return found;
        const std::size_t from = rest.compare(0, 2, L"//") == 0 ? 2 : 0;
        const std::size_t slash = rest.find(L'/', from);
        if (slash == std::wstring::npos)
            return CreateStep(current, rest);
        const std::wstring head = rest.substr(0, slash);
        if (!current.GetNode(WXPath(head.c_str()), found))
            found = CreateStep(current, head);
        current = found;
        rest = rest.compare(slash, 2, L"//") == 0 ? rest.substr(slash) : rest.substr(slash + 1);
    }
}

WXmlNode WXmlNode::CreateChild(const wchar_t* name, const wchar_t* text) {
    NodeRef& ref = Checked(node_);
    WXPath leaf = WXPath(name ? name : L"").GetLeaf();
    CString clause;
    while (leaf.GetFilterClause(0, clause)) {
        const CString before = leaf;
        leaf.RemoveFilterClause(clause);
        if (static_cast<const CString&>(leaf) == before)
            break; // "]" before "[": nothing bracketed is left to remove
    }
    if (text)
        CheckXmlText(text);
    xmlNodePtr element =
        NewElement(ref.node->doc, ref.node, ToXml(static_cast<const CString&>(leaf).view()));
    ref.owner->AdoptDetached(element);
    WXmlNode child = MakeNode(ref.owner, element);
    InsertChild(*ref.owner, ref.node, element, nullptr);
    if (text)
        SetNodeText(*ref.owner, element, ToXml(text));
    return child;
}

void WXmlNode::DeleteChild(const WXPath& path) {
    // The list holds every selected node, so pruning one never frees another still to come.
    const WXmlNodeList selected = GetNodes(path);
    for (WXmlNode node : selected)
        node.Prune();
}

void WXmlNode::Prune() {
    NodeRef& ref = Checked(node_);
    if (ref.node->type == XML_DOCUMENT_NODE || !ref.node->parent)
        return;
    ref.owner->Detach(ref.node);
}

void WXmlNode::Graft(WXmlNode& child, int position) {
    NodeRef& ref = Checked(node_);
    xmlNodePtr before = ref.node->children;
    for (int i = 0; before && i < position; ++i)
        before = before->next;
    if (position < 0)
        before = nullptr;
    Graft(child, before ? MakeNode(ref.owner, before) : WXmlNode());
}

void WXmlNode::Graft(WXmlNode& child, const WXmlNode& before) {
    NodeRef& ref = Checked(node_);
    NodeRef& moving = Checked(child.node_);
    xmlNodePtr reference = before.node_ ? before.node_->node : nullptr;
    if (moving.node->doc == ref.node->doc) {
        InsertChild(*ref.owner, ref.node, moving.node, reference);
        return;
    }
    // From another document: insert a copy made for this one, then take the original out of
    // its tree, as a move would.
    if (moving.node->type == XML_ATTRIBUTE_NODE || moving.node->type == XML_DOCUMENT_NODE)
        ThrowComError(E_FAIL, "this kind of node cannot be inserted here");
    CheckCopyDepth(moving.node);
    xmlNodePtr copy = xmlDocCopyNode(moving.node, ref.node->doc, 1);
    if (!copy)
        ThrowComError(E_OUTOFMEMORY, "cannot import the node");
    ref.owner->AdoptDetached(copy);
    WXmlNode imported = MakeNode(ref.owner, copy);
    InsertChild(*ref.owner, ref.node, copy, reference);
    child.Prune();
    child = std::move(imported);
}

WXmlNode WXmlNode::Clone(bool deep) const {
    NodeRef& ref = Checked(node_);
    xmlNodePtr n = ref.node;
    xmlNodePtr copy = nullptr;
    if (n->type == XML_DOCUMENT_NODE)
        ThrowComError(E_FAIL, "a document node is copied with WXmlDoc::Clone");
    if (deep)
        CheckCopyDepth(n);
    if (n->type == XML_ATTRIBUTE_NODE)
        copy = reinterpret_cast<xmlNodePtr>(xmlCopyProp(nullptr, reinterpret_cast<xmlAttrPtr>(n)));
    else
        copy = xmlDocCopyNode(n, n->doc, deep ? 1 : 2); // shallow still copies attributes
    if (!copy)
        ThrowComError(E_OUTOFMEMORY, "cannot copy the node");
    ref.owner->AdoptDetached(copy);
    return MakeNode(ref.owner, copy);
}

WXmlNode WXmlNode::GetParentNode() {
    NodeRef& ref = Checked(node_);
    if (ref.node->type == XML_ATTRIBUTE_NODE || ref.node->type == XML_DOCUMENT_NODE)
        return WXmlNode();
    return MakeNode(ref.owner, ref.node->parent);
}

WXmlDoc WXmlNode::GetOwnerDocument() {
    return WXmlDoc(Checked(node_).owner);
}

const WXmlDoc WXmlNode::GetOwnerDocument() const {
    return WXmlDoc(Checked(node_).owner);
}

bool WXmlNode::HasChildren() const {
    return GetNumChildren() > 0;
}

int WXmlNode::GetNumChildren() const {
    xmlNodePtr n = Checked(node_).node;
    if (n->type == XML_ENTITY_REF_NODE)
        return 0;
    int count = 0;
    for (xmlNodePtr c = n->children; c; c = c->next)
        ++count;
    return count;
}
