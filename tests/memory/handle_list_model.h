// A plain model of a handle list (records as byte vectors, plus the table gap) and a driver
// that applies one operation to a real list and to the model and compares results and the
// whole block, byte for byte. Shared by the randomized tests and the fuzzer.
#ifndef TLVUTL_TESTS_HANDLE_LIST_MODEL_H
#define TLVUTL_TESTS_HANDLE_LIST_MODEL_H

#include <tlvutl/lists.h>
#include <tlvutl/memory.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace tlvtest {

using Bytes = std::vector<uint8_t>;

inline void PutU32(Bytes& out, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

inline Bytes BlockOf(HMEM list) {
    const auto* p = static_cast<const uint8_t*>(MEMMANLock(list));
    return Bytes(p, p + MEMMANGetSize(list));
}

class HandleListModel {
public:
    explicit HandleListModel(uint32_t headerSize = 12) : headerSize_(headerSize) {
        extHeader_.assign(headerSize - 12, 0);
    }

    std::vector<Bytes> records;

    uint32_t HeaderSize() const { return headerSize_; }
    Bytes& ExtendedHeader() { return extHeader_; }
    uint32_t Gap() const { return gap_; }
    uint32_t Count() const { return static_cast<uint32_t>(records.size()); }

    // The table gains k entries: the data moves up by the missing room rounded to 4.
    void AddSlots(uint32_t k) {
        const int64_t missing = int64_t{4} * k - gap_;
        if (missing > 0)
            gap_ = static_cast<uint32_t>(gap_ + ((missing + 3) & ~int64_t{3}) - 4 * int64_t{k});
        else
            gap_ -= 4 * k;
    }
    // The table loses one entry: its room goes back only when the gap already holds 4.
    void RemoveSlot() {
        if (gap_ < 4)
            gap_ += 4;
    }

    void Insert(uint32_t i, const Bytes& r) {
        AddSlots(1);
        records.insert(records.begin() + i, r);
    }
    void Erase(uint32_t i) {
        records.erase(records.begin() + i);
        RemoveSlot();
    }
    void Replace(uint32_t i, const Bytes& r) {
        if (records[i].size() == r.size()) {
            records[i] = r;
            return;
        }
        Erase(i);
        Insert(i, r);
    }
    void PutBeyond(uint32_t i, const Bytes& r) {
        AddSlots(i - Count() + 1);
        records.resize(i);
        records.push_back(r);
    }

    uint64_t ImageSize() const {
        uint64_t total = uint64_t{headerSize_} + (uint64_t{Count()} + 1) * 4 + gap_;
        for (const auto& r : records)
            total += r.size();
        return total;
    }

    // The size the block would have after PutBeyond(i, r).
    uint64_t SizeAfterPutBeyond(uint32_t i, uint32_t length) const {
        const uint64_t k = uint64_t{i} - Count() + 1;
        const int64_t missing = static_cast<int64_t>(4 * k) - gap_;
        const uint64_t shift =
            missing > 0 ? (static_cast<uint64_t>(missing) + 3) & ~uint64_t{3} : 0;
        return ImageSize() + shift + length;
    }

    Bytes Image() const {
        Bytes out;
        uint32_t dataStart = headerSize_ + (Count() + 1) * 4 + gap_;
        uint32_t total = dataStart;
        for (const auto& r : records)
            total += static_cast<uint32_t>(r.size());
        PutU32(out, total);
        PutU32(out, Count());
        PutU32(out, headerSize_);
        out.insert(out.end(), extHeader_.begin(), extHeader_.end());
        uint32_t at = dataStart;
        for (const auto& r : records) {
            PutU32(out, at);
            at += static_cast<uint32_t>(r.size());
        }
        PutU32(out, at);
        out.insert(out.end(), gap_, 0);
        for (const auto& r : records)
            out.insert(out.end(), r.begin(), r.end());
        return out;
    }

private:
    uint32_t headerSize_;
    Bytes extHeader_;
    uint32_t gap_ = 0;
};

enum class Op : uint8_t {
    Push,
    InsertTop,
    Insert,
    InsertAtFree,
    PopOldest,
    Remove,
    DeleteIth,
    GetIth,
    PutIth,
    ReplaceIth,
    ExistIth,
    FindElement,
    FindComplete,
    InsertSubList,
    SizeSubList,
    Duplicate,
    kCount
};

struct Operation {
    Op op = Op::Push;
    int32_t index = 0;
    Bytes data;
    uint32_t bufferSize = 0;
    uint32_t fieldOffset = 0;
    uint32_t fieldLength = 0;
};

// Applies op to list and model; an empty string when results and bytes agree, else what
// differs. fatalReports counts the fatal-error reports the operation should have made.
inline std::string ApplyAndCheck(HMEM list, HandleListModel& m, const Operation& op,
                                 int& fatalReports) {
    const uint32_t n = m.Count();
    const auto i = static_cast<uint32_t>(op.index);
    const auto size = static_cast<uint32_t>(op.data.size());
    const void* data = op.data.empty() ? nullptr : op.data.data();
    LONG expected = 0, got = 0;
    Bytes buffer(op.bufferSize + 1, 0xEE), wantOut;
    switch (op.op) {
    case Op::Push:
    case Op::InsertTop:
    case Op::Insert: {
        const uint32_t at = op.op == Op::Push ? n : op.op == Op::InsertTop ? 0 : std::min(i, n);
        got = op.op == Op::Push        ? LIST_Push(list, data, size)
              : op.op == Op::InsertTop ? LIST_InsertTop(list, data, size)
                                       : LIST_Insert(list, op.index, data, size);
        if (size == 0) {
            expected = -1;
        } else {
            m.Insert(at, op.data);
            expected = static_cast<LONG>(m.Count());
        }
        break;
    }
    case Op::InsertAtFree: {
        got = LIST_InsertAtFree(list, data, size);
        if (size == 0) {
            expected = 0;
            break;
        }
        const auto empty = std::find_if(m.records.begin(), m.records.end(),
                                        [](const Bytes& r) { return r.empty(); });
        if (empty != m.records.end()) {
            *empty = op.data;
            expected = static_cast<LONG>(empty - m.records.begin());
        } else {
            m.Insert(n, op.data);
            expected = static_cast<LONG>(n);
        }
        break;
    }
    case Op::PopOldest:
    case Op::Remove: {
        const uint32_t at = op.op == Op::PopOldest ? 0 : i;
        got = op.op == Op::PopOldest ? LIST_PopOldest(list, buffer.data(), op.bufferSize)
                                     : LIST_Remove(list, op.index, buffer.data(), op.bufferSize);
        if (at >= n) {
            expected = -1;
            fatalReports += op.op == Op::Remove ? 1 : 0;
            break;
        }
        const Bytes& r = m.records[at];
        wantOut.assign(r.begin(), r.begin() + std::min<size_t>(r.size(), op.bufferSize));
        m.Erase(at);
        expected = static_cast<LONG>(m.Count());
        break;
    }
    case Op::DeleteIth: {
        got = LIST_DeleteIth(list, op.index, buffer.data(), op.bufferSize);
        if (i >= n) {
            expected = -1;
            ++fatalReports;
            break;
        }
        Bytes& r = m.records[i];
        wantOut.assign(r.begin(), r.begin() + std::min<size_t>(r.size(), op.bufferSize));
        r.clear();
        expected = static_cast<LONG>(n);
        break;
    }
    case Op::GetIth: {
        got = LIST_GetIth(list, op.index, buffer.data(), op.bufferSize);
        if (i >= n || m.records[i].empty()) {
            expected = -1;
            break;
        }
        const Bytes& r = m.records[i];
        wantOut.assign(r.begin(), r.begin() + std::min<size_t>(r.size(), op.bufferSize));
        expected = static_cast<LONG>(wantOut.size());
        break;
    }
    case Op::PutIth: {
        got = LIST_PutIth(list, op.index, data, size);
        if (size == 0) {
            expected = -1;
        } else if (i < n) {
            m.Replace(i, op.data);
        } else if (m.SizeAfterPutBeyond(i, size) > 0x7FFFFFFF) {
            // Far beyond the end: the block would not fit in an HMEM.
            expected = -1;
            ++fatalReports;
        } else {
            m.PutBeyond(i, op.data);
        }
        break;
    }
    case Op::ReplaceIth: {
        got = LIST_ReplaceIth(list, op.index, data, size);
        if (i >= n) {
            expected = -1;
            ++fatalReports;
            break;
        }
        m.Replace(i, op.data);
        expected = static_cast<LONG>(n);
        break;
    }
    case Op::ExistIth:
        got = LIST_ExistIth(list, op.index);
        expected = i < n && !m.records[i].empty() ? 1 : 0;
        break;
    case Op::FindElement: {
        got = LIST_FindElement(list, op.index, data, size, op.fieldOffset, op.fieldLength);
        expected = -1;
        const uint64_t end = uint64_t{op.fieldOffset} + op.fieldLength;
        if (data && size != 0 && size >= end) {
            for (uint32_t j = i; j < n; ++j) {
                const Bytes& r = m.records[j];
                if (r.size() >= end &&
                    std::equal(r.begin() + op.fieldOffset, r.begin() + static_cast<long>(end),
                               op.data.begin() + op.fieldOffset)) {
                    expected = static_cast<LONG>(j);
                    break;
                }
            }
        }
        break;
    }
    case Op::FindComplete: {
        got = LIST_FindCompleteElement(list, op.index, data, size);
        expected = -1;
        for (uint32_t j = i; j < n; ++j) {
            if (m.records[j] == op.data) {
                expected = static_cast<LONG>(j);
                break;
            }
        }
        break;
    }
    case Op::InsertSubList: {
        got = LIST_InsertSubList(list, op.index, data, static_cast<LONG>(size));
        if (op.index < 0) {
            expected = -1;
        } else {
            m.Insert(std::min(i, n), op.data);
            expected = 0;
        }
        break;
    }
    case Op::SizeSubList: {
        const auto item = static_cast<LONG>(op.fieldLength % 5);
        got = LIST_SizeSubList(list, op.index, op.fieldOffset, item);
        if (item < 1 || i >= n)
            expected = -1;
        else
            expected = static_cast<LONG>(
                (static_cast<int64_t>(m.records[i].size()) - op.fieldOffset) / item);
        break;
    }
    case Op::Duplicate: {
        HMEM copy = LIST_DupCtor(list);
        const bool same = copy && BlockOf(copy) == BlockOf(list);
        LIST_Dtor(copy);
        if (!same)
            return "LIST_DupCtor: the copy differs";
        break;
    }
    case Op::kCount:
        break;
    }
    std::string error;
    if (got != expected)
        error = "result " + std::to_string(got) + ", expected " + std::to_string(expected);
    if (!wantOut.empty() && !std::equal(wantOut.begin(), wantOut.end(), buffer.begin()))
        error += " copied-out bytes differ;";
    if (buffer[op.bufferSize] != 0xEE)
        error += " wrote past the buffer;";
    if (LIST_Size(list) != static_cast<LONG>(m.Count()))
        error += " count differs;";
    if (BlockOf(list) != m.Image())
        error += " block bytes differ;";
    return error;
}

} // namespace tlvtest

#endif
