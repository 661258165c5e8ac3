// Handle lists through their interface: what the model test (handle_list_model_test.cpp)
// does not reach, the fatal-error reports and the behaviours kept for existing callers.
#include <tlvutl/lists.h>

#include "fatal_reports.h"
#include "handle_list_model.h"
#include "memory/heap.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using tlvtest::CheckFatalCodes;

std::string Get(HMEM list, LONG index) {
    char buf[64];
    const LONG n = LIST_GetIth(list, index, buf, sizeof buf);
    if (n >= 0)
        return std::string(buf, static_cast<size_t>(n));
    std::string failure = "<";
    failure += std::to_string(n);
    failure += ">";
    return failure;
}

class HandleList : public ::testing::Test {
protected:
    void SetUp() override { list = LIST_Ctor(); }
    void TearDown() override { LIST_Dtor(list); }
    HMEM list = nullptr;
};

int CollectAndStopAtX(void* record, DWORD length, LONG index, LONGLONG context) {
    auto* seen = reinterpret_cast<std::string*>(static_cast<intptr_t>(context));
    const std::string text(static_cast<const char*>(record), length);
    *seen += std::to_string(index) + ":" + text + " ";
    return text != "X";
}

TEST_F(HandleList, EnumSkipsEmptySlotsAndStopsWhereTheCallbackSaysSo) {
    for (const char* s : {"a", "bb", "X", "d"})
        LIST_Push(list, s, static_cast<DWORD>(std::strlen(s)));
    LIST_DeleteIth(list, 1, nullptr, 0);
    std::string seen;
    const auto context = static_cast<LONGLONG>(reinterpret_cast<intptr_t>(&seen));
    EXPECT_EQ(LIST_Enum(list, CollectAndStopAtX, context), 2);
    EXPECT_EQ(seen, "0:a 2:X ");
    LIST_DeleteIth(list, 2, nullptr, 0);
    seen.clear();
    EXPECT_EQ(LIST_Enum(list, CollectAndStopAtX, context), 4);
    EXPECT_EQ(seen, "0:a 3:d ");
    EXPECT_EQ(LIST_Enum(list, nullptr, 0), -1);
}

HMEM g_growing = nullptr;

int GrowWhileWalking(void*, DWORD length, LONG index, LONGLONG) {
    // Pushing moves every record (and may move the block): the walk must see the new list.
    if (index < 3)
        LIST_Push(g_growing, "0123456789abcdef", static_cast<DWORD>(length + 1));
    return 1;
}

TEST_F(HandleList, EnumRereadsTheListAfterEachCallback) {
    g_growing = list;
    LIST_Push(list, "0", 1);
    EXPECT_EQ(LIST_Enum(list, GrowWhileWalking, 0), 4);
    EXPECT_EQ(Get(list, 3), "0123");
}

TEST_F(HandleList, FixOffsetTableAdoptsALastRecordGrownByTheCaller) {
    LIST_Push(list, "ab", 2);
    ASSERT_NE(MEMMANReAlloc(list, MEMMANGetSize(list) + 2), nullptr);
    auto* block = static_cast<unsigned char*>(MEMMANLock(list));
    std::memcpy(block + MEMMANGetSize(list) - 2, "cd", 2);
    const uint32_t size = static_cast<uint32_t>(MEMMANGetSize(list));
    std::memcpy(block, &size, 4);
    {
        TlvUtl::ScopedMessageCapture sink;
        EXPECT_EQ(LIST_Size(list), -1) << "the table no longer ends at the size";
        EXPECT_EQ(CheckFatalCodes(sink, {1001}), "");
    }
    EXPECT_EQ(LIST_FixOffsetTable(list), 0);
    EXPECT_EQ(Get(list, 0), "abcd");
}

TEST(HandleListFatal, NullHandlesAreReportedAsLockFailures) {
    TlvUtl::ScopedMessageCapture sink;
    char buf[4];
    EXPECT_EQ(LIST_Push(nullptr, "a", 1), -1);
    EXPECT_EQ(LIST_InsertTop(nullptr, "a", 1), -1);
    EXPECT_EQ(LIST_Insert(nullptr, 0, "a", 1), -1);
    EXPECT_EQ(LIST_PopOldest(nullptr, buf, 4), -1);
    EXPECT_EQ(LIST_Remove(nullptr, 0, buf, 4), -1);
    EXPECT_EQ(LIST_DeleteIth(nullptr, 0, buf, 4), -1);
    EXPECT_EQ(LIST_PutIth(nullptr, 0, "a", 1), -1);
    EXPECT_EQ(LIST_ReplaceIth(nullptr, 0, "a", 1), -1);
    EXPECT_EQ(LIST_Size(nullptr), -1);
    EXPECT_EQ(LIST_FindElement(nullptr, 0, "a", 1, 0, 1), -1);
    EXPECT_EQ(LIST_FindCompleteElement(nullptr, 0, "a", 1), -1);
    EXPECT_EQ(LIST_Enum(nullptr, CollectAndStopAtX, 0), -1);
    EXPECT_EQ(LIST_SizeSubList(nullptr, 0, 0, 1), -1);
    EXPECT_EQ(LIST_InsertSubList(nullptr, 0, "a", 1), -1);
    EXPECT_EQ(LIST_FixOffsetTable(nullptr), -1);
    EXPECT_EQ(LIST_DupCtor(nullptr), nullptr);
    EXPECT_EQ(CheckFatalCodes(sink, std::vector<UINT>(16, 1001)), "");
}

TEST(HandleListFatal, BadArgumentsAreReportedWith5002) {
    HMEM list = LIST_Ctor();
    LIST_Push(list, "abc", 3);
    TlvUtl::ScopedMessageCapture sink;
    char buf[4];
    EXPECT_EQ(LIST_GetIth(nullptr, 0, buf, 4), -1);
    EXPECT_EQ(LIST_GetIth(list, 0, nullptr, 4), -1);
    EXPECT_EQ(LIST_ExistIth(nullptr, 0), 0);
    EXPECT_EQ(LIST_InsertAtFree(nullptr, "a", 1), -1);
    EXPECT_EQ(LIST_InsertAtFree(list, nullptr, 1), -1);
    DWORD length = 99;
    EXPECT_EQ(LIST_LGetIth(static_cast<LIST*>(MEMMANLock(list)), 1, &length), nullptr);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(LIST_LGetIth(nullptr, 0, &length), nullptr);
    EXPECT_EQ(LIST_CtorExt(11), nullptr) << "a header shorter than the list's own fields";
    EXPECT_EQ(CheckFatalCodes(sink, std::vector<UINT>(8, 5002)), "");
    EXPECT_EQ(LIST_LSize(nullptr), 0);
    EXPECT_EQ(LIST_LLength(nullptr), 0u);
    EXPECT_EQ(Get(list, 0), "abc");
    LIST_Dtor(list);
}

TEST(HandleListFatal, AllocationFailuresOfNewListsAreReportedWith1000) {
    TlvUtl::ScopedMessageCapture sink;
    tlv::memory::FailNthAllocation(1);
    EXPECT_EQ(LIST_Ctor(), nullptr);
    tlv::memory::FailNthAllocation(2);
    EXPECT_EQ(LIST_CtorExt(64), nullptr);
    EXPECT_EQ(LIST_CtorExt(0xFFFFFFF0u), nullptr);
    HMEM list = LIST_Ctor();
    tlv::memory::FailNthAllocation(1);
    EXPECT_EQ(LIST_DupCtor(list), nullptr);
    tlv::memory::FailNthAllocation(0);
    EXPECT_EQ(CheckFatalCodes(sink, {1000, 1000, 1000, 1000}), "");
    LIST_Dtor(list);
}

TEST(HandleListFatal, BlocksThatAreNotListsCannotBeLocked) {
    TlvUtl::ScopedMessageCapture sink;
    HMEM tooSmall = MEMMANAlloc(8);
    EXPECT_EQ(LIST_Push(tooSmall, "a", 1), -1);
    HMEM zeros = MEMMANAlloc(64); // table offset 0
    EXPECT_EQ(LIST_Size(zeros), -1);
    HMEM list = LIST_Ctor();
    LIST_Push(list, "abc", 3);
    auto* block = static_cast<unsigned char*>(MEMMANLock(list));
    const uint32_t hugeCount = 0x40000000;
    std::memcpy(block + 4, &hugeCount, 4);
    EXPECT_EQ(LIST_Push(list, "a", 1), -1) << "the table would pass the block's end";
    const uint32_t one = 1, wild = 0x7FFFFFFF;
    std::memcpy(block + 4, &one, 4);
    std::memcpy(block + 12, &wild, 4); // entry 0 past the end
    EXPECT_EQ(LIST_GetIth(list, 0, block, 1), -1);
    EXPECT_EQ(CheckFatalCodes(sink, {1001, 1001, 1001, 1001}), "");
    MEMMANFree(tooSmall);
    MEMMANFree(zeros);
    LIST_Dtor(list);
}

// Behaviours existing callers rely on; they look odd and are kept on purpose. (The results
// that look like indices and the unsigned index checks are followed by the model.)
TEST(HandleListKept, NullDataStoresZerosAndReplacingInPlaceKeepsTheBytes) {
    HMEM list = LIST_Ctor();
    EXPECT_EQ(LIST_Push(list, nullptr, 3), 1);
    char buf[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(LIST_GetIth(list, 0, buf, 4), 3);
    EXPECT_EQ(std::string(buf, 3), std::string(3, '\0'));
    LIST_ReplaceIth(list, 0, "abc", 3);
    EXPECT_EQ(LIST_ReplaceIth(list, 0, nullptr, 3), 1);
    EXPECT_EQ(Get(list, 0), "abc");
    // Replacing with a size of 0 empties the slot (a removal and an empty insertion).
    EXPECT_EQ(LIST_ReplaceIth(list, 0, "abc", 0), 1);
    EXPECT_EQ(LIST_ExistIth(list, 0), 0);
    LIST_Dtor(list);
}

} // namespace
