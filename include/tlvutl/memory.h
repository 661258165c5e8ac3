/* Handle-based memory blocks for code written against locking handles.
 *
 * An HMEM names one block of the C runtime heap together with its size. Blocks never move
 * while a handle is locked and locking is a formality: Lock returns the data pointer, Unlock
 * does nothing, and there are no flags or lock counts. The holder of a handle frees it; the
 * handle and its block go together. The MM...Temp names serve temporary blocks with exactly
 * the same behaviour (each pair of names is one function).
 *
 * Sizes are signed 32-bit; a negative size makes the allocation fail. Failures are results
 * only (null or 0): nothing is thrown or shown. A null handle or null place gets the
 * "nothing" result. No locks: a handle must not be resized on one thread while another uses
 * its pointer. Callable from C. */
#ifndef TLVUTL_MEMORY_H
#define TLVUTL_MEMORY_H

#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

/* Opaque handle of a memory block; null means no block. */
typedef struct HMEMRecord* HMEM;

TLVUTL_C_BEGIN

/* A new block of `size` bytes, all zero; null when the handle or the block cannot be
 * allocated. A block of 0 bytes is valid and its pointer is not null. */
TLVUTL_API HMEM MEMMANAlloc(LONG size);
/* As MEMMANAlloc(size); the two words are ignored. */
TLVUTL_API HMEM MMAllocTemp(DWORD ignored1, DWORD ignored2, LONG size);

/* Resizes the block, keeping the contents up to the smaller size (new bytes are not
 * cleared). Returns the same handle, or null for a null handle or a failed resize, which
 * leaves the old block and size in place. */
TLVUTL_API HMEM MEMMANReAlloc(HMEM handle, LONG size);
/* MEMMANReAlloc under its temporary-block name. */
TLVUTL_API HMEM MMReAllocTemp(HMEM handle, LONG size);

/* A new handle holding a copy of the block; null for a null handle or a failed allocation. */
TLVUTL_API HMEM MEMMANDuplicate(HMEM handle);

/* The data pointer; null for a null handle. */
TLVUTL_API void* MEMMANLock(HMEM handle);
/* MEMMANLock under its temporary-block name. */
TLVUTL_API void* MMLockTemp(HMEM handle);
/* Does nothing; 1. */
TLVUTL_API int MEMMANUnlock(HMEM handle);
/* MEMMANUnlock under its temporary-block name. */
TLVUTL_API int MMUnlockTemp(HMEM handle);

/* Frees the block and the handle: 1, or 0 for a null handle. */
TLVUTL_API int MEMMANFree(HMEM handle);
/* MEMMANFree under its temporary-block name. */
TLVUTL_API int MMFreeTemp(HMEM handle);

/* Allocates as MEMMANAlloc and stores the handle and its data pointer: 1, or 0 when a place
 * is null or the allocation fails (the handle place then holds null). */
TLVUTL_API int MEMMANAllocLock(HMEM* handlePlace, void** pointerPlace, LONG size);
/* MEMMANAllocLock under its temporary-block name. */
TLVUTL_API int MMAllocLockTemp(HMEM* handlePlace, void** pointerPlace, LONG size);

/* Resizes the handle held in handlePlace as MEMMANReAlloc and stores the new data pointer:
 * 1, or 0 when a place or the handle is null or the resize fails. */
TLVUTL_API int MEMMANReAllocLock(HMEM* handlePlace, void** pointerPlace, LONG size);
/* MEMMANReAllocLock under its temporary-block name. */
TLVUTL_API int MMReAllocLockTemp(HMEM* handlePlace, void** pointerPlace, LONG size);

/* Frees the handle held in handlePlace (if any) and sets the place to null: 1, or 0 when the
 * place itself is null. */
TLVUTL_API int MEMMANUnlockFree(HMEM* handlePlace);
/* MEMMANUnlockFree under its temporary-block name. */
TLVUTL_API int MMUnlockFreeTemp(HMEM* handlePlace);

/* The block size in bytes; 0 for a null handle. */
TLVUTL_API LONG MEMMANGetSize(HMEM handle);
/* Always 0: blocks have no flags and no lock counts. */
TLVUTL_API int MEMMANGetFlags(HMEM handle);
/* Always 0, as MEMMANGetFlags. */
TLVUTL_API int MEMMANGetLockCount(HMEM handle);

/* Copies count bytes, overlapping ranges allowed: 1, or 0 when a pointer is null or the
 * count is negative (nothing is copied then). */
TLVUTL_API int MEMMANMoveHuge(void* destination, const void* source, LONG count);

/* Does nothing; 1. */
TLVUTL_API int MMInitTemp(void);
/* Does nothing; 1. */
TLVUTL_API int MMShutdownTemp(void);

TLVUTL_C_END

#endif
