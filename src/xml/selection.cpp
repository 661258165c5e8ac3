#include "selection.h"

#include "simple_path.h"
#include "xml_runtime.h"

#include <tlvutl/wintypes.h>

#include <libxml/xpathInternals.h>

namespace TlvUtl::xml_detail {
namespace {

// Compiled expressions kept per document; a settings reader uses a handful of distinct
// paths, a loop over ids many, so the cache is bounded and simply starts over when full.
constexpr std::size_t kMaxCompiled = 256;
// Bounds the work of one evaluation (a hostile path over a large document).
constexpr unsigned long kMaxOperations = 200000000UL;

// libxml2 formats XPath messages only for the thread's structured error handler, so one
// is put in place around each compilation and evaluation to keep the first message.
class CaptureErrors {
public:
    CaptureErrors()
        : previous_((EnsureXmlRuntime(), xmlStructuredError)),
          previousContext_(xmlStructuredErrorContext) {
        xmlSetStructuredErrorFunc(this, Keep);
    }
    ~CaptureErrors() { xmlSetStructuredErrorFunc(previousContext_, previous_); }
    CaptureErrors(const CaptureErrors&) = delete;
    CaptureErrors& operator=(const CaptureErrors&) = delete;

    std::string Message() const {
        return message_.empty() ? "the XPath parser reported an unknown error" : message_;
    }

private:
    static void Keep(void* self, xmlErrorPtr error) {
        auto* capture = static_cast<CaptureErrors*>(self);
        if (!capture->message_.empty() || !error || !error->message)
            return;
        std::string m = TidyXmlMessage(error->message);
        if (error->str1 && error->int1 >= 0)
            m += " at position " + std::to_string(error->int1);
        capture->message_ = m;
    }

    xmlStructuredErrorFunc previous_;
    void* previousContext_;
    std::string message_;
};

bool IsSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

} // namespace

Selection::~Selection() {
    for (auto& entry : compiled_)
        xmlXPathFreeCompExpr(entry.second);
    if (ctx_)
        xmlXPathFreeContext(ctx_);
}

xmlXPathContextPtr Selection::Context() {
    if (!ctx_) {
        ctx_ = xmlXPathNewContext(nullptr);
        if (!ctx_)
            ThrowComError(E_OUTOFMEMORY, "cannot create an XPath context");
        for (const auto& [prefix, uri] : namespaces_)
            xmlXPathRegisterNs(ctx_, BAD_CAST prefix.c_str(), BAD_CAST uri.c_str());
    }
    return ctx_;
}

xmlXPathCompExprPtr Selection::Compile(const std::string& path) {
    auto it = compiled_.find(path);
    if (it != compiled_.end())
        return it->second;
    xmlXPathContextPtr ctx = Context();
    CaptureErrors errors;
    xmlXPathCompExprPtr expr = xmlXPathCtxtCompile(ctx, BAD_CAST path.c_str());
    if (!expr)
        ThrowComError(E_FAIL, "invalid XPath '" + path + "': " + errors.Message());
    if (compiled_.size() >= kMaxCompiled) {
        for (auto& entry : compiled_)
            xmlXPathFreeCompExpr(entry.second);
        compiled_.clear();
    }
    compiled_.emplace(path, expr);
    return expr;
}

void Selection::Select(xmlNodePtr context, const std::string& path, bool firstOnly,
                       std::vector<xmlNodePtr>& out) {
    out.clear();
    if (context->type == XML_ELEMENT_NODE || context->type == XML_DOCUMENT_NODE) {
        SimplePath simple;
        if (simple.Parse(path)) {
            simple.Select(context, firstOnly, out);
            return;
        }
    }
    xmlXPathCompExprPtr expr = Compile(path);
    xmlXPathContextPtr ctx = Context();
    ctx->doc = context->doc;
    ctx->node = context;
    ctx->opLimit = kMaxOperations;
    ctx->opCount = 0;
    ctx->depth = 0;
    xmlXPathObjectPtr result = nullptr;
    std::string failure;
    {
        CaptureErrors errors;
        result = xmlXPathCompiledEval(expr, ctx);
        if (!result)
            failure = errors.Message();
    }
    ctx->node = nullptr;
    if (!result)
        ThrowComError(E_FAIL, "cannot evaluate XPath '" + path + "': " + failure);
    if (result->type != XPATH_NODESET) {
        xmlXPathFreeObject(result);
        ThrowComError(E_FAIL, "XPath '" + path + "' does not evaluate to a node-set");
    }
    if (xmlNodeSetPtr set = result->nodesetval) {
        out.reserve(firstOnly ? 1 : static_cast<std::size_t>(set->nodeNr));
        for (int i = 0; i < set->nodeNr; ++i) {
            xmlNodePtr n = set->nodeTab[i];
            // Namespace nodes are copies owned by the result: they cannot outlive it.
            if (!n || n->type == XML_NAMESPACE_DECL)
                continue;
            out.push_back(n);
            if (firstOnly)
                break;
        }
    }
    xmlXPathFreeObject(result);
}

void Selection::SetNamespaces(std::vector<std::pair<std::string, std::string>> prefixToUri) {
    namespaces_ = std::move(prefixToUri);
    if (ctx_) {
        xmlXPathRegisteredNsCleanup(ctx_);
        for (const auto& [prefix, uri] : namespaces_)
            xmlXPathRegisterNs(ctx_, BAD_CAST prefix.c_str(), BAD_CAST uri.c_str());
    }
}

bool ParseNamespaceDeclarations(const std::string& text,
                                std::vector<std::pair<std::string, std::string>>& out) {
    out.clear();
    std::size_t i = 0;
    const std::size_t n = text.size();
    for (;;) {
        while (i < n && IsSpace(text[i]))
            ++i;
        if (i == n)
            return true;
        if (text.compare(i, 5, "xmlns") != 0)
            return false;
        i += 5;
        std::string prefix;
        if (i < n && text[i] == ':') {
            const std::size_t start = ++i;
            while (i < n && text[i] != '=' && !IsSpace(text[i]))
                ++i;
            prefix = text.substr(start, i - start);
            if (prefix.empty() || xmlValidateNCName(BAD_CAST prefix.c_str(), 0) != 0)
                return false;
        }
        while (i < n && IsSpace(text[i]))
            ++i;
        if (i == n || text[i] != '=')
            return false;
        ++i;
        while (i < n && IsSpace(text[i]))
            ++i;
        if (i == n || (text[i] != '\'' && text[i] != '"'))
            return false;
        const char quote = text[i++];
        const std::size_t end = text.find(quote, i);
        if (end == std::string::npos)
            return false;
        // A default namespace has no prefix to use in XPath 1.0: accepted and ignored.
        if (!prefix.empty())
            out.emplace_back(prefix, text.substr(i, end - i));
        i = end + 1;
    }
}

} // namespace TlvUtl::xml_detail
