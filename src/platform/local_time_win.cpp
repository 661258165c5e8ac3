#include "local_time.h"

#include <windows.h>

#include <limits>

namespace tlv::platform {

// The zone's rule for the instant itself, as FileTimeToLocalFileTime does not (it applies
// today's bias to every date).
bool FileTimeToLocalDateTime(std::uint64_t ticks, LocalDateTime& out) {
    if (ticks > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
        return false;
    FILETIME ft;
    ft.dwLowDateTime = static_cast<DWORD>(ticks);
    ft.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    SYSTEMTIME utc{}, local{};
    if (!::FileTimeToSystemTime(&ft, &utc) ||
        !::SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local))
        return false;
    out.year = local.wYear;
    out.month = local.wMonth;
    out.day = local.wDay;
    out.hour = local.wHour;
    out.minute = local.wMinute;
    out.second = local.wSecond;
    out.milliseconds = local.wMilliseconds;
    return true;
}

} // namespace tlv::platform
