// Export control for libtlvutl.
//
// The library is built with hidden visibility: only declarations marked TLVUTL_API are
// visible to hosts. Every public header marks what it exports; nothing leaks by accident.
// TLVUTL_C_BEGIN / TLVUTL_C_END wrap the C interfaces so C callers can include them.
#ifndef TLVUTL_EXPORT_H
#define TLVUTL_EXPORT_H

#if defined(_WIN32)
#if defined(TLVUTL_STATIC) /* linked with the library's objects, not through the DLL */
#define TLVUTL_API
#elif defined(TLVUTL_BUILDING)
#define TLVUTL_API __declspec(dllexport)
#else
#define TLVUTL_API __declspec(dllimport)
#endif
#else
#define TLVUTL_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#define TLVUTL_C_BEGIN extern "C" {
#define TLVUTL_C_END }
#else
#define TLVUTL_C_BEGIN
#define TLVUTL_C_END
#endif

#endif
