// The registry of the Windows build is the system's: the public functions are the system's
// own (see registry.h), and the byte-exact access the library's code uses needs no
// conversion, as wchar_t is two bytes here.
#include "registry_raw.h"

#include "core/case_fold.h"

#include <tlvutl/registry.h>

#include <windows.h>

#include <memory>

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

// RegSetValueExW counts a string's NUL in when the count stops just before one, so the data
// is handed over with a character after it that is not NUL: a value written without its
// terminator is stored without it.
LONG RegSetValueRaw(HKEY key, const wchar_t* name, DWORD type, const BYTE* data, DWORD size) {
    if (!data)
        return ::RegSetValueExW(key, name, 0, type, data, size);
    std::string guarded(reinterpret_cast<const char*>(data), size);
    guarded.append(4, '\xFF');
    return ::RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(guarded.data()),
                            size);
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

std::wstring Join(const RegPath& path, std::size_t levels) {
    std::wstring sub;
    for (std::size_t i = 0; i < levels && i < path.size(); ++i)
        sub += (sub.empty() ? L"" : L"\\") + path[i];
    return sub;
}

LONG OpenPath(HKEY root, const RegPath& path, bool create, HKEY& key) {
    const std::wstring sub = Join(path, path.size());
    if (create)
        return ::RegCreateKeyExW(root, sub.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                                 nullptr);
    return ::RegOpenKeyExW(root, sub.c_str(), 0, KEY_ALL_ACCESS, &key);
}

LONG SetExact(HKEY key, const std::wstring& name, DWORD type, const std::string& data) {
    return RegSetValueRaw(key, name.empty() ? nullptr : name.c_str(), type,
                          reinterpret_cast<const BYTE*>(data.data()),
                          static_cast<DWORD>(data.size()));
}

// A key with everything below it, as far as a .reg file can say it: values (type and bytes,
// in enumeration order) and sub-keys. Class names, volatility and security are not kept.
struct SavedKey {
    std::wstring name;
    std::vector<std::pair<std::wstring, std::pair<DWORD, std::string>>> values;
    std::vector<SavedKey> children;
};

LONG Save(HKEY key, SavedKey& saved) {
    for (DWORD i = 0;; ++i) {
        std::wstring name;
        DWORD type = 0;
        std::string data;
        const LONG r = RegEnumValueBytes(key, i, name, type, data);
        if (r == ERROR_NO_MORE_ITEMS)
            break;
        if (r != ERROR_SUCCESS)
            return r;
        saved.values.push_back({name, {type, data}});
    }
    for (DWORD i = 0;; ++i) {
        wchar_t name[256];
        DWORD length = 256;
        LONG r = ::RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (r == ERROR_NO_MORE_ITEMS)
            return ERROR_SUCCESS;
        if (r != ERROR_SUCCESS)
            return r;
        HKEY child = nullptr;
        r = ::RegOpenKeyExW(key, name, 0, KEY_READ, &child);
        if (r != ERROR_SUCCESS)
            return r;
        SavedKey& below = saved.children.emplace_back();
        below.name.assign(name, length);
        r = Save(child, below);
        ::RegCloseKey(child);
        if (r != ERROR_SUCCESS)
            return r;
    }
}

LONG Restore(HKEY parent, const SavedKey& saved) {
    HKEY key = nullptr;
    LONG r = ::RegCreateKeyExW(parent, saved.name.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                               &key, nullptr);
    if (r != ERROR_SUCCESS)
        return r;
    for (const auto& [name, value] : saved.values)
        if (const LONG v = SetExact(key, name, value.first, value.second); v != ERROR_SUCCESS)
            r = v;
    for (const SavedKey& child : saved.children)
        if (const LONG c = Restore(key, child); c != ERROR_SUCCESS)
            r = c;
    ::RegCloseKey(key);
    return r;
}

// What one change is about to alter, recorded just before it is made, so that undoing the
// records in reverse order gives back the registry as it was before the first change.
struct UndoRecord {
    HKEY root = nullptr;
    RegPath path;
    // The levels of path that existed: a change that makes the rest is undone by deleting
    // the first level made, with all below it.
    std::size_t existing = 0;
    bool value = false; // the record is about one value of the key at path
    std::wstring name;
    bool had = false; // the value (or, for a key deletion, the key) existed
    DWORD type = 0;
    std::string data;
    std::unique_ptr<SavedKey> tree; // a deleted key as it was
};

// Only a level that is not there counts as missing: one that cannot be read stops the
// import before anything is changed rather than be taken for a key the change would make.
LONG ExistingLevels(HKEY root, const RegPath& path, std::size_t& levels) {
    levels = 0;
    while (levels < path.size()) {
        HKEY key = nullptr;
        const LONG r = ::RegOpenKeyExW(root, Join(path, levels + 1).c_str(), 0, KEY_READ, &key);
        if (r == ERROR_FILE_NOT_FOUND)
            return ERROR_SUCCESS;
        if (r != ERROR_SUCCESS)
            return r;
        ::RegCloseKey(key);
        ++levels;
    }
    return ERROR_SUCCESS;
}

LONG Record(HKEY root, const RegChange& c, UndoRecord& u) {
    u.root = root;
    u.path = c.path;
    if (const LONG r = ExistingLevels(root, c.path, u.existing); r != ERROR_SUCCESS)
        return r;
    const bool keyExists = u.existing == c.path.size();
    const bool creates =
        c.kind == RegChange::Kind::CreateKey || c.kind == RegChange::Kind::SetValue;
    if (!creates)
        u.existing = c.path.size(); // nothing is made that would have to go again
    switch (c.kind) {
    case RegChange::Kind::CreateKey:
        return ERROR_SUCCESS;
    case RegChange::Kind::SetValue:
    case RegChange::Kind::DeleteValue: {
        if (!keyExists)
            return ERROR_SUCCESS; // a value of a key made by the change goes with the key
        u.value = true;
        u.name = c.name;
        HKEY key = nullptr;
        LONG r = OpenPath(root, c.path, false, key);
        if (r != ERROR_SUCCESS)
            return r == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : r;
        const wchar_t* name = c.name.empty() ? nullptr : c.name.c_str();
        DWORD size = 0;
        r = ::RegQueryValueExW(key, name, nullptr, &u.type, nullptr, &size);
        if (r == ERROR_SUCCESS) {
            // The stored bytes, as they are; a value that grows meanwhile is read again.
            for (int attempt = 0; attempt < 4; ++attempt) {
                u.data.assign(size, '\0');
                r = ::RegQueryValueExW(key, name, nullptr, &u.type,
                                       reinterpret_cast<BYTE*>(u.data.data()), &size);
                if (r != ERROR_MORE_DATA)
                    break;
            }
            if (r == ERROR_SUCCESS) {
                u.data.resize(size);
                u.had = true;
            }
        }
        ::RegCloseKey(key);
        return r == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : r;
    }
    case RegChange::Kind::DeleteTree: {
        if (!keyExists)
            return ERROR_SUCCESS;
        HKEY key = nullptr;
        LONG r = ::RegOpenKeyExW(root, Join(c.path, c.path.size()).c_str(), 0, KEY_READ, &key);
        if (r != ERROR_SUCCESS)
            return r;
        u.tree = std::make_unique<SavedKey>();
        u.tree->name = c.path.back();
        r = Save(key, *u.tree);
        ::RegCloseKey(key);
        u.had = r == ERROR_SUCCESS;
        return r;
    }
    }
    return ERROR_SUCCESS;
}

LONG Undo(const UndoRecord& u) {
    LONG r = ERROR_SUCCESS;
    if (u.tree) {
        HKEY parent = nullptr;
        r = OpenPath(u.root, RegPath(u.path.begin(), u.path.end() - 1), true, parent);
        if (r == ERROR_SUCCESS) {
            // Whatever stands there now goes first: the key comes back exactly as it was.
            ::RegDeleteTreeW(parent, u.path.back().c_str());
            r = Restore(parent, *u.tree);
            ::RegCloseKey(parent);
        }
    } else if (u.value && u.existing == u.path.size()) {
        HKEY key = nullptr;
        r = OpenPath(u.root, u.path, false, key);
        if (r == ERROR_SUCCESS) {
            if (u.had)
                r = SetExact(key, u.name, u.type, u.data);
            else if ((r = ::RegDeleteValueW(key, u.name.empty() ? nullptr : u.name.c_str())) ==
                     ERROR_FILE_NOT_FOUND)
                r = ERROR_SUCCESS;
            ::RegCloseKey(key);
        }
    }
    if (u.existing < u.path.size()) {
        // Levels the change made: the first of them goes, with all below it.
        const std::wstring made = Join(u.path, u.existing + 1);
        const LONG d = ::RegDeleteTreeW(u.root, made.c_str());
        if (d != ERROR_SUCCESS && d != ERROR_FILE_NOT_FOUND && r == ERROR_SUCCESS)
            r = d;
    }
    return r;
}

LONG ApplyOne(HKEY root, const RegChange& c) {
    HKEY key = nullptr;
    LONG r = ERROR_SUCCESS;
    switch (c.kind) {
    case RegChange::Kind::CreateKey:
        r = OpenPath(root, c.path, true, key);
        break;
    case RegChange::Kind::DeleteTree: {
        if (c.path.empty())
            return ERROR_ACCESS_DENIED;
        HKEY p = nullptr;
        r = OpenPath(root, RegPath(c.path.begin(), c.path.end() - 1), false, p);
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
            r = SetExact(key, c.name, c.type, c.data);
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
    return r;
}

} // namespace

LONG RegApplyChanges(HKEY root, const std::vector<RegChange>& changes) {
    return RegApplyChangeSets({{root, changes}});
}

// The system's registry offers no transaction a plain process can count on (kernel
// transactions are missing from some systems and emulators): each change is preceded by a
// record of what it alters, and on the first failure the records are undone in reverse
// order, so that every root is left as it was. Another process writing the same keys at the
// same time can still see, or disturb, the intermediate state.
LONG RegApplyChangeSets(const std::vector<std::pair<HKEY, std::vector<RegChange>>>& sets) {
    std::vector<UndoRecord> journal;
    std::size_t position = 0;
    LONG r = ERROR_SUCCESS;
    for (const auto& [root, changes] : sets) {
        for (const RegChange& c : changes) {
            r = InjectedRegChangeFault(position++);
            if (r != ERROR_SUCCESS)
                break;
            r = Record(root, c, journal.emplace_back());
            if (r != ERROR_SUCCESS) {
                journal.pop_back(); // not made: nothing of it to undo
                break;
            }
            r = ApplyOne(root, c);
            if (r != ERROR_SUCCESS)
                break;
        }
        if (r != ERROR_SUCCESS)
            break;
    }
    ClearRegChangeFault();
    if (r != ERROR_SUCCESS)
        for (auto u = journal.rbegin(); u != journal.rend(); ++u)
            Undo(*u);
    return r;
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
