#include "timer_schedule.h"

#include <algorithm>

namespace tlv::platform {
namespace {

// Orders the heap so that the earliest deadline is on top.
template <class E> bool Later(const E& a, const E& b) {
    return a.deadline > b.deadline;
}

} // namespace

bool TimerSchedule::IsLive(const Entry& e) const {
    auto it = timers_.find(e.id);
    return it != timers_.end() && it->second.generation == e.generation;
}

void TimerSchedule::Push(const Entry& e) {
    heap_.push_back(e);
    std::push_heap(heap_.begin(), heap_.end(), Later<Entry>);
}

TimerSchedule::Entry TimerSchedule::Pop() {
    std::pop_heap(heap_.begin(), heap_.end(), Later<Entry>);
    Entry e = heap_.back();
    heap_.pop_back();
    return e;
}

void TimerSchedule::Set(std::uint32_t id, std::int64_t interval, std::int64_t now) {
    const std::uint64_t generation = nextGeneration_++;
    timers_[id] = Timer{interval, generation};
    Push(Entry{now + interval, id, generation});
    if (heap_.size() > 2 * timers_.size() + 64) {
        std::erase_if(heap_, [this](const Entry& e) { return !IsLive(e); });
        std::make_heap(heap_.begin(), heap_.end(), Later<Entry>);
    }
}

bool TimerSchedule::Kill(std::uint32_t id) {
    return timers_.erase(id) != 0;
}

void TimerSchedule::Clear() {
    timers_.clear();
    heap_.clear();
}

std::int64_t TimerSchedule::NextDeadline() {
    while (!heap_.empty() && !IsLive(heap_.front()))
        Pop();
    return heap_.empty() ? 0 : heap_.front().deadline;
}

bool TimerSchedule::TakeDue(std::int64_t now, std::uint32_t& id) {
    while (!heap_.empty() && heap_.front().deadline <= now) {
        const Entry e = Pop();
        auto it = timers_.find(e.id);
        if (it == timers_.end() || it->second.generation != e.generation)
            continue;
        std::int64_t next = e.deadline + it->second.interval;
        if (next <= now)
            next = now + it->second.interval;
        Push(Entry{next, e.id, e.generation});
        id = e.id;
        return true;
    }
    return false;
}

} // namespace tlv::platform
