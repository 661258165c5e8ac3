// The one table of the predefined registry roots: their handles, names and the short forms
// that command lines use.
#include <tlvutl/registry.h>

#include <cstddef>

namespace TlvUtl {
namespace {

struct Root {
    HKEY key;
    const wchar_t* name;
    const wchar_t* abbreviation;
};

// In the order of their handle values.
const Root kRoots[] = {
    {HKEY_CLASSES_ROOT, L"HKEY_CLASSES_ROOT", L"HKCR"},
    {HKEY_CURRENT_USER, L"HKEY_CURRENT_USER", L"HKCU"},
    {HKEY_LOCAL_MACHINE, L"HKEY_LOCAL_MACHINE", L"HKLM"},
    {HKEY_USERS, L"HKEY_USERS", L"HKU"},
    {HKEY_PERFORMANCE_DATA, L"HKEY_PERFORMANCE_DATA", L"HKPD"},
    {HKEY_CURRENT_CONFIG, L"HKEY_CURRENT_CONFIG", L"HKCC"},
};

bool Same(std::wstring_view a, const wchar_t* b, bool ignoreCase) {
    const std::wstring_view w(b);
    if (a.size() != w.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        wchar_t c = a[i];
        if (ignoreCase && c >= L'a' && c <= L'z')
            c = static_cast<wchar_t>(c - 32); // the names are upper-case ASCII
        if (c != w[i])
            return false;
    }
    return true;
}

} // namespace

HKEY RegistryRootFromName(std::wstring_view name, bool ignoreCase, bool abbreviations) {
    for (const Root& r : kRoots)
        if (Same(name, r.name, ignoreCase) ||
            (abbreviations && Same(name, r.abbreviation, ignoreCase)))
            return r.key;
    return nullptr;
}

const wchar_t* RegistryRootName(HKEY root) {
    for (const Root& r : kRoots)
        if (r.key == root)
            return r.name;
    return nullptr;
}

} // namespace TlvUtl
