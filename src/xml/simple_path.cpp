#include "simple_path.h"

#include <cstring>

namespace TlvUtl::xml_detail {
namespace {

bool NameStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool NameChar(char c) {
    return NameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

bool ReadName(const std::string& p, std::size_t& i, std::string& name) {
    if (i >= p.size() || !NameStart(p[i]))
        return false;
    const std::size_t start = i;
    while (i < p.size() && NameChar(p[i]))
        ++i;
    name.assign(p, start, i - start);
    return true;
}

// XPath's string value of an attribute, compared without copying it when it is one text.
bool AttributeEquals(xmlAttrPtr a, const std::string& value) {
    xmlNodePtr t = a->children;
    if (!t)
        return value.empty();
    if (!t->next && t->type == XML_TEXT_NODE)
        return std::strcmp(reinterpret_cast<const char*>(t->content ? t->content : BAD_CAST ""),
                           value.c_str()) == 0;
    xmlChar* text = xmlNodeGetContent(reinterpret_cast<xmlNodePtr>(a));
    const bool equal = value == (text ? reinterpret_cast<const char*>(text) : "");
    xmlFree(text);
    return equal;
}

bool HasAttribute(xmlNodePtr element, const std::string& name, const std::string& value) {
    for (xmlAttrPtr a = element->properties; a; a = a->next)
        if (!a->ns && std::strcmp(reinterpret_cast<const char*>(a->name), name.c_str()) == 0)
            return AttributeEquals(a, value);
    return false;
}

} // namespace

bool SimplePath::Parse(const std::string& p) {
    steps_.clear();
    std::size_t i = 0;
    for (;;) {
        Step step;
        if (!ReadName(p, i, step.name))
            return false;
        while (i < p.size() && p[i] == '[') {
            ++i;
            Filter f;
            if (i < p.size() && p[i] == '@') {
                ++i;
                if (!ReadName(p, i, f.attribute) || i + 1 >= p.size() || p[i] != '=')
                    return false;
                const char quote = p[++i];
                if (quote != '\'' && quote != '"')
                    return false;
                const std::size_t end = p.find(quote, ++i);
                if (end == std::string::npos)
                    return false;
                f.value.assign(p, i, end - i);
                i = end + 1;
            } else {
                const std::size_t start = i;
                while (i < p.size() && p[i] >= '0' && p[i] <= '9' && i - start < 9)
                    f.position = f.position * 10 + (p[i++] - '0');
                if (i == start || (i < p.size() && p[i] >= '0' && p[i] <= '9'))
                    return false;
                if (f.position == 0)
                    f.position = -1; // position()=0: never true
            }
            if (i >= p.size() || p[i] != ']')
                return false;
            ++i;
            step.filters.push_back(std::move(f));
        }
        steps_.push_back(std::move(step));
        if (i == p.size())
            return true;
        if (p[i] != '/')
            return false;
        ++i;
    }
}

void SimplePath::Select(xmlNodePtr context, bool firstOnly, std::vector<xmlNodePtr>& out) const {
    out.clear();
    std::vector<xmlNodePtr> current, next, matches;
    current.push_back(context);
    for (std::size_t s = 0; s < steps_.size(); ++s) {
        const Step& step = steps_[s];
        const bool last = s + 1 == steps_.size();
        next.clear();
        for (xmlNodePtr parent : current) {
            matches.clear();
            for (xmlNodePtr c = parent->children; c; c = c->next)
                if (c->type == XML_ELEMENT_NODE && !c->ns &&
                    std::strcmp(reinterpret_cast<const char*>(c->name), step.name.c_str()) == 0)
                    matches.push_back(c);
            // Each filter works on what the previous one kept, positions counting from 1.
            for (const Filter& f : step.filters) {
                if (f.position != 0) {
                    const bool in =
                        f.position > 0 && static_cast<std::size_t>(f.position) <= matches.size();
                    xmlNodePtr kept =
                        in ? matches[static_cast<std::size_t>(f.position) - 1] : nullptr;
                    matches.assign(kept ? 1 : 0, kept);
                } else {
                    std::size_t n = 0;
                    for (xmlNodePtr m : matches)
                        if (HasAttribute(m, f.attribute, f.value))
                            matches[n++] = m;
                    matches.resize(n);
                }
            }
            next.insert(next.end(), matches.begin(), matches.end());
            if (last && firstOnly && !next.empty())
                break;
        }
        current.swap(next);
        if (current.empty())
            return;
    }
    if (firstOnly && current.size() > 1)
        current.erase(current.begin() + 1, current.end());
    out.swap(current);
}

} // namespace TlvUtl::xml_detail
