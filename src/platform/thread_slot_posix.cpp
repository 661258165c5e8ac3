#include "thread_slot.h"

#include <pthread.h>

namespace tlv::platform {

bool NewThreadSlot(void (*destroy)(void*), std::uintptr_t& slot) {
    pthread_key_t key;
    if (pthread_key_create(&key, destroy) != 0)
        return false;
    slot = static_cast<std::uintptr_t>(key);
    return true;
}

void* GetThreadSlot(std::uintptr_t slot) {
    return pthread_getspecific(static_cast<pthread_key_t>(slot));
}

void SetThreadSlot(std::uintptr_t slot, void* value) {
    pthread_setspecific(static_cast<pthread_key_t>(slot), value);
}

} // namespace tlv::platform
