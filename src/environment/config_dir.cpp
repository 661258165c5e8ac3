#include "config_dir.h"

#include <tlvutl/folders.h>
#include <tlvutl/registry.h>

#include "folder_roots.h"
#include "platform/file_system.h"

#include <cstdlib>

namespace tlv::environment {

std::wstring ReadConfigDir(const std::wstring& productKey) {
    wchar_t* text = nullptr;
    if (!GetRegSzValue(HKEY_LOCAL_MACHINE, productKey.c_str(), L"ConfigDir", &text))
        return {};
    std::wstring dir(text);
    std::free(text);
    return dir;
}

} // namespace tlv::environment

namespace TlvUtl {

bool RegisterDefaultInstallation(bool replace) {
    const CString key = INIGetRegistryProductKey();
    const std::wstring recorded = tlv::environment::ReadConfigDir(key.str());
    // A recorded installation that is gone (a removed build tree, an uninstalled copy) is
    // replaced too.
    if (!replace && !recorded.empty() && tlv::platform::IsDirectory(recorded))
        return true;
    const std::wstring config =
        tlv::environment::CombinePath(tlv::environment::BundledInstallation(), L"Config");
    const bool ok = WUTLRegistry::RegWriteString(key, L"ConfigDir", config.c_str(),
                                                 L"HKEY_LOCAL_MACHINE\\") == 1;
    ResetFolderCaches();
    return ok;
}

} // namespace TlvUtl
