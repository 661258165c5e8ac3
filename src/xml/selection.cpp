#include "selection.h"

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

void Silent(void*, xmlErrorPtr) {}

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
        ctx_->error = Silent; // the message is read from lastError
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
    xmlResetError(&ctx->lastError);
    xmlXPathCompExprPtr expr = xmlXPathCtxtCompile(ctx, BAD_CAST path.c_str());
    if (!expr)
        ThrowComError(E_FAIL, "invalid XPath '" + path + "': " + DescribeXmlError(&ctx->lastError));
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
    xmlXPathCompExprPtr expr = Compile(path);
    xmlXPathContextPtr ctx = Context();
    ctx->doc = context->doc;
    ctx->node = context;
    ctx->opLimit = kMaxOperations;
    ctx->opCount = 0;
    ctx->depth = 0;
    xmlResetError(&ctx->lastError);
    xmlXPathObjectPtr result = xmlXPathCompiledEval(expr, ctx);
    ctx->node = nullptr;
    if (!result)
        ThrowComError(E_FAIL,
                      "cannot evaluate XPath '" + path + "': " + DescribeXmlError(&ctx->lastError));
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
