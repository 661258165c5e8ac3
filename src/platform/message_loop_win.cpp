// The message loop on Windows: a message-only window of the owning thread. Timers are kept
// in a min-heap by deadline as on POSIX, and one window timer (SetTimer) is set to the
// earliest deadline, so a tick costs the same with one timer or thousands and no process
// runs out of window timers. Other threads queue calls and post a message to wake the loop.
#include "message_loop.h"
#include "timer_schedule.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tlv::platform {

namespace {

using std::chrono::nanoseconds;

constexpr UINT kWakeMessage = WM_APP + 1;
constexpr UINT_PTR kWakeTimer = 1;

std::int64_t NowNs() {
    static const std::int64_t frequency = [] {
        LARGE_INTEGER f;
        ::QueryPerformanceFrequency(&f);
        return static_cast<std::int64_t>(f.QuadPart);
    }();
    LARGE_INTEGER c;
    ::QueryPerformanceCounter(&c);
    const std::int64_t ticks = c.QuadPart;
    return ticks / frequency * 1000000000 + ticks % frequency * 1000000000 / frequency;
}

LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM w, LPARAM l) {
    if (message == WM_TIMER || message == kWakeMessage)
        return 0; // the loop looks at its clock and its queue after every message
    return ::DefWindowProcW(window, message, w, l);
}

const wchar_t* WindowClass() {
    static const wchar_t* name = [] {
        WNDCLASSEXW wc{};
        wc.cbSize = sizeof wc;
        wc.lpfnWndProc = WindowProc;
        wc.hInstance = ::GetModuleHandleW(nullptr);
        wc.lpszClassName = L"TlvUtlMessageLoop";
        ::RegisterClassExW(&wc);
        return L"TlvUtlMessageLoop";
    }();
    return name;
}

} // namespace

nanoseconds MonotonicNow() {
    return nanoseconds(NowNs());
}

struct MessageLoop::State {
    TimerHandler handler = nullptr;
    void* context = nullptr;
    HWND window = nullptr;

    TimerSchedule schedule;

    std::int64_t armed = 0; // the deadline the window timer is set for; 0 while unset
    bool quit = false;

    std::mutex lock;
    std::vector<Task> tasks;
    std::atomic<bool> posted{false};

    ~State() {
        if (window)
            ::DestroyWindow(window);
    }

    // Sets the window timer to the earliest live deadline, or kills it. Window timers count
    // whole milliseconds and are late rather than early, so the wait rounds up.
    void Arm() {
        const std::int64_t want = schedule.NextDeadline();
        if (want == armed)
            return;
        armed = want;
        if (want == 0) {
            ::KillTimer(window, kWakeTimer);
            return;
        }
        const std::int64_t left = want - NowNs();
        const UINT ms =
            left <= 0
                ? USER_TIMER_MINIMUM
                : static_cast<UINT>(std::min<std::int64_t>((left + 999999) / 1000000, 0x7FFFFFFF));
        ::SetTimer(window, kWakeTimer, ms, nullptr);
    }

    // Takes every message of the thread from the queue; the window's own only wake the loop,
    // others go to their windows as a thread's message loop would send them.
    void Pump() {
        MSG msg;
        while (::PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
            if (msg.message == WM_QUIT) {
                ::PostQuitMessage(static_cast<int>(msg.wParam)); // for the host's own loop
                break;
            }
            ::TranslateMessage(&msg);
            ::DispatchMessageW(&msg);
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
    state->window = ::CreateWindowExW(0, WindowClass(), L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                      ::GetModuleHandleW(nullptr), nullptr);
    if (!state->window) {
        error.assign(static_cast<int>(::GetLastError()), std::system_category());
        return nullptr;
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
            tasks.swap(s.tasks);
            s.posted.store(false);
        }
        for (Task& task : tasks) {
            task();
            ++handled;
        }
    }
    const std::int64_t now = NowNs();
    if (s.armed != 0 && s.armed <= now)
        s.armed = -1; // due: the next Arm sets the window timer again
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
    State& s = *state_;
    s.Pump();
    const auto due = [&] {
        const std::int64_t next = s.schedule.NextDeadline();
        return s.posted.load() || (next != 0 && next <= NowNs());
    };
    if (due())
        return true;
    const std::int64_t end =
        timeout == nanoseconds::max() ? 0 : NowNs() + std::max<std::int64_t>(timeout.count(), 0);
    for (;;) {
        DWORD ms = INFINITE;
        if (end != 0) {
            const std::int64_t left = end - NowNs();
            if (left <= 0)
                return false;
            ms = static_cast<DWORD>(std::min<std::int64_t>((left + 999999) / 1000000, 0x7FFFFFFE));
        }
        // The window timer can be a few milliseconds late or early against the counter:
        // never sleep past the earliest deadline.
        if (const std::int64_t next = s.schedule.NextDeadline(); next != 0) {
            const std::int64_t left = next - NowNs();
            const DWORD toTick = left <= 0 ? 0
                                           : static_cast<DWORD>(std::min<std::int64_t>(
                                                 (left + 999999) / 1000000, 0x7FFFFFFE));
            ms = std::min(ms, toTick);
        }
        ::MsgWaitForMultipleObjectsEx(0, nullptr, ms, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
        s.Pump();
        if (due())
            return true;
    }
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
    ::KillTimer(s.window, kWakeTimer);
    s.armed = 0;
}

void MessageLoop::Post(Task task) {
    State& s = *state_;
    std::lock_guard<std::mutex> guard(s.lock);
    s.tasks.push_back(std::move(task));
    if (s.posted.load())
        return;
    s.posted.store(true);
    ::PostMessageW(s.window, kWakeMessage, 0, 0);
}

void MessageLoop::Quit() {
    State* s = state_.get();
    Post([s] { s->quit = true; });
}

// Windows hosts pump the thread's messages instead: there is no descriptor to watch.
int MessageLoop::FileDescriptor() const {
    return -1;
}

} // namespace tlv::platform
