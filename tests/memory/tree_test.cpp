// CBTree: the documented shapes and walk orders, the tie-breaking toggle, ownership of items,
// failures, and random sequences checked against std::multiset after every step.
#include <tlvutl/tree.h>

#include "memory/heap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <deque>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Item {
    int key;
    int id;
};

int KeyOf(void* item) {
    return static_cast<Item*>(item)->key;
}

class ItemTree : public CBTree {
public:
    int Compare(void* item, void* key) override {
        if (KeyOf(key) == throwOnKey)
            throw std::runtime_error("compare");
        return KeyOf(item) - KeyOf(key);
    }
    void DeleteItem(void* item) override {
        deleted.push_back(KeyOf(item));
        if (disposed)
            disposed->push_back(KeyOf(item));
    }
    void* DuplicateItem(void* item) override {
        copies.push_back(*static_cast<Item*>(item));
        copies.back().id += 1000;
        return &copies.back();
    }
    const BTreeNode* Root() const { return m_pRoot; }
    int Toggle() const { return m_nBalance; }

    int throwOnKey = -1000;
    std::vector<int> deleted;
    std::vector<int>* disposed = nullptr; // outlives the tree
    std::deque<Item> copies;
};

// Checks every node's height and balance and that the in-order walk is sorted; appends the
// items in order. The height of the subtree, or -1 after a failure.
int Check(const BTreeNode* node, std::vector<Item*>& inOrder, std::string& error) {
    if (!node)
        return 0;
    const int left = Check(node->left, inOrder, error);
    inOrder.push_back(static_cast<Item*>(node->item));
    const int right = Check(node->right, inOrder, error);
    if (left < 0 || right < 0)
        return -1;
    if (static_cast<int>(node->height) != std::max(left, right) + 1) {
        error = "wrong height at key " + std::to_string(KeyOf(node->item));
        return -1;
    }
    if (std::abs(left - right) > 1) {
        error = "unbalanced at key " + std::to_string(KeyOf(node->item));
        return -1;
    }
    return static_cast<int>(node->height);
}

class Recorder : public CEnumerator {
public:
    explicit Recorder(int stopAfter = -1) : stopAfter_(stopAfter) {}
    int Visit(void* item) override {
        seen += std::to_string(KeyOf(item));
        return --stopAfter_ != 0;
    }
    std::string seen;

private:
    int stopAfter_;
};

std::string Walk(CBTree& tree, int reverse, int other, int stopAfter = -1) {
    Recorder r(stopAfter);
    tree.Enumerate(&r, reverse, other);
    return r.seen;
}

class Tree : public ::testing::Test {
protected:
    Item* Make(int key) {
        items.push_back({key, static_cast<int>(items.size())});
        return &items.back();
    }
    std::deque<Item> items;
    ItemTree tree;
};

TEST_F(Tree, AscendingInsertsGiveAPerfectTreeAndTheFourWalks) {
    for (int k = 1; k <= 7; ++k)
        ASSERT_EQ(tree.Add(Make(k)), 1);
    ASSERT_NE(tree.Root(), nullptr);
    EXPECT_EQ(tree.Root()->height, 3u);
    EXPECT_EQ(KeyOf(tree.Root()->item), 4);
    EXPECT_EQ(Walk(tree, 0, 0), "1234567");
    EXPECT_EQ(Walk(tree, 0, 1), "4213657");
    EXPECT_EQ(Walk(tree, 1, 0), "7654321");
    EXPECT_EQ(Walk(tree, 1, 1), "7563124");
    EXPECT_EQ(Walk(tree, 1, 0, 1), "7") << "stops after the first 0";
    Recorder r;
    EXPECT_EQ(tree.Enumerate(&r, 0, 0), 1);
    Recorder stop(2);
    EXPECT_EQ(tree.Enumerate(&stop, 0, 1), 0);
    EXPECT_EQ(tree.Enumerate(nullptr, 0, 0), 0);
}

TEST_F(Tree, EqualItemsAlternateSides) {
    Item* a = Make(5);
    Item* b = Make(5);
    Item* c = Make(5);
    tree.Add(a);
    tree.Add(b);
    EXPECT_EQ(tree.Root()->right->item, b) << "first tie: the toggle becomes 1, right";
    tree.Add(c);
    EXPECT_EQ(tree.Root()->left->item, c) << "then the lower (left) side";
    EXPECT_EQ(tree.Root()->height, 2u);
}

TEST_F(Tree, RemoveAllDisposesOfItemsNodeFirstAndTheDestructorDoesNot) {
    for (int k = 1; k <= 7; ++k)
        tree.Add(Make(k));
    tree.RemoveAll();
    EXPECT_EQ(tree.deleted, (std::vector<int>{4, 2, 1, 3, 6, 5, 7}));
    EXPECT_EQ(tree.IsEmpty(), 1);

    std::vector<int> disposed;
    {
        ItemTree local;
        local.disposed = &disposed;
        for (int k = 1; k <= 3; ++k)
            local.Add(Make(k));
    }
    EXPECT_TRUE(disposed.empty()) << "destroyed without RemoveAll: only the base DeleteItem runs";
}

TEST_F(Tree, DuplicateCopiesShapeHeightsAndItems) {
    for (int k : {5, 3, 8, 1, 4, 9})
        tree.Add(Make(k));
    ItemTree copy;
    copy.Add(Make(100));
    EXPECT_EQ(copy.Duplicate(tree), 1);
    EXPECT_EQ(copy.deleted, std::vector<int>{100}) << "its old items went through DeleteItem";
    EXPECT_EQ(Walk(copy, 0, 1), Walk(tree, 0, 1));
    EXPECT_EQ(copy.Root()->height, tree.Root()->height);
    EXPECT_NE(copy.Root()->item, tree.Root()->item);
    EXPECT_EQ(static_cast<Item*>(copy.Root()->item)->id,
              static_cast<Item*>(tree.Root()->item)->id + 1000);
    EXPECT_EQ(copy.Duplicate(copy), 1);
    EXPECT_EQ(Walk(copy, 0, 0), "134589");

    tlv::memory::FailNthAllocation(3);
    EXPECT_EQ(copy.Duplicate(tree), 0);
    tlv::memory::FailNthAllocation(0);
    EXPECT_EQ(copy.IsEmpty(), 1);
    EXPECT_EQ(copy.deleted.size(), 1u + 6u + 2u) << "the two copies made are disposed of";
}

TEST_F(Tree, FailuresLeaveTheTreeAsItWas) {
    for (int k = 1; k <= 5; ++k)
        tree.Add(Make(k));
    const std::string shape = Walk(tree, 0, 1);
    tlv::memory::FailNthAllocation(1);
    EXPECT_EQ(tree.Add(Make(6)), 0);
    tlv::memory::FailNthAllocation(1);
    EXPECT_EQ(tree.AddOrGetDuplicate(Make(7)), nullptr) << "kept: looks like success";
    tlv::memory::FailNthAllocation(1);
    EXPECT_EQ(tree.AddOrReplace(Make(0)), nullptr);
    tlv::memory::FailNthAllocation(0);
    EXPECT_EQ(Walk(tree, 0, 1), shape);

    tree.throwOnKey = 99;
    Item bad{99, -1};
    EXPECT_EQ(tree.Find(&bad), nullptr) << "an exception from Compare is a miss";
    EXPECT_THROW(tree.Add(&bad), std::runtime_error);
    EXPECT_THROW(tree.Remove(&bad), std::runtime_error);
    EXPECT_EQ(Walk(tree, 0, 1), shape);
    std::vector<Item*> order;
    std::string error;
    EXPECT_EQ(Check(tree.Root(), order, error), 3) << error;
}

// Items are plain numbers here, so key 0 is a null item.
class NumberTree : public CBTree {
public:
    int Compare(void* item, void* key) override {
        return static_cast<int>(reinterpret_cast<intptr_t>(item) - reinterpret_cast<intptr_t>(key));
    }
    const BTreeNode* Root() const { return m_pRoot; }
};

void* Number(intptr_t n) {
    return reinterpret_cast<void*>(n);
}

TEST(TreeKept, RemovingANullItemSkipsTheRebalancing) {
    NumberTree tree;
    for (intptr_t k : {2, 1, 3, 0})
        tree.Add(Number(k));
    EXPECT_EQ(tree.Root()->left->height, 2u);
    EXPECT_EQ(tree.Remove(Number(0)), nullptr);
    EXPECT_EQ(tree.Root()->left->left, nullptr) << "the node is gone";
    EXPECT_EQ(tree.Root()->left->height, 2u) << "kept: heights on the path stay as they were";
    EXPECT_EQ(tree.Root()->height, 3u);
}

TEST(TreeModel, RandomSequencesAgreeWithMultiset) {
    for (uint32_t seed = 1; seed <= 4; ++seed) {
        std::mt19937 rng(seed);
        std::deque<Item> items;
        ItemTree tree;
        std::multiset<std::pair<int, int>> model; // (key, id)
        const int range = seed % 2 ? 60 : 2000;   // many or few equal keys
        for (int step = 0; step < 2000; ++step) {
            const int key = static_cast<int>(rng() % static_cast<uint32_t>(range));
            items.push_back({key, step});
            Item* item = &items.back();
            const bool present =
                model.lower_bound({key, INT32_MIN}) != model.upper_bound({key, INT32_MAX});
            auto take = [&](void* got) {
                ASSERT_NE(got, nullptr);
                auto* i = static_cast<Item*>(got);
                ASSERT_EQ(i->key, key);
                auto found = model.find({i->key, i->id});
                ASSERT_NE(found, model.end());
                model.erase(found);
            };
            const int op = static_cast<int>(rng() % 5);
            switch (op) {
            case 0:
                ASSERT_EQ(tree.Add(item), 1);
                model.insert({key, step});
                break;
            case 1: {
                void* got = tree.AddOrGetDuplicate(item);
                if (present) {
                    ASSERT_NE(got, nullptr);
                    ASSERT_EQ(KeyOf(got), key);
                } else {
                    ASSERT_EQ(got, nullptr);
                    model.insert({key, step});
                }
                break;
            }
            case 2: {
                void* got = tree.AddOrReplace(item);
                if (present) {
                    take(got);
                } else {
                    ASSERT_EQ(got, nullptr);
                }
                model.insert({key, step});
                break;
            }
            case 3:
            case 4: {
                void* got = op == 3 ? tree.Remove(item) : tree.Find(item);
                if (!present) {
                    ASSERT_EQ(got, nullptr);
                } else if (op == 3) {
                    take(got);
                } else {
                    ASSERT_NE(got, nullptr);
                    ASSERT_EQ(KeyOf(got), key);
                }
                break;
            }
            }
            std::vector<Item*> order;
            std::string error;
            ASSERT_GE(Check(tree.Root(), order, error), 0)
                << error << " seed " << seed << " step " << step << " op " << op;
            std::multiset<std::pair<int, int>> inTree;
            for (size_t i = 0; i < order.size(); ++i) {
                ASSERT_TRUE(i == 0 || order[i - 1]->key <= order[i]->key) << "not sorted";
                inTree.insert({order[i]->key, order[i]->id});
            }
            ASSERT_EQ(inTree, model) << "seed " << seed << " step " << step;
            ASSERT_EQ(tree.IsEmpty(), model.empty() ? 1 : 0);
        }
    }
}

} // namespace
