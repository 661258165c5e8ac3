#include "ui_language.h"

#include "platform/console.h"
#include "platform/module_loader.h"
#include "platform/user_language.h"

#include <mutex>

namespace {

std::mutex g_mutex;
std::wstring g_languageOverride;
std::wstring g_rootOverride;

std::wstring WithSeparator(std::wstring path) {
    if (!path.empty() && path.back() != L'/')
        path += L'/';
    return path;
}

} // namespace

namespace TlvUtl {

void SetUILanguageOverride(const std::wstring& language) {
    std::lock_guard<std::mutex> g(g_mutex);
    g_languageOverride = language;
}

void SetResourceRoot(const std::wstring& root) {
    std::lock_guard<std::mutex> g(g_mutex);
    g_rootOverride = root;
}

std::wstring GetResourceRoot() {
    {
        std::lock_guard<std::mutex> g(g_mutex);
        if (!g_rootOverride.empty())
            return WithSeparator(g_rootOverride);
    }
    const std::wstring env = tlv::platform::GetEnvironment("TLV_RESOURCE_DIR");
    if (!env.empty())
        return WithSeparator(env);
    return tlv::platform::LibraryDirectory() + TLVUTL_INTL_SUBDIR L"/";
}

std::wstring GetUILanguage() {
    return IGLB_UILanguage::GetInst().LanguageFolder(
        tlv::platform::PlatformModuleName(L"TLVUTLINTL.DLL"));
}

} // namespace TlvUtl

IGLB_UILanguage& IGLB_UILanguage::GetInst() {
    static IGLB_UILanguage inst;
    return inst;
}

std::wstring IGLB_UILanguage::LanguageFolder(const std::wstring& fileName) const {
    std::vector<std::wstring> candidates;
    {
        std::lock_guard<std::mutex> g(g_mutex);
        if (!g_languageOverride.empty())
            candidates.push_back(g_languageOverride);
    }
    if (candidates.empty())
        candidates = tlv::platform::UserUILanguages();
    candidates.push_back(L"en"); // always shipped
    const std::wstring root = TlvUtl::GetResourceRoot();
    for (const std::wstring& lang : candidates)
        if (tlv::platform::FileExists(root + lang + L"/" + fileName))
            return lang;
    return L"en";
}

HMODULE IGLB_UILanguage::LoadResourceModule(AFX_EXTENSION_MODULE& module, const wchar_t* name) {
    if (!name || !*name)
        return nullptr;
    const std::wstring file = tlv::platform::PlatformModuleName(name);
    const std::wstring path = TlvUtl::GetResourceRoot() + LanguageFolder(file) + L"/" + file;
    HMODULE h = tlv::platform::LoadModule(path);
    if (h)
        module.hResource = h;
    return h;
}

void IGLB_UILanguage::FreeResourceModule(AFX_EXTENSION_MODULE& module) {
    if (module.hResource && module.hResource != module.hModule) {
        tlv::platform::FreeModule(module.hResource);
        module.hResource = module.hModule;
    }
}
