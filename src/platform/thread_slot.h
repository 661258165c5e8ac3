// Objects of the library's own per thread, made on a thread's first use and destroyed when
// the thread ends, through the system's thread slots (pthread keys; fiber-local storage on
// Windows).
//
// Use PerThread rather than a C++ thread_local for anything with a destructor that code
// built for Windows can reach: mingw-w64 keeps thread_local variables in emulated TLS and
// may free that storage before the variable's destructor runs at thread exit, so the
// destructor frees whatever the freed block now holds and the heap is corrupted. A slot's
// callback gets the object's pointer as its argument and touches no thread_local.
#ifndef TLVUTL_PLATFORM_THREAD_SLOT_H
#define TLVUTL_PLATFORM_THREAD_SLOT_H

#include <cstdint>

namespace tlv::platform {

// A slot lives as long as the process (it is never released, so a thread ending during
// shut-down still finds it). destroy is called with the thread's value, when not null, as
// each thread ends. Returns false when the system has no slot left.
bool NewThreadSlot(void (*destroy)(void*), std::uintptr_t& slot);
void* GetThreadSlot(std::uintptr_t slot);
void SetThreadSlot(std::uintptr_t slot, void* value);

// One T per thread, value-initialised on first use. Declare it at namespace scope or as a
// function-local static; it must outlive every thread's use.
template <class T> class PerThread {
public:
    PerThread() { ok_ = NewThreadSlot(&Destroy, slot_); }
    PerThread(const PerThread&) = delete;
    PerThread& operator=(const PerThread&) = delete;

    T& Get() {
        if (!ok_) {
            // No slot: one object shared by every thread, never freed, rather than none.
            static T fallback{};
            return fallback;
        }
        void* value = GetThreadSlot(slot_);
        if (!value) {
            value = new T();
            SetThreadSlot(slot_, value);
        }
        return *static_cast<T*>(value);
    }

private:
    static void Destroy(void* value) { delete static_cast<T*>(value); }
    std::uintptr_t slot_ = 0;
    bool ok_ = false;
};

} // namespace tlv::platform

#endif
