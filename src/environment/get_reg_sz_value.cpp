#include <tlvutl/registry.h>

#include <cstdlib>
#include <cwchar>

using namespace TlvUtl;

bool GetRegSzValue(HKEY root, const wchar_t* subKey, const wchar_t* valueName, wchar_t** text) {
    if (!text)
        return false;
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, subKey, 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    DWORD type = REG_NONE, size = 0;
    wchar_t* result = nullptr;
    bool ok = RegQueryValueExW(key, valueName, nullptr, &type, nullptr, &size) == ERROR_SUCCESS &&
              (type == REG_SZ || type == REG_EXPAND_SZ) && size != 0;
    if (ok) {
        // size counts two bytes per character; the extra, zeroed character terminates a text
        // stored without its NUL.
        result = static_cast<wchar_t*>(std::calloc(size / 2 + 1, sizeof(wchar_t)));
        DWORD got = size;
        ok = result && RegQueryValueExW(key, valueName, nullptr, &type,
                                        reinterpret_cast<BYTE*>(result), &got) == ERROR_SUCCESS;
    }
    if (ok && type == REG_EXPAND_SZ) {
        wchar_t expanded[MAX_PATH] = {};
        const DWORD length = ExpandEnvironmentStringsW(result, expanded, MAX_PATH);
        ok = length >= 1 && length <= MAX_PATH - 1;
        if (ok) {
            auto* copy = static_cast<wchar_t*>(std::calloc(length + 1, sizeof(wchar_t)));
            ok = copy != nullptr;
            if (ok) {
                std::wmemcpy(copy, expanded, length);
                std::free(result);
                result = copy;
            }
        }
    }
    RegCloseKey(key);
    if (ok)
        *text = result;
    else
        std::free(result);
    return ok;
}
