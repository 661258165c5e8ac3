// The directory tracker against inotify read directly, in one run.
//
// Latency: from a one-byte write into a watched folder until someone knows. RawInotifyRead
// reads the event on the writing thread (the floor); RawInotifyThread has a thread blocked on
// the descriptor wake the writer, as the tracker's worker does; TrackerCallback goes through
// the tracker with N folders registered, the change in one of them (so it is also the cost of
// one change among many). Each reports its median and 99th percentile in microseconds.
//
// Registration: registering N folders and stopping them all, per folder. N = 100,000 runs
// only when fs.inotify.max_user_watches leaves room for it (this program never raises it).
//
//   build/release/bin/bench_dir_tracker --benchmark_min_time=0.2
#include "runtime/dir_tracker_engine.h"

#include <tlvutl/dir_tracker.h>
#include <tlvutl/encoding.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

// A pool of empty folders shared by all benchmarks, made on first use, removed at exit.
class Folders {
public:
    static Folders& Get() {
        static Folders pool;
        return pool;
    }
    // The first n folders (made as needed).
    const std::vector<std::wstring>& Wide(std::size_t n) {
        while (paths_.size() < n) {
            const fs::path p = root_ / std::to_string(paths_.size() / 1000) /
                               ("dossier-" + std::to_string(paths_.size()));
            fs::create_directories(p);
            paths_.push_back(p);
            wide_.push_back(TlvUtils::FromUtf8(p.string()));
        }
        return wide_;
    }
    const fs::path& Path(std::size_t i) { return paths_.at(i); }
    ~Folders() {
        std::error_code ignored;
        fs::remove_all(root_, ignored);
    }

private:
    Folders()
        : root_(fs::temp_directory_path() / ("tlvutl-bench-tracker-" + std::to_string(getpid()))) {
        fs::create_directories(root_);
    }
    fs::path root_;
    std::vector<fs::path> paths_;
    std::vector<std::wstring> wide_;
};

long MaxUserWatches() {
    std::ifstream in("/proc/sys/fs/inotify/max_user_watches");
    long n = 0;
    in >> n;
    return n;
}

struct Latencies {
    std::vector<double> us;
    void Add(Clock::duration d) {
        us.push_back(std::chrono::duration<double, std::micro>(d).count());
    }
    void Report(benchmark::State& state) {
        if (us.empty())
            return;
        std::sort(us.begin(), us.end());
        state.counters["median_us"] = us[us.size() / 2];
        state.counters["p99_us"] = us[std::min(us.size() - 1, us.size() * 99 / 100)];
    }
};

// A file in folder to write one byte into.
class Target {
public:
    explicit Target(const fs::path& folder)
        : fd_(open((folder / "target").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644)) {}
    ~Target() { close(fd_); }
    bool Write() { return pwrite(fd_, "x", 1, 0) == 1; }

private:
    int fd_;
};

void RawInotifyRead(benchmark::State& state) {
    const fs::path folder = Folders::Get().Path((Folders::Get().Wide(1), 0));
    const int fd = inotify_init1(IN_CLOEXEC);
    if (fd < 0 || inotify_add_watch(fd, folder.c_str(), IN_MODIFY) < 0) {
        state.SkipWithError("no inotify watch");
        return;
    }
    Target target(folder);
    alignas(inotify_event) char buffer[4096];
    Latencies lat;
    for (auto _ : state) {
        const auto start = Clock::now();
        target.Write();
        const ssize_t n = read(fd, buffer, sizeof buffer);
        lat.Add(Clock::now() - start);
        if (n < static_cast<ssize_t>(sizeof(inotify_event)) ||
            !(reinterpret_cast<inotify_event*>(buffer)->mask & IN_MODIFY)) {
            state.SkipWithError("the write was not read back as IN_MODIFY");
            break;
        }
    }
    lat.Report(state);
    close(fd);
}
BENCHMARK(RawInotifyRead);

void RawInotifyThread(benchmark::State& state) {
    const fs::path folder = Folders::Get().Path((Folders::Get().Wide(1), 0));
    const int fd = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (fd < 0 || inotify_add_watch(fd, folder.c_str(), IN_MODIFY) < 0) {
        state.SkipWithError("no inotify watch");
        return;
    }
    std::atomic<std::uint64_t> seen{0};
    std::atomic<bool> stop{false};
    std::thread reader([&] {
        alignas(inotify_event) char buffer[4096];
        while (!stop.load()) {
            pollfd p{fd, POLLIN, 0};
            if (poll(&p, 1, 100) <= 0)
                continue;
            if (read(fd, buffer, sizeof buffer) > 0) {
                seen.fetch_add(1);
                seen.notify_one();
            }
        }
    });
    Target target(folder);
    Latencies lat;
    for (auto _ : state) {
        const std::uint64_t before = seen.load();
        const auto start = Clock::now();
        target.Write();
        while (seen.load() == before)
            seen.wait(before);
        lat.Add(Clock::now() - start);
    }
    stop = true;
    reader.join();
    lat.Report(state);
    close(fd);
}
BENCHMARK(RawInotifyThread);

void TrackerCallback(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    if (static_cast<long>(n) + 1000 > MaxUserWatches()) {
        state.SkipWithError("fs.inotify.max_user_watches is too low for this many folders");
        return;
    }
    const auto& wide = Folders::Get().Wide(n);
    tlv::runtime::DirectoryTracker tracker;
    std::atomic<std::uint64_t> seen{0};
    std::atomic<std::uint64_t> wrong{0};
    const std::size_t changed = n / 2; // the one folder that changes
    std::vector<HANDLE> handles;
    for (std::size_t i = 0; i < n; ++i) {
        handles.push_back(tracker._TrackChangeIn(wide[i], 0, FILE_NOTIFY_CHANGE_LAST_WRITE,
                                                 [&, i] {
                                                     if (i != changed)
                                                         wrong.fetch_add(1);
                                                     seen.fetch_add(1);
                                                     seen.notify_one();
                                                 },
                                                 {}));
        if (handles.back() == INVALID_HANDLE_VALUE) {
            state.SkipWithError("a folder could not be registered (watch limit?)");
            return;
        }
    }
    tracker.AppStarted();
    Target target(Folders::Get().Path(changed));
    Latencies lat;
    for (auto _ : state) {
        const std::uint64_t before = seen.load();
        const auto start = Clock::now();
        target.Write();
        while (seen.load() == before)
            seen.wait(before);
        lat.Add(Clock::now() - start);
    }
    if (wrong.load())
        state.SkipWithError("a folder that did not change was called back");
    lat.Report(state);
    tracker._StopTrackingAnyChanges();
}
BENCHMARK(TrackerCallback)->Arg(1)->Arg(1000)->Arg(10000);

void RegisterFolders(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    const long limit = MaxUserWatches();
    if (static_cast<long>(n) + 1000 > limit) {
        state.SkipWithError(("fs.inotify.max_user_watches = " + std::to_string(limit) +
                             " leaves no room for this many folders; raise it to measure")
                                .c_str());
        return;
    }
    const auto& wide = Folders::Get().Wide(n);
    tlv::runtime::DirectoryTracker tracker;
    tracker.AppStarted();
    for (auto _ : state) {
        for (std::size_t i = 0; i < n; ++i)
            if (tracker._TrackChangeIn(wide[i], 0, FILE_NOTIFY_CHANGE_FILE_NAME, [] {}, {}) ==
                INVALID_HANDLE_VALUE) {
                state.SkipWithError("a folder could not be registered (watch limit?)");
                tracker._StopTrackingAnyChanges();
                return;
            }
        if (tracker.WatchCount() != n) {
            state.SkipWithError("not one watch per folder");
            break;
        }
        tracker._StopTrackingAnyChanges();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * n));
}
BENCHMARK(RegisterFolders)->Arg(10000)->Arg(100000)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
