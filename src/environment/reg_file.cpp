// .reg text files ("Windows Registry Editor Version 5.00"), the form in which settings move
// between a Windows installation and this one.
#include <tlvutl/encoding.h>
#include <tlvutl/registry.h>

#include "reg_file.h"

#include "platform/file_system.h"
#include "platform/registry_raw.h"

#include <algorithm>
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
constexpr wchar_t kHeader4[] = L"REGEDIT4";
constexpr char kHeader4Bytes[] = "REGEDIT4";
constexpr std::size_t kMaxValueNameLength = 16383;

// ---- 8-bit text ----

// Windows-1252 from 0x80 to 0x9F; the five bytes it leaves undefined stand for the C1
// control of the same number, as Windows decodes them.
constexpr char16_t kCp1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

wchar_t FromCp1252(unsigned char b) {
    return b >= 0x80 && b < 0xA0 ? static_cast<wchar_t>(kCp1252High[b - 0x80]) : b;
}

// The byte of c in Windows-1252; false when it has none.
bool ToCp1252(wchar_t c, char& out) {
    if (c < 0x80 || (c >= 0xA0 && c <= 0xFF)) {
        out = static_cast<char>(c);
        return true;
    }
    for (int i = 0; i < 32; ++i)
        if (static_cast<wchar_t>(kCp1252High[i]) == c) {
            out = static_cast<char>(0x80 + i);
            return true;
        }
    return false;
}

// Strict UTF-8: no overlong forms, no surrogates, nothing past U+10FFFF.
bool ValidUtf8(std::string_view s) {
    for (std::size_t i = 0; i < s.size();) {
        const auto b = static_cast<unsigned char>(s[i]);
        std::size_t n = 0;
        char32_t c = 0, min = 0;
        if (b < 0x80) {
            ++i;
            continue;
        } else if ((b & 0xE0) == 0xC0) {
            n = 1, c = b & 0x1F, min = 0x80;
        } else if ((b & 0xF0) == 0xE0) {
            n = 2, c = b & 0x0F, min = 0x800;
        } else if ((b & 0xF8) == 0xF0) {
            n = 3, c = b & 0x07, min = 0x10000;
        } else {
            return false;
        }
        if (i + n >= s.size())
            return false;
        for (std::size_t k = 1; k <= n; ++k) {
            const auto t = static_cast<unsigned char>(s[i + k]);
            if ((t & 0xC0) != 0x80)
                return false;
            c = c << 6 | (t & 0x3F);
        }
        if (c < min || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
            return false;
        i += n + 1;
    }
    return true;
}

// How the 8-bit text of a "REGEDIT4" file is read and written.
enum class Codec { kUtf8, kCp1252 };

std::wstring Decode8(std::string_view bytes, Codec codec) {
    if (codec == Codec::kUtf8)
        return TlvUtils::FromUtf8(bytes);
    std::wstring out;
    out.reserve(bytes.size());
    for (char b : bytes)
        out += FromCp1252(static_cast<unsigned char>(b));
    return out;
}

// False when some character has no byte in Windows-1252.
bool Encode8(std::wstring_view text, Codec codec, std::string& out) {
    if (codec == Codec::kUtf8) {
        out += TlvUtils::ToUtf8(text);
        return true;
    }
    for (wchar_t c : text) {
        char b = 0;
        if (!ToCp1252(c, b))
            return false;
        out += b;
    }
    return true;
}
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

int RootIndexOf(HKEY root) {
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

// How a file is being written: the older form keeps string data as 8-bit text.
struct Form {
    bool regedit4 = false;
    Codec codec = Codec::kCp1252;
    bool unencodable = false; // some text has no byte in the codec: write again in UTF-8
};

bool IsText(DWORD type) {
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

// False when string data is not UTF-16 and so has no 8-bit form.
bool AppendValue(std::wstring& out, const std::wstring& name, DWORD type, std::string bytes,
                 Form& form) {
    std::wstring line = name.empty() ? L"@=" : Quoted(name) + L"=";
    std::wstring text;
    bool narrowed = false;
    if (form.regedit4 && IsText(type) && !(type == REG_SZ && PlainString(bytes, text))) {
        if (bytes.size() % 2)
            return false;
        const std::wstring wide = TlvUtils::FromUtf16LE(bytes.data(), bytes.size());
        if (TlvUtils::ToUtf16LE(wide) != bytes)
            return false;
        std::string narrow;
        if (!Encode8(wide, form.codec, narrow))
            form.unencodable = true;
        bytes = narrow;
        narrowed = true;
    }
    if (type == REG_SZ && !narrowed && PlainString(bytes, text)) {
        out += line + Quoted(text) + L"\r\n";
        return true;
    }
    if (type == REG_DWORD && bytes.size() == 4) {
        wchar_t hex[16];
        const auto* b = reinterpret_cast<const unsigned char*>(bytes.data());
        std::swprintf(hex, 16, L"dword:%08x",
                      static_cast<unsigned>(b[0] | b[1] << 8 | b[2] << 16 | b[3] << 24));
        out += line + hex + L"\r\n";
        return true;
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
    return true;
}

bool HasLineBreak(const std::wstring& s) {
    return s.find_first_of(L"\r\n") != std::wstring::npos;
}

LONG ExportKey(HKEY key, const std::wstring& path, std::wstring& out, Form& form,
               std::wstring* error) {
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
        if (!AppendValue(out, name, type, bytes, form))
            return Fail(error, ERROR_INVALID_DATA,
                        L"value \"" + name + L"\" under " + path +
                            L" holds string data that is not UTF-16 text; it has no REGEDIT4 form");
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
        r = ExportKey(sub, path + L"\\" + child, out, form, error);
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

    // A "REGEDIT4" file: its string data in hex(1), hex(2) and hex(7) is 8-bit text.
    void OlderForm(Codec codec) {
        header_ = kHeader4;
        regedit4_ = true;
        codec_ = codec;
    }

    // Fills changes per root index in file order; false with error set on the first fault.
    bool Run(std::map<int, std::vector<RegChange>>& changes, std::wstring& error) {
        std::size_t i = 0;
        while (i < lines_.size() && Trim(lines_[i].text).empty())
            ++i;
        if (i == lines_.size() || Trim(lines_[i].text) != header_)
            return Error(i < lines_.size() ? lines_[i].number : 1,
                         L"not a .reg file: the first line must be \"" + std::wstring(kHeader) +
                             L"\" or \"" + kHeader4 + L"\"",
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
        if (change.name.size() > kMaxValueNameLength)
            return Error(number, L"value name longer than 16383 characters", error);
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
        // A file saved as UTF-8 by an editor keeps the 8-bit bytes of its hex data: data that
        // is not UTF-8 is read as Windows-1252 there too.
        if (regedit4_ && IsText(change.type))
            change.data = TlvUtils::ToUtf16LE(Decode8(
                change.data,
                codec_ == Codec::kUtf8 && ValidUtf8(change.data) ? Codec::kUtf8 : Codec::kCp1252));
        return true;
    }

    std::vector<Line> lines_;
    const wchar_t* header_ = kHeader;
    bool regedit4_ = false;
    Codec codec_ = Codec::kUtf8;
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

// The older header, after blank lines, as the first thing in 8-bit text.
bool StartsRegedit4(std::string_view bytes) {
    std::size_t i = 0;
    while (i < bytes.size() &&
           (bytes[i] == ' ' || bytes[i] == '\t' || bytes[i] == '\r' || bytes[i] == '\n'))
        ++i;
    bytes.remove_prefix(i);
    if (bytes.compare(0, 8, kHeader4Bytes) != 0)
        return false;
    bytes.remove_prefix(8);
    return bytes.empty() || bytes[0] == '\r' || bytes[0] == '\n' || bytes[0] == ' ' ||
           bytes[0] == '\t';
}

struct Decoded {
    std::wstring text;
    bool regedit4 = false;
    Codec codec = Codec::kUtf8;
    std::wstring name;
};

Decoded DecodeFile(const std::string& bytes) {
    Decoded d;
    if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
        static_cast<unsigned char>(bytes[1]) == 0xFE) {
        d.text = TlvUtils::FromUtf16LE(bytes.data() + 2, bytes.size() - 2);
        d.name = L"UTF-16LE";
        return d;
    }
    std::string_view body(bytes);
    if (body.compare(0, 3, "\xEF\xBB\xBF") == 0)
        body.remove_prefix(3);
    if (StartsRegedit4(body)) {
        d.regedit4 = true;
        d.codec = ValidUtf8(body) ? Codec::kUtf8 : Codec::kCp1252;
        d.text = Decode8(body, d.codec);
        d.name = d.codec == Codec::kUtf8 ? L"UTF-8" : L"Windows-1252";
        return d;
    }
    d.text = TlvUtils::FromUtf8(body);
    d.name = L"UTF-8";
    return d;
}

} // namespace

bool ParseRegFile(const std::string& bytes, std::map<int, std::vector<RegChange>>& changes,
                  std::wstring& error, std::wstring* encoding) {
    changes.clear();
    const Decoded decoded = DecodeFile(bytes);
    if (encoding)
        *encoding = decoded.name;
    Parser parser(SplitLines(decoded.text));
    if (decoded.regedit4)
        parser.OlderForm(decoded.codec);
    return parser.Run(changes, error);
}

} // namespace tlv::environment

namespace TlvUtl {

using namespace tlv::environment;

LONG RegExportFile(const wchar_t* keyPath, const wchar_t* fileName, std::wstring* error,
                   RegFileFormat format) {
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
    std::wstring top = path;
    while (!top.empty() && top.back() == L'\\')
        top.pop_back();
    Form form;
    form.regedit4 = format == RegFileFormat::kRegedit4;
    std::string bytes;
    // The older form is tried in Windows-1252, which the tools that need it read; text that
    // does not fit it, or that a reader would take for UTF-8, makes it UTF-8 throughout.
    for (;;) {
        std::wstring text = std::wstring(form.regedit4 ? kHeader4 : kHeader) + L"\r\n\r\n";
        r = ExportKey(key, top, text, form, error);
        if (r != ERROR_SUCCESS)
            break;
        if (!form.regedit4) {
            bytes = "\xFF\xFE" + TlvUtils::ToUtf16LE(text);
            break;
        }
        bytes.clear();
        if (form.codec == Codec::kUtf8) {
            Encode8(text, Codec::kUtf8, bytes);
            break;
        }
        const bool fits = Encode8(text, Codec::kCp1252, bytes) && !form.unencodable;
        const bool ascii = std::all_of(bytes.begin(), bytes.end(),
                                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
        if (fits && (ascii || !ValidUtf8(bytes)))
            break;
        form = Form{true, Codec::kUtf8, false};
    }
    RegCloseKey(key);
    if (r != ERROR_SUCCESS)
        return r;

    // An existing file is replaced whole or not at all.
    if (const std::error_code ec = tlv::platform::WriteFileAtomically(fileName, bytes))
        return Fail(error, static_cast<LONG>(tlv::platform::Win32Error(ec, fileName)),
                    L"cannot write " + std::wstring(fileName) + L": " +
                        TlvUtils::FromUtf8(tlv::platform::Describe(ec, fileName)));
    return ERROR_SUCCESS;
}

LONG RegImportFile(const wchar_t* fileName, std::wstring* error, std::wstring* encoding) {
    if (!fileName)
        return Fail(error, ERROR_INVALID_PARAMETER, L"no file name given");
    std::string bytes;
    if (const std::error_code ec = tlv::platform::ReadWholeFile(fileName, bytes))
        return Fail(error, static_cast<LONG>(tlv::platform::Win32Error(ec, fileName)),
                    L"cannot read " + std::wstring(fileName) + L": " +
                        TlvUtils::FromUtf8(tlv::platform::Describe(ec, fileName)));

    std::map<int, std::vector<RegChange>> changes;
    std::wstring problem;
    if (!tlv::environment::ParseRegFile(bytes, changes, problem, encoding))
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
    // Then all roots change together, or none does.
    std::vector<std::pair<HKEY, std::vector<RegChange>>> sets;
    for (auto& [root, list] : changes)
        sets.emplace_back(RootHandle(root), std::move(list));
    const LONG r = tlv::platform::RegApplyChangeSets(sets);
    if (r != ERROR_SUCCESS) {
        // Name the root whose store failed when it is one store's fault.
        for (const auto& [root, list] : sets) {
            DWORD ignored = 0;
            if (RegQueryInfoKeyW(root, nullptr, nullptr, nullptr, &ignored, nullptr, nullptr,
                                 nullptr, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
                return Fail(error, r,
                            Problem(RootIndexOf(root), TlvUtl::RegistryRootName(root), r));
        }
        return Fail(error, r, L"the changes could not be made: " + DescribeRegistryStatus(r));
    }
    return ERROR_SUCCESS;
}

} // namespace TlvUtl
