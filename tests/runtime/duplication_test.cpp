// Duplication contexts, and a small object graph copied through them.
#include <tlvutl/duplication.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using TlvUtl::Duplicatable;
using TlvUtl::DuplicationContext;
using TlvUtl::IDuplicatable;
using TlvUtl::IDuplicationContext;

int g_alive = 0;

class Node : public Duplicatable {
public:
    explicit Node(int v) : value(v) { ++g_alive; }
    ~Node() override { --g_alive; }
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    // Copies the node and, through the context, what it points to, once per source.
    IDuplicatable* Duplicate(IDuplicationContext* context) const override {
        if (IDuplicatable* done = context->FindMappedInstance(this))
            return done;
        auto* copy = new Node(value);
        context->MapInstance(this, copy);
        for (Node* child : children)
            copy->children.push_back(static_cast<Node*>(child->Duplicate(context)));
        return copy;
    }

    int value;
    std::vector<Node*> children; // not owned
};

class Shared : public Duplicatable {
public:
    Shared() { ++g_alive; }
    ~Shared() override { --g_alive; }
    std::shared_ptr<IDuplicatable> DuplicatePtr(IDuplicationContext* context) override {
        if (auto done = context->FindMappedPtrInstance(this))
            return done;
        auto copy = std::make_shared<Shared>();
        context->MapPtrInstance(this, copy);
        return copy;
    }
};

TEST(Duplication, TheLastMappingWinsForBothLookUps) {
    DuplicationContext context;
    Node source(1), first(2), second(3);
    IDuplicationContext& chained =
        context.MapInstance(&source, &first).MapInstance(&source, &second);
    EXPECT_EQ(&chained, &context);
    EXPECT_EQ(context.FindMappedInstance(&source), &second);
    EXPECT_EQ(context.FindMappedPtrInstance(&source), nullptr) << "plain mappings are not shared";

    auto a = std::make_shared<Shared>(), b = std::make_shared<Shared>();
    context.MapPtrInstance(&source, a).MapPtrInstance(&source, b);
    EXPECT_EQ(context.FindMappedInstance(&source), b.get());
    EXPECT_EQ(context.FindMappedPtrInstance(&source), b);
    EXPECT_EQ(a.use_count(), 1) << "the earlier shared copy is released";
}

TEST(Duplication, SharedCopiesLiveAsLongAsTheContext) {
    const int before = g_alive;
    Shared source;
    {
        DuplicationContext context;
        std::shared_ptr<IDuplicatable> copy = source.DuplicatePtr(&context);
        IDuplicatable* raw = copy.get();
        EXPECT_EQ(context.FindMappedInstance(&source), raw);
        EXPECT_EQ(source.DuplicatePtr(&context).get(), raw) << "found, not copied again";
        copy.reset();
        EXPECT_EQ(g_alive, before + 2) << "the context still holds the copy";
        EXPECT_EQ(static_cast<const DuplicationContext&>(context).FindMappedInstance(&source), raw);
    }
    EXPECT_EQ(g_alive, before + 1);
}

TEST(Duplication, AGraphWithASharedChildIsCopiedOnce) {
    Node shared(3), left(1), right(2), root(0);
    left.children = {&shared};
    right.children = {&shared};
    root.children = {&left, &right, &left};
    DuplicationContext context;
    std::unique_ptr<IDuplicatable> copy(root.Duplicate(&context));
    auto* r = static_cast<Node*>(copy.get());
    ASSERT_EQ(r->children.size(), 3u);
    EXPECT_EQ(r->children[0], r->children[2]);
    EXPECT_EQ(r->children[0]->children[0], r->children[1]->children[0]);
    EXPECT_NE(r->children[0]->children[0], &shared);
    EXPECT_EQ(r->children[0]->children[0]->value, 3);
    // The copies are owned by the caller: the root's, and the three others through it.
    std::unique_ptr<IDuplicatable> l(r->children[0]), rr(r->children[1]),
        s(r->children[0]->children[0]);
}

} // namespace
