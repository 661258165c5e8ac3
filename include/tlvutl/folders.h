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

// The installation's configuration folder: the "ConfigDir" value of the product key under
// HKEY_LOCAL_MACHINE.
TLVUTL_API CString INIGetConfigDir();
// The installation folder: the parent of INIGetConfigDir().
TLVUTL_API CString INIGetInstallDir();
// The folder of the current user-interface language's files, from the language service (not
// cached).
TLVUTL_API CString INIGetLangRelDir();
// The host application's folder in the installation: INIGetInstallDir() + the application's folder
// name.
TLVUTL_API CString INIGetAppDir();
// INIGetLangRelDir() + the application's folder name.
TLVUTL_API CString INIGetLangRelAppDir();
// The help folder (INIGetHelpFileDir()) + the application's folder name.
TLVUTL_API CString INIGetHelpFileAppDir();
// The product registry key: "SOFTWARE\Talvo\" followed by the product descriptor's
// "ApplicationRegKey" (no separator at the end).
TLVUTL_API CString INIGetRegistryProductKey();
// The maker's folder name used in user folders, from the product descriptor.
TLVUTL_API CString BOXIDGetUserPathDir();
// The product's folder name, from the product descriptor.
TLVUTL_API CString BOXIDGetUserProductDir();
// The suite's content folder name in the user's documents, from the product descriptor.
TLVUTL_API CString BOXIDGetUserContentDir();
// The content folder name in the public documents, from the product descriptor.
TLVUTL_API CString BOXIDGetInstalledContentDir();
// The user's roaming application-data folder + BOXIDGetUserPathDir().
TLVUTL_API CString GetUserProfileTalvoDir();
// GetUserProfileTalvoDir() + BOXIDGetUserProductDir().
TLVUTL_API CString GetUserProfileGraphicsDir();
// GetUserProfileGraphicsDir() + the host application's folder name.
TLVUTL_API CString GetUserProfileAppDir();
// The user's documents folder + BOXIDGetUserPathDir().
TLVUTL_API CString GetUserDocumentsTalvoDir();
// GetUserDocumentsTalvoDir() + BOXIDGetUserContentDir().
TLVUTL_API CString GetUserDocumentsTalvoSuiteDir();
// The public documents folder + "Talvo".
TLVUTL_API CString GetPublicDocumentsTalvoDir();
// GetPublicDocumentsTalvoDir() + BOXIDGetInstalledContentDir().
TLVUTL_API CString GetPublicDocumentsTalvoContentDir();
// The user's configuration folder, GetUserProfileGraphicsDir() + "Config". On the first call, when
// it holds no "talvoapp.ini", the installation's configuration folder is copied into it.
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

// Declares one getter of the list above; undefined again once used.
#define TLVUTL_DECLARE_FOLDER(name, base, sub) TLVUTL_API CString name();
TLVUTL_DERIVED_FOLDERS(TLVUTL_DECLARE_FOLDER)
#undef TLVUTL_DECLARE_FOLDER

// Forgets the cached language-relative program folder.
TLVUTL_API void INIClearLangRelProgDirCache();

// The common ini file, which holds the suite's settings: GetUserProfileConfigDir() +
// "talvoapp.ini".
TLVUTL_API CString INIGetCommonIniFile();
// The printer ini file: GetUserProfileConfigDir() + "talvoprn.ini".
TLVUTL_API CString INIGetTalvoPrnIniFile();
// Makes sure the user's configuration folder (seeded) and the suite's documents folder exist before
// settings are first read.
TLVUTL_API void INIInitCommonIniFile();
// The "NetworkWorkspaceDir" of section "Config" of the common ini file; empty by default.
TLVUTL_API CString INIGetNetworkWorkspaceDir();
// The "UseColorExtTextOut" of section "Config" of the common ini file (default 1), read once per
// process.
TLVUTL_API int INIGetUseColorExtTextOut();
// Reads key "UserPalette" of section "Configuration" of iniFile into out (size characters), with
// defaultValue when absent; returns the characters written.
TLVUTL_API DWORD PINIGetUserPaletteWithDefault(LPWSTR out, DWORD size, LPCWSTR iniFile,
                                               LPCWSTR defaultValue);
// Writes key "UserPalette" of section "Configuration" of iniFile; FALSE when it cannot be written.
TLVUTL_API BOOL PINIWriteUserPalette(LPCWSTR value, LPCWSTR iniFile);
// The "ScanCloseDlgFlag" of section "Scanner" of the common ini file as 0 or 1 (default 1), and
// writing it (FALSE on failure).
// @{
TLVUTL_API int INIGetScanCloseDlgFlag();
TLVUTL_API BOOL INIWriteScanCloseDlgFlag(int flag);
// @}
// The "MaxNoOfCustomUnits" of section "Custom Unit(s)" of the common ini file; 32 by default.
TLVUTL_API int INIGetMaxNoOfCustomUnit();
// "CustomUnit<index>" into out (capacity length characters); returns the characters written.
TLVUTL_API DWORD INIGetCustomUnit(int index, LPWSTR out, DWORD length);
// Writes "CustomUnit<index>" of section "Custom Unit(s)"; nonzero on success.
TLVUTL_API int INISetCustomUnit(int index, LPCWSTR line);
// Creates a Unicode ini file (byte-order mark and the header line) only when it does not exist
// yet; 1 when created and written, else 0 (an existing file is left untouched).
TLVUTL_API int UTLCreateUnicodeIniFile(LPCWSTR fileName);
// Puts a link to the installation's samples into the user's documents folder unless one is
// there already.
TLVUTL_API void INIEnsureUserDocFilesExist();

namespace TlvUtl {

// The roots the folder getters start from; see SetFolderRoot.
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
