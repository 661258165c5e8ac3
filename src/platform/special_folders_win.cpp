#include "special_folders.h"

#include <windows.h>

#include <knownfolders.h>
#include <shlobj.h>

namespace tlv::platform {
namespace {

std::wstring Known(REFKNOWNFOLDERID id) {
    PWSTR path = nullptr;
    std::wstring out;
    if (SUCCEEDED(::SHGetKnownFolderPath(id, KF_FLAG_DEFAULT, nullptr, &path)) && path)
        out = path;
    ::CoTaskMemFree(path);
    while (out.size() > 3 && (out.back() == L'\\' || out.back() == L'/'))
        out.pop_back();
    return out;
}

} // namespace

std::wstring RoamingAppDataFolder() {
    return Known(FOLDERID_RoamingAppData);
}

std::wstring DocumentsFolder() {
    return Known(FOLDERID_Documents);
}

std::wstring PublicDocumentsFolder() {
    return Known(FOLDERID_PublicDocuments);
}

// Programs keep the user's data files in the local application data folder on Windows.
std::wstring DataHomeFolder() {
    return Known(FOLDERID_LocalAppData);
}

} // namespace tlv::platform
