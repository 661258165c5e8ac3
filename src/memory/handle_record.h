// What an HMEM points to. The handle lists work on the record directly: they resize the
// block in place of a MEMMANReAlloc round trip and keep the recorded size exact.
#ifndef TLVUTL_MEMORY_HANDLE_RECORD_H
#define TLVUTL_MEMORY_HANDLE_RECORD_H

#include <tlvutl/memory.h>

struct HMEMRecord {
    void* data; // from the C runtime heap (heap.h)
    LONG size;  // bytes in the block
};

#endif
