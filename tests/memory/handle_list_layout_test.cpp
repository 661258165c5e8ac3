// The handle-list block, byte for byte, after each step of a fixed sequence of operations.
// The expected images are worked out by hand from the layout rules (table room in steps of
// 4, a freed entry given back only when the gap holds 4, exact resizes) and written down for
// a plain list; lists with an extended header must give the same images moved up by the
// header's extra bytes, with the header itself untouched.
#include <tlvutl/lists.h>

#include "fatal_reports.h"
#include "handle_list_model.h"
#include "memory/heap.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

using tlvtest::BlockOf;
using tlvtest::Bytes;
using tlvtest::PutU32;

struct Expected {
    uint32_t size;
    uint32_t count;
    std::vector<uint32_t> table; // for a 12-byte header
    uint32_t gap;
    std::string data;
};

Bytes ImageOf(const Expected& e, uint32_t headerSize, const Bytes& extHeader) {
    const uint32_t extra = headerSize - 12;
    Bytes out;
    PutU32(out, e.size + extra);
    PutU32(out, e.count);
    PutU32(out, headerSize);
    out.insert(out.end(), extHeader.begin(), extHeader.end());
    for (uint32_t entry : e.table)
        PutU32(out, entry + extra);
    out.insert(out.end(), e.gap, 0);
    out.insert(out.end(), e.data.begin(), e.data.end());
    return out;
}

// One call on the list; the calls that copy a record out fill the string with it.
using Call = std::function<LONG(HMEM, std::string&)>;

// A call that stores text (its terminating zero left out), at an index or not.
Call Put(LONG (*f)(HMEM, const void*, DWORD), const char* text) {
    return [=](HMEM l, std::string&) { return f(l, text, static_cast<DWORD>(std::strlen(text))); };
}
Call PutAt(LONG (*f)(HMEM, LONG, const void*, DWORD), LONG index, const char* text) {
    return [=](HMEM l, std::string&) {
        return f(l, index, text, static_cast<DWORD>(std::strlen(text)));
    };
}
// A call that copies the record at index out into an 8-byte buffer.
Call Take(LONG (*f)(HMEM, LONG, void*, DWORD), LONG index) {
    return [=](HMEM l, std::string& out) {
        char buf[8] = {};
        const LONG r = f(l, index, buf, sizeof buf);
        out = buf;
        return r;
    };
}

struct Step {
    Call run;
    LONG result;
    Expected after;
    std::string out = ""; // the copied-out text
};

const std::vector<Step>& Sequence() {
    static const std::vector<Step> steps = {
        {Put(LIST_Push, "abc"), 1, {23, 1, {20, 23}, 0, "abc"}},
        {Put(LIST_Push, "defgh"), 2, {32, 2, {24, 27, 32}, 0, "abcdefgh"}},
        {Put(LIST_Push, "i"), 3, {37, 3, {28, 31, 36, 37}, 0, "abcdefghi"}},
        {Put(LIST_InsertTop, "XY"), 4, {43, 4, {32, 34, 37, 42, 43}, 0, "XYabcdefghi"}},
        // Gap 0: only the later entries move; the gap becomes 4.
        {Take(LIST_Remove, 1), 3, {40, 3, {32, 34, 39, 40}, 4, "XYdefghi"}, "abc"},
        // Gap 4: the table tail and every record move down by 4.
        {Take([](HMEM l, LONG, void* b, DWORD n) { return LIST_PopOldest(l, b, n); }, 0),
         2,
         {34, 2, {28, 33, 34}, 4, "defghi"},
         "XY"},
        // The gap of 4 takes the new entry: nothing moves.
        {Put(LIST_Push, "jk"), 3, {36, 3, {28, 33, 34, 36}, 0, "defghijk"}},
        {Take(LIST_DeleteIth, 1), 3, {35, 3, {28, 33, 33, 35}, 0, "defghjk"}, "i"},
        {Put(LIST_InsertAtFree, "Z"), 1, {36, 3, {28, 33, 34, 36}, 0, "defghZjk"}},
        // Three more entries: 12 bytes of table room.
        {PutAt(LIST_PutIth, 5, "mn"), 0, {50, 6, {40, 45, 46, 48, 48, 48, 50}, 0, "defghZjkmn"}},
        {PutAt(LIST_ReplaceIth, 0, "AB"), 6, {47, 6, {40, 42, 43, 45, 45, 45, 47}, 0, "ABZjkmn"}},
        // Slot 3 is empty.
        {[](HMEM l, std::string&) { return LIST_Remove(l, 3, nullptr, 0); },
         5,
         {47, 5, {40, 42, 43, 45, 45, 47}, 4, "ABZjkmn"}},
        // A replacement of another length is a removal and an insertion: with a gap of 4 the
        // removal gives the room back and the insertion does not need it.
        {PutAt(LIST_ReplaceIth, 1, "xyz"), 5, {45, 5, {36, 38, 41, 43, 43, 45}, 0, "ABxyzjkmn"}},
        {[](HMEM l, std::string&) { return LIST_InsertSubList(l, 2, nullptr, 0); },
         0,
         {49, 6, {40, 42, 45, 45, 47, 47, 49}, 0, "ABxyzjkmn"}},
        {PutAt(LIST_Insert, 1, "Q"), 7, {54, 7, {44, 46, 47, 50, 50, 52, 52, 54}, 0, "ABQxyzjkmn"}},
        // Same length: in place.
        {PutAt(LIST_ReplaceIth, 6, "MN"),
         7,
         {54, 7, {44, 46, 47, 50, 50, 52, 52, 54}, 0, "ABQxyzjkMN"}},
        // No data, the same length: the bytes stay.
        {[](HMEM l, std::string&) { return LIST_PutIth(l, 4, nullptr, 2); },
         0,
         {54, 7, {44, 46, 47, 50, 50, 52, 52, 54}, 0, "ABQxyzjkMN"}},
    };
    return steps;
}

class HandleListLayout : public ::testing::TestWithParam<uint32_t> {};

TEST_P(HandleListLayout, EveryStepGivesTheHandDerivedBytes) {
    const uint32_t headerSize = GetParam();
    HMEM list = headerSize == 12 ? LIST_Ctor() : LIST_CtorExt(headerSize);
    ASSERT_NE(list, nullptr);
    Bytes ext(headerSize - 12);
    for (size_t i = 0; i < ext.size(); ++i)
        ext[i] = static_cast<uint8_t>(0xA0 + i);
    if (!ext.empty())
        std::memcpy(static_cast<uint8_t*>(MEMMANLock(list)) + 12, ext.data(), ext.size());
    ASSERT_EQ(BlockOf(list), ImageOf({16, 0, {16}, 0, ""}, headerSize, ext));
    EXPECT_EQ(LIST_Size(list), 0);
    EXPECT_EQ(LIST_LLength(static_cast<LIST*>(MEMMANLock(list))), 16 + headerSize - 12);

    TlvUtl::ScopedMessageCapture sink;
    for (std::size_t i = 0; i < Sequence().size(); ++i) {
        SCOPED_TRACE("step " + std::to_string(i));
        const Step& step = Sequence()[i];
        std::string out;
        EXPECT_EQ(step.run(list, out), step.result);
        EXPECT_EQ(out, step.out);
        ASSERT_EQ(BlockOf(list), ImageOf(step.after, headerSize, ext));
        EXPECT_EQ(static_cast<uint32_t>(MEMMANGetSize(list)), step.after.size + headerSize - 12);
    }
    EXPECT_TRUE(tlvtest::Boxes(sink).empty());
    LIST_Dtor(list);
}

// 13: the offset table is not aligned; 64: the header the interface's notes use.
INSTANTIATE_TEST_SUITE_P(HeaderSizes, HandleListLayout, ::testing::Values(12u, 13u, 20u, 64u));

TEST(HandleListLayout, FailuresLeaveEveryByteInPlace) {
    HMEM list = LIST_Ctor();
    for (const Step& step : Sequence()) {
        std::string out;
        step.run(list, out);
    }
    const Bytes before = BlockOf(list);
    // Quiet failures and out-of-range indices are followed by the model test; here, the
    // sizes and heap failures it cannot reach.
    TlvUtl::ScopedMessageCapture sink;
    // Sizes that cannot be allocated: the block would pass 2 GB.
    EXPECT_EQ(LIST_Push(list, "x", 0xFFFFFFFFu), -1);
    EXPECT_EQ(LIST_InsertTop(list, "x", 0x7FFFFFF0u), -1);
    EXPECT_EQ(LIST_ReplaceIth(list, 0, "x", 0xFFFFFFF0u), -1);
    EXPECT_EQ(LIST_PutIth(list, 0x7FFFFFFF, "x", 1), -1);
    EXPECT_EQ(LIST_PutIth(list, -1, "x", 1), -1) << "a negative index is far beyond the end";
    EXPECT_EQ(LIST_InsertAtFree(list, "x", 0xFFFFFFFFu), -1);
    // A heap that refuses to grow the block.
    tlv::memory::FailNthAllocation(1);
    EXPECT_EQ(LIST_Insert(list, 1, "abc", 3), -1);
    tlv::memory::FailNthAllocation(1);
    EXPECT_EQ(LIST_ReplaceIth(list, 0, "abcdef", 6), -1);
    tlv::memory::FailNthAllocation(1);
    EXPECT_EQ(LIST_PutIth(list, 9, "abc", 3), -1);
    tlv::memory::FailNthAllocation(1);
    EXPECT_EQ(LIST_InsertSubList(list, 0, nullptr, 0), -1);
    tlv::memory::FailNthAllocation(0);
    EXPECT_EQ(tlvtest::CheckFatalCodes(sink, std::vector<UINT>(10, UTL_FATAL_RESIZE)), "");
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
    EXPECT_EQ(BlockOf(list), ImageOf(e, 12, {}));
    EXPECT_EQ(LIST_Push(list, "ij", 2), 2);
    EXPECT_EQ(BlockOf(list), ImageOf({28, 2, {24, 26, 28}, 0, "ghij"}, 12, {}));
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
    EXPECT_EQ(BlockOf(list), ImageOf({30, 2, {27, 29, 30}, 3, "abc"}, 12, {}));
    EXPECT_EQ(LIST_Remove(list, 0, nullptr, 0), 1);
    EXPECT_EQ(BlockOf(list), ImageOf({28, 1, {27, 28}, 7, "c"}, 12, {}));
    EXPECT_EQ(LIST_Push(list, "d", 1), 2);
    EXPECT_EQ(BlockOf(list), ImageOf({29, 2, {27, 28, 29}, 3, "cd"}, 12, {}));
    // Two more entries at once from a gap of 3: missing 5, rounded to 8.
    EXPECT_EQ(LIST_PutIth(list, 3, "e", 1), 0);
    EXPECT_EQ(BlockOf(list), ImageOf({38, 4, {35, 36, 37, 37, 38}, 3, "cde"}, 12, {}));
    LIST_Dtor(list);
}

} // namespace
