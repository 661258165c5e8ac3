// The Win32 registry functions on the library's store: handles, access rights, and the
// conversion of string data between the stored UTF-16LE and four-byte wchar_t.
#include "file_system.h"
#include "registry_raw.h"
#include "special_folders.h"

#include "console.h"

#include <tlvutl/encoding.h>
#include <tlvutl/registry.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <pthread.h>
#include <unistd.h>
#include <unordered_map>

namespace tlv::platform {
namespace {

constexpr int kRootCount = 6;
constexpr int kPerformanceData = 4;
// The predefined handles are consecutive values: a root's index is its offset from the first.
HKEY RootAt(int index) {
    return reinterpret_cast<HKEY>(reinterpret_cast<std::uintptr_t>(HKEY_CLASSES_ROOT) +
                                  static_cast<std::uintptr_t>(index));
}

int RootIndex(HKEY key) {
    const auto value = reinterpret_cast<std::uintptr_t>(key);
    const auto first = reinterpret_cast<std::uintptr_t>(HKEY_CLASSES_ROOT);
    return value - first < kRootCount ? static_cast<int>(value - first) : -1;
}

// A database connection must not cross fork(): the child opens its own.
std::atomic<unsigned> g_forks{0};

void CountFork() {
    g_forks.fetch_add(1, std::memory_order_relaxed);
}

struct KeyHandle {
    int root = 0;
    RegKeyId id = kRootKey;
    REGSAM access = 0;
    // Touched only under the hive's lock.
    RegEnumCursor subKeys, values;
};

struct Target {
    std::shared_ptr<RegistryHive> hive; // null for HKEY_PERFORMANCE_DATA
    std::shared_ptr<KeyHandle> key;
};

class Store {
public:
    static Store& Get() {
        // Never destroyed: hosts may touch the registry from their own static destructors.
        static Store* store = new Store;
        return *store;
    }

    LONG Resolve(HKEY handle, Target& out) {
        std::lock_guard<std::mutex> g(m_);
        const int root = RootIndex(handle);
        if (root >= 0) {
            out.key = roots_[root];
        } else {
            const auto it = handles_.find(reinterpret_cast<std::uintptr_t>(handle));
            if (it == handles_.end())
                return ERROR_INVALID_HANDLE;
            out.key = it->second;
        }
        return HiveLocked(out.key->root, out.hive);
    }

    HKEY Add(int root, RegKeyId id, REGSAM access) {
        auto k = std::make_shared<KeyHandle>();
        k->root = root;
        k->id = id;
        k->access = access;
        std::lock_guard<std::mutex> g(m_);
        // Handle values are never reused, so a stale copy of a closed handle fails instead
        // of reaching whatever key was opened later.
        next_ += 4;
        handles_.emplace(next_, std::move(k));
        return reinterpret_cast<HKEY>(next_);
    }

    LONG Close(HKEY handle) {
        if (RootIndex(handle) >= 0)
            return ERROR_SUCCESS;
        std::lock_guard<std::mutex> g(m_);
        return handles_.erase(reinterpret_cast<std::uintptr_t>(handle)) ? ERROR_SUCCESS
                                                                        : ERROR_INVALID_HANDLE;
    }

    std::wstring Folder() {
        std::lock_guard<std::mutex> g(m_);
        return FolderLocked();
    }

    void SetFolder(const std::wstring& folder) {
        std::lock_guard<std::mutex> g(m_);
        override_ = folder;
        folder_.clear();
        handles_.clear();
        for (auto& h : hives_)
            h = {};
        ResetRoots();
    }

private:
    struct Slot {
        std::shared_ptr<RegistryHive> hive;
        unsigned forks = 0;
    };

    Store() {
        pthread_atfork(nullptr, nullptr, CountFork);
        ResetRoots();
    }

    void ResetRoots() {
        for (int i = 0; i < kRootCount; ++i) {
            roots_[i] = std::make_shared<KeyHandle>();
            roots_[i]->root = i;
            roots_[i]->access = KEY_ALL_ACCESS;
        }
    }

    std::wstring FolderLocked() {
        if (!folder_.empty())
            return folder_;
        std::wstring f = override_;
        if (f.empty())
            f = GetEnvironment("TLV_REGISTRY_DIR");
        if (f.empty())
            f = DataHomeFolder() + L"/tlvutl/registry";
        if (f.back() != L'/')
            f += L'/';
        folder_ = f;
        return folder_;
    }

    LONG HiveLocked(int root, std::shared_ptr<RegistryHive>& out) {
        if (root == kPerformanceData) {
            out.reset();
            return ERROR_SUCCESS;
        }
        Slot& slot = hives_[root];
        const unsigned forks = g_forks.load(std::memory_order_relaxed);
        if (slot.hive && slot.forks != forks) {
            // The parent's connection: closing it here could disturb the parent's locks and
            // log, so it is kept, unused, for the life of this process.
            abandoned_.push_back(std::move(slot.hive));
        }
        if (!slot.hive) {
            const std::wstring folder = FolderLocked();
            if (!IsDirectory(folder)) {
                // The store holds the user's settings: only the user may read it.
                if (const std::error_code ec = CreateDirectories(folder, 0700))
                    return ec == std::errc::permission_denied ? ERROR_ACCESS_DENIED
                                                              : ERROR_REGISTRY_IO_FAILED;
            }
            LONG status = ERROR_SUCCESS;
            std::unique_ptr<RegistryHive> hive = RegistryHive::Open(
                NativePath(folder + TlvUtl::RegistryRootName(RootAt(root)) + L".db"), status);
            if (!hive)
                return status;
            slot.hive = std::move(hive);
            slot.forks = forks;
        }
        out = slot.hive;
        return ERROR_SUCCESS;
    }

    std::mutex m_;
    std::wstring override_, folder_;
    Slot hives_[kRootCount];
    std::shared_ptr<KeyHandle> roots_[kRootCount];
    std::unordered_map<std::uintptr_t, std::shared_ptr<KeyHandle>> handles_;
    std::uintptr_t next_ = 0x10000;
    std::vector<std::shared_ptr<RegistryHive>> abandoned_;
};

REGSAM Effective(REGSAM sam) {
    REGSAM r = sam & KEY_ALL_ACCESS;
    if (sam & (GENERIC_READ | GENERIC_EXECUTE))
        r |= KEY_READ;
    if (sam & GENERIC_WRITE)
        r |= KEY_WRITE;
    if (sam & (GENERIC_ALL | MAXIMUM_ALLOWED))
        r |= KEY_ALL_ACCESS;
    return r;
}

bool IsText(DWORD type) {
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

// UTF-16LE <-> wchar_t. Unpaired surrogates pass through as they are in both directions, so
// any stored string survives a read and a write back.
void WideFromStored(const std::string& bytes, std::wstring& out) {
    out.clear();
    const std::size_t units = bytes.size() / 2;
    const auto* b = reinterpret_cast<const unsigned char*>(bytes.data());
    for (std::size_t i = 0; i < units; ++i) {
        const char32_t u = b[2 * i] | (b[2 * i + 1] << 8);
        if (u >= 0xD800 && u < 0xDC00 && i + 1 < units) {
            const char32_t v = b[2 * i + 2] | (b[2 * i + 3] << 8);
            if (v >= 0xDC00 && v < 0xE000) {
                out += static_cast<wchar_t>(0x10000 + ((u - 0xD800) << 10) + (v - 0xDC00));
                ++i;
                continue;
            }
        }
        out += static_cast<wchar_t>(u);
    }
}

void StoredFromWide(const BYTE* data, std::size_t count, std::string& out) {
    out.clear();
    out.reserve(count * 2);
    auto put = [&out](char32_t u) {
        out += static_cast<char>(u & 0xFF);
        out += static_cast<char>(u >> 8);
    };
    for (std::size_t i = 0; i < count; ++i) {
        wchar_t wc;
        std::memcpy(&wc, data + i * sizeof(wchar_t), sizeof wc);
        auto c = static_cast<std::uint32_t>(wc);
        if (c > 0x10FFFF)
            c = 0xFFFD;
        if (c >= 0x10000) {
            put(0xD800 + ((c - 0x10000) >> 10));
            put(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            put(c);
        }
    }
}

// The size and buffer rules shared by the query and enumeration functions.
LONG Deliver(DWORD type, const std::string& bytes, BYTE* data, DWORD* size, bool wide) {
    if (!size)
        return ERROR_SUCCESS;
    if (!wide || !IsText(type)) {
        const auto need = static_cast<DWORD>(bytes.size());
        if (data) {
            if (*size < need) {
                *size = need;
                return ERROR_MORE_DATA;
            }
            std::memcpy(data, bytes.data(), need);
            const bool unterminated = need < 2 || bytes[need - 1] != 0 || bytes[need - 2] != 0;
            if (IsText(type) && unterminated && *size >= need + 2)
                data[need] = data[need + 1] = 0;
        }
        *size = need;
        return ERROR_SUCCESS;
    }
    thread_local std::wstring text;
    WideFromStored(bytes, text);
    const auto need = static_cast<DWORD>(2 * text.size());
    if (data) {
        if (*size < need) {
            *size = need;
            return ERROR_MORE_DATA;
        }
        std::memcpy(data, text.data(), text.size() * sizeof(wchar_t));
        if ((text.empty() || text.back() != 0) && *size >= need + 2) {
            const wchar_t nul = 0;
            std::memcpy(data + text.size() * sizeof(wchar_t), &nul, sizeof nul);
        }
    }
    *size = need;
    return ERROR_SUCCESS;
}

LONG NeedAccess(const KeyHandle& key, REGSAM right) {
    return (key.access & right) == right ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

LONG QueryValue(HKEY hKey, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size,
                bool wide) {
    if (reserved || (data && !size))
        return ERROR_INVALID_PARAMETER;
    Target t;
    LONG r = Store::Get().Resolve(hKey, t);
    if (r == ERROR_SUCCESS)
        r = NeedAccess(*t.key, KEY_QUERY_VALUE);
    if (r != ERROR_SUCCESS)
        return r;
    if (!t.hive)
        return ERROR_FILE_NOT_FOUND;
    thread_local std::string bytes;
    DWORD stored = 0;
    r = t.hive->QueryValue(t.key->id, name ? name : L"", stored, bytes);
    if (r != ERROR_SUCCESS)
        return r;
    if (type)
        *type = stored;
    return Deliver(stored, bytes, data, size, wide);
}

LONG SetValue(HKEY hKey, LPCWSTR name, DWORD type, const BYTE* data, DWORD size, bool wide) {
    if (!data && size)
        return ERROR_NOACCESS; // as a read of the caller's null buffer would end
    Target t;
    LONG r = Store::Get().Resolve(hKey, t);
    if (r == ERROR_SUCCESS)
        r = NeedAccess(*t.key, KEY_SET_VALUE);
    if (r != ERROR_SUCCESS)
        return r;
    if (!t.hive)
        return ERROR_ACCESS_DENIED;
    if (wide && IsText(type)) {
        std::size_t count = size / 2;
        // A count that stops just before the text's NUL takes the NUL too, as Windows
        // extends it: callers that pass the length without the terminator still get a
        // terminated string.
        if (data && count > 0 && size % 2 == 0) {
            wchar_t last, next;
            std::memcpy(&last, data + (count - 1) * sizeof(wchar_t), sizeof last);
            if (last != 0) { // a terminated count reads nothing beyond itself
                std::memcpy(&next, data + count * sizeof(wchar_t), sizeof next);
                if (next == 0)
                    ++count;
            }
        }
        thread_local std::string bytes;
        StoredFromWide(data, count, bytes);
        return t.hive->SetValue(t.key->id, name ? name : L"", type, bytes);
    }
    return t.hive->SetValue(t.key->id, name ? name : L"", type,
                            std::string_view(reinterpret_cast<const char*>(data), size));
}

LONG EnumValue(HKEY hKey, DWORD index, LPWSTR name, LPDWORD nameLength, LPDWORD reserved,
               LPDWORD type, LPBYTE data, LPDWORD size, bool wide) {
    if (!name || !nameLength || reserved || (data && !size))
        return ERROR_INVALID_PARAMETER;
    Target t;
    LONG r = Store::Get().Resolve(hKey, t);
    if (r == ERROR_SUCCESS)
        r = NeedAccess(*t.key, KEY_QUERY_VALUE);
    if (r != ERROR_SUCCESS)
        return r;
    if (!t.hive)
        return ERROR_NO_MORE_ITEMS;
    thread_local std::wstring found;
    thread_local std::string bytes;
    DWORD stored = 0;
    r = t.hive->EnumValue(t.key->id, index, t.key->values, found, stored, bytes);
    if (r != ERROR_SUCCESS)
        return r;
    if (type)
        *type = stored;
    if (found.size() + 1 > *nameLength) {
        // The name does not fit: the data is not copied, but its size is still told.
        if (size)
            Deliver(stored, bytes, nullptr, size, wide);
        return ERROR_MORE_DATA;
    }
    std::wmemcpy(name, found.c_str(), found.size() + 1);
    *nameLength = static_cast<DWORD>(found.size());
    return Deliver(stored, bytes, data, size, wide);
}

} // namespace

LONG RegQueryValueRaw(HKEY key, const wchar_t* name, DWORD* type, BYTE* data, DWORD* size) {
    return QueryValue(key, name, nullptr, type, data, size, false);
}

LONG RegEnumValueRaw(HKEY key, DWORD index, wchar_t* name, DWORD* nameLength, DWORD* type,
                     BYTE* data, DWORD* size) {
    return EnumValue(key, index, name, nameLength, nullptr, type, data, size, false);
}

LONG RegSetValueRaw(HKEY key, const wchar_t* name, DWORD type, const BYTE* data, DWORD size) {
    return SetValue(key, name, type, data, size, false);
}

LONG RegEnumValueBytes(HKEY hKey, DWORD index, std::wstring& name, DWORD& type, std::string& data) {
    Target t;
    LONG r = Store::Get().Resolve(hKey, t);
    if (r == ERROR_SUCCESS)
        r = NeedAccess(*t.key, KEY_QUERY_VALUE);
    if (r != ERROR_SUCCESS)
        return r;
    if (!t.hive)
        return ERROR_NO_MORE_ITEMS;
    return t.hive->EnumValue(t.key->id, index, t.key->values, name, type, data);
}

LONG RegApplyChanges(HKEY root, const std::vector<RegChange>& changes) {
    return RegApplyChangeSets({{root, changes}});
}

namespace {
LONG ApplyChangeSets(const std::vector<std::pair<HKEY, std::vector<RegChange>>>& sets);
} // namespace

LONG RegApplyChangeSets(const std::vector<std::pair<HKEY, std::vector<RegChange>>>& sets) {
    const LONG r = ApplyChangeSets(sets);
    ClearRegChangeFault();
    return r;
}

namespace {

LONG ApplyChangeSets(const std::vector<std::pair<HKEY, std::vector<RegChange>>>& sets) {
    std::vector<Target> targets(sets.size());
    std::vector<RegistryHive::Batch> batches;
    for (std::size_t i = 0; i < sets.size(); ++i) {
        if (RootIndex(sets[i].first) < 0)
            return ERROR_INVALID_HANDLE;
        const LONG r = Store::Get().Resolve(sets[i].first, targets[i]);
        if (r != ERROR_SUCCESS)
            return r;
        if (!targets[i].hive) {
            if (!sets[i].second.empty())
                return ERROR_ACCESS_DENIED;
            continue;
        }
        batches.push_back({targets[i].hive.get(), &sets[i].second});
    }
    return RegistryHive::ApplyTogether(batches);
}

} // namespace

} // namespace tlv::platform

namespace TlvUtl {

using namespace tlv::platform;

namespace {

// The sub-key path split into names and the key it starts from: the preamble of every call
// that names a key by path.
LONG Locate(HKEY hKey, LPCWSTR subKey, RegPath& path, Target& t) {
    // Backslashes in a row inside a path are one separator, as the system's registry reads
    // them; a leading one is still refused.
    std::wstring collapsed;
    if (subKey && *subKey &&
        std::wstring_view(subKey + 1).find(L"\\\\") != std::wstring_view::npos) {
        collapsed = subKey;
        for (std::size_t at; (at = collapsed.find(L"\\\\", 1)) != std::wstring::npos;)
            collapsed.erase(at, 1);
        subKey = collapsed.c_str();
    }
    const LONG r = SplitRegistryPath(subKey, path);
    return r != ERROR_SUCCESS ? r : Store::Get().Resolve(hKey, t);
}

} // namespace

LONG RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD, REGSAM samDesired, PHKEY phkResult) {
    if (!phkResult)
        return ERROR_INVALID_PARAMETER;
    *phkResult = nullptr;
    RegPath path;
    Target t;
    LONG r = Locate(hKey, lpSubKey, path, t);
    if (r != ERROR_SUCCESS)
        return r;
    if (!t.hive) {
        if (!path.empty())
            return ERROR_FILE_NOT_FOUND;
        *phkResult = HKEY_PERFORMANCE_DATA;
        return ERROR_SUCCESS;
    }
    RegKeyId id = 0;
    r = t.hive->OpenKey(t.key->id, path, id);
    if (r == ERROR_SUCCESS)
        *phkResult = Store::Get().Add(t.key->root, id, Effective(samDesired));
    return r;
}

LONG RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD, LPWSTR lpClass, DWORD, REGSAM samDesired,
                     const LPSECURITY_ATTRIBUTES, PHKEY phkResult, LPDWORD lpdwDisposition) {
    if (!phkResult || !lpSubKey)
        return ERROR_INVALID_PARAMETER;
    *phkResult = nullptr;
    RegPath path;
    Target t;
    LONG r = Locate(hKey, lpSubKey, path, t);
    if (r != ERROR_SUCCESS)
        return r;
    if (!t.hive) {
        if (!path.empty())
            return ERROR_ACCESS_DENIED; // holds nothing, so nothing can be made in it
        *phkResult = HKEY_PERFORMANCE_DATA;
        if (lpdwDisposition)
            *lpdwDisposition = REG_OPENED_EXISTING_KEY;
        return ERROR_SUCCESS;
    }
    RegKeyId id = 0;
    bool created = false;
    r = t.hive->OpenKey(t.key->id, path, id);
    if (r == ERROR_FILE_NOT_FOUND) {
        r = NeedAccess(*t.key, KEY_CREATE_SUB_KEY);
        if (r == ERROR_SUCCESS)
            r = t.hive->CreateKey(t.key->id, path, lpClass ? lpClass : L"", id, created);
    }
    if (r != ERROR_SUCCESS)
        return r;
    *phkResult = Store::Get().Add(t.key->root, id, Effective(samDesired));
    if (lpdwDisposition)
        *lpdwDisposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    return ERROR_SUCCESS;
}

LONG RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType,
                      LPBYTE lpData, LPDWORD lpcbData) {
    return QueryValue(hKey, lpValueName, lpReserved, lpType, lpData, lpcbData, true);
}

LONG RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD, DWORD dwType, const BYTE* lpData,
                    DWORD cbData) {
    return SetValue(hKey, lpValueName, dwType, lpData, cbData, true);
}

LONG RegEnumValueW(HKEY hKey, DWORD dwIndex, LPWSTR lpValueName, LPDWORD lpcchValueName,
                   LPDWORD lpReserved, LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData) {
    return EnumValue(hKey, dwIndex, lpValueName, lpcchValueName, lpReserved, lpType, lpData,
                     lpcbData, true);
}

LONG RegEnumKeyExW(HKEY hKey, DWORD dwIndex, LPWSTR lpName, LPDWORD lpcchName, LPDWORD lpReserved,
                   LPWSTR lpClass, LPDWORD lpcchClass, PFILETIME lpftLastWriteTime) {
    if (!lpName || !lpcchName || lpReserved || (lpClass && !lpcchClass))
        return ERROR_INVALID_PARAMETER;
    Target t;
    LONG r = Store::Get().Resolve(hKey, t);
    if (r == ERROR_SUCCESS)
        r = NeedAccess(*t.key, KEY_ENUMERATE_SUB_KEYS);
    if (r != ERROR_SUCCESS)
        return r;
    if (!t.hive)
        return ERROR_NO_MORE_ITEMS;
    thread_local std::wstring name, className;
    std::int64_t written = 0;
    r = t.hive->EnumKey(t.key->id, dwIndex, t.key->subKeys, name, className, written);
    if (r != ERROR_SUCCESS)
        return r;
    if (name.size() + 1 > *lpcchName)
        return ERROR_MORE_DATA;
    std::wmemcpy(lpName, name.c_str(), name.size() + 1);
    *lpcchName = static_cast<DWORD>(name.size());
    if (lpClass) {
        if (className.size() + 1 > *lpcchClass)
            return ERROR_MORE_DATA;
        std::wmemcpy(lpClass, className.c_str(), className.size() + 1);
    }
    if (lpcchClass)
        *lpcchClass = static_cast<DWORD>(className.size());
    if (lpftLastWriteTime) {
        lpftLastWriteTime->dwLowDateTime = static_cast<DWORD>(written);
        lpftLastWriteTime->dwHighDateTime = static_cast<DWORD>(written >> 32);
    }
    return ERROR_SUCCESS;
}

LONG RegQueryInfoKeyW(HKEY hKey, LPWSTR lpClass, LPDWORD lpcchClass, LPDWORD lpReserved,
                      LPDWORD lpcSubKeys, LPDWORD lpcbMaxSubKeyLen, LPDWORD lpcbMaxClassLen,
                      LPDWORD lpcValues, LPDWORD lpcbMaxValueNameLen, LPDWORD lpcbMaxValueLen,
                      LPDWORD lpcbSecurityDescriptor, PFILETIME lpftLastWriteTime) {
    if (lpReserved || (lpClass && !lpcchClass))
        return ERROR_INVALID_PARAMETER;
    Target t;
    LONG r = Store::Get().Resolve(hKey, t);
    if (r == ERROR_SUCCESS)
        r = NeedAccess(*t.key, KEY_QUERY_VALUE);
    if (r != ERROR_SUCCESS)
        return r;
    RegKeyInfo info;
    if (t.hive) {
        r = t.hive->QueryInfo(t.key->id, info);
        if (r != ERROR_SUCCESS)
            return r;
    }
    if (lpcSubKeys)
        *lpcSubKeys = info.subKeys;
    if (lpcbMaxSubKeyLen)
        *lpcbMaxSubKeyLen = info.maxSubKeyLength;
    if (lpcbMaxClassLen)
        *lpcbMaxClassLen = info.maxClassLength;
    if (lpcValues)
        *lpcValues = info.values;
    if (lpcbMaxValueNameLen)
        *lpcbMaxValueNameLen = info.maxValueNameLength;
    if (lpcbMaxValueLen)
        *lpcbMaxValueLen = info.maxValueBytes;
    if (lpcbSecurityDescriptor)
        *lpcbSecurityDescriptor = 0;
    if (lpftLastWriteTime) {
        lpftLastWriteTime->dwLowDateTime = static_cast<DWORD>(info.lastWrite);
        lpftLastWriteTime->dwHighDateTime = static_cast<DWORD>(info.lastWrite >> 32);
    }
    if (lpcchClass) {
        const DWORD room = *lpcchClass;
        *lpcchClass = static_cast<DWORD>(info.className.size());
        if (lpClass) {
            if (info.className.size() + 1 > room)
                return ERROR_MORE_DATA;
            std::wmemcpy(lpClass, info.className.c_str(), info.className.size() + 1);
        }
    }
    return ERROR_SUCCESS;
}

LONG RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey) {
    if (!lpSubKey)
        return ERROR_INVALID_PARAMETER;
    RegPath path;
    Target t;
    LONG r = Locate(hKey, lpSubKey, path, t);
    if (r != ERROR_SUCCESS)
        return r;
    if (!t.hive)
        return path.empty() ? ERROR_ACCESS_DENIED : ERROR_FILE_NOT_FOUND;
    return t.hive->DeleteKey(t.key->id, path);
}

LONG RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName) {
    Target t;
    LONG r = Store::Get().Resolve(hKey, t);
    if (r == ERROR_SUCCESS)
        r = NeedAccess(*t.key, KEY_SET_VALUE);
    if (r != ERROR_SUCCESS)
        return r;
    if (!t.hive)
        return ERROR_FILE_NOT_FOUND;
    return t.hive->DeleteValue(t.key->id, lpValueName ? lpValueName : L"");
}

LONG RegCloseKey(HKEY hKey) {
    return Store::Get().Close(hKey);
}

std::wstring GetRegistryDirectory() {
    return Store::Get().Folder();
}

void SetRegistryDirectory(const std::wstring& folder) {
    Store::Get().SetFolder(folder);
}

std::wstring GetRegistryStoreFile(HKEY root) {
    const int i = RootIndex(root);
    if (i < 0 || i == kPerformanceData)
        return {};
    return GetRegistryDirectory() + RegistryRootName(root) + L".db";
}

LONG CheckRegistryStore(HKEY root, std::vector<std::wstring>* problems) {
    if (problems)
        problems->clear();
    const std::wstring file = GetRegistryStoreFile(root);
    if (file.empty())
        return ERROR_INVALID_HANDLE;
    std::vector<std::string> found;
    const LONG r = tlv::platform::CheckRegistryHiveFile(NativePath(file), found);
    if (problems)
        for (const std::string& p : found)
            problems->push_back(TlvUtils::FromUtf8(p));
    return r;
}

} // namespace TlvUtl
