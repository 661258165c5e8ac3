// CString's loader of texts from the resource module. It lives with the string loaders,
// not with CString, so that the core types need nothing above them.
#include <tlvutl/cstring.h>
#include <tlvutl/frame.h>

bool CString::LoadString(UINT id) {
    *this = UTLLoadStringEx(id);
    return !IsEmpty();
}
