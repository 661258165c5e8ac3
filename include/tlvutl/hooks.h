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

// The process-wide registrar of start-up and shut-down callbacks. Hosts run the lists; modules
// register through the hook classes below rather than directly.
class TLVUTL_API DelayInitRegistrar {
public:
    // Priorities: lower ones start first and stop last. Any int is accepted; these are the usual
    // ones.
    enum EPriority : int {
        PriorityZeroPass = 0, // set apart: runs only in the priority-0 pass
        PriorityEarly = 1,
        PriorityDefault = 2,
        PriorityLate = 3,
    };
    // The two lists.
    enum EListKind : int { Startup = 0, Shutdown = 1 };
    // A registered callback; its result is ignored.
    using Callback = TlvUtils::Delegate<bool (*)()>;

    // The registrar, created on first use (under a lock).
    static DelayInitRegistrar* GetInst();

    // Adds callback to the list at priority, after those already there; the same callback may be
    // added more than once.
    virtual void Register(int listKind, const Callback& callback, int priority) = 0;
    // Removes the first registration of callback at each priority of the list; false when there was
    // none.
    virtual bool Unregister(int listKind, const Callback& callback) = 0;
    // Runs the start-up list, ascending priority, registration order; the priority-0 hooks only
    // when priorityZeroPass is true, the others only when it is false. Returns true.
    virtual bool RunStartupHooks(bool priorityZeroPass) = 0;
    // Runs the shut-down list, descending priority, reverse registration order, with the same
    // priority-0 rule. Returns true.
    virtual bool RunShutdownHooks(bool priorityZeroPass) = 0;
    // Runs one list in either order, as the two calls above do. A hook may register or unregister
    // hooks: the run works on a copy of the list.
    virtual bool RunHooks(int listKind, bool descending, bool priorityZeroPass) = 0;

protected:
    virtual ~DelayInitRegistrar();
};

// A callback in the start-up list for the lifetime of the object. Copies hold the same
// delegate but do not register it.
class TLVUTL_API StartupHook {
public:
    // Registers callback (or a plain function) at priority in the start-up list.
    // @{
    explicit StartupHook(DelayInitRegistrar::Callback callback,
                         int priority = DelayInitRegistrar::PriorityDefault);
    explicit StartupHook(bool (*function)(), int priority = DelayInitRegistrar::PriorityDefault)
        : StartupHook(DelayInitRegistrar::Callback::FromFunction(function), priority) {}
    // @}
    // A copy holds the same callback but is not registered; assignment unregisters this object's
    // callback (if registered) and takes other's without registering it.
    // @{
    StartupHook(const StartupHook& other) : callback_(other.callback_), registered_(false) {}
    StartupHook& operator=(const StartupHook& other);
    // @}
    ~StartupHook();

private:
    DelayInitRegistrar::Callback callback_;
    bool registered_;
};

// A callback in the shut-down list for the lifetime of the object. Copies hold the same delegate
// but do not register it.
class TLVUTL_API ShutdownHook {
public:
    // Registers callback (or a plain function) at priority in the shut-down list.
    // @{
    explicit ShutdownHook(DelayInitRegistrar::Callback callback,
                          int priority = DelayInitRegistrar::PriorityDefault);
    explicit ShutdownHook(bool (*function)(), int priority = DelayInitRegistrar::PriorityDefault)
        : ShutdownHook(DelayInitRegistrar::Callback::FromFunction(function), priority) {}
    // @}
    // A copy holds the same callback but is not registered; assignment unregisters this object's
    // callback (if registered) and takes other's without registering it.
    // @{
    ShutdownHook(const ShutdownHook& other) : callback_(other.callback_), registered_(false) {}
    ShutdownHook& operator=(const ShutdownHook& other);
    // @}
    ~ShutdownHook();

private:
    DelayInitRegistrar::Callback callback_;
    bool registered_;
};

// A start-up and a shut-down callback registered together; if the second registration
// fails the first is undone.
class TLVUTL_API InitHook {
public:
    // Registers start in the start-up list and stop in the shut-down list, both at priority.
    // @{
    InitHook(DelayInitRegistrar::Callback start, DelayInitRegistrar::Callback stop,
             int priority = DelayInitRegistrar::PriorityDefault);
    InitHook(bool (*start)(), bool (*stop)(), int priority = DelayInitRegistrar::PriorityDefault)
        : InitHook(DelayInitRegistrar::Callback::FromFunction(start),
                   DelayInitRegistrar::Callback::FromFunction(stop), priority) {}
    // @}
    // As for StartupHook: a copy is not registered, and assignment unregisters first.
    // @{
    InitHook(const InitHook& other)
        : start_(other.start_), stop_(other.stop_), registered_(false) {}
    InitHook& operator=(const InitHook& other);
    // @}
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
    // Registers the object's Startup and Shutdown at priority; the destructor unregisters them.
    explicit DelayInitBase(int priority = DelayInitRegistrar::PriorityDefault);
    virtual ~DelayInitBase();
    DelayInitBase(const DelayInitBase&) = delete;
    DelayInitBase& operator=(const DelayInitBase&) = delete;

    // Called by the start-up and shut-down runs; the result is ignored.
    // @{
    virtual bool Startup() = 0;
    virtual bool Shutdown() = 0;
    // @}

private:
    static bool InvokeStartup(void* self);
    static bool InvokeShutdown(void* self);
};

#endif
