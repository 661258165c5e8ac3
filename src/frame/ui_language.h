// The user-interface language service: picks the language folder of a resource module and
// loads or releases it for an extension module.
#ifndef TLVUTL_FRAME_UI_LANGUAGE_H
#define TLVUTL_FRAME_UI_LANGUAGE_H

#include <tlvutl/frame.h>

#include <string>

class IGLB_UILanguage {
public:
    static IGLB_UILanguage& GetInst();

    // Loads the resource module `name` for `module` from the chosen language folder (falling
    // back to English), stores its handle in module.hResource and returns it; null on
    // failure, leaving the record unchanged.
    HMODULE LoadResourceModule(AFX_EXTENSION_MODULE& module, const wchar_t* name);
    // Releases a loaded resource module and restores hResource to hModule.
    void FreeResourceModule(AFX_EXTENSION_MODULE& module);

    std::wstring LanguageFolder(const std::wstring& fileName) const;
};

#endif
