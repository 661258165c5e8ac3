// The XML layer: path values, documents and nodes, and typed value access. The suite's
// settings files are read and written through it, so its text forms are a file format.
//
// WXPath is an XPath 1.0 location path kept as text; it splits a path into steps and moves
// filter clauses between steps without parsing XPath (a separator is a "/" outside every
// bracketed clause; brackets do not nest). Its operations never throw.
//
// WXmlDoc, WXmlNode and WXmlNodeList are value-type handles: copies share the same parser
// object, equality is identity, and a node keeps its document alive (also after the
// document was reloaded or its content replaced). Nodes that are created but never attached,
// and nodes that are removed from the tree, are freed once nothing refers to them. Parsing
// never touches the network, refuses documents that carry a DTD (so entity expansion cannot
// run away) and refuses, before parsing, documents beyond the library's limits: 128 MB, 256
// levels of nesting, 10,000 attributes on one element, 4,194,304 characters in one text,
// attribute value, comment or CDATA section.
//
// Stylesheets and schemas may pull in further files (xsl:include, xsl:import, document(),
// XSD include, import and redefine): only regular local files in the folder of the
// stylesheet or schema (for a transform also of the source document) or below are read,
// parsed as every document is; anything else is refused with a message that names the URL
// and nothing of the file. No message of the parser is ever printed: each one is kept for
// XmlLastError().
//
// Errors: an operation on an empty node, or on a document that has no parser document,
// throws ComError(E_POINTER); an invalid XPath or a failing parser call throws ComError with
// the parser's message; GetNode(path) throws the int 0 when nothing matches. Loads, saves,
// transforms and validation return false; TlvUtl::XmlLastError() tells why.
//
// WXmlValueAccessor reads and writes the text of a node (selector ".") or of one attribute
// ("@name") in fixed forms: "true"/"false", "%d", "%I64d", "%f" (always a point), "(%d,%d)",
// "%d,%d,%d,%d", and base64 for bytes. Getters return an empty optional, a default, or throw
// WXmlValueTypeNotFoundException whose message is the type word.
//
// Not thread-safe: a document and its nodes belong to one thread at a time.
#ifndef TLVUTL_XML_H
#define TLVUTL_XML_H

#include <tlvutl/cstring.h>
#include <tlvutl/data_backup.h>
#include <tlvutl/export.h>
#include <tlvutl/geometry.h>
#include <tlvutl/optional.h>
#include <tlvutl/stream.h>
#include <tlvutl/wintypes.h>

#include <cstddef>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

// An XPath 1.0 location path held as text, with the step and filter-clause operations the settings
// code needs. Copies are independent.
class TLVUTL_API WXPath {
public:
    // An empty path, a copy, or the given text as it stands (nothing is checked).
    // @{
    WXPath();
    WXPath(const WXPath& other);
    WXPath(const CString& text);
    WXPath(const wchar_t* text);
    // @}
    virtual ~WXPath();
    // Copies the text of other.
    WXPath& operator=(const WXPath& other);

    // The text of the path.
    // @{
    operator const CString&() const { return text_; }
    operator const wchar_t*() const { return text_.GetString(); }
    // @}

    // True when the text is empty.
    bool IsEmpty() const;
    // Position of the first separator at or after start, or -1.
    int FindSeparator(int start) const;
    // Position of the last separator at or before maxPos, or -1.
    int ReverseFindSeparator(int maxPos) const;

    // The first step ("/" or "//" stay with it), the rest after it, the last step and what
    // lies before the last separator. They do not change the path.
    // @{
    WXPath GetRoot();
    WXPath GetChildOfRoot();
    WXPath GetLeaf();
    WXPath GetParentOfLeaf();
    // @}

    // The leaf's filter clause number index (from 0), without its brackets.
    bool GetFilterClause(int index, CString& clause) const;
    // Attaches a clause to the step it refers to ("../x=1" goes to the parent step); false,
    // with the path unchanged, when that step does not exist or cannot be named.
    bool AddFilterClause(const CString& clause);
    // Removes the first "[clause]" from the leaf.
    void RemoveFilterClause(const CString& clause);
    // Moves every clause whose left-hand side is a relative path to the step it names. A
    // single-step path is never changed. A clause that relocation would put back on the same
    // step unchanged (one holding "/" but no "=", or with the "/" in its value) stays where it
    // is and the walk moves past it, so Normalize always ends.
    void Normalize();

private:
    CString text_;
};

namespace TlvUtl::xml_detail {
struct DocState;
struct NodeRef;
struct NodeListRef;
} // namespace TlvUtl::xml_detail

// Shared references to the parser's objects. They are opaque: only the handle classes use
// them.
// Opaque shared references to the parser's document, node and node list; only the handle classes
// look inside.
// @{
using WXmlDocPtr = std::shared_ptr<TlvUtl::xml_detail::DocState>;
using WXmlNodePtr = std::shared_ptr<TlvUtl::xml_detail::NodeRef>;
using WXmlNodeListPtr = std::shared_ptr<TlvUtl::xml_detail::NodeListRef>;
// @}

class WXmlDoc;
class WXmlNode;

// Thrown by the throwing getters of WXmlValueAccessor, and by its setters when no target can be
// had; the message is the type word.
class TLVUTL_API WXmlValueTypeNotFoundException {
public:
    // An exception carrying message, a copy of one, and assignment.
    // @{
    explicit WXmlValueTypeNotFoundException(const CString& message);
    WXmlValueTypeNotFoundException(const WXmlValueTypeNotFoundException& other);
    WXmlValueTypeNotFoundException& operator=(const WXmlValueTypeNotFoundException& other);
    // @}
    virtual ~WXmlValueTypeNotFoundException();
    // The type word: "bool", "int", "intptr", "double", "string", "rect" or "binary".
    const CString& GetMessage() const;

private:
    CString message_;
};

// Typed access to the text of one node or one of its attributes. Obtain one from WXmlNode::Value or
// WXmlNode::Attribute; it holds the node alive. Missing or malformed text reads as no value; see
// the forms in the header comment.
class TLVUTL_API WXmlValueAccessor {
public:
    // selector is "." for the node's own text or "@name" for one of its attributes (the
    // first character is dropped whatever it is).
    WXmlValueAccessor(const WXmlNodePtr& node, const wchar_t* selector);
    // Copies share the same node and selector.
    // @{
    WXmlValueAccessor(const WXmlValueAccessor& other);
    WXmlValueAccessor& operator=(const WXmlValueAccessor& other);
    // @}
    ~WXmlValueAccessor();

    // True when the target exists (for an attribute: when it is present, empty or not).
    bool Exists() const;
    // True when the target is missing or its text is empty.
    bool IsEmpty() const;
    // Empties an existing target; creates nothing and removes nothing.
    void Clear();
    // Removes the attribute from its node (nothing for the "." selector).
    void Delete();

    // The target's text as T (bool, int, __int64, double, CString, CPoint, CSize or CRect), or an
    // empty optional when the target is missing or its text is not in T's form.
    template <class T> TlvUtils::optional<T> Get() const;

    // The value, or defaultValue when Get<T> gives none; these never throw for a missing or
    // malformed value. GetPoint and GetSize read "(%d,%d)", GetRect "%d,%d,%d,%d".
    // @{
    bool GetBool(bool defaultValue) const;
    int GetInt(int defaultValue) const;
    __int64 GetIntPtr(__int64 defaultValue) const;
    double GetDouble(double defaultValue) const;
    CString GetString(const wchar_t* defaultValue) const;
    CPoint GetPoint(CPoint defaultValue) const;
    CSize GetSize(CSize defaultValue) const;
    CRect GetRect(CRect defaultValue) const;
    // @}

    // The value, or WXmlValueTypeNotFoundException with the type word as message when Get<T> gives
    // none.
    // @{
    bool GetBool_throws() const;
    int GetInt_throws() const;
    __int64 GetIntPtr_throws() const;
    double GetDouble_throws() const;
    CString GetString_throws() const;
    CPoint GetPoint_throws() const;
    CSize GetSize_throws() const;
    CRect GetRect_throws() const;
    // @}

    // Without an argument: the throwing getters, not a default of zero.
    // @{
    bool GetBool() const { return GetBool_throws(); }
    int GetInt() const { return GetInt_throws(); }
    __int64 GetIntPtr() const { return GetIntPtr_throws(); }
    double GetDouble() const { return GetDouble_throws(); }
    CString GetString() const { return GetString_throws(); }
    CPoint GetPoint() const { return GetPoint_throws(); }
    CSize GetSize() const { return GetSize_throws(); }
    CRect GetRect() const { return GetRect_throws(); }
    // @}

    // Finds or creates the target and writes value in its text form; throws
    // WXmlValueTypeNotFoundException when no target can be had (an empty accessor, or an
    // attribute of a node that is not an element).
    // @{
    void SetBool(bool value);
    void SetInt(int value);
    void SetIntPtr(__int64 value);
    void SetDouble(double value);
    void SetString(const wchar_t* value);
    void SetPoint(CPoint value);
    void SetSize(CSize value);
    void SetRect(CRect value);
    // @}

    // Writing the default clears the target instead (see Clear).
    // @{
    void SetBool(bool value, bool defaultValue);
    void SetInt(int value, int defaultValue);
    void SetIntPtr(__int64 value, __int64 defaultValue);
    void SetDouble(double value, double defaultValue);
    void SetString(const wchar_t* value, const wchar_t* defaultValue);
    void SetPoint(CPoint value, CPoint defaultValue);
    void SetSize(CSize value, CSize defaultValue);
    void SetRect(CRect value, CRect defaultValue);
    // @}

    // Bytes as base64 text. On an element the text is typed as the Windows parser types it
    // (dt:dt="bin.base64" in the namespace urn:schemas-microsoft-com:datatypes), and only an
    // element so typed reads back as bytes; an attribute always reads as base64. GetBinary
    // copies at most size bytes and returns the number copied (with a null buffer: the
    // number stored). Text that is not base64 throws ComError.
    // @{
    void SetBinary(const unsigned char* data, unsigned long size);
    unsigned long GetBinary(unsigned char* buffer, unsigned long size) const;
    // @}

private:
    WXmlNodePtr node_;
    bool ownText_;          // the selector is "."
    std::string attribute_; // otherwise: the selector without its first character, as UTF-8
};

// The explicit instantiations of Get for the eight value types.
// @{
template <> TLVUTL_API TlvUtils::optional<bool> WXmlValueAccessor::Get<bool>() const;
template <> TLVUTL_API TlvUtils::optional<int> WXmlValueAccessor::Get<int>() const;
template <> TLVUTL_API TlvUtils::optional<__int64> WXmlValueAccessor::Get<__int64>() const;
template <> TLVUTL_API TlvUtils::optional<double> WXmlValueAccessor::Get<double>() const;
template <> TLVUTL_API TlvUtils::optional<CString> WXmlValueAccessor::Get<CString>() const;
template <> TLVUTL_API TlvUtils::optional<CPoint> WXmlValueAccessor::Get<CPoint>() const;
template <> TLVUTL_API TlvUtils::optional<CSize> WXmlValueAccessor::Get<CSize>() const;
template <> TLVUTL_API TlvUtils::optional<CRect> WXmlValueAccessor::Get<CRect>() const;
// @}

// The nodes an XPath selected, in document order. A value-type handle: copies share the parser's
// list. Iterate with a range-for or Node(index).
class TLVUTL_API WXmlNodeList {
public:
    // A forward iterator over the list that yields WXmlNode values; it is only an index, valid
    // while its list lives.
    class TLVUTL_API const_iterator {
    public:
        // The standard iterator traits: a forward iterator of WXmlNode values, yielded by value.
        // @{
        using iterator_category = std::forward_iterator_tag;
        using value_type = WXmlNode;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = WXmlNode;
        // @}

        const_iterator() = default;
        // The position index of list.
        const_iterator(const WXmlNodeList* list, int index) : list_(list), index_(index) {}
        // The node at the position, or an empty node past the end.
        WXmlNode operator*() const;
        // Moves to the next node (prefix and postfix).
        // @{
        const_iterator& operator++() {
            ++index_;
            return *this;
        }
        const_iterator operator++(int) {
            const_iterator old = *this;
            ++index_;
            return old;
        }
        // @}
        // Equal when at the same position (of the same list, which is not checked).
        // @{
        friend bool operator==(const const_iterator& a, const const_iterator& b) {
            return a.index_ == b.index_;
        }
        friend bool operator!=(const const_iterator& a, const const_iterator& b) {
            return !(a == b);
        }
        // @}

    private:
        const WXmlNodeList* list_ = nullptr;
        int index_ = 0;
    };
    // The list has only const iteration.
    using iterator = const_iterator;

    // @{
    WXmlNodeList();
    // An empty list, one over a parser list, or a copy sharing other's list.
    explicit WXmlNodeList(const WXmlNodeListPtr& list);
    WXmlNodeList(const WXmlNodeList& other);
    // @}
    // Shares other's list.
    WXmlNodeList& operator=(const WXmlNodeList& other);
    ~WXmlNodeList();

    // Number of nodes (0 for an empty list).
    int Count() const;
    // The node at index, or an empty node when index is out of range.
    WXmlNode Node(int index) const;
    // Count() as std::size_t.
    std::size_t size() const { return static_cast<std::size_t>(Count()); }
    // The first position and one past the last, for range-for.
    // @{
    const_iterator begin() const { return const_iterator(this, 0); }
    const_iterator end() const { return const_iterator(this, Count()); }
    // @}

private:
    WXmlNodeListPtr list_;
};

// A node of a document: element, attribute, text, comment or the document itself. A value-type
// handle: copies share the parser node and keep its document alive; a default-constructed node is
// empty, and operations that need a node (all but IsValid, comparison and copying) throw
// ComError(E_POINTER) on it.
class TLVUTL_API WXmlNode {
public:
    // An empty node, one over a parser node, a copy (sharing the node) and a move (leaving other
    // empty).
    // @{
    WXmlNode();
    explicit WXmlNode(const WXmlNodePtr& node);
    WXmlNode(const WXmlNode& other);
    WXmlNode(WXmlNode&& other) noexcept;
    // @}
    // Assignment shares other's node; move assignment leaves other empty.
    // @{
    WXmlNode& operator=(const WXmlNode& other);
    WXmlNode& operator=(WXmlNode&& other) noexcept;
    // @}
    ~WXmlNode();
    // Exchanges the nodes of two handles.
    void swap(WXmlNode& other) noexcept;

    // Identity of the parser node; two empty nodes are equal.
    bool operator==(const WXmlNode& other) const;
    // Negation of operator==.
    bool operator!=(const WXmlNode& other) const { return !(*this == other); }

    // True when the handle holds a node.
    bool IsValid() const;
    // The shared parser reference, for other handle classes.
    const WXmlNodePtr& GetNodePtr() const { return node_; }

    // The qualified name; "#text", "#comment", "#cdata-section", "#document" for those kinds.
    CString GetName() const;
    // The node serialised as XML (compact; no declaration except for a document node).
    CString GetXML() const;
    // The same serialisation as GetXML.
    CString SaveToString() const;

    // Accessor of the node's own text (selector ".").
    WXmlValueAccessor Value();
    // Accessor of an attribute: selector is "@name".
    WXmlValueAccessor Attribute(const wchar_t* selector);
    // Qualified names of the attributes in document order (namespace declarations are not
    // attributes here).
    void GetAttributes(std::vector<CString>& names) const;
    // Writes the source's attribute from as this node's attribute to; when the source has none,
    // this node's attribute to is cleared (see WXmlValueAccessor::Clear).
    void CopyAttributeFrom(WXmlNode source, const wchar_t* from, const wchar_t* to);

    // Selection with this node as the context: relative paths start here, "/" and "//" at
    // the document. The first match in document order.
    bool GetNode(const WXPath& path, WXmlNode& node) const;
    // Throws the int 0 when nothing matches.
    WXmlNode GetNode(const WXPath& path);
    // As GetNode(path), with an empty node when nothing matches.
    WXmlNode GetNodeNoThrow(const WXPath& path);
    // True when the path selects a node.
    bool DoesNodeExist(const WXPath& path) const;
    // All matches in document order; the bool overloads return true when there is one.
    bool GetNodes(const WXPath& path, WXmlNodeList& list) const;
    // @{
    WXmlNodeList GetNodes(const WXPath& path);
    // As GetNodes(path), but throws the int 0 (as GetNode does) when throwIfNone is set and
    // nothing matches.
    WXmlNodeList GetNodes(const WXPath& path, bool throwIfNone);
    // @}

    // The node the path names, creating the missing steps (elements, "[@a='v']" attributes,
    // "[n]" positions, a final "@attribute").
    WXmlNode EnsureDescendantExists(const WXPath& path);
    // Appends an element named by the leaf of name without its clauses; text may be null.
    WXmlNode CreateChild(const wchar_t* name, const wchar_t* text);
    // Removes every node the path selects.
    void DeleteChild(const WXPath& path);
    // Detaches this node from its parent (an attribute from its element).
    void Prune();
    // Inserts child (moving it from where it is) at index position of the children (out of
    // range: at the end) or before the child `before` (empty: at the end). A node of another
    // document is imported: child then names the inserted copy.
    // @{
    void Graft(WXmlNode& child, int position);
    void Graft(WXmlNode& child, const WXmlNode& before);
    // @}
    // An unattached copy in the same document.
    WXmlNode Clone(bool deep) const;
    // Empty for the document node and for attributes (as in the DOM).
    WXmlNode GetParentNode();
    // The document the node belongs to (also after that document was reloaded).
    // @{
    WXmlDoc GetOwnerDocument();
    const WXmlDoc GetOwnerDocument() const;
    // @}
    // Whether the node has children, and how many (attributes are no children).
    // @{
    bool HasChildren() const;
    int GetNumChildren() const;
    // @}

private:
    WXmlNodePtr node_;
};

// An XML document. A value-type handle: copies share one parser document and see each other's
// changes; there is no parser document until the first load (also a failed one) or Clone.
class TLVUTL_API WXmlDoc {
public:
    // An unloaded document; preserveWhiteSpace keeps white-space text nodes when loading and writes
    // without indenting.
    explicit WXmlDoc(bool preserveWhiteSpace = false);
    // A handle sharing an existing parser document, and a copy sharing other's.
    // @{
    WXmlDoc(const WXmlDocPtr& doc);
    WXmlDoc(const WXmlDoc& other);
    // @}
    // Shares other's parser document.
    WXmlDoc& operator=(const WXmlDoc& other);
    virtual ~WXmlDoc();

    // Identity of the parser document; two handles without one are equal.
    bool operator==(const WXmlDoc& other) const;
    // Negation of operator==.
    bool operator!=(const WXmlDoc& other) const { return !(*this == other); }
    // The shared parser reference, for the other handle classes.
    const WXmlDocPtr& GetDocPtr() const { return doc_; }

    // A new document (white space not preserved) loaded from a file, a stream or a text; when the
    // load fails the document is left unloaded (see IsLoaded and TlvUtl::XmlLastError).
    // @{
    static WXmlDoc CreateFromFile(const wchar_t* path);
    static WXmlDoc CreateFromStream(IStream* stream);
    static WXmlDoc CreateFromString(const wchar_t* text);
    // @}

    // Each load replaces the parser document with a new one; false when the text is not
    // well-formed XML (nodes of the previous content stay valid either way).
    // @{
    bool Load(const wchar_t* path);
    bool Load(IStream* stream);
    bool LoadFromString(const wchar_t* text);
    // @}

    // UTF-8 with an XML declaration, indented unless white space is preserved. A file is
    // replaced atomically: a crash leaves the old file or the new one, never a mixture, and
    // under the lock XmlFileLock takes. A document loaded with white space preserved from a
    // file or stream keeps that text's lack of a declaration or of a final line break.
    // @{
    bool Save(const wchar_t* path);
    bool Save(IStream* stream);
    CString SaveToString();
    // @}

    // The document element; empty when the document has none.
    // @{
    WXmlNode GetRootNode();
    const WXmlNode GetRootNode() const;
    // @}
    // True when there is a parser document with a document element.
    bool IsLoaded() const;
    // A new element of this document, not yet attached; text may be null.
    WXmlNode CreateNode(const wchar_t* name, const wchar_t* text);
    // All nodes the path selects from the document, in document order; the bool overload is false
    // when there is none.
    // @{
    bool GetNodes(const WXPath& path, WXmlNodeList& list);
    WXmlNodeList GetNodes(const WXPath& path);
    // @}
    // Prefixes for paths: "xmlns:a='uri-a' xmlns:b='uri-b'".
    void SetSelectionNamespaces(const wchar_t* declarations);

    // Replaces the content with the result of the stylesheet (document() allowed; files only).
    bool ApplyXSLT(WXmlDoc& stylesheet);
    // Validates against an XSD file.
    bool Validate(const wchar_t* schemaPath);
    // A new document holding a deep copy of the document element.
    WXmlDoc Clone() const;
    // Drops the reference to the parser document: the handle is unloaded again; nodes taken from it
    // stay valid.
    void ReleaseDocument();

    // A backup in a uniquely named temporary file, removed when the backup is deleted; null
    // when the document cannot be saved. The caller owns the result.
    virtual TlvUtl::WDataBackup* Backup();
    // Reloads the document from the backup's temporary file (made by Backup).
    virtual void Restore(const TlvUtl::WDataBackup* backup);

private:
    bool CreateDocument();
    bool ParseInto(const char* bytes, std::size_t size, const char* url, const char* encoding);

    WXmlDocPtr doc_;
    bool preserveWhiteSpace_;
};

namespace TlvUtl {

// Why the last load, save, transform or validation of this thread failed (the parser's
// message), or empty.
TLVUTL_API CString XmlLastError();

// Holds, while it lives, the lock between processes that WXmlDoc::Save(path) and the ini
// functions take for a file (on its folder), so that a load, change and save of a shared
// settings file made under it loses no other process's update. Saves on the same thread
// inside it do not wait for it. Locked() is false when the folder is missing.
class TLVUTL_API XmlFileLock {
public:
    // Takes the lock for the file at path, waiting while another process holds it.
    explicit XmlFileLock(const wchar_t* path);
    ~XmlFileLock();
    XmlFileLock(const XmlFileLock&) = delete;
    XmlFileLock& operator=(const XmlFileLock&) = delete;
    // True when the lock is held.
    bool Locked() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace TlvUtl

#endif
