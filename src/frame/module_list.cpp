// The process's list of chained extension modules and the chaining functions.
//
// Resource searches walk the list from the most recently chained record, as the framework
// they mirror does. The list is guarded by a mutex only so that a library loaded on another
// thread cannot tear it; the chaining rules themselves are the single-threaded ones.
#include <tlvutl/frame.h>

#include <algorithm>
#include <mutex>

namespace {

struct ModuleList {
    std::mutex m;
    std::vector<CDynLinkLibrary*> records; // oldest first
};

ModuleList& List() {
    static ModuleList* list = new ModuleList; // outlives every static record's destructor
    return *list;
}

bool Chained(HMODULE AFX_EXTENSION_MODULE::*field, HMODULE CDynLinkLibrary::*recordField,
             const AFX_EXTENSION_MODULE& module) {
    const HMODULE h = module.*field;
    if (!h)
        return false;
    std::lock_guard<std::mutex> g(List().m);
    return std::any_of(List().records.begin(), List().records.end(),
                       [&](CDynLinkLibrary* r) { return r->*recordField == h; });
}

} // namespace

CDynLinkLibrary::CDynLinkLibrary(const AFX_EXTENSION_MODULE& module, bool system)
    : m_hModule(module.hModule), m_hResource(module.hResource), m_bSystem(system) {
    std::lock_guard<std::mutex> g(List().m);
    List().records.push_back(this);
}

CDynLinkLibrary::~CDynLinkLibrary() {
    std::lock_guard<std::mutex> g(List().m);
    auto& r = List().records;
    r.erase(std::remove(r.begin(), r.end(), this), r.end());
}

std::vector<CDynLinkLibrary*> CDynLinkLibrary::Chain() {
    std::lock_guard<std::mutex> g(List().m);
    return std::vector<CDynLinkLibrary*>(List().records.rbegin(), List().records.rend());
}

BOOL AfxInitExtensionModule(AFX_EXTENSION_MODULE* module, HMODULE code) {
    if (!module || !code)
        return FALSE;
    if (module->bInitialized)
        return TRUE;
    module->hModule = code;
    module->hResource = code;
    module->bInitialized = TRUE;
    return TRUE;
}

void UTLInitExtensionDll(AFX_EXTENSION_MODULE& module) {
    if (module.hModule &&
        Chained(&AFX_EXTENSION_MODULE::hModule, &CDynLinkLibrary::m_hModule, module))
        return;
    // Records live as long as the process, as chained extension records do.
    new CDynLinkLibrary(module);
}

int UTLIsDLLChained(AFX_EXTENSION_MODULE& module) {
    return Chained(&AFX_EXTENSION_MODULE::hModule, &CDynLinkLibrary::m_hModule, module) ? 1 : 0;
}

int UTLIsResourceDLLChained(AFX_EXTENSION_MODULE& module) {
    return Chained(&AFX_EXTENSION_MODULE::hResource, &CDynLinkLibrary::m_hResource, module) ? 1 : 0;
}

void UTLInitExtensionDll(AFX_EXTENSION_MODULE* module) {
    if (module)
        UTLInitExtensionDll(*module);
}

int UTLIsDLLChained(AFX_EXTENSION_MODULE* module) {
    return module ? UTLIsDLLChained(*module) : 0;
}

int UTLIsResourceDLLChained(AFX_EXTENSION_MODULE* module) {
    return module ? UTLIsResourceDLLChained(*module) : 0;
}
