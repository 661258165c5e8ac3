// Ordered start-up and shut-down hooks.
//
// Static hook objects register a callback with the process-wide registrar from their
// constructor and unregister it from their destructor. Once its modules are loaded the host
// calls RunStartupHooks (ascending priority, registration order within a priority); before
// it unloads them, RunShutdownHooks (descending priority, reverse registration order), so
// what starts last stops first. Priority 0 is set apart: those hooks run only in the pass
// with priorityZeroPass true, all others only in the pass with it false. A hook's result is
// ignored; an exception from a hook stops the run and propagates.
//
// Only the registrar's creation is locked: registering and running belong to module load
// and unload and the host's start-up and shut-down, on one thread.
#ifndef TLVUTL_HOOKS_H
#define TLVUTL_HOOKS_H

#include <tlvutl/delegate.h>
#include <tlvutl/export.h>

class TLVUTL_API DelayInitRegistrar {
public:
    enum EPriority : int {
        PriorityZeroPass = 0, // set apart: runs only in the priority-0 pass
        PriorityEarly = 1,
        PriorityDefault = 2,
        PriorityLate = 3,
    };
    enum EListKind : int { Startup = 0, Shutdown = 1 };
    using Callback = TlvUtils::Delegate<bool (*)()>;

    static DelayInitRegistrar* GetInst();

    virtual void Register(int listKind, const Callback& callback, int priority) = 0;
    virtual bool Unregister(int listKind, const Callback& callback) = 0;
    virtual bool RunStartupHooks(bool priorityZeroPass) = 0;
    virtual bool RunShutdownHooks(bool priorityZeroPass) = 0;
    virtual bool RunHooks(int listKind, bool descending, bool priorityZeroPass) = 0;

protected:
    virtual ~DelayInitRegistrar();
};

// A callback in the start-up list for the lifetime of the object. Copies hold the same
// delegate but do not register it.
class TLVUTL_API StartupHook {
public:
    explicit StartupHook(DelayInitRegistrar::Callback callback,
                         int priority = DelayInitRegistrar::PriorityDefault);
    explicit StartupHook(bool (*function)(), int priority = DelayInitRegistrar::PriorityDefault)
        : StartupHook(DelayInitRegistrar::Callback::FromFunction(function), priority) {}
    StartupHook(const StartupHook& other) : callback_(other.callback_), registered_(false) {}
    StartupHook& operator=(const StartupHook& other);
    ~StartupHook();

private:
    DelayInitRegistrar::Callback callback_;
    bool registered_;
};

class TLVUTL_API ShutdownHook {
public:
    explicit ShutdownHook(DelayInitRegistrar::Callback callback,
                          int priority = DelayInitRegistrar::PriorityDefault);
    explicit ShutdownHook(bool (*function)(), int priority = DelayInitRegistrar::PriorityDefault)
        : ShutdownHook(DelayInitRegistrar::Callback::FromFunction(function), priority) {}
    ShutdownHook(const ShutdownHook& other) : callback_(other.callback_), registered_(false) {}
    ShutdownHook& operator=(const ShutdownHook& other);
    ~ShutdownHook();

private:
    DelayInitRegistrar::Callback callback_;
    bool registered_;
};

// A start-up and a shut-down callback registered together; if the second registration
// fails the first is undone.
class TLVUTL_API InitHook {
public:
    InitHook(DelayInitRegistrar::Callback start, DelayInitRegistrar::Callback stop,
             int priority = DelayInitRegistrar::PriorityDefault);
    InitHook(bool (*start)(), bool (*stop)(), int priority = DelayInitRegistrar::PriorityDefault)
        : InitHook(DelayInitRegistrar::Callback::FromFunction(start),
                   DelayInitRegistrar::Callback::FromFunction(stop), priority) {}
    InitHook(const InitHook& other)
        : start_(other.start_), stop_(other.stop_), registered_(false) {}
    InitHook& operator=(const InitHook& other);
    ~InitHook();

private:
    DelayInitRegistrar::Callback start_;
    DelayInitRegistrar::Callback stop_;
    bool registered_;
};

// Base for objects that take part in both phases: Startup() runs with the start-up hooks
// and Shutdown() with the shut-down hooks, at the priority given to the constructor.
class TLVUTL_API DelayInitBase {
public:
    explicit DelayInitBase(int priority = DelayInitRegistrar::PriorityDefault);
    virtual ~DelayInitBase();
    DelayInitBase(const DelayInitBase&) = delete;
    DelayInitBase& operator=(const DelayInitBase&) = delete;

    virtual bool Startup() = 0;
    virtual bool Shutdown() = 0;

private:
    static bool InvokeStartup(void* self);
    static bool InvokeShutdown(void* self);
};

#endif
