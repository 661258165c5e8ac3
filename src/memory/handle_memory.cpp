// Handle memory: a small heap record owning one heap block. Blocks never move behind a
// caller's back, so locking hands out the data pointer and unlocking has nothing to do.
#include <tlvutl/memory.h>

#include "handle_record.h"
#include "heap.h"

#include <algorithm>
#include <climits>
#include <cstring>

using tlv::memory::HeapAllocate;
using tlv::memory::HeapFree;

namespace tlv::memory {

bool ReallocateHandle(HMEMRecord& handle, LONG size) {
    const auto wanted = static_cast<std::size_t>(size);
    std::size_t capacity = wanted;
    if (size > handle.size)
        capacity = std::min<std::size_t>(wanted + wanted / 2, INT32_MAX);
    UnpoisonSpare(handle);
    void* data = HeapResizeUnhooked(handle.data, capacity);
    // The spare room is a bonus: a heap that can give the size but not the room still makes
    // the resize succeed.
    if (!data && capacity > wanted) {
        capacity = wanted;
        data = HeapResizeUnhooked(handle.data, capacity);
    }
    if (!data) {
        // A heap that will not shrink the block leaves it larger than it need be, which the
        // capacity allows for.
        if (size > handle.capacity) {
            PoisonSpare(handle);
            return false;
        }
        handle.size = size;
        PoisonSpare(handle);
        return true;
    }
    handle.data = data;
    handle.size = size;
    handle.capacity = static_cast<LONG>(capacity);
    PoisonSpare(handle);
    return true;
}

} // namespace tlv::memory

namespace {

HMEM Allocate(LONG size) {
    // A negative size widened with its sign can never be allocated.
    if (size < 0)
        return nullptr;
    auto* record = static_cast<HMEMRecord*>(HeapAllocate(sizeof(HMEMRecord)));
    if (!record)
        return nullptr;
    void* data = HeapAllocate(static_cast<std::size_t>(size));
    if (!data) {
        HeapFree(record);
        return nullptr;
    }
    std::memset(data, 0, static_cast<std::size_t>(size));
    record->data = data;
    record->size = size;
    record->capacity = size;
    return record;
}

HMEM Resize(HMEM handle, LONG size) {
    if (!handle || size < 0)
        return nullptr;
    return tlv::memory::ResizeHandle(*handle, size) ? handle : nullptr;
}

int Free(HMEM handle) {
    if (!handle)
        return 0;
    tlv::memory::UnpoisonSpare(*handle);
    HeapFree(handle->data);
    HeapFree(handle);
    return 1;
}

void* Lock(HMEM handle) {
    return handle ? handle->data : nullptr;
}

int AllocLock(HMEM* handlePlace, void** pointerPlace, LONG size) {
    if (!handlePlace || !pointerPlace)
        return 0;
    *handlePlace = Allocate(size);
    if (!*handlePlace)
        return 0;
    *pointerPlace = (*handlePlace)->data;
    return 1;
}

int ReAllocLock(HMEM* handlePlace, void** pointerPlace, LONG size) {
    if (!handlePlace || !pointerPlace || !*handlePlace)
        return 0;
    if (!Resize(*handlePlace, size))
        return 0;
    *pointerPlace = (*handlePlace)->data;
    return 1;
}

int UnlockFree(HMEM* handlePlace) {
    if (!handlePlace)
        return 0;
    Free(*handlePlace);
    *handlePlace = nullptr;
    return 1;
}

} // namespace

HMEM MEMMANAlloc(LONG size) {
    return Allocate(size);
}

HMEM MMAllocTemp(DWORD, DWORD, LONG size) {
    return Allocate(size);
}

HMEM MEMMANReAlloc(HMEM handle, LONG size) {
    return Resize(handle, size);
}

HMEM MMReAllocTemp(HMEM handle, LONG size) {
    return Resize(handle, size);
}

HMEM MEMMANDuplicate(HMEM handle) {
    if (!handle)
        return nullptr;
    HMEM copy = Allocate(handle->size);
    if (copy)
        std::memcpy(copy->data, handle->data, static_cast<std::size_t>(handle->size));
    return copy;
}

void* MEMMANLock(HMEM handle) {
    return Lock(handle);
}

void* MMLockTemp(HMEM handle) {
    return Lock(handle);
}

int MEMMANUnlock(HMEM) {
    return 1;
}

int MMUnlockTemp(HMEM) {
    return 1;
}

int MEMMANFree(HMEM handle) {
    return Free(handle);
}

int MMFreeTemp(HMEM handle) {
    return Free(handle);
}

int MEMMANAllocLock(HMEM* handlePlace, void** pointerPlace, LONG size) {
    return AllocLock(handlePlace, pointerPlace, size);
}

int MMAllocLockTemp(HMEM* handlePlace, void** pointerPlace, LONG size) {
    return AllocLock(handlePlace, pointerPlace, size);
}

int MEMMANReAllocLock(HMEM* handlePlace, void** pointerPlace, LONG size) {
    return ReAllocLock(handlePlace, pointerPlace, size);
}

int MMReAllocLockTemp(HMEM* handlePlace, void** pointerPlace, LONG size) {
    return ReAllocLock(handlePlace, pointerPlace, size);
}

int MEMMANUnlockFree(HMEM* handlePlace) {
    return UnlockFree(handlePlace);
}

int MMUnlockFreeTemp(HMEM* handlePlace) {
    return UnlockFree(handlePlace);
}

LONG MEMMANGetSize(HMEM handle) {
    return handle ? handle->size : 0;
}

int MEMMANGetFlags(HMEM) {
    return 0;
}

int MEMMANGetLockCount(HMEM) {
    return 0;
}

int MEMMANMoveHuge(void* destination, const void* source, LONG count) {
    if (!destination || !source || count < 0)
        return 0;
    std::memmove(destination, source, static_cast<std::size_t>(count));
    return 1;
}

int MMInitTemp(void) {
    return 1;
}

int MMShutdownTemp(void) {
    return 1;
}
