// The module loader of the Windows build: LoadLibraryExW for code and resource modules,
// LoadStringW for their string tables (a resource module is a resource-only DLL).
#include "module_loader.h"

#include <windows.h>

#include <algorithm>

namespace tlv::platform {
namespace {

bool HasFolder(const std::wstring& name) {
    return name.find_first_of(L"\\/") != std::wstring::npos;
}

std::wstring ModuleFileName(HMODULE module) {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD n = ::GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        if (n == 0)
            return {};
        if (n < path.size()) {
            path.resize(n);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

// The string's text in the table and its length; null when the module has no such string.
// Entries of a STRINGTABLE are counted UTF-16 strings, so one may hold NULs and pairs.
const wchar_t* Find(HMODULE module, unsigned id, int& length) {
    length = 0;
    if (!module || id > 0xFFFF)
        return nullptr;
    const wchar_t* text = nullptr;
    // Length 0 asks for a read-only pointer to the resource itself.
    length = ::LoadStringW(static_cast<HINSTANCE>(module), id, reinterpret_cast<LPWSTR>(&text), 0);
    return length > 0 ? text : nullptr;
}

} // namespace

std::wstring PlatformModuleName(const std::wstring& name) {
    return name;
}

HMODULE LoadModule(const std::wstring& pathOrName) {
    if (pathOrName.empty())
        return nullptr;
    // A path names that file; its own folder is searched for what it needs.
    const DWORD flags = HasFolder(pathOrName) ? LOAD_WITH_ALTERED_SEARCH_PATH : 0;
    return ::LoadLibraryExW(pathOrName.c_str(), nullptr, flags);
}

bool UnloadModule(HMODULE module) {
    return module && ::FreeLibrary(module);
}

HMODULE FindLoadedModule(const std::wstring& pathOrName) {
    if (pathOrName.empty())
        return nullptr;
    return ::GetModuleHandleW(pathOrName.c_str());
}

HMODULE MainModule() {
    return ::GetModuleHandleW(nullptr);
}

HMODULE LibraryModule() {
    static HMODULE self = [] {
        HMODULE h = nullptr;
        if (::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                     GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                 reinterpret_cast<LPCWSTR>(&LibraryModule), &h))
            return h;
        return MainModule();
    }();
    return self;
}

std::wstring LibraryDirectory() {
    const std::wstring path = ModuleFileName(LibraryModule());
    const std::size_t slash = path.find_last_of(L"\\/");
    if (slash == std::wstring::npos)
        return L".\\";
    return path.substr(0, slash + 1);
}

std::wstring ExecutableName() {
    const std::wstring path = ModuleFileName(nullptr);
    const std::size_t slash = path.find_last_of(L"\\/");
    return slash == std::wstring::npos ? path : path.substr(slash + 1);
}

bool FileExists(const std::wstring& path) {
    const DWORD a = ::GetFileAttributesW(path.c_str());
    return a != INVALID_FILE_ATTRIBUTES && !(a & FILE_ATTRIBUTE_DIRECTORY);
}

int LoadModuleString(HMODULE module, unsigned id, wchar_t* buffer, int capacity) {
    if (!buffer || capacity <= 0)
        return 0;
    int length = 0;
    const wchar_t* text = Find(module, id, length);
    if (!text) {
        buffer[0] = L'\0';
        return 0;
    }
    const int n = std::min(length, capacity - 1);
    std::copy(text, text + n, buffer);
    buffer[n] = L'\0';
    return n;
}

bool ModuleHasString(HMODULE module, unsigned id) {
    int length = 0;
    return Find(module, id, length) != nullptr;
}

} // namespace tlv::platform
