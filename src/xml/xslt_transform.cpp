// WXmlDoc::ApplyXSLT through libxslt. The stylesheet may read other local documents
// (document(), xsl:include, xsl:import) from its own folder or the source document's, and
// below; never the network, never another file, and it may not write files.
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
#include <string>
#include <vector>

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

// What went wrong: a refused load first (the diagnostics that follow it only say that
// something was missing), then libxslt's own messages.
std::string Reason() {
    std::string refused = RefusedLoad();
    std::string messages = TakeDiagnostics();
    if (refused.empty())
        return messages;
    return messages.empty() ? refused : refused + "; " + messages;
}

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
    TakeDiagnostics();
    std::vector<std::string> folders;
    for (const xmlDoc* d : {stylesheet.doc_->doc, doc_->doc})
        if (std::string folder = FolderOfDocument(d); !folder.empty())
            folders.push_back(std::move(folder));
    LoadPolicy policy(folders);
    // Imports are checked against the default preferences, so they are set while parsing.
    std::unique_ptr<xsltSecurityPrefs, SecurityFree> prefs(NewPrefs());
    const xsltSecurityPrefsPtr previousDefault = xsltGetDefaultSecurityPrefs();
    xsltSetDefaultSecurityPrefs(prefs.get());
    // The compiled stylesheet owns the document it was made from: give it a copy.
    xmlDocPtr styleCopy = xmlCopyDoc(stylesheet.doc_->doc, 1);
    xsltStylesheetPtr style = styleCopy ? xsltParseStylesheetDoc(styleCopy) : nullptr;
    xsltSetDefaultSecurityPrefs(previousDefault);
    if (!style || style->errors > 0) {
        if (style)
            xsltFreeStylesheet(style);
        else
            xmlFreeDoc(styleCopy);
        SetLastXmlError("not a usable stylesheet: " + Tidy(Reason()));
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
        SetLastXmlError(result ? "the transformation gave no document element" : Tidy(Reason()));
        return false;
    }
    doc_->ReplaceContent(result);
    return true;
}
