// A height-balanced (AVL) binary search tree of untyped item pointers.
//
// A derived class supplies the ordering (Compare), and optionally the disposal (DeleteItem)
// and copying (DuplicateItem) of items, so one tree class serves any item type. The tree
// owns its nodes; it owns items only as far as DeleteItem disposes of them. Equal items are
// allowed (Add) or refused (AddOrGetDuplicate, AddOrReplace). Ties between subtrees of equal
// height alternate sides through a toggle, so successive equal inserts and two-child
// removals spread left and right.
//
// The destructor frees the nodes without disposing of items: it runs after the derived part
// is gone, so it can only reach the base DeleteItem, which does nothing. A derived tree that
// owns its items calls RemoveAll in its own destructor.
//
// When a node cannot be allocated, inserting answers 0 (Add) or null and leaves the tree as
// it was; for AddOrGetDuplicate and AddOrReplace that null cannot be told from a successful
// insertion. An exception thrown by Compare leaves the tree as it was; Find answers null for
// it. Not thread-safe.
#ifndef TLVUTL_TREE_H
#define TLVUTL_TREE_H

#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

// One node of a CBTree.
struct BTreeNode {
    // The item, as given to Add (not owned by the node).
    void* item;
    DWORD height;    // a leaf has 1; an absent child counts 0
    BTreeNode* left; // smaller items
    // Larger items (equal ones may be on either side).
    BTreeNode* right;
};

// Visits items of a tree walk.
class TLVUTL_API CEnumerator {
public:
    // Non-zero to go on, 0 to stop the walk.
    virtual int Visit(void* item) = 0;

protected:
    ~CEnumerator() = default;
};

// The AVL tree: derive from it and implement Compare (see the header comment).
class TLVUTL_API CBTree {
public:
    CBTree();
    virtual ~CBTree();
    CBTree(const CBTree&) = delete;
    CBTree& operator=(const CBTree&) = delete;

    // Positive when the tree's item orders after the key, 0 when equal, negative before.
    virtual int Compare(void* item, void* key) = 0;
    // Disposes of an item the tree lets go of in RemoveAll; does nothing by default.
    virtual void DeleteItem(void* item);
    // The copy Duplicate stores; the same pointer by default.
    virtual void* DuplicateItem(void* item);

    // Inserts, allowing equal items: 1, or 0 when a node cannot be allocated.
    int Add(void* item);
    // Inserts unless an equal item exists: that item (nothing inserted), or null.
    void* AddOrGetDuplicate(void* item);
    // Inserts, or puts item in place of an equal one: the replaced item (now the caller's),
    // or null when inserted.
    void* AddOrReplace(void* item);
    // Takes out the node of an equal item: that item (not deleted), or null.
    void* Remove(void* key);
    // An equal item, or null.
    void* Find(void* key);
    // 1 when the tree is empty.
    int IsEmpty() const;
    // DeleteItem on every item, then frees every node.
    void RemoveAll();
    // RemoveAll, then a copy of other with the same shape and heights, each item through
    // DuplicateItem. 1, or 0 (tree empty) when a node cannot be allocated.
    int Duplicate(const CBTree& other);
    // Walks the tree: reverse 0 / other 0 in order from the smallest, 0 / 1 pre-order (node,
    // left, right), 1 / 0 in order from the largest, 1 / 1 post-order right first (right,
    // left, node). Ends as soon as the enumerator returns 0. 1 when the walk went through,
    // 0 when it was stopped (or there is no enumerator).
    int Enumerate(CEnumerator* enumerator, int reverse, int other);

protected:
    // The root node; null for an empty tree.
    BTreeNode* m_pRoot;
    int m_nBalance; // the tie-breaking toggle, 0 at first

private:
    // Nodes come from chunks the tree owns rather than one heap call each: an insertion is
    // mostly cache misses, and nodes packed together (and aligned to half a cache line) miss
    // less. Nodes never move; freed ones are reused, and all chunks go when the tree empties.
    // A node linked in by a derived class from the heap is freed to the heap, as before.
    struct NodePool {
        BTreeNode* free;         // freed nodes, linked through their left child
        BTreeNode** chunkStarts; // each chunk's first node, in address order
        DWORD chunkCount;
        DWORD chunkRoom; // places in chunkStarts
        BTreeNode* next; // the newest chunk's nodes not yet handed out
        BTreeNode* end;
        DWORD chunkNodes;  // nodes in the next chunk
        BTreeNode* Take(); // null when no node can be had
        void Give(BTreeNode* node);
        bool Owns(const BTreeNode* node) const;
        bool AddChunk();
        void Release(); // frees every chunk; every node in them is gone
    };

    struct AddState;
    BTreeNode* SubTreeAdd(BTreeNode* node, AddState& state);
    BTreeNode* SubTreeRemove(BTreeNode* node, void* key, void*& removed);
    void* SubTreeFind(BTreeNode* node, void* key);
    BTreeNode* SubTreeDuplicate(const BTreeNode* node, bool& failed);
    void SubTreeRemoveAll(BTreeNode* node);
    // Frees the nodes below node that did not come from the pool.
    void FreeForeignNodes(BTreeNode* node);
    // 1 when the left subtree is higher, 0 when the right one is; on a tie flips the toggle
    // and answers its new value.
    int IsLeftDeeper(const BTreeNode* node);

    NodePool m_nodes;
};

#endif
