// What every part of the XML layer shares: bringing libxml2 up once, the guard on what it
// may load, the text conversions at its edge, and error reporting.
//
// libxml2 and libxslt load further files on a document's behalf (xsl:include and
// xsl:import, document(), XSD include, import and redefine). While a LoadPolicy exists on a
// thread, every such load goes through the library: only a regular local file inside one of
// the policy's folders (links resolved) is read, through the platform layer; it is parsed as
// every document is (no DTD, so no entity of any kind, no network) and within the same
// limits. Anything else is refused and the reason kept (RefusedLoad()).
//
// Every message libxml2 or libxslt produces on a thread that has used the layer goes to the
// thread's diagnostics (TakeDiagnostics()), never to the process's error stream.
#ifndef TLVUTL_XML_XML_RUNTIME_H
#define TLVUTL_XML_XML_RUNTIME_H

#include <tlvutl/cstring.h>
#include <tlvutl/wintypes.h>

#include <libxml/tree.h>

#include <string>
#include <string_view>
#include <vector>

namespace TlvUtl::xml_detail {

// Initialises libxml2 and libxslt, installs the load guard once and this thread's message
// handlers; cheap after the first call on a thread.
void EnsureXmlRuntime();

// While one exists on a thread, libxml2 and libxslt may load only regular local files inside
// the given folders (UTF-8 paths; none given: nothing at all). Scopes nest: the innermost
// one applies until it ends.
class LoadPolicy {
public:
    explicit LoadPolicy(const std::vector<std::string>& folders = {});
    ~LoadPolicy();
    LoadPolicy(const LoadPolicy&) = delete;
    LoadPolicy& operator=(const LoadPolicy&) = delete;

private:
    void* previous_;
};

// The folder of a document's URL when it names a local file, for a LoadPolicy; empty when
// the document came from memory or a URL.
std::string FolderOfDocument(const xmlDoc* doc);

// Why the first load the innermost policy refused was refused ("" when none was).
std::string RefusedLoad();

// The messages libxml2 and libxslt gave on this thread since the last call (at most a few
// kilobytes, lines joined by "; ").
std::string TakeDiagnostics();
std::string ToXml(std::wstring_view text);
std::string ToXml(const wchar_t* text);
CString FromXml(const xmlChar* text);
CString FromXml(std::string_view text);

// The thread's record of why the last load, save, transform or validation failed.
void SetLastXmlError(std::string message);
void ClearLastXmlError();
const std::string& LastXmlError();

// The text Windows gives for an HRESULT, for messages shown to users.
CString SystemMessage(HRESULT hr);

[[noreturn]] void ThrowComError(HRESULT hr, const std::string& message);
[[noreturn]] void ThrowEmptyNode();
[[noreturn]] void ThrowNoDocument();

// A message from libxml2's error record: its text without the trailing newline, with the
// line number when it has one, and without advice to set parser options the library never
// sets.
std::string DescribeXmlError(const xmlError* error);
// The same cleaning for a message libxml2 gave as text.
std::string TidyXmlMessage(std::string message);

} // namespace TlvUtl::xml_detail

#endif
