#include "platform/thread_slot.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

std::atomic<int> g_alive{0};
std::atomic<int> g_destroyed{0};

struct Counted {
    Counted() { ++g_alive; }
    ~Counted() {
        --g_alive;
        ++g_destroyed;
    }
    std::string text; // a heap block freed at thread end
    int uses = 0;
};

// Each thread gets its own object, made on first use, and loses it when the thread ends;
// many short threads in turn leave nothing behind and the heap intact.
TEST(PerThread, OneObjectPerThreadDestroyedWhenTheThreadEnds) {
    static tlv::platform::PerThread<Counted> slot;
    static tlv::platform::PerThread<std::string> other;
    Counted& mine = slot.Get();
    mine.uses = 42;
    const int baseAlive = g_alive.load();
    g_destroyed = 0;
    for (int round = 0; round < 25; ++round) {
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&, t] {
                Counted& c = slot.Get();
                EXPECT_EQ(c.uses, 0) << "a fresh object per thread";
                ++c.uses;
                c.text.assign(100 + static_cast<std::size_t>(t), 'x');
                EXPECT_EQ(&slot.Get(), &c) << "the same object on later uses";
                other.Get().assign(300, 'y'); // a second slot does not share the first's
                EXPECT_EQ(slot.Get().text.size(), 100u + static_cast<std::size_t>(t));
            });
        for (auto& th : threads)
            th.join();
    }
    EXPECT_EQ(g_destroyed.load(), 100);
    EXPECT_EQ(g_alive.load(), baseAlive);
    EXPECT_EQ(slot.Get().uses, 42) << "the main thread's object is untouched";
    EXPECT_EQ(&slot.Get(), &mine);
}

} // namespace
