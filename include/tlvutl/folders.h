// The suite's folders and its common settings file.
//
// Three trees: the installation (rooted in the configuration folder the installer recorded
// as "ConfigDir" under HKEY_LOCAL_MACHINE\ + INIGetRegistryProductKey()), the per-user tree
// under the roaming application-data folder ($XDG_CONFIG_HOME, default ~/.config), created
// on demand and seeded from the installation's configuration on first use, and the documents
// trees under the user's documents folder (XDG documents) and the public documents folder
// ($TLV_PUBLIC_DOCUMENTS or the XDG public-share folder).
//
// Every getter returns an absolute path with "." and ".." removed, ending in the separator.
// Each is computed once and cached under its own lock (no getter holds its lock while calling
// another), so any thread may call them. Getters report no errors: without a "ConfigDir" the
// installation paths are relative, and a user folder that cannot be created is returned all
// the same. Hosts and tests may replace each root before the first getter call.
#ifndef TLVUTL_FOLDERS_H
#define TLVUTL_FOLDERS_H

#include <tlvutl/cstring.h>
#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

#include <string>

// Roots and product identity.
TLVUTL_API CString INIGetConfigDir();
TLVUTL_API CString INIGetInstallDir();
TLVUTL_API CString INIGetLangRelDir();
TLVUTL_API CString INIGetAppDir();
TLVUTL_API CString INIGetLangRelAppDir();
TLVUTL_API CString INIGetHelpFileAppDir();
TLVUTL_API CString INIGetRegistryProductKey();
TLVUTL_API CString BOXIDGetUserPathDir();
TLVUTL_API CString BOXIDGetUserProductDir();
TLVUTL_API CString BOXIDGetUserContentDir();
TLVUTL_API CString BOXIDGetInstalledContentDir();
TLVUTL_API CString GetUserProfileTalvoDir();
TLVUTL_API CString GetUserProfileGraphicsDir();
TLVUTL_API CString GetUserProfileAppDir();
TLVUTL_API CString GetUserDocumentsTalvoDir();
TLVUTL_API CString GetUserDocumentsTalvoSuiteDir();
TLVUTL_API CString GetPublicDocumentsTalvoDir();
TLVUTL_API CString GetPublicDocumentsTalvoContentDir();
TLVUTL_API CString GetUserProfileConfigDir();

// One sub-folder of a root each.
#define TLVUTL_DERIVED_FOLDERS(X)                                                                  \
    X(INIGetColorDir, INIGetInstallDir, "Color")                                                   \
    X(INIGetUserDefaultWorkspaceDir, INIGetInstallDir, "Workspace")                                \
    X(INIGetBootDefaultWorkspaceDir, INIGetInstallDir, "Workspace")                                \
    X(INIGetCustomDir, INIGetInstallDir, "Custom Data")                                            \
    X(INIGetAppSamplesDir, INIGetInstallDir, "Samples")                                            \
    X(INIGetFiltersDir, INIGetInstallDir, "Filters64")                                             \
    X(INIGetPluginsDir, INIGetInstallDir, "Plugins64")                                             \
    X(INIGetLanguageDir, INIGetInstallDir, "Languages")                                            \
    X(INIGetMediaMgrDir, INIGetInstallDir, "MediaFolders")                                         \
    X(INIGetProgramsDir, INIGetInstallDir, "Programs64")                                           \
    X(INIGetAddonsDir, INIGetInstallDir, "Addons")                                                 \
    X(INIGetDataDir, INIGetInstallDir, "Data")                                                     \
    X(INIGetScriptsDir, INIGetInstallDir, "Scripts")                                               \
    X(INIGetFontsDir, INIGetInstallDir, "Symbols")                                                 \
    X(INIGetFontDBDir, INIGetInstallDir, "FontDatabase")                                           \
    X(INIGetVideoBrowserDir, INIGetInstallDir, "VideoBrowser64")                                   \
    X(INIGetConnectDir, INIGetInstallDir, "Connect64")                                             \
    X(INIGetHelpFileDir, INIGetInstallDir, "Help")                                                 \
    X(INIGetSkinDir, INIGetInstallDir, "Skin")                                                     \
    X(INIGetTutorDir, INIGetInstallDir, "Tutorials")                                               \
    X(INIGetWTDataDir, INIGetInstallDir, "WritingTools")                                           \
    X(INIGetWTDir, INIGetInstallDir, "bin64")                                                      \
    X(INIGetLangRelCustomDir, INIGetLangRelDir, "Custom Data")                                     \
    X(INIGetLangRelConfigDir, INIGetLangRelDir, "Config")                                          \
    X(INIGetLangRelComponentDir, INIGetLangRelDir, "Components")                                   \
    X(INIGetLangRelDataDir, INIGetLangRelDir, "Data")                                              \
    X(INIGetLangRelProgDir, INIGetLangRelDir, "Programs")                                          \
    X(INIGetLangRelTemplateDir, INIGetLangRelDir, "Templates")                                     \
    X(GetUserProfileCustomDir, GetUserProfileGraphicsDir, "Custom Data")                           \
    X(GetUserProfileColorDir, GetUserProfileGraphicsDir, "Color")                                  \
    X(GetUserProfileSymbolsDir, GetUserProfileGraphicsDir, "Symbols")                              \
    X(GetUserProfileFontDBDir, GetUserProfileGraphicsDir, "FontDatabase")                          \
    X(GetUserProfileFontsDir, GetUserProfileGraphicsDir, "Symbols")                                \
    X(GetUserProfileWorkspaceDir, GetUserProfileAppDir, "Workspace")                               \
    X(GetUserProfilePresetsDir, GetUserProfileAppDir, "Presets")                                   \
    X(GetUserProfileSkinDir, GetUserProfileAppDir, "Skin")                                         \
    X(GetUserProfileDuotonesDir, GetUserProfileCustomDir, "Duotone")                               \
    X(GetUserProfileShearMapDir, GetUserProfileCustomDir, "Shearmap")                              \
    X(GetUserProfileToneCurvesDir, GetUserProfileCustomDir, "Tonecrv")                             \
    X(GetUserProfileUserDefDir, GetUserProfileCustomDir, "Userdef")                                \
    X(GetUserProfileBrushTexturesDir, GetUserProfileCustomDir, "Brushtxr")                         \
    X(GetUserProfileChannelMixerDir, GetUserProfileCustomDir, "ChannelMixer")                      \
    X(GetUserProfileMeshWarpDir, GetUserProfileCustomDir, "MeshWarp")                              \
    X(GetUserProfileBrushDir, GetUserProfilePresetsDir, "Brush")                                   \
    X(GetUserProfileDropShadowsDir, GetUserProfilePresetsDir, "Dropshadow")                        \
    X(GetUserProfileFileNewDir, GetUserProfilePresetsDir, "FileNew")                               \
    X(GetUserDocumentsTalvoSuiteFillsDir, GetUserDocumentsTalvoSuiteDir, "Fills")                  \
    X(GetUserDocumentsTalvoSuiteImageListsDir, GetUserDocumentsTalvoSuiteDir, "Image Lists")       \
    X(GetUserDocumentsTalvoSuiteFramesDir, GetUserDocumentsTalvoSuiteDir, "Photo Frames")          \
    X(GetUserDocumentsTalvoSuiteTemplatesDir, GetUserDocumentsTalvoSuiteDir, "Templates")          \
    X(GetPublicDocumentsTalvoSuiteImageListsDir, GetPublicDocumentsTalvoContentDir, "Image Lists") \
    X(GetPublicDocumentsTalvoSuiteFramesDir, GetPublicDocumentsTalvoContentDir, "Photo Frames")    \
    X(GetPublicDocumentsTalvoSuiteFillsDir, GetPublicDocumentsTalvoContentDir, "Fills")            \
    X(GetPublicDocumentsTalvoSuiteTemplatesDir, GetPublicDocumentsTalvoContentDir, "Templates")

#define TLVUTL_DECLARE_FOLDER(name, base, sub) TLVUTL_API CString name();
TLVUTL_DERIVED_FOLDERS(TLVUTL_DECLARE_FOLDER)
#undef TLVUTL_DECLARE_FOLDER

// Forgets the cached language-relative program folder.
TLVUTL_API void INIClearLangRelProgDirCache();

// The common ini file and the settings kept in it.
TLVUTL_API CString INIGetCommonIniFile();
TLVUTL_API CString INIGetTalvoPrnIniFile();
TLVUTL_API void INIInitCommonIniFile();
TLVUTL_API CString INIGetNetworkWorkspaceDir();
TLVUTL_API int INIGetUseColorExtTextOut();
TLVUTL_API DWORD PINIGetUserPaletteWithDefault(LPWSTR out, DWORD size, LPCWSTR iniFile,
                                               LPCWSTR defaultValue);
TLVUTL_API BOOL PINIWriteUserPalette(LPCWSTR value, LPCWSTR iniFile);
TLVUTL_API int INIGetScanCloseDlgFlag();
TLVUTL_API BOOL INIWriteScanCloseDlgFlag(int flag);
TLVUTL_API int INIGetMaxNoOfCustomUnit();
// "CustomUnit<index>" into out (capacity length characters); returns the characters written.
TLVUTL_API DWORD INIGetCustomUnit(int index, LPWSTR out, DWORD length);
TLVUTL_API int INISetCustomUnit(int index, LPCWSTR line);
// Creates a Unicode ini file (byte-order mark and the header line) only when it does not exist
// yet; 1 when created and written, else 0 (an existing file is left untouched).
TLVUTL_API int UTLCreateUnicodeIniFile(LPCWSTR fileName);
// Puts a link to the installation's samples into the user's documents folder unless one is
// there already.
TLVUTL_API void INIEnsureUserDocFilesExist();

namespace TlvUtl {

enum class FolderRoot {
    Config,          // the installation's configuration folder ("ConfigDir")
    AppData,         // the user's roaming application data
    Documents,       // the user's documents
    PublicDocuments, // the public (all users) documents
    Installation,    // where "AppBoxID.xml" is looked for (its Data folder, or <root>/<app>)
};

// Replaces a root (an empty path restores the platform's) and forgets every cached path.
TLVUTL_API void SetFolderRoot(FolderRoot root, const std::wstring& path);
// The host application's folder name (default: the executable's file name).
TLVUTL_API void SetAppFolderName(const std::wstring& name);
// Forgets every cached path and the product descriptor (hosts re-rooting, tests).
TLVUTL_API void ResetFolderCaches();

// What an installer does: records the bundled default installation ($TLV_INSTALL_DIR or the
// tree installed next to the library) as "ConfigDir" of the product key, unless an existing
// folder is recorded already (or always, with replace). False when the registry cannot be
// written.
TLVUTL_API bool RegisterDefaultInstallation(bool replace = false);

} // namespace TlvUtl

#endif
