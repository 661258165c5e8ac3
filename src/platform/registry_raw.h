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
// Stores exactly the bytes given: unlike RegSetValueExW, a string whose count stops just
// before a NUL is not extended to take it.
LONG RegSetValueRaw(HKEY key, const wchar_t* name, DWORD type, const BYTE* data, DWORD size);

// Whole entries, for walking a key.
LONG RegEnumValueBytes(HKEY key, DWORD index, std::wstring& name, DWORD& type, std::string& data);

// Makes every change under the predefined root in one transaction, or none of them.
LONG RegApplyChanges(HKEY root, const std::vector<RegChange>& changes);

// Makes the changes under every predefined root given (each root once, in ascending order)
// or, if any of them fails, none under any root.
LONG RegApplyChangeSets(const std::vector<std::pair<HKEY, std::vector<RegChange>>>& sets);

// For tests of the all-or-nothing rule: the next RegApplyChangeSets (or RegApplyChanges)
// refuses the change at position index, counted from 0 across all its sets in order, with
// status, after making the changes before it. The fault is used up by that call; a negative
// index clears it.
void FailRegChangeForTesting(long index, LONG status);
// The status the change at position index is to fail with, ERROR_SUCCESS when none is armed;
// asked once per change by the appliers.
LONG InjectedRegChangeFault(std::size_t index);
// Ends the applier's call: an armed fault that was not reached is dropped as well.
void ClearRegChangeFault();

// Splits a sub-key path at its backslashes. One trailing backslash is allowed; a leading one
// or an empty level gives ERROR_BAD_PATHNAME.
LONG SplitRegistryPath(const wchar_t* subKey, RegPath& path);

} // namespace tlv::platform

#endif
