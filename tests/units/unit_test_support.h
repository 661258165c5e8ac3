// Shared by the unit tests: readable CString values in failure messages, and the library
// brought up once as a host brings it up (the unit names live in the resource module).
#ifndef TLVUTL_TESTS_UNIT_TEST_SUPPORT_H
#define TLVUTL_TESTS_UNIT_TEST_SUPPORT_H

#include <tlvutl/cstring.h>

#include <ostream>

inline void PrintTo(const CString& s, std::ostream* os) {
    *os << '"' << s.ToUtf8() << '"';
}

#endif
