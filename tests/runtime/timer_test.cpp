// WTimer and its engine: ids and their wrap, copies sharing a timer, the loop's lifecycle,
// ticks on the owning thread only, and listeners that change timers from inside a tick.
#include "runtime/timer_engine.h"

#include <tlvutl/timers.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cwchar>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Listener = WTimer::Listener;
using TlvUtl::MessageLoop;

WTimerEngine& Engine() {
    return WTimerEngine::GetInstance();
}

std::size_t ListenersOf(std::uint32_t id) {
    return Engine().GetListenerCount(tlv::runtime::TimerKey(id).c_str());
}

// Counts its ticks, remembers the threads they came on, and then does what a test asks.
struct Counter {
    std::atomic<int> ticks{0};
    std::set<std::thread::id> threads;
    std::function<void()> then;
    void Tick() {
        ++ticks;
        threads.insert(std::this_thread::get_id());
        if (then)
            then();
    }
    Listener AsListener() { return Listener::FromMethod<Counter, &Counter::Tick>(this); }
};

// Every test starts without a loop and with the counter at 1.
class TimerTest : public ::testing::Test {
protected:
    void SetUp() override {
        WTimer::GlobalTimerShutdownTime();
        tlv::runtime::SetTimerIdCounterForTesting(1);
    }
    void TearDown() override {
        WTimer::GlobalTimerShutdownTime();
        tlv::runtime::SetTimerKeyCountForTesting(nullptr);
    }
};

TEST_F(TimerTest, KeysAreSignedDecimal) {
    EXPECT_EQ(tlv::runtime::TimerKey(2147483647u), L"2147483647");
    EXPECT_EQ(tlv::runtime::TimerKey(0x80000000u), L"-2147483648");
    // The same text as the formatter, over the whole range in steps.
    for (std::uint64_t id = 0; id <= 0xFFFFFFFFu; id += 65521) {
        wchar_t text[16];
        std::swprintf(text, 16, L"%d", static_cast<int>(static_cast<std::uint32_t>(id)));
        ASSERT_EQ(tlv::runtime::TimerKey(static_cast<std::uint32_t>(id)), text) << id;
    }
    EXPECT_EQ(tlv::runtime::TimerKey(0xFFFFFFFFu), L"-1");
}

// A timer takes its id on first use; Stop before any Start takes one and starts nothing.
TEST_F(TimerTest, IdsAreTakenOnFirstUse) {
    { WTimer idle; }
    EXPECT_EQ(tlv::runtime::GetTimerIdCounterForTesting(), 1u);
    WTimer t;
    t.Stop();
    EXPECT_EQ(tlv::runtime::GetTimerIdCounterForTesting(), 2u);
    EXPECT_FALSE(Engine().HasLoop());
}

TEST_F(TimerTest, CounterWrapsToOneAfterTheLastId) {
    Counter a, b;
    tlv::runtime::SetTimerIdCounterForTesting(0xFFFFFFFEu);
    WTimer high, low;
    high.Subscribe(a.AsListener());
    EXPECT_EQ(Engine().GetListenerCount(L"-2"), 1u);
    // The counter never holds 0xFFFFFFFF: it wrapped when it handed out 0xFFFFFFFE.
    EXPECT_EQ(tlv::runtime::GetTimerIdCounterForTesting(), 1u);
    low.Subscribe(b.AsListener());
    EXPECT_EQ(ListenersOf(1), 1u); // a wrap when handing out does not skip 1
}

TEST_F(TimerTest, SearchOverASmallIdSpace) {
    // The same search with 8 standing for 0xFFFFFFFF.
    std::set<std::wstring> taken;
    auto count = [&taken](const std::wstring& key) -> std::size_t { return taken.count(key); };
    std::uint32_t counter = 6;
    taken = {L"6", L"8"};
    EXPECT_EQ(tlv::runtime::SearchTimerId(counter, count, 8), 7u);
    EXPECT_EQ(counter, 1u); // 8 is never stored
    counter = 7;
    taken = {L"7", L"8"};
    EXPECT_EQ(tlv::runtime::SearchTimerId(counter, count, 8), 2u); // 1 skipped after the wrap
    EXPECT_EQ(counter, 3u);
    counter = 7;
    taken = {L"7", L"8", L"2", L"3", L"4", L"5", L"6"};
    EXPECT_THROW(tlv::runtime::SearchTimerId(counter, count, 8), WTimerIdsExhausted);
}

std::size_t ExhaustedSearch(const std::wstring&) {
    throw WTimerIdsExhausted();
}

TEST_F(TimerTest, StartAndStopSwallowAnExhaustedIdSpace) {
    tlv::runtime::SetTimerKeyCountForTesting(&ExhaustedSearch);
    Counter c;
    WTimer t;
    EXPECT_NO_THROW(t.Start(10));
    EXPECT_NO_THROW(t.Stop());
    EXPECT_FALSE(Engine().HasLoop()); // nothing started
    EXPECT_THROW(t.Subscribe(c.AsListener()), WTimerIdsExhausted);
    EXPECT_THROW(t.UnSubscribe(c.AsListener()), WTimerIdsExhausted);
}

TEST_F(TimerTest, CopiesShareOneTimer) {
    Counter a, b;
    WTimer original;
    original.Subscribe(a.AsListener());
    {
        WTimer copy(original);
        copy.Subscribe(b.AsListener());
        EXPECT_EQ(ListenersOf(1), 2u); // one timer, one key
        copy.Start(10);
        MessageLoop::RunFor(55ms);
        EXPECT_GT(a.ticks, 0);
        EXPECT_EQ(a.ticks.load(), b.ticks.load());
    } // the copy's destruction stops the shared timer and removes both listeners
    EXPECT_EQ(ListenersOf(1), 0u);
    const int before = a.ticks;
    MessageLoop::RunFor(40ms);
    EXPECT_EQ(a.ticks, before);
    WTimer assigned;
    assigned = original;
    EXPECT_EQ(tlv::runtime::GetTimerIdCounterForTesting(), 2u); // no new id for the copy
}

// A timer destroyed inside its own tick: a second listener of the same timer must not run.
TEST_F(TimerTest, TimerDestroyedInsideItsOwnTick) {
    Counter first, second, other;
    WTimer* timer = new WTimer;
    first.then = [&] {
        delete timer;
        timer = nullptr;
    };
    timer->Subscribe(first.AsListener());
    timer->Subscribe(second.AsListener());
    timer->Start(10);
    WTimer bystander;
    bystander.Subscribe(other.AsListener());
    bystander.Start(10);
    MessageLoop::RunFor(80ms);
    EXPECT_EQ(first.ticks, 1);
    EXPECT_EQ(second.ticks, 0); // unregistered by the destruction before its turn
    EXPECT_GE(other.ticks, 2);  // the loop goes on
}

// A nested loop run from a tick, as a modal dialog would, keeps the timers ticking.
TEST_F(TimerTest, ANestedLoopInsideATickKeepsTimersTicking) {
    Counter modal, other;
    modal.then = [&] {
        if (modal.ticks == 1)
            MessageLoop::RunFor(60ms);
    };
    WTimer slow, fast;
    slow.Subscribe(modal.AsListener());
    fast.Subscribe(other.AsListener());
    slow.Start(20);
    fast.Start(10);
    MessageLoop::RunFor(90ms);
    EXPECT_GE(other.ticks, 5); // most of them inside the nested loop
    EXPECT_GE(modal.ticks, 2); // the outer tick's own timer ticks in the nested loop too
}

TEST_F(TimerTest, QuitOrShutdownFromAnotherThreadEndsRun) {
    Counter c;
    WTimer t;
    t.Subscribe(c.AsListener());
    t.Start(10);
    std::thread quitter([] {
        std::this_thread::sleep_for(60ms);
        MessageLoop::Quit();
    });
    MessageLoop::Run();
    quitter.join();
    EXPECT_GT(c.ticks, 0);
    EXPECT_TRUE(Engine().HasLoop());
    std::thread closer([] {
        std::this_thread::sleep_for(50ms);
        WTimer::GlobalTimerShutdownTime();
    });
    MessageLoop::Run();
    closer.join();
    EXPECT_FALSE(Engine().HasLoop());
    const int before = c.ticks;
    EXPECT_EQ(MessageLoop::PumpPending(), 0);
    EXPECT_EQ(c.ticks, before);
    t.Stop(); // after a shutdown a Stop makes no loop; a Start would
    EXPECT_FALSE(Engine().HasLoop());
}

TEST_F(TimerTest, StartAndStopFromAnotherThreadAreHandedToTheOwner) {
    Counter c;
    WTimer owned; // makes this thread the owner
    owned.Start(1000);
    WTimer t;
    bool ownerElsewhere = true;
    int delivered = -1;
    std::thread worker([&] {
        t.Subscribe(c.AsListener());
        t.Start(10);
        // Another thread can neither pump nor take over the loop.
        ownerElsewhere = MessageLoop::IsOwnerThread();
        MessageLoop::RunFor(30ms);
        delivered = MessageLoop::PumpPending() + MessageLoop::Dispatch();
    });
    worker.join();
    EXPECT_FALSE(ownerElsewhere);
    EXPECT_EQ(delivered, 0);
    EXPECT_EQ(c.ticks, 0);
    MessageLoop::RunFor(80ms);
    EXPECT_GT(c.ticks, 2);
    ASSERT_EQ(c.threads.size(), 1u);
    EXPECT_EQ(*c.threads.begin(), std::this_thread::get_id());

    std::thread stopper([&] { t.Stop(); });
    stopper.join();
    MessageLoop::PumpPending(); // applies the Stop
    const int before = c.ticks;
    MessageLoop::RunFor(40ms);
    EXPECT_EQ(c.ticks, before);
}

TEST_F(TimerTest, ManyThreadsTakeDistinctIds) {
    constexpr int kThreads = 4, kEach = 200;
    std::vector<std::unique_ptr<WTimer>> timers(kThreads * kEach);
    std::vector<std::unique_ptr<Counter>> counters(kThreads * kEach);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int i = t * kEach; i < (t + 1) * kEach; ++i) {
                timers[i] = std::make_unique<WTimer>();
                counters[i] = std::make_unique<Counter>();
                timers[i]->Subscribe(counters[i]->AsListener());
            }
        });
    for (auto& th : threads)
        th.join();
    for (std::uint32_t id = 1; id <= kThreads * kEach; ++id)
        ASSERT_EQ(ListenersOf(id), 1u) << id;
    EXPECT_EQ(tlv::runtime::GetTimerIdCounterForTesting(), kThreads * kEach + 1u);
}

} // namespace
