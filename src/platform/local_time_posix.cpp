#include "local_time.h"

#include <ctime>
#include <limits>

namespace tlv::platform {

namespace {
constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;
} // namespace

bool FileTimeToLocalDateTime(std::uint64_t ticks, LocalDateTime& out) {
    // Windows refuses file times with the top bit set; so do we, which also keeps the
    // arithmetic below in range.
    if (ticks > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
        return false;
    const auto signedTicks = static_cast<std::int64_t>(ticks);
    const std::time_t seconds =
        static_cast<std::time_t>(signedTicks / kTicksPerSecond - kSecondsFrom1601To1970);
    const int millis = static_cast<int>(signedTicks % kTicksPerSecond / 10'000);
    // localtime_r need not look at TZ again; tzset makes a changed zone count.
    ::tzset();
    std::tm tm{};
    if (!::localtime_r(&seconds, &tm))
        return false;
    out.year = tm.tm_year + 1900;
    out.month = tm.tm_mon + 1;
    out.day = tm.tm_mday;
    out.hour = tm.tm_hour;
    out.minute = tm.tm_min;
    out.second = tm.tm_sec;
    out.milliseconds = millis;
    return true;
}

} // namespace tlv::platform
