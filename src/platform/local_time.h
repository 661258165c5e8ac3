// Wall-clock time in the user's current time zone.
#ifndef TLVUTL_PLATFORM_LOCAL_TIME_H
#define TLVUTL_PLATFORM_LOCAL_TIME_H

#include <cstdint>

namespace tlv::platform {

struct LocalDateTime {
    int year = 0;
    int month = 0; // 1 to 12
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int milliseconds = 0;
};

// The local time of a file time (100-ns ticks since 1601-01-01 UTC), with the time zone's rule
// for that instant (summer time applies to summer dates whatever the date today). The zone is
// read afresh on every call, so a changed TZ takes effect at once. False when the instant
// cannot be represented.
bool FileTimeToLocalDateTime(std::uint64_t ticks, LocalDateTime& out);

} // namespace tlv::platform

#endif
