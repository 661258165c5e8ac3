// The timer engine: ids, the broadcaster of ticks, and the process's one message loop with
// the thread that owns it.
//
// One mutex guards the id counter, the listener registry, the loop pointer and the owner.
// It is never held while a listener runs or while the loop dispatches, so listeners may
// call back into the engine freely. The loop's own state (its timers) is touched on the
// owning thread only: calls from other threads are posted to it.
#include "timer_engine.h"
#include "listener_registry.h"
#include "platform/message_loop.h"

#include <tlvutl/timers.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

namespace {

// Windows' own bounds for window timers.
constexpr UINT kMinimumIntervalMs = 10;
constexpr UINT kMaximumIntervalMs = 0x7FFFFFFF;

std::atomic<bool> g_engineGone{false};

} // namespace

struct WTimerEngine::Impl {
    mutable std::mutex lock;
    tlv::runtime::ListenerRegistry listeners;
    std::uint32_t counter = 1;
    std::shared_ptr<tlv::platform::MessageLoop> loop;
    std::thread::id owner;
    std::size_t (*countForTesting)(const std::wstring&) = nullptr;

    bool OwnedHere() const { return loop && owner == std::this_thread::get_id(); }
};

namespace {

void OnTick(void* context, std::uint32_t id) {
    static_cast<WTimerEngine*>(context)->UpdateAll(tlv::runtime::TimerKey(id).c_str());
}

// Under the engine's lock: makes the loop when there is none; the caller becomes its owner.
// (A free function: a member of the exported class's Impl would be exported with it.)
void EnsureLoop(WTimerEngine::Impl& impl, WTimerEngine* engine) {
    if (impl.loop)
        return;
    std::error_code error;
    std::unique_ptr<tlv::platform::MessageLoop> made =
        tlv::platform::MessageLoop::Create(&OnTick, engine, error);
    if (!made)
        return; // as when the window cannot be made: timers simply do not tick
    impl.loop = std::move(made);
    impl.owner = std::this_thread::get_id();
}

} // namespace

// The engine's private state for the loop-driving functions and the test hooks.
struct WTimerEngineAccess {
    static WTimerEngine::Impl& Impl() { return *WTimerEngine::GetInstance().impl_; }
    static std::shared_ptr<tlv::platform::MessageLoop> LoopHere(bool create) {
        WTimerEngine& engine = WTimerEngine::GetInstance();
        WTimerEngine::Impl& impl = *engine.impl_;
        std::lock_guard<std::mutex> guard(impl.lock);
        if (create)
            EnsureLoop(impl, &engine);
        return impl.OwnedHere() ? impl.loop : nullptr;
    }
};

namespace DataBinding {
IBroadcaster::~IBroadcaster() = default;
} // namespace DataBinding

WTimerIdsExhausted::WTimerIdsExhausted() : std::runtime_error("every timer id is in use") {}

WTimerEngine& WTimerEngine::GetInstance() {
    static WTimerEngine engine;
    return engine;
}

WTimerEngine::WTimerEngine() : impl_(std::make_unique<Impl>()) {}

WTimerEngine::~WTimerEngine() {
    DestroyLoop();
    g_engineGone.store(true);
}

UINT WTimerEngine::NewTimerID() {
    std::lock_guard<std::mutex> guard(impl_->lock);
    if (impl_->countForTesting)
        return tlv::runtime::SearchTimerId(impl_->counter, impl_->countForTesting);
    return tlv::runtime::SearchTimerId(
        impl_->counter, [this](const std::wstring& key) { return impl_->listeners.Count(key); });
}

void WTimerEngine::SetTimer(UINT id, UINT intervalMs) {
    const UINT ms = std::clamp(intervalMs, kMinimumIntervalMs, kMaximumIntervalMs);
    std::shared_ptr<tlv::platform::MessageLoop> loop;
    {
        std::lock_guard<std::mutex> guard(impl_->lock);
        EnsureLoop(*impl_, this);
        if (!impl_->loop)
            return;
        if (!impl_->OwnedHere()) {
            // The posted call lives in the loop's queue, so it never outlives the loop.
            tlv::platform::MessageLoop* target = impl_->loop.get();
            target->Post([target, id, ms] { target->SetTimer(id, std::chrono::milliseconds(ms)); });
            return;
        }
        loop = impl_->loop;
    }
    loop->SetTimer(id, std::chrono::milliseconds(ms));
}

void WTimerEngine::KillTimer(UINT id) {
    std::shared_ptr<tlv::platform::MessageLoop> loop;
    {
        std::lock_guard<std::mutex> guard(impl_->lock);
        if (!impl_->loop)
            return;
        if (!impl_->OwnedHere()) {
            tlv::platform::MessageLoop* target = impl_->loop.get();
            target->Post([target, id] { target->KillTimer(id); });
            return;
        }
        loop = impl_->loop;
    }
    loop->KillTimer(id);
}

bool WTimerEngine::HasLoop() const {
    std::lock_guard<std::mutex> guard(impl_->lock);
    return impl_->loop != nullptr;
}

void WTimerEngine::DestroyLoop() {
    std::shared_ptr<tlv::platform::MessageLoop> loop;
    bool ownedHere;
    {
        std::lock_guard<std::mutex> guard(impl_->lock);
        ownedHere = impl_->OwnedHere();
        loop.swap(impl_->loop);
        impl_->owner = std::thread::id();
    }
    if (!loop)
        return;
    // A loop still running (this is called from a tick, or the owner is inside Run) is kept
    // alive by that frame's reference and ends it; otherwise it goes with this reference.
    if (ownedHere) {
        loop->Close();
    } else {
        tlv::platform::MessageLoop* target = loop.get();
        target->Post([target] { target->Close(); });
    }
}

void WTimerEngine::RegisterListener(const wchar_t* key, const Listener& listener) {
    std::lock_guard<std::mutex> guard(impl_->lock);
    impl_->listeners.Register(key, listener);
}

bool WTimerEngine::UnregisterListener(const wchar_t* key, const Listener& listener) {
    std::lock_guard<std::mutex> guard(impl_->lock);
    return impl_->listeners.Unregister(key, listener);
}

std::size_t WTimerEngine::GetListenerCount(const wchar_t* key) const {
    std::lock_guard<std::mutex> guard(impl_->lock);
    return impl_->listeners.Count(key);
}

void WTimerEngine::RemoveAllListeners(const wchar_t* key) {
    std::lock_guard<std::mutex> guard(impl_->lock);
    impl_->listeners.RemoveAll(key);
}

void WTimerEngine::UpdateAll(const wchar_t* key) {
    const std::wstring k(key);
    std::vector<Listener> listeners;
    {
        std::lock_guard<std::mutex> guard(impl_->lock);
        listeners = impl_->listeners.Snapshot(k);
    }
    for (const Listener& listener : listeners) {
        {
            // An earlier listener may have unsubscribed this one or destroyed its timer.
            std::lock_guard<std::mutex> guard(impl_->lock);
            if (!impl_->listeners.Contains(k, listener))
                continue;
        }
        listener();
    }
}

namespace tlv::runtime {

std::wstring TimerKey(std::uint32_t id) {
    // What swprintf(L"%d") writes for the id read as a signed number, without the cost of
    // the formatter on every tick.
    const auto value = static_cast<std::int32_t>(id);
    std::uint32_t magnitude = value < 0 ? 0u - id : id;
    wchar_t text[12];
    wchar_t* p = text + 12;
    do {
        *--p = static_cast<wchar_t>(L'0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (value < 0)
        *--p = L'-';
    return std::wstring(p, text + 12);
}

std::uint32_t SearchTimerId(std::uint32_t& counter,
                            const std::function<std::size_t(const std::wstring&)>& count,
                            std::uint32_t last) {
    bool wrapped = false;
    while (count(TimerKey(counter)) >= 1) {
        if (counter == last) {
            if (wrapped)
                throw WTimerIdsExhausted();
            counter = 1;
            wrapped = true;
        }
        ++counter;
    }
    const std::uint32_t id = counter;
    ++counter;
    if (counter == last || counter == 0)
        counter = 1;
    return id;
}

bool TimerEngineAlive() {
    return !g_engineGone.load();
}

void SetTimerIdCounterForTesting(std::uint32_t next) {
    WTimerEngine::Impl& impl = WTimerEngineAccess::Impl();
    std::lock_guard<std::mutex> guard(impl.lock);
    impl.counter = next;
}

std::uint32_t GetTimerIdCounterForTesting() {
    WTimerEngine::Impl& impl = WTimerEngineAccess::Impl();
    std::lock_guard<std::mutex> guard(impl.lock);
    return impl.counter;
}

void SetTimerKeyCountForTesting(std::size_t (*count)(const std::wstring& key)) {
    WTimerEngine::Impl& impl = WTimerEngineAccess::Impl();
    std::lock_guard<std::mutex> guard(impl.lock);
    impl.countForTesting = count;
}

} // namespace tlv::runtime

namespace TlvUtl {

void MessageLoop::Run() {
    if (auto loop = WTimerEngineAccess::LoopHere(true))
        loop->Run();
}

void MessageLoop::RunFor(std::chrono::milliseconds duration) {
    if (auto loop = WTimerEngineAccess::LoopHere(true))
        loop->RunFor(duration);
}

int MessageLoop::PumpPending() {
    auto loop = WTimerEngineAccess::LoopHere(false);
    return loop ? loop->Dispatch() : 0;
}

void MessageLoop::Quit() {
    WTimerEngine::Impl& impl = WTimerEngineAccess::Impl();
    std::lock_guard<std::mutex> guard(impl.lock);
    if (impl.loop)
        impl.loop->Quit();
}

int MessageLoop::FileDescriptor() {
    auto loop = WTimerEngineAccess::LoopHere(true);
    return loop ? loop->FileDescriptor() : -1;
}

int MessageLoop::Dispatch() {
    return PumpPending();
}

bool MessageLoop::IsOwnerThread() {
    return WTimerEngineAccess::LoopHere(false) != nullptr;
}

} // namespace TlvUtl
