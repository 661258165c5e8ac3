// Ini files with the semantics of the Win32 private-profile functions.
//
// Sections and keys compare case-insensitively; blanks around keys and values are trimmed;
// one pair of surrounding quotes is removed from a value on reading. Lines end at LF, CR LF
// or a CR alone. Lists (section names, key names, a section's lines) are NUL-separated and
// end with a second NUL (an empty list is one NUL); when the buffer is too small the last
// string is cut, two NULs end the buffer and the result is size - 2.
// A value that does not fit is cut and the result is size - 1.
//
// Files that start with the UTF-16LE byte-order mark are read and written as UTF-16LE,
// others as 8-bit (UTF-8); a write never changes a file's encoding and keeps comments,
// unknown lines and bytes it does not understand. Every write replaces the file atomically
// under an inter-process lock, so concurrent writers of different keys lose nothing and a
// crash leaves the old or the new file. Reads come from a cache that every read checks
// against the file's device, inode, size and modification and change times, so any change,
// by this process or another, is seen at once. Safe to call from any thread.
//
// The last error (GetLastError, <tlvutl/locale.h>) is set as Windows sets it:
// ERROR_FILE_NOT_FOUND when a read finds no file or a write has no section,
// ERROR_PATH_NOT_FOUND when a write's folder is missing, ERROR_INVALID_PARAMETER for a section
// read without a section, ERROR_SUCCESS after a section read of an existing file.
#ifndef TLVUTL_PROFILE_H
#define TLVUTL_PROFILE_H

#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

namespace TlvUtl::Win32 {

#ifdef _WIN32
// The Windows build's are the system's own.
using ::GetPrivateProfileIntW;
using ::GetPrivateProfileSectionNamesW;
using ::GetPrivateProfileSectionW;
using ::GetPrivateProfileStringW;
using ::WritePrivateProfileSectionW;
using ::WritePrivateProfileStringW;
#else
// app null: section names; key null: the section's key names; otherwise the key's value or
// the default (trailing blanks removed; null is empty). Returns characters written without
// the final NUL.
TLVUTL_API DWORD GetPrivateProfileStringW(LPCWSTR app, LPCWSTR key, LPCWSTR defaultValue,
                                          LPWSTR out, DWORD size, LPCWSTR file);
// The key's value as an integer: leading blanks, optional sign, "0x" for hexadecimal, digits up to
// the first other character ("12abc" is 12, text is 0); the default when the key is missing or
// empty.
TLVUTL_API UINT GetPrivateProfileIntW(LPCWSTR app, LPCWSTR key, INT defaultValue, LPCWSTR file);
// The section's "key=value" lines.
TLVUTL_API DWORD GetPrivateProfileSectionW(LPCWSTR app, LPWSTR out, DWORD size, LPCWSTR file);
// The file's section names as a NUL-separated, double-NUL-ended list; returns characters written
// without the final NUL.
TLVUTL_API DWORD GetPrivateProfileSectionNamesW(LPWSTR out, DWORD size, LPCWSTR file);
// value null deletes the key, key null deletes the section; creates the file when missing.
// All three null flushes: every write is already on disk, so it only makes the next read of
// file (of every file when file is null) go to the disk.
TLVUTL_API BOOL WritePrivateProfileStringW(LPCWSTR app, LPCWSTR key, LPCWSTR value, LPCWSTR file);
// Replaces the section's lines by the NUL-separated, double-NUL-ended list (null deletes
// the section).
TLVUTL_API BOOL WritePrivateProfileSectionW(LPCWSTR app, LPCWSTR lines, LPCWSTR file);
#endif

} // namespace TlvUtl::Win32

#endif
