// The deadlines of a message loop's timers, shared by every backend of the loop.
//
// A min-heap of deadlines keyed by timer id. Restarted and stopped timers leave stale heap
// entries behind, recognised by a generation number and dropped when they reach the top; the
// heap is rebuilt when they outnumber the live ones. A tick is rescheduled before it is
// handed out, drift-free while on time; a timer that fell behind ticks once and starts over.
#ifndef TLVUTL_PLATFORM_TIMER_SCHEDULE_H
#define TLVUTL_PLATFORM_TIMER_SCHEDULE_H

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace tlv::platform {

class TimerSchedule {
public:
    // Starts the timer, or restarts it with a new interval; the first tick is due at
    // now + interval (nanoseconds on one monotonic clock).
    void Set(std::uint32_t id, std::int64_t interval, std::int64_t now);
    // false when the timer was not running.
    bool Kill(std::uint32_t id);
    std::size_t Count() const { return timers_.size(); }
    void Clear();
    // The earliest live deadline; 0 when no timer runs.
    std::int64_t NextDeadline();
    // The next timer due at now, rescheduled; false when none is due.
    bool TakeDue(std::int64_t now, std::uint32_t& id);

private:
    struct Timer {
        std::int64_t interval;
        std::uint64_t generation;
    };
    struct Entry {
        std::int64_t deadline;
        std::uint32_t id;
        std::uint64_t generation;
    };
    bool IsLive(const Entry& e) const;
    void Push(const Entry& e);
    Entry Pop();

    std::unordered_map<std::uint32_t, Timer> timers_;
    std::vector<Entry> heap_;
    std::uint64_t nextGeneration_ = 1;
};

} // namespace tlv::platform

#endif
