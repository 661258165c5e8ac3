#include "thread_slot.h"

#include <windows.h>

namespace tlv::platform {

// Fiber-local rather than thread-local storage: only FLS calls back when a thread ends.
bool NewThreadSlot(void (*destroy)(void*), std::uintptr_t& slot) {
    const DWORD index = ::FlsAlloc(reinterpret_cast<PFLS_CALLBACK_FUNCTION>(destroy));
    if (index == FLS_OUT_OF_INDEXES)
        return false;
    slot = index;
    return true;
}

void* GetThreadSlot(std::uintptr_t slot) {
    return ::FlsGetValue(static_cast<DWORD>(slot));
}

void SetThreadSlot(std::uintptr_t slot, void* value) {
    ::FlsSetValue(static_cast<DWORD>(slot), value);
}

} // namespace tlv::platform
