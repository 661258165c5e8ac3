/* Win32 type names used by the library's interfaces.
 *
 * Sizes match 64-bit Windows: LONG and DWORD are 32-bit, whatever the width of C's long.
 * Text is wchar_t (UTF-32 on Linux); where a file or byte format fixes UTF-16LE the
 * library converts at that edge. Usable from C and C++. */
#ifndef TLVUTL_WINTYPES_H
#define TLVUTL_WINTYPES_H

#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#ifndef _WIN32
/* The integer types, with the widths of 64-bit Windows: BOOL is a 32-bit truth value (TRUE or
 * FALSE, any nonzero counts as true), BYTE, WORD, DWORD and QWORD are unsigned 8, 16, 32 and 64
 * bits, LONG and INT signed 32, ULONG and UINT unsigned 32, LONGLONG and ULONGLONG 64 bits.
 * @{ */
typedef int32_t BOOL;
typedef uint8_t BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef uint64_t QWORD;
typedef int32_t LONG;
typedef uint32_t ULONG;
typedef int32_t INT;
typedef uint32_t UINT;
typedef int64_t LONGLONG;
typedef uint64_t ULONGLONG;
/* @} */
/* The MSVC 64-bit integer type, as the library's interfaces spell it. */
typedef int64_t __int64;
/* Integers as wide as a pointer (signed and unsigned), and the size type.
 * @{ */
typedef intptr_t INT_PTR;
typedef uintptr_t UINT_PTR;
typedef intptr_t LONG_PTR;
typedef uintptr_t ULONG_PTR;
typedef size_t SIZE_T;
/* @} */
/* A wide (wchar_t) and a narrow character.
 * @{ */
typedef wchar_t WCHAR;
typedef char CHAR;
/* @} */
/* Pointers to mutable and constant NUL-terminated wide and narrow text.
 * @{ */
typedef WCHAR* LPWSTR;
typedef const WCHAR* LPCWSTR;
typedef char* LPSTR;
typedef const char* LPCSTR;
/* @} */
/* Untyped, byte, DWORD and LONG pointers.
 * @{ */
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef BYTE* LPBYTE;
typedef DWORD* LPDWORD;
typedef LONG* PLONG;
/* @} */
/* A COM-style result: 0 or more is success (S_OK, S_FALSE), negative is failure (E_...). */
typedef int32_t HRESULT;
/* A handle of a system object; opaque. */
typedef void* HANDLE;
/* A module handle is the platform's loaded-module handle (dlopen on POSIX). */
typedef void* HMODULE;
/* A module instance handle: the same as HMODULE. */
typedef void* HINSTANCE;
/* A handle of an open registry key, and a pointer to one (see registry.h).
 * @{ */
typedef struct HKEY__* HKEY;
typedef HKEY* PHKEY;
/* @} */
/* A window handle; opaque (the library makes no windows of its own here). */
typedef void* HWND;

/* The values of BOOL.
 * @{ */
#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif
/* @} */
/* The length of a fixed path buffer, in characters including the terminator. */
#ifndef MAX_PATH
#define MAX_PATH 260
#endif

/* Success, and success with a negative answer.
 * @{ */
#define S_OK ((HRESULT)0)
#define S_FALSE ((HRESULT)1)
/* @} */
/* Not implemented. */
#define E_NOTIMPL ((HRESULT)0x80004001)
/* A null pointer, or an operation on an empty object. */
#define E_POINTER ((HRESULT)0x80004003)
/* Unspecified failure. */
#define E_FAIL ((HRESULT)0x80004005)
/* Memory could not be allocated. */
#define E_OUTOFMEMORY ((HRESULT)0x8007000E)
/* An argument is not valid. */
#define E_INVALIDARG ((HRESULT)0x80070057)
/* True for a successful and for a failed HRESULT.
 * @{ */
#define SUCCEEDED(hr) (((HRESULT)(hr)) >= 0)
#define FAILED(hr) (((HRESULT)(hr)) < 0)
/* @} */

/* A 128-bit globally unique identifier, in the Windows field layout. */
typedef struct _GUID {
    /* The first 32, the next 16 and 16 bits, and the last eight bytes, as the text form
     * "{Data1-Data2-Data3-Data4[0..1]-Data4[2..7]}" shows them in hexadecimal.
     * @{ */
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
    /* @} */
} GUID;

/* A point of 32-bit coordinates; CPoint adds the members. */
typedef struct tagPOINT {
    /* The coordinates.
     * @{ */
    LONG x;
    LONG y;
    /* @} */
} POINT;

/* A size of 32-bit extents; CSize adds the members. */
typedef struct tagSIZE {
    /* The extents.
     * @{ */
    LONG cx;
    LONG cy;
    /* @} */
} SIZE;

/* A rectangle by its edges; CRect adds the members. */
typedef struct tagRECT {
    /* The edges: left and top are inside, right and bottom just outside.
     * @{ */
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
    /* @} */
} RECT;

/* Registry access rights and the structures the registry and file functions take. */
typedef DWORD REGSAM;

/* A file time: 100-nanosecond ticks since 1601-01-01 UTC, split into two 32-bit halves; and a
 * pointer to one.
 * @{ */
typedef struct _FILETIME {
    /* The low and high 32 bits of the tick count.
     * @{ */
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
    /* @} */
} FILETIME, *PFILETIME;
/* @} */

/* The security attributes argument of creation functions; on this platform only its size is looked
 * at.
 * @{ */
typedef struct _SECURITY_ATTRIBUTES {
    /* The size of the structure in bytes. */
    DWORD nLength;
    /* The security descriptor; ignored here. */
    LPVOID lpSecurityDescriptor;
    /* Whether a handle created with it is inherited by child processes. */
    BOOL bInheritHandle;
} SECURITY_ATTRIBUTES, *LPSECURITY_ATTRIBUTES;
/* @} */
#else
/* The host's windows.h, whole or lean as the host chooses: the library's interfaces take
 * the system's COM types (IStream) where they meet them. */
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif

/* The Win32 error codes the library's functions answer or leave as the last error. */
#ifndef ERROR_SUCCESS
#define ERROR_SUCCESS 0
#endif
/* The file does not exist. */
#ifndef ERROR_FILE_NOT_FOUND
#define ERROR_FILE_NOT_FOUND 2
#endif
/* A folder of the path does not exist. */
#ifndef ERROR_PATH_NOT_FOUND
#define ERROR_PATH_NOT_FOUND 3
#endif
/* Access is denied. */
#ifndef ERROR_ACCESS_DENIED
#define ERROR_ACCESS_DENIED 5
#endif
/* The handle or key is not valid. */
#ifndef ERROR_INVALID_HANDLE
#define ERROR_INVALID_HANDLE 6
#endif
/* The data is not valid (a stored value of the wrong form). */
#ifndef ERROR_INVALID_DATA
#define ERROR_INVALID_DATA 13
#endif
/* Memory ran out. */
#ifndef ERROR_OUTOFMEMORY
#define ERROR_OUTOFMEMORY 14
#endif
/* An argument is not valid. */
#ifndef ERROR_INVALID_PARAMETER
#define ERROR_INVALID_PARAMETER 87
#endif
/* The file or key could not be opened. */
#ifndef ERROR_OPEN_FAILED
#define ERROR_OPEN_FAILED 110
#endif
/* The disk is full. */
#ifndef ERROR_DISK_FULL
#define ERROR_DISK_FULL 112
#endif
/* The buffer is too small; the call reports the size it needs. */
#ifndef ERROR_INSUFFICIENT_BUFFER
#define ERROR_INSUFFICIENT_BUFFER 122
#endif
/* The path is not valid. */
#ifndef ERROR_BAD_PATHNAME
#define ERROR_BAD_PATHNAME 161
#endif
/* The resource is busy (locked by another process). */
#ifndef ERROR_BUSY
#define ERROR_BUSY 170
#endif
/* More data is available than the buffer holds. */
#ifndef ERROR_MORE_DATA
#define ERROR_MORE_DATA 234
#endif
/* No more items to enumerate. */
#ifndef ERROR_NO_MORE_ITEMS
#define ERROR_NO_MORE_ITEMS 259
#endif
/* A buffer given is not accessible. */
#ifndef ERROR_NOACCESS
#define ERROR_NOACCESS 998
#endif
/* The flags are not valid. */
#ifndef ERROR_INVALID_FLAGS
#define ERROR_INVALID_FLAGS 1004
#endif
/* The registry store is damaged. */
#ifndef ERROR_BADDB
#define ERROR_BADDB 1009
#endif
/* The registry key is damaged. */
#ifndef ERROR_BADKEY
#define ERROR_BADKEY 1010
#endif
/* The registry store could not be read or written. */
#ifndef ERROR_REGISTRY_IO_FAILED
#define ERROR_REGISTRY_IO_FAILED 1016
#endif
/* The key was deleted while open. */
#ifndef ERROR_KEY_DELETED
#define ERROR_KEY_DELETED 1018
#endif
/* A lasting key was asked for below a volatile one (the Windows build only). */
#ifndef ERROR_CHILD_MUST_BE_VOLATILE
#define ERROR_CHILD_MUST_BE_VOLATILE 1021
#endif

#endif
