// The C runtime heap as the memory family uses it.
//
// Handle blocks, list records, slot arrays and tree nodes all come from here, so a block that
// one part allocates another may free, and so tests can make an allocation fail on purpose to
// reach the failure paths (the lists promise to be unchanged after a failed allocation).
#ifndef TLVUTL_MEMORY_HEAP_H
#define TLVUTL_MEMORY_HEAP_H

#include <atomic>
#include <cstddef>

namespace tlv::memory {

namespace detail {
extern std::atomic<int> g_failCountdown;
bool CountDownToFailure();
} // namespace detail

// True when the allocation about to be made must fail (test fault injection only). The
// common case is one relaxed load.
inline bool InjectedFailure() {
    return detail::g_failCountdown.load(std::memory_order_relaxed) != 0 &&
           detail::CountDownToFailure();
}

// malloc / realloc / free, with an injected failure honoured. Sizes are in bytes; 0 gives a
// valid, non-null block on every C runtime.
void* HeapAllocate(std::size_t bytes);
void* HeapResize(void* block, std::size_t bytes);
void HeapFree(void* block);

// malloc / realloc without the fault hook, for a caller that consulted InjectedFailure once
// for an operation that may make more than one heap call (or none), so that tests count
// operations rather than heap calls.
void* HeapAllocateUnhooked(std::size_t bytes);
void* HeapResizeUnhooked(void* block, std::size_t bytes);

// Fault injection for tests: the n-th allocation or resize from now on fails (1 is the next
// one); 0 disarms. Process-wide.
void FailNthAllocation(int n);

} // namespace tlv::memory

#endif
