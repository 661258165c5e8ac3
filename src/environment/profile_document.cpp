#include "profile_document.h"

#include "core/case_fold.h"

#include <tlvutl/encoding.h>

#include <cwctype>

namespace tlv::environment {
namespace {

bool IsBlank(wchar_t c) {
    return c == L' ' || c == L'\t';
}

std::wstring_view TrimView(std::wstring_view s) {
    std::size_t b = 0, e = s.size();
    while (b < e && IsBlank(s[b]))
        ++b;
    while (e > b && IsBlank(s[e - 1]))
        --e;
    return s.substr(b, e - b);
}

std::wstring Trim(std::wstring_view s) {
    return std::wstring(TrimView(s));
}

wchar_t Fold(wchar_t c) {
    return tlv::core::FoldLower(c);
}

std::wstring_view Dequote(std::wstring_view v) {
    if (v.size() >= 2 && (v.front() == L'"' || v.front() == L'\'') && v.back() == v.front())
        return v.substr(1, v.size() - 2);
    return v;
}

} // namespace

std::size_t NameHash::operator()(std::wstring_view s) const noexcept {
    std::size_t h = 1469598103934665603ull;
    for (wchar_t c : s)
        h = (h ^ static_cast<std::size_t>(Fold(c))) * 1099511628211ull;
    return h;
}

bool NameEqual::operator()(std::wstring_view a, std::wstring_view b) const noexcept {
    return tlv::core::EqualNoCase(a, b);
}

ProfileDocument::Line ProfileDocument::Classify(std::string raw, std::wstring text) {
    Line l;
    l.raw = std::move(raw);
    l.text = std::move(text);
    std::size_t i = 0;
    while (i < l.text.size() && IsBlank(l.text[i]))
        ++i;
    if (i == l.text.size()) {
        l.kind = Kind::Blank;
    } else if (l.text[i] == L'[') {
        const std::size_t close = l.text.find(L']', i + 1);
        l.kind = Kind::Section;
        l.name = Trim(std::wstring_view(l.text).substr(
            i + 1, close == std::wstring::npos ? std::wstring::npos : close - i - 1));
    } else if (l.text[i] == L';') {
        l.kind = Kind::Comment;
    } else if (const std::size_t eq = l.text.find(L'='); eq != std::wstring::npos) {
        l.kind = Kind::Entry;
        l.name = Trim(std::wstring_view(l.text).substr(0, eq));
        l.value = Trim(std::wstring_view(l.text).substr(eq + 1));
    } else {
        l.kind = Kind::Other;
        l.name = Trim(l.text);
    }
    return l;
}

ProfileDocument ProfileDocument::Parse(const std::string& bytes) {
    ProfileDocument d;
    std::size_t start = 0;
    if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
        static_cast<unsigned char>(bytes[1]) == 0xFE) {
        d.utf16_ = true;
        start = 2;
    } else if (bytes.size() >= 3 && bytes.compare(0, 3, "\xEF\xBB\xBF") == 0) {
        d.utf8Bom_ = true;
        start = 3;
    }
    const std::size_t unit = d.utf16_ ? 2 : 1;
    auto isNewline = [&](std::size_t at) {
        return d.utf16_ ? bytes[at] == '\n' && bytes[at + 1] == '\0' : bytes[at] == '\n';
    };
    auto isReturn = [&](std::size_t at) {
        return d.utf16_ ? bytes[at] == '\r' && bytes[at + 1] == '\0' : bytes[at] == '\r';
    };
    bool eolKnown = false;
    std::size_t lineStart = start;
    const std::size_t usable = start + (bytes.size() - start) / unit * unit;
    d.finalNewline_ = false;
    for (std::size_t at = start; at < usable; at += unit) {
        std::size_t end = at;
        const char* eol = nullptr;
        if (isNewline(at)) {
            const bool crlf = end >= lineStart + unit && isReturn(end - unit);
            if (crlf)
                end -= unit;
            eol = crlf ? "\r\n" : "\n";
        } else if (isReturn(at) && !(at + unit < usable && isNewline(at + unit))) {
            eol = "\r"; // a CR alone, as old Mac tools end lines
        } else {
            continue;
        }
        if (!eolKnown) {
            d.eol_ = eol;
            eolKnown = true;
        }
        std::string raw = bytes.substr(lineStart, end - lineStart);
        std::wstring text =
            d.utf16_ ? TlvUtils::FromUtf16LE(raw.data(), raw.size()) : TlvUtils::FromUtf8(raw);
        d.lines_.push_back(Classify(std::move(raw), std::move(text)));
        d.lines_.back().eol = eol; // kept, so untouched lines are written back as they were
        lineStart = at + unit;
        d.finalNewline_ = true;
    }
    // A UTF-16 file cut in the middle of a character: the half character is no text, and
    // kept it would shift every character written after it.
    if (lineStart < usable) {
        std::string raw = bytes.substr(lineStart, usable - lineStart);
        std::wstring text =
            d.utf16_ ? TlvUtils::FromUtf16LE(raw.data(), raw.size()) : TlvUtils::FromUtf8(raw);
        d.lines_.push_back(Classify(std::move(raw), std::move(text)));
        d.finalNewline_ = false;
    }
    if (d.lines_.empty())
        d.finalNewline_ = true;
    d.Reindex();
    return d;
}

std::string ProfileDocument::Serialize() const {
    std::string out;
    if (utf16_)
        out = "\xFF\xFE";
    else if (utf8Bom_)
        out = "\xEF\xBB\xBF";
    const std::string eol = utf16_ ? TlvUtils::ToUtf16LE(TlvUtils::FromUtf8(eol_)) : eol_;
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        const Line& l = lines_[i];
        if (l.dirty)
            out += utf16_ ? TlvUtils::ToUtf16LE(l.text) : TlvUtils::ToUtf8(l.text);
        else
            out += l.raw;
        if (!l.eol.empty())
            out += utf16_ ? TlvUtils::ToUtf16LE(TlvUtils::FromUtf8(l.eol)) : l.eol;
        else if (i + 1 < lines_.size() || finalNewline_)
            out += eol;
    }
    return out;
}

void ProfileDocument::Reindex() {
    sections_.clear();
    sectionIndex_.clear();
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        const Line& l = lines_[i];
        if (l.kind == Kind::Section) {
            if (!sections_.empty())
                sections_.back().end = i;
            sections_.push_back(Section{l.name, i, lines_.size(), {}});
            sectionIndex_.emplace(l.name, sections_.size() - 1);
        } else if (l.kind == Kind::Entry && !sections_.empty()) {
            sections_.back().keys.emplace(l.name, i);
        }
    }
}

const ProfileDocument::Section* ProfileDocument::FindSection(std::wstring_view name) const {
    const auto it = sectionIndex_.find(TrimView(name));
    return it == sectionIndex_.end() ? nullptr : &sections_[it->second];
}

std::optional<std::wstring_view> ProfileDocument::Value(std::wstring_view section,
                                                        std::wstring_view key) const {
    const Section* s = FindSection(section);
    if (!s)
        return std::nullopt;
    const auto it = s->keys.find(TrimView(key));
    if (it == s->keys.end())
        return std::nullopt;
    return Dequote(std::wstring_view(lines_[it->second].value));
}

bool ProfileDocument::HasSection(std::wstring_view section) const {
    return FindSection(section) != nullptr;
}

std::vector<std::wstring> ProfileDocument::SectionNames() const {
    std::vector<std::wstring> out;
    for (const Section& s : sections_)
        out.push_back(s.name);
    return out;
}

std::vector<std::wstring> ProfileDocument::KeyNames(std::wstring_view section) const {
    std::vector<std::wstring> out;
    if (const Section* s = FindSection(section))
        for (std::size_t i = s->header + 1; i < s->end; ++i)
            if (lines_[i].kind == Kind::Entry)
                out.push_back(lines_[i].name);
    return out;
}

std::vector<std::wstring> ProfileDocument::SectionLines(std::wstring_view section) const {
    std::vector<std::wstring> out;
    if (const Section* s = FindSection(section))
        for (std::size_t i = s->header + 1; i < s->end; ++i) {
            const Line& l = lines_[i];
            if (l.kind == Kind::Entry)
                out.push_back(l.name + L"=" + l.value);
            else if (l.kind == Kind::Other)
                out.push_back(l.name);
        }
    return out;
}

ProfileDocument::Line ProfileDocument::MakeLine(std::wstring text) const {
    Line l = Classify(std::string(), std::move(text));
    l.dirty = true;
    return l;
}

// After the section's last non-blank line, so the blank line before the next section stays.
std::size_t ProfileDocument::InsertionPoint(const Section& s) const {
    std::size_t at = s.end;
    while (at > s.header + 1 && lines_[at - 1].kind == Kind::Blank)
        --at;
    return at;
}

bool ProfileDocument::SetValue(std::wstring_view section, std::wstring_view key,
                               std::wstring_view value) {
    const std::wstring k = Trim(key);
    const std::wstring v = Trim(value);
    const Section* s = FindSection(section);
    if (!s) {
        if (!lines_.empty() && lines_.back().kind != Kind::Blank && !finalNewline_)
            finalNewline_ = true;
        lines_.push_back(MakeLine(L"[" + Trim(section) + L"]"));
        lines_.push_back(MakeLine(k + L"=" + v));
        finalNewline_ = true;
        Reindex();
        return true;
    }
    const auto it = s->keys.find(std::wstring_view(k));
    if (it != s->keys.end()) {
        Line& l = lines_[it->second];
        if (l.value == v)
            return false;
        std::string eol = std::move(l.eol);
        l = MakeLine(l.name + L"=" + v); // the key keeps the spelling it has in the file
        l.eol = std::move(eol);
        return Reindex(), true;
    }
    lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(InsertionPoint(*s)),
                  MakeLine(k + L"=" + v));
    Reindex();
    return true;
}

bool ProfileDocument::DeleteKey(std::wstring_view section, std::wstring_view key) {
    const Section* s = FindSection(section);
    if (!s)
        return false;
    const auto it = s->keys.find(TrimView(key));
    if (it == s->keys.end())
        return false;
    lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(it->second));
    Reindex();
    return true;
}

bool ProfileDocument::DeleteSection(std::wstring_view section) {
    const Section* s = FindSection(section);
    if (!s)
        return false;
    lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(s->header),
                 lines_.begin() + static_cast<std::ptrdiff_t>(s->end));
    Reindex();
    return true;
}

bool ProfileDocument::ReplaceSection(std::wstring_view section,
                                     const std::vector<std::wstring>& newLines) {
    const Section* s = FindSection(section);
    std::vector<Line> body;
    for (const std::wstring& t : newLines)
        body.push_back(MakeLine(t));
    if (!s) {
        lines_.push_back(MakeLine(L"[" + Trim(section) + L"]"));
        lines_.insert(lines_.end(), body.begin(), body.end());
        finalNewline_ = true;
    } else {
        // Comments inside the section stay; its keys and other lines are replaced.
        std::size_t at = s->header + 1;
        const std::size_t end = InsertionPoint(*s);
        std::vector<Line> kept;
        for (std::size_t i = at; i < end; ++i)
            if (lines_[i].kind == Kind::Comment)
                kept.push_back(lines_[i]);
        kept.insert(kept.end(), body.begin(), body.end());
        lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(at),
                     lines_.begin() + static_cast<std::ptrdiff_t>(end));
        lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(at), kept.begin(), kept.end());
    }
    Reindex();
    return true;
}

} // namespace tlv::environment
