#include "parser.h"

#include "xml_runtime.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <climits>

namespace TlvUtl::xml_detail {
namespace {

struct ParseState {
    bool sawDtd = false;
};

void RefuseDtd(void* ctx, const xmlChar*, const xmlChar*, const xmlChar*) {
    auto* ctxt = static_cast<xmlParserCtxtPtr>(ctx);
    static_cast<ParseState*>(ctxt->_private)->sawDtd = true;
    xmlStopParser(ctxt);
}

// Reads the text as units of one or two bytes: UTF-16 is told by its byte-order mark or by
// a first "<" with a zero byte beside it; anything else is read byte by byte, which suits
// UTF-8 and every 8-bit encoding (the markup characters are ASCII in all of them).
class Units {
public:
    Units(const unsigned char* b, std::size_t size) : b_(b) {
        if (size >= 2 && ((b[0] == 0xFF && b[1] == 0xFE) || (b[0] == '<' && b[1] == 0))) {
            width_ = 2;
            little_ = true;
        } else if (size >= 2 && ((b[0] == 0xFE && b[1] == 0xFF) || (b[0] == 0 && b[1] == '<'))) {
            width_ = 2;
        }
        count_ = size / width_;
    }
    std::size_t Count() const { return count_; }
    unsigned operator[](std::size_t i) const {
        if (width_ == 1)
            return b_[i];
        const unsigned hi = b_[2 * i + (little_ ? 1 : 0)], lo = b_[2 * i + (little_ ? 0 : 1)];
        return hi << 8 | lo;
    }
    bool At(std::size_t i, const char* text) const {
        for (; *text; ++text, ++i)
            if (i >= count_ || (*this)[i] != static_cast<unsigned char>(*text))
                return false;
        return true;
    }

private:
    const unsigned char* b_;
    std::size_t width_ = 1, count_ = 0;
    bool little_ = false;
};

std::string Plural(std::size_t n, const char* what) {
    return std::to_string(n) + " " + what;
}

} // namespace

bool WithinLimits(const char* bytes, std::size_t size, std::string& error) {
    if (size > kMaxDocumentBytes) {
        error = "the document is larger than " + std::to_string(kMaxDocumentBytes >> 20) +
                " MB, the most the library reads";
        return false;
    }
    const Units u(reinterpret_cast<const unsigned char*>(bytes), size);
    const std::size_t n = u.Count();
    const std::string tooLong = "a text, value or comment is longer than " +
                                Plural(kMaxTextLength, "characters") +
                                ", the most the library reads";
    std::size_t run = 0; // characters of the current text
    int depth = 0;
    for (std::size_t i = 0; i < n;) {
        if (u[i] != '<') {
            if (++run > kMaxTextLength) {
                error = tooLong;
                return false;
            }
            ++i;
            continue;
        }
        run = 0;
        // Markup whose content is text up to a closing sequence.
        const char* close = nullptr;
        std::size_t open = 0;
        if (u.At(i, "<!--"))
            close = "-->", open = 4;
        else if (u.At(i, "<![CDATA["))
            close = "]]>", open = 9;
        else if (u.At(i, "<?"))
            close = "?>", open = 2;
        if (close) {
            i += open;
            std::size_t length = 0;
            while (i < n && !u.At(i, close)) {
                if (++length > kMaxTextLength) {
                    error = tooLong;
                    return false;
                }
                ++i;
            }
            i += 3; // past the closing sequence (or the end)
            continue;
        }
        // A tag: count attributes and their values' lengths, track nesting.
        const bool endTag = i + 1 < n && u[i + 1] == '/';
        const bool declaration = i + 1 < n && u[i + 1] == '!';
        std::size_t attributes = 0, value = 0;
        unsigned quote = 0, previous = 0;
        for (++i; i < n; previous = u[i], ++i) {
            const unsigned c = u[i];
            if (quote) {
                if (c == quote)
                    quote = 0;
                else if (++value > kMaxTextLength) {
                    error = tooLong;
                    return false;
                }
            } else if (c == '"' || c == '\'') {
                quote = c;
                value = 0;
            } else if (c == '=') {
                if (++attributes > kMaxAttributesPerElement) {
                    error = "an element has more than " +
                            Plural(kMaxAttributesPerElement, "attributes") +
                            ", the most the library reads";
                    return false;
                }
            } else if (c == '>') {
                break;
            }
        }
        if (endTag) {
            depth = depth > 0 ? depth - 1 : 0;
        } else if (!declaration) {
            if (depth >= kMaxDepth) { // an empty element is a level too
                error = "the nesting depth of elements exceeds " + std::to_string(kMaxDepth) +
                        " levels, the most the library reads";
                return false;
            }
            if (previous != '/')
                ++depth;
        }
        ++i;
    }
    return true;
}

xmlDocPtr ParseXml(const ParseRequest& request, std::string& error) {
    EnsureXmlRuntime();
    static_assert(kMaxDocumentBytes <= static_cast<std::size_t>(INT_MAX));
    if (!WithinLimits(request.bytes, request.size, error))
        return nullptr;
    xmlParserCtxtPtr ctxt = xmlNewParserCtxt();
    if (!ctxt) {
        error = "out of memory";
        return nullptr;
    }
    if (request.dict) {
        // libxslt frees the names of the documents it loads through its own dictionary.
        if (ctxt->dict)
            xmlDictFree(ctxt->dict);
        ctxt->dict = request.dict;
        xmlDictReference(ctxt->dict);
    }
    ParseState state;
    ctxt->_private = &state;
    ctxt->sax->internalSubset = RefuseDtd;
    int options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING |
                  (request.extraOptions & XML_PARSE_NOCDATA);
    if (!request.keepBlanks)
        options |= XML_PARSE_NOBLANKS;
    if (request.encoding)
        options |= XML_PARSE_IGNORE_ENC;
    LoadPolicy nothing; // a document in memory loads nothing else
    xmlDocPtr doc =
        xmlCtxtReadMemory(ctxt, request.size ? request.bytes : "", static_cast<int>(request.size),
                          request.url, request.encoding, options);
    if (state.sawDtd) {
        error = "DTD is prohibited";
    } else if (!doc) {
        error = DescribeXmlError(xmlCtxtGetLastError(ctxt));
    } else if (!xmlDocGetRootElement(doc)) {
        error = "the document has no document element";
    } else {
        xmlFreeParserCtxt(ctxt);
        return doc;
    }
    xmlFreeDoc(doc);
    xmlFreeParserCtxt(ctxt);
    return nullptr;
}

} // namespace TlvUtl::xml_detail
