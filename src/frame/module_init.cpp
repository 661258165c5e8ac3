// The module's entry point and its start-up and shut-down functions.
#include <tlvutl/frame.h>

#include "platform/module_loader.h"
#include "i18n_bridge.h"
#include "library_state.h"
#include "teardown.h"
#include "ui_language.h"

#include <atomic>

namespace {

AFX_EXTENSION_MODULE g_module = {FALSE, nullptr, nullptr};
HMODULE g_libraryResource = nullptr;
std::atomic<LONG> g_initCount{0};

// Attach and detach: runs when the library is loaded and unloaded.
struct ModuleEntry {
    ModuleEntry() {
        g_libraryResource = nullptr;
        if (AfxInitExtensionModule(&g_module, tlv::platform::LibraryModule()))
            new CDynLinkLibrary(g_module); // lives as long as the process
    }
    ~ModuleEntry() {
        if (g_module.hResource != g_module.hModule) {
            IGLB_UILanguage::GetInst().FreeResourceModule(g_module);
            g_libraryResource = nullptr;
        }
    }
};

ModuleEntry g_entry;

} // namespace

namespace tlv::frame {
HMODULE& LibraryResourceHandle() {
    return g_libraryResource;
}
} // namespace tlv::frame

AFX_EXTENSION_MODULE& UTLGetExtensionModule() {
    return g_module;
}

int InitModule(void) {
    int result = 1;
    HMODULE resource = g_module.hResource != g_module.hModule ? g_module.hResource : nullptr;
    if (g_module.hResource == g_module.hModule) {
        resource = IGLB_UILanguage::GetInst().LoadResourceModule(g_module, L"TLVUTLINTL.DLL");
        if (resource)
            GTalInitI18N_UIResFromUtl(&IGLB_UILanguage::GetInst());
        else
            result = 0;
    }
    if (result) {
        for (CDynLinkLibrary* r : CDynLinkLibrary::Chain()) {
            if (r->m_hResource == g_module.hResource) {
                g_libraryResource = resource;
                return tlv::frame::LoadGuidMap();
            }
        }
        try {
            new CDynLinkLibrary(g_module);
        } catch (...) {
            result = 0;
        }
    }
    g_libraryResource = resource;
    if (!result)
        return 0;
    return tlv::frame::LoadGuidMap();
}

int TLVUTLInitModule(void) {
    return InitModule();
}

int TLVUTLShutdownModule(void) {
    return GTalUnInitI18N_UIResFromUtl();
}

void UTLInitialize(void) {
    ++g_initCount;
}

void UTLUninitialize(void) {
    if (g_initCount.fetch_sub(1) != 1)
        return;
    tlv::frame::RunTeardownSteps();
}
