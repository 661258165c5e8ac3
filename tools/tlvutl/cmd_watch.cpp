// tlvutl watch: prints a line each time the directory tracker calls back for a folder, until
// interrupted. Also the directory-tracker stop of the tour.
#include "command.h"

#include <tlvutl/dir_tracker.h>
#include <tlvutl/encoding.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <mutex>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#ifdef _WIN32
#include <atomic>
#include <thread>
#else
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#endif

namespace tlvtool {
namespace {

struct FilterName {
    const char* name;
    DWORD bits;
};
constexpr FilterName kFilters[] = {
    {"file-name", FILE_NOTIFY_CHANGE_FILE_NAME},   {"dir-name", FILE_NOTIFY_CHANGE_DIR_NAME},
    {"attributes", FILE_NOTIFY_CHANGE_ATTRIBUTES}, {"size", FILE_NOTIFY_CHANGE_SIZE},
    {"last-write", FILE_NOTIFY_CHANGE_LAST_WRITE}, {"security", FILE_NOTIFY_CHANGE_SECURITY},
};

bool ParseFilter(const std::string& list, DWORD& filter) {
    filter = 0;
    std::stringstream in(list);
    std::string name;
    while (std::getline(in, name, ',')) {
        if (name == "all") {
            for (const auto& f : kFilters)
                filter |= f.bits;
            continue;
        }
        bool known = false;
        for (const auto& f : kFilters)
            if (name == f.name) {
                filter |= f.bits;
                known = true;
            }
        if (!known)
            return false;
    }
    return filter != 0;
}

std::string Timestamp() {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() %
        1000;
    std::tm local{};
#ifdef _WIN32
    localtime_s(&local, &seconds);
#else
    localtime_r(&seconds, &local);
#endif
    char text[40];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    char full[48];
    std::snprintf(full, sizeof full, "%s.%03d", text, static_cast<int>(ms));
    return full;
}

#ifdef _WIN32
// The console's Ctrl-C arrives as SIGINT on a thread of the runtime's; the main thread looks
// at the flag between naps.
std::atomic<bool> g_stop{false};
extern "C" void OnStopSignal(int) {
    g_stop = true;
}
#endif

} // namespace

int RunWatch(const Args& args) {
    const Command& self = CommandNamed("watch");
    bool subtree = false;
    DWORD filter = 0;
    std::vector<std::string> folders;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--subtree") {
            subtree = true;
        } else if (args[i] == "--filter") {
            if (i + 1 == args.size() || !ParseFilter(args[++i], filter))
                return UsageError(self, "--filter takes names from file-name, dir-name, "
                                        "attributes, size, last-write, security, all");
        } else if (!args[i].empty() && args[i][0] == '-') {
            return UsageError(self, "unknown option " + args[i]);
        } else {
            folders.push_back(args[i]);
        }
    }
    if (folders.empty())
        return UsageError(self, "no folder to watch");
    if (!filter)
        ParseFilter("all", filter);

        // Interrupts are taken by this thread alone, in sigwait: the tracker's worker (started
        // after this) inherits the blocked mask.
#ifdef _WIN32
    std::signal(SIGINT, OnStopSignal);
    std::signal(SIGTERM, OnStopSignal);
#else
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
#endif

    std::mutex out;
    std::vector<CDirectoriesChangesTracker::TrackingHandle> handles;
    for (const std::string& folder : folders) {
        auto handle = CDirectoriesChangesTracker::TrackChangeIn(
            CString(TlvUtils::FromUtf8(folder).c_str()), subtree ? 1 : 0, filter,
            [&out, folder] {
                std::lock_guard<std::mutex> lock(out);
                std::cout << Timestamp() << "  changed  " << folder << std::endl;
            },
            {});
        if (handle.get() == INVALID_HANDLE_VALUE) {
            std::cerr << "tlvutl watch: cannot watch " << folder
                      << " (missing, not a folder, or over the system's limits)\n";
            return kFailed;
        }
        handles.push_back(std::move(handle));
    }
    CDirectoriesChangesTracker::AppStarted();
    {
        std::lock_guard<std::mutex> lock(out);
        std::cerr << "watching " << folders.size() << (folders.size() == 1 ? " folder" : " folders")
                  << (subtree ? " and their sub-folders" : "") << "; Ctrl-C stops" << std::endl;
    }
#ifdef _WIN32
    while (!g_stop.load())
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
#else
    int signal = 0;
    sigwait(&stopSignals, &signal);
#endif
    CDirectoriesChangesTracker::AppShuttingDown();
    handles.clear();
    std::cerr << "stopped" << std::endl;
    return kOk;
}

void TourDirectoryTracker() {
    std::cout << "\n== Directory change tracker ==\n";
    // A fresh folder of the tour's own: a name taken by nobody else.
    std::filesystem::path folder;
    std::mt19937_64 random{std::random_device{}()};
    for (int attempt = 0; attempt < 16 && folder.empty(); ++attempt) {
        const auto candidate = std::filesystem::temp_directory_path() /
                               ("tlvutl-tour-" + std::to_string(random() % 1000000000));
        std::error_code error;
        if (std::filesystem::create_directory(candidate, error))
            folder = candidate;
    }
    if (folder.empty()) {
        std::cout << "no temporary folder to watch\n";
        return;
    }
#ifdef _WIN32
    const std::wstring wide = folder.wstring(); // narrow paths are not UTF-8 there
#else
    const std::wstring wide = TlvUtils::FromUtf8(folder.string());
#endif
    std::mutex m;
    std::condition_variable cv;
    bool called = false;
    auto handle = CDirectoriesChangesTracker::TrackChangeIn(
        CString(wide.c_str()), 1, FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_LAST_WRITE,
        [&] {
            std::lock_guard<std::mutex> lock(m);
            called = true;
            cv.notify_all();
        },
        {});
    CDirectoriesChangesTracker::AppStarted();
    std::cout << "watching:            " << TlvUtils::ToUtf8(wide) << " (with its sub-folders)\n";
    const auto start = std::chrono::steady_clock::now();
    std::ofstream(folder / "touched.txt") << "hello";
    bool reported;
    {
        std::unique_lock<std::mutex> lock(m);
        reported = cv.wait_for(lock, std::chrono::seconds(5), [&] { return called; });
    }
    const auto us = std::chrono::duration_cast<std::chrono::microseconds>(
                        std::chrono::steady_clock::now() - start)
                        .count();
    if (reported)
        std::cout << "wrote touched.txt:   change reported after " << us << " us\n";
    else
        std::cout << "wrote touched.txt:   no change reported within 5 s\n";
    handle.reset();
    CDirectoriesChangesTracker::AppShuttingDown();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

} // namespace tlvtool
