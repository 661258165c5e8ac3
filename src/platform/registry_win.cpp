// The registry of the Windows build is the system's: the public functions are the system's
// own (see registry.h), and the byte-exact access the library's code uses needs no
// conversion, as wchar_t is two bytes here.
#include "registry_raw.h"

#include "core/case_fold.h"

#include <tlvutl/registry.h>

#include <windows.h>

namespace tlv::platform {

std::wstring FoldRegistryName(std::wstring_view name) {
    return tlv::core::FoldUpper(name);
}

LONG RegQueryValueRaw(HKEY key, const wchar_t* name, DWORD* type, BYTE* data, DWORD* size) {
    return ::RegQueryValueExW(key, name, nullptr, type, data, size);
}

LONG RegEnumValueRaw(HKEY key, DWORD index, wchar_t* name, DWORD* nameLength, DWORD* type,
                     BYTE* data, DWORD* size) {
    return ::RegEnumValueW(key, index, name, nameLength, nullptr, type, data, size);
}

LONG RegSetValueRaw(HKEY key, const wchar_t* name, DWORD type, const BYTE* data, DWORD size) {
    return ::RegSetValueExW(key, name, 0, type, data, size);
}

LONG RegEnumValueBytes(HKEY key, DWORD index, std::wstring& name, DWORD& type, std::string& data) {
    DWORD maxName = 0, maxData = 0;
    LONG r = ::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                &maxName, &maxData, nullptr, nullptr);
    if (r != ERROR_SUCCESS)
        return r;
    // A value written between the two calls may have grown: retry with the size it reports.
    for (int attempt = 0; attempt < 4; ++attempt) {
        std::wstring n(maxName + 1, L'\0');
        data.assign(maxData, '\0');
        DWORD nameLength = maxName + 1, size = maxData;
        r = ::RegEnumValueW(key, index, n.data(), &nameLength, nullptr, &type,
                            reinterpret_cast<BYTE*>(data.data()), &size);
        if (r == ERROR_MORE_DATA) {
            maxName = maxName * 2 + 64;
            maxData = size > maxData ? size : maxData * 2 + 64;
            continue;
        }
        if (r != ERROR_SUCCESS)
            return r;
        n.resize(nameLength);
        name = n;
        data.resize(size);
        return ERROR_SUCCESS;
    }
    return r;
}

namespace {

LONG OpenPath(HKEY root, const RegPath& path, bool create, HKEY& key) {
    std::wstring sub;
    for (const std::wstring& level : path)
        sub += (sub.empty() ? L"" : L"\\") + level;
    if (create)
        return ::RegCreateKeyExW(root, sub.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                                 nullptr);
    return ::RegOpenKeyExW(root, sub.c_str(), 0, KEY_ALL_ACCESS, &key);
}

} // namespace

// The system's registry has no transaction a plain process can count on everywhere: the
// changes are made in order and the first failure stops the batch.
LONG RegApplyChanges(HKEY root, const std::vector<RegChange>& changes) {
    for (const RegChange& c : changes) {
        HKEY key = nullptr;
        LONG r = ERROR_SUCCESS;
        switch (c.kind) {
        case RegChange::Kind::CreateKey:
            r = OpenPath(root, c.path, true, key);
            break;
        case RegChange::Kind::DeleteTree: {
            if (c.path.empty())
                return ERROR_ACCESS_DENIED;
            RegPath parent(c.path.begin(), c.path.end() - 1);
            HKEY p = nullptr;
            r = OpenPath(root, parent, false, p);
            if (r == ERROR_SUCCESS) {
                r = ::RegDeleteTreeW(p, c.path.back().c_str());
                ::RegCloseKey(p);
            }
            if (r == ERROR_FILE_NOT_FOUND)
                r = ERROR_SUCCESS;
            break;
        }
        case RegChange::Kind::SetValue:
            r = OpenPath(root, c.path, true, key);
            if (r == ERROR_SUCCESS)
                r = ::RegSetValueExW(key, c.name.empty() ? nullptr : c.name.c_str(), 0, c.type,
                                     reinterpret_cast<const BYTE*>(c.data.data()),
                                     static_cast<DWORD>(c.data.size()));
            break;
        case RegChange::Kind::DeleteValue:
            r = OpenPath(root, c.path, false, key);
            if (r == ERROR_SUCCESS)
                r = ::RegDeleteValueW(key, c.name.empty() ? nullptr : c.name.c_str());
            if (r == ERROR_FILE_NOT_FOUND)
                r = ERROR_SUCCESS;
            break;
        }
        if (key)
            ::RegCloseKey(key);
        if (r != ERROR_SUCCESS)
            return r;
    }
    return ERROR_SUCCESS;
}

// The system's registry has no transaction spanning roots here: each root's changes are made
// in turn, and a failure stops before the next root (the roots before it keep theirs).
LONG RegApplyChangeSets(const std::vector<std::pair<HKEY, std::vector<RegChange>>>& sets) {
    for (const auto& set : sets)
        if (const LONG r = RegApplyChanges(set.first, set.second); r != ERROR_SUCCESS)
            return r;
    return ERROR_SUCCESS;
}

} // namespace tlv::platform

namespace TlvUtl {

// The system keeps the registry: there is no store folder or file of the library's.
std::wstring GetRegistryDirectory() {
    return {};
}

void SetRegistryDirectory(const std::wstring&) {}

std::wstring GetRegistryStoreFile(HKEY) {
    return {};
}

// The system checks its own hives; there is no file of the library's to read.
LONG CheckRegistryStore(HKEY, std::vector<std::wstring>* problems) {
    if (problems)
        problems->clear();
    return ERROR_NOT_SUPPORTED;
}

} // namespace TlvUtl
