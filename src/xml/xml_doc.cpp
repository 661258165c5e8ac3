// WXmlDoc: loading, saving, document-level selection and the document's own operations.
#include "doc_state.h"
#include "parser.h"
#include "serializer.h"
#include "tree_edit.h"
#include "xml_runtime.h"

#include "platform/file_system.h"

#include <tlvutl/com_error.h>
#include <tlvutl/encoding.h>
#include <tlvutl/frame.h>
#include <tlvutl/messages.h>

#include <libxml/uri.h>

#include <algorithm>
#include <atomic>
#include <new>

using namespace TlvUtl::xml_detail;

namespace TlvUtl::xml_detail {
namespace {

std::atomic<HRESULT> g_failNextCreation{S_OK};

// "file:///a/b%20c.xml" names the file "/a/b c.xml"; any other URL is not a local file.
bool LocalPathOf(const std::string& pathOrUrl, std::string& path) {
    const std::size_t scheme = pathOrUrl.find("://");
    if (scheme == std::string::npos) {
        path = pathOrUrl;
        return true;
    }
    if (pathOrUrl.compare(0, scheme, "file") != 0)
        return false;
    std::string rest = pathOrUrl.substr(scheme + 3);
    if (rest.compare(0, 9, "localhost") == 0)
        rest.erase(0, 9);
    char* unescaped = xmlURIUnescapeString(rest.c_str(), 0, nullptr);
    if (!unescaped)
        return false;
    path = unescaped;
    xmlFree(unescaped);
    return true;
}

} // namespace

void FailNextDocumentCreation(HRESULT hr) {
    g_failNextCreation = hr;
}

} // namespace TlvUtl::xml_detail

WXmlDoc::WXmlDoc(bool preserveWhiteSpace) : preserveWhiteSpace_(preserveWhiteSpace) {}

WXmlDoc::WXmlDoc(const WXmlDocPtr& doc)
    : doc_(doc), preserveWhiteSpace_(doc ? doc->preserveWhiteSpace : false) {}

WXmlDoc::WXmlDoc(const WXmlDoc& other) = default;
WXmlDoc& WXmlDoc::operator=(const WXmlDoc& other) = default;
WXmlDoc::~WXmlDoc() = default;

bool WXmlDoc::operator==(const WXmlDoc& other) const {
    return doc_.get() == other.doc_.get();
}

WXmlDoc WXmlDoc::CreateFromFile(const wchar_t* path) {
    WXmlDoc doc;
    doc.Load(path);
    return doc;
}

WXmlDoc WXmlDoc::CreateFromStream(IStream* stream) {
    WXmlDoc doc;
    doc.Load(stream);
    return doc;
}

WXmlDoc WXmlDoc::CreateFromString(const wchar_t* text) {
    WXmlDoc doc;
    doc.LoadFromString(text);
    return doc;
}

bool WXmlDoc::CreateDocument() {
    ReleaseDocument();
    HRESULT hr = S_OK;
    try {
        EnsureXmlRuntime();
        if (const HRESULT simulated = g_failNextCreation.exchange(S_OK); FAILED(simulated)) {
            hr = simulated;
        } else {
            doc_ = std::make_shared<DocState>(preserveWhiteSpace_);
            return true;
        }
    } catch (const std::bad_alloc&) {
        hr = E_OUTOFMEMORY;
    }
    CString format = UTLLoadStringEx(23840);
    if (format.IsEmpty())
        format = L"Unable to create a DOM document.\n%s\nVerify that MSXML6 is installed.";
    CString message;
    message.Format(format, SystemMessage(hr));
    SetLastXmlError(message.ToUtf8());
    TlvUtl::GetMessageSink().ShowError(message);
    return false;
}

bool WXmlDoc::ParseInto(const char* bytes, std::size_t size, const char* url,
                        const char* encoding) {
    ClearLastXmlError();
    if (!CreateDocument())
        return false;
    ParseRequest request;
    request.bytes = bytes;
    request.size = size;
    request.url = url;
    request.encoding = encoding;
    request.keepBlanks = preserveWhiteSpace_;
    std::string error;
    if (xmlDocPtr parsed = ParseXml(request, error)) {
        doc_->doc = parsed;
        if (preserveWhiteSpace_ && !encoding) {
            // Text from a file or stream: note its declaration (after a UTF-8 byte-order
            // mark) and final line break, to write them back the same way.
            const std::string_view text(bytes, size);
            const std::size_t start = text.substr(0, 3) == "\xEF\xBB\xBF" ? 3 : 0;
            doc_->declaration = text.substr(start, 5) == "<?xml";
            doc_->finalNewline = size > 0 && bytes[size - 1] == '\n';
        }
        return true;
    }
    SetLastXmlError(error);
    // The document object exists, without content, as after a failed load on Windows.
    doc_->doc = xmlNewDoc(BAD_CAST "1.0");
    return false;
}

bool WXmlDoc::Load(const wchar_t* path) {
    ClearLastXmlError();
    std::string local;
    if (!path || !LocalPathOf(ToXml(path), local)) {
        CreateDocument();
        SetLastXmlError(path ? "network access refused: " + ToXml(path) : "no path given");
        return false;
    }
    std::string bytes;
    const std::wstring file = tlv::platform::WidePath(local);
    if (const std::error_code ec = tlv::platform::ReadWholeFile(file, bytes)) {
        CreateDocument();
        SetLastXmlError("cannot read " + local + ": " + tlv::platform::Describe(ec, file));
        return false;
    }
    return ParseInto(bytes.data(), bytes.size(), local.c_str(), nullptr);
}

bool WXmlDoc::Load(IStream* stream) {
    ClearLastXmlError();
    if (!stream) {
        CreateDocument();
        SetLastXmlError("no stream given");
        return false;
    }
    std::string bytes;
    char chunk[65536];
    for (;;) {
        ULONG read = 0;
        const HRESULT hr = stream->Read(chunk, sizeof chunk, &read);
        if (FAILED(hr)) {
            CreateDocument();
            SetLastXmlError("the stream cannot be read: " + SystemMessage(hr).ToUtf8());
            return false;
        }
        bytes.append(chunk, read);
        if (hr == S_FALSE || read == 0)
            break;
    }
    return ParseInto(bytes.data(), bytes.size(), nullptr, nullptr);
}

bool WXmlDoc::LoadFromString(const wchar_t* text) {
    ClearLastXmlError();
    const std::string bytes = ToXml(text);
    // The text is already characters: whatever encoding its declaration names is moot.
    return ParseInto(bytes.data(), bytes.size(), nullptr, "UTF-8");
}

bool WXmlDoc::Save(const wchar_t* path) {
    ClearLastXmlError();
    if (!doc_ || !doc_->doc || !path)
        return false;
    if (!xmlDocGetRootElement(doc_->doc)) {
        // Writing nothing over a settings file would lose it.
        SetLastXmlError("the document has no content to save");
        return false;
    }
    std::string bytes;
    if (!SerializeDocument(doc_->doc, !preserveWhiteSpace_, bytes, doc_->declaration))
        return false;
    if (!doc_->finalNewline && !bytes.empty() && bytes.back() == '\n')
        bytes.pop_back();
    // The same lock as the ini files': processes sharing a settings file replace it in turn.
    tlv::platform::PathLock lock(path);
    if (!lock.Locked()) {
        SetLastXmlError("cannot write " + TlvUtils::ToUtf8(path) + ": " +
                        tlv::platform::Describe(lock.Error(), path));
        return false;
    }
    if (const std::error_code ec = tlv::platform::WriteFileAtomically(path, bytes)) {
        SetLastXmlError("cannot write " + TlvUtils::ToUtf8(path) + ": " +
                        tlv::platform::Describe(ec, path));
        return false;
    }
    return true;
}

bool WXmlDoc::Save(IStream* stream) {
    ClearLastXmlError();
    if (!stream || !doc_ || !doc_->doc)
        return false;
    std::string bytes;
    if (!SerializeDocument(doc_->doc, !preserveWhiteSpace_, bytes))
        return false;
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ULONG chunk =
            static_cast<ULONG>(std::min<std::size_t>(bytes.size() - done, 1u << 30));
        ULONG written = 0;
        const HRESULT hr = stream->Write(bytes.data() + done, chunk, &written);
        if (FAILED(hr) || written == 0) {
            SetLastXmlError("the stream cannot be written: " + SystemMessage(hr).ToUtf8());
            return false;
        }
        done += written;
    }
    return true;
}

CString WXmlDoc::SaveToString() {
    if (!doc_ || !doc_->doc)
        ThrowNoDocument();
    return FromXml(SerializeNode(reinterpret_cast<xmlNodePtr>(doc_->doc)));
}

WXmlNode WXmlDoc::GetRootNode() {
    if (!doc_ || !doc_->doc)
        ThrowNoDocument();
    return MakeNode(doc_, xmlDocGetRootElement(doc_->doc));
}

const WXmlNode WXmlDoc::GetRootNode() const {
    return const_cast<WXmlDoc*>(this)->GetRootNode();
}

bool WXmlDoc::IsLoaded() const {
    return doc_ && doc_->doc && xmlDocGetRootElement(doc_->doc);
}

WXmlNode WXmlDoc::CreateNode(const wchar_t* name, const wchar_t* text) {
    if (!doc_ || !doc_->doc)
        ThrowNoDocument();
    if (text)
        CheckXmlText(text);
    xmlNodePtr element =
        NewElement(doc_->doc, xmlDocGetRootElement(doc_->doc), ToXml(name ? name : L""));
    doc_->AdoptDetached(element);
    WXmlNode node = MakeNode(doc_, element);
    if (text)
        SetNodeText(*doc_, element, ToXml(text));
    return node;
}

bool WXmlDoc::GetNodes(const WXPath& path, WXmlNodeList& list) {
    list = GetNodes(path);
    return list.Count() > 0;
}

WXmlNodeList WXmlDoc::GetNodes(const WXPath& path) {
    if (!doc_ || !doc_->doc)
        ThrowNoDocument();
    std::vector<xmlNodePtr> nodes;
    doc_->selection.Select(reinterpret_cast<xmlNodePtr>(doc_->doc),
                           ToXml(static_cast<const CString&>(path).view()), false, nodes);
    return WXmlNodeList(std::make_shared<NodeListRef>(doc_, std::move(nodes)));
}

void WXmlDoc::SetSelectionNamespaces(const wchar_t* declarations) {
    if (!doc_)
        ThrowNoDocument();
    std::vector<std::pair<std::string, std::string>> namespaces;
    const std::string text = ToXml(declarations);
    if (!ParseNamespaceDeclarations(text, namespaces))
        ThrowComError(E_INVALIDARG, "'" + text +
                                        "' is not a list of namespace declarations "
                                        "(xmlns:prefix='uri' ...)");
    doc_->selection.SetNamespaces(std::move(namespaces));
}

WXmlDoc WXmlDoc::Clone() const {
    if (!doc_ || !doc_->doc)
        ThrowNoDocument();
    WXmlDoc copy(preserveWhiteSpace_);
    copy.doc_ = std::make_shared<DocState>(preserveWhiteSpace_);
    copy.doc_->doc = xmlNewDoc(BAD_CAST "1.0");
    if (!copy.doc_->doc)
        ThrowComError(E_OUTOFMEMORY, "cannot create a document");
    if (xmlNodePtr root = xmlDocGetRootElement(doc_->doc)) {
        CheckCopyDepth(root);
        xmlNodePtr rootCopy = xmlDocCopyNode(root, copy.doc_->doc, 1);
        if (!rootCopy)
            ThrowComError(E_OUTOFMEMORY, "cannot copy the document");
        xmlDocSetRootElement(copy.doc_->doc, rootCopy);
    }
    return copy;
}

void WXmlDoc::ReleaseDocument() {
    doc_.reset();
}

namespace TlvUtl {

struct XmlFileLock::State {
    explicit State(const wchar_t* path) : lock(path ? path : L"") {}
    tlv::platform::PathLock lock;
};

XmlFileLock::XmlFileLock(const wchar_t* path) : state_(std::make_unique<State>(path)) {}

XmlFileLock::~XmlFileLock() = default;

bool XmlFileLock::Locked() const {
    return state_->lock.Locked();
}

CString XmlLastError() {
    return xml_detail::FromXml(xml_detail::LastXmlError());
}

} // namespace TlvUtl
