/* The module frame: bringing the library up and down, its resource module and string
 * loading, the fatal-error report, the engine/application GUID map and the host's
 * application objects.
 *
 * Host order: load the library, InitModule, optionally TLVUTLSetAppInfo and UTLInitialize
 * (once per client), use, UTLUninitialize (the last one tears the library's singletons
 * down), TLVUTLShutdownModule, unload. The C functions are callable from C; the string and
 * application-object interfaces are C++.
 *
 * Resource modules: "TLVUTLINTL.DLL" is the library's string module; on this platform it is
 * libtlvutlintl.so in <libdir>/tlvutl/intl/<language>/ (TLV_RESOURCE_DIR overrides the
 * root). The string loaders and the fatal-error cache are unguarded: call them on the
 * user-interface thread. */
#ifndef TLVUTL_FRAME_H
#define TLVUTL_FRAME_H

#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

#ifdef __cplusplus
#include <tlvutl/cstring.h>

#include <string>
#include <utility>
#include <vector>
#endif

/* The extension-module record: what the host's module list knows of one library. While no
 * resource module is loaded, hResource equals hModule. */
typedef struct AFX_EXTENSION_MODULE {
    /* Nonzero once the record has been initialised (AfxInitExtensionModule). */
    BOOL bInitialized;
    /* The library's own code module. */
    HMODULE hModule;
    /* Where the library's resources are searched: the resource module once loaded, else hModule. */
    HMODULE hResource;
} AFX_EXTENSION_MODULE;

/* Fatal-error codes in use.
 * @{ */
#define UTL_FATAL_ALLOCATION 1000u
#define UTL_FATAL_LOCK 1001u
#define UTL_FATAL_RESIZE 1002u
#define UTL_FATAL_BAD_ARGUMENT 5002u
/* @} */

TLVUTL_C_BEGIN

/* Start-up and shut-down. InitModule and TLVUTLInitModule are one function: 1 on success,
 * 0 when the resource module cannot be loaded, the module cannot be chained or
 * "guidmap.dat" cannot be read in full. */
TLVUTL_API int InitModule(void);
/* InitModule under its other name. */
TLVUTL_API int TLVUTLInitModule(void);
/* Tells the user-interface language service that the library's resources are released; returns its
 * result. */
TLVUTL_API int TLVUTLShutdownModule(void);
/* Raises the initialise count (once per client of the library). */
TLVUTL_API void UTLInitialize(void);
/* Lowers the initialise count; the call that brings it from 1 to 0 tears down the application-skin
 * settings and regional-format singletons and stops all directory tracking. */
TLVUTL_API void UTLUninitialize(void);

/* Chaining of extension modules into the process's module list. */
/* Initialises the record for the code module code (resource handle = code); nonzero on success. */
TLVUTL_API BOOL AfxInitExtensionModule(AFX_EXTENSION_MODULE* module, HMODULE code);
/* Chains module into the process's module list unless a record with its code handle is there. */
TLVUTL_API void UTLInitExtensionDll(AFX_EXTENSION_MODULE* module);
/* 1 when a record with module's code handle (UTLIsDLLChained) or resource handle
 * (UTLIsResourceDLLChained) is in the list; 0 otherwise and for a null handle. */
TLVUTL_API int UTLIsDLLChained(AFX_EXTENSION_MODULE* module);
/* As UTLIsDLLChained, comparing resource handles. */
TLVUTL_API int UTLIsResourceDLLChained(AFX_EXTENSION_MODULE* module);

/* Resource modules and strings. UTLLoadString returns a pointer into a shared ring of
 * 9,216 characters: the text stays valid only until about 9 KB of later loads. */
/* Loads a resource module by file name; on failure warns the user ("Unable to load resource DLL")
 * and returns null. */
TLVUTL_API HMODULE UTLLoadResourceDLL(const wchar_t* name);
/* The handle of an already loaded module, or null. */
TLVUTL_API HMODULE UTLGetResourceModuleHandle(const wchar_t* name);
/* Releases a module from UTLLoadResourceDLL: 0 for a null handle, else nonzero on success. */
TLVUTL_API int UTLFreeResourceDLL(HMODULE module);
/* String resource id from the resource module (or the host's fallbacks); an empty text when not
 * found. */
TLVUTL_API const wchar_t* UTLLoadString(UINT id);

/* The last-resort report of an internal fault: a beep and a system-modal stop box whose
 * caption is the formatted "module, code, FILE, line" text and whose body is one of two
 * fixed texts (bodySelector non-zero or zero). */
TLVUTL_API void UIMSG_FatalError(UINT code, const wchar_t* sourceFile, UINT line,
                                 const wchar_t* moduleName, int bodySelector);

/* The engine/application GUID map; 1 when found, 0 otherwise (also while not loaded). */
TLVUTL_API int UTLMapEng2AppGUID(const GUID* engine, GUID* application);
/* The reverse lookup: the engine GUID of an application GUID. */
TLVUTL_API int UTLMapApp2EngGUID(const GUID* application, GUID* engine);

TLVUTL_C_END

#ifdef __cplusplus

/* C++ forms of the chaining functions taking the record by reference. */
/* The same functions as the pointer forms above.
 * @{ */
TLVUTL_API void UTLInitExtensionDll(AFX_EXTENSION_MODULE& module);
TLVUTL_API int UTLIsDLLChained(AFX_EXTENSION_MODULE& module);
TLVUTL_API int UTLIsResourceDLLChained(AFX_EXTENSION_MODULE& module);
/* @} */

/* An owned copy of a string: from the library's resource module (or the host's fallbacks),
 * or from the given instance first. Unknown ids give an empty string.
 * @{ */
TLVUTL_API CString UTLLoadStringEx(UINT id);
TLVUTL_API CString UTLLoadStringEx(HINSTANCE instance, UINT id);
/* @} */

/* One record of the process's module list. Constructing a record chains it; the list owns
 * nothing: records made by the library live until the process ends. */
class TLVUTL_API CDynLinkLibrary {
public:
    /* Chains a record for module (system: a library of the framework itself) at the head of the
     * list. */
    explicit CDynLinkLibrary(const AFX_EXTENSION_MODULE& module, bool system = false);
    ~CDynLinkLibrary();
    CDynLinkLibrary(const CDynLinkLibrary&) = delete;
    CDynLinkLibrary& operator=(const CDynLinkLibrary&) = delete;

    /* The code and resource handles of the module, and whether it is a system library.
     * @{ */
    HMODULE m_hModule;
    HMODULE m_hResource;
    bool m_bSystem;
    /* @} */

    /* A snapshot of the chain, most recently chained first (the order a resource search
     * visits them). */
    static std::vector<CDynLinkLibrary*> Chain();
};

/* The library's own extension-module record. */
TLVUTL_API AFX_EXTENSION_MODULE& UTLGetExtensionModule();

/* The resource handle the string loaders try first: the loaded resource module, or the
 * host's main module when none is loaded. */
TLVUTL_API HMODULE UTLGetDefaultResourceHandle();

/* The host's application objects. The operation names are this library's; hosts implement
 * them. */
class TLVUTL_API IAppStartupInit {
public:
    virtual ~IAppStartupInit();
    /* The application's four version numbers (major, minor, build, revision). */
    virtual void GetVersionNumbers(DWORD numbers[4]) const = 0;
};

/* The host's start-up object, given to TLVUTLSetAppInfo. */
class TLVUTL_API IAppStartup {
public:
    virtual ~IAppStartup();
    /* The application's start-up settings (its version numbers). */
    virtual const IAppStartupInit& GetSettings() const = 0;
};

/* The host's resource texts the library asks for. */
class TLVUTL_API IResources {
public:
    virtual ~IResources();
    /* The version text: the short form (string 23932 with the first number) when true, the
     * long form (string 23931 with all four) when false. */
    virtual CString GetVersionText(bool shortForm) = 0;
};

/* The host's shut-down state. */
class TLVUTL_API IAppShutdown {
public:
    virtual ~IAppShutdown();
    /* Whether the application is shutting down, and setting it.
     * @{ */
    virtual bool IsShuttingDown() const = 0;
    virtual void SetShuttingDown(bool value) = 0;
    /* @} */
};

/* Stores the host's start-up object (init is not kept). TLVUTLSetAppInfo and SetAppInfo are one
 * function.
 * @{ */
TLVUTL_API void TLVUTLSetAppInfo(IAppStartup& startup, const IAppStartupInit& init);
TLVUTL_API void SetAppInfo(IAppStartup& startup, const IAppStartupInit& init);
/* @} */

/* Where library code finds the host's application objects. */
class TLVUTL_API ApplicationInfo {
public:
    /* Throw std::logic_error when no host has called TLVUTLSetAppInfo. */
    static const IAppStartupInit& Settings();
    /* The host's start-up, resource and shut-down objects; throw std::logic_error as Settings does.

     * @{ */
    static IAppStartup& AppStartup();
    static IResources& Resources();
    static IAppShutdown& AppShutdown();
    /* @} */
};

/* The application's user-interface name and the application-skin settings singleton. The
 * name defaults to the executable's file name; a host sets its own. */
class TLVUTL_API WAppSkinSettingData {
public:
    /* The singleton, created on first use under its writer lock. */
    static WAppSkinSettingData* GetInstance();
    /* Deletes the instance under its write lock and marks it destroyed. */
    static void DestroyInstance();
    /* The application's user-interface name, and setting it.
     * @{ */
    static CString GetAppUIName();
    static void SetAppUIName(const CString& name);
    /* @} */

private:
    WAppSkinSettingData();
    CString uiName_;
    friend struct WAppSkinSettingDataAccess;
};

namespace TlvUtl {

/* The order in which the GUID map's tables are sorted: Data4[7] down to Data4[0] as
 * unsigned bytes, then Data3, Data2 and Data1. Negative, zero or positive. */
TLVUTL_API int CompareGuids(const GUID& a, const GUID& b);

/* Writes a "guidmap.dat" of the given (engine, application) pairs, both tables sorted in
 * the map's order. False when the file cannot be written or an engine GUID comes twice. */
TLVUTL_API bool WriteGuidMapFile(const std::wstring& path,
                                 std::vector<std::pair<GUID, GUID>> enginePairs);

/* A map read from one file, for tools; the library's own map is loaded by InitModule. */
class TLVUTL_API GuidMapFile {
public:
    /* False when the file is missing or damaged: a header that does not fit the file's size,
     * tables out of the map's order, a repeated engine, or tables that are not each other's
     * mirror. */
    bool Load(const std::wstring& path);
    /* The application GUID of an engine GUID, and the reverse; false when not in the map.
     * @{ */
    bool EngineToApp(const GUID& engine, GUID& app) const;
    bool AppToEngine(const GUID& app, GUID& engine) const;
    /* @} */
    /* Number of (engine, application) pairs. */
    int Count() const { return static_cast<int>(engineSorted_.size()); }

private:
    std::vector<GUID> engineSorted_, appForEngine_, appSorted_, engineForApp_;
};

/* "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}" (braces optional on input). */
TLVUTL_API bool ParseGuid(const std::wstring& text, GUID& out);
/* The GUID as "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}" in upper-case hexadecimal. */
TLVUTL_API std::wstring FormatGuid(const GUID& guid);

/* The installation data folder the GUID map is read from (ending in the separator): by
 * default INIGetDataDir(), the "Data" folder of the recorded installation; a host or test
 * may replace it. */
using InstallDataFolderProvider = std::wstring (*)();
/* Replaces the provider of the installation data folder; null restores the default. */
TLVUTL_API void SetInstallDataFolderProvider(InstallDataFolderProvider provider);
/* The installation data folder, from the provider set or the default. */
TLVUTL_API std::wstring GetInstallDataFolder();

/* Steering the resource module's language: an explicit language folder name ("en", "de")
 * instead of the one chosen from the locale; empty restores the locale's. */
TLVUTL_API void SetUILanguageOverride(const std::wstring& language);
/* Root of the language folders; empty restores $TLV_RESOURCE_DIR or <libdir>/tlvutl/intl/. */
TLVUTL_API void SetResourceRoot(const std::wstring& root);
/* The root of the language folders in effect. */
TLVUTL_API std::wstring GetResourceRoot();
/* The language folder the resource module was (or would be) loaded from. */
TLVUTL_API std::wstring GetUILanguage();

} // namespace TlvUtl

#endif /* __cplusplus */

#endif
