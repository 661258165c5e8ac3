// Loading code modules and reading their string tables: the library's view of the
// operating system's module loader.
//
// Handles are the loader's own (dlopen handles on POSIX, HMODULE on Windows). Module names
// are given as the Windows spelling ("TLVUTLINTL.DLL") or as a path; PlatformModuleName
// maps a bare Windows name to this platform's file name ("libtlvutlintl.so").
#ifndef TLVUTL_PLATFORM_MODULE_LOADER_H
#define TLVUTL_PLATFORM_MODULE_LOADER_H

#include <tlvutl/wintypes.h>

#include <string>

namespace tlv::platform {

std::wstring PlatformModuleName(const std::wstring& name);
HMODULE LoadModule(const std::wstring& pathOrName);
// True when the module was released.
bool UnloadModule(HMODULE module);
// The handle of a module already loaded in the process, or null.
HMODULE FindLoadedModule(const std::wstring& pathOrName);
HMODULE MainModule();
// The module that holds the library's own code.
HMODULE LibraryModule();
// Folder of the library's own code file, ending in the separator.
std::wstring LibraryDirectory();
// The executable's file name without folder, or empty.
std::wstring ExecutableName();
bool FileExists(const std::wstring& path);

// Copies string id of the module's table into buffer (at most capacity - 1 characters plus
// a terminator) and returns the number of characters copied; 0 when the module has no such
// string. capacity 0 copies nothing.
int LoadModuleString(HMODULE module, unsigned id, wchar_t* buffer, int capacity);
// True when the module's table holds the id.
bool ModuleHasString(HMODULE module, unsigned id);

} // namespace tlv::platform

#endif
