// The thread's last error of the library's Win32-style calls (GetLastError's value).
#ifndef TLVUTL_PLATFORM_LAST_ERROR_H
#define TLVUTL_PLATFORM_LAST_ERROR_H

#include <tlvutl/wintypes.h>

namespace TlvUtl::Win32 {
void SetLastError(DWORD error);
}

#endif
