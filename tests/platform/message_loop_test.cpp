// The message loop on its own: deadline order against a model, stale entries of restarted
// and stopped timers, late ticks, the descriptor hosts watch, and calls from other threads.
#include "platform/message_loop.h"

#include "platform_marks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <map>
#include <random>
#include <set>
#include <thread>
#include <vector>

#ifndef _WIN32
#include <poll.h>
#endif

namespace {

using namespace std::chrono_literals;
using tlv::platform::MessageLoop;

struct Recorder {
    std::vector<std::uint32_t> ids;
    std::vector<std::chrono::nanoseconds> times;
    MessageLoop* loop = nullptr;
    std::uint32_t killOnTick = 0; // a timer the first tick stops
    static void OnTick(void* self, std::uint32_t id) {
        auto* r = static_cast<Recorder*>(self);
        r->ids.push_back(id);
        r->times.push_back(tlv::platform::MonotonicNow());
        if (r->killOnTick != 0) {
            r->loop->KillTimer(r->killOnTick);
            r->killOnTick = 0;
        }
    }
};

std::unique_ptr<MessageLoop> MakeLoop(Recorder& r) {
    std::error_code error;
    auto loop = MessageLoop::Create(&Recorder::OnTick, &r, error);
    EXPECT_TRUE(loop) << error.message();
    r.loop = loop.get();
    return loop;
}

#ifndef _WIN32
bool Readable(int fd) {
    pollfd p{fd, POLLIN, 0};
    return poll(&p, 1, 0) == 1;
}
#endif

// Something is due: the descriptor is readable where there is one.
bool Pending(MessageLoop& loop) {
#ifdef _WIN32
    return loop.Wait(std::chrono::nanoseconds(0));
#else
    return Readable(loop.FileDescriptor());
#endif
}

TEST(MessageLoop, DispatchesDueTicksEarliestFirstLikeAModel) {
    // Random starts, restarts and stops over 100 ids, against a map of what should run and
    // when: a restarted timer ticks once, never once per stale entry. Intervals are distinct
    // multiples of 3 ms, so deadlines lie well apart; the model knows each deadline only between
    // the clock read before and after SetTimer (a busy machine may pause the test between the two),
    // so it checks the order only where those windows do not overlap.
    Recorder r;
    auto loop = MakeLoop(r);
    std::mt19937 random(16);
    std::vector<int> free(200);
    for (int i = 0; i < 200; ++i)
        free[i] = 3 * (i + 1);
    std::shuffle(free.begin(), free.end(), random);
    using Window = std::pair<std::chrono::nanoseconds, std::chrono::nanoseconds>;
    std::map<std::uint32_t, Window> model; // id -> earliest and latest deadline
    for (int op = 0; op < 160; ++op) {
        const std::uint32_t id = 1 + random() % 100;
        if (random() % 4 == 0) {
            EXPECT_EQ(loop->KillTimer(id), model.erase(id) == 1);
        } else {
            const auto interval = std::chrono::milliseconds(free.back());
            free.pop_back();
            const auto before = tlv::platform::MonotonicNow();
            loop->SetTimer(id, interval);
            model[id] = {before + interval, tlv::platform::MonotonicNow() + interval};
        }
    }
    EXPECT_EQ(loop->TimerCount(), model.size());
    std::this_thread::sleep_for(610ms);
    EXPECT_TRUE(Pending(*loop));
    const int handled = loop->Dispatch();
    ASSERT_EQ(handled, static_cast<int>(model.size()));
    ASSERT_EQ(r.ids.size(), model.size());
    EXPECT_EQ(std::set<std::uint32_t>(r.ids.begin(), r.ids.end()).size(), model.size());
    for (std::size_t later = 0; later < r.ids.size(); ++later) {
        ASSERT_EQ(model.count(r.ids[later]), 1u) << "tick " << later;
        // No tick runs after one whose deadline is surely later than its own.
        for (std::size_t earlier = 0; earlier < later; ++earlier)
            EXPECT_GE(model[r.ids[later]].second, model[r.ids[earlier]].first)
                << "ticks " << earlier << " and " << later;
    }
}

TEST(MessageLoop, ATickStoppedByAnEarlierHandlerDoesNotRun) {
    Recorder r;
    auto loop = MakeLoop(r);
    loop->SetTimer(1, 5ms);
    loop->SetTimer(2, 10ms);
    r.killOnTick = 2;
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(loop->Dispatch(), 1);
    EXPECT_EQ(r.ids, std::vector<std::uint32_t>{1});
    EXPECT_EQ(loop->TimerCount(), 1u);
}

TEST(MessageLoop, ALateTimerTicksOnceThenKeepsItsPeriod) {
    Recorder r;
    auto loop = MakeLoop(r);
    loop->SetTimer(3, 10ms);
    std::this_thread::sleep_for(55ms); // five periods missed
    EXPECT_EQ(loop->Dispatch(), 1);
    EXPECT_EQ(loop->Dispatch(), 0);
    EXPECT_FALSE(Pending(*loop));
    loop->RunFor(25ms);
    ASSERT_GE(r.times.size(), 2u);
    EXPECT_GE(r.times[1] - r.times[0], 9ms); // not a burst of the missed ones
}

TEST(MessageLoop, DescriptorIsReadableExactlyWhenSomethingIsDue) {
    TLVUTL_POSIX_ONLY("a pollable descriptor; the Windows loop is a message-only window");
#ifndef _WIN32
    Recorder r;
    auto loop = MakeLoop(r);
    const int fd = loop->FileDescriptor();
    EXPECT_FALSE(Readable(fd));
    loop->SetTimer(1, 40ms);
    EXPECT_FALSE(Readable(fd));
    EXPECT_TRUE(loop->Wait(200ms));
    EXPECT_TRUE(Readable(fd));
    EXPECT_EQ(loop->Dispatch(), 1);
    EXPECT_FALSE(Readable(fd));
    loop->KillTimer(1);
    EXPECT_FALSE(loop->Wait(60ms)); // nothing left to wake for
    EXPECT_FALSE(Readable(fd));
#endif
}

TEST(MessageLoop, PostedCallsWakeTheLoopAndRunInOrder) {
    Recorder r;
    auto loop = MakeLoop(r);
    std::vector<int> order;
    std::vector<std::thread::id> ranOn;
    std::thread poster([&] {
        for (int i = 0; i < 100; ++i)
            loop->Post([&, i] {
                order.push_back(i);
                ranOn.push_back(std::this_thread::get_id());
            });
        loop->Quit();
    });
    loop->Run(); // returns on the Quit, which comes after the calls
    poster.join();
    ASSERT_EQ(order.size(), 100u);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_EQ(std::count(ranOn.begin(), ranOn.end(), std::this_thread::get_id()), 100)
        << "every call runs on the loop's thread";
}

TEST(MessageLoop, QuitEndsTheInnermostRunOnly) {
    Recorder r;
    auto loop = MakeLoop(r);
    int inner = 0;
    loop->Post([&] {
        loop->Quit();
        loop->Run(); // ended by the Quit posted above
        ++inner;
        loop->Quit();
    });
    loop->RunFor(2s); // ended by the second Quit, well before the time is up
    EXPECT_EQ(inner, 1);
}

TEST(MessageLoop, CloseStopsTicksAndRun) {
    Recorder r;
    auto loop = MakeLoop(r);
    loop->SetTimer(1, 5ms);
    loop->Post([&] { loop->Close(); });
    loop->Run();
    EXPECT_TRUE(loop->IsClosed());
    EXPECT_EQ(loop->TimerCount(), 0u);
    loop->SetTimer(2, 5ms); // ignored once closed
    std::this_thread::sleep_for(15ms);
    EXPECT_EQ(loop->Dispatch(), 0);
    EXPECT_TRUE(r.ids.empty());
}

} // namespace
