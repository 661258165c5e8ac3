#include "module_loader.h"

#include "core/case_fold.h"

#include <tlvutl/encoding.h>
#include <tlvutl/string_table.h>

#include <algorithm>
#include <cwctype>
#include <dlfcn.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tlv::platform {
namespace {

std::string Narrow(const std::wstring& s) {
    return TlvUtils::ToUtf8(s);
}

const TlvStringTable* TableOf(HMODULE module) {
    if (!module)
        return nullptr;
    // dlsym on the main-program handle searches the global scope; only a table the
    // executable itself exports counts for the main module.
    void* sym = dlsym(module, TLVUTL_STRING_TABLE_SYMBOL);
    if (!sym)
        return nullptr;
    auto fn = reinterpret_cast<TlvStringTableFn>(sym);
    return fn();
}

const TlvStringEntry* FindEntry(HMODULE module, unsigned id) {
    const TlvStringTable* t = TableOf(module);
    if (!t || !t->entries)
        return nullptr;
    const TlvStringEntry* end = t->entries + t->count;
    const TlvStringEntry* e = std::lower_bound(
        t->entries, end, id, [](const TlvStringEntry& a, unsigned key) { return a.id < key; });
    return e != end && e->id == id ? e : nullptr;
}

} // namespace

std::wstring PlatformModuleName(const std::wstring& name) {
    if (name.find(L'/') != std::wstring::npos)
        return name;
    const std::wstring lower = tlv::core::FoldLower(name);
    if (lower.size() > 4 && lower.compare(lower.size() - 4, 4, L".dll") == 0)
        return L"lib" + lower.substr(0, lower.size() - 4) + L".so";
    return name;
}

HMODULE LoadModule(const std::wstring& pathOrName) {
    if (pathOrName.empty())
        return nullptr;
    return dlopen(Narrow(PlatformModuleName(pathOrName)).c_str(), RTLD_NOW | RTLD_LOCAL);
}

bool FreeModule(HMODULE module) {
    return module && dlclose(module) == 0;
}

HMODULE FindLoadedModule(const std::wstring& pathOrName) {
    if (pathOrName.empty())
        return nullptr;
    void* h = dlopen(Narrow(PlatformModuleName(pathOrName)).c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (h)
        dlclose(h); // NOLOAD still counts a reference; the module stays loaded by its owner
    return h;
}

HMODULE MainModule() {
    static void* main = dlopen(nullptr, RTLD_NOW);
    return main;
}

HMODULE LibraryModule() {
    static void* self = [] {
        Dl_info info{};
        if (dladdr(reinterpret_cast<void*>(&LibraryModule), &info) && info.dli_fname) {
            void* h = dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD);
            if (h)
                return h;
        }
        return MainModule(); // linked statically into the executable
    }();
    return self;
}

std::wstring LibraryDirectory() {
    Dl_info info{};
    std::string path;
    if (dladdr(reinterpret_cast<void*>(&LibraryDirectory), &info) && info.dli_fname)
        path = info.dli_fname;
    char resolved[PATH_MAX];
    if (!path.empty() && realpath(path.c_str(), resolved))
        path = resolved;
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return L"./";
    return TlvUtils::FromUtf8(path.substr(0, slash + 1));
}

std::wstring ExecutableName() {
    char buf[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n <= 0)
        return {};
    std::string p(buf, static_cast<std::size_t>(n));
    const std::size_t slash = p.rfind('/');
    return TlvUtils::FromUtf8(slash == std::string::npos ? p : p.substr(slash + 1));
}

bool FileExists(const std::wstring& path) {
    struct stat st {};
    return stat(Narrow(path).c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

int LoadModuleString(HMODULE module, unsigned id, wchar_t* buffer, int capacity) {
    if (!buffer || capacity <= 0)
        return 0;
    const TlvStringEntry* e = FindEntry(module, id);
    if (!e || e->length == 0) {
        buffer[0] = L'\0';
        return 0;
    }
    const int n =
        static_cast<int>(std::min<uint32_t>(e->length, static_cast<uint32_t>(capacity - 1)));
    std::copy(e->text, e->text + n, buffer);
    buffer[n] = L'\0';
    return n;
}

bool ModuleHasString(HMODULE module, unsigned id) {
    const TlvStringEntry* e = FindEntry(module, id);
    return e && e->length > 0;
}

} // namespace tlv::platform
