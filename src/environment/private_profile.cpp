// The private-profile functions over ProfileDocument, with a per-file cache for reads and
// lock-read-modify-replace for writes.
#include <tlvutl/profile.h>

#include "platform/file_system.h"
#include "profile_document.h"

#include <chrono>
#include <cwchar>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace TlvUtl::Win32 {
namespace {

using tlv::environment::ProfileDocument;
using DocumentPtr = std::shared_ptr<const ProfileDocument>;

// A stat costs about a microsecond, as much as the look-up itself; a file is checked
// against its stamp at most once per interval, so another program's change is seen within
// a millisecond. This process's own writes update the cache at once, and the flush call
// (all three write arguments null) drops it.
constexpr std::chrono::microseconds kRecheckInterval{1000};

// What tells that a file changed: another inode (a replaced file), size or time.
struct FileStamp {
    bool exists = false;
    std::int64_t mtimeNs = 0;
    std::int64_t size = 0;
    std::uint64_t inode = 0;
    std::uint64_t device = 0;
    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

FileStamp StatFile(std::wstring_view path) {
    tlv::platform::FileInfo info;
    if (tlv::platform::Stat(path, info) || info.kind != tlv::platform::FileKind::kFile)
        return FileStamp();
    return FileStamp{true, info.mtimeNs, info.size, info.inode, info.device};
}

struct CacheEntry {
    FileStamp stamp;
    std::chrono::steady_clock::time_point checked;
    DocumentPtr document;
};

struct PathHash {
    using is_transparent = void;
    std::size_t operator()(std::wstring_view s) const noexcept {
        return std::hash<std::wstring_view>()(s);
    }
};
using CacheMap = std::unordered_map<std::wstring, CacheEntry, PathHash, std::equal_to<>>;

std::mutex g_cacheMutex;
CacheMap& Cache() {
    static auto* cache = new CacheMap;
    return *cache;
}

// The file's document as it is on disk now; an empty document when it cannot be read.
DocumentPtr Load(LPCWSTR file) {
    const std::wstring_view path(file);
    const auto now = std::chrono::steady_clock::now();
    {
        std::lock_guard<std::mutex> g(g_cacheMutex);
        auto it = Cache().find(path);
        if (it != Cache().end() && now - it->second.checked < kRecheckInterval)
            return it->second.document;
    }
    const FileStamp stamp = StatFile(path);
    {
        std::lock_guard<std::mutex> g(g_cacheMutex);
        auto it = Cache().find(path);
        if (it != Cache().end() && it->second.stamp == stamp) {
            it->second.checked = now;
            return it->second.document;
        }
    }
    std::string bytes;
    if (!stamp.exists || tlv::platform::ReadWholeFile(path, bytes))
        bytes.clear();
    auto document = std::make_shared<const ProfileDocument>(ProfileDocument::Parse(bytes));
    std::lock_guard<std::mutex> g(g_cacheMutex);
    if (Cache().size() > 256)
        Cache().clear(); // a host opening thousands of files keeps only the recent ones
    Cache()[std::wstring(path)] = CacheEntry{stamp, now, document};
    return document;
}

void Forget(const std::wstring& path) {
    std::lock_guard<std::mutex> g(g_cacheMutex);
    Cache().erase(path);
}

// Reads the file under the lock, applies edit and replaces the file when edit changed it.
template <class Edit> BOOL Modify(const std::wstring& path, Edit edit) {
    tlv::platform::PathLock lock(path);
    if (!lock.Locked())
        return FALSE;
    std::string bytes;
    const std::error_code readError = tlv::platform::ReadWholeFile(path, bytes);
    if (readError && readError != std::errc::no_such_file_or_directory)
        return FALSE; // a missing file is written new; one that cannot be read is left alone
    ProfileDocument document = ProfileDocument::Parse(bytes);
    if (!edit(document))
        return TRUE;
    const std::error_code writeError =
        tlv::platform::WriteFileAtomically(path, document.Serialize());
    Forget(path);
    return writeError ? FALSE : TRUE;
}

// Copies a NUL-separated list into out with the truncation rule of the profile functions.
DWORD CopyList(const std::vector<std::wstring>& items, LPWSTR out, DWORD size) {
    if (!out || size == 0)
        return 0;
    if (size == 1) {
        out[0] = L'\0';
        return 0;
    }
    std::size_t at = 0;
    for (const std::wstring& item : items) {
        // A list that would fill the buffer exactly counts as cut, as the Win32 calls count it.
        if (at + item.size() + 1 >= size - 1) {
            const std::size_t room = size - 2 > at ? size - 2 - at : 0;
            std::wmemcpy(out + at, item.c_str(), room);
            out[size - 2] = L'\0';
            out[size - 1] = L'\0';
            return size - 2;
        }
        std::wmemcpy(out + at, item.c_str(), item.size() + 1);
        at += item.size() + 1;
    }
    out[at] = L'\0';
    if (items.empty())
        out[1] = L'\0'; // an empty list is two NULs
    return static_cast<DWORD>(at);
}

DWORD CopyValue(std::wstring_view value, LPWSTR out, DWORD size) {
    if (!out || size == 0)
        return 0;
    const std::size_t n = value.size() < size - 1 ? value.size() : size - 1;
    std::wmemcpy(out, value.data(), n);
    out[n] = L'\0';
    return static_cast<DWORD>(n);
}

std::wstring TrimTrailingBlanks(const wchar_t* s) {
    std::wstring v = s ? s : L"";
    while (!v.empty() && (v.back() == L' ' || v.back() == L'\t'))
        v.pop_back();
    return v;
}

} // namespace

DWORD GetPrivateProfileStringW(LPCWSTR app, LPCWSTR key, LPCWSTR defaultValue, LPWSTR out,
                               DWORD size, LPCWSTR file) {
    if (!file || !out || size == 0)
        return 0;
    const DocumentPtr d = Load(file);
    if (!app)
        return CopyList(d->SectionNames(), out, size);
    if (!key) {
        if (!d->HasSection(app)) {
            // The default comes back as a value ended by two NULs.
            const DWORD n = CopyValue(TrimTrailingBlanks(defaultValue), out, size);
            if (n + 1 < size)
                out[n + 1] = L'\0';
            return n;
        }
        return CopyList(d->KeyNames(app), out, size);
    }
    if (const std::optional<std::wstring_view> v = d->Value(app, key))
        return CopyValue(*v, out, size);
    return CopyValue(TrimTrailingBlanks(defaultValue), out, size);
}

UINT GetPrivateProfileIntW(LPCWSTR app, LPCWSTR key, INT defaultValue, LPCWSTR file) {
    if (!file || !app || !key)
        return static_cast<UINT>(defaultValue);
    const DocumentPtr d = Load(file);
    const std::optional<std::wstring_view> v = d->Value(app, key);
    if (!v || v->empty())
        return static_cast<UINT>(defaultValue);
    const std::wstring text(*v);
    const wchar_t* p = text.c_str();
    bool negative = false;
    if (*p == L'-' || *p == L'+')
        negative = *p++ == L'-';
    unsigned base = 10;
    if (p[0] == L'0' && (p[1] == L'x' || p[1] == L'X'))
        base = 16, p += 2;
    std::uint64_t value = 0;
    for (;; ++p) {
        unsigned digit;
        if (*p >= L'0' && *p <= L'9')
            digit = static_cast<unsigned>(*p - L'0');
        else if (base == 16 && *p >= L'a' && *p <= L'f')
            digit = static_cast<unsigned>(*p - L'a' + 10);
        else if (base == 16 && *p >= L'A' && *p <= L'F')
            digit = static_cast<unsigned>(*p - L'A' + 10);
        else
            break;
        value = value * base + digit; // wraps like the 32-bit reader it stands for
    }
    const UINT result = static_cast<UINT>(value);
    return negative ? 0u - result : result;
}

DWORD GetPrivateProfileSectionW(LPCWSTR app, LPWSTR out, DWORD size, LPCWSTR file) {
    if (!file || !app || !out || size == 0)
        return 0;
    return CopyList(Load(file)->SectionLines(app), out, size);
}

DWORD GetPrivateProfileSectionNamesW(LPWSTR out, DWORD size, LPCWSTR file) {
    if (!file || !out || size == 0)
        return 0;
    return CopyList(Load(file)->SectionNames(), out, size);
}

BOOL WritePrivateProfileStringW(LPCWSTR app, LPCWSTR key, LPCWSTR value, LPCWSTR file) {
    if (!app) {
        if (key || value)
            return FALSE;
        if (file)
            Forget(file);
        else {
            std::lock_guard<std::mutex> g(g_cacheMutex);
            Cache().clear();
        }
        return TRUE;
    }
    if (!file)
        return FALSE;
    return Modify(file, [&](ProfileDocument& d) {
        if (!key)
            return d.DeleteSection(app);
        if (!value)
            return d.DeleteKey(app, key);
        return d.SetValue(app, key, value);
    });
}

BOOL WritePrivateProfileSectionW(LPCWSTR app, LPCWSTR lines, LPCWSTR file) {
    if (!app || !file)
        return FALSE;
    std::vector<std::wstring> list;
    if (lines)
        for (const wchar_t* p = lines; *p; p += std::wcslen(p) + 1)
            list.emplace_back(p);
    return Modify(file, [&](ProfileDocument& d) {
        return lines ? d.ReplaceSection(app, list) : d.DeleteSection(app);
    });
}

} // namespace TlvUtl::Win32
