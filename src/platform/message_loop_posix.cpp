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
#include "message_loop_state.h"

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

namespace {

struct PosixLoopState final : MessageLoop::State {
    int epoll = -1;
    int timer = -1;
    int wake = -1;
    std::int64_t armed = 0; // the timerfd's deadline; 0 while disarmed
    bool expired = false;   // the timerfd may be readable: setting it again clears that

    ~PosixLoopState() override {
        CloseFd(epoll);
        CloseFd(timer);
        CloseFd(wake);
    }

    // Points the timerfd at the earliest live deadline (or disarms it), when that changed
    // or when it has expired. Setting it resets its expiration count, which is how an
    // expiry is consumed without reading it: one system call per tick.
    void Arm() override {
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

    void Disarm() override {
        itimerspec off{};
        timerfd_settime(timer, 0, &off, nullptr);
        armed = 0;
        expired = false;
    }

    void NoteDue(std::int64_t now) override {
        if (armed != 0 && armed <= now) {
            armed = 0; // an expired absolute timerfd stays disarmed until it is set again
            expired = true;
        }
    }

    // The eventfd's count: written by the first Post, drained when the calls are taken.
    void RaiseWake() override {
        const std::uint64_t one = 1;
        ssize_t n;
        do {
            n = ::write(wake, &one, sizeof one);
        } while (n < 0 && errno == EINTR);
    }
    void TakeWake() override { Drain(wake); }
};

} // namespace

std::unique_ptr<MessageLoop> MessageLoop::Create(TimerHandler handler, void* context,
                                                 std::error_code& error) {
    auto state = std::make_unique<PosixLoopState>();
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

bool MessageLoop::Wait(nanoseconds timeout) {
    pollfd p{static_cast<PosixLoopState&>(*state_).epoll, POLLIN, 0};
    timespec ts{};
    const timespec* limit = nullptr;
    if (timeout != nanoseconds::max()) {
        ts = ToTimespec(std::max<std::int64_t>(timeout.count(), 0));
        limit = &ts;
    }
    const int n = ppoll(&p, 1, limit, nullptr);
    return n != 0; // an interruption counts as a wake-up: dispatching finds nothing
}

int MessageLoop::FileDescriptor() const {
    return static_cast<const PosixLoopState&>(*state_).epoll;
}

} // namespace tlv::platform
