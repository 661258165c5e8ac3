// The private-profile functions over ProfileDocument, with a per-file cache for reads and
// lock-read-modify-replace for writes.
#include <tlvutl/profile.h>

#include "platform/file_system.h"
#include "platform/held_file.h"
#include "platform/last_error.h"
#include "profile_document.h"

#include <cstdint>
#include <cwchar>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace TlvUtl::Win32 {
namespace {

using tlv::environment::ProfileDocument;
using DocumentPtr = std::shared_ptr<const ProfileDocument>;

// Every read checks the cached document against the file (device, inode, size, and
// modification and change times in nanoseconds) before it answers, so another program's
// change, even one of the same size within the same clock tick, or a deletion, is seen at
// once. The check is one fstat of a descriptor the cache holds: a stat by name costs a
// microsecond here, more than the look-up itself. The held file tells when it was deleted or
// replaced (no name links to it), and the change time moves with every write, even one that
// restores the modification time. Paths that are symbolic links are checked by name, since
// the link can be pointed elsewhere while the held file stays the same. This process's own
// writes drop the entry.
struct FileStamp {
    bool exists = false;
    std::int64_t mtimeNs = 0;
    std::int64_t ctimeNs = 0; // changes with every write, even one that restores mtime
    std::int64_t size = 0;
    std::uint64_t inode = 0;
    std::uint64_t device = 0;
    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

FileStamp StampOf(const tlv::platform::FileInfo& info) {
    if (info.kind != tlv::platform::FileKind::kFile || info.links == 0)
        return FileStamp();
    return FileStamp{true, info.mtimeNs, info.ctimeNs, info.size, info.inode, info.device};
}

FileStamp StatByName(std::wstring_view path) {
    tlv::platform::FileInfo info;
    return tlv::platform::Stat(path, info) ? FileStamp() : StampOf(info);
}

FileStamp StatHeld(const tlv::platform::HeldFile& file) {
    tlv::platform::FileInfo info;
    return file.Stat(info) ? FileStamp() : StampOf(info);
}

struct CacheEntry {
    std::shared_ptr<const tlv::platform::HeldFile> file; // null while the file is missing
    FileStamp stamp;
    DocumentPtr document;
};

struct PathHash {
    using is_transparent = void;
    std::size_t operator()(std::wstring_view s) const noexcept {
        return std::hash<std::wstring_view>()(s);
    }
};
using CacheMap = std::unordered_map<std::wstring, CacheEntry, PathHash, std::equal_to<>>;

// Each entry holds a descriptor, so the cache stays small.
constexpr std::size_t kMaxCachedFiles = 64;

std::mutex g_cacheMutex;
CacheMap& Cache() {
    static auto* cache = new CacheMap;
    return *cache;
}

// The file's document as it is on disk now; an empty document when it cannot be read, and
// then the last error is ERROR_FILE_NOT_FOUND.
DocumentPtr Load(LPCWSTR file, bool* exists = nullptr) {
    const std::wstring_view path(file);
    CacheEntry cached;
    {
        std::lock_guard<std::mutex> g(g_cacheMutex);
        auto it = Cache().find(path);
        if (it != Cache().end())
            cached = it->second;
    }
    if (cached.file) {
        const FileStamp now =
            cached.file->ThroughLink() ? StatByName(path) : StatHeld(*cached.file);
        if (now.exists && now == cached.stamp) {
            if (exists)
                *exists = true;
            return cached.document;
        }
    }
    auto held = std::make_shared<const tlv::platform::HeldFile>(path);
    // The stamp is taken before the bytes are read: a write that races the read changes the
    // file after the stamp, so the next read loads again.
    const FileStamp stamp = held->IsOpen() ? StatHeld(*held) : FileStamp{};
    std::string bytes;
    const bool read = stamp.exists && !held->ReadAll(bytes);
    if (!read)
        bytes.clear();
    if (exists)
        *exists = stamp.exists;
    if (!stamp.exists) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        held.reset();
    }
    auto document = std::make_shared<const ProfileDocument>(ProfileDocument::Parse(bytes));
    if (stamp.exists && !read)
        return document; // a file that failed to read is tried again next time
    std::lock_guard<std::mutex> g(g_cacheMutex);
    if (Cache().size() >= kMaxCachedFiles && !Cache().count(path))
        Cache().clear(); // a host opening many files keeps only the recent ones
    Cache()[std::wstring(path)] = CacheEntry{std::move(held), stamp, document};
    return document;
}

void Forget(const std::wstring& path) {
    std::lock_guard<std::mutex> g(g_cacheMutex);
    Cache().erase(path);
}

// Reads the file under the lock, applies edit and replaces the file when edit changed it.
template <class Edit> BOOL Modify(const std::wstring& path, Edit edit) {
    tlv::platform::PathLock lock(path);
    if (!lock.Locked()) {
        // The lock is on the file's folder: a missing folder is ERROR_PATH_NOT_FOUND.
        const DWORD e = tlv::platform::Win32Error(lock.Error(), path);
        SetLastError(e == ERROR_FILE_NOT_FOUND || e == ERROR_PATH_NOT_FOUND ? ERROR_PATH_NOT_FOUND
                                                                            : ERROR_ACCESS_DENIED);
        return FALSE;
    }
    // A writer killed between writing its temporary and the rename left it behind; under the
    // lock no other writer is busy with one, so whatever is found is stale.
    tlv::platform::RemoveStaleTemporaries(path);
    std::string bytes;
    const std::error_code readError = tlv::platform::ReadWholeFile(path, bytes);
    if (readError && readError != std::errc::no_such_file_or_directory) {
        // A file that cannot be read is left alone rather than replaced by a new one.
        SetLastError(tlv::platform::Win32Error(readError, path));
        return FALSE;
    }
    ProfileDocument document = ProfileDocument::Parse(bytes);
    if (!edit(document))
        return TRUE;
    const std::error_code writeError =
        tlv::platform::WriteFileAtomically(path, document.Serialize());
    Forget(path);
    if (writeError) {
        SetLastError(tlv::platform::Win32Error(writeError, path));
        return FALSE;
    }
    return TRUE;
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
    out[at] = L'\0'; // an empty list is one NUL
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
    // Blanks kept inside quotes (i=" 42") are skipped here.
    while (*p == L' ' || *p == L'\t')
        ++p;
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
    if (!app) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    if (!file || !out || size == 0)
        return 0;
    bool exists = false;
    const DocumentPtr d = Load(file, &exists);
    if (exists)
        SetLastError(ERROR_SUCCESS);
    return CopyList(d->SectionLines(app), out, size);
}

DWORD GetPrivateProfileSectionNamesW(LPWSTR out, DWORD size, LPCWSTR file) {
    if (!file || !out || size == 0)
        return 0;
    return CopyList(Load(file)->SectionNames(), out, size);
}

BOOL WritePrivateProfileStringW(LPCWSTR app, LPCWSTR key, LPCWSTR value, LPCWSTR file) {
    if (!app) {
        if (key || value) {
            SetLastError(ERROR_FILE_NOT_FOUND);
            return FALSE;
        }
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
