// tlvutl timer: runs timers on this thread's message loop and shows each tick of the first
// with its measured period and its jitter (the period less the interval asked for).
#include "command.h"

#include <tlvutl/timers.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace tlvtool {
namespace {

using Clock = std::chrono::steady_clock;

const Command& Self() {
    return CommandNamed("timer");
}

bool ParseCount(const std::string& text, long max, long& out) {
    char* end = nullptr;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || v < 1 || v > max)
        return false;
    out = v;
    return true;
}

std::string Ms(double ms, bool sign = false) {
    char text[32];
    std::snprintf(text, sizeof text, sign ? "%+.2f ms" : "%.2f ms", ms);
    return text;
}

// One per timer. The first prints its ticks and ends the run after the last one.
struct Probe {
    std::ostream* out = nullptr; // null for the silent ones
    UINT interval = 0;
    long wanted = 0;
    long ticks = 0;
    Clock::time_point last;
    std::vector<double> jitter; // ms, the first timer's only
    long* allTicks = nullptr;

    void Tick() {
        ++*allTicks;
        ++ticks;
        if (!out)
            return;
        const Clock::time_point now = Clock::now();
        const double period = std::chrono::duration<double, std::milli>(now - last).count();
        last = now;
        jitter.push_back(period - interval);
        *out << "tick " << ticks << ": period " << Ms(period) << ", jitter "
             << Ms(period - interval, true) << "\n";
        if (ticks == wanted)
            TlvUtl::MessageLoop::Quit();
    }
};

} // namespace

void ShowTimerTicks(std::ostream& out, unsigned intervalMs, long count, long timers) {
    const UINT effective = std::max<UINT>(intervalMs, 10);
    long allTicks = 0;
    std::vector<std::unique_ptr<Probe>> probes;
    std::vector<std::unique_ptr<WTimer>> running;
    for (long i = 0; i < timers; ++i) {
        auto probe = std::make_unique<Probe>();
        probe->out = i == 0 ? &out : nullptr;
        probe->interval = effective;
        probe->wanted = count;
        probe->allTicks = &allTicks;
        auto timer = std::make_unique<WTimer>();
        timer->Subscribe(WTimer::Listener::FromMethod<Probe, &Probe::Tick>(probe.get()));
        probes.push_back(std::move(probe));
        running.push_back(std::move(timer));
    }
    out << count << (count == 1 ? " tick" : " ticks") << " of a " << effective << " ms timer";
    if (timers > 1)
        out << ", with " << timers - 1 << " more running at the same interval";
    if (effective != intervalMs)
        out << " (intervals below 10 ms run at 10 ms)";
    out << "\n";
    const Clock::time_point start = Clock::now();
    for (auto& p : probes)
        p->last = start;
    for (auto& t : running)
        t->Start(effective);
    TlvUtl::MessageLoop::Run();
    const double elapsed = std::chrono::duration<double, std::milli>(Clock::now() - start).count();

    std::vector<double> absolute;
    for (double j : probes.front()->jitter)
        absolute.push_back(std::fabs(j));
    std::sort(absolute.begin(), absolute.end());
    if (!absolute.empty())
        out << "jitter: median " << Ms(absolute[absolute.size() / 2]) << ", max "
            << Ms(absolute.back()) << "\n";
    if (timers > 1)
        out << "all timers: " << allTicks << " ticks in " << Ms(elapsed) << "\n";
    running.clear(); // stops them
    WTimer::GlobalTimerShutdownTime();
}

int RunTimer(const Args& args) {
    long interval = 0, count = 0, timers = 1;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a != "--interval" && a != "--count" && a != "--timers")
            return UsageError(Self(), "unknown argument '" + a + "'");
        if (++i == args.size())
            return UsageError(Self(), a + " needs a number");
        long& target = a == "--interval" ? interval : a == "--count" ? count : timers;
        const long max = a == "--interval" ? 0x7FFFFFFF : a == "--count" ? 1000000 : 100000;
        if (!ParseCount(args[i], max, target))
            return UsageError(Self(), a + " wants a whole number from 1 to " + std::to_string(max));
    }
    if (interval == 0 || count == 0)
        return UsageError(Self(), "--interval and --count are required");
    ShowTimerTicks(std::cout, static_cast<UINT>(interval), count, timers);
    return kOk;
}

} // namespace tlvtool
