// The message loop on Linux: one timerfd armed to the earliest deadline of a min-heap of
// timers, an eventfd that other threads write to after queueing a call, and an epoll set
// holding both so that hosts watch a single descriptor.
//
// Why one timerfd and a heap rather than one timerfd per timer: a tick then costs a heap
// pop and push (logarithmic, a few hundred nanoseconds at ten thousand timers) and the same
// three system calls whatever the number of timers, a host's loop sees one descriptor, and
// ten thousand timers do not need ten thousand descriptors (the usual limit is 1,024).
// The deadlines themselves are a TimerSchedule, shared with the Windows loop.
#include "message_loop.h"
#include "timer_schedule.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

namespace tlv::platform {

namespace {

using std::chrono::nanoseconds;

std::int64_t NowNs() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<std::int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

timespec ToTimespec(std::int64_t ns) {
    timespec ts{};
    ts.tv_sec = static_cast<time_t>(ns / 1000000000);
    ts.tv_nsec = static_cast<long>(ns % 1000000000);
    return ts;
}

void CloseFd(int& fd) {
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

// Reads and discards an eventfd's counter.
void Drain(int fd) {
    std::uint64_t count = 0;
    ssize_t n;
    do {
        n = ::read(fd, &count, sizeof count);
    } while (n < 0 && errno == EINTR);
}

} // namespace

nanoseconds MonotonicNow() {
    return nanoseconds(NowNs());
}

struct MessageLoop::State {
    TimerHandler handler = nullptr;
    void* context = nullptr;
    int epoll = -1;
    int timer = -1;
    int wake = -1;

    TimerSchedule schedule;
    std::int64_t armed = 0; // the timerfd's deadline; 0 while disarmed
    bool expired = false;   // the timerfd may be readable: setting it again clears that
    bool quit = false;

    // Guards tasks, the one thing other threads touch, and the eventfd's count: writing
    // and draining under one lock means a drain never misses a write still on its way.
    std::mutex lock;
    std::vector<Task> tasks;
    // True from a Post until the loop takes the calls. Read unlocked first, so that a tick
    // with no call waiting costs neither the lock nor a read of the eventfd.
    std::atomic<bool> posted{false};

    ~State() {
        CloseFd(epoll);
        CloseFd(timer);
        CloseFd(wake);
    }

    // Points the timerfd at the earliest live deadline (or disarms it), when that changed
    // or when it has expired. Setting it resets its expiration count, which is how an
    // expiry is consumed without reading it: one system call per tick.
    void Arm() {
        const std::int64_t want = schedule.NextDeadline();
        if (want == armed && !expired)
            return;
        itimerspec spec{};
        if (want != 0)
            spec.it_value = ToTimespec(want);
        if (timerfd_settime(timer, TFD_TIMER_ABSTIME, &spec, nullptr) == 0) {
            armed = want;
            expired = false;
        }
    }
};

MessageLoop::MessageLoop(std::unique_ptr<State> state) : state_(std::move(state)) {}
MessageLoop::~MessageLoop() = default;

std::unique_ptr<MessageLoop> MessageLoop::Create(TimerHandler handler, void* context,
                                                 std::error_code& error) {
    auto state = std::make_unique<State>();
    state->handler = handler;
    state->context = context;
    state->epoll = epoll_create1(EPOLL_CLOEXEC);
    state->timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    state->wake = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (state->epoll < 0 || state->timer < 0 || state->wake < 0) {
        error.assign(errno, std::generic_category());
        return nullptr;
    }
    for (int fd : {state->timer, state->wake}) {
        epoll_event ev{};
        ev.events = EPOLLIN;
        ev.data.fd = fd;
        if (epoll_ctl(state->epoll, EPOLL_CTL_ADD, fd, &ev) != 0) {
            error.assign(errno, std::generic_category());
            return nullptr;
        }
    }
    error.clear();
    return std::unique_ptr<MessageLoop>(new MessageLoop(std::move(state)));
}

void MessageLoop::SetTimer(std::uint32_t id, nanoseconds interval) {
    if (closed_)
        return;
    State& s = *state_;
    const std::int64_t ns = std::max<std::int64_t>(interval.count(), 1000000);
    s.schedule.Set(id, ns, NowNs());
    s.Arm();
}

bool MessageLoop::KillTimer(std::uint32_t id) {
    // The heap entry goes stale; re-arming drops it when it was the earliest, so the
    // descriptor does not wake a host's loop for nothing.
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
            Drain(s.wake);
            tasks.swap(s.tasks);
            s.posted.store(false);
        }
        for (Task& task : tasks) {
            task();
            ++handled;
        }
    }

    const std::int64_t now = NowNs();
    if (s.armed != 0 && s.armed <= now) {
        s.armed = 0; // an expired absolute timerfd stays disarmed until it is set again
        s.expired = true;
    }
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

bool MessageLoop::Wait(nanoseconds timeout) {
    pollfd p{state_->epoll, POLLIN, 0};
    timespec ts{};
    const timespec* limit = nullptr;
    if (timeout != nanoseconds::max()) {
        ts = ToTimespec(std::max<std::int64_t>(timeout.count(), 0));
        limit = &ts;
    }
    const int n = ppoll(&p, 1, limit, nullptr);
    return n != 0; // an interruption counts as a wake-up: dispatching finds nothing
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
    State& s = *state_;
    closed_ = true;
    s.schedule.Clear();
    itimerspec off{};
    timerfd_settime(s.timer, 0, &off, nullptr);
    s.armed = 0;
    s.expired = false;
}

void MessageLoop::Post(Task task) {
    State& s = *state_;
    std::lock_guard<std::mutex> guard(s.lock);
    s.tasks.push_back(std::move(task));
    if (s.posted.load())
        return; // the loop has been woken and has not taken the calls yet
    s.posted.store(true);
    const std::uint64_t one = 1;
    ssize_t n;
    do {
        n = ::write(s.wake, &one, sizeof one);
    } while (n < 0 && errno == EINTR);
}

void MessageLoop::Quit() {
    State* s = state_.get();
    Post([s] { s->quit = true; });
}

int MessageLoop::FileDescriptor() const {
    return state_->epoll;
}

} // namespace tlv::platform
