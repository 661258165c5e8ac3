// A header as the library writes them: its contract first.
//
// Files live in <libdir>/tlvutl; keys are named ROOT\sub\key; "5' 3\"" is 63 in.
// An element <paper name="A4"/> or <size>...</size>; its "@id" is a number.
//
//   size := number unit <ROOT\\sub> @x
//           | number
//
//   - a list item
//     that goes on
#ifndef FIXTURE_H
#define FIXTURE_H

#include <tlvutl/export.h>

// A record.
struct Record {
    int id;   // the record's id
    int size; /* in bytes */
};

/* Multi-line, C style: the first
 * line opens it, the path is <root>/<app>. */
TLVUTL_C_BEGIN
TLVUTL_API int CountRecords(void);
/// Already a documentation comment.
TLVUTL_API int FirstRecord(void);
TLVUTL_C_END

inline const char* Home() { return "http://localhost/a"; }

#ifndef RECORD_LIMIT // the platform's headers may define it
// The most records a file holds.
#define RECORD_LIMIT 64
#endif

#endif
