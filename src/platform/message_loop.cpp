// The message loop's work that is the same on every system: timers by deadline, the calls
// handed over from other threads, nested runs. How the thread sleeps and is woken is the
// backend's (message_loop_posix.cpp, message_loop_win.cpp).
#include "message_loop.h"
#include "message_loop_state.h"

#include <algorithm>
#include <utility>

namespace tlv::platform {

using std::chrono::nanoseconds;

namespace {

std::int64_t NowNs() {
    return MonotonicNow().count();
}

} // namespace

MessageLoop::MessageLoop(std::unique_ptr<State> state) : state_(std::move(state)) {}
MessageLoop::~MessageLoop() = default;

void MessageLoop::SetTimer(std::uint32_t id, nanoseconds interval) {
    if (closed_)
        return;
    const std::int64_t ns = std::max<std::int64_t>(interval.count(), 1000000);
    state_->schedule.Set(id, ns, NowNs());
    state_->Arm();
}

bool MessageLoop::KillTimer(std::uint32_t id) {
    // The schedule's entry goes stale; re-arming drops it when it was the earliest, so the
    // system does not wake the thread for nothing.
    if (!state_->schedule.Kill(id))
        return false;
    if (!closed_)
        state_->Arm();
    return true;
}

std::size_t MessageLoop::TimerCount() const {
    return state_->schedule.Count();
}

int MessageLoop::Dispatch() {
    State& s = *state_;
    int handled = 0;
    if (s.posted.load()) {
        std::vector<Task> tasks;
        {
            std::lock_guard<std::mutex> guard(s.lock);
            s.TakeWake();
            tasks.swap(s.tasks);
            s.posted.store(false);
        }
        for (Task& task : tasks) {
            task();
            ++handled;
        }
    }

    const std::int64_t now = NowNs();
    s.NoteDue(now);
    // Each tick is rescheduled before its handler runs, so a handler may stop, restart or
    // add timers, or dispatch again from a nested loop. A rescheduled deadline lies in the
    // future, so this ends.
    std::uint32_t id = 0;
    while (!closed_ && s.schedule.TakeDue(now, id)) {
        s.handler(s.context, id);
        ++handled;
    }
    if (!closed_)
        s.Arm();
    return handled;
}

void MessageLoop::Run() {
    State& s = *state_;
    const bool outer = s.quit;
    s.quit = false;
    while (!s.quit && !closed_) {
        Wait(nanoseconds::max());
        Dispatch();
    }
    s.quit = outer;
}

void MessageLoop::RunFor(nanoseconds duration) {
    State& s = *state_;
    const std::int64_t end = NowNs() + duration.count();
    const bool outer = s.quit;
    s.quit = false;
    for (;;) {
        Dispatch();
        const std::int64_t left = end - NowNs();
        if (s.quit || closed_ || left <= 0)
            break;
        Wait(nanoseconds(left));
    }
    s.quit = outer;
}

void MessageLoop::Close() {
    closed_ = true;
    state_->schedule.Clear();
    state_->Disarm();
}

void MessageLoop::Post(Task task) {
    State& s = *state_;
    std::lock_guard<std::mutex> guard(s.lock);
    s.tasks.push_back(std::move(task));
    if (s.posted.load())
        return; // the loop has been woken and has not taken the calls yet
    s.posted.store(true);
    s.RaiseWake();
}

void MessageLoop::Quit() {
    State* s = state_.get();
    Post([s] { s->quit = true; });
}

} // namespace tlv::platform
