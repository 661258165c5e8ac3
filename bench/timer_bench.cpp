// Timer ticks through the message loop with 1, 1,000 and 10,000 running timers, next to a
// bare periodic timerfd in the same run. One iteration is one tick of a 10 ms timer; the
// time per iteration is therefore about 10 ms and says nothing. What counts are the
// counters:
//   jitter_med_us, jitter_p99_us  how far the time between two ticks is from the period
//                                  (a tick the machine delayed past a whole period shifts
//                                  the loop's phase, as window timers do, so the distance
//                                  from first tick + k * period would punish it for ever)
//   dispatch_ns                    the median over wake-ups of the time spent delivering,
//                                  divided by the ticks delivered: the loop's
//                                  bookkeeping, the broadcast and the listeners (for the
//                                  bare timerfd, reading its counter). Each wake-up follows
//                                  a sleep, so this is cold-cache time, several times what
//                                  the same calls cost in a tight loop.
// With more timers the background ones tick too (intervals spread over 0.5 to 5 s), so the
// loop delivers more ticks; dispatch_ns is per tick and should not grow with their number.
// BM_LoopOnly runs the platform loop alone with a do-nothing handler: the difference to
// BM_TimerLoop is the engine's broadcast (key, listener lookup, locks).
#include "platform/message_loop.h"

#include <tlvutl/timers.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include <poll.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr std::int64_t kPeriodNs = 10'000'000;

std::int64_t NowNs() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<std::int64_t>(ts.tv_sec) * 1'000'000'000 + ts.tv_nsec;
}

double Median(std::vector<double> v) {
    if (v.empty())
        return 0;
    std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
    return v[v.size() / 2];
}

// Deviation of the time between two ticks from the period, in microseconds.
void ReportJitter(benchmark::State& state, const std::vector<std::int64_t>& ticks,
                  const std::vector<double>& dispatchNsPerTick) {
    std::vector<double> jitter;
    for (std::size_t k = 1; k < ticks.size(); ++k)
        jitter.push_back(std::abs(static_cast<double>(ticks[k] - ticks[k - 1] - kPeriodNs)) /
                         1000.0);
    std::sort(jitter.begin(), jitter.end());
    if (jitter.empty())
        return;
    state.counters["jitter_med_us"] = jitter[jitter.size() / 2];
    state.counters["jitter_p99_us"] = jitter[jitter.size() * 99 / 100];
    state.counters["dispatch_ns"] = Median(dispatchNsPerTick);
}

void BM_RawTimerfd(benchmark::State& state) {
    const int fd = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    itimerspec spec{};
    spec.it_interval.tv_nsec = kPeriodNs;
    spec.it_value.tv_nsec = kPeriodNs;
    if (fd < 0 || timerfd_settime(fd, 0, &spec, nullptr) != 0) {
        state.SkipWithError("timerfd");
        return;
    }
    std::uint64_t expirations = 0;
    if (::read(fd, &expirations, sizeof expirations) != sizeof expirations || expirations < 1) {
        state.SkipWithError("the timerfd did not expire");
        ::close(fd);
        return;
    }
    std::vector<std::int64_t> ticks;
    std::vector<double> readNs;
    for (auto _ : state) {
        pollfd p{fd, POLLIN, 0};
        poll(&p, 1, -1);
        const std::int64_t woke = NowNs();
        if (::read(fd, &expirations, sizeof expirations) != sizeof expirations)
            state.SkipWithError("timerfd read failed");
        readNs.push_back(static_cast<double>(NowNs() - woke));
        ticks.push_back(woke);
    }
    ::close(fd);
    ReportJitter(state, ticks, readNs);
}
BENCHMARK(BM_RawTimerfd)->Iterations(300)->UseRealTime()->Unit(benchmark::kMillisecond);

struct Measured {
    std::vector<std::int64_t> ticks;
    void Tick() { ticks.push_back(NowNs()); }
};
struct Background {
    std::int64_t ticks = 0;
    void Tick() { ++ticks; }
};

// Pumps until the measured timer has ticked once more; the time inside PumpPending and the
// ticks it delivered are added up. False when no tick comes within a second.
bool PumpOneTick(Measured& measured, std::vector<double>& pumpNs, std::int64_t& delivered) {
    const std::size_t before = measured.ticks.size();
    const std::int64_t giveUp = NowNs() + 1'000'000'000;
    const int fd = TlvUtl::MessageLoop::FileDescriptor();
    while (measured.ticks.size() == before) {
        pollfd p{fd, POLLIN, 0};
        poll(&p, 1, 100);
        const std::int64_t t0 = NowNs();
        const int n = TlvUtl::MessageLoop::PumpPending();
        if (n > 0)
            pumpNs.push_back(static_cast<double>(NowNs() - t0) / n);
        delivered += n;
        if (NowNs() > giveUp)
            return false;
    }
    return true;
}

void BM_TimerLoop(benchmark::State& state) {
    const auto count = static_cast<int>(state.range(0));
    Measured measured;
    Background background;
    std::vector<std::unique_ptr<WTimer>> others;
    std::mt19937 random(6);
    std::uniform_int_distribution<UINT> spread(500, 5000);
    for (int i = 1; i < count; ++i) {
        auto t = std::make_unique<WTimer>();
        t->Subscribe(WTimer::Listener::FromMethod<Background, &Background::Tick>(&background));
        t->Start(spread(random));
        others.push_back(std::move(t));
    }
    WTimer timer;
    timer.Subscribe(WTimer::Listener::FromMethod<Measured, &Measured::Tick>(&measured));
    timer.Start(static_cast<UINT>(kPeriodNs / 1'000'000));

    std::vector<double> pumpNs;
    std::int64_t delivered = 0;
    if (!TlvUtl::MessageLoop::IsOwnerThread() || !PumpOneTick(measured, pumpNs, delivered)) {
        state.SkipWithError("the measured timer did not tick");
        WTimer::GlobalTimerShutdownTime();
        return;
    }
    measured.ticks.clear();
    pumpNs.clear();
    delivered = 0;
    for (auto _ : state) {
        if (!PumpOneTick(measured, pumpNs, delivered)) {
            state.SkipWithError("a tick went missing");
            break;
        }
    }
    if (static_cast<std::int64_t>(measured.ticks.size()) != state.iterations())
        state.SkipWithError("ticks and iterations differ");
    ReportJitter(state, measured.ticks, pumpNs);
    state.counters["ticks_delivered"] = static_cast<double>(delivered);
    others.clear();
    WTimer::GlobalTimerShutdownTime();
}
BENCHMARK(BM_TimerLoop)
    ->Arg(1)
    ->Arg(1000)
    ->Arg(10000)
    ->Iterations(300)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

struct LoopOnly {
    std::vector<std::int64_t> ticks;
    std::int64_t others = 0;
    static void OnTick(void* self, std::uint32_t id) {
        auto* me = static_cast<LoopOnly*>(self);
        if (id == 0)
            me->ticks.push_back(NowNs());
        else
            ++me->others;
    }
};

void BM_LoopOnly(benchmark::State& state) {
    const auto count = static_cast<int>(state.range(0));
    LoopOnly seen;
    std::error_code error;
    auto loop = tlv::platform::MessageLoop::Create(&LoopOnly::OnTick, &seen, error);
    if (!loop) {
        state.SkipWithError("no loop");
        return;
    }
    std::mt19937 random(6);
    std::uniform_int_distribution<int> spread(500, 5000);
    for (int i = 1; i < count; ++i)
        loop->SetTimer(static_cast<std::uint32_t>(i), std::chrono::milliseconds(spread(random)));
    loop->SetTimer(0, std::chrono::nanoseconds(kPeriodNs));
    std::vector<double> pumpNs;
    std::int64_t delivered = 0;
    auto oneTick = [&] {
        const std::size_t before = seen.ticks.size();
        const std::int64_t giveUp = NowNs() + 1'000'000'000;
        while (seen.ticks.size() == before && NowNs() < giveUp) {
            loop->Wait(std::chrono::milliseconds(100));
            const std::int64_t t0 = NowNs();
            const int n = loop->Dispatch();
            if (n > 0)
                pumpNs.push_back(static_cast<double>(NowNs() - t0) / n);
            delivered += n;
        }
        return seen.ticks.size() > before;
    };
    if (!oneTick()) {
        state.SkipWithError("the measured timer did not tick");
        return;
    }
    seen.ticks.clear();
    pumpNs.clear();
    delivered = 0;
    for (auto _ : state)
        if (!oneTick()) {
            state.SkipWithError("a tick went missing");
            break;
        }
    ReportJitter(state, seen.ticks, pumpNs);
    state.counters["ticks_delivered"] = static_cast<double>(delivered);
}
BENCHMARK(BM_LoopOnly)
    ->Arg(1)
    ->Arg(10000)
    ->Iterations(300)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
