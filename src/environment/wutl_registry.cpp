#include <tlvutl/encoding.h>
#include <tlvutl/registry.h>

#include "platform/registry_raw.h"

#include <algorithm>
#include <cwchar>
#include <wchar.h>

using tlv::platform::RegEnumValueRaw;
using tlv::platform::RegQueryValueRaw;
using tlv::platform::RegSetValueRaw;
using TlvUtl::RegCloseKey;
using TlvUtl::RegCreateKeyExW;
using TlvUtl::RegDeleteKeyW;
using TlvUtl::RegDeleteValueW;
using TlvUtl::RegEnumKeyExW;
using TlvUtl::RegOpenKeyExW;
using TlvUtl::RegQueryInfoKeyW;

namespace {

constexpr DWORD kTextBytes = 2 * MAX_PATH; // a 260-character text buffer, in UTF-16 bytes
constexpr DWORD kReadWrite = KEY_READ | KEY_WRITE;

// Paths are worked on in MAX_PATH buffers. A longer path is refused rather than cut, since
// a cut path may well name another, existing key.
bool CopyPath(wchar_t (&buffer)[MAX_PATH], const wchar_t* path) {
    const std::size_t n = std::wcslen(path);
    if (n >= MAX_PATH)
        return false;
    std::wmemcpy(buffer, path, n + 1);
    return true;
}

// Stored bytes read as UTF-16LE text, cut at the first NUL: what a wide buffer shows on
// Windows whatever the value's type.
CString TextFromBytes(const BYTE* bytes, DWORD size) {
    std::wstring text = TlvUtils::FromUtf16LE(bytes, size);
    const std::size_t nul = text.find(L'\0');
    if (nul != std::wstring::npos)
        text.resize(nul);
    return CString(std::move(text));
}

// Copies text into a caller's buffer of size characters, cut to size - 1 and terminated.
void CopyCut(const wchar_t* text, wchar_t* buffer, int size) {
    if (!buffer || size <= 0)
        return;
    const std::size_t n =
        std::min<std::size_t>(std::wcslen(text), static_cast<std::size_t>(size - 1));
    std::wmemcpy(buffer, text, n);
    buffer[n] = 0;
}

int LengthAtStart(const wchar_t* buffer, int size) {
    return buffer && size > 0 ? static_cast<int>(::wcsnlen(buffer, static_cast<std::size_t>(size)))
                              : 0;
}

CString FullPath(const wchar_t* rootPrefix, const wchar_t* subKey) {
    CString path(rootPrefix);
    path += subKey;
    return path;
}

// The double-NUL list shared by the sub-key and value-name lists; next(name, index) is one
// enumeration step.
template <class Next> LONG FillNameList(wchar_t* buffer, int size, Next next) {
    if (!buffer || size <= 0)
        return ERROR_INVALID_PARAMETER;
    if (size < 2) {
        buffer[0] = 0;
        return ERROR_MORE_DATA;
    }
    int pos = 0;
    for (DWORD index = 0;; ++index) {
        CString name;
        const LONG r = next(name, index);
        if (r != ERROR_SUCCESS)
            name.Empty(); // the failed step's empty name closes the list
        const int length = name.GetLength();
        if (pos + length + 2 >= size) {
            const int fits = std::min(length, size - pos - 2);
            std::wmemcpy(buffer + pos, name.GetString(), static_cast<std::size_t>(fits));
            buffer[size - 2] = buffer[size - 1] = 0;
            if (r != ERROR_SUCCESS)
                return r == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : r;
            // Nothing is missing if this name fitted whole and was the last one.
            CString after;
            return fits == length && next(after, index + 1) == ERROR_NO_MORE_ITEMS
                       ? ERROR_SUCCESS
                       : ERROR_MORE_DATA;
        }
        std::wmemcpy(buffer + pos, name.GetString(), static_cast<std::size_t>(length) + 1);
        pos += length + 1;
        if (r != ERROR_SUCCESS)
            return r == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : r;
    }
}

} // namespace

WUTLRegistry::WUTLRegistry() = default;

WUTLRegistry::WUTLRegistry(const wchar_t* path, DWORD access, int create) : m_dwAccess(access) {
    OpenKey(path, create, access);
}

WUTLRegistry::~WUTLRegistry() {
    if (m_hKey)
        RegCloseKey(m_hKey);
}

LONG WUTLRegistry::OpenKey(const wchar_t* path, int create, DWORD access) {
    if (!path)
        return m_lResult;
    if (!m_hKey) {
        HelperOpenKey(m_hKey, path, access, create);
        return m_lResult;
    }
    // Keep the open key until the new one is there.
    const CString keep(path);
    HKEY scratch = nullptr;
    HelperOpenKey(scratch, keep, access, create);
    if (m_lResult == ERROR_SUCCESS && scratch) {
        RegCloseKey(m_hKey);
        m_hKey = scratch;
    }
    return m_lResult;
}

void WUTLRegistry::HelperOpenKey(HKEY& handle, const wchar_t* path, DWORD access, int create) {
    wchar_t buffer[MAX_PATH];
    if (!CopyPath(buffer, path)) {
        m_lResult = ERROR_BAD_PATHNAME;
        return;
    }
    HKEY root = nullptr;
    if (!HelperParseRootFromSubKey(buffer, root)) {
        m_lResult = ERROR_OPEN_FAILED;
        return;
    }
    m_lResult = RegOpenKeyExW(root, buffer, 0, access, &handle);
    // A key made here is always held with read and write access, whatever was asked.
    if (m_lResult != ERROR_SUCCESS && create && CreateKey(path, access, 0) == ERROR_SUCCESS)
        m_lResult = RegOpenKeyExW(root, buffer, 0, kReadWrite, &handle);
    if (m_lResult == ERROR_SUCCESS) {
        m_strPath = path;
        m_dwAccess = access;
    }
}

int WUTLRegistry::HelperParseRootFromSubKey(wchar_t* buffer, HKEY& root) {
    wchar_t* slash = std::wcschr(buffer, L'\\');
    if (slash)
        *slash = 0;
    const int known = HelperGetHKeyConstant(buffer, root);
    if (slash)
        std::wmemmove(buffer, slash + 1, std::wcslen(slash + 1) + 1);
    else
        buffer[0] = 0;
    return known;
}

int WUTLRegistry::HelperGetHKeyConstant(const wchar_t* name, HKEY& root) {
    // Exact and case-sensitive, as callers' paths have always been written.
    root = name ? TlvUtl::RegistryRootFromName(name) : nullptr;
    return root ? 1 : 0;
}

CString WUTLRegistry::HelperGetString(HKEY root) {
    const wchar_t* name = TlvUtl::RegistryRootName(root);
    return name ? CString(name) : CString();
}

LONG WUTLRegistry::IsValid() {
    const CString path = m_strPath;
    if (IsValid(path) != ERROR_SUCCESS)
        return ERROR_OPEN_FAILED;
    return OpenKey(path, 0, m_dwAccess);
}

LONG WUTLRegistry::IsValid(const wchar_t* path) {
    if (!path)
        return -1;
    WUTLRegistry scratch(path, KEY_READ, 0);
    return scratch.m_lResult;
}

LONG WUTLRegistry::CreateKey(const wchar_t* path, DWORD samDesired, DWORD options) {
    if (!path)
        return -1;
    wchar_t buffer[MAX_PATH];
    HKEY root = nullptr;
    if (!CopyPath(buffer, path) || !HelperParseRootFromSubKey(buffer, root))
        return -1;
    HKEY key = nullptr;
    const LONG r =
        RegCreateKeyExW(root, buffer, 0, nullptr, options, samDesired, nullptr, &key, nullptr);
    if (r == ERROR_SUCCESS)
        RegCloseKey(key);
    return r;
}

LONG WUTLRegistry::HelperGetValue(const wchar_t* name, void* data, DWORD size) {
    if (!m_hKey)
        return -1;
    return RegQueryValueRaw(m_hKey, name, nullptr, static_cast<BYTE*>(data), &size);
}

LONG WUTLRegistry::HelperSetValue(const wchar_t* name, const void* data, DWORD size, DWORD type) {
    if (!m_hKey)
        return -1;
    return RegSetValueRaw(m_hKey, name, type, static_cast<const BYTE*>(data), size);
}

LONG WUTLRegistry::HelperGetNextValue(CString& name, void* data, DWORD* size, DWORD index) {
    if (!m_hKey)
        return -1;
    wchar_t buffer[MAX_PATH];
    DWORD length = MAX_PATH;
    const LONG r =
        RegEnumValueRaw(m_hKey, index, buffer, &length, nullptr, static_cast<BYTE*>(data), size);
    if (r == ERROR_SUCCESS)
        name = CString(buffer, static_cast<int>(length));
    return r;
}

LONG WUTLRegistry::HelperGetText(const wchar_t* name, CString& value) {
    if (!m_hKey)
        return -1;
    BYTE bytes[kTextBytes];
    DWORD size = kTextBytes;
    const LONG r = RegQueryValueRaw(m_hKey, name, nullptr, bytes, &size);
    if (r == ERROR_SUCCESS)
        value = TextFromBytes(bytes, size);
    return r;
}

LONG WUTLRegistry::HelperCloseKey() {
    if (m_hKey)
        RegCloseKey(m_hKey);
    m_hKey = nullptr;
    m_strPath.Empty();
    m_dwAccess = KEY_READ;
    return ERROR_SUCCESS;
}

LONG WUTLRegistry::GetValue(const wchar_t* name, int& value) {
    return HelperGetValue(name, &value, sizeof value);
}

LONG WUTLRegistry::GetValue(const wchar_t* name, CString& value) {
    return HelperGetText(name, value);
}

LONG WUTLRegistry::SetValue(const wchar_t* name, int value) {
    const auto v = static_cast<std::uint32_t>(value);
    const BYTE bytes[4] = {static_cast<BYTE>(v), static_cast<BYTE>(v >> 8),
                           static_cast<BYTE>(v >> 16), static_cast<BYTE>(v >> 24)};
    return HelperSetValue(name, bytes, sizeof bytes, REG_DWORD);
}

LONG WUTLRegistry::SetValue(const wchar_t* name, const wchar_t* value) {
    // With its terminating NUL, as Windows programs write strings: other readers (a .reg
    // export, a program that takes the bytes as they are) expect it there.
    std::string bytes = TlvUtils::ToUtf16LE(value ? value : L"");
    bytes.append(2, '\0');
    return HelperSetValue(name, bytes.data(), static_cast<DWORD>(bytes.size()), REG_SZ);
}

LONG WUTLRegistry::GetNextValue(CString& name, CString& value, DWORD index) {
    BYTE bytes[kTextBytes];
    DWORD size = kTextBytes;
    const LONG r = HelperGetNextValue(name, bytes, &size, index);
    if (r == ERROR_SUCCESS)
        value = TextFromBytes(bytes, size);
    return r;
}

LONG WUTLRegistry::GetNextValue(CString& name, int& value, DWORD index) {
    DWORD size = sizeof value;
    return HelperGetNextValue(name, &value, &size, index);
}

LONG WUTLRegistry::GetNextValue(CString& name, DWORD index) {
    return HelperGetNextValue(name, nullptr, nullptr, index);
}

LONG WUTLRegistry::GetNextSubkey(CString& name, DWORD index) {
    if (!m_hKey)
        return -1;
    wchar_t buffer[MAX_PATH];
    DWORD length = MAX_PATH;
    const LONG r =
        RegEnumKeyExW(m_hKey, index, buffer, &length, nullptr, nullptr, nullptr, nullptr);
    if (r == ERROR_SUCCESS)
        name = CString(buffer, static_cast<int>(length));
    return r;
}

LONG WUTLRegistry::GetSubkeyList(wchar_t* buffer, int size) {
    if (!m_hKey)
        return -1;
    return FillNameList(buffer, size,
                        [this](CString& name, DWORD i) { return GetNextSubkey(name, i); });
}

LONG WUTLRegistry::GetValueNameList(wchar_t* buffer, int size) {
    if (!m_hKey)
        return -1;
    return FillNameList(buffer, size,
                        [this](CString& name, DWORD i) { return GetNextValue(name, i); });
}

BOOL WUTLRegistry::GetCurrentKeyLocation(CString& path) {
    path = m_strPath;
    return TRUE;
}

LONG WUTLRegistry::DeleteRegistryValue(const wchar_t* name) {
    if (!m_hKey)
        return -1;
    const LONG r = RegDeleteValueW(m_hKey, name);
    HelperCloseKey();
    return r;
}

LONG WUTLRegistry::DeleteRegistryKey(const wchar_t* path) {
    if (!path)
        return -1;
    wchar_t buffer[MAX_PATH];
    if (!CopyPath(buffer, path))
        return ERROR_BAD_PATHNAME;
    {
        WUTLRegistry key(path, KEY_READ, 0);
        const std::size_t length = std::wcslen(path);
        const bool endsWithSlash = length && path[length - 1] == L'\\';
        DWORD subKeys = 0;
        while (key.m_hKey &&
               RegQueryInfoKeyW(key.m_hKey, nullptr, nullptr, nullptr, &subKeys, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS &&
               subKeys > 0) {
            // Always index 0: each deletion shifts the rest down.
            CString name;
            LONG r = key.GetNextSubkey(name, 0);
            if (r == ERROR_SUCCESS)
                r = DeleteRegistryKey(CString(path) + (endsWithSlash ? L"" : L"\\") + name);
            if (r != ERROR_SUCCESS)
                return r; // a sub-key that stays would otherwise be retried for ever
        }
    }
    HKEY root = nullptr;
    if (!HelperParseRootFromSubKey(buffer, root))
        return ERROR_OPEN_FAILED;
    return RegDeleteKeyW(root, buffer);
}

int WUTLRegistry::RegReadInt(const wchar_t* subKey, const wchar_t* valueName, int defaultValue,
                             const wchar_t* rootPrefix) {
    const CString path = FullPath(rootPrefix, subKey);
    {
        WUTLRegistry key(path, KEY_READ, 0);
        CString text;
        if (key.m_hKey && key.GetValue(valueName, text) == ERROR_SUCCESS)
            return static_cast<int>(std::wcstol(text.GetString(), nullptr, 10));
    }
    CString text;
    text.Format(L"%d", defaultValue);
    WUTLRegistry key(path, KEY_WRITE, 1);
    if (key.m_hKey)
        key.SetValue(valueName, text);
    return defaultValue;
}

int WUTLRegistry::RegReadString(const wchar_t* subKey, const wchar_t* valueName,
                                const wchar_t* defaultValue, wchar_t* buffer, int size,
                                const wchar_t* rootPrefix) {
    const CString path = FullPath(rootPrefix, subKey);
    bool found = false;
    {
        WUTLRegistry key(path, KEY_READ, 0);
        if (key.m_hKey) {
            if (!subKey) {
                key.GetSubkeyList(buffer, size);
                found = true;
            } else if (!valueName) {
                key.GetValueNameList(buffer, size);
                found = true;
            } else {
                CString text;
                if (key.GetValue(valueName, text) == ERROR_SUCCESS) {
                    CopyCut(text, buffer, size);
                    found = true;
                }
            }
        }
    }
    if (!found && subKey && valueName && defaultValue) {
        WUTLRegistry key(path, KEY_WRITE, 1);
        if (key.m_hKey)
            key.SetValue(valueName, defaultValue);
        CopyCut(defaultValue, buffer, size);
    }
    return LengthAtStart(buffer, size);
}

int WUTLRegistry::RegWriteString(const wchar_t* subKey, const wchar_t* valueName,
                                 const wchar_t* text, const wchar_t* rootPrefix) {
    const CString path = FullPath(rootPrefix, subKey);
    if (!valueName)
        return DeleteRegistryKey(path) == ERROR_SUCCESS ? 1 : 0;
    {
        WUTLRegistry key(path, KEY_WRITE, 0);
        if (key.m_hKey) {
            const LONG r =
                text ? key.SetValue(valueName, text) : key.DeleteRegistryValue(valueName);
            if (r == ERROR_SUCCESS)
                return 1;
        }
    }
    if (!subKey || !text)
        return 0;
    WUTLRegistry key(path, KEY_WRITE, 1);
    return key.m_hKey && key.SetValue(valueName, text) == ERROR_SUCCESS ? 1 : 0;
}

int WUTLRegistry::RegReadBinary(const wchar_t* subKey, const wchar_t* valueName, BYTE* bytes,
                                int capacity, const wchar_t* rootPrefix) {
    if (!subKey || !valueName)
        return -1;
    WUTLRegistry key(FullPath(rootPrefix, subKey), KEY_READ, 0);
    if (!key.m_hKey)
        return -1;
    DWORD size = capacity > 0 ? static_cast<DWORD>(capacity) : 0;
    if (RegQueryValueRaw(key.m_hKey, valueName, nullptr, bytes, &size) != ERROR_SUCCESS)
        return -1;
    return static_cast<int>(size);
}

int WUTLRegistry::RegWriteBinary(const wchar_t* subKey, const wchar_t* valueName, const BYTE* bytes,
                                 int count, const wchar_t* rootPrefix) {
    if (!subKey || !valueName || count < 0 || (!bytes && count > 0))
        return 0;
    WUTLRegistry key(FullPath(rootPrefix, subKey), KEY_WRITE, 1);
    return key.m_hKey && key.HelperSetValue(valueName, bytes, static_cast<DWORD>(count),
                                            REG_BINARY) == ERROR_SUCCESS
               ? 1
               : 0;
}
