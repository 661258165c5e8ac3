// .reg text files ("Windows Registry Editor Version 5.00"), the form in which settings move
// between a Windows installation and this one.
#include <tlvutl/encoding.h>
#include <tlvutl/registry.h>

#include "reg_file.h"

#include "platform/file_system.h"
#include "platform/registry_raw.h"

#include <cstdio>
#include <cwchar>
#include <iterator>
#include <map>

namespace tlv::environment {
namespace {

using namespace TlvUtl;
using tlv::platform::RegChange;
using tlv::platform::RegPath;

constexpr wchar_t kHeader[] = L"Windows Registry Editor Version 5.00";
constexpr std::size_t kWrapColumn = 76;

// Roots are kept by index (their offset from the first predefined handle) to order them.
HKEY RootHandle(int index) {
    return reinterpret_cast<HKEY>(reinterpret_cast<std::uintptr_t>(HKEY_CLASSES_ROOT) +
                                  static_cast<std::uintptr_t>(index));
}

// Index of a root name, ignoring case as hand-edited files may; -1 if unknown.
int RootIndex(std::wstring_view name) {
    const HKEY root = TlvUtl::RegistryRootFromName(name, true);
    if (!root)
        return -1;
    return static_cast<int>(reinterpret_cast<std::uintptr_t>(root) -
                            reinterpret_cast<std::uintptr_t>(HKEY_CLASSES_ROOT));
}

const wchar_t* RootName(int index) {
    return TlvUtl::RegistryRootName(RootHandle(index));
}

// "what: description", naming the database file when it is the file that failed.
std::wstring Problem(int root, const std::wstring& what, LONG status) {
    std::wstring text = what + L": " + DescribeRegistryStatus(status);
    if (status == ERROR_BADDB || status == ERROR_REGISTRY_IO_FAILED)
        text += L" (" + GetRegistryStoreFile(RootHandle(root)) + L")";
    return text;
}

LONG Fail(std::wstring* error, LONG status, const std::wstring& text) {
    if (error)
        *error = text;
    return status;
}

// ---- writing ----

std::wstring Quoted(const std::wstring& text) {
    std::wstring out = L"\"";
    for (wchar_t c : text) {
        if (c == L'\\' || c == L'"')
            out += L'\\';
        out += c;
    }
    return out + L"\"";
}

// "text" when that gives back exactly the stored bytes on import: one terminating NUL, no
// other, no line break, and text that survives UTF-16 both ways.
bool PlainString(const std::string& bytes, std::wstring& text) {
    if (bytes.size() < 2 || bytes.size() % 2 || bytes[bytes.size() - 1] || bytes[bytes.size() - 2])
        return false;
    text = TlvUtils::FromUtf16LE(bytes.data(), bytes.size() - 2);
    if (text.find_first_of(std::wstring_view(L"\0\r\n", 3)) != std::wstring::npos)
        return false;
    return TlvUtils::ToUtf16LE(text) == std::string_view(bytes).substr(0, bytes.size() - 2);
}

void AppendValue(std::wstring& out, const std::wstring& name, DWORD type,
                 const std::string& bytes) {
    std::wstring line = name.empty() ? L"@=" : Quoted(name) + L"=";
    std::wstring text;
    if (type == REG_SZ && PlainString(bytes, text)) {
        out += line + Quoted(text) + L"\r\n";
        return;
    }
    if (type == REG_DWORD && bytes.size() == 4) {
        wchar_t hex[16];
        const auto* b = reinterpret_cast<const unsigned char*>(bytes.data());
        std::swprintf(hex, 16, L"dword:%08x",
                      static_cast<unsigned>(b[0] | b[1] << 8 | b[2] << 16 | b[3] << 24));
        out += line + hex + L"\r\n";
        return;
    }
    if (type == REG_BINARY) {
        line += L"hex:";
    } else {
        wchar_t prefix[24];
        std::swprintf(prefix, 24, L"hex(%x):", type);
        line += prefix;
    }
    std::size_t column = line.size();
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        wchar_t hex[4];
        std::swprintf(hex, 4, L"%02x", static_cast<unsigned char>(bytes[i]));
        line += hex;
        column += 2;
        if (i + 1 < bytes.size()) {
            line += L',';
            if (++column > kWrapColumn) {
                line += L"\\\r\n  ";
                column = 2;
            }
        }
    }
    out += line + L"\r\n";
}

bool HasLineBreak(const std::wstring& s) {
    return s.find_first_of(L"\r\n") != std::wstring::npos;
}

LONG ExportKey(HKEY key, const std::wstring& path, std::wstring& out, std::wstring* error) {
    if (HasLineBreak(path))
        return Fail(error, ERROR_INVALID_DATA, L"key name with a line break: " + path);
    out += L"[" + path + L"]\r\n";
    std::wstring name;
    std::string bytes;
    DWORD type = 0;
    LONG r = ERROR_SUCCESS;
    for (DWORD i = 0;
         (r = tlv::platform::RegEnumValueBytes(key, i, name, type, bytes)) == ERROR_SUCCESS; ++i) {
        if (HasLineBreak(name))
            return Fail(error, ERROR_INVALID_DATA, L"value name with a line break under " + path);
        AppendValue(out, name, type, bytes);
    }
    if (r != ERROR_NO_MORE_ITEMS)
        return Fail(error, r, path + L": " + DescribeRegistryStatus(r));
    out += L"\r\n";
    for (DWORD i = 0;; ++i) {
        wchar_t child[256];
        DWORD length = 256;
        r = RegEnumKeyExW(key, i, child, &length, nullptr, nullptr, nullptr, nullptr);
        if (r == ERROR_NO_MORE_ITEMS)
            return ERROR_SUCCESS;
        HKEY sub = nullptr;
        if (r == ERROR_SUCCESS)
            r = RegOpenKeyExW(key, child, 0, KEY_READ, &sub);
        if (r != ERROR_SUCCESS)
            return Fail(error, r, path + L"\\" + child + L": " + DescribeRegistryStatus(r));
        r = ExportKey(sub, path + L"\\" + child, out, error);
        RegCloseKey(sub);
        if (r != ERROR_SUCCESS)
            return r;
    }
}

// ---- reading ----

struct Line {
    int number;
    std::wstring text;
};

class Parser {
public:
    explicit Parser(std::vector<Line> lines) : lines_(std::move(lines)) {}

    // Fills changes per root index in file order; false with error set on the first fault.
    bool Run(std::map<int, std::vector<RegChange>>& changes, std::wstring& error) {
        std::size_t i = 0;
        while (i < lines_.size() && Trim(lines_[i].text).empty())
            ++i;
        if (i == lines_.size() || Trim(lines_[i].text) != kHeader)
            return Error(i < lines_.size() ? lines_[i].number : 1,
                         L"not a .reg file: the first line must be \"" + std::wstring(kHeader) +
                             L"\"",
                         error);
        for (++i; i < lines_.size(); ++i) {
            const int number = lines_[i].number;
            std::wstring text(Trim(lines_[i].text));
            if (text.empty() || text[0] == L';')
                continue;
            if (text[0] == L'[') {
                if (!KeyLine(text, number, error))
                    return false;
                changes[root_].push_back(current_);
                continue;
            }
            if (text[0] != L'"' && text[0] != L'@')
                return Error(number, L"expected [key] or a value line", error);
            // hex data may continue over lines ending in a backslash
            auto more = [this, &i](std::wstring& next) {
                if (i + 1 >= lines_.size())
                    return false;
                next = Trim(lines_[++i].text);
                return true;
            };
            RegChange change;
            if (!ValueLine(text, number, more, change, error))
                return false;
            changes[root_].push_back(std::move(change));
        }
        return true;
    }

private:
    static std::wstring_view Trim(std::wstring_view s) {
        while (!s.empty() && (s.front() == L' ' || s.front() == L'\t'))
            s.remove_prefix(1);
        while (!s.empty() && (s.back() == L' ' || s.back() == L'\t'))
            s.remove_suffix(1);
        return s;
    }

    static bool Error(int number, const std::wstring& text, std::wstring& error) {
        error = L"line " + std::to_wstring(number) + L": " + text;
        return false;
    }

    bool KeyLine(const std::wstring& text, int number, std::wstring& error) {
        const std::size_t close = text.rfind(L']');
        if (close == std::wstring::npos || !Trim(std::wstring_view(text).substr(close + 1)).empty())
            return Error(number, L"a key line must end with ']'", error);
        std::wstring_view path = std::wstring_view(text).substr(1, close - 1);
        const bool remove = !path.empty() && path[0] == L'-';
        if (remove)
            path.remove_prefix(1);
        const std::size_t slash = path.find(L'\\');
        root_ = RootIndex(path.substr(0, slash));
        if (root_ < 0)
            return Error(number, L"unknown root key in [" + std::wstring(path) + L"]", error);
        current_ = RegChange{};
        current_.kind = remove ? RegChange::Kind::DeleteTree : RegChange::Kind::CreateKey;
        if (slash != std::wstring_view::npos &&
            tlv::platform::SplitRegistryPath(std::wstring(path.substr(slash + 1)).c_str(),
                                             current_.path) != ERROR_SUCCESS)
            return Error(number, L"malformed key path [" + std::wstring(path) + L"]", error);
        for (const std::wstring& level : current_.path)
            if (level.size() > 255)
                return Error(number, L"key name longer than 255 characters", error);
        if (remove && current_.path.empty())
            return Error(number, L"a root key cannot be deleted", error);
        haveKey_ = true;
        return true;
    }

    // A quoted text starting at s[pos] (the opening quote); pos ends after the closing one.
    static bool QuotedText(const std::wstring& s, std::size_t& pos, std::wstring& out) {
        out.clear();
        for (++pos; pos < s.size(); ++pos) {
            if (s[pos] == L'"') {
                ++pos;
                return true;
            }
            if (s[pos] == L'\\' && pos + 1 < s.size() &&
                (s[pos + 1] == L'\\' || s[pos + 1] == L'"'))
                ++pos;
            out += s[pos];
        }
        return false;
    }

    static int HexDigit(wchar_t c) {
        return c >= L'0' && c <= L'9'   ? c - L'0'
               : c >= L'a' && c <= L'f' ? c - L'a' + 10
               : c >= L'A' && c <= L'F' ? c - L'A' + 10
                                        : -1;
    }

    static bool HexBytes(std::wstring_view list, std::string& bytes) {
        bytes.clear();
        list = Trim(list);
        if (list.empty())
            return true;
        while (true) {
            const std::size_t comma = list.find(L',');
            const std::wstring_view item = Trim(list.substr(0, comma));
            if (item.empty() || item.size() > 2)
                return false;
            unsigned v = 0;
            for (wchar_t c : item) {
                const int d = HexDigit(c);
                if (d < 0)
                    return false;
                v = v * 16 + static_cast<unsigned>(d);
            }
            bytes += static_cast<char>(v);
            if (comma == std::wstring_view::npos)
                return true;
            list.remove_prefix(comma + 1);
        }
    }

    static bool HexNumber(std::wstring_view text, unsigned long long limit,
                          unsigned long long& value) {
        if (text.empty() || text.size() > 16)
            return false;
        value = 0;
        for (wchar_t c : text) {
            const int d = HexDigit(c);
            if (d < 0)
                return false;
            value = value * 16 + static_cast<unsigned>(d);
            if (value > limit)
                return false;
        }
        return true;
    }

    template <class More>
    bool ValueLine(const std::wstring& text, int number, More more, RegChange& change,
                   std::wstring& error) {
        if (!haveKey_)
            return Error(number, L"a value line before any [key]", error);
        if (current_.kind == RegChange::Kind::DeleteTree)
            return Error(number, L"a value line under a key being deleted", error);
        change.path = current_.path;
        std::size_t pos = 0;
        if (text[0] == L'@') {
            pos = 1;
        } else if (!QuotedText(text, pos, change.name)) {
            return Error(number, L"unterminated value name", error);
        }
        while (pos < text.size() && (text[pos] == L' ' || text[pos] == L'\t'))
            ++pos;
        if (pos >= text.size() || text[pos] != L'=')
            return Error(number, L"expected '=' after the value name", error);
        const std::wstring data(Trim(std::wstring_view(text).substr(pos + 1)));
        if (data == L"-") {
            change.kind = RegChange::Kind::DeleteValue;
            return true;
        }
        change.kind = RegChange::Kind::SetValue;
        if (!data.empty() && data[0] == L'"') {
            std::size_t at = 0;
            std::wstring value;
            if (!QuotedText(data, at, value) || !Trim(std::wstring_view(data).substr(at)).empty())
                return Error(number, L"malformed string value", error);
            change.type = REG_SZ;
            change.data = TlvUtils::ToUtf16LE(value) + std::string(2, '\0');
            return true;
        }
        const std::size_t colon = data.find(L':');
        if (colon == std::wstring::npos)
            return Error(number, L"unrecognised value data", error);
        const std::wstring kind = data.substr(0, colon);
        std::wstring rest = data.substr(colon + 1);
        if (kind == L"dword") {
            unsigned long long v = 0;
            if (!HexNumber(Trim(rest), 0xFFFFFFFFull, v))
                return Error(number, L"dword: needs up to 8 hexadecimal digits", error);
            change.type = REG_DWORD;
            change.data.clear();
            for (int b = 0; b < 4; ++b)
                change.data += static_cast<char>((v >> (8 * b)) & 0xFF);
            return true;
        }
        if (kind == L"hex") {
            change.type = REG_BINARY;
        } else if (kind.size() > 5 && kind.compare(0, 4, L"hex(") == 0 && kind.back() == L')') {
            unsigned long long t = 0;
            if (!HexNumber(std::wstring_view(kind).substr(4, kind.size() - 5), 0xFFFFFFFFull, t))
                return Error(number, L"malformed value type in " + kind, error);
            change.type = static_cast<DWORD>(t);
        } else {
            return Error(number, L"unrecognised value data", error);
        }
        std::wstring next;
        while (!rest.empty() && rest.back() == L'\\' && more(next)) {
            rest.pop_back();
            rest += next;
        }
        if (!HexBytes(rest, change.data))
            return Error(number, L"malformed hexadecimal byte list", error);
        return true;
    }

    std::vector<Line> lines_;
    int root_ = -1;
    bool haveKey_ = false;
    RegChange current_;
};

std::vector<Line> SplitLines(const std::wstring& text) {
    std::vector<Line> lines;
    int number = 1;
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = text.find(L'\n', start);
        if (end == std::wstring::npos)
            end = text.size();
        std::wstring line = text.substr(start, end - start);
        if (!line.empty() && line.back() == L'\r')
            line.pop_back();
        lines.push_back({number++, std::move(line)});
        start = end + 1;
    }
    return lines;
}

std::wstring DecodeFile(const std::string& bytes) {
    if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
        static_cast<unsigned char>(bytes[1]) == 0xFE)
        return TlvUtils::FromUtf16LE(bytes.data() + 2, bytes.size() - 2);
    if (bytes.compare(0, 3, "\xEF\xBB\xBF") == 0)
        return TlvUtils::FromUtf8(std::string_view(bytes).substr(3));
    return TlvUtils::FromUtf8(bytes);
}

} // namespace

bool ParseRegFile(const std::string& bytes, std::map<int, std::vector<RegChange>>& changes,
                  std::wstring& error) {
    changes.clear();
    Parser parser(SplitLines(DecodeFile(bytes)));
    return parser.Run(changes, error);
}

} // namespace tlv::environment

namespace TlvUtl {

using namespace tlv::environment;

LONG RegExportFile(const wchar_t* keyPath, const wchar_t* fileName, std::wstring* error) {
    if (!keyPath || !fileName)
        return Fail(error, ERROR_INVALID_PARAMETER, L"no key path or file name given");
    const std::wstring path(keyPath);
    const std::size_t slash = path.find(L'\\');
    const int root = RootIndex(std::wstring_view(path).substr(0, slash));
    if (root < 0)
        return Fail(error, ERROR_OPEN_FAILED, L"unknown root key in " + path);
    HKEY key = nullptr;
    LONG r = RegOpenKeyExW(RootHandle(root),
                           slash == std::wstring::npos ? L"" : path.c_str() + slash + 1, 0,
                           KEY_READ, &key);
    if (r != ERROR_SUCCESS)
        return Fail(error, r, Problem(root, path, r));
    std::wstring text = std::wstring(kHeader) + L"\r\n\r\n";
    std::wstring top = path;
    while (!top.empty() && top.back() == L'\\')
        top.pop_back();
    r = ExportKey(key, top, text, error);
    RegCloseKey(key);
    if (r != ERROR_SUCCESS)
        return r;

    // An existing file is replaced whole or not at all.
    if (const std::error_code ec =
            tlv::platform::WriteFileAtomically(fileName, "\xFF\xFE" + TlvUtils::ToUtf16LE(text)))
        return Fail(error, static_cast<LONG>(tlv::platform::Win32Error(ec, fileName)),
                    L"cannot write " + std::wstring(fileName) + L": " +
                        TlvUtils::FromUtf8(tlv::platform::Describe(ec, fileName)));
    return ERROR_SUCCESS;
}

LONG RegImportFile(const wchar_t* fileName, std::wstring* error) {
    if (!fileName)
        return Fail(error, ERROR_INVALID_PARAMETER, L"no file name given");
    std::string bytes;
    if (const std::error_code ec = tlv::platform::ReadWholeFile(fileName, bytes))
        return Fail(error, static_cast<LONG>(tlv::platform::Win32Error(ec, fileName)),
                    L"cannot read " + std::wstring(fileName) + L": " +
                        TlvUtils::FromUtf8(tlv::platform::Describe(ec, fileName)));

    std::map<int, std::vector<RegChange>> changes;
    std::wstring problem;
    if (!tlv::environment::ParseRegFile(bytes, changes, problem))
        return Fail(error, ERROR_INVALID_DATA, problem);

    // Every store involved must be usable before the first one is changed.
    for (const auto& [root, list] : changes) {
        DWORD ignored = 0;
        const LONG r =
            RegQueryInfoKeyW(RootHandle(root), nullptr, nullptr, nullptr, &ignored, nullptr,
                             nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
        if (r != ERROR_SUCCESS)
            return Fail(error, r, Problem(root, RootName(root), r));
    }
    for (const auto& [root, list] : changes) {
        const LONG r = tlv::platform::RegApplyChanges(RootHandle(root), list);
        if (r != ERROR_SUCCESS)
            return Fail(error, r, Problem(root, RootName(root), r));
    }
    return ERROR_SUCCESS;
}

} // namespace TlvUtl
