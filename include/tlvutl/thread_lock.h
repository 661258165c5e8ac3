// TlvUtils::ThreadLock with its scoped ReadLock and WriteLock: a reader/writer lock.
//
// The library's process-wide singletons are created under a WriteLock after an unlocked
// check (double-checked creation); readers of shared state take a ReadLock.
#ifndef TLVUTL_THREAD_LOCK_H
#define TLVUTL_THREAD_LOCK_H

#include <shared_mutex>

namespace TlvUtils {

// A reader/writer lock: any number of readers or one writer. Not recursive; a reader cannot become
// a writer while holding it.
class ThreadLock {
public:
    // Takes and releases shared (reading) or exclusive (writing) ownership; unlock only what this
    // thread holds.
    // @{
    void LockRead() { m_.lock_shared(); }
    void UnlockRead() { m_.unlock_shared(); }
    void LockWrite() { m_.lock(); }
    void UnlockWrite() { m_.unlock(); }
    // @}

private:
    std::shared_mutex m_;
};

// Shared ownership of a ThreadLock for the lifetime of the object.
class ReadLock {
public:
    // Waits for and takes l for reading.
    explicit ReadLock(ThreadLock& l) : l_(l) { l_.LockRead(); }
    ~ReadLock() { l_.UnlockRead(); }
    ReadLock(const ReadLock&) = delete;
    ReadLock& operator=(const ReadLock&) = delete;

private:
    ThreadLock& l_;
};

// Exclusive ownership of a ThreadLock for the lifetime of the object.
class WriteLock {
public:
    // Waits for and takes l for writing.
    explicit WriteLock(ThreadLock& l) : l_(l) { l_.LockWrite(); }
    ~WriteLock() { l_.UnlockWrite(); }
    WriteLock(const WriteLock&) = delete;
    WriteLock& operator=(const WriteLock&) = delete;

private:
    ThreadLock& l_;
};

} // namespace TlvUtils

#endif
