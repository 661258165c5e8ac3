// Registry access: the Win32 registry functions over the library's own persistent store,
// the WUTLRegistry path-addressed key object, GetRegSzValue, and .reg text import/export.
//
// The store keeps one database per predefined root in the registry folder
// ($TLV_REGISTRY_DIR, else $XDG_DATA_HOME/tlvutl/registry). Several processes may use it at
// once; every write is one atomic, durable transaction, so a write that returned
// ERROR_SUCCESS survives a crash of the writer. HKEY_PERFORMANCE_DATA opens and holds
// nothing. Key and value names compare case-insensitively and keep their case; sub-keys
// enumerate in case-insensitive name order, values in the order they were first set.
//
// Values keep the bytes Windows stores: REG_SZ, REG_EXPAND_SZ and REG_MULTI_SZ as UTF-16LE
// exactly as the writer sent them (with or without the terminating NUL; a count that stops
// just before a NUL takes the NUL too, as on Windows), REG_DWORD as four little-endian
// bytes. Null data with a zero count stores an empty value. wchar_t is four bytes here, so
// the wide functions convert string data at the edge, and every byte count of string data (cbData,
// *lpcbData) counts two bytes per wchar_t: a caller writes "abc" with its NUL as cbData = 8 and
// reads it back into a buffer of 260 wchar_t by passing 520, exactly as on Windows. So code ported
// with "n * sizeof(WCHAR)" must keep a factor of 2, not sizeof(wchar_t), and a wchar_t buffer's
// capacity is 2 x its length, not sizeof(buffer). A character beyond the Basic Multilingual
// Plane is one wchar_t here and a surrogate pair in the store; counts follow the wchar_t.
// Counts of names (lpcchName, lpcchValueName) are in wchar_t. Other value types are copied
// byte for byte. A string stored without its NUL gets one in the caller's buffer when the
// buffer has room for it.
//
// Status codes are the Win32 ones; besides those of the Win32 documentation the store
// reports ERROR_BADDB (1009) for a database file that is damaged or not a registry store
// (it is never overwritten), ERROR_REGISTRY_IO_FAILED (1016) when the folder or file cannot
// be used, ERROR_BUSY (170) when another process held the store locked for too long, and
// ERROR_KEY_DELETED (1018) for a handle whose key another handle or process deleted.
//
// WUTLRegistry and its static helpers follow the Win32 rules of the original interface: no
// member throws; statuses are returned, with 110 (ERROR_OPEN_FAILED) for an unknown root name
// and -1 for a null path or a member called without an open key. One object is used by one
// thread at a time; the Win32 functions and the static helpers may be called from any thread.
#ifndef TLVUTL_REGISTRY_H
#define TLVUTL_REGISTRY_H

#include <tlvutl/cstring.h>
#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

#include <string>
#include <string_view>
#include <vector>

#ifndef _WIN32
/* Predefined roots, with their Windows values (sign-extended 32-bit constants). */
#define HKEY_CLASSES_ROOT ((HKEY)(ULONG_PTR)((LONG)0x80000000))
// The current user's settings.
#define HKEY_CURRENT_USER ((HKEY)(ULONG_PTR)((LONG)0x80000001))
// The machine's settings (where the product key lives).
#define HKEY_LOCAL_MACHINE ((HKEY)(ULONG_PTR)((LONG)0x80000002))
// All users' settings.
#define HKEY_USERS ((HKEY)(ULONG_PTR)((LONG)0x80000003))
// Performance data: opens and holds nothing here.
#define HKEY_PERFORMANCE_DATA ((HKEY)(ULONG_PTR)((LONG)0x80000004))
// The current hardware profile.
#define HKEY_CURRENT_CONFIG ((HKEY)(ULONG_PTR)((LONG)0x80000005))

// No type: bytes without meaning.
#define REG_NONE 0
// A string: UTF-16LE text, normally with its terminating NUL.
#define REG_SZ 1
// A string holding %NAME% environment references, expanded by readers that ask for it.
#define REG_EXPAND_SZ 2
// Bytes.
#define REG_BINARY 3
// A 32-bit number, little-endian.
#define REG_DWORD 4
// The same type as REG_DWORD.
#define REG_DWORD_LITTLE_ENDIAN 4
// A 32-bit number, big-endian.
#define REG_DWORD_BIG_ENDIAN 5
// A symbolic link (a UTF-16LE key path).
#define REG_LINK 6
// A list of strings, each with its NUL, ended by a second NUL.
#define REG_MULTI_SZ 7
// Hardware resource data of the Windows registry, kept as bytes.
// @{
#define REG_RESOURCE_LIST 8
#define REG_FULL_RESOURCE_DESCRIPTOR 9
#define REG_RESOURCE_REQUIREMENTS_LIST 10
// @}
// A 64-bit number, little-endian, and its other name.
// @{
#define REG_QWORD 11
#define REG_QWORD_LITTLE_ENDIAN 11
// @}

/* Generic rights map onto the key rights below. */
// Whatever access the key allows.
#define MAXIMUM_ALLOWED 0x02000000
// Read access: KEY_READ.
#define GENERIC_READ 0x80000000u
// Write access: KEY_WRITE.
#define GENERIC_WRITE 0x40000000
// Execute access: KEY_EXECUTE.
#define GENERIC_EXECUTE 0x20000000
// All access: KEY_ALL_ACCESS.
#define GENERIC_ALL 0x10000000

// Read the key's values.
#define KEY_QUERY_VALUE 0x0001
// Write the key's values.
#define KEY_SET_VALUE 0x0002
// Create sub-keys.
#define KEY_CREATE_SUB_KEY 0x0004
// Enumerate sub-keys.
#define KEY_ENUMERATE_SUB_KEYS 0x0008
// Be notified of changes (accepted, not used here).
#define KEY_NOTIFY 0x0010
// Create a link (accepted, not used here).
#define KEY_CREATE_LINK 0x0020
// Windows view selection (64-bit and 32-bit registry); accepted and ignored here, where there is
// one view.
// @{
#define KEY_WOW64_64KEY 0x0100
#define KEY_WOW64_32KEY 0x0200
// @}
// The usual combinations: read (query, enumerate, notify), write (set value, create sub-key),
// execute (as read) and all.
// @{
#define KEY_READ 0x20019
#define KEY_WRITE 0x20006
#define KEY_EXECUTE 0x20019
#define KEY_ALL_ACCESS 0xF003F
// @}

// Options of RegCreateKeyExW, accepted as on Windows (every key is kept across restarts here).
// @{
#define REG_OPTION_RESERVED 0x0000
#define REG_OPTION_NON_VOLATILE 0x0000
#define REG_OPTION_VOLATILE 0x0001
#define REG_OPTION_CREATE_LINK 0x0002
#define REG_OPTION_BACKUP_RESTORE 0x0004
#define REG_OPTION_OPEN_LINK 0x0008
// @}
// What RegCreateKeyExW reports in *lpdwDisposition: a new key was created, or an existing one
// opened.
// @{
#define REG_CREATED_NEW_KEY 1
#define REG_OPENED_EXISTING_KEY 2
// @}
#endif

namespace TlvUtl {

#ifdef _WIN32
// The Windows build's registry functions are the system's own.
using ::RegCloseKey;
using ::RegCreateKeyExW;
using ::RegDeleteKeyW;
using ::RegDeleteValueW;
using ::RegEnumKeyExW;
using ::RegEnumValueW;
using ::RegOpenKeyExW;
using ::RegQueryInfoKeyW;
using ::RegQueryValueExW;
using ::RegSetValueExW;
#else
// The Win32 registry functions, same arguments and statuses. Predefined root handles need no
// opening and closing them does nothing.
TLVUTL_API LONG RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD ulOptions, REGSAM samDesired,
                              PHKEY phkResult);
// dwOptions is accepted as on Windows; every key is kept across restarts.
TLVUTL_API LONG RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD Reserved, LPWSTR lpClass,
                                DWORD dwOptions, REGSAM samDesired,
                                const LPSECURITY_ATTRIBUTES lpSecurityAttributes, PHKEY phkResult,
                                LPDWORD lpdwDisposition);
// Reads a value: its type into *lpType and its data into lpData, *lpcbData bytes at most (in and
// out). ERROR_MORE_DATA with the size needed in *lpcbData when the buffer is too small;
// ERROR_FILE_NOT_FOUND when the value does not exist.
TLVUTL_API LONG RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType,
                                 LPBYTE lpData, LPDWORD lpcbData);
// Writes a value of type dwType from cbData bytes (string counts are two bytes per character, see
// above).
TLVUTL_API LONG RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD Reserved, DWORD dwType,
                               const BYTE* lpData, DWORD cbData);
// The value at dwIndex in the order values were first set: name, type and data as RegQueryValueExW
// gives them. ERROR_NO_MORE_ITEMS past the last one.
TLVUTL_API LONG RegEnumValueW(HKEY hKey, DWORD dwIndex, LPWSTR lpValueName, LPDWORD lpcchValueName,
                              LPDWORD lpReserved, LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData);
// The sub-key at dwIndex in case-insensitive name order; ERROR_NO_MORE_ITEMS past the last one.
TLVUTL_API LONG RegEnumKeyExW(HKEY hKey, DWORD dwIndex, LPWSTR lpName, LPDWORD lpcchName,
                              LPDWORD lpReserved, LPWSTR lpClass, LPDWORD lpcchClass,
                              PFILETIME lpftLastWriteTime);
// Maximum lengths are in wchar_t (names, class) and in bytes as RegQueryValueExW reports
// them (data). Security descriptors are not kept: their size is reported as 0.
TLVUTL_API LONG RegQueryInfoKeyW(HKEY hKey, LPWSTR lpClass, LPDWORD lpcchClass, LPDWORD lpReserved,
                                 LPDWORD lpcSubKeys, LPDWORD lpcbMaxSubKeyLen,
                                 LPDWORD lpcbMaxClassLen, LPDWORD lpcValues,
                                 LPDWORD lpcbMaxValueNameLen, LPDWORD lpcbMaxValueLen,
                                 LPDWORD lpcbSecurityDescriptor, PFILETIME lpftLastWriteTime);
// Fails with ERROR_ACCESS_DENIED on a key that has sub-keys and on a predefined root.
TLVUTL_API LONG RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey);
// Deletes a value of the key; ERROR_FILE_NOT_FOUND when it does not exist.
TLVUTL_API LONG RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName);
// Closes a handle from RegOpenKeyExW or RegCreateKeyExW.
TLVUTL_API LONG RegCloseKey(HKEY hKey);
#endif

// The predefined roots by name. Full names ("HKEY_CURRENT_USER") always match; with
// abbreviations, the short forms of the command line ("HKCU", "HKLM", "HKCR", "HKU", "HKCC",
// "HKPD") do too; ignoreCase compares ASCII letters without case. Null when nothing matches.
TLVUTL_API HKEY RegistryRootFromName(std::wstring_view name, bool ignoreCase = false,
                                     bool abbreviations = false);
// The full name of a predefined root; null for any other handle.
TLVUTL_API const wchar_t* RegistryRootName(HKEY root);

// Replaces each %NAME% whose variable is set (looked up exactly, then ignoring case) by its
// value and leaves other percent signs as they are. Returns the characters needed including
// the terminating NUL; when that exceeds nSize the buffer holds as much as fits, terminated.
// A null source is an empty text.
#ifdef _WIN32
using ::ExpandEnvironmentStringsW;
#else
TLVUTL_API DWORD ExpandEnvironmentStringsW(LPCWSTR lpSrc, LPWSTR lpDst, DWORD nSize);
#endif

// The folder of the store (ending in '/'). SetRegistryDirectory points the store elsewhere
// for the rest of the process (an empty folder restores the default); handles opened before
// become invalid.
// @{
TLVUTL_API std::wstring GetRegistryDirectory();
TLVUTL_API void SetRegistryDirectory(const std::wstring& folder);
// @}
// The database file that holds a predefined root; empty for HKEY_PERFORMANCE_DATA and for
// anything that is not a predefined root.
TLVUTL_API std::wstring GetRegistryStoreFile(HKEY root);
// Reads the whole database file of a predefined root and checks it (pages, indexes, that it
// is a store of this version) without changing it: ERROR_SUCCESS when sound, ERROR_BADDB with
// one line per problem found in *problems, ERROR_FILE_NOT_FOUND when the root has no store yet
// (no file, or an empty one).
TLVUTL_API LONG CheckRegistryStore(HKEY root, std::vector<std::wstring>* problems = nullptr);
// A short English description of a status for messages ("the key or value does not exist").
TLVUTL_API std::wstring DescribeRegistryStatus(LONG status);

// The two forms of .reg files: "Windows Registry Editor Version 5.00" (UTF-16LE) and the
// older "REGEDIT4" (8-bit text, string data in 8-bit bytes too).
enum class RegFileFormat { kUnicode, kRegedit4 };

// Writes the key at keyPath (ROOT\sub\key) and everything below it as a "Windows Registry
// Editor Version 5.00" file: UTF-16LE with a byte-order mark, CRLF line ends. Strings stored
// with exactly one terminating NUL are written as "text", other string data as hex(1):,
// hex(2): or hex(7): so that an import gives back the same bytes. Returns ERROR_SUCCESS or the
// failing status, with a description in *error when error is not null.
// With RegFileFormat::kRegedit4 the file is "REGEDIT4" text for older tools: Windows-1252
// when every name and string fits it (and cannot be mistaken for UTF-8), UTF-8 otherwise;
// string data that has no 8-bit form (not UTF-16) makes the export fail, ERROR_INVALID_DATA.
TLVUTL_API LONG RegExportFile(const wchar_t* keyPath, const wchar_t* fileName,
                              std::wstring* error = nullptr,
                              RegFileFormat format = RegFileFormat::kUnicode);
// Applies a .reg file: [key] creates, [-key] deletes a key with its sub-keys, "name"=value
// and @=value write, "name"=- deletes. "Windows Registry Editor Version 5.00" files are
// UTF-16LE with a BOM or UTF-8; "REGEDIT4" files are UTF-8 when valid, else Windows-1252, and
// their hex(1), hex(2) and hex(7) data is text in that encoding. *encoding (when not null)
// names the encoding the file was read in. The whole file is checked first: a malformed file
// (also a key name over 255 or a value name over 16,383 characters) changes nothing, returns
// ERROR_INVALID_DATA and *error names the line ("line 7: ..."). The changes to every root are
// made together after every store involved has been found usable: all of them or none.
TLVUTL_API LONG RegImportFile(const wchar_t* fileName, std::wstring* error = nullptr,
                              std::wstring* encoding = nullptr);

} // namespace TlvUtl

// A registry key named by one textual path "ROOT\sub\key" whose root is one of the six
// predefined names, written out in full and in upper case.
class TLVUTL_API WUTLRegistry {
public:
    WUTLRegistry();
    // Opens path with access (see OpenKey), creating the key when create is nonzero; the default
    // constructor opens nothing. The outcome is the last result.
    WUTLRegistry(const wchar_t* path, DWORD access = KEY_READ, int create = 0);
    // Copies take the members as they are, handle included: the first of the two to close
    // it wins and the other's calls then fail with ERROR_INVALID_HANDLE. Handle values are
    // never reused, so a stale copy can never reach another key.
    // @{
    WUTLRegistry(const WUTLRegistry& other) = default;
    WUTLRegistry& operator=(const WUTLRegistry& other) = default;
    // @}
    virtual ~WUTLRegistry();

    // A null path returns the last result unchanged. When a key is already open the new one
    // replaces it only if it opened.
    LONG OpenKey(const wchar_t* path, int create = 0, DWORD access = KEY_READ);
    // Reopens the stored path with the stored access: ERROR_SUCCESS when the key exists,
    // ERROR_OPEN_FAILED for an unknown root name, else the open's status.
    LONG IsValid();
    // ERROR_SUCCESS when the key at path exists, ERROR_OPEN_FAILED for an unknown root name, else
    // the open's status.
    static LONG IsValid(const wchar_t* path);
    // Creates the key at path (with options, REG_OPTION_*) and closes it again; the status, or -1
    // for a null path or an unknown root.
    static LONG CreateKey(const wchar_t* path, DWORD samDesired = KEY_READ | KEY_WRITE,
                          DWORD options = 0);

    // Value readers do not check the stored type: an integer takes the first four bytes, a
    // text the stored bytes read as UTF-16LE (at most 260 characters), cut at the first NUL.
    // @{
    LONG GetValue(const wchar_t* name, int& value);
    LONG GetValue(const wchar_t* name, CString& value);
    // @}
    // REG_DWORD; REG_SZ without the terminating NUL (readers rely on that).
    // @{
    LONG SetValue(const wchar_t* name, int value);
    LONG SetValue(const wchar_t* name, const wchar_t* value);
    // @}
    // The value at index, in the order values were first set: its name and text (at most 260
    // characters), its name and integer (four bytes), or its name alone. ERROR_NO_MORE_ITEMS past
    // the last one.
    // @{
    LONG GetNextValue(CString& name, CString& value, DWORD index);
    LONG GetNextValue(CString& name, int& value, DWORD index);
    LONG GetNextValue(CString& name, DWORD index);
    // @}
    // The name of the sub-key at index, in name order; ERROR_NO_MORE_ITEMS past the last one.
    LONG GetNextSubkey(CString& name, DWORD index);
    // Double-NUL-terminated name lists; size is in characters. A buffer too small for every
    // name ends with a cut name and two NULs in its last two characters (ERROR_MORE_DATA).
    // @{
    LONG GetSubkeyList(wchar_t* buffer, int size);
    LONG GetValueNameList(wchar_t* buffer, int size);
    // @}
    // The stored path of the open key (empty when none); returns TRUE.
    BOOL GetCurrentKeyLocation(CString& path);
    // Deletes the value and closes the object, also when the deletion fails.
    LONG DeleteRegistryValue(const wchar_t* name);
    // Deletes the key with all its sub-keys.
    static LONG DeleteRegistryKey(const wchar_t* path);

    // One-call forms; rootPrefix (such as L"HKEY_LOCAL_MACHINE\\") is put in front of subKey.
    // RegReadInt and RegReadString write the default back when the value cannot be read;
    // integers are kept as REG_SZ digits.
    static int RegReadInt(const wchar_t* subKey, const wchar_t* valueName, int defaultValue,
                          const wchar_t* rootPrefix);
    // Reads the value into buffer (size characters, cut with a NUL when longer), or with a null
    // sub-key or value name the sub-key or value-name list of the key; returns the length of the
    // text left in buffer.
    static int RegReadString(const wchar_t* subKey, const wchar_t* valueName,
                             const wchar_t* defaultValue, wchar_t* buffer, int size,
                             const wchar_t* rootPrefix);
    // Writes text as REG_SZ (without its NUL), creating the key when needed; a null text deletes
    // the value and a null value name the whole key. 1 on success, 0 on failure.
    static int RegWriteString(const wchar_t* subKey, const wchar_t* valueName, const wchar_t* text,
                              const wchar_t* rootPrefix);
    // Reads at most capacity bytes of the value; the number read, or -1 when a name is null, the
    // key cannot be opened or the read fails.
    static int RegReadBinary(const wchar_t* subKey, const wchar_t* valueName, BYTE* bytes,
                             int capacity, const wchar_t* rootPrefix);
    // Writes count bytes as REG_BINARY, creating the key when needed; nonzero on success.
    static int RegWriteBinary(const wchar_t* subKey, const wchar_t* valueName, const BYTE* bytes,
                              int count, const wchar_t* rootPrefix);

protected:
    // Building blocks of the members above, open to derived classes.
    void HelperOpenKey(HKEY& handle, const wchar_t* path, DWORD access, int create);
    // Splits buffer (a path) in place: on return it holds the sub-key and root the predefined
    // key named before the first backslash. Nonzero on a known root name.
    static int HelperParseRootFromSubKey(wchar_t* buffer, HKEY& root);
    // The predefined root named by a full upper-case name: nonzero with root set, or 0 with root
    // null.
    static int HelperGetHKeyConstant(const wchar_t* name, HKEY& root);
    // The full name of a predefined root; empty for other handles.
    static CString HelperGetString(HKEY root);
    // Reads at most size bytes of a value into data; the status, or -1 without an open key.
    LONG HelperGetValue(const wchar_t* name, void* data, DWORD size);
    // Writes size bytes of data as a value of type; the status, or -1 without an open key.
    LONG HelperSetValue(const wchar_t* name, const void* data, DWORD size, DWORD type);
    // size is in and out, as for RegEnumValueW; null data and size read the name only.
    LONG HelperGetNextValue(CString& name, void* data, DWORD* size, DWORD index);
    // Closes the key, empties the path and resets the access to KEY_READ; returns 0.
    LONG HelperCloseKey();
    // The open key's handle, null when none.
    HKEY HelperGetCurrentHandle() const { return m_hKey; }

private:
    LONG HelperGetText(const wchar_t* name, CString& value);

    HKEY m_hKey = nullptr;
    LONG m_lResult = ERROR_SUCCESS;
    CString m_strPath;
    DWORD m_dwAccess = 0;
};

// Reads a REG_SZ or REG_EXPAND_SZ value (the latter with its variables expanded) into a new
// NUL-terminated text that the caller releases with free(). False, with *text untouched,
// when the key or value is missing, the value is of another type or empty, or the expanded
// text does not fit 259 characters.
TLVUTL_API bool GetRegSzValue(HKEY root, const wchar_t* subKey, const wchar_t* valueName,
                              wchar_t** text);

#endif
