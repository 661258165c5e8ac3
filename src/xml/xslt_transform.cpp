// WXmlDoc::ApplyXSLT through libxslt. The stylesheet may read other local documents
// (document(), xsl:import) but never the network, and may not write files.
#include "doc_state.h"
#include "tree_edit.h"
#include "xml_runtime.h"

#include <libxslt/security.h>
#include <libxslt/transform.h>
#include <libxslt/xsltInternals.h>
#include <libxslt/xsltutils.h>

#include <libxml/parser.h>

#include <tlvutl/com_error.h>

#include <mutex>

using namespace TlvUtl::xml_detail;

namespace {

struct SecurityFree {
    void operator()(xsltSecurityPrefsPtr p) const { xsltFreeSecurityPrefs(p); }
};

xsltSecurityPrefsPtr NewPrefs() {
    xsltSecurityPrefsPtr prefs = xsltNewSecurityPrefs();
    if (!prefs)
        return nullptr;
    xsltSetSecurityPrefs(prefs, XSLT_SECPREF_READ_NETWORK, xsltSecurityForbid);
    xsltSetSecurityPrefs(prefs, XSLT_SECPREF_WRITE_NETWORK, xsltSecurityForbid);
    xsltSetSecurityPrefs(prefs, XSLT_SECPREF_WRITE_FILE, xsltSecurityForbid);
    xsltSetSecurityPrefs(prefs, XSLT_SECPREF_CREATE_DIRECTORY, xsltSecurityForbid);
    return prefs;
}

// libxslt reports through one process-wide function; while a transform runs, its messages
// are collected for the thread's last error instead of going to stderr.
thread_local std::string* t_messages = nullptr;

void Collect(void*, const char* format, ...) {
    if (!t_messages)
        return;
    char text[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    if (t_messages->size() < 4096)
        *t_messages += text;
}

class CollectMessages {
public:
    explicit CollectMessages(std::string& into)
        : previous_(xsltGenericError), previousContext_(xsltGenericErrorContext) {
        t_messages = &into;
        xsltSetGenericErrorFunc(nullptr, Collect);
    }
    ~CollectMessages() {
        xsltSetGenericErrorFunc(previousContext_, previous_);
        t_messages = nullptr;
    }
    CollectMessages(const CollectMessages&) = delete;
    CollectMessages& operator=(const CollectMessages&) = delete;

private:
    xmlGenericErrorFunc previous_;
    void* previousContext_;
};

std::string Tidy(std::string m) {
    while (!m.empty() && (m.back() == '\n' || m.back() == ' '))
        m.pop_back();
    return m.empty() ? "the transformation failed" : m;
}

} // namespace

bool WXmlDoc::ApplyXSLT(WXmlDoc& stylesheet) {
    ClearLastXmlError();
    if (!IsLoaded() || !stylesheet.IsLoaded()) {
        SetLastXmlError("the document or the stylesheet has no content");
        return false;
    }
    try {
        CheckCopyDepth(reinterpret_cast<xmlNodePtr>(doc_->doc));
        CheckCopyDepth(reinterpret_cast<xmlNodePtr>(stylesheet.doc_->doc));
    } catch (const ComError& e) {
        SetLastXmlError(e.what());
        return false;
    }
    EnsureXmlRuntime();
    // libxslt reports through process-wide settings: one transformation at a time.
    static std::mutex serial;
    std::lock_guard<std::mutex> lock(serial);
    std::string messages;
    CollectMessages collect(messages);
    LocalFilesOnly localOnly;
    // Imports are checked against the default preferences, so they are set while parsing.
    std::unique_ptr<xsltSecurityPrefs, SecurityFree> prefs(NewPrefs());
    const xsltSecurityPrefsPtr previousDefault = xsltGetDefaultSecurityPrefs();
    xsltSetDefaultSecurityPrefs(prefs.get());
    // The compiled stylesheet owns the document it was made from: give it a copy.
    xmlDocPtr styleCopy = xmlCopyDoc(stylesheet.doc_->doc, 1);
    xsltStylesheetPtr style = styleCopy ? xsltParseStylesheetDoc(styleCopy) : nullptr;
    xsltSetDefaultSecurityPrefs(previousDefault);
    if (!style) {
        xmlFreeDoc(styleCopy);
        SetLastXmlError("not a usable stylesheet: " + Tidy(messages));
        return false;
    }
    xmlDocPtr result = nullptr;
    if (xsltTransformContextPtr ctxt = xsltNewTransformContext(style, doc_->doc)) {
        xsltSetCtxtSecurityPrefs(prefs.get(), ctxt);
        xsltSetCtxtParseOptions(ctxt, XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
        result = xsltApplyStylesheetUser(style, doc_->doc, nullptr, nullptr, nullptr, ctxt);
        if (ctxt->state != XSLT_STATE_OK) {
            xmlFreeDoc(result);
            result = nullptr;
        }
        xsltFreeTransformContext(ctxt);
    }
    xsltFreeStylesheet(style);
    if (!result || !xmlDocGetRootElement(result)) {
        xmlFreeDoc(result);
        SetLastXmlError(result ? "the transformation gave no document element" : Tidy(messages));
        return false;
    }
    doc_->ReplaceContent(result);
    return true;
}
