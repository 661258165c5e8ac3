// The message loop on Windows: a message-only window of the owning thread. Timers are kept
// in a min-heap by deadline as on POSIX, and one window timer (SetTimer) is set to the
// earliest deadline, so a tick costs the same with one timer or thousands and no process
// runs out of window timers. Other threads queue calls and post a message to wake the loop.
#include "message_loop.h"
#include "message_loop_state.h"

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

namespace {

struct WindowLoopState final : MessageLoop::State {
    HWND window = nullptr;
    std::int64_t armed = 0; // the deadline the window timer is set for; 0 while unset

    ~WindowLoopState() override {
        if (window)
            ::DestroyWindow(window);
    }

    // Sets the window timer to the earliest live deadline, or kills it. Window timers count
    // whole milliseconds and are late rather than early, so the wait rounds up.
    void Arm() override {
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

    void Disarm() override {
        ::KillTimer(window, kWakeTimer);
        armed = 0;
    }

    void NoteDue(std::int64_t now) override {
        if (armed != 0 && armed <= now)
            armed = -1; // due: the next Arm sets the window timer again
    }

    // The window's own message; the loop looks at its queue after every message.
    void RaiseWake() override { ::PostMessageW(window, kWakeMessage, 0, 0); }

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

} // namespace

std::unique_ptr<MessageLoop> MessageLoop::Create(TimerHandler handler, void* context,
                                                 std::error_code& error) {
    auto state = std::make_unique<WindowLoopState>();
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

bool MessageLoop::Wait(nanoseconds timeout) {
    auto& s = static_cast<WindowLoopState&>(*state_);
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

// Windows hosts pump the thread's messages instead: there is no descriptor to watch.
int MessageLoop::FileDescriptor() const {
    return -1;
}

} // namespace tlv::platform
