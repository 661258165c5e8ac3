// Lets test failures show CString values as text.
#ifndef TLVUTL_TESTS_CSTRING_PRINTER_H
#define TLVUTL_TESTS_CSTRING_PRINTER_H

#include <tlvutl/cstring.h>

#include <ostream>

inline void PrintTo(const CString& s, std::ostream* os) {
    *os << '"' << s.ToUtf8() << '"';
}

#endif
