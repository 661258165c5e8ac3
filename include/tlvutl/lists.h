/* Lists of variable-length byte records, in two families.
 *
 * Handle lists (LIST_...): every record lives in one contiguous block owned by an HMEM, so a
 * whole list can be copied, stored or passed as one piece of memory. The block is a format
 * that callers persist; all fields are unsigned 32-bit little-endian, offsets count from the
 * start of the block:
 *
 *   0      size         bytes in use; the block is always resized to exactly this
 *   4      count        number of records (slots)
 *   8      tableOffset  where the offset table begins
 *   12     extended header (caller-owned, lists made by LIST_CtorExt only)
 *   tableOffset  count + 1 entries: entry i is where record i begins, entry count equals size
 *   then a gap of 0 to 7 bytes, then the records back to back in index order.
 *
 * The library writes zeros into the gap whenever it moves the table's end or the first
 * record, so a block holds no stale bytes there.
 *
 * A record of length 0 is an empty slot: it keeps its index but holds nothing. Adding a slot
 * makes room for one more table entry by moving all record bytes up by a multiple of 4 when
 * the gap is too small; removing a slot moves them down by 4 only when the gap is already 4
 * or more. Record data is not aligned.
 *
 * Indices are signed and compared with the count as unsigned numbers, so a negative index
 * counts as beyond the end. Results are -1 on failure unless a function says otherwise.
 * Programming errors (null handles, a block that is not a list, bad indices where noted) are
 * also reported through UIMSG_FatalError with the module name "listman" and codes 1000
 * (allocation), 1001 (lock), 1002 (resize) and 5002 (bad argument). A failed allocation or
 * resize leaves the list as it was. A null data pointer with a non-zero size stores that many
 * zero bytes. The LIST_L... functions work on a block the caller has locked.
 *
 * Global lists (WGList and the LIST... functions over HGLIST): an array of slots, each owning
 * a separately allocated record; deleting leaves an empty slot that later insertions reuse.
 * Their accessors check no bounds (see WGList).
 *
 * Neither family takes locks: a list belongs to one thread at a time. Everything but WGList
 * is callable from C. */
#ifndef TLVUTL_LISTS_H
#define TLVUTL_LISTS_H

#include <tlvutl/export.h>
#include <tlvutl/memory.h>
#include <tlvutl/wintypes.h>

/* The fixed head of a locked handle-list block; the offset table follows at tableOffset. */
typedef struct LIST {
    /* Bytes in use, the record count, and where the offset table begins (see the layout above).
     * @{ */
    DWORD size;
    DWORD count;
    DWORD tableOffset;
    /* @} */
} LIST;

/* Called by LIST_Enum for each non-empty record: its bytes, length and index, and the
 * caller's context. Non-zero goes on, 0 stops. */
typedef int (*LIST_ENUMPROC)(void* record, DWORD length, LONG index, LONGLONG context);

/* One slot of a global list. */
typedef struct LISTELEMENT {
    void* data; /* owned record block, null when the slot is empty */
    LONG size;  /* record size in bytes */
    BOOL used;  /* 1 or 0 */
} LISTELEMENT;

/* Called by WGList::Enumerate for each used slot: data, size, index and the caller's
 * context. Non-zero goes on, 0 stops. */
typedef int (*GLIST_ENUMPROC)(void* data, LONG size, LONG index, LONGLONG context);

/* Opaque handle of a global list. */
typedef struct HGLISTRecord* HGLIST;

TLVUTL_C_BEGIN

/* ---- Handle lists ---- */

/* A new empty list (16 bytes); null, with fatal error 1000, when it cannot be allocated. */
TLVUTL_API HMEM LIST_Ctor(void);
/* A new empty list whose bytes 12 to headerSize - 1 belong to the caller (zero at first);
 * the block is headerSize + 4 bytes. Null with 1000 when it cannot be allocated, null with
 * 5002 when headerSize is below 12 (the header would overlap the list's own fields). */
TLVUTL_API HMEM LIST_CtorExt(DWORD headerSize);
/* A new handle holding a byte copy of the list's block; null with 1001 for a null handle,
 * null with 1000 when it cannot be allocated. */
TLVUTL_API HMEM LIST_DupCtor(HMEM list);
/* Frees the handle and its block; a null handle is ignored. */
TLVUTL_API void LIST_Dtor(HMEM list);

/* Append / insert before record 0 / insert before record index (append when index is not
 * below the count). The new count; -1 for a size of 0 (quietly) or a failed resize. */
TLVUTL_API LONG LIST_Push(HMEM list, const void* data, DWORD size);
/* As LIST_Push, inserting before record 0. */
TLVUTL_API LONG LIST_InsertTop(HMEM list, const void* data, DWORD size);
/* As LIST_Push, inserting before record index (appending when index is not below the count). */
TLVUTL_API LONG LIST_Insert(HMEM list, LONG index, const void* data, DWORD size);
/* Fills the first empty slot, or appends; the index used. A size of 0 returns 0 and changes
 * nothing; a null list or data is fatal error 5002 and -1. */
TLVUTL_API LONG LIST_InsertAtFree(HMEM list, const void* data, DWORD size);

/* Copies out min(length, bufferSize) bytes of record 0 (when buffer is not null) and removes
 * it with its slot; the new count, or -1 on an empty list. */
TLVUTL_API LONG LIST_PopOldest(HMEM list, void* buffer, DWORD bufferSize);
/* The same for record index; an index out of range is fatal error 5002 and -1. */
TLVUTL_API LONG LIST_Remove(HMEM list, LONG index, void* buffer, DWORD bufferSize);
/* Copies out the record as LIST_Remove does and empties its slot; the count, which stays.
 * An index out of range is 5002 and -1. */
TLVUTL_API LONG LIST_DeleteIth(HMEM list, LONG index, void* buffer, DWORD bufferSize);

/* Copies min(length, bufferSize) bytes of record index and returns how many. -1 quietly for
 * an index out of range or an empty record; a null list or buffer is 5002 and -1. */
TLVUTL_API LONG LIST_GetIth(HMEM list, LONG index, void* buffer, DWORD bufferSize);
/* Replaces record index, or beyond the end adds empty slots up to index and stores the record
 * there; 0, or -1 for a size of 0 (quietly) or a failed resize. */
TLVUTL_API LONG LIST_PutIth(HMEM list, LONG index, const void* data, DWORD size);
/* Replaces record index (in place when the length is the same; a null data pointer then
 * keeps the old bytes); the count. An index out of range is 5002 and -1. */
TLVUTL_API LONG LIST_ReplaceIth(HMEM list, LONG index, const void* data, DWORD size);
/* 1 when index is below the count and the record is not empty, else 0; a null list is 5002
 * and 0. */
TLVUTL_API LONG LIST_ExistIth(HMEM list, LONG index);
/* The count. */
TLVUTL_API LONG LIST_Size(HMEM list);

/* The first record at or after start that holds at least fieldOffset + fieldLength bytes and
 * whose bytes in [fieldOffset, fieldOffset + fieldLength) equal the pattern's bytes at the
 * same place; -1 when none, for a start not below the count, a null pattern, a pattern size
 * of 0 or a pattern shorter than fieldOffset + fieldLength. */
TLVUTL_API LONG LIST_FindElement(HMEM list, LONG start, const void* pattern, DWORD patternSize,
                                 DWORD fieldOffset, DWORD fieldLength);
/* The first record at or after start with exactly this length and these bytes (a size of 0
 * finds the first empty slot); -1 when none. */
TLVUTL_API LONG LIST_FindCompleteElement(HMEM list, LONG start, const void* data, DWORD size);
/* Calls callback for each non-empty record, re-reading the list before each one so the
 * callback may change it. The index at which a callback returned 0, else the count; -1 for a
 * null callback. */
TLVUTL_API LONG LIST_Enum(HMEM list, LIST_ENUMPROC callback, LONGLONG context);

/* (length of record index - headerLength) / itemLength, the number of fixed-size items after
 * a record's own header; -1 for an item length below 1 or an index out of range. */
TLVUTL_API LONG LIST_SizeSubList(HMEM list, LONG index, DWORD headerLength, LONG itemLength);
/* Inserts a record at min(index, count), or with a size of 0 an empty slot there; 0, or -1
 * for a negative index or size or a failed resize. */
TLVUTL_API LONG LIST_InsertSubList(HMEM list, LONG index, const void* data, LONG size);
/* Sets the last table entry to the size field, for callers that grew the last record
 * themselves; 0, or -1. */
TLVUTL_API LONG LIST_FixOffsetTable(HMEM list);

/* Pointer to record index inside a locked block and, when length is not null, its length.
 * Null (length 0) with fatal error 5002 for a null block or an index out of range. */
TLVUTL_API void* LIST_LGetIth(LIST* block, LONG index, DWORD* length);
/* The count; 0 for null. */
TLVUTL_API LONG LIST_LSize(const LIST* block);
/* The size field; 0 for null. */
TLVUTL_API DWORD LIST_LLength(const LIST* block);

/* ---- Global lists (WGList through a handle) ---- */

/* A new list; null when it cannot be allocated. */
TLVUTL_API HGLIST LISTCtor(void);
/* Destroys the list; null is ignored. */
TLVUTL_API void LISTDtor(HGLIST list);
/* WGList::InsertEnd; -1 for a null list. */
TLVUTL_API int LISTPush(HGLIST list, const void* data, LONG size);
/* WGList::Retrieve; 0 for a null list. */
TLVUTL_API int LISTGetIth(HGLIST list, LONG index, void* buffer, LONG size);
/* WGList::Replace; -1 for a null list. */
TLVUTL_API int LISTPutIth(HGLIST list, LONG index, const void* data, LONG size);
/* As LISTPutIth. */
TLVUTL_API int LISTReplaceIth(HGLIST list, LONG index, const void* data, LONG size);
/* WGList::FindCompleteElement (a prefix match, see WGList); -1 for a null list. */
TLVUTL_API int LISTFindCompleteElement(HGLIST list, LONG start, const void* data, LONG size);
/* WGList::Size(index); 0 for a null list. */
TLVUTL_API LONG LISTSizeIth(HGLIST list, LONG index);
/* WGList::ListSize, the number of used slots; 0 for a null list. */
TLVUTL_API int LISTSize(HGLIST list);

TLVUTL_C_END

#ifdef __cplusplus

/* A growable array of owned, variable-length records with an optional caller-defined
 * header block.
 *
 * count is a high-water mark: the number of slots in play, used or not. Deleting a record
 * empties its slot (count drops only when it was the last slot, and only by one); Remove
 * also closes the gap. A new list has 16 zeroed slots; the array grows by 8 slots when full
 * and shrinks to count + 8 slots when 9 or more are spare.
 *
 * No bounds are checked, on purpose: the accessors (Get, Retrieve, Size, Exist, Delete,
 * Remove) reject an index only when it is both negative and not below count, which never
 * holds, and Retrieve and Size do not look at the used flag. Callers pass indices below the
 * capacity; slots at or above count read as empty, anything else is undefined.
 *
 * Insert's failure codes 2 (the slot array could not grow) and 3 (the record could not be
 * allocated) are valid indices as well, so callers cannot tell them from success; either
 * way the list keeps its records. FindCompleteElement matches any record that begins with
 * the given bytes, also a longer one (unlike the handle lists' exact match). */
class TLVUTL_API WGList {
public:
    WGList();
    /* A deep copy: same capacity and count, a copy of the header and of every used record.
     * Throws std::bad_alloc when memory runs out. */
    WGList(const WGList& other);
    /* Replaces the contents with a deep copy of other's, as the copy constructor makes it. */
    WGList& operator=(const WGList& other);
    ~WGList();

    /* Into the first empty slot below count, else appended; the index. */
    int Insert(const void* data, LONG size);
    /* At min(index, count): an empty slot there is filled in place, a used one moves up with
     * the slots after it. The index; -1 for a negative index, 2 or 3 when memory runs out. A
     * null data pointer leaves the record's bytes unset. */
    int Insert(LONG index, const void* data, LONG size);
    /* Insert(0, ...) and Insert(count, ...).
     * @{ */
    int InsertStart(const void* data, LONG size);
    int InsertEnd(const void* data, LONG size);
    /* @} */

    /* Replaces the record at min(index, count - 1) with a copy of data and marks the slot
     * used; that index, -1 for a negative index or an empty list, 3 when memory runs out
     * (the old record stays). */
    int Replace(LONG index, const void* data, LONG size);
    /* Replace(0, ...) and Replace(count - 1, ...).
     * @{ */
    int ReplaceStart(const void* data, LONG size);
    int ReplaceEnd(const void* data, LONG size);
    /* @} */

    /* Copies min(record size, size) bytes; the number copied, 0 for a null buffer. */
    int Retrieve(LONG index, void* buffer, LONG size);
    /* Retrieve from slot 0 and from slot count - 1.
     * @{ */
    int RetrieveStart(void* buffer, LONG size);
    int RetrieveEnd(void* buffer, LONG size);
    /* @} */

    /* The record of a used slot (and its size); null (and 0) for an empty one.
     * @{ */
    void* Get(LONG index);
    void* Get(LONG index, LONG& size);
    /* @} */
    /* Slot 0 or slot count - 1; null when there is none.
     * @{ */
    void* GetStart();
    void* GetStart(LONG& size);
    void* GetEnd();
    void* GetEnd(LONG& size);
    /* @} */

    /* Frees the record and empties the slot; 0, or -1 when it was empty. */
    int Delete(LONG index);
    /* Delete(0) and Delete(count - 1).
     * @{ */
    int DeleteStart();
    int DeleteEnd();
    /* @} */
    /* Frees every record; count becomes 0. */
    int DeleteAll();

    /* Deletes the record and closes the gap; 1. */
    int Remove(LONG index);
    /* Remove(0) and Remove(count - 1).
     * @{ */
    int RemoveStart();
    int RemoveEnd();
    /* @} */

    /* The slot's used flag and record size.
     * @{ */
    int Exist(LONG index);
    LONG Size(LONG index);
    /* @} */
    /* The number of used slots. */
    int ListSize();

    /* The first used slot from start whose record holds at least offset + length bytes and
     * matches the pattern's bytes in [offset, offset + length); -1 if none. */
    int FindElement(LONG start, const void* pattern, LONG offset, LONG length);
    /* FindElement(start, data, 0, size): a prefix match. */
    int FindCompleteElement(LONG start, const void* data, LONG size);
    /* Calls callback for each used slot; the index where it returned 0, else count. */
    int Enumerate(GLIST_ENUMPROC callback, LONGLONG context);
    /* Removes every empty slot. */
    void Compact();

    /* Copies the header (zero-filled when data is null; a size of 0 removes it); 1, or 0
     * with the old header kept when memory runs out or the size is negative. */
    int SetHeader(const void* data, LONG size);
    /* The header block (null when there is none) and its size in bytes.
     * @{ */
    void* GetHeader();
    LONG GetHeaderSize();
    /* @} */

protected:
    /* Reallocates the array to count + 8 slots when 9 or more are spare. */
    void Shrink();
    /* Fills the slot with a copy of data (left unset when data is null); 1, or 0 when the
     * record cannot be allocated (the slot is untouched then). */
    int CopyElement(LISTELEMENT* element, const void* data, LONG size);

    /* The slot array with its capacity and count (the high-water mark), and the header block with
     * its size.
     * @{ */
    LISTELEMENT* m_pElements;
    LONG m_nCapacity;
    LONG m_nCount;
    void* m_pHeader;
    LONG m_nHeaderSize;
    /* @} */

private:
    bool HelperGrow();
    void HelperResizeArray(LONG capacity);
    void HelperRelease();
};

#endif /* __cplusplus */

#endif
