// One ini file in memory: its lines as they were read, so that a write changes only the
// lines it must and keeps comments, unknown lines, blank lines, the encoding (UTF-16LE with
// its byte-order mark, or 8-bit), the line endings and even bytes that are not valid text.
//
// Names of sections and keys compare case-insensitively and keep their case; the first of
// duplicate sections or keys is the one that answers.
#ifndef TLVUTL_ENVIRONMENT_PROFILE_DOCUMENT_H
#define TLVUTL_ENVIRONMENT_PROFILE_DOCUMENT_H

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace tlv::environment {

// Case-insensitive hashing and equality over views, so look-ups allocate nothing.
struct NameHash {
    using is_transparent = void;
    std::size_t operator()(std::wstring_view s) const noexcept;
};
struct NameEqual {
    using is_transparent = void;
    bool operator()(std::wstring_view a, std::wstring_view b) const noexcept;
};
using NameMap = std::unordered_map<std::wstring, std::size_t, NameHash, NameEqual>;

class ProfileDocument {
public:
    static ProfileDocument Parse(const std::string& bytes);
    std::string Serialize() const;

    // The value of a key with blanks trimmed and one pair of surrounding quotes removed; the
    // view lives as long as the document.
    std::optional<std::wstring_view> Value(std::wstring_view section, std::wstring_view key) const;
    bool HasSection(std::wstring_view section) const;
    std::vector<std::wstring> SectionNames() const;
    std::vector<std::wstring> KeyNames(std::wstring_view section) const;
    // The section's lines as "key=value" (and other non-comment lines trimmed).
    std::vector<std::wstring> SectionLines(std::wstring_view section) const;

    // Edits return whether the document changed.
    bool SetValue(std::wstring_view section, std::wstring_view key, std::wstring_view value);
    bool DeleteKey(std::wstring_view section, std::wstring_view key);
    bool DeleteSection(std::wstring_view section);
    bool ReplaceSection(std::wstring_view section, const std::vector<std::wstring>& lines);

private:
    enum class Kind { Blank, Comment, Section, Entry, Other };
    struct Line {
        Kind kind = Kind::Blank;
        std::string raw;    // the bytes as read (without the line ending), re-emitted unchanged
        std::string eol;    // its own line ending as read ("\r\n", "\n", "\r"), empty if none
        std::wstring text;  // decoded
        std::wstring name;  // section name or key, trimmed
        std::wstring value; // entry value, trimmed, quotes kept
        bool dirty = false; // written from text, not raw
    };
    struct Section {
        std::wstring name;
        std::size_t header; // line index of "[name]"
        std::size_t end;    // one past its last line
        NameMap keys;       // key -> first line
    };

    static Line Classify(std::string raw, std::wstring text);
    void Reindex();
    const Section* FindSection(std::wstring_view name) const;
    Line MakeLine(std::wstring text) const;
    std::size_t InsertionPoint(const Section& s) const;

    bool utf16_ = false;
    bool utf8Bom_ = false;
    bool finalNewline_ = true;
    std::string eol_ = "\r\n";
    std::vector<Line> lines_;
    std::vector<Section> sections_;
    NameMap sectionIndex_; // name -> first section
};

} // namespace tlv::environment

#endif
