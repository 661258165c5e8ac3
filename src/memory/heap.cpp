#include "heap.h"

#include <cstdlib>

namespace tlv::memory {

namespace detail {

std::atomic<int> g_failCountdown{0};

bool CountDownToFailure() {
    int current = g_failCountdown.load(std::memory_order_relaxed);
    while (current > 0) {
        if (g_failCountdown.compare_exchange_weak(current, current - 1, std::memory_order_relaxed))
            return current == 1;
    }
    return false;
}

} // namespace detail

void* HeapAllocate(std::size_t bytes) {
    if (InjectedFailure())
        return nullptr;
    return HeapAllocateUnhooked(bytes);
}

void* HeapResize(void* block, std::size_t bytes) {
    if (InjectedFailure())
        return nullptr;
    return HeapResizeUnhooked(block, bytes);
}

void* HeapAllocateUnhooked(std::size_t bytes) {
    return std::malloc(bytes ? bytes : 1);
}

void* HeapResizeUnhooked(void* block, std::size_t bytes) {
    // realloc(p, 0) may free p and answer null, which callers would take for a failure with
    // the old block still theirs.
    return std::realloc(block, bytes ? bytes : 1);
}

void HeapFree(void* block) {
    std::free(block);
}

void FailNthAllocation(int n) {
    detail::g_failCountdown.store(n > 0 ? n : 0, std::memory_order_relaxed);
}

} // namespace tlv::memory
