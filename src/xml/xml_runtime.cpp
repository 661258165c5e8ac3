#include "xml_runtime.h"

#include <tlvutl/com_error.h>
#include <tlvutl/encoding.h>

#include "parser.h"

#include "platform/file_system.h"
#include "platform/thread_slot.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/uri.h>
#include <libxml/xmlerror.h>
#include <libxslt/documents.h>
#include <libxslt/imports.h>
#include <libxslt/transform.h>
#include <libxslt/xsltutils.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace TlvUtl::xml_detail {
namespace {

xmlExternalEntityLoader g_nextLoader = nullptr;
xsltDocLoaderFunc g_nextDocLoader = nullptr;
// The thread's error texts. Not C++ thread_locals: they have destructors (see
// platform/thread_slot.h).
struct ThreadTexts {
    std::string lastError;
    std::string diagnostics;
    // libxml2 hands generic messages over in pieces; they are joined per line.
    std::string pendingLine;
};

ThreadTexts& Texts() {
    static tlv::platform::PerThread<ThreadTexts> texts;
    return texts.Get();
}

struct Policy {
    std::vector<std::string> folders; // canonical, each ending in '/'
    std::string refused;
};
thread_local Policy* t_policy = nullptr;

void Note(std::string message) {
    constexpr std::size_t kMaxDiagnostics = 4096;
    message = TidyXmlMessage(std::move(message));
    std::string& diagnostics = Texts().diagnostics;
    if (message.empty() || diagnostics.size() >= kMaxDiagnostics)
        return;
    if (!diagnostics.empty())
        diagnostics += "; ";
    diagnostics += message;
}

// The first refusal is kept apart (callers put it first); later ones join the diagnostics.
void Refuse(const std::string& what) {
    if (t_policy && t_policy->refused.empty())
        t_policy->refused = what;
    else
        Note(what);
}

void GenericSink(void*, const char* format, ...) {
    char text[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    std::string& pendingLine = Texts().pendingLine;
    if (pendingLine.size() < 2048)
        pendingLine += text;
    const std::size_t eol = pendingLine.rfind('\n');
    if (eol != std::string::npos) {
        Note(pendingLine.substr(0, eol));
        pendingLine.erase(0, eol + 1);
    }
}

void StructuredSink(void*, xmlErrorPtr error) {
    Note(DescribeXmlError(error));
}

// The local path a URL or path names, or false for any other scheme.
bool LocalPathOf(const char* url, std::string& path) {
    std::string text = url ? url : "";
    const std::size_t colon = text.find(':');
    if (colon != std::string::npos && colon >= 2) {
        bool scheme = true;
        for (std::size_t i = 0; i < colon; ++i) {
            const char c = text[i];
            scheme = scheme && ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                                (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.');
        }
        if (scheme) {
            std::string name = text.substr(0, colon);
            for (char& c : name)
                c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
            if (name != "file")
                return false;
            text.erase(0, colon + 1);
            if (text.compare(0, 2, "//") == 0) {
                text.erase(0, 2);
                if (text.compare(0, 9, "localhost") == 0)
                    text.erase(0, 9);
                if (text.empty() || text[0] != '/')
                    return false; // a file on another host
            }
            char* unescaped = xmlURIUnescapeString(text.c_str(), 0, nullptr);
            if (!unescaped)
                return false;
            text = unescaped;
            xmlFree(unescaped);
        }
    }
#ifdef _WIN32
    // "file:/C:/x" and "file:///C:/x" name the drive path "C:/x".
    if (text.size() >= 3 && text[0] == '/' &&
        ((text[1] >= 'A' && text[1] <= 'Z') || (text[1] >= 'a' && text[1] <= 'z')) &&
        text[2] == ':')
        text.erase(0, 1);
#endif
    path = std::move(text);
    return !path.empty();
}

// The canonical form of an existing path. libxml2 escapes the paths it builds from a base
// and a relative reference (and a document's URL); a path is tried as written first, as
// libxml2's own loader does, then unescaped.
bool Resolve(const std::string& path, std::wstring& resolved) {
    if (!tlv::platform::CanonicalPath(tlv::platform::WidePath(path), resolved))
        return true;
    char* unescaped = xmlURIUnescapeString(path.c_str(), 0, nullptr);
    if (!unescaped)
        return false;
    const bool found = !tlv::platform::CanonicalPath(tlv::platform::WidePath(unescaped), resolved);
    xmlFree(unescaped);
    if (!found)
        resolved.clear();
    return found;
}

// The bytes of url when the thread's policy allows it, else false with the refusal noted.
// The reason names the URL only: nothing of a refused file is ever read.
bool ReadAllowed(const char* url, std::string& canonical, std::string& bytes) {
    const std::string shown = url ? url : "(none)";
    std::string path;
    if (!LocalPathOf(url, path)) {
        Refuse("refused to load " + shown + ": only local files are read");
        return false;
    }
    std::wstring resolved;
    Resolve(path, resolved);
    tlv::platform::FileInfo info;
    if (resolved.empty() || tlv::platform::Stat(resolved, info) ||
        info.kind != tlv::platform::FileKind::kFile) {
        Refuse("refused to load " + shown + ": not an existing file");
        return false;
    }
    canonical = TlvUtils::ToUtf8(resolved);
    bool inside = false;
    for (const std::string& folder : t_policy->folders)
        inside = inside || canonical.compare(0, folder.size(), folder) == 0;
    if (!inside) {
        Refuse("refused to load " + shown +
               ": only files in the folder of the stylesheet, schema or document are read");
        return false;
    }
    if (const std::error_code ec = tlv::platform::ReadWholeFile(resolved, bytes)) {
        Refuse("cannot read " + shown + ": " + tlv::platform::Describe(ec, resolved));
        return false;
    }
    std::string error;
    if (!WithinLimits(bytes.data(), bytes.size(), error)) {
        Refuse("refused to load " + shown + ": " + error);
        return false;
    }
    return true;
}

void StopAtDtd(void* ctx, const xmlChar*, const xmlChar*, const xmlChar*) {
    auto* ctxt = static_cast<xmlParserCtxtPtr>(ctx);
    Refuse(std::string("refused to load ") +
           (ctxt->input && ctxt->input->filename ? ctxt->input->filename : "a document") +
           ": DTD is prohibited");
    xmlStopParser(ctxt);
}

// Every document libxml2 itself loads (XSD include, import and redefine; anything else
// that reaches for a URL). Chained in front of the host's loader, which keeps serving the
// host's own libxml2 use outside the library's calls.
xmlParserInputPtr GuardedLoader(const char* url, const char* id, xmlParserCtxtPtr ctxt) {
    if (!t_policy)
        return g_nextLoader ? g_nextLoader(url, id, ctxt) : nullptr;
    // A load into a parser that has input already is an external entity or DTD: never.
    if (!ctxt || ctxt->inputNr > 0) {
        Refuse(std::string("refused to load ") + (url ? url : "(none)") +
               ": external entities and DTDs are not loaded");
        return nullptr;
    }
    std::string canonical, bytes;
    if (!ReadAllowed(url, canonical, bytes))
        return nullptr;
    // The parser is about to read a document: it may not declare a DTD either.
    if (ctxt->sax) {
        ctxt->sax->internalSubset = StopAtDtd;
        ctxt->sax->externalSubset = StopAtDtd;
    }
    xmlParserInputBufferPtr buffer = xmlParserInputBufferCreateMem(
        bytes.data(), static_cast<int>(bytes.size()), XML_CHAR_ENCODING_NONE);
    if (!buffer)
        return nullptr;
    xmlParserInputPtr input = xmlNewIOInputStream(ctxt, buffer, XML_CHAR_ENCODING_NONE);
    if (!input) {
        xmlFreeParserInputBuffer(buffer);
        return nullptr;
    }
    input->filename = reinterpret_cast<char*>(xmlStrdup(BAD_CAST canonical.c_str()));
    return input;
}

// Every document libxslt loads (xsl:include, xsl:import, document()).
xmlDocPtr GuardedDocLoader(const xmlChar* uri, xmlDictPtr dict, int options, void* ctxt,
                           xsltLoadType type) {
    if (!t_policy)
        return g_nextDocLoader ? g_nextDocLoader(uri, dict, options, ctxt, type) : nullptr;
    std::string canonical, bytes, error;
    if (!ReadAllowed(reinterpret_cast<const char*>(uri), canonical, bytes))
        return nullptr;
    ParseRequest request;
    request.bytes = bytes.data();
    request.size = bytes.size();
    request.url = canonical.c_str();
    request.keepBlanks = true; // libxslt strips what the stylesheet says to strip
    request.dict = dict;
    request.extraOptions = options & XML_PARSE_NOCDATA;
    xmlDocPtr doc = ParseXml(request, error);
    if (!doc) {
        Refuse("cannot use " + std::string(reinterpret_cast<const char*>(uri)) + ": " + error);
        return nullptr;
    }
    if (type == XSLT_LOAD_DOCUMENT) {
        auto* transform = static_cast<xsltTransformContextPtr>(ctxt);
        if (xsltNeedElemSpaceHandling(transform))
            xsltApplyStripSpaces(transform, xmlDocGetRootElement(doc));
    }
    return doc;
}

} // namespace

void EnsureXmlRuntime() {
    static std::once_flag once;
    std::call_once(once, [] {
        xmlInitParser();
        g_nextLoader = xmlGetExternalEntityLoader();
        xmlSetExternalEntityLoader(GuardedLoader);
        g_nextDocLoader = xsltDocDefaultLoader;
        xsltSetLoaderFunc(GuardedDocLoader);
        // libxslt has one process-wide handler; it reports to the calling thread's record.
        xsltSetGenericErrorFunc(nullptr, GenericSink);
        // Threads started from now on begin with the library's handlers.
        xmlThrDefSetGenericErrorFunc(nullptr, GenericSink);
        xmlThrDefSetStructuredErrorFunc(nullptr, StructuredSink);
    });
    // libxml2 keeps its handlers per thread: threads that existed before need them too.
    thread_local bool handlersSet = false;
    if (!handlersSet) {
        xmlSetGenericErrorFunc(nullptr, GenericSink);
        xmlSetStructuredErrorFunc(nullptr, StructuredSink);
        handlersSet = true;
    }
}

LoadPolicy::LoadPolicy(const std::vector<std::string>& folders) : previous_(t_policy) {
    auto* policy = new Policy;
    for (const std::string& folder : folders) {
        std::wstring canonical;
        if (folder.empty() || !Resolve(folder, canonical))
            continue;
        std::string f = TlvUtils::ToUtf8(canonical);
        // Canonical paths use the system's separator ('\\' on Windows).
        const char separator = static_cast<char>(tlv::platform::kPathSeparator);
        if (f.empty() || f.back() != separator)
            f += separator;
        policy->folders.push_back(std::move(f));
    }
    t_policy = policy;
}

LoadPolicy::~LoadPolicy() {
    delete t_policy;
    t_policy = static_cast<Policy*>(previous_);
}

std::string FolderOfDocument(const xmlDoc* doc) {
    std::string path;
    if (!doc || !doc->URL || !LocalPathOf(reinterpret_cast<const char*>(doc->URL), path))
        return {};
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string RefusedLoad() {
    return t_policy ? t_policy->refused : std::string();
}

std::string TakeDiagnostics() {
    std::string& diagnostics = Texts().diagnostics;
    std::string out = std::move(diagnostics);
    diagnostics.clear();
    return out;
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
    Texts().lastError = std::move(message);
}

void ClearLastXmlError() {
    Texts().lastError.clear();
}

const std::string& LastXmlError() {
    return Texts().lastError;
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
    std::string m = TidyXmlMessage(error->message);
    if (error->line > 0)
        m = "line " + std::to_string(error->line) + ": " + m;
    return m;
}

std::string TidyXmlMessage(std::string m) {
    // libxml2 suggests options it would take to go past its limits; the library never
    // offers them, so the advice is noise to a user.
    for (const char* advice : {" use XML_PARSE_HUGE option", "use XML_PARSE_HUGE option",
                               " (use XML_PARSE_HUGE)", "XML_PARSE_HUGE"}) {
        for (std::size_t at; (at = m.find(advice)) != std::string::npos;)
            m.erase(at, std::strlen(advice));
    }
    while (!m.empty() && (m.back() == '\n' || m.back() == '\r' || m.back() == ' '))
        m.pop_back();
    return m;
}

} // namespace TlvUtl::xml_detail
