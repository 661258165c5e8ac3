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

class TLVUTL_API WXPath {
public:
    WXPath();
    WXPath(const WXPath& other);
    WXPath(const CString& text);
    WXPath(const wchar_t* text);
    virtual ~WXPath();
    WXPath& operator=(const WXPath& other);

    operator const CString&() const { return text_; }
    operator const wchar_t*() const { return text_.GetString(); }

    bool IsEmpty() const;
    // Position of the first separator at or after start, or -1.
    int FindSeparator(int start) const;
    // Position of the last separator at or before maxPos, or -1.
    int ReverseFindSeparator(int maxPos) const;

    // The first step ("/" or "//" stay with it), the rest after it, the last step and what
    // lies before the last separator. They do not change the path.
    WXPath GetRoot();
    WXPath GetChildOfRoot();
    WXPath GetLeaf();
    WXPath GetParentOfLeaf();

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
using WXmlDocPtr = std::shared_ptr<TlvUtl::xml_detail::DocState>;
using WXmlNodePtr = std::shared_ptr<TlvUtl::xml_detail::NodeRef>;
using WXmlNodeListPtr = std::shared_ptr<TlvUtl::xml_detail::NodeListRef>;

class WXmlDoc;
class WXmlNode;

class TLVUTL_API WXmlValueTypeNotFoundException {
public:
    explicit WXmlValueTypeNotFoundException(const CString& message);
    WXmlValueTypeNotFoundException(const WXmlValueTypeNotFoundException& other);
    WXmlValueTypeNotFoundException& operator=(const WXmlValueTypeNotFoundException& other);
    virtual ~WXmlValueTypeNotFoundException();
    // The type word: "bool", "int", "intptr", "double", "string", "rect" or "binary".
    const CString& GetMessage() const;

private:
    CString message_;
};

class TLVUTL_API WXmlValueAccessor {
public:
    // selector is "." for the node's own text or "@name" for one of its attributes (the
    // first character is dropped whatever it is).
    WXmlValueAccessor(const WXmlNodePtr& node, const wchar_t* selector);
    WXmlValueAccessor(const WXmlValueAccessor& other);
    WXmlValueAccessor& operator=(const WXmlValueAccessor& other);
    ~WXmlValueAccessor();

    bool Exists() const;
    // True when the target is missing or its text is empty.
    bool IsEmpty() const;
    // Empties an existing target; creates nothing and removes nothing.
    void Clear();
    // Removes the attribute from its node (nothing for the "." selector).
    void Delete();

    template <class T> TlvUtils::optional<T> Get() const;

    bool GetBool(bool defaultValue) const;
    int GetInt(int defaultValue) const;
    __int64 GetIntPtr(__int64 defaultValue) const;
    double GetDouble(double defaultValue) const;
    CString GetString(const wchar_t* defaultValue) const;
    CPoint GetPoint(CPoint defaultValue) const;
    CSize GetSize(CSize defaultValue) const;
    CRect GetRect(CRect defaultValue) const;

    bool GetBool_throws() const;
    int GetInt_throws() const;
    __int64 GetIntPtr_throws() const;
    double GetDouble_throws() const;
    CString GetString_throws() const;
    CPoint GetPoint_throws() const;
    CSize GetSize_throws() const;
    CRect GetRect_throws() const;

    // Without an argument: the throwing getters, not a default of zero.
    bool GetBool() const { return GetBool_throws(); }
    int GetInt() const { return GetInt_throws(); }
    __int64 GetIntPtr() const { return GetIntPtr_throws(); }
    double GetDouble() const { return GetDouble_throws(); }
    CString GetString() const { return GetString_throws(); }
    CPoint GetPoint() const { return GetPoint_throws(); }
    CSize GetSize() const { return GetSize_throws(); }
    CRect GetRect() const { return GetRect_throws(); }

    void SetBool(bool value);
    void SetInt(int value);
    void SetIntPtr(__int64 value);
    void SetDouble(double value);
    void SetString(const wchar_t* value);
    void SetPoint(CPoint value);
    void SetSize(CSize value);
    void SetRect(CRect value);

    // Writing the default clears the target instead (see Clear).
    void SetBool(bool value, bool defaultValue);
    void SetInt(int value, int defaultValue);
    void SetIntPtr(__int64 value, __int64 defaultValue);
    void SetDouble(double value, double defaultValue);
    void SetString(const wchar_t* value, const wchar_t* defaultValue);
    void SetPoint(CPoint value, CPoint defaultValue);
    void SetSize(CSize value, CSize defaultValue);
    void SetRect(CRect value, CRect defaultValue);

    // Bytes as base64 text. On an element the text is typed as the Windows parser types it
    // (dt:dt="bin.base64" in the namespace urn:schemas-microsoft-com:datatypes), and only an
    // element so typed reads back as bytes; an attribute always reads as base64. GetBinary
    // copies at most size bytes and returns the number copied (with a null buffer: the
    // number stored). Text that is not base64 throws ComError.
    void SetBinary(const unsigned char* data, unsigned long size);
    unsigned long GetBinary(unsigned char* buffer, unsigned long size) const;

private:
    WXmlNodePtr node_;
    bool ownText_;          // the selector is "."
    std::string attribute_; // otherwise: the selector without its first character, as UTF-8
};

template <> TLVUTL_API TlvUtils::optional<bool> WXmlValueAccessor::Get<bool>() const;
template <> TLVUTL_API TlvUtils::optional<int> WXmlValueAccessor::Get<int>() const;
template <> TLVUTL_API TlvUtils::optional<__int64> WXmlValueAccessor::Get<__int64>() const;
template <> TLVUTL_API TlvUtils::optional<double> WXmlValueAccessor::Get<double>() const;
template <> TLVUTL_API TlvUtils::optional<CString> WXmlValueAccessor::Get<CString>() const;
template <> TLVUTL_API TlvUtils::optional<CPoint> WXmlValueAccessor::Get<CPoint>() const;
template <> TLVUTL_API TlvUtils::optional<CSize> WXmlValueAccessor::Get<CSize>() const;
template <> TLVUTL_API TlvUtils::optional<CRect> WXmlValueAccessor::Get<CRect>() const;

class TLVUTL_API WXmlNodeList {
public:
    class TLVUTL_API const_iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = WXmlNode;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = WXmlNode;

        const_iterator() = default;
        const_iterator(const WXmlNodeList* list, int index) : list_(list), index_(index) {}
        WXmlNode operator*() const;
        const_iterator& operator++() {
            ++index_;
            return *this;
        }
        const_iterator operator++(int) {
            const_iterator old = *this;
            ++index_;
            return old;
        }
        friend bool operator==(const const_iterator& a, const const_iterator& b) {
            return a.index_ == b.index_;
        }
        friend bool operator!=(const const_iterator& a, const const_iterator& b) {
            return !(a == b);
        }

    private:
        const WXmlNodeList* list_ = nullptr;
        int index_ = 0;
    };
    using iterator = const_iterator;

    WXmlNodeList();
    explicit WXmlNodeList(const WXmlNodeListPtr& list);
    WXmlNodeList(const WXmlNodeList& other);
    WXmlNodeList& operator=(const WXmlNodeList& other);
    ~WXmlNodeList();

    int Count() const;
    // The node at index, or an empty node when index is out of range.
    WXmlNode Node(int index) const;
    std::size_t size() const { return static_cast<std::size_t>(Count()); }
    const_iterator begin() const { return const_iterator(this, 0); }
    const_iterator end() const { return const_iterator(this, Count()); }

private:
    WXmlNodeListPtr list_;
};

class TLVUTL_API WXmlNode {
public:
    WXmlNode();
    explicit WXmlNode(const WXmlNodePtr& node);
    WXmlNode(const WXmlNode& other);
    WXmlNode(WXmlNode&& other) noexcept;
    WXmlNode& operator=(const WXmlNode& other);
    WXmlNode& operator=(WXmlNode&& other) noexcept;
    ~WXmlNode();
    void swap(WXmlNode& other) noexcept;

    // Identity of the parser node; two empty nodes are equal.
    bool operator==(const WXmlNode& other) const;
    bool operator!=(const WXmlNode& other) const { return !(*this == other); }

    bool IsValid() const;
    const WXmlNodePtr& GetNodePtr() const { return node_; }

    // The qualified name; "#text", "#comment", "#cdata-section", "#document" for those kinds.
    CString GetName() const;
    // The node serialised as XML (compact; no declaration except for a document node).
    CString GetXML() const;
    CString SaveToString() const;

    WXmlValueAccessor Value();
    WXmlValueAccessor Attribute(const wchar_t* selector);
    // Qualified names of the attributes in document order (namespace declarations are not
    // attributes here).
    void GetAttributes(std::vector<CString>& names) const;
    void CopyAttributeFrom(WXmlNode source, const wchar_t* from, const wchar_t* to);

    // Selection with this node as the context: relative paths start here, "/" and "//" at
    // the document. The first match in document order.
    bool GetNode(const WXPath& path, WXmlNode& node) const;
    // Throws the int 0 when nothing matches.
    WXmlNode GetNode(const WXPath& path);
    WXmlNode GetNodeNoThrow(const WXPath& path);
    bool DoesNodeExist(const WXPath& path) const;
    // All matches in document order; the bool overloads return true when there is one.
    bool GetNodes(const WXPath& path, WXmlNodeList& list) const;
    WXmlNodeList GetNodes(const WXPath& path);
    // As GetNodes(path), but throws the int 0 (as GetNode does) when throwIfNone is set and
    // nothing matches.
    WXmlNodeList GetNodes(const WXPath& path, bool throwIfNone);

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
    void Graft(WXmlNode& child, int position);
    void Graft(WXmlNode& child, const WXmlNode& before);
    // An unattached copy in the same document.
    WXmlNode Clone(bool deep) const;
    // Empty for the document node and for attributes (as in the DOM).
    WXmlNode GetParentNode();
    WXmlDoc GetOwnerDocument();
    const WXmlDoc GetOwnerDocument() const;
    bool HasChildren() const;
    int GetNumChildren() const;

private:
    WXmlNodePtr node_;
};

class TLVUTL_API WXmlDoc {
public:
    explicit WXmlDoc(bool preserveWhiteSpace = false);
    WXmlDoc(const WXmlDocPtr& doc);
    WXmlDoc(const WXmlDoc& other);
    WXmlDoc& operator=(const WXmlDoc& other);
    virtual ~WXmlDoc();

    // Identity of the parser document; two handles without one are equal.
    bool operator==(const WXmlDoc& other) const;
    bool operator!=(const WXmlDoc& other) const { return !(*this == other); }
    const WXmlDocPtr& GetDocPtr() const { return doc_; }

    static WXmlDoc CreateFromFile(const wchar_t* path);
    static WXmlDoc CreateFromStream(IStream* stream);
    static WXmlDoc CreateFromString(const wchar_t* text);

    // Each load replaces the parser document with a new one; false when the text is not
    // well-formed XML (nodes of the previous content stay valid either way).
    bool Load(const wchar_t* path);
    bool Load(IStream* stream);
    bool LoadFromString(const wchar_t* text);

    // UTF-8 with an XML declaration, indented unless white space is preserved. A file is
    // replaced atomically: a crash leaves the old file or the new one, never a mixture, and
    // under the lock XmlFileLock takes. A document loaded with white space preserved from a
    // file or stream keeps that text's lack of a declaration or of a final line break.
    bool Save(const wchar_t* path);
    bool Save(IStream* stream);
    CString SaveToString();

    // The document element; empty when the document has none.
    WXmlNode GetRootNode();
    const WXmlNode GetRootNode() const;
    bool IsLoaded() const;
    WXmlNode CreateNode(const wchar_t* name, const wchar_t* text);
    bool GetNodes(const WXPath& path, WXmlNodeList& list);
    WXmlNodeList GetNodes(const WXPath& path);
    // Prefixes for paths: "xmlns:a='uri-a' xmlns:b='uri-b'".
    void SetSelectionNamespaces(const wchar_t* declarations);

    // Replaces the content with the result of the stylesheet (document() allowed; files only).
    bool ApplyXSLT(WXmlDoc& stylesheet);
    // Validates against an XSD file.
    bool Validate(const wchar_t* schemaPath);
    // A new document holding a deep copy of the document element.
    WXmlDoc Clone() const;
    void ReleaseDocument();

    // A backup in a uniquely named temporary file, removed when the backup is deleted; null
    // when the document cannot be saved. The caller owns the result.
    virtual TlvUtl::WDataBackup* Backup();
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
    explicit XmlFileLock(const wchar_t* path);
    ~XmlFileLock();
    XmlFileLock(const XmlFileLock&) = delete;
    XmlFileLock& operator=(const XmlFileLock&) = delete;
    bool Locked() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace TlvUtl

#endif
