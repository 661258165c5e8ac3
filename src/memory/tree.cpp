// AVL tree over untyped items. The recursion depth is the tree's height, at most about
// 1.44 log2(n), so it stays shallow for any tree that fits in memory.
#include <tlvutl/tree.h>

#include "heap.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

namespace {

inline int Height(const BTreeNode* node) {
    return node ? static_cast<int>(node->height) : 0;
}

inline void UpdateHeight(BTreeNode* node) {
    node->height = static_cast<DWORD>(std::max(Height(node->left), Height(node->right)) + 1);
}

BTreeNode* RotateLeft(BTreeNode* node) {
    BTreeNode* top = node->right;
    node->right = top->left;
    top->left = node;
    UpdateHeight(node);
    UpdateHeight(top);
    return top;
}

BTreeNode* RotateRight(BTreeNode* node) {
    BTreeNode* top = node->left;
    node->left = top->right;
    top->right = node;
    UpdateHeight(node);
    UpdateHeight(top);
    return top;
}

// The node's subtree with heights within 1 of each other again; the new subtree root.
BTreeNode* Rebalance(BTreeNode* node) {
    const int left = Height(node->left), right = Height(node->right);
    if (right - left > 1) {
        BTreeNode* child = node->right;
        if (Height(child->left) > Height(child->right))
            node->right = RotateRight(child);
        return RotateLeft(node);
    }
    if (left - right > 1) {
        BTreeNode* child = node->left;
        if (Height(child->right) > Height(child->left))
            node->left = RotateLeft(child);
        return RotateRight(node);
    }
    node->height = static_cast<DWORD>(std::max(left, right) + 1);
    return node;
}

// Gives the node of the largest item below node back to the pool and hands that item out.
template <class Pool> BTreeNode* DetachLargest(BTreeNode* node, void*& item, Pool& pool) {
    if (!node->right) {
        item = node->item;
        BTreeNode* rest = node->left;
        pool.Give(node);
        return rest;
    }
    const int before = Height(node->right);
    node->right = DetachLargest(node->right, item, pool);
    return Height(node->right) == before ? node : Rebalance(node);
}

template <class Pool> BTreeNode* DetachSmallest(BTreeNode* node, void*& item, Pool& pool) {
    if (!node->left) {
        item = node->item;
        BTreeNode* rest = node->right;
        pool.Give(node);
        return rest;
    }
    const int before = Height(node->left);
    node->left = DetachSmallest(node->left, item, pool);
    return Height(node->left) == before ? node : Rebalance(node);
}

// Chunks start small, so that a small tree stays small, and double up to a size that keeps
// clear of the heap's separately mapped blocks.
constexpr DWORD kFirstChunkNodes = 16;
constexpr DWORD kLargestChunkNodes = 2048;
constexpr std::size_t kNodeAlign = 32;
static_assert(sizeof(BTreeNode) <= kNodeAlign || sizeof(BTreeNode) % kNodeAlign == 0);

// The links passed on the way down. AVL trees stay shallow (under 64 levels for any tree
// that fits in memory), but heights left stale by removing a null item can let one grow
// deeper, so the stack spills to the heap rather than overflow.
class Path {
public:
    void Push(BTreeNode** link) {
        if (size_ < kInline)
            inline_[size_] = link;
        else
            spill_.push_back(link);
        ++size_;
    }
    BTreeNode** Pop() {
        --size_;
        if (size_ < kInline)
            return inline_[size_];
        BTreeNode** link = spill_.back();
        spill_.pop_back();
        return link;
    }
    bool Empty() const { return size_ == 0; }

private:
    static constexpr size_t kInline = 64;
    BTreeNode** inline_[kInline];
    size_t size_ = 0;
    std::vector<BTreeNode**> spill_;
};

bool Walk(const BTreeNode* node, CEnumerator& e, int reverse, int other) {
    if (!node)
        return true;
    if (!reverse && !other) {
        return Walk(node->left, e, reverse, other) && e.Visit(node->item) &&
               Walk(node->right, e, reverse, other);
    }
    if (!reverse) {
        return e.Visit(node->item) && Walk(node->left, e, reverse, other) &&
               Walk(node->right, e, reverse, other);
    }
    if (!other) {
        return Walk(node->right, e, reverse, other) && e.Visit(node->item) &&
               Walk(node->left, e, reverse, other);
    }
    return Walk(node->right, e, reverse, other) && Walk(node->left, e, reverse, other) &&
           e.Visit(node->item);
}

} // namespace

struct CBTree::AddState {
    void* item;
    bool unique;    // refuse equal items
    bool replace;   // ...and put the new one in place of the equal one
    bool inserted;  // a node was added
    void* existing; // the equal item found in unique mode
};

BTreeNode* CBTree::NodePool::Take() {
    // Each node counts as one allocation for the fault hook, whether or not it takes a chunk.
    if (tlv::memory::InjectedFailure())
        return nullptr;
    if (free) {
        BTreeNode* node = free;
        free = node->left;
        return node;
    }
    if (next == end && !AddChunk())
        return nullptr;
    return next++;
}

// A chunk: the heap block and the node count in the two words before the first node, which
// starts on a 32-byte boundary.
namespace {
constexpr std::size_t kChunkHeader = 2 * sizeof(void*);

void*& ChunkBlock(BTreeNode* start) {
    return reinterpret_cast<void**>(start)[-2];
}

std::size_t& ChunkNodes(BTreeNode* start) {
    return reinterpret_cast<std::size_t*>(start)[-1];
}
} // namespace

bool CBTree::NodePool::AddChunk() {
    if (chunkCount == chunkRoom) {
        const DWORD room = chunkRoom ? chunkRoom * 2 : 8;
        void* grown = tlv::memory::HeapResizeUnhooked(chunkStarts, room * sizeof(BTreeNode*));
        if (!grown)
            return false;
        chunkStarts = static_cast<BTreeNode**>(grown);
        chunkRoom = room;
    }
    // Room for the header and the alignment (malloc aligns to at least 8), then the nodes.
    void* block = tlv::memory::HeapAllocateUnhooked(kChunkHeader + kNodeAlign +
                                                    std::size_t{chunkNodes} * sizeof(BTreeNode));
    if (!block)
        return false;
    const auto at = reinterpret_cast<std::uintptr_t>(block) + kChunkHeader;
    auto* start = reinterpret_cast<BTreeNode*>((at + kNodeAlign - 1) & ~(kNodeAlign - 1));
    ChunkBlock(start) = block;
    ChunkNodes(start) = chunkNodes;
    BTreeNode** place =
        std::upper_bound(chunkStarts, chunkStarts + chunkCount, start, std::less<>());
    std::copy_backward(place, chunkStarts + chunkCount, chunkStarts + chunkCount + 1);
    *place = start;
    ++chunkCount;
    next = start;
    end = start + chunkNodes;
    chunkNodes = std::min(chunkNodes * 2, kLargestChunkNodes);
    return true;
}

bool CBTree::NodePool::Owns(const BTreeNode* node) const {
    // Addresses of unrelated blocks are compared as integers, which is well defined.
    const auto key = reinterpret_cast<std::uintptr_t>(node);
    BTreeNode** place = std::upper_bound(chunkStarts, chunkStarts + chunkCount, key,
                                         [](std::uintptr_t k, BTreeNode* start) {
                                             return k < reinterpret_cast<std::uintptr_t>(start);
                                         });
    if (place == chunkStarts)
        return false;
    BTreeNode* start = place[-1];
    return key < reinterpret_cast<std::uintptr_t>(start + ChunkNodes(start));
}

void CBTree::NodePool::Give(BTreeNode* node) {
    if (!Owns(node)) {
        tlv::memory::HeapFree(node);
        return;
    }
    node->left = free;
    free = node;
}

void CBTree::NodePool::Release() {
    for (DWORD k = 0; k < chunkCount; ++k)
        tlv::memory::HeapFree(ChunkBlock(chunkStarts[k]));
    tlv::memory::HeapFree(chunkStarts);
    *this = NodePool{nullptr, nullptr, 0, 0, nullptr, nullptr, kFirstChunkNodes};
}

CBTree::CBTree()
    : m_pRoot(nullptr),
      m_nBalance(0), m_nodes{nullptr, nullptr, 0, 0, nullptr, nullptr, kFirstChunkNodes} {}

CBTree::~CBTree() {
    // Only the base DeleteItem is reachable here, and it does nothing: the walk is for nodes
    // that are not the pool's, and the rest go with their chunks.
    FreeForeignNodes(m_pRoot);
    m_nodes.Release();
}

void CBTree::DeleteItem(void*) {}

void* CBTree::DuplicateItem(void* item) {
    return item;
}

int CBTree::Add(void* item) {
    AddState state{item, false, false, false, nullptr};
    m_pRoot = SubTreeAdd(m_pRoot, state);
    return state.inserted ? 1 : 0;
}

void* CBTree::AddOrGetDuplicate(void* item) {
    if (m_pRoot && Compare(m_pRoot->item, item) == 0)
        return m_pRoot->item;
    AddState state{item, true, false, false, nullptr};
    m_pRoot = SubTreeAdd(m_pRoot, state);
    return state.existing;
}

void* CBTree::AddOrReplace(void* item) {
    if (m_pRoot && Compare(m_pRoot->item, item) == 0) {
        void* old = m_pRoot->item;
        m_pRoot->item = item;
        return old;
    }
    AddState state{item, true, true, false, nullptr};
    m_pRoot = SubTreeAdd(m_pRoot, state);
    return state.existing;
}

void* CBTree::Remove(void* key) {
    void* removed = nullptr;
    m_pRoot = SubTreeRemove(m_pRoot, key, removed);
    return removed;
}

void* CBTree::Find(void* key) {
    try {
        return SubTreeFind(m_pRoot, key);
    } catch (...) {
        return nullptr;
    }
}

int CBTree::IsEmpty() const {
    return m_pRoot ? 0 : 1;
}

void CBTree::RemoveAll() {
    SubTreeRemoveAll(m_pRoot);
    m_pRoot = nullptr;
    m_nodes.Release();
}

int CBTree::Duplicate(const CBTree& other) {
    if (&other == this)
        return 1;
    RemoveAll();
    bool failed = false;
    m_pRoot = SubTreeDuplicate(other.m_pRoot, failed);
    if (failed)
        m_nodes.Release(); // the partial copy's items are disposed of, its nodes left in the pool
    return failed ? 0 : 1;
}

int CBTree::Enumerate(CEnumerator* enumerator, int reverse, int other) {
    if (!enumerator)
        return 0;
    return Walk(m_pRoot, *enumerator, reverse, other) ? 1 : 0;
}

BTreeNode* CBTree::SubTreeAdd(BTreeNode* node, AddState& state) {
    // Iterative: the descent is a chain of cache misses, and a plain loop lets the processor
    // run ahead along it better than a recursion does.
    BTreeNode* root = node;
    Path path;
    BTreeNode** link = &root;
    while (BTreeNode* at = *link) {
        const int order = Compare(at->item, state.item);
        // Branches rather than a computed select: a predicted branch lets the next node's load
        // start before this comparison is done.
        if (order > 0) {
            path.Push(link);
            link = &at->left;
            continue;
        }
        if (order < 0) {
            path.Push(link);
            link = &at->right;
            continue;
        }
        if (state.unique) {
            state.existing = at->item;
            if (state.replace)
                at->item = state.item;
            return root;
        }
        // Equal items go down the lower side, alternating on a tie.
        path.Push(link);
        link = IsLeftDeeper(at) ? &at->right : &at->left;
    }
    BTreeNode* fresh = m_nodes.Take();
    if (!fresh)
        return root;
    *fresh = BTreeNode{state.item, 1, nullptr, nullptr};
    *link = fresh;
    state.inserted = true;
    // Back up, rebalancing. A subtree that keeps its height leaves every node above it as it
    // was, so the walk stops there.
    while (!path.Empty()) {
        BTreeNode** up = path.Pop();
        const DWORD before = (*up)->height;
        *up = Rebalance(*up);
        if ((*up)->height == before)
            break;
    }
    return root;
}

BTreeNode* CBTree::SubTreeRemove(BTreeNode* node, void* key, void*& removed) {
    BTreeNode* root = node;
    Path path;
    BTreeNode** link = &root;
    for (;;) {
        BTreeNode* at = *link;
        if (!at)
            return root;
        const int order = Compare(at->item, key);
        // Branches, not a select, as in SubTreeAdd.
        if (order > 0) {
            path.Push(link);
            link = &at->left;
        } else if (order < 0) {
            path.Push(link);
            link = &at->right;
        } else {
            break;
        }
    }
    BTreeNode* at = *link;
    const DWORD before = at->height;
    removed = at->item;
    if (!at->left || !at->right) {
        *link = at->left ? at->left : at->right;
        m_nodes.Give(at);
    } else {
        if (IsLeftDeeper(at))
            at->left = DetachLargest(at->left, at->item, m_nodes);
        else
            at->right = DetachSmallest(at->right, at->item, m_nodes);
        if (removed)
            *link = Rebalance(at);
    }
    // The removed item doubles as the "something was removed" flag, so removing a null item
    // leaves the heights on the path as they are. Otherwise rebalance upwards until a subtree
    // keeps its height: nothing above it can change.
    if (!root)
        m_nodes.Release(); // the last node is gone: give the chunks back
    if (!removed || Height(*link) == static_cast<int>(before))
        return root;
    while (!path.Empty()) {
        BTreeNode** up = path.Pop();
        const DWORD height = (*up)->height;
        *up = Rebalance(*up);
        if ((*up)->height == height)
            break;
    }
    return root;
}

void* CBTree::SubTreeFind(BTreeNode* node, void* key) {
    while (node) {
        const int order = Compare(node->item, key);
        if (order == 0)
            return node->item;
        node = order > 0 ? node->left : node->right;
    }
    return nullptr;
}

BTreeNode* CBTree::SubTreeDuplicate(const BTreeNode* node, bool& failed) {
    if (!node || failed)
        return nullptr;
    BTreeNode* copy = m_nodes.Take();
    if (!copy) {
        failed = true;
        return nullptr;
    }
    *copy = BTreeNode{DuplicateItem(node->item), node->height, nullptr, nullptr};
    copy->left = SubTreeDuplicate(node->left, failed);
    copy->right = failed ? nullptr : SubTreeDuplicate(node->right, failed);
    if (failed) {
        SubTreeRemoveAll(copy);
        return nullptr;
    }
    return copy;
}

void CBTree::SubTreeRemoveAll(BTreeNode* node) {
    // The callers release the pool, which frees the pool's nodes all at once.
    if (!node)
        return;
    DeleteItem(node->item);
    SubTreeRemoveAll(node->left);
    SubTreeRemoveAll(node->right);
    if (!m_nodes.Owns(node))
        tlv::memory::HeapFree(node);
}

void CBTree::FreeForeignNodes(BTreeNode* node) {
    if (!node)
        return;
    FreeForeignNodes(node->left);
    FreeForeignNodes(node->right);
    if (!m_nodes.Owns(node))
        tlv::memory::HeapFree(node);
}

int CBTree::IsLeftDeeper(const BTreeNode* node) {
    const int left = Height(node->left), right = Height(node->right);
    if (left != right)
        return left > right ? 1 : 0;
    m_nBalance = m_nBalance ? 0 : 1;
    return m_nBalance;
}
