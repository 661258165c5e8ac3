#include "xml_runtime.h"

#include <tlvutl/com_error.h>
#include <tlvutl/encoding.h>

#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <cstring>
#include <mutex>

namespace TlvUtl::xml_detail {
namespace {

xmlExternalEntityLoader g_nextLoader = nullptr;
thread_local int t_localOnlyDepth = 0;
thread_local std::string t_lastError;

bool IsLocal(const char* url) {
    if (!url)
        return true;
    const char* colon = std::strchr(url, ':');
    if (!colon || colon - url < 2) // no scheme, or a drive letter
        return true;
    const std::string scheme(url, static_cast<std::size_t>(colon - url));
    for (char c : scheme)
        if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
              c == '+' || c == '-' || c == '.'))
            return true; // not a scheme: a relative path with a colon in it
    return scheme == "file" || scheme == "FILE";
}

// Chained in front of whatever loader the host installed, so the host's own libxml2 use
// is untouched outside the library's calls.
xmlParserInputPtr GuardedLoader(const char* url, const char* id, xmlParserCtxtPtr ctxt) {
    if (t_localOnlyDepth > 0 && !IsLocal(url)) {
        t_lastError = std::string("network access refused: ") + url;
        return nullptr;
    }
    return g_nextLoader ? g_nextLoader(url, id, ctxt) : nullptr;
}

} // namespace

void EnsureXmlRuntime() {
    static std::once_flag once;
    std::call_once(once, [] {
        xmlInitParser();
        g_nextLoader = xmlGetExternalEntityLoader();
        xmlSetExternalEntityLoader(GuardedLoader);
    });
}

LocalFilesOnly::LocalFilesOnly() {
    ++t_localOnlyDepth;
}

LocalFilesOnly::~LocalFilesOnly() {
    --t_localOnlyDepth;
}

std::string ToXml(std::wstring_view text) {
    // Plain ASCII is by far the common case in settings files: copy it straight.
    std::string out;
    out.resize(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const wchar_t c = text[i];
        if (static_cast<unsigned long>(c) >= 0x80)
            return TlvUtils::ToUtf8(text);
        out[i] = static_cast<char>(c);
    }
    return out;
}

std::string ToXml(const wchar_t* text) {
    return text ? ToXml(std::wstring_view(text)) : std::string();
}

CString FromXml(std::string_view text) {
    std::wstring out;
    out.resize(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= 0x80)
            return CString(TlvUtils::FromUtf8(text));
        out[i] = static_cast<wchar_t>(c);
    }
    return CString(std::move(out));
}

CString FromXml(const xmlChar* text) {
    return text ? FromXml(std::string_view(reinterpret_cast<const char*>(text))) : CString();
}

void SetLastXmlError(std::string message) {
    t_lastError = std::move(message);
}

void ClearLastXmlError() {
    t_lastError.clear();
}

const std::string& LastXmlError() {
    return t_lastError;
}

CString SystemMessage(HRESULT hr) {
    switch (static_cast<std::uint32_t>(hr)) {
    case 0x8007000Eu:
        return L"Not enough memory resources are available to complete this operation.";
    case 0x80004005u:
        return L"Unspecified error";
    case 0x80004003u:
        return L"Invalid pointer";
    case 0x80070057u:
        return L"The parameter is incorrect.";
    case 0x80004001u:
        return L"Not implemented";
    default: {
        CString m;
        m.Format(L"Error 0x%08X", static_cast<unsigned>(hr));
        return m;
    }
    }
}

void ThrowComError(HRESULT hr, const std::string& message) {
    throw ComError(hr, CString(message.c_str()));
}

void ThrowEmptyNode() {
    ThrowComError(E_POINTER, "the XML node is empty");
}

void ThrowNoDocument() {
    ThrowComError(E_POINTER, "the XML document has not been created or loaded");
}

std::string DescribeXmlError(const xmlError* error) {
    if (!error || !error->message)
        return "the XML parser reported an unknown error";
    std::string m = error->message;
    while (!m.empty() && (m.back() == '\n' || m.back() == '\r' || m.back() == ' '))
        m.pop_back();
    if (error->line > 0)
        m = "line " + std::to_string(error->line) + ": " + m;
    return m;
}

} // namespace TlvUtl::xml_detail
