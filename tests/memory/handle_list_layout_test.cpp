// The handle-list block, byte for byte, in the cases the model test (handle_list_model_test.cpp)
// does not reach: gaps that are not a multiple of 4 in blocks written elsewhere, a heap that
// will not shrink or grow a block, and sizes past 2 GB. The expected images are worked out by
// hand from the layout rules (table room in steps of 4, a freed entry given back only when the
// gap holds 4, exact resizes), so they also check the model's own rules.
#include <tlvutl/lists.h>

#include "fatal_reports.h"
#include "handle_list_model.h"
#include "memory/heap.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using tlvtest::BlockOf;
using tlvtest::Bytes;
using tlvtest::PutU32;

struct Expected {
    uint32_t size;
    uint32_t count;
    std::vector<uint32_t> table;
    uint32_t gap;
    std::string data;
};

Bytes ImageOf(const Expected& e) {
    Bytes out;
    PutU32(out, e.size);
    PutU32(out, e.count);
    PutU32(out, 12);
    for (uint32_t entry : e.table)
        PutU32(out, entry);
    out.insert(out.end(), e.gap, 0);
    out.insert(out.end(), e.data.begin(), e.data.end());
    return out;
}

TEST(HandleListLayout, FailuresLeaveEveryByteInPlace) {
    HMEM list = LIST_Ctor();
    for (const char* text : {"abc", "defgh", "i"})
        LIST_Push(list, text, static_cast<DWORD>(std::strlen(text)));
    const Bytes before = BlockOf(list);
    // Quiet failures and out-of-range indices are followed by the model test; here, the
    // sizes and heap failures it cannot reach.
    TlvUtl::ScopedMessageCapture sink;
    // Sizes that cannot be allocated: the block would pass 2 GB.
    EXPECT_EQ(LIST_Push(list, "x", 0xFFFFFFFFu), -1);
    EXPECT_EQ(LIST_ReplaceIth(list, 0, "x", 0xFFFFFFF0u), -1);
    EXPECT_EQ(LIST_PutIth(list, 0x7FFFFFFF, "x", 1), -1);
    EXPECT_EQ(LIST_PutIth(list, -1, "x", 1), -1) << "a negative index is far beyond the end";
    // A heap that refuses to grow the block.
    tlv::memory::FailNthAllocation(1);
    EXPECT_EQ(LIST_Insert(list, 1, "abc", 3), -1);
    tlv::memory::FailNthAllocation(1);
    EXPECT_EQ(LIST_InsertSubList(list, 0, nullptr, 0), -1);
    tlv::memory::FailNthAllocation(0);
    EXPECT_EQ(tlvtest::CheckFatalCodes(sink, std::vector<UINT>(6, UTL_FATAL_RESIZE)), "");
    EXPECT_EQ(BlockOf(list), before);
    LIST_Dtor(list);
}

TEST(HandleListLayout, ShrinkingSurvivesAHeapThatWillNotShrink) {
    HMEM list = LIST_Ctor();
    LIST_Push(list, "abcdef", 6);
    LIST_Push(list, "gh", 2);
    tlv::memory::FailNthAllocation(1);
    EXPECT_EQ(LIST_Remove(list, 0, nullptr, 0), 1);
    tlv::memory::FailNthAllocation(0);
    // The heap kept its larger block; the handle and the list say 2 + header.
    Expected e{26, 1, {24, 26}, 4, "gh"};
    EXPECT_EQ(BlockOf(list), ImageOf(e));
    EXPECT_EQ(LIST_Push(list, "ij", 2), 2);
    EXPECT_EQ(BlockOf(list), ImageOf({28, 2, {24, 26, 28}, 0, "ghij"}));
    EXPECT_EQ(LIST_LLength(static_cast<LIST*>(MEMMANLock(list))), 28u);
    LIST_Dtor(list);
}

// A block written elsewhere with a gap of 3: the rounding to 4 keeps it at 3 when an entry
// is added, and a removal widens it to 7.
TEST(HandleListLayout, OddGapsOfForeignBlocksFollowTheRoundingRule) {
    Bytes block;
    PutU32(block, 25);
    PutU32(block, 1);
    PutU32(block, 12);
    PutU32(block, 23);
    PutU32(block, 25);
    block.insert(block.end(), {0x11, 0x22, 0x33, 'a', 'b'});
    HMEM list = MEMMANAlloc(static_cast<LONG>(block.size()));
    std::memcpy(MEMMANLock(list), block.data(), block.size());

    EXPECT_EQ(LIST_Push(list, "c", 1), 2);
    EXPECT_EQ(BlockOf(list), ImageOf({30, 2, {27, 29, 30}, 3, "abc"}));
    EXPECT_EQ(LIST_Remove(list, 0, nullptr, 0), 1);
    EXPECT_EQ(BlockOf(list), ImageOf({28, 1, {27, 28}, 7, "c"}));
    EXPECT_EQ(LIST_Push(list, "d", 1), 2);
    EXPECT_EQ(BlockOf(list), ImageOf({29, 2, {27, 28, 29}, 3, "cd"}));
    // Two more entries at once from a gap of 3: missing 5, rounded to 8.
    EXPECT_EQ(LIST_PutIth(list, 3, "e", 1), 0);
    EXPECT_EQ(BlockOf(list), ImageOf({38, 4, {35, 36, 37, 37, 38}, 3, "cde"}));
    LIST_Dtor(list);
}

} // namespace
