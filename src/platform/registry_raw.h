// Byte-exact access to registry values, for the library's own code that must see the bytes
// Windows stores: string data stays UTF-16LE and byte counts are real byte counts. These are
// what RegQueryValueExW, RegEnumValueW and RegSetValueExW do on Windows, where wchar_t is two
// bytes; the public wide functions convert string data for four-byte wchar_t.
#ifndef TLVUTL_PLATFORM_REGISTRY_RAW_H
#define TLVUTL_PLATFORM_REGISTRY_RAW_H

#include "registry_store.h"

#include <tlvutl/wintypes.h>

#include <string>
#include <utility>
#include <vector>

namespace tlv::platform {

// As RegQueryValueExW on Windows: null data reports the size; a short buffer gives
// ERROR_MORE_DATA with the size needed; a string stored without its NUL gets two zero bytes
// after it when the buffer has room.
LONG RegQueryValueRaw(HKEY key, const wchar_t* name, DWORD* type, BYTE* data, DWORD* size);
LONG RegEnumValueRaw(HKEY key, DWORD index, wchar_t* name, DWORD* nameLength, DWORD* type,
                     BYTE* data, DWORD* size);
LONG RegSetValueRaw(HKEY key, const wchar_t* name, DWORD type, const BYTE* data, DWORD size);

// Whole entries, for walking a key.
LONG RegEnumValueBytes(HKEY key, DWORD index, std::wstring& name, DWORD& type, std::string& data);

// Makes every change under the predefined root in one transaction, or none of them.
LONG RegApplyChanges(HKEY root, const std::vector<RegChange>& changes);

// Makes the changes under every predefined root given (each root once, in ascending order)
// or, if any of them fails, none under any root.
LONG RegApplyChangeSets(const std::vector<std::pair<HKEY, std::vector<RegChange>>>& sets);

// Splits a sub-key path at its backslashes. One trailing backslash is allowed; a leading one
// or an empty level gives ERROR_BAD_PATHNAME.
LONG SplitRegistryPath(const wchar_t* subKey, RegPath& path);

} // namespace tlv::platform

#endif
