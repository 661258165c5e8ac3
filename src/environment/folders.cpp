// The folder getters.
#include <tlvutl/folders.h>
#include <tlvutl/frame.h>

#include "config_dir.h"
#include "folder_roots.h"
#include "frame/install_data_folder.h"
#include "platform/special_folders.h"
#include "user_config_seeding.h"

namespace {

using tlv::environment::CachedPath;
using tlv::environment::CombinePath;
using tlv::environment::CreateFolders;
using tlv::environment::Product;
using tlv::environment::RootOverride;
using TlvUtl::FolderRoot;

std::wstring Root(FolderRoot root, std::wstring (*platform)()) {
    const std::wstring r = RootOverride(root);
    return r.empty() ? platform() : r;
}

// A user or documents folder: created with its parents on first use.
CString UserFolder(const std::wstring& base, const std::wstring& sub) {
    const std::wstring path = CombinePath(base, sub);
    CreateFolders(path);
    return CString(path);
}

CString InstallFolder(const CString& base, const wchar_t* sub) {
    return CString(CombinePath(base.str(), sub));
}

// The GUID map of the frame is read from the installation's data folder.
std::wstring InstallDataFolder() {
    return INIGetDataDir().str();
}
const bool g_dataFolderProvided =
    (tlv::frame::SetDefaultInstallDataFolderProvider(&InstallDataFolder), true);

} // namespace

CString INIGetRegistryProductKey() {
    static CachedPath cache;
    return cache.Get([] { return CString(L"SOFTWARE\\Talvo\\" + Product().applicationRegKey); });
}

CString BOXIDGetUserPathDir() {
    return CString(Product().userPathDir);
}
CString BOXIDGetUserProductDir() {
    return CString(Product().userProductDir);
}
CString BOXIDGetUserContentDir() {
    return CString(Product().userContentDir);
}
CString BOXIDGetInstalledContentDir() {
    return CString(Product().installedContentDir);
}

CString INIGetConfigDir() {
    static CachedPath cache;
    return cache.Get([] {
        std::wstring dir = RootOverride(FolderRoot::Config);
        if (dir.empty())
            dir = tlv::environment::ReadConfigDir(INIGetRegistryProductKey().str());
        return dir.empty() ? CString() : CString(CombinePath(dir, L""));
    });
}

CString INIGetInstallDir() {
    static CachedPath cache;
    return cache.Get([] { return InstallFolder(INIGetConfigDir(), L".."); });
}

// The folder of the current interface language's files: not cached, so a language switch
// shows at once.
CString INIGetLangRelDir() {
    return CString(CombinePath(INIGetInstallDir().str(), L"Languages/" + TlvUtl::GetUILanguage()));
}

CString INIGetAppDir() {
    static CachedPath cache;
    return cache.Get([] {
        return CString(CombinePath(INIGetInstallDir().str(), tlv::environment::AppFolderName()));
    });
}

CString INIGetLangRelAppDir() {
    static CachedPath cache;
    return cache.Get([] {
        return CString(CombinePath(INIGetLangRelDir().str(), tlv::environment::AppFolderName()));
    });
}

CString INIGetHelpFileAppDir() {
    static CachedPath cache;
    return cache.Get([] {
        return CString(CombinePath(INIGetHelpFileDir().str(), tlv::environment::AppFolderName()));
    });
}

CString GetUserProfileTalvoDir() {
    static CachedPath cache;
    return cache.Get([] {
        return UserFolder(Root(FolderRoot::AppData, &tlv::platform::RoamingAppDataFolder),
                          Product().userPathDir);
    });
}

CString GetUserProfileGraphicsDir() {
    static CachedPath cache;
    return cache.Get(
        [] { return UserFolder(GetUserProfileTalvoDir().str(), Product().userProductDir); });
}

CString GetUserProfileAppDir() {
    static CachedPath cache;
    return cache.Get([] {
        return UserFolder(GetUserProfileGraphicsDir().str(), tlv::environment::AppFolderName());
    });
}

CString GetUserDocumentsTalvoDir() {
    static CachedPath cache;
    return cache.Get([] {
        return UserFolder(Root(FolderRoot::Documents, &tlv::platform::DocumentsFolder),
                          Product().userPathDir);
    });
}

CString GetUserDocumentsTalvoSuiteDir() {
    static CachedPath cache;
    return cache.Get(
        [] { return UserFolder(GetUserDocumentsTalvoDir().str(), Product().userContentDir); });
}

CString GetPublicDocumentsTalvoDir() {
    static CachedPath cache;
    return cache.Get([] {
        return UserFolder(Root(FolderRoot::PublicDocuments, &tlv::platform::PublicDocumentsFolder),
                          L"Talvo");
    });
}

CString GetPublicDocumentsTalvoContentDir() {
    static CachedPath cache;
    return cache.Get([] {
        return UserFolder(GetPublicDocumentsTalvoDir().str(), Product().installedContentDir);
    });
}

CString GetUserProfileConfigDir() {
    static CachedPath cache;
    return cache.Get([] {
        const std::wstring path = CombinePath(GetUserProfileGraphicsDir().str(), L"Config");
        CreateFolders(path);
        tlv::environment::SeedUserConfig(path, INIGetConfigDir().str());
        return CString(path);
    });
}

namespace {

// Folders of the user and documents trees are created on first use; the installation tree
// is never touched.
bool IsUserTree(CString (*base)()) {
    return base != &INIGetInstallDir && base != &INIGetLangRelDir;
}

CachedPath g_langRelProgCache;

} // namespace

#define TLVUTL_DEFINE_FOLDER(name, base, sub)                                                      \
    CString name() {                                                                               \
        static CachedPath cache;                                                                   \
        CachedPath& c =                                                                            \
            std::string_view(#name) == "INIGetLangRelProgDir" ? g_langRelProgCache : cache;        \
        return c.Get([] {                                                                          \
            return IsUserTree(&base) ? UserFolder(base().str(), L"" sub)                           \
                                     : InstallFolder(base(), L"" sub);                             \
        });                                                                                        \
    }
TLVUTL_DERIVED_FOLDERS(TLVUTL_DEFINE_FOLDER)
#undef TLVUTL_DEFINE_FOLDER

void INIClearLangRelProgDirCache() {
    g_langRelProgCache.Clear();
}
