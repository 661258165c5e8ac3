#include <tlvutl/hooks.h>
#include <tlvutl/thread_lock.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <vector>

namespace {

class DelayInitRegistrarImpl final : public DelayInitRegistrar {
public:
    void Register(int listKind, const Callback& callback, int priority) override {
        lists_[listKind][priority].push_back(callback);
    }

    bool Unregister(int listKind, const Callback& callback) override {
        bool removed = false;
        for (auto& [priority, callbacks] : lists_[listKind]) {
            auto it = std::find(callbacks.begin(), callbacks.end(), callback);
            if (it != callbacks.end()) {
                callbacks.erase(it);
                removed = true;
            }
        }
        return removed;
    }

    bool RunStartupHooks(bool priorityZeroPass) override {
        return RunHooks(Startup, false, priorityZeroPass);
    }

    bool RunShutdownHooks(bool priorityZeroPass) override {
        return RunHooks(Shutdown, true, priorityZeroPass);
    }

    bool RunHooks(int listKind, bool descending, bool priorityZeroPass) override {
        auto found = lists_.find(listKind);
        if (found == lists_.end() || found->second.empty())
            return true;
        auto selected = [&](int priority) { return priorityZeroPass == (priority == 0); };
        // Copies, so a hook that registers or unregisters hooks cannot invalidate the walk.
        if (!descending) {
            for (const auto& [priority, callbacks] : found->second) {
                if (!selected(priority))
                    continue;
                const std::vector<Callback> run = callbacks;
                for (const Callback& c : run)
                    c();
            }
        } else {
            std::vector<std::pair<int, std::vector<Callback>>> entries(found->second.rbegin(),
                                                                       found->second.rend());
            for (const auto& [priority, callbacks] : entries) {
                if (!selected(priority))
                    continue;
                for (auto it = callbacks.rbegin(); it != callbacks.rend(); ++it)
                    (*it)();
            }
        }
        return true;
    }

private:
    // list kind -> priority -> callbacks in registration order. Entries, once made, stay.
    std::map<int, std::map<int, std::vector<Callback>>> lists_;
};

std::atomic<DelayInitRegistrar*> g_instance{nullptr};
TlvUtils::ThreadLock g_creationLock;

} // namespace

DelayInitRegistrar::~DelayInitRegistrar() = default;

DelayInitRegistrar* DelayInitRegistrar::GetInst() {
    DelayInitRegistrar* p = g_instance.load(std::memory_order_acquire);
    if (p)
        return p;
    TlvUtils::WriteLock lock(g_creationLock);
    p = g_instance.load(std::memory_order_relaxed);
    if (!p) {
        p = new DelayInitRegistrarImpl(); // never destroyed: hooks unregister during unload
        g_instance.store(p, std::memory_order_release);
    }
    return p;
}

StartupHook::StartupHook(DelayInitRegistrar::Callback callback, int priority)
    : callback_(callback), registered_(true) {
    DelayInitRegistrar::GetInst()->Register(DelayInitRegistrar::Startup, callback_, priority);
}

StartupHook& StartupHook::operator=(const StartupHook& other) {
    if (registered_)
        DelayInitRegistrar::GetInst()->Unregister(DelayInitRegistrar::Startup, callback_);
    callback_ = other.callback_;
    registered_ = false;
    return *this;
}

StartupHook::~StartupHook() {
    if (registered_)
        DelayInitRegistrar::GetInst()->Unregister(DelayInitRegistrar::Startup, callback_);
}

ShutdownHook::ShutdownHook(DelayInitRegistrar::Callback callback, int priority)
    : callback_(callback), registered_(true) {
    DelayInitRegistrar::GetInst()->Register(DelayInitRegistrar::Shutdown, callback_, priority);
}

ShutdownHook& ShutdownHook::operator=(const ShutdownHook& other) {
    if (registered_)
        DelayInitRegistrar::GetInst()->Unregister(DelayInitRegistrar::Shutdown, callback_);
    callback_ = other.callback_;
    registered_ = false;
    return *this;
}

ShutdownHook::~ShutdownHook() {
    if (registered_)
        DelayInitRegistrar::GetInst()->Unregister(DelayInitRegistrar::Shutdown, callback_);
}

InitHook::InitHook(DelayInitRegistrar::Callback start, DelayInitRegistrar::Callback stop,
                   int priority)
    : start_(start), stop_(stop), registered_(true) {
    DelayInitRegistrar* r = DelayInitRegistrar::GetInst();
    r->Register(DelayInitRegistrar::Startup, start_, priority);
    try {
        r->Register(DelayInitRegistrar::Shutdown, stop_, priority);
    } catch (...) {
        r->Unregister(DelayInitRegistrar::Startup, start_);
        throw;
    }
}

InitHook& InitHook::operator=(const InitHook& other) {
    if (registered_) {
        DelayInitRegistrar::GetInst()->Unregister(DelayInitRegistrar::Shutdown, stop_);
        DelayInitRegistrar::GetInst()->Unregister(DelayInitRegistrar::Startup, start_);
    }
    start_ = other.start_;
    stop_ = other.stop_;
    registered_ = false;
    return *this;
}

InitHook::~InitHook() {
    if (registered_) {
        DelayInitRegistrar::GetInst()->Unregister(DelayInitRegistrar::Shutdown, stop_);
        DelayInitRegistrar::GetInst()->Unregister(DelayInitRegistrar::Startup, start_);
    }
}

bool DelayInitBase::InvokeStartup(void* self) {
    return static_cast<DelayInitBase*>(self)->Startup();
}
bool DelayInitBase::InvokeShutdown(void* self) {
    return static_cast<DelayInitBase*>(self)->Shutdown();
}

DelayInitBase::DelayInitBase(int priority) {
    DelayInitRegistrar* r = DelayInitRegistrar::GetInst();
    r->Register(DelayInitRegistrar::Startup, DelayInitRegistrar::Callback(this, &InvokeStartup),
                priority);
    r->Register(DelayInitRegistrar::Shutdown, DelayInitRegistrar::Callback(this, &InvokeShutdown),
                priority);
}

DelayInitBase::~DelayInitBase() {
    DelayInitRegistrar* r = DelayInitRegistrar::GetInst();
    r->Unregister(DelayInitRegistrar::Shutdown,
                  DelayInitRegistrar::Callback(this, &InvokeShutdown));
    r->Unregister(DelayInitRegistrar::Startup, DelayInitRegistrar::Callback(this, &InvokeStartup));
}
