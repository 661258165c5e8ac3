/* The binary form of a string table, as a resource module exports it.
 *
 * A resource module (and, optionally, the host executable, for the "main module" fallback)
 * exports the C function tlvutl_string_table() returning its table. Entries are sorted by
 * id; each text is NUL-terminated and its length excludes the terminator. */
#ifndef TLVUTL_STRING_TABLE_H
#define TLVUTL_STRING_TABLE_H

#include <stdint.h>
#include <wchar.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One string of the table. */
typedef struct TlvStringEntry {
    uint32_t id;         /* resource id */
    uint32_t length;     /* characters, without the terminator */
    const wchar_t* text; /* NUL-terminated text */
} TlvStringEntry;

/* The exported table. */
typedef struct TlvStringTable {
    uint32_t count;                /* number of entries */
    const TlvStringEntry* entries; /* the entries, sorted by id */
} TlvStringTable;

/* The name of the exported function that returns the table. */
#define TLVUTL_STRING_TABLE_SYMBOL "tlvutl_string_table"
/* The type of that function. */
typedef const TlvStringTable* (*TlvStringTableFn)(void);

#ifdef __cplusplus
}
#endif

#endif
