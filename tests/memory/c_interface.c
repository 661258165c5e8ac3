/* The memory and list interfaces used from C: each check returns 0 when it holds, or the
 * number of the first check that failed. */
#include <tlvutl/lists.h>
#include <tlvutl/memory.h>

#include <string.h>

static int CountNonEmpty(void* record, DWORD length, LONG index, LONGLONG context) {
    (void)record;
    (void)index;
    if (length)
        ++*(int*)(intptr_t)context;
    return 1;
}

int RunHandleMemoryFromC(void) {
    HMEM h = NULL;
    void* p = NULL;
    if (!MEMMANAllocLock(&h, &p, 8) || p != MEMMANLock(h))
        return 1;
    memcpy(p, "ABCDEFGH", 8);
    if (MEMMANReAlloc(h, 12) != h || MEMMANGetSize(h) != 12)
        return 2;
    if (memcmp(MMLockTemp(h), "ABCDEFGH", 8) != 0 || MEMMANUnlock(h) != 1)
        return 3;
    if (!MEMMANUnlockFree(&h) || h != NULL)
        return 4;
    return 0;
}

int RunHandleListFromC(void) {
    HMEM list = LIST_Ctor();
    LIST* block;
    DWORD length = 0;
    int nonEmpty = 0;
    if (!list || LIST_Push(list, "one", 3) != 1 || LIST_Push(list, "three", 5) != 2)
        return 1;
    if (LIST_InsertTop(list, "zero", 4) != 3 || LIST_DeleteIth(list, 1, NULL, 0) != 3)
        return 2;
    block = (LIST*)MEMMANLock(list);
    if (LIST_LSize(block) != 3 || block->count != 3 || block->tableOffset != 12)
        return 3;
    if (memcmp(LIST_LGetIth(block, 2, &length), "three", 5) != 0 || length != 5)
        return 4;
    if (LIST_Enum(list, CountNonEmpty, (LONGLONG)(intptr_t)&nonEmpty) != 3 || nonEmpty != 2)
        return 5;
    LIST_Dtor(list);
    return 0;
}

int RunGlobalListFromC(void) {
    HGLIST list = LISTCtor();
    char buf[8];
    if (!list || LISTPush(list, "abc", 3) != 0 || LISTPush(list, "de", 2) != 1)
        return 1;
    if (LISTGetIth(list, 0, buf, sizeof buf) != 3 || memcmp(buf, "abc", 3) != 0)
        return 2;
    if (LISTPutIth(list, 5, "xyz", 3) != 1 || LISTReplaceIth(list, 0, "q", 1) != 0)
        return 3;
    LISTDtor(list);
    LISTDtor(NULL);
    return 0;
}
