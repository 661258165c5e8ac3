/// \defgroup hdr_filter_fixture_h filter_fixture.h
/// A header as the library writes them: its contract first.
/// 
/// Files live in \<libdir>/tlvutl; keys are named ROOT\\sub\\key; "5' 3\\"" is 63 in.
/// An element \<paper name="A4"/> or \<size>...\</size>; its "\@id" is a number.
/// 
/// ~~~
///   size := number unit <ROOT\\sub> @x
///           | number
/// ~~~
/// 
///   - a list item
///     that goes on
/** \file
 \ingroup hdr_filter_fixture_h */
/** \addtogroup hdr_filter_fixture_h
 \par C interface
 The functions marked C interface are callable from C; this header compiles as C.
 \{ */
#ifndef FIXTURE_H
#define FIXTURE_H

#include <tlvutl/export.h>

/// A record.
struct Record {
    int id;   ///< the record's id
    int size; /**< in bytes */
};

/** Multi-line, C style: the first
 * line opens it, the path is \<root>/\<app>. */
TLVUTL_C_BEGIN
/** \cinterface */ TLVUTL_API int CountRecords(void);
/// Already a documentation comment.
/** \cinterface */ TLVUTL_API int FirstRecord(void);
TLVUTL_C_END

inline const char* Home() { return "http://localhost/a"; }

#ifndef RECORD_LIMIT // the platform's headers may define it
/// The most records a file holds.
#define RECORD_LIMIT 64
#endif

#endif
/** \} */
