// Global lists: one heap block per record and an array of slot descriptors.
//
// Invariant kept by every member: slots that hold no record are all zero (null data, size 0,
// not used), also those at or above count. The accessors check no bounds by design, so a
// stale index below the capacity must read as an empty slot, never as a freed block.
#include <tlvutl/lists.h>

#include "heap.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

using tlv::memory::HeapAllocate;
using tlv::memory::HeapFree;
using tlv::memory::HeapResize;

namespace {

constexpr LONG kInitialSlots = 16;
constexpr LONG kGrowthSlots = 8;
constexpr LONG kSpareSlots = 8; // kept after shrinking; 9 or more spare trigger it

// The accessors' established index check: it rejects an index only when it is negative and
// not below count at once, which no valid list allows. Kept so that callers see the same
// (absent) checking everywhere.
bool Rejected(LONG index, LONG count) {
    return index < 0 && index >= count;
}

LISTELEMENT* AllocateSlots(LONG capacity) {
    auto* slots = static_cast<LISTELEMENT*>(
        HeapAllocate(static_cast<std::size_t>(capacity) * sizeof(LISTELEMENT)));
    if (slots)
        std::memset(static_cast<void*>(slots), 0,
                    static_cast<std::size_t>(capacity) * sizeof(LISTELEMENT));
    return slots;
}

} // namespace

WGList::WGList()
    : m_pElements(AllocateSlots(kInitialSlots)), m_nCapacity(m_pElements ? kInitialSlots : 0),
      m_nCount(0), m_pHeader(nullptr), m_nHeaderSize(0) {}

WGList::WGList(const WGList& other)
    : m_pElements(AllocateSlots(other.m_nCapacity)), m_nCapacity(other.m_nCapacity),
      m_nCount(other.m_nCount), m_pHeader(nullptr), m_nHeaderSize(0) {
    if (!m_pElements)
        throw std::bad_alloc();
    for (LONG i = 0; i < m_nCount; ++i) {
        const LISTELEMENT& from = other.m_pElements[i];
        if (from.used && !CopyElement(&m_pElements[i], from.data, from.size)) {
            HelperRelease();
            throw std::bad_alloc();
        }
    }
    if (other.m_pHeader && !SetHeader(other.m_pHeader, other.m_nHeaderSize)) {
        HelperRelease();
        throw std::bad_alloc();
    }
}

WGList& WGList::operator=(const WGList& other) {
    if (this != &other) {
        WGList copy(other);
        std::swap(m_pElements, copy.m_pElements);
        std::swap(m_nCapacity, copy.m_nCapacity);
        std::swap(m_nCount, copy.m_nCount);
        std::swap(m_pHeader, copy.m_pHeader);
        std::swap(m_nHeaderSize, copy.m_nHeaderSize);
    }
    return *this;
}

WGList::~WGList() {
    HelperRelease();
}

int WGList::Insert(const void* data, LONG size) {
    LONG index = 0;
    while (index < m_nCount && m_pElements[index].used)
        ++index;
    return Insert(index, data, size);
}

int WGList::Insert(LONG index, const void* data, LONG size) {
    if (index < 0)
        return -1;
    index = std::min(index, m_nCount);
    if (m_nCount == m_nCapacity && !HelperGrow())
        return 2;
    // The record is allocated before any slot moves, so a failure leaves the list as it was.
    LISTELEMENT fresh{};
    if (!CopyElement(&fresh, data, size))
        return 3;
    if (index < m_nCount && m_pElements[index].used) {
        std::memmove(static_cast<void*>(m_pElements + index + 1), m_pElements + index,
                     static_cast<std::size_t>(m_nCount - index) * sizeof(LISTELEMENT));
        ++m_nCount;
    }
    m_pElements[index] = fresh;
    if (index == m_nCount)
        ++m_nCount;
    return index;
}

int WGList::InsertStart(const void* data, LONG size) {
    return Insert(0, data, size);
}

int WGList::InsertEnd(const void* data, LONG size) {
    return Insert(m_nCount, data, size);
}

int WGList::Replace(LONG index, const void* data, LONG size) {
    if (index < 0 || m_nCount == 0)
        return -1;
    index = std::min(index, m_nCount - 1);
    LISTELEMENT fresh{};
    if (!CopyElement(&fresh, data, size))
        return 3;
    HeapFree(m_pElements[index].data);
    m_pElements[index] = fresh;
    return index;
}

int WGList::ReplaceStart(const void* data, LONG size) {
    return Replace(0, data, size);
}

int WGList::ReplaceEnd(const void* data, LONG size) {
    return Replace(m_nCount, data, size);
}

int WGList::Retrieve(LONG index, void* buffer, LONG size) {
    if (Rejected(index, m_nCount) || !buffer)
        return 0;
    const LISTELEMENT& slot = m_pElements[index];
    const LONG copied = std::min(slot.size, size);
    if (copied <= 0)
        return 0;
    std::memcpy(buffer, slot.data, static_cast<std::size_t>(copied));
    return copied;
}

int WGList::RetrieveStart(void* buffer, LONG size) {
    return Retrieve(0, buffer, size);
}

int WGList::RetrieveEnd(void* buffer, LONG size) {
    return m_nCount ? Retrieve(m_nCount - 1, buffer, size) : 0;
}

void* WGList::Get(LONG index) {
    LONG size;
    return Get(index, size);
}

void* WGList::Get(LONG index, LONG& size) {
    size = 0;
    if (Rejected(index, m_nCount) || !m_pElements[index].used)
        return nullptr;
    size = m_pElements[index].size;
    return m_pElements[index].data;
}

void* WGList::GetStart() {
    LONG size;
    return GetStart(size);
}

void* WGList::GetStart(LONG& size) {
    size = 0;
    return m_nCount ? Get(0, size) : nullptr;
}

void* WGList::GetEnd() {
    LONG size;
    return GetEnd(size);
}

void* WGList::GetEnd(LONG& size) {
    size = 0;
    return m_nCount ? Get(m_nCount - 1, size) : nullptr;
}

int WGList::Delete(LONG index) {
    if (Rejected(index, m_nCount) || !m_pElements[index].used)
        return -1;
    HeapFree(m_pElements[index].data);
    m_pElements[index] = LISTELEMENT{};
    // Only by one: empty slots below stay counted.
    if (index == m_nCount - 1)
        --m_nCount;
    return 0;
}

int WGList::DeleteStart() {
    return Delete(0);
}

int WGList::DeleteEnd() {
    return m_nCount ? Delete(m_nCount - 1) : -1;
}

int WGList::DeleteAll() {
    for (LONG i = 0; i < m_nCount; ++i) {
        HeapFree(m_pElements[i].data);
        m_pElements[i] = LISTELEMENT{};
    }
    m_nCount = 0;
    if (m_nCapacity > kSpareSlots)
        HelperResizeArray(kSpareSlots);
    return 0;
}

int WGList::Remove(LONG index) {
    if (Rejected(index, m_nCount))
        return 1;
    Delete(index);
    if (index + 1 < m_nCount) {
        std::memmove(static_cast<void*>(m_pElements + index), m_pElements + index + 1,
                     static_cast<std::size_t>(m_nCount - index - 1) * sizeof(LISTELEMENT));
        m_pElements[m_nCount - 1] = LISTELEMENT{};
        --m_nCount;
    }
    Shrink();
    return 1;
}

int WGList::RemoveStart() {
    return Remove(0);
}

int WGList::RemoveEnd() {
    return m_nCount ? Remove(m_nCount - 1) : 1;
}

int WGList::Exist(LONG index) {
    return Rejected(index, m_nCount) ? 0 : m_pElements[index].used;
}

LONG WGList::Size(LONG index) {
    return Rejected(index, m_nCount) ? 0 : m_pElements[index].size;
}

int WGList::ListSize() {
    int used = 0;
    for (LONG i = 0; i < m_nCount; ++i)
        used += m_pElements[i].used ? 1 : 0;
    return used;
}

int WGList::FindElement(LONG start, const void* pattern, LONG offset, LONG length) {
    if (!pattern || start < 0 || offset < 0 || length < 0)
        return -1;
    const int64_t needed = int64_t{offset} + length;
    const auto* wanted = static_cast<const unsigned char*>(pattern) + offset;
    for (LONG i = start; i < m_nCount; ++i) {
        const LISTELEMENT& slot = m_pElements[i];
        if (slot.used && slot.size >= needed &&
            std::memcmp(static_cast<const unsigned char*>(slot.data) + offset, wanted,
                        static_cast<std::size_t>(length)) == 0)
            return i;
    }
    return -1;
}

int WGList::FindCompleteElement(LONG start, const void* data, LONG size) {
    return FindElement(start, data, 0, size);
}

int WGList::Enumerate(GLIST_ENUMPROC callback, LONGLONG context) {
    if (!callback)
        return -1;
    for (LONG i = 0; i < m_nCount; ++i) {
        const LISTELEMENT& slot = m_pElements[i];
        if (slot.used && !callback(slot.data, slot.size, i, context))
            return i;
    }
    return m_nCount;
}

void WGList::Compact() {
    // Removing each empty slot from the last to the first leaves the used ones in order.
    LONG kept = 0;
    for (LONG i = 0; i < m_nCount; ++i)
        if (m_pElements[i].used)
            m_pElements[kept++] = m_pElements[i];
    for (LONG i = kept; i < m_nCount; ++i)
        m_pElements[i] = LISTELEMENT{};
    m_nCount = kept;
    Shrink();
}

int WGList::SetHeader(const void* data, LONG size) {
    if (size < 0)
        return 0;
    void* header = nullptr;
    if (size > 0) {
        header = HeapAllocate(static_cast<std::size_t>(size));
        if (!header)
            return 0;
        if (data)
            std::memcpy(header, data, static_cast<std::size_t>(size));
        else
            std::memset(header, 0, static_cast<std::size_t>(size));
    }
    HeapFree(m_pHeader);
    m_pHeader = header;
    m_nHeaderSize = size;
    return 1;
}

void* WGList::GetHeader() {
    return m_pHeader;
}

LONG WGList::GetHeaderSize() {
    return m_nHeaderSize;
}

void WGList::Shrink() {
    if (m_nCapacity - m_nCount > kSpareSlots)
        HelperResizeArray(m_nCount + kSpareSlots);
}

int WGList::CopyElement(LISTELEMENT* element, const void* data, LONG size) {
    // A negative size widened with its sign can never be allocated.
    if (!element || size < 0)
        return 0;
    void* block = HeapAllocate(static_cast<std::size_t>(size));
    if (!block)
        return 0;
    if (data)
        std::memcpy(block, data, static_cast<std::size_t>(size));
    element->data = block;
    element->size = size;
    element->used = 1;
    return 1;
}

bool WGList::HelperGrow() {
    // The capacity rises only with the array: a raised capacity over an array that did not
    // grow would let the next insertion write past its end.
    const LONG capacity = m_nCapacity + kGrowthSlots;
    auto* slots = static_cast<LISTELEMENT*>(
        HeapResize(m_pElements, static_cast<std::size_t>(capacity) * sizeof(LISTELEMENT)));
    if (!slots)
        return false;
    std::memset(static_cast<void*>(slots + m_nCapacity), 0,
                static_cast<std::size_t>(kGrowthSlots) * sizeof(LISTELEMENT));
    m_pElements = slots;
    m_nCapacity = capacity;
    return true;
}

void WGList::HelperRelease() {
    for (LONG i = 0; i < m_nCount; ++i)
        HeapFree(m_pElements[i].data);
    HeapFree(m_pElements);
    HeapFree(m_pHeader);
}

void WGList::HelperResizeArray(LONG capacity) {
    auto* slots = static_cast<LISTELEMENT*>(
        HeapResize(m_pElements, static_cast<std::size_t>(capacity) * sizeof(LISTELEMENT)));
    if (!slots)
        return; // the larger array stays; nothing is lost
    m_pElements = slots;
    m_nCapacity = capacity;
}
