// What every part of the XML layer shares: bringing libxml2 up once, the guard that keeps
// it off the network, the text conversions at its edge, and error reporting.
#ifndef TLVUTL_XML_XML_RUNTIME_H
#define TLVUTL_XML_XML_RUNTIME_H

#include <tlvutl/cstring.h>
#include <tlvutl/wintypes.h>

#include <libxml/tree.h>

#include <string>
#include <string_view>

namespace TlvUtl::xml_detail {

// Initialises libxml2 and installs the network guard; cheap after the first call.
void EnsureXmlRuntime();

// While one exists on a thread, libxml2 may load local files only: every http or ftp URL
// (stylesheet imports, document(), schema includes) is refused.
class LocalFilesOnly {
public:
    LocalFilesOnly();
    ~LocalFilesOnly();
    LocalFilesOnly(const LocalFilesOnly&) = delete;
    LocalFilesOnly& operator=(const LocalFilesOnly&) = delete;
};

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
// line number when it has one.
std::string DescribeXmlError(const xmlError* error);

} // namespace TlvUtl::xml_detail

#endif
