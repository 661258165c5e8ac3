// Global lists: the documented edge cases, the kept behaviours, and random sequences checked
// slot by slot against a model that also follows the capacity rules.
#include <tlvutl/lists.h>

#include "memory/heap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace {

// Reads the protected state the rules are stated in.
class Probe : public WGList {
public:
    using WGList::WGList;
    LONG Capacity() const { return m_nCapacity; }
    LONG Count() const { return m_nCount; }
    const LISTELEMENT& Slot(LONG i) const { return m_pElements[i]; }
};

int Add(WGList& l, const std::string& s) {
    return l.Insert(s.data(), static_cast<LONG>(s.size()));
}

std::string Text(WGList& l, LONG index) {
    LONG size = 0;
    const void* p = l.Get(index, size);
    return p ? std::string(static_cast<const char*>(p), static_cast<size_t>(size)) : "<none>";
}

TEST(GlobalList, RetrieveGetAndTheEnds) {
    Probe l;
    char buf[8] = {};
    EXPECT_EQ(l.GetStart(), nullptr);
    EXPECT_EQ(l.GetEnd(), nullptr);
    EXPECT_EQ(l.RetrieveEnd(buf, 8), 0);
    EXPECT_EQ(l.DeleteEnd(), -1);
    EXPECT_EQ(l.RemoveEnd(), 1);
    EXPECT_EQ(l.ReplaceEnd("x", 1), -1) << "nothing to replace";
    Add(l, "first");
    Add(l, "last!");
    EXPECT_EQ(l.Retrieve(0, buf, 3), 3);
    EXPECT_EQ(std::string(buf, 3), "fir");
    EXPECT_EQ(l.Retrieve(0, nullptr, 3), 0);
    EXPECT_EQ(l.RetrieveEnd(buf, 8), 5);
    EXPECT_EQ(std::string(buf, 5), "last!");
    LONG size = 0;
    EXPECT_NE(l.GetEnd(size), nullptr);
    EXPECT_EQ(size, 5);
    EXPECT_EQ(std::string(static_cast<char*>(l.GetStart()), 5), "first");
    l.DeleteStart();
    EXPECT_EQ(l.GetStart(size), nullptr);
    EXPECT_EQ(size, 0);
    EXPECT_EQ(l.Size(1), 5);
    // Retrieve ignores the used flag: a deleted slot, or one past count, holds nothing.
    EXPECT_EQ(l.Retrieve(0, buf, 8), 0);
    EXPECT_EQ(l.Retrieve(10, buf, 8), 0);

    // DeleteAll shrinks to 8 whatever the capacity was (24 here).
    for (int i = 0; i < 17; ++i)
        l.InsertEnd("x", 1);
    ASSERT_EQ(l.Capacity(), 24);
    EXPECT_EQ(l.DeleteAll(), 0);
    EXPECT_EQ(l.Count(), 0);
    EXPECT_EQ(l.Capacity(), 8);
}

// FindCompleteElement's prefix match is checked by the model test.
TEST(GlobalList, FindElementComparesAFieldAtAnOffset) {
    Probe l;
    Add(l, "xyz");
    Add(l, "abc");
    EXPECT_EQ(l.FindElement(0, "__c", 2, 1), 1);
    EXPECT_EQ(l.FindElement(0, "__z", 2, 1), 0) << "pattern bytes are read at the offset";
    EXPECT_EQ(l.FindElement(0, "___", 3, 0), 0) << "records of at least 3 bytes";
    EXPECT_EQ(l.FindElement(-1, "ab", 0, 2), -1);
}

int StopAtB(void* data, LONG size, LONG index, LONGLONG context) {
    auto* seen = reinterpret_cast<std::string*>(static_cast<intptr_t>(context));
    *seen += std::string(static_cast<const char*>(data), static_cast<size_t>(size)) +
             std::to_string(index);
    return *static_cast<const char*>(data) != 'b';
}

TEST(GlobalList, EnumerateVisitsUsedSlotsUntilStopped) {
    Probe l;
    for (const char* s : {"a", "x", "b", "c"})
        Add(l, s);
    l.Delete(1);
    std::string seen;
    const auto context = static_cast<LONGLONG>(reinterpret_cast<intptr_t>(&seen));
    EXPECT_EQ(l.Enumerate(StopAtB, context), 2);
    EXPECT_EQ(seen, "a0b2");
    l.Delete(2);
    seen.clear();
    EXPECT_EQ(l.Enumerate(StopAtB, context), 4);
    EXPECT_EQ(seen, "a0c3");
}

TEST(GlobalList, CopiesAreDeepAndIncludeTheHeader) {
    Probe l;
    EXPECT_EQ(l.SetHeader("HDR", 3), 1);
    Add(l, "a");
    Add(l, "bb");
    l.Delete(0);
    Probe copy(l);
    EXPECT_EQ(copy.Capacity(), l.Capacity());
    EXPECT_EQ(copy.Count(), 2);
    EXPECT_EQ(copy.Get(0), nullptr);
    EXPECT_EQ(Text(copy, 1), "bb");
    EXPECT_NE(copy.Get(1), l.Get(1));
    EXPECT_EQ(std::string(static_cast<char*>(copy.GetHeader()), 3), "HDR");
    EXPECT_NE(copy.GetHeader(), l.GetHeader());

    WGList assigned;
    Add(assigned, "old");
    assigned = l;
    EXPECT_EQ(Text(assigned, 1), "bb");
    EXPECT_EQ(assigned.ListSize(), 1);
    const WGList& same = assigned;
    assigned = same;
    EXPECT_EQ(assigned.GetHeaderSize(), 3);

    EXPECT_EQ(l.SetHeader(nullptr, 4), 1);
    EXPECT_EQ(std::string(static_cast<char*>(l.GetHeader()), 4), std::string(4, '\0'));
    EXPECT_EQ(l.SetHeader("x", -1), 0);
    EXPECT_EQ(l.GetHeaderSize(), 4);
    tlv::memory::FailNthAllocation(1);
    EXPECT_EQ(l.SetHeader("abc", 3), 0);
    EXPECT_EQ(l.GetHeaderSize(), 4);
    EXPECT_EQ(l.SetHeader(nullptr, 0), 1);
    EXPECT_EQ(l.GetHeader(), nullptr);

    tlv::memory::FailNthAllocation(2); // the first record's copy
    EXPECT_THROW(Probe{copy}, std::bad_alloc);
    tlv::memory::FailNthAllocation(0);
}

TEST(GlobalListKept, FailureCodesLookLikeIndicesAndLeaveTheRecords) {
    Probe l;
    for (int i = 0; i < 16; ++i)
        l.InsertEnd("r", 1);
    // The slot array cannot grow: 2, which is also a valid index.
    tlv::memory::FailNthAllocation(1);
    EXPECT_EQ(l.InsertEnd("new", 3), 2);
    EXPECT_EQ(l.Count(), 16);
    EXPECT_EQ(l.Capacity(), 16);
    EXPECT_EQ(Text(l, 2), "r");
    // The record cannot be allocated: 3.
    EXPECT_EQ(l.Insert(0, "new", -1), 3);
    tlv::memory::FailNthAllocation(1);
    EXPECT_EQ(l.Insert(1, "new", 3), 3);
    EXPECT_EQ(l.Count(), 16);
    EXPECT_EQ(l.ListSize(), 16);
    EXPECT_EQ(l.Replace(5, "new", -1), 3);
    EXPECT_EQ(Text(l, 5), "r");
    EXPECT_EQ(l.InsertEnd("new", 3), 16) << "growing works again afterwards";
    EXPECT_EQ(Text(l, 16), "new");
}

TEST(GlobalListHandle, NullHandlesAnswerNothing) {
    char buf[2];
    EXPECT_EQ(LISTPush(nullptr, "a", 1), -1);
    EXPECT_EQ(LISTGetIth(nullptr, 0, buf, 2), 0);
    EXPECT_EQ(LISTPutIth(nullptr, 0, "a", 1), -1);
    EXPECT_EQ(LISTReplaceIth(nullptr, 0, "a", 1), -1);
    EXPECT_EQ(LISTFindCompleteElement(nullptr, 0, "a", 1), -1);
    EXPECT_EQ(LISTSizeIth(nullptr, 0), 0);
    EXPECT_EQ(LISTSize(nullptr), 0);
    tlv::memory::FailNthAllocation(1); // the slot array: the list still works
    HGLIST l = LISTCtor();
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(LISTPush(l, "a", 1), 0);
    EXPECT_EQ(LISTSize(l), 1);
    LISTDtor(l);
}

// ---- Random sequences against a model ----

using Record = std::optional<std::vector<char>>;

struct Model {
    std::vector<Record> slots; // size is count
    LONG capacity = 16;

    void Shrink() {
        if (capacity - static_cast<LONG>(slots.size()) >= 9)
            capacity = static_cast<LONG>(slots.size()) + 8;
    }
    int Insert(LONG index, const std::vector<char>& r) {
        if (index < 0)
            return -1;
        const auto count = static_cast<LONG>(slots.size());
        index = std::min(index, count);
        if (count == capacity)
            capacity += 8;
        if (index < count && slots[static_cast<size_t>(index)])
            slots.insert(slots.begin() + index, r);
        else if (index < count)
            slots[static_cast<size_t>(index)] = r;
        else
            slots.push_back(r);
        return index;
    }
    int Delete(LONG index) {
        if (index >= static_cast<LONG>(slots.size()) || !slots[static_cast<size_t>(index)])
            return -1;
        slots[static_cast<size_t>(index)].reset();
        if (index == static_cast<LONG>(slots.size()) - 1)
            slots.pop_back();
        return 0;
    }
    void Remove(LONG index) {
        Delete(index);
        if (index + 1 < static_cast<LONG>(slots.size()))
            slots.erase(slots.begin() + index);
        Shrink();
    }
};

std::string Compare(Probe& l, const Model& m) {
    if (l.Count() != static_cast<LONG>(m.slots.size()))
        return "count " + std::to_string(l.Count());
    if (l.Capacity() != m.capacity)
        return "capacity " + std::to_string(l.Capacity()) + " vs " + std::to_string(m.capacity);
    int used = 0;
    for (LONG i = 0; i < l.Capacity(); ++i) {
        const Record none;
        const Record& want = i < l.Count() ? m.slots[static_cast<size_t>(i)] : none;
        used += want ? 1 : 0;
        if (l.Exist(i) != (want ? 1 : 0))
            return "used flag of " + std::to_string(i);
        LONG size = -1;
        const char* p = static_cast<const char*>(l.Get(i, size));
        if (!want ? (p || size != 0 || l.Size(i) != 0)
                  : (!p || std::vector<char>(p, p + size) != *want))
            return "record " + std::to_string(i);
    }
    if (l.ListSize() != used)
        return "ListSize";
    return "";
}

TEST(GlobalListModel, RandomSequencesAgreeSlotBySlot) {
    for (uint32_t seed = 1; seed <= 6; ++seed) {
        std::mt19937 rng(seed);
        auto pick = [&](uint32_t n) { return static_cast<LONG>(rng() % n); };
        Probe l;
        Model m;
        for (int step = 0; step < 3000; ++step) {
            const auto count = static_cast<LONG>(m.slots.size());
            // Indices within the capacity (the accessors check no bounds), sometimes past count.
            const LONG index = pick(10) == 0 ? -1 : pick(static_cast<uint32_t>(m.capacity));
            std::vector<char> r(static_cast<size_t>(pick(6)));
            for (char& c : r)
                c = static_cast<char>('a' + pick(3));
            const auto size = static_cast<LONG>(r.size());
            const int op = static_cast<int>(pick(9));
            switch (op) {
            case 0: {
                auto free = std::find_if(m.slots.begin(), m.slots.end(),
                                         [](const Record& s) { return !s; });
                const int want = m.Insert(static_cast<LONG>(free - m.slots.begin()), r);
                ASSERT_EQ(l.Insert(r.data(), size), want);
                break;
            }
            case 1:
            case 2:
                ASSERT_EQ(l.Insert(index, r.data(), size), m.Insert(index, r));
                break;
            case 3: {
                int want = -1;
                if (index >= 0 && count > 0) {
                    want = std::min(index, count - 1);
                    m.slots[static_cast<size_t>(want)] = r;
                }
                ASSERT_EQ(l.Replace(index, r.data(), size), want);
                break;
            }
            case 4:
            case 5:
                if (index >= 0) {
                    ASSERT_EQ(l.Delete(index), m.Delete(index));
                }
                break;
            case 6:
                if (index >= 0) {
                    ASSERT_EQ(l.Remove(index), 1);
                    m.Remove(index);
                }
                break;
            case 7: {
                LONG want = -1;
                const LONG start = std::max<LONG>(index, 0);
                for (LONG i = start; i < count && want < 0; ++i) {
                    const Record& s = m.slots[static_cast<size_t>(i)];
                    if (s && s->size() >= r.size() && std::equal(r.begin(), r.end(), s->begin()))
                        want = i;
                }
                const char* pattern = r.empty() ? "" : r.data(); // size 0 matches every record
                ASSERT_EQ(l.FindCompleteElement(start, pattern, size), want);
                break;
            }
            case 8:
                if (pick(20) == 0) {
                    l.Compact();
                    std::erase_if(m.slots, [](const Record& s) { return !s; });
                    m.Shrink();
                }
                break;
            }
            ASSERT_EQ(Compare(l, m), "")
                << "seed " << seed << " step " << step << " op " << op << " index " << index;
        }
    }
}

} // namespace
