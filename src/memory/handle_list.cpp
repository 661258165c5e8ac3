// Handle lists: variable-length records in one block, addressed through an offset table.
//
// The block is a persisted format, so every operation produces exactly the bytes the layout
// rules give: the block is resized to the byte, the table grows into the gap before the
// records and moves them up by a multiple of 4 when the gap is too small, and a removed
// table entry gives its 4 bytes back only when the gap already holds 4. Each operation is
// done in one pass with one resize; growing resizes first (and a failure leaves the block
// untouched), shrinking resizes last (and cannot fail as far as the list is concerned).
//
// Callers own the block and may have written it themselves, so the header is checked on
// every call and each table entry is checked where its value is used to address memory.
#include <tlvutl/frame.h>
#include <tlvutl/lists.h>

#include "handle_record.h"
#include "heap.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdint>
#include <cstring>
#include <optional>

static_assert(std::endian::native == std::endian::little,
              "the list block is little-endian; a big-endian port must swap its fields");

namespace {

constexpr const wchar_t* kModuleName = L"listman";
constexpr uint32_t kEntry = 4;
constexpr uint32_t kHeaderBytes = 12;
constexpr uint64_t kMaxBlock = INT32_MAX; // HMEM sizes are signed 32-bit

// The line is the caller's (__builtin_LINE as a default argument is evaluated at the call;
// std::source_location is not available with every compiler the library is built with).
void Report(UINT code, UINT line = __builtin_LINE()) {
    // A failed resize gets the "could not be completed" body; everything else is a fault
    // the user should save their work after.
    UIMSG_FatalError(code, kModuleName, line, kModuleName, code == UTL_FATAL_RESIZE ? 0 : 1);
}

inline uint32_t Load(const unsigned char* p) {
    uint32_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

inline void Store(unsigned char* p, uint32_t v) {
    std::memcpy(p, &v, sizeof v);
}

// Adjusting the offset table is most of the cost of an insertion or removal besides the
// memmoves, and it must run at about memmove speed for the list to keep up with one. The
// entries are adjusted in chunks of 16 held in one vector value (a single register where
// AVX-512 is there, two with AVX2), two chunks per step, and the widest variant the processor
// has is chosen at load time. Stores are left unaligned: on current cores a split store costs
// less than the scalar steps it would take to reach an alignment boundary, and the table
// behind an odd header size would never reach one anyway.
// clang gives the load-time resolvers of such clones default visibility, which would export
// private functions; only GCC builds get the variants, and only for ELF targets (the
// resolvers are ifuncs, which PE has not). Sanitized builds do without them: the
// resolvers run at load time, instrumented, before the sanitizer's runtime is up.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define TLVUTL_NO_LOAD_TIME_VARIANTS
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TLVUTL_NO_LOAD_TIME_VARIANTS
#endif
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) &&                             \
    !defined(TLVUTL_NO_LOAD_TIME_VARIANTS) && !defined(_WIN32)
#define TLVUTL_WIDE_VECTORS __attribute__((target_clones("avx512f", "avx2", "default")))
#else
#define TLVUTL_WIDE_VECTORS
#endif

constexpr uint32_t kChunk = 16;
constexpr uint32_t kChunkBytes = kChunk * kEntry;

#if defined(__GNUC__)
// Sixteen entries as one value, so a chunk stays in registers.
typedef uint32_t Chunk __attribute__((vector_size(kChunkBytes)));
inline void AddChunk(Chunk& c, uint32_t delta) {
    c += delta;
}
#else
struct Chunk {
    uint32_t v[kChunk];
};
inline void AddChunk(Chunk& c, uint32_t delta) {
    for (uint32_t& v : c.v)
        v += delta;
}
#endif

inline void AddToChunk(unsigned char* p, uint32_t delta) {
    Chunk chunk;
    std::memcpy(&chunk, p, kChunkBytes);
    AddChunk(chunk, delta);
    std::memcpy(p, &chunk, kChunkBytes);
}

// Adds delta (mod 2^32) to n consecutive entries.
TLVUTL_WIDE_VECTORS void AddToEntries(unsigned char* p, uint32_t n, uint32_t delta) {
    if (delta == 0)
        return;
    uint32_t i = 0;
    for (; i + 2 * kChunk <= n; i += 2 * kChunk) {
        AddToChunk(p + i * kEntry, delta);
        AddToChunk(p + (i + kChunk) * kEntry, delta);
    }
    if (i + kChunk <= n) {
        AddToChunk(p + i * kEntry, delta);
        i += kChunk;
    }
    for (; i < n; ++i)
        Store(p + i * kEntry, Load(p + i * kEntry) + delta);
}

// Entries p[0, n) move one place up, to p[1, n + 1), and gain delta: what an insertion does
// to the entries after it, in one pass rather than a memmove and another pass. Downwards, as
// the ranges overlap.
TLVUTL_WIDE_VECTORS void MoveEntriesUp(unsigned char* p, uint32_t n, uint32_t delta) {
    uint32_t j = n;
    for (; j >= kChunk; j -= kChunk) {
        Chunk chunk;
        std::memcpy(&chunk, p + (j - kChunk) * kEntry, kChunkBytes);
        AddChunk(chunk, delta);
        std::memcpy(p + (j - kChunk + 1) * kEntry, &chunk, kChunkBytes);
    }
    for (; j > 0; --j)
        Store(p + j * kEntry, Load(p + (j - 1) * kEntry) + delta);
}

// Entries p[1, n + 1) move one place down, to p[0, n), and gain delta (a removal).
TLVUTL_WIDE_VECTORS void MoveEntriesDown(unsigned char* p, uint32_t n, uint32_t delta) {
    uint32_t j = 0;
    for (; j + kChunk <= n; j += kChunk) {
        Chunk chunk;
        std::memcpy(&chunk, p + (j + 1) * kEntry, kChunkBytes);
        AddChunk(chunk, delta);
        std::memcpy(p + j * kEntry, &chunk, kChunkBytes);
    }
    for (; j < n; ++j)
        Store(p + j * kEntry, Load(p + (j + 1) * kEntry) + delta);
}

// memmove, without the call for the empty moves that appends and removals at the end make.
inline void Move(unsigned char* to, const unsigned char* from, std::size_t bytes) {
    if (bytes)
        std::memmove(to, from, bytes);
}

uint64_t RoundUp4(uint64_t v) {
    return (v + 3) & ~uint64_t{3};
}

// One list, locked: the handle, its block and the header fields.
class Block {
public:
    Block(HMEM handle, unsigned char* base)
        : handle_(handle), base_(base), size_(Load(base)), count_(Load(base + 4)),
          tableOffset_(Load(base + 8)) {}

    uint32_t Size() const { return size_; }
    uint32_t Count() const { return count_; }
    unsigned char* Base() const { return base_; }

    unsigned char* Table() const { return base_ + tableOffset_; }
    uint32_t Entry(uint32_t i) const { return Load(Table() + i * kEntry); }
    void SetEntry(uint32_t i, uint32_t v) { Store(Table() + i * kEntry, v); }
    uint64_t TableEnd() const { return uint64_t{tableOffset_} + (uint64_t{count_} + 1) * kEntry; }
    uint32_t Gap() const { return static_cast<uint32_t>(Entry(0) - TableEnd()); }
    // Zeroes the gap, so that no stale table or record bytes are persisted with the list.
    // The gap is under 8 bytes in any list this code has written.
    void ClearGap() {
        unsigned char* gap = base_ + TableEnd();
        const uint32_t bytes = Gap();
        if (bytes > 8) {
            std::memset(gap, 0, bytes);
            return;
        }
        for (uint32_t k = 0; k < bytes; ++k)
            gap[k] = 0;
    }

    // The header's own consistency; entries other than 0 and count are checked where used.
    bool Valid(bool requireEnd) const {
        if (size_ > static_cast<uint64_t>(handle_->size) || tableOffset_ < kHeaderBytes)
            return false;
        if (TableEnd() > size_)
            return false;
        const uint32_t first = Entry(0);
        if (first < TableEnd() || first > size_)
            return false;
        return !requireEnd || Entry(count_) == size_;
    }

    // Where record i lies, if its entries make sense.
    bool Record(uint32_t i, uint32_t& offset, uint32_t& length) const {
        const uint32_t begin = Entry(i), end = Entry(i + 1);
        if (begin < Entry(0) || begin > end || end > size_)
            return false;
        offset = begin;
        length = end - begin;
        return true;
    }

    // The exact new size; false (nothing changed) when the block cannot take it. Shrinking
    // always succeeds: if the heap will not shrink, the block keeps its spare tail.
    bool Resize(uint64_t newSize) {
        if (newSize > kMaxBlock)
            return false;
        const auto size = static_cast<LONG>(newSize);
        if (!tlv::memory::ResizeHandle(*handle_, size)) {
            if (size > handle_->size)
                return false;
            tlv::memory::SetHandleSize(*handle_, size);
        }
        base_ = static_cast<unsigned char*>(handle_->data);
        return true;
    }

    void SetHeader(uint32_t size, uint32_t count) {
        size_ = size;
        count_ = count;
        Store(base_, size);
        Store(base_ + 4, count);
    }

private:
    HMEM handle_;
    unsigned char* base_;
    uint32_t size_;
    uint32_t count_;
    uint32_t tableOffset_;
};

// Locks the list. A null handle is reported with nullCode; a block that is not a list with
// 1001, as it cannot be locked as one.
std::optional<Block> Open(HMEM list, UINT nullCode = UTL_FATAL_LOCK, bool requireEnd = true,
                          UINT line = __builtin_LINE()) {
    if (!list || !list->data) {
        Report(nullCode, line);
        return std::nullopt;
    }
    if (list->size < 16) {
        Report(UTL_FATAL_LOCK, line);
        return std::nullopt;
    }
    Block block(list, static_cast<unsigned char*>(list->data));
    if (!block.Valid(requireEnd)) {
        Report(UTL_FATAL_LOCK, line);
        return std::nullopt;
    }
    return block;
}

void Fill(unsigned char* at, const void* data, uint32_t length) {
    if (data)
        std::memcpy(at, data, length);
    else
        std::memset(at, 0, length);
}

void CopyOut(const unsigned char* record, uint32_t length, void* buffer, DWORD bufferSize) {
    if (buffer)
        std::memcpy(buffer, record, std::min<uint32_t>(length, bufferSize));
}

// The shift that gives the table room for `added` more entries: the missing room rounded up
// to a multiple of 4, or 0 when the gap suffices.
uint64_t TableShift(const Block& b, uint64_t added) {
    const int64_t missing =
        static_cast<int64_t>(b.TableEnd() + added * kEntry) - static_cast<int64_t>(b.Entry(0));
    return missing > 0 ? RoundUp4(static_cast<uint64_t>(missing)) : 0;
}

// Inserts a record of `length` bytes before record i (i == count appends; length 0 makes
// an empty slot).
bool InsertRecord(Block& b, uint32_t i, const void* data, uint32_t length) {
    const uint32_t n = b.Count(), size = b.Size(), first = b.Entry(0);
    const uint32_t at = b.Entry(i);
    if (at < first || at > size)
        return false;
    const auto shift = static_cast<uint32_t>(TableShift(b, 1));
    const uint64_t newSize = uint64_t{size} + shift + length;
    if (!b.Resize(newSize)) {
        Report(UTL_FATAL_RESIZE);
        return false;
    }
    unsigned char* base = b.Base();
    // Records first: the table grows into the room they leave.
    Move(base + at + shift + length, base + at, size - at);
    if (shift)
        Move(base + first + shift, base + first, at - first);
    unsigned char* table = b.Table();
    MoveEntriesUp(table + i * kEntry, n + 1 - i, shift + length);
    if (shift)
        AddToEntries(table, i, shift);
    b.SetEntry(i, at + shift);
    Fill(base + at + shift, data, length);
    b.SetHeader(static_cast<uint32_t>(newSize), n + 1);
    b.ClearGap();
    return true;
}

// Removes record i and its slot, copying it out first.
void RemoveRecord(Block& b, uint32_t i, uint32_t at, uint32_t length, void* buffer,
                  DWORD bufferSize) {
    const uint32_t n = b.Count(), size = b.Size(), first = b.Entry(0);
    CopyOut(b.Base() + at, length, buffer, bufferSize);
    // The freed table entry is given back only when the gap already holds 4 bytes;
    // otherwise it widens the gap.
    const uint32_t shift = b.Gap() < kEntry ? 0 : kEntry;
    unsigned char* table = b.Table();
    if (shift)
        AddToEntries(table, i, 0u - shift);
    MoveEntriesDown(table + i * kEntry, n - i, 0u - (length + shift));
    unsigned char* base = b.Base();
    if (shift)
        Move(base + first - shift, base + first, at - first);
    Move(base + at - shift, base + at + length, size - at - length);
    const uint32_t newSize = size - length - shift;
    b.SetHeader(newSize, n - 1);
    b.ClearGap();
    b.Resize(newSize);
}

// Empties slot i: its bytes go, its entry stays.
void EmptyRecord(Block& b, uint32_t i, uint32_t at, uint32_t length) {
    const uint32_t n = b.Count(), size = b.Size();
    unsigned char* base = b.Base();
    std::memmove(base + at, base + at + length, size - at - length);
    AddToEntries(b.Table() + (i + 1) * kEntry, n - i, 0u - length);
    b.SetHeader(size - length, n);
    b.Resize(size - length);
}

// Stores a record in empty slot i.
bool FillSlot(Block& b, uint32_t i, uint32_t at, const void* data, uint32_t length) {
    const uint32_t n = b.Count(), size = b.Size();
    const uint64_t newSize = uint64_t{size} + length;
    if (!b.Resize(newSize)) {
        Report(UTL_FATAL_RESIZE);
        return false;
    }
    unsigned char* base = b.Base();
    std::memmove(base + at + length, base + at, size - at);
    AddToEntries(b.Table() + (i + 1) * kEntry, n - i, length);
    Fill(base + at, data, length);
    b.SetHeader(static_cast<uint32_t>(newSize), n);
    return true;
}

// Replaces record i by a record of another length: the same bytes as removing it and
// inserting the new one at its index. With a gap of 4 or more that pair gives 4 bytes of
// table room back, so everything moves down by 4; otherwise only the later records move.
bool ReplaceRecord(Block& b, uint32_t i, uint32_t at, uint32_t oldLength, const void* data,
                   uint32_t length) {
    const uint32_t n = b.Count(), size = b.Size(), first = b.Entry(0);
    const uint32_t shift = b.Gap() < kEntry ? 0 : kEntry;
    const uint64_t newSize = uint64_t{size} - oldLength - shift + length;
    if (newSize > size && !b.Resize(newSize)) {
        Report(UTL_FATAL_RESIZE);
        return false;
    }
    unsigned char* base = b.Base();
    const uint32_t end = at + oldLength;
    if (shift)
        std::memmove(base + first - shift, base + first, at - first);
    std::memmove(base + at - shift + length, base + end, size - end);
    unsigned char* table = b.Table();
    AddToEntries(table, i + 1, 0u - shift);
    AddToEntries(table + (i + 1) * kEntry, n - i, length - oldLength - shift);
    Fill(base + at - shift, data, length);
    b.SetHeader(static_cast<uint32_t>(newSize), n);
    b.ClearGap();
    if (newSize < size)
        b.Resize(newSize);
    return true;
}

// Replaces record i, in place when the length stays (a null data pointer keeps the bytes).
bool Replace(Block& b, uint32_t i, const void* data, uint32_t length) {
    uint32_t at, oldLength;
    if (!b.Record(i, at, oldLength)) {
        Report(UTL_FATAL_LOCK);
        return false;
    }
    if (oldLength == length) {
        if (data && length)
            std::memcpy(b.Base() + at, data, length);
        return true;
    }
    return ReplaceRecord(b, i, at, oldLength, data, length);
}

// Stores a record at index >= count, with empty slots from count up to it.
bool PutBeyond(Block& b, uint32_t index, const void* data, uint32_t length) {
    const uint32_t n = b.Count(), size = b.Size(), first = b.Entry(0);
    const uint64_t added = uint64_t{index} - n + 1;
    const uint64_t shift = TableShift(b, added);
    const uint64_t newSize = uint64_t{size} + shift + length;
    if (newSize > kMaxBlock || !b.Resize(newSize)) {
        Report(UTL_FATAL_RESIZE);
        return false;
    }
    unsigned char* base = b.Base();
    const uint32_t s = static_cast<uint32_t>(shift);
    std::memmove(base + first + s, base + first, size - first);
    AddToEntries(b.Table(), n + 1, s);
    for (uint32_t j = n + 1; j <= index; ++j)
        b.SetEntry(j, size + s);
    b.SetEntry(index + 1, static_cast<uint32_t>(newSize));
    Fill(base + size + s, data, length);
    b.SetHeader(static_cast<uint32_t>(newSize), index + 1);
    b.ClearGap();
    return true;
}

HMEM NewList(uint32_t headerSize) {
    const uint64_t bytes = uint64_t{headerSize} + kEntry;
    HMEM list = bytes <= kMaxBlock ? MEMMANAlloc(static_cast<LONG>(bytes)) : nullptr;
    if (!list) {
        Report(UTL_FATAL_ALLOCATION);
        return nullptr;
    }
    auto* base = static_cast<unsigned char*>(list->data);
    Store(base, static_cast<uint32_t>(bytes));
    Store(base + 4, 0);
    Store(base + 8, headerSize);
    Store(base + headerSize, static_cast<uint32_t>(bytes));
    return list;
}

LONG Insert(HMEM list, LONG index, const void* data, DWORD size) {
    auto b = Open(list);
    if (!b || size == 0)
        return -1;
    const uint32_t i = std::min(static_cast<uint32_t>(index), b->Count());
    if (!InsertRecord(*b, i, data, size))
        return -1;
    return static_cast<LONG>(b->Count());
}

LONG RemoveAt(Block& b, uint32_t i, void* buffer, DWORD bufferSize) {
    uint32_t at, length;
    if (!b.Record(i, at, length)) {
        Report(UTL_FATAL_LOCK);
        return -1;
    }
    RemoveRecord(b, i, at, length, buffer, bufferSize);
    return static_cast<LONG>(b.Count());
}

} // namespace

HMEM LIST_Ctor(void) {
    return NewList(kHeaderBytes);
}

HMEM LIST_CtorExt(DWORD headerSize) {
    if (headerSize < kHeaderBytes) {
        Report(UTL_FATAL_BAD_ARGUMENT);
        return nullptr;
    }
    return NewList(headerSize);
}

HMEM LIST_DupCtor(HMEM list) {
    if (!list) {
        Report(UTL_FATAL_LOCK);
        return nullptr;
    }
    HMEM copy = MEMMANDuplicate(list);
    if (!copy)
        Report(UTL_FATAL_ALLOCATION);
    return copy;
}

void LIST_Dtor(HMEM list) {
    MEMMANFree(list);
}

LONG LIST_Push(HMEM list, const void* data, DWORD size) {
    return Insert(list, -1, data, size);
}

LONG LIST_InsertTop(HMEM list, const void* data, DWORD size) {
    return Insert(list, 0, data, size);
}

LONG LIST_Insert(HMEM list, LONG index, const void* data, DWORD size) {
    return Insert(list, index, data, size);
}

LONG LIST_InsertAtFree(HMEM list, const void* data, DWORD size) {
    auto b = Open(list, UTL_FATAL_BAD_ARGUMENT);
    if (!b)
        return -1;
    if (size == 0)
        return 0;
    if (!data) {
        Report(UTL_FATAL_BAD_ARGUMENT);
        return -1;
    }
    const uint32_t n = b->Count();
    for (uint32_t i = 0; i < n; ++i) {
        if (b->Entry(i) != b->Entry(i + 1))
            continue;
        uint32_t at, length;
        if (!b->Record(i, at, length)) {
            Report(UTL_FATAL_LOCK);
            return -1;
        }
        return FillSlot(*b, i, at, data, size) ? static_cast<LONG>(i) : -1;
    }
    return InsertRecord(*b, n, data, size) ? static_cast<LONG>(n) : -1;
}

LONG LIST_PopOldest(HMEM list, void* buffer, DWORD bufferSize) {
    auto b = Open(list);
    if (!b || b->Count() == 0)
        return -1;
    return RemoveAt(*b, 0, buffer, bufferSize);
}

LONG LIST_Remove(HMEM list, LONG index, void* buffer, DWORD bufferSize) {
    auto b = Open(list);
    if (!b)
        return -1;
    if (static_cast<uint32_t>(index) >= b->Count()) {
        Report(UTL_FATAL_BAD_ARGUMENT);
        return -1;
    }
    return RemoveAt(*b, static_cast<uint32_t>(index), buffer, bufferSize);
}

LONG LIST_DeleteIth(HMEM list, LONG index, void* buffer, DWORD bufferSize) {
    auto b = Open(list);
    if (!b)
        return -1;
    const auto i = static_cast<uint32_t>(index);
    if (i >= b->Count()) {
        Report(UTL_FATAL_BAD_ARGUMENT);
        return -1;
    }
    uint32_t at, length;
    if (!b->Record(i, at, length)) {
        Report(UTL_FATAL_LOCK);
        return -1;
    }
    CopyOut(b->Base() + at, length, buffer, bufferSize);
    if (length)
        EmptyRecord(*b, i, at, length);
    return static_cast<LONG>(b->Count());
}

LONG LIST_GetIth(HMEM list, LONG index, void* buffer, DWORD bufferSize) {
    if (!buffer) {
        Report(UTL_FATAL_BAD_ARGUMENT);
        return -1;
    }
    auto b = Open(list, UTL_FATAL_BAD_ARGUMENT);
    if (!b)
        return -1;
    const auto i = static_cast<uint32_t>(index);
    uint32_t at, length;
    if (i >= b->Count() || !b->Record(i, at, length) || length == 0)
        return -1;
    const uint32_t copied = std::min<uint32_t>(length, bufferSize);
    std::memcpy(buffer, b->Base() + at, copied);
    return static_cast<LONG>(copied);
}

LONG LIST_PutIth(HMEM list, LONG index, const void* data, DWORD size) {
    auto b = Open(list);
    if (!b || size == 0)
        return -1;
    const auto i = static_cast<uint32_t>(index);
    const bool stored = i < b->Count() ? Replace(*b, i, data, size) : PutBeyond(*b, i, data, size);
    return stored ? 0 : -1;
}

LONG LIST_ReplaceIth(HMEM list, LONG index, const void* data, DWORD size) {
    auto b = Open(list);
    if (!b)
        return -1;
    const auto i = static_cast<uint32_t>(index);
    if (i >= b->Count()) {
        Report(UTL_FATAL_BAD_ARGUMENT);
        return -1;
    }
    return Replace(*b, i, data, size) ? static_cast<LONG>(b->Count()) : -1;
}

LONG LIST_ExistIth(HMEM list, LONG index) {
    auto b = Open(list, UTL_FATAL_BAD_ARGUMENT);
    if (!b)
        return 0;
    const auto i = static_cast<uint32_t>(index);
    return i < b->Count() && b->Entry(i) != b->Entry(i + 1) ? 1 : 0;
}

LONG LIST_Size(HMEM list) {
    auto b = Open(list);
    return b ? static_cast<LONG>(b->Count()) : -1;
}

LONG LIST_FindElement(HMEM list, LONG start, const void* pattern, DWORD patternSize,
                      DWORD fieldOffset, DWORD fieldLength) {
    auto b = Open(list);
    if (!b)
        return -1;
    const uint64_t fieldEnd = uint64_t{fieldOffset} + fieldLength;
    if (!pattern || patternSize == 0 || patternSize < fieldEnd)
        return -1;
    const auto* wanted = static_cast<const unsigned char*>(pattern) + fieldOffset;
    const uint32_t n = b->Count();
    for (auto i = static_cast<uint32_t>(start); i < n; ++i) {
        uint32_t at, length;
        if (!b->Record(i, at, length))
            return -1;
        if (length >= fieldEnd &&
            std::memcmp(b->Base() + at + fieldOffset, wanted, fieldLength) == 0)
            return static_cast<LONG>(i);
    }
    return -1;
}

LONG LIST_FindCompleteElement(HMEM list, LONG start, const void* data, DWORD size) {
    auto b = Open(list);
    if (!b || (!data && size))
        return -1;
    const uint32_t n = b->Count();
    for (auto i = static_cast<uint32_t>(start); i < n; ++i) {
        uint32_t at, length;
        if (!b->Record(i, at, length))
            return -1;
        if (length == size && (size == 0 || std::memcmp(b->Base() + at, data, size) == 0))
            return static_cast<LONG>(i);
    }
    return -1;
}

LONG LIST_Enum(HMEM list, LIST_ENUMPROC callback, LONGLONG context) {
    if (!Open(list) || !callback)
        return -1;
    for (uint32_t i = 0;; ++i) {
        // The callback may have changed (and moved) the list.
        auto b = Open(list);
        if (!b)
            return -1;
        if (i >= b->Count())
            return static_cast<LONG>(b->Count());
        uint32_t at, length;
        if (!b->Record(i, at, length)) {
            Report(UTL_FATAL_LOCK);
            return -1;
        }
        if (length && !callback(b->Base() + at, length, static_cast<LONG>(i), context))
            return static_cast<LONG>(i);
    }
}

LONG LIST_SizeSubList(HMEM list, LONG index, DWORD headerLength, LONG itemLength) {
    auto b = Open(list);
    if (!b || itemLength < 1)
        return -1;
    uint32_t at, length;
    if (static_cast<uint32_t>(index) >= b->Count() ||
        !b->Record(static_cast<uint32_t>(index), at, length))
        return -1;
    return static_cast<LONG>((int64_t{length} - int64_t{headerLength}) / itemLength);
}

LONG LIST_InsertSubList(HMEM list, LONG index, const void* data, LONG size) {
    auto b = Open(list);
    if (!b || index < 0 || size < 0)
        return -1;
    // A size of 0 gives the same bytes as inserting a placeholder and emptying its slot.
    const uint32_t i = std::min(static_cast<uint32_t>(index), b->Count());
    return InsertRecord(*b, i, data, static_cast<uint32_t>(size)) ? 0 : -1;
}

LONG LIST_FixOffsetTable(HMEM list) {
    auto b = Open(list, UTL_FATAL_LOCK, false);
    if (!b)
        return -1;
    b->SetEntry(b->Count(), b->Size());
    return 0;
}

void* LIST_LGetIth(LIST* block, LONG index, DWORD* length) {
    if (length)
        *length = 0;
    if (!block || static_cast<uint32_t>(index) >= block->count) {
        Report(UTL_FATAL_BAD_ARGUMENT);
        return nullptr;
    }
    if (block->tableOffset < kHeaderBytes ||
        uint64_t{block->tableOffset} + (uint64_t{block->count} + 1) * kEntry > block->size) {
        Report(UTL_FATAL_BAD_ARGUMENT);
        return nullptr;
    }
    auto* base = reinterpret_cast<unsigned char*>(block);
    const unsigned char* table = base + block->tableOffset;
    const uint32_t begin = Load(table + index * kEntry);
    const uint32_t end = Load(table + (index + 1) * kEntry);
    if (begin > end || end > block->size) {
        Report(UTL_FATAL_BAD_ARGUMENT);
        return nullptr;
    }
    if (length)
        *length = end - begin;
    return base + begin;
}

LONG LIST_LSize(const LIST* block) {
    return block ? static_cast<LONG>(block->count) : 0;
}

DWORD LIST_LLength(const LIST* block) {
    return block ? block->size : 0;
}
