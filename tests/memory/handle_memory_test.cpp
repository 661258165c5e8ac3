#include <tlvutl/memory.h>

#include "memory/heap.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(HandleMemory, AllocClearsAndZeroSizeIsAValidBlock) {
    HMEM h = MEMMANAlloc(32);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(MEMMANGetSize(h), 32);
    const auto* p = static_cast<const unsigned char*>(MEMMANLock(h));
    for (int i = 0; i < 32; ++i)
        EXPECT_EQ(p[i], 0) << i;
    EXPECT_EQ(MEMMANFree(h), 1);

    HMEM empty = MEMMANAlloc(0);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(MEMMANGetSize(empty), 0);
    EXPECT_NE(MEMMANLock(empty), nullptr);
    EXPECT_EQ(MEMMANGetFlags(empty), 0);
    MEMMANFree(empty);

    HMEM temp = MMAllocTemp(7, 9, 4);
    ASSERT_NE(temp, nullptr);
    EXPECT_EQ(MEMMANGetSize(temp), 4);
    EXPECT_EQ(MMFreeTemp(temp), 1);
}

TEST(HandleMemory, ReAllocKeepsTheContentsAndFailureKeepsTheBlock) {
    HMEM h = MEMMANAlloc(8);
    std::memcpy(MEMMANLock(h), "01234567", 8);
    EXPECT_EQ(MEMMANReAlloc(h, 16), h);
    EXPECT_EQ(MEMMANGetSize(h), 16);
    EXPECT_EQ(std::memcmp(MEMMANLock(h), "01234567", 8), 0);

    void* before = MEMMANLock(h);
    EXPECT_EQ(MEMMANReAlloc(h, -1), nullptr);
    EXPECT_EQ(MEMMANLock(h), before);
    EXPECT_EQ(MEMMANGetSize(h), 16);

    tlv::memory::FailNthAllocation(1);
    EXPECT_EQ(MEMMANReAlloc(h, 4096), nullptr);
    EXPECT_EQ(MEMMANGetSize(h), 16);
    EXPECT_EQ(std::memcmp(MEMMANLock(h), "01234567", 8), 0);

    EXPECT_EQ(MEMMANReAlloc(h, 0), h);
    EXPECT_EQ(MEMMANGetSize(h), 0);
    EXPECT_NE(MEMMANLock(h), nullptr);
    MEMMANFree(h);
}

TEST(HandleMemory, FailedAllocationsAnswerNull) {
    EXPECT_EQ(MEMMANAlloc(-1), nullptr);
    // Either of the two allocations (record, then block) may fail.
    tlv::memory::FailNthAllocation(1);
    EXPECT_EQ(MEMMANAlloc(8), nullptr);
    tlv::memory::FailNthAllocation(2);
    EXPECT_EQ(MEMMANAlloc(8), nullptr);
    tlv::memory::FailNthAllocation(0);

    HMEM h = MEMMANAlloc(3);
    tlv::memory::FailNthAllocation(2);
    EXPECT_EQ(MEMMANDuplicate(h), nullptr);
    MEMMANFree(h);
}

TEST(HandleMemory, NullHandlesAndPlacesGetTheNothingResultMoveHugeOverlaps) {
    EXPECT_EQ(MEMMANReAlloc(nullptr, 8), nullptr);
    EXPECT_EQ(MEMMANDuplicate(nullptr), nullptr);
    EXPECT_EQ(MEMMANLock(nullptr), nullptr);
    EXPECT_EQ(MEMMANUnlock(nullptr), 1);
    EXPECT_EQ(MEMMANFree(nullptr), 0);
    EXPECT_EQ(MEMMANGetSize(nullptr), 0);

    HMEM h = nullptr;
    void* p = nullptr;
    EXPECT_EQ(MEMMANAllocLock(nullptr, &p, 8), 0);
    EXPECT_EQ(MEMMANAllocLock(&h, nullptr, 8), 0);
    EXPECT_EQ(MEMMANReAllocLock(nullptr, &p, 8), 0);
    EXPECT_EQ(MEMMANReAllocLock(&h, &p, 8), 0) << "null handle in the place";
    EXPECT_EQ(MEMMANUnlockFree(nullptr), 0);
    EXPECT_EQ(MEMMANUnlockFree(&h), 1);
    EXPECT_EQ(h, nullptr);

    EXPECT_EQ(MEMMANMoveHuge(nullptr, "x", 1), 0);
    char c = 0;
    EXPECT_EQ(MEMMANMoveHuge(&c, nullptr, 1), 0);
    EXPECT_EQ(MEMMANMoveHuge(&c, "x", -1), 0);
    EXPECT_EQ(c, 0);
    // MoveHuge copies overlapping ranges.
    char text[] = "0123456789";
    EXPECT_EQ(MEMMANMoveHuge(text + 2, text, 6), 1);
    EXPECT_STREQ(text, "0101234589");
    EXPECT_EQ(MEMMANMoveHuge(text, text + 4, 6), 1);
    EXPECT_STREQ(text, "2345894589");
}

TEST(HandleMemory, LockingPairsStoreHandleAndPointer) {
    HMEM h = nullptr;
    void* p = nullptr;
    ASSERT_EQ(MEMMANAllocLock(&h, &p, 10), 1);
    EXPECT_EQ(p, MEMMANLock(h));
    EXPECT_EQ(MEMMANGetLockCount(h), 0);
    std::memcpy(p, "abcdefghij", 10);
    ASSERT_EQ(MMReAllocLockTemp(&h, &p, 20000), 1);
    EXPECT_EQ(p, MEMMANLock(h));
    EXPECT_EQ(std::memcmp(p, "abcdefghij", 10), 0);
    EXPECT_EQ(MEMMANReAllocLock(&h, &p, -5), 0);
    EXPECT_EQ(MEMMANGetSize(h), 20000);

    HMEM copy = MEMMANDuplicate(h);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(MEMMANLock(copy), p);
    EXPECT_EQ(std::memcmp(MEMMANLock(copy), p, 20000), 0);
    EXPECT_EQ(MMUnlockFreeTemp(&copy), 1);
    EXPECT_EQ(copy, nullptr);
    EXPECT_EQ(MEMMANUnlockFree(&h), 1);

    HMEM failed = reinterpret_cast<HMEM>(&p);
    EXPECT_EQ(MEMMANAllocLock(&failed, &p, -1), 0);
    EXPECT_EQ(failed, nullptr) << "the handle place holds null after a failure";
}

} // namespace
