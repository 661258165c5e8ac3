// Timers on the user-interface thread, and the message loop that delivers their ticks.
//
// WTimer gives any object a periodic callback without owning a window. Every timer of the
// process is driven by one engine, WTimerEngine, which keeps one message loop for the whole
// process and broadcasts each tick to the listeners subscribed to that timer.
//
// Ids and keys. A WTimer takes a 32-bit id from the engine the first time it is used
// (Subscribe, UnSubscribe, Start or Stop); a WTimer that is only constructed and destroyed
// never touches the engine. The id, formatted as "%d" formats it (so ids above 0x7FFFFFFF
// read as negative numbers), is the key its listeners are registered under. The engine's
// counter only moves forward: an id comes back only after the counter wraps, and only if
// no listener is registered under it. When every id is taken, assigning one throws
// WTimerIdsExhausted; Start and Stop swallow it (and anything else) and do nothing.
//
// Copies. Copying a WTimer copies its id: the copy drives and listens to the same timer,
// and destroying either stops that timer and removes every listener under its key.
//
// The loop. The first Start creates the loop's resources and makes the calling thread
// their owner, the "UI thread"; GlobalTimerShutdownTime destroys them, and a later Start
// creates them again (the thread calling it becomes the new owner). Ticks are delivered on
// the owning thread only, and only while that thread runs the loop: either it pumps the
// loop (MessageLoop::Run, RunFor, PumpPending) or its own event loop (GLib, Qt, libuv...)
// watches MessageLoop::FileDescriptor() for input and calls MessageLoop::Dispatch() when
// it is readable. Intervals below 10 ms are raised to 10 ms; a tick that comes late does
// not pile up: a timer that missed several periods ticks once, then keeps its period.
//
// Threads. Timers belong on the owning thread, as everything a tick touches usually does.
// A Start or Stop made on another thread is not applied there: it is handed to the owning
// thread, which applies it the next time it runs the loop, in the order the calls were
// made. The id is still assigned at once, on the calling thread. The engine's id counter,
// its listener registry and the loop's hand-over queue are locked, so Subscribe,
// UnSubscribe, Start and Stop may be called from any thread; a single WTimer object,
// like any object, must not be used by two threads at once without the caller's own
// synchronisation. Listeners are called without any lock held, so a listener may start,
// stop, subscribe, unsubscribe or destroy timers, including its own, and may run a nested
// loop. The MessageLoop pumping calls belong to the owning thread; made on another thread
// they return at once and do nothing. GlobalTimerShutdownTime belongs there too; made on
// another thread it hands the closing to the owner, whose running Run then returns.
#ifndef TLVUTL_TIMERS_H
#define TLVUTL_TIMERS_H

#include <tlvutl/delegate.h>
#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <stdexcept>

namespace DataBinding {

// A registry of listener delegates by string key. A delegate is registered at most once
// under a key; registering it again changes nothing.
class TLVUTL_API IBroadcaster {
public:
    // A listener: a delegate called with no arguments.
    using Listener = TlvUtils::Delegate<void (*)(void)>;

    virtual ~IBroadcaster();

    // Registers listener under key, after those already there; nothing when it is there already.
    virtual void RegisterListener(const wchar_t* key, const Listener& listener) = 0;
    // False when the delegate was not registered under the key.
    virtual bool UnregisterListener(const wchar_t* key, const Listener& listener) = 0;
    // Number of listeners under key.
    virtual std::size_t GetListenerCount(const wchar_t* key) const = 0;
    // Unregisters every listener under key.
    virtual void RemoveAllListeners(const wchar_t* key) = 0;
    // Calls every listener under the key, in registration order. A listener unregistered
    // by an earlier one during the same update is not called.
    virtual void UpdateAll(const wchar_t* key) = 0;
};

} // namespace DataBinding

// Thrown by the id assignment when every id from 1 to 0xFFFFFFFF has listeners.
class TLVUTL_API WTimerIdsExhausted : public std::runtime_error {
public:
    WTimerIdsExhausted();
};

// The process's one timer engine: the broadcaster of ticks, the id counter and the loop.
// Made on first use and destroyed at process exit. Most code uses WTimer instead.
class TLVUTL_API WTimerEngine : public DataBinding::IBroadcaster {
public:
    // The engine, made on first use.
    static WTimerEngine& GetInstance();

    // The next free id (no listener under its key); see the header comment for the rules.
    UINT NewTimerID();
    // Starts, or restarts with the new interval, the timer with this id, creating the
    // loop first if it does not exist.
    void SetTimer(UINT id, UINT intervalMs);
    // Stops the timer with this id; nothing when the loop does not exist.
    void KillTimer(UINT id);
    // True while the loop's resources exist (between the first Start and GlobalTimerShutdownTime).
    bool HasLoop() const;
    // Destroys the loop and every running timer; no further tick is delivered.
    void DestroyLoop();

    // The IBroadcaster calls over the engine's locked registry; keys are timer ids formatted with
    // "%d".
    // @{
    void RegisterListener(const wchar_t* key, const Listener& listener) override;
    bool UnregisterListener(const wchar_t* key, const Listener& listener) override;
    std::size_t GetListenerCount(const wchar_t* key) const override;
    void RemoveAllListeners(const wchar_t* key) override;
    void UpdateAll(const wchar_t* key) override;
    // @}

    WTimerEngine(const WTimerEngine&) = delete;
    WTimerEngine& operator=(const WTimerEngine&) = delete;

    struct Impl;

private:
    friend struct WTimerEngineAccess;
    WTimerEngine();
    ~WTimerEngine() override;

    std::unique_ptr<Impl> impl_;
};

// A periodic callback without a window: subscribe listeners, then Start with an interval; each tick
// calls every listener of the timer on the loop's owning thread. See the header comment for ids,
// copies and threads.
class TLVUTL_API WTimer {
public:
    // A tick listener, called with no arguments.
    using Listener = TlvUtils::Delegate<void (*)(void)>;

    WTimer() = default;
    // Copies the id: both objects drive and listen to the same timer.
    // @{
    WTimer(const WTimer& other) : m_timerId(other.m_timerId) {}
    WTimer& operator=(const WTimer& other) {
        m_timerId = other.m_timerId;
        return *this;
    }
    // @}
    // Stops the timer and removes every listener under its key, when it has an id.
    virtual ~WTimer();

    // Registers or unregisters listener for this timer's ticks (assigns the id on first use).
    // @{
    void Subscribe(const Listener& listener);
    void UnSubscribe(const Listener& listener);
    // @}
    // Starts the timer, or restarts it with the new interval when it is running.
    void Start(UINT intervalMs);
    // Stops the timer; its listeners stay subscribed.
    void Stop();

    // Destroys the loop's resources: no tick arrives after it. Call it during shut-down,
    // on the owning thread before it ends (from another thread it is handed over).
    static void GlobalTimerShutdownTime();

private:
    UINT _TimerID();

    UINT m_timerId = 0;
};

namespace TlvUtl {

// Driving the timers' message loop from the owning thread. Every call made on another
// thread returns at once (Run, RunFor) or returns 0 / -1 and does nothing.
class TLVUTL_API MessageLoop {
public:
    MessageLoop() = delete;

    // Runs the loop until Quit is called or GlobalTimerShutdownTime destroys it. Creates
    // the loop first when none exists, making the calling thread its owner.
    static void Run();
    // Runs the loop for the duration, or less when Quit is called or the loop destroyed.
    // Creates the loop like Run.
    static void RunFor(std::chrono::milliseconds duration);
    // Delivers what is due now without waiting; the number of ticks and handed-over calls
    // delivered (0 when there is no loop).
    static int PumpPending();
    // Makes the innermost Run or RunFor of the owning thread return. Any thread.
    static void Quit();

    // For hosts that run an event loop of their own: a descriptor that becomes readable
    // when the loop has something to deliver. Creates the loop like Run. It stays valid
    // until GlobalTimerShutdownTime; a host removes its watch before calling that.
    static int FileDescriptor();
    // Delivers what is due, like PumpPending; call it when the descriptor is readable.
    static int Dispatch();

    // True on the thread that owns the loop.
    static bool IsOwnerThread();
};

} // namespace TlvUtl

#endif
