// TlvUtils::Singleton<T>: a process-wide instance created on first use and torn down
// explicitly.
//
// Instance() creates under the write lock after an unlocked check; Destroy() deletes the
// instance and marks it destroyed, after which Instance() returns null instead of creating
// a second one (a late caller during shut-down must not resurrect it). Reset() clears the
// destroyed mark (for tests and for hosts that re-initialise).
#ifndef TLVUTL_SINGLETON_H
#define TLVUTL_SINGLETON_H

#include <tlvutl/thread_lock.h>

#include <atomic>

namespace TlvUtils {

// A lazily created, explicitly destroyed instance of T (T needs a default constructor accessible to
// Singleton). Safe from any thread.
template <class T> class Singleton {
public:
    // The instance, created on the first call; null once Destroy has run (until Reset).
    static T* Instance() {
        T* p = instance_.load(std::memory_order_acquire);
        if (p || destroyed_.load(std::memory_order_acquire))
            return p;
        WriteLock guard(lock_);
        p = instance_.load(std::memory_order_relaxed);
        if (!p && !destroyed_.load(std::memory_order_relaxed)) {
            p = new T();
            instance_.store(p, std::memory_order_release);
        }
        return p;
    }
    // Deletes the instance, if any, and marks it destroyed.
    static void Destroy() {
        WriteLock guard(lock_);
        delete instance_.exchange(nullptr, std::memory_order_acq_rel);
        destroyed_.store(true, std::memory_order_release);
    }
    // True between Destroy and Reset.
    static bool IsDestroyed() { return destroyed_.load(std::memory_order_acquire); }
    // Clears the destroyed mark; the next Instance() creates a new instance.
    static void Reset() {
        WriteLock guard(lock_);
        destroyed_.store(false, std::memory_order_release);
    }
    // The writer lock that creation and Destroy take, for callers that tear down under it.
    static ThreadLock& Lock() { return lock_; }

private:
    static inline std::atomic<T*> instance_{nullptr};
    static inline std::atomic<bool> destroyed_{false};
    static inline ThreadLock lock_;
};

} // namespace TlvUtils

#endif
