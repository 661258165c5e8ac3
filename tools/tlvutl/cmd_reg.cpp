// tlvutl reg: reads, changes, exports and imports the registry store from a shell.
#include "command.h"

#include <tlvutl/encoding.h>
#include <tlvutl/registry.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

namespace tlvtool {
namespace {

using namespace TlvUtl;

const Command& Self() {
    return CommandNamed("reg");
}

std::string U8(const std::wstring& s) {
    return TlvUtils::ToUtf8(s);
}

struct KeyPath {
    HKEY root = nullptr;
    std::wstring full; // canonical: full root name, then the sub-key
    std::wstring sub;
};

// Shells are friendlier with abbreviations and any case; the library's own paths stay exact.
bool ParseKey(const std::string& text, KeyPath& key) {
    const std::wstring path = TlvUtils::FromUtf8(text);
    const std::size_t slash = path.find(L'\\');
    key.root = TlvUtl::RegistryRootFromName(std::wstring_view(path).substr(0, slash), true, true);
    if (!key.root)
        return false;
    key.sub = slash == std::wstring::npos ? L"" : path.substr(slash + 1);
    key.full = std::wstring(TlvUtl::RegistryRootName(key.root)) +
               (key.sub.empty() ? L"" : L"\\" + key.sub);
    return true;
}

// A key that does not start with a root key: the user left it out ("Software\\Talvo").
int NoRoot(const std::string& text) {
    std::cerr << "tlvutl reg: '" << text
              << "' does not start with a root key: HKEY_CURRENT_USER (HKCU), HKEY_LOCAL_MACHINE "
                 "(HKLM), HKEY_CLASSES_ROOT (HKCR), HKEY_USERS (HKU) or HKEY_CURRENT_CONFIG "
                 "(HKCC)\n";
    return kUsage;
}

int Failed(LONG status, const std::wstring& what, HKEY root) {
    std::cerr << "tlvutl reg: " << U8(what) << ": " << U8(DescribeRegistryStatus(status));
    if (status == ERROR_BADDB || status == ERROR_REGISTRY_IO_FAILED)
        std::cerr << " (" << U8(GetRegistryStoreFile(root)) << ")";
    std::cerr << "\n";
    return kFailed;
}

const char* TypeName(DWORD type) {
    switch (type) {
    case REG_NONE:
        return "REG_NONE";
    case REG_SZ:
        return "REG_SZ";
    case REG_EXPAND_SZ:
        return "REG_EXPAND_SZ";
    case REG_BINARY:
        return "REG_BINARY";
    case REG_DWORD:
        return "REG_DWORD";
    case REG_MULTI_SZ:
        return "REG_MULTI_SZ";
    case REG_QWORD:
        return "REG_QWORD";
    default:
        return nullptr;
    }
}

// The data as `reg query` shows it.
std::string Show(DWORD type, const std::vector<BYTE>& data, DWORD size) {
    const auto* text = reinterpret_cast<const wchar_t*>(data.data());
    const std::size_t chars = size / 2; // string sizes count two bytes per character
    if (type == REG_SZ || type == REG_EXPAND_SZ)
        return U8(std::wstring(text, chars).c_str());
    if (type == REG_MULTI_SZ) {
        std::wstring all(text, chars), out;
        for (std::size_t at = 0; at < all.size() && all[at];) {
            const std::size_t end = std::min(all.find(L'\0', at), all.size());
            out += (out.empty() ? L"" : L"\\0") + all.substr(at, end - at);
            at = end + 1;
        }
        return U8(out);
    }
    if ((type == REG_DWORD && size == 4) || (type == REG_QWORD && size == 8)) {
        unsigned long long v = 0;
        for (DWORD i = size; i-- > 0;)
            v = v << 8 | data[i];
        char hex[32];
        std::snprintf(hex, sizeof hex, "0x%llx", v);
        return hex;
    }
    std::string out;
    for (DWORD i = 0; i < size; ++i) {
        char hex[3];
        std::snprintf(hex, sizeof hex, "%02X", data[i]);
        out += hex;
    }
    return out;
}

int Query(const std::vector<std::string>& args) {
    KeyPath path;
    if (args.empty() || args.size() > 2)
        return UsageError(Self(), "query KEY [NAME]");
    if (!ParseKey(args[0], path))
        return NoRoot(args[0]);
    HKEY key = nullptr;
    LONG r = RegOpenKeyExW(path.root, path.sub.c_str(), 0, KEY_READ, &key);
    if (r != ERROR_SUCCESS)
        return Failed(r, path.full, path.root);
    auto line = [](const std::wstring& name, DWORD type, const std::vector<BYTE>& data,
                   DWORD size) {
        const char* t = TypeName(type);
        std::cout << "    " << (name.empty() ? "(Default)" : U8(name)) << "    "
                  << (t ? t : ("REG_TYPE_" + std::to_string(type)).c_str()) << "    "
                  << Show(type, data, size) << "\n";
    };
    std::vector<BYTE> data;
    if (args.size() == 2) {
        const std::wstring name = TlvUtils::FromUtf8(args[1]);
        DWORD type = 0, size = 0;
        r = RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, &size);
        data.resize(2 * static_cast<std::size_t>(size) + 8);
        if (r == ERROR_SUCCESS)
            r = RegQueryValueExW(key, name.c_str(), nullptr, &type, data.data(), &size);
        RegCloseKey(key);
        if (r != ERROR_SUCCESS)
            return Failed(r, path.full + L" " + name, path.root);
        std::cout << U8(path.full) << "\n";
        line(name, type, data, size);
        return kOk;
    }
    std::cout << U8(path.full) << "\n";
    for (DWORD i = 0;; ++i) {
        wchar_t name[16384];
        DWORD length = 16384, type = 0, size = 0;
        r = RegEnumValueW(key, i, name, &length, nullptr, &type, nullptr, &size);
        if (r != ERROR_SUCCESS)
            break;
        data.resize(2 * static_cast<std::size_t>(size) + 8);
        length = 16384;
        r = RegEnumValueW(key, i, name, &length, nullptr, &type, data.data(), &size);
        if (r != ERROR_SUCCESS)
            break;
        line(std::wstring(name, length), type, data, size);
    }
    if (r == ERROR_NO_MORE_ITEMS) {
        bool first = true;
        for (DWORD i = 0;; ++i) {
            wchar_t name[256];
            DWORD length = 256;
            r = RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr);
            if (r != ERROR_SUCCESS)
                break;
            std::cout << (first ? "\n" : "") << U8(path.full) << "\\" << U8(name) << "\n";
            first = false;
        }
    }
    RegCloseKey(key);
    return r == ERROR_NO_MORE_ITEMS ? kOk : Failed(r, path.full, path.root);
}

int HexDigit(char c) {
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                  : -1;
}

// Pairs of hexadecimal digits, which commas or blanks may separate ("00ff10", "00,ff,10").
bool HexBytes(const std::string& text, std::vector<BYTE>& out) {
    std::string digits;
    for (char c : text) {
        if (c == ',' || c == ' ')
            continue;
        if (HexDigit(c) < 0)
            return false;
        digits += c;
    }
    if (digits.size() % 2)
        return false;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        out.push_back(static_cast<BYTE>(HexDigit(digits[i]) * 16 + HexDigit(digits[i + 1])));
    return true;
}

// Decimal, or hexadecimal after "0x": never octal, so "010" is ten as a user means it.
bool ParseRegNumber(const std::string& text, unsigned long long limit, unsigned long long& v) {
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const std::size_t from = hex ? 2 : 0;
    if (text.size() == from)
        return false;
    v = 0;
    for (std::size_t i = from; i < text.size(); ++i) {
        const int d =
            hex ? HexDigit(text[i]) : (text[i] >= '0' && text[i] <= '9' ? text[i] - '0' : -1);
        const unsigned base = hex ? 16 : 10;
        if (d < 0 || v > (limit - static_cast<unsigned>(d)) / base)
            return false;
        v = v * base + static_cast<unsigned>(d);
    }
    return true;
}

int Set(const std::vector<std::string>& args) {
    KeyPath path;
    if (args.size() < 3 || args.size() > 4)
        return UsageError(Self(), "set KEY NAME DATA [TYPE]");
    if (!ParseKey(args[0], path))
        return NoRoot(args[0]);
    const std::string type = args.size() == 4 ? args[3] : "REG_SZ";
    const std::wstring name = TlvUtils::FromUtf8(args[1]);
    const std::string& text = args[2];
    DWORD kind = 0;
    std::vector<BYTE> bytes;
    std::wstring wide;
    auto number = [&text](unsigned long long limit, unsigned long long& v) {
        return ParseRegNumber(text, limit, v);
    };
    if (type == "REG_SZ" || type == "REG_EXPAND_SZ" || type == "REG_MULTI_SZ") {
        kind = type == "REG_SZ" ? REG_SZ : type == "REG_EXPAND_SZ" ? REG_EXPAND_SZ : REG_MULTI_SZ;
        wide = TlvUtils::FromUtf8(text);
        if (kind == REG_MULTI_SZ) { // items separated by a literal \0, as reg.exe takes them
            for (std::size_t at; (at = wide.find(L"\\0")) != std::wstring::npos;)
                wide.replace(at, 2, 1, L'\0');
            wide += L'\0';
        }
        wide += L'\0';
    } else if (type == "REG_DWORD" || type == "REG_QWORD") {
        kind = type == "REG_DWORD" ? REG_DWORD : REG_QWORD;
        unsigned long long v = 0;
        if (!number(kind == REG_DWORD ? 0xFFFFFFFFull : ~0ull, v))
            return UsageError(Self(), "'" + text + "' is not a " + type +
                                          " number (decimal, or hexadecimal after 0x)");
        for (int i = 0; i < (kind == REG_DWORD ? 4 : 8); ++i)
            bytes.push_back(static_cast<BYTE>(v >> (8 * i)));
    } else if (type == "REG_BINARY") {
        kind = REG_BINARY;
        if (!HexBytes(text, bytes))
            return UsageError(Self(), "REG_BINARY data is pairs of hexadecimal digits");
    } else {
        return UsageError(Self(), "unknown type " + type);
    }
    HKEY key = nullptr;
    LONG r = RegCreateKeyExW(path.root, path.sub.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key,
                             nullptr);
    if (r != ERROR_SUCCESS)
        return Failed(r, path.full, path.root);
    r = wide.empty()
            ? RegSetValueExW(key, name.c_str(), 0, kind, bytes.data(),
                             static_cast<DWORD>(bytes.size()))
            : RegSetValueExW(key, name.c_str(), 0, kind, reinterpret_cast<const BYTE*>(wide.data()),
                             static_cast<DWORD>(2 * wide.size()));
    RegCloseKey(key);
    return r == ERROR_SUCCESS ? kOk : Failed(r, path.full + L" " + name, path.root);
}

int Delete(const std::vector<std::string>& args) {
    KeyPath path;
    if (args.empty() || args.size() > 2)
        return UsageError(Self(), "delete KEY [NAME]");
    if (!ParseKey(args[0], path))
        return NoRoot(args[0]);
    if (args.size() == 1) {
        if (path.sub.empty())
            return UsageError(Self(), "refusing to delete a whole root");
        const LONG r = WUTLRegistry::DeleteRegistryKey(path.full.c_str());
        return r == ERROR_SUCCESS ? kOk : Failed(r, path.full, path.root);
    }
    const std::wstring name = TlvUtils::FromUtf8(args[1]);
    HKEY key = nullptr;
    LONG r = RegOpenKeyExW(path.root, path.sub.c_str(), 0, KEY_SET_VALUE, &key);
    if (r == ERROR_SUCCESS) {
        r = RegDeleteValueW(key, name.c_str());
        RegCloseKey(key);
    }
    return r == ERROR_SUCCESS ? kOk : Failed(r, path.full + L" " + name, path.root);
}

int Export(std::vector<std::string> args) {
    const bool old = !args.empty() && args[0] == "--regedit4";
    if (old)
        args.erase(args.begin());
    KeyPath path;
    if (args.size() != 2)
        return UsageError(Self(), "export [--regedit4] KEY FILE");
    if (!ParseKey(args[0], path))
        return NoRoot(args[0]);
    std::wstring error;
    const LONG r = RegExportFile(path.full.c_str(), TlvUtils::FromUtf8(args[1]).c_str(), &error,
                                 old ? RegFileFormat::kRegedit4 : RegFileFormat::kUnicode);
    if (r != ERROR_SUCCESS) {
        std::cerr << "tlvutl reg export: " << U8(error) << "\n";
        return kFailed;
    }
    return kOk;
}

int Import(const std::vector<std::string>& args) {
    if (args.size() != 1)
        return UsageError(Self(), "import FILE");
    std::wstring error, encoding;
    const LONG r = RegImportFile(TlvUtils::FromUtf8(args[0]).c_str(), &error, &encoding);
    if (r != ERROR_SUCCESS) {
        std::cerr << "tlvutl reg import: " << args[0] << ": " << U8(error)
                  << "\nnothing was changed\n";
        return kFailed;
    }
    std::cout << "imported " << args[0] << " (read as " << U8(encoding) << ")\n";
    return kOk;
}

// Reads every store file through; exit 1 when any is damaged.
int Check(const std::vector<std::string>& args) {
    std::vector<HKEY> roots;
    for (const std::string& a : args) {
        const HKEY root = TlvUtl::RegistryRootFromName(TlvUtils::FromUtf8(a), true, true);
        if (!root || root == HKEY_PERFORMANCE_DATA)
            return UsageError(Self(), "'" + a + "' is not a root key");
        roots.push_back(root);
    }
    if (roots.empty())
        roots = {HKEY_CLASSES_ROOT, HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_USERS,
                 HKEY_CURRENT_CONFIG};
    int rc = kOk;
    for (HKEY root : roots) {
        std::vector<std::wstring> problems;
        const LONG r = CheckRegistryStore(root, &problems);
        std::cout << U8(RegistryRootName(root)) << ": ";
        if (r == ERROR_SUCCESS) {
            std::cout << "sound (" << U8(GetRegistryStoreFile(root)) << ")\n";
        } else if (r == ERROR_FILE_NOT_FOUND) {
            std::cout << "no store yet\n";
        } else {
            std::cout << (r == ERROR_BADDB ? "DAMAGED"
                                           : "cannot be checked: " + U8(DescribeRegistryStatus(r)))
                      << " (" << U8(GetRegistryStoreFile(root)) << ")\n";
            for (const std::wstring& p : problems)
                std::cout << "    " << U8(p) << "\n";
            rc = kFailed;
        }
    }
    return rc;
}

} // namespace

int RunReg(const Args& args) {
    if (args.empty())
        return UsageError(Self(), "needs a subcommand");
    const std::vector<std::string> rest(args.begin() + 1, args.end());
    const std::string& what = args[0];
    if (what == "query")
        return Query(rest);
    if (what == "set")
        return Set(rest);
    if (what == "delete")
        return Delete(rest);
    if (what == "export")
        return Export(rest);
    if (what == "import")
        return Import(rest);
    if (what == "check")
        return Check(rest);
    return UsageError(Self(), "unknown subcommand '" + what + "'");
}

} // namespace tlvtool
