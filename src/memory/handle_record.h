// What an HMEM points to. The handle lists work on the record directly: they resize the
// block in place of a MEMMANReAlloc round trip and keep the recorded size exact.
//
// A block may hold more bytes than its size says, like a vector's capacity: lists grow and
// shrink by a few bytes per operation, and a realloc each time would cost more than the
// operation itself. The size stays exact, since that is what callers see and persist; the
// spare tail is never part of the block as far as anyone outside this family can tell (under
// ASan it is poisoned, so reading it is still caught).
#ifndef TLVUTL_MEMORY_HANDLE_RECORD_H
#define TLVUTL_MEMORY_HANDLE_RECORD_H

#include <tlvutl/memory.h>

#include "heap.h"

#include <cstdint>

#if defined(__SANITIZE_ADDRESS__)
#define TLVUTL_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TLVUTL_ASAN 1
#endif
#endif
#if defined(TLVUTL_ASAN)
#include <sanitizer/asan_interface.h>
#endif

struct HMEMRecord {
    void* data;    // from the C runtime heap (heap.h)
    LONG size;     // bytes in the block
    LONG capacity; // bytes the heap block really has, never less than size
};

namespace tlv::memory {

// Makes the bytes past the size unreachable for ASan; no code otherwise.
inline void PoisonSpare(const HMEMRecord& handle) {
#if defined(TLVUTL_ASAN)
    ASAN_POISON_MEMORY_REGION(static_cast<char*>(handle.data) + handle.size,
                              static_cast<std::size_t>(handle.capacity - handle.size));
#else
    (void)handle;
#endif
}

inline void UnpoisonSpare(const HMEMRecord& handle) {
#if defined(TLVUTL_ASAN)
    ASAN_UNPOISON_MEMORY_REGION(handle.data, static_cast<std::size_t>(handle.capacity));
#else
    (void)handle;
#endif
}

// A block much larger than its size is given back to the heap when it shrinks: a block may
// keep up to its size again in spare bytes (plus a little, so that small blocks are left
// alone). Growing past the capacity leaves room for half as much again, so between two
// reallocations a block always changes by a good part of its size.
constexpr uint64_t kSpareFloor = 64;

inline bool TooMuchSpare(LONG size, LONG capacity) {
    return uint64_t(uint32_t(capacity - size)) > uint64_t(uint32_t(size)) + kSpareFloor;
}

// Sets the size within the block's capacity.
inline void SetHandleSize(HMEMRecord& handle, LONG size) {
#if defined(TLVUTL_ASAN)
    UnpoisonSpare(handle);
    handle.size = size;
    PoisonSpare(handle);
#else
    handle.size = size;
#endif
}

// The slow path of ResizeHandle: a new heap block (the fault hook already consulted).
bool ReallocateHandle(HMEMRecord& handle, LONG size);

// Gives the block `size` bytes (0 or more), keeping the contents up to the smaller size; new
// bytes are not cleared. False, with nothing changed, when the heap cannot grow the block or
// the fault hook makes the resize fail, whether or not the heap would have been asked.
inline bool ResizeHandle(HMEMRecord& handle, LONG size) {
    if (InjectedFailure())
        return false;
    if (size <= handle.capacity && !TooMuchSpare(size, handle.capacity)) {
        SetHandleSize(handle, size);
        return true;
    }
    return ReallocateHandle(handle, size);
}

} // namespace tlv::memory

#endif
