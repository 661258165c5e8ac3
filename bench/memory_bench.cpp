// Handle lists, the AVL tree and global lists, each next to its baseline in the same run.
//
// Handle lists keep every record in one exactly sized block, so most insertions and
// removals must move the records and rewrite the offset table. Their floor is a memmove of
// the same bytes: the BM_Memmove* twins move, per operation, as many bytes as the list
// operation has to move (the records plus the table) by the same distance. Both sides run in
// batches of kBatch operations from the same starting list; only the batch is timed.
//
// Ratios: compare BM_ListPush/N with BM_MemmovePush/N, and so on; BM_TreeFind with
// BM_MultisetFind; BM_GListCycle with BM_VectorCycle.
#include <tlvutl/lists.h>
#include <tlvutl/tree.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <numeric>
#include <random>
#include <set>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kRecord = 16;
constexpr int kBatch = 32;
const char kBytes[kRecord] = "0123456789abcde";
// The records the timed operations add, told apart from the starting ones.
const char kFresh[kRecord] = "fresh record 01";

HMEM BuildList(int count) {
    HMEM list = LIST_Ctor();
    for (int i = 0; i < count; ++i)
        LIST_Push(list, kBytes, kRecord);
    return list;
}

// True when the list holds count records of kRecord bytes, kFresh at [freshFrom, freshTo)
// and kBytes elsewhere.
bool ListHolds(HMEM list, LONG count, LONG freshFrom, LONG freshTo) {
    if (LIST_Size(list) != count)
        return false;
    char record[kRecord + 1];
    for (LONG i = 0; i < count; ++i) {
        const char* want = i >= freshFrom && i < freshTo ? kFresh : kBytes;
        if (LIST_GetIth(list, i, record, sizeof record) != static_cast<LONG>(kRecord) ||
            std::memcmp(record, want, kRecord) != 0)
            return false;
    }
    return true;
}

// What one batch leaves in a list of count records: its count and where the fresh records are.
struct Expected {
    LONG count, freshFrom, freshTo;
};

// Times kBatch runs of op(list, k) starting each batch from a list of range(0) records,
// after checking that one batch leaves what expect(count) says.
template <class Op, class Expect> void ListBatches(benchmark::State& state, Op op, Expect expect) {
    const auto count = static_cast<int>(state.range(0));
    HMEM pristine = BuildList(count);
    const LONG bytes = MEMMANGetSize(pristine);
    HMEM list = LIST_DupCtor(pristine);
    for (int k = 0; k < kBatch; ++k)
        op(list, k);
    const Expected e = expect(count);
    if (!ListHolds(list, e.count, e.freshFrom, e.freshTo)) {
        state.SkipWithError("the batch left a wrong list");
        LIST_Dtor(list);
        LIST_Dtor(pristine);
        return;
    }
    for (auto _ : state) {
        MEMMANReAlloc(list, bytes);
        std::memcpy(MEMMANLock(list), MEMMANLock(pristine), static_cast<size_t>(bytes));
        const auto start = Clock::now();
        for (int k = 0; k < kBatch; ++k)
            op(list, k);
        benchmark::ClobberMemory();
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    }
    LIST_Dtor(list);
    LIST_Dtor(pristine);
}

// Times kBatch memmoves of bytes(count, k) bytes by shift (up when positive).
template <class Bytes> void MemmoveBatches(benchmark::State& state, long shift, Bytes bytes) {
    const auto count = static_cast<uint32_t>(state.range(0));
    std::vector<char> buffer((count + kBatch + 2) * (kRecord + 8) + 64, 'x');
    char* base = buffer.data() + 32;
    benchmark::DoNotOptimize(base);
    base[0] = 'a';
    std::memmove(base + 4, base, 1);
    if (base[4] != 'a') {
        state.SkipWithError("memmove");
        return;
    }
    for (auto _ : state) {
        const auto start = Clock::now();
        for (int k = 0; k < kBatch; ++k) {
            const size_t n = bytes(count, static_cast<uint32_t>(k));
            if (shift > 0)
                std::memmove(base + shift, base, n);
            else
                std::memmove(base, base - shift, n);
        }
        benchmark::ClobberMemory();
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    }
}

// Records and table entries in a list of c records.
size_t ListBytes(uint32_t c) {
    return size_t{c} * kRecord + (size_t{c} + 1) * 4;
}

void BM_ListPush(benchmark::State& state) {
    ListBatches(
        state, [](HMEM l, int) { LIST_Push(l, kFresh, kRecord); },
        [](LONG n) {
            return Expected{n + kBatch, n, n + kBatch};
        });
}
void BM_MemmovePush(benchmark::State& state) {
    // Appending with no room in the gap moves every record up by 4 and rewrites the table.
    MemmoveBatches(state, 4, [](uint32_t n, uint32_t k) { return ListBytes(n + k); });
}

void BM_ListInsertFront(benchmark::State& state) {
    ListBatches(
        state, [](HMEM l, int) { LIST_Insert(l, 0, kFresh, kRecord); },
        [](LONG n) {
            return Expected{n + kBatch, 0, kBatch};
        });
}
void BM_MemmoveInsertFront(benchmark::State& state) {
    MemmoveBatches(state, kRecord + 4, [](uint32_t n, uint32_t k) { return ListBytes(n + k); });
}

void BM_ListRemoveFront(benchmark::State& state) {
    ListBatches(
        state, [](HMEM l, int) { LIST_Remove(l, 0, nullptr, 0); },
        [](LONG n) {
            return Expected{n - kBatch, 0, 0};
        });
}
void BM_MemmoveRemoveFront(benchmark::State& state) {
    MemmoveBatches(state, -static_cast<long>(kRecord + 4),
                   [](uint32_t n, uint32_t k) { return ListBytes(n - k - 1); });
}

#define LIST_SIZES Arg(100)->Arg(1000)->Arg(10000)->UseManualTime()
BENCHMARK(BM_ListPush)->LIST_SIZES;
BENCHMARK(BM_MemmovePush)->LIST_SIZES;
BENCHMARK(BM_ListInsertFront)->LIST_SIZES;
BENCHMARK(BM_MemmoveInsertFront)->LIST_SIZES;
BENCHMARK(BM_ListRemoveFront)->LIST_SIZES;
BENCHMARK(BM_MemmoveRemoveFront)->LIST_SIZES;

// ---- AVL tree next to std::multiset, 1,000,000 random keys held as pointer values ----

constexpr int kKeys = 1'000'000;

class KeyTree : public CBTree {
public:
    int Compare(void* item, void* key) override {
        const auto a = reinterpret_cast<intptr_t>(item), b = reinterpret_cast<intptr_t>(key);
        return (a > b) - (a < b);
    }
};

const std::vector<intptr_t>& Keys() {
    static const std::vector<intptr_t> keys = [] {
        std::mt19937_64 rng(42);
        std::vector<intptr_t> k(kKeys);
        for (auto& v : k)
            v = static_cast<intptr_t>(rng() >> 2);
        return k;
    }();
    return keys;
}

// The same keys in another random order, for look-ups and removals.
const std::vector<intptr_t>& Shuffled() {
    static const std::vector<intptr_t> keys = [] {
        std::vector<intptr_t> k = Keys();
        std::shuffle(k.begin(), k.end(), std::mt19937_64(7));
        return k;
    }();
    return keys;
}

void* AsItem(intptr_t k) {
    return reinterpret_cast<void*>(k);
}

void BM_TreeAdd(benchmark::State& state) {
    {
        KeyTree tree;
        bool ok = true;
        for (intptr_t k : Keys())
            ok &= tree.Add(AsItem(k)) != 0;
        for (intptr_t k : Shuffled())
            ok &= tree.Find(AsItem(k)) == AsItem(k);
        tree.RemoveAll();
        if (!ok) {
            state.SkipWithError("the tree lost a key");
            return;
        }
    }
    for (auto _ : state) {
        KeyTree tree;
        for (intptr_t k : Keys())
            tree.Add(AsItem(k));
        state.PauseTiming();
        tree.RemoveAll();
        state.ResumeTiming();
    }
}
void BM_MultisetAdd(benchmark::State& state) {
    for (auto _ : state) {
        std::multiset<intptr_t> set;
        for (intptr_t k : Keys())
            set.insert(k);
        state.PauseTiming();
        set.clear();
        state.ResumeTiming();
    }
}

void BM_TreeFind(benchmark::State& state) {
    KeyTree tree;
    for (intptr_t k : Keys())
        tree.Add(AsItem(k));
    for (intptr_t k : Shuffled())
        if (tree.Find(AsItem(k)) != AsItem(k)) {
            state.SkipWithError("a key was not found");
            return;
        }
    for (auto _ : state)
        for (intptr_t k : Shuffled())
            benchmark::DoNotOptimize(tree.Find(AsItem(k)));
}
void BM_MultisetFind(benchmark::State& state) {
    std::multiset<intptr_t> set(Keys().begin(), Keys().end());
    if (set.size() != Keys().size() || set.find(Shuffled()[0]) == set.end()) {
        state.SkipWithError("the set lost a key");
        return;
    }
    for (auto _ : state)
        for (intptr_t k : Shuffled())
            benchmark::DoNotOptimize(set.find(k));
}

void BM_TreeRemove(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        KeyTree tree;
        for (intptr_t k : Keys())
            tree.Add(AsItem(k));
        state.ResumeTiming();
        long wrong = 0;
        for (intptr_t k : Shuffled())
            wrong += tree.Remove(AsItem(k)) != AsItem(k);
        if (wrong != 0) {
            state.SkipWithError("a removal answered another item");
            return;
        }
    }
}
void BM_MultisetRemove(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        std::multiset<intptr_t> set(Keys().begin(), Keys().end());
        state.ResumeTiming();
        for (intptr_t k : Shuffled())
            set.erase(set.find(k));
    }
}

BENCHMARK(BM_TreeAdd)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_MultisetAdd)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_TreeFind)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_MultisetFind)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_TreeRemove)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_MultisetRemove)->Unit(benchmark::kMillisecond)->Iterations(3);

// ---- Global lists next to a vector of byte vectors: insert, retrieve, delete ----

constexpr int kRecords = 10'000;

void BM_GListCycle(benchmark::State& state) {
    char out[kRecord];
    {
        WGList list;
        bool ok = true;
        for (int i = 0; i < kRecords; ++i)
            ok &= list.InsertEnd(kBytes, kRecord) == i;
        for (int i = 0; i < kRecords; ++i)
            ok &= list.Retrieve(i, out, kRecord) == static_cast<int>(kRecord) &&
                  std::memcmp(out, kBytes, kRecord) == 0;
        for (int i = 0; i < kRecords; ++i)
            ok &= list.DeleteEnd() == 0;
        if (!ok || list.ListSize() != 0) {
            state.SkipWithError("the cycle went wrong");
            return;
        }
    }
    for (auto _ : state) {
        WGList list;
        for (int i = 0; i < kRecords; ++i)
            list.InsertEnd(kBytes, kRecord);
        for (int i = 0; i < kRecords; ++i)
            benchmark::DoNotOptimize(list.Retrieve(i, out, kRecord));
        for (int i = 0; i < kRecords; ++i)
            list.DeleteEnd();
    }
}
void BM_VectorCycle(benchmark::State& state) {
    char out[kRecord];
    {
        std::vector<std::vector<char>> list(kRecords, std::vector<char>(kBytes, kBytes + kRecord));
        std::memcpy(out, list.back().data(), kRecord);
        if (std::memcmp(out, kBytes, kRecord) != 0) {
            state.SkipWithError("wrong bytes");
            return;
        }
    }
    for (auto _ : state) {
        std::vector<std::vector<char>> list;
        for (int i = 0; i < kRecords; ++i)
            list.emplace_back(kBytes, kBytes + kRecord);
        for (int i = 0; i < kRecords; ++i) {
            std::memcpy(out, list[static_cast<size_t>(i)].data(), kRecord);
            benchmark::DoNotOptimize(out);
        }
        for (int i = 0; i < kRecords; ++i)
            list.pop_back();
    }
}
BENCHMARK(BM_GListCycle)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_VectorCycle)->Unit(benchmark::kMicrosecond);

} // namespace
