// A message loop for periodic timers and calls handed over from other threads: the stand-in
// for a thread's message queue with a message-only window and its window timers.
//
// Everything but Post, Quit and FileDescriptor belongs to one thread, the loop's owner;
// the loop does not check which thread calls it (the timer engine does). Timers are kept
// in user space, ordered by deadline, and the operating system is asked for one wake-up at
// the earliest deadline, so delivering a tick costs the same with one timer or thousands.
#ifndef TLVUTL_PLATFORM_MESSAGE_LOOP_H
#define TLVUTL_PLATFORM_MESSAGE_LOOP_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <system_error>

namespace tlv::platform {

class MessageLoop {
public:
    // Called on the owning thread for each tick, with the id given to SetTimer.
    using TimerHandler = void (*)(void* context, std::uint32_t id);
    using Task = std::function<void()>;

    // Null (and error set) when the loop's descriptors cannot be made.
    static std::unique_ptr<MessageLoop> Create(TimerHandler handler, void* context,
                                               std::error_code& error);
    ~MessageLoop();
    MessageLoop(const MessageLoop&) = delete;
    MessageLoop& operator=(const MessageLoop&) = delete;

    // Starts the timer, or restarts it: its first tick comes one interval from now.
    // Intervals under a millisecond count as one millisecond.
    void SetTimer(std::uint32_t id, std::chrono::nanoseconds interval);
    // False when no timer of that id runs.
    bool KillTimer(std::uint32_t id);
    std::size_t TimerCount() const;

    // Runs the handed-over calls, then the ticks that are due, earliest deadline first;
    // returns how many it ran. Never waits.
    int Dispatch();
    // Waits and dispatches until Quit or Close (Run), or until the time is up as well
    // (RunFor). Nested runs are allowed; Quit ends the innermost.
    void Run();
    void RunFor(std::chrono::nanoseconds duration);
    // Waits until there is something to dispatch or the time is up; false on timeout.
    bool Wait(std::chrono::nanoseconds timeout);

    // Stops every timer for good and makes every Run return; handed-over calls still run.
    // The descriptors are released by the destructor.
    void Close();
    bool IsClosed() const { return closed_; }

    // Any thread: queue a call for the owning thread, and wake it.
    void Post(Task task);
    // Any thread: end the owning thread's innermost Run.
    void Quit();
    // Any thread: readable while there is something to dispatch.
    int FileDescriptor() const;

    struct State;

private:
    explicit MessageLoop(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
    bool closed_ = false;
};

// Monotonic time, for measuring ticks the way the loop schedules them.
std::chrono::nanoseconds MonotonicNow();

} // namespace tlv::platform

#endif
