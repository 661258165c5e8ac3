// What both message-loop backends keep: the timers, the calls handed over from other
// threads and the flag that ends the innermost run. message_loop.cpp runs these the same
// way everywhere; a backend derives from State and supplies the operating system's side,
// the one wake-up at the earliest deadline and the signal that a call is waiting.
#ifndef TLVUTL_PLATFORM_MESSAGE_LOOP_STATE_H
#define TLVUTL_PLATFORM_MESSAGE_LOOP_STATE_H

#include "message_loop.h"
#include "timer_schedule.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

namespace tlv::platform {

struct MessageLoop::State {
    TimerHandler handler = nullptr;
    void* context = nullptr;
    TimerSchedule schedule;
    bool quit = false;

    // Guards tasks, the one thing other threads touch, and the backend's wake-up signal:
    // raising and taking it under one lock means taking it never misses a raise on its way.
    std::mutex lock;
    std::vector<Task> tasks;
    // True from a Post until the loop takes the calls. Read unlocked first, so that a tick
    // with no call waiting costs neither the lock nor the backend's signal.
    std::atomic<bool> posted{false};

    virtual ~State() = default;

    // Points the system's timer at the earliest live deadline, or stops it when there is none.
    virtual void Arm() = 0;
    // Stops the system's timer for good (the loop is closing).
    virtual void Disarm() = 0;
    // At dispatch time now: the deadline the system's timer was set for may have passed.
    virtual void NoteDue(std::int64_t now) = 0;
    // Under lock: raises the signal that wakes the owning thread (the first call queued).
    virtual void RaiseWake() = 0;
    // Under lock: takes the signal back when the calls are taken, where it stays raised.
    virtual void TakeWake() {}
};

} // namespace tlv::platform

#endif
