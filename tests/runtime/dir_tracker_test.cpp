// The directory tracker with its worker thread: lifecycle, callbacks that change the list,
// names in several scripts, the watch limit, and many threads at once. Each test has a
// tracker of its own, except those of the exported class, which use the process's.
#include "environment/temp_dir.h"
#include "platform_marks.h"
#include "runtime/dir_tracker_engine.h"

#include <tlvutl/dir_tracker.h>
#include <tlvutl/encoding.h>
#include <tlvutl/frame.h>
#include <tlvutl/messages.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;
using tlv::runtime::DirectoryTracker;
using namespace std::chrono_literals;

namespace {

constexpr DWORD kNames = FILE_NOTIFY_CHANGE_FILE_NAME;
constexpr auto kPatience = 10s; // a callback that has not come by then never will

// Calls of one callback, safe to count after its folder is gone.
struct Hits {
    std::mutex m;
    std::condition_variable cv;
    int n = 0;
    std::vector<std::string> order; // shared by several counters in ordering tests

    void Hit() {
        std::lock_guard<std::mutex> lock(m);
        ++n;
        cv.notify_all();
    }
    int Count() {
        std::lock_guard<std::mutex> lock(m);
        return n;
    }
    bool WaitFor(int atLeast) {
        std::unique_lock<std::mutex> lock(m);
        return cv.wait_for(lock, kPatience, [&] { return n >= atLeast; });
    }
};

template <class Pred> bool Eventually(Pred pred) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!pred()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

// A path from UTF-8 text, and a path's wide form: narrow paths are not UTF-8 on Windows.
fs::path P(const std::string& utf8) {
#ifdef _WIN32
    return fs::path(TlvUtils::FromUtf8(utf8));
#else
    return fs::path(utf8);
#endif
}

std::wstring Wide(const fs::path& p) {
#ifdef _WIN32
    return p.wstring();
#else
    return TlvUtils::FromUtf8(p.string());
#endif
}

void Touch(const fs::path& p) {
    std::ofstream(p, std::ios::app) << "x";
}

HANDLE Track(DirectoryTracker& t, const fs::path& dir, const std::shared_ptr<Hits>& hits,
             bool subtree = false, DWORD filter = kNames) {
    return t._TrackChangeIn(Wide(dir), subtree, filter, [hits] { hits->Hit(); }, {});
}

class Tracker : public ::testing::Test {
protected:
    fs::path Dir(const std::string& name) {
        const fs::path p = dir_.path() / P(name);
        fs::create_directories(p);
        return p;
    }
    TempDir dir_;
};

} // namespace

TEST_F(Tracker, RemovingTheLastFolderStopsTheThreadBeforeReturning) {
    DirectoryTracker t;
    t.AppStarted();
    EXPECT_FALSE(t.IsRunning()); // started, but nothing to watch
    auto hits = std::make_shared<Hits>();
    HANDLE a = Track(t, Dir("a"), hits), b = Track(t, Dir("b"), hits);
    EXPECT_TRUE(t.IsRunning());
    t._StopTrackingChangeIn(a);
    EXPECT_TRUE(t.IsRunning());
    t._StopTrackingChangeIn(a); // twice: ignored
    t._StopTrackingChangeIn(INVALID_HANDLE_VALUE);
    t._StopTrackingChangeIn(nullptr);
    EXPECT_EQ(t.FolderCount(), 1u);
    t._StopTrackingChangeIn(b);
    EXPECT_FALSE(t.IsRunning());
    EXPECT_EQ(t.FolderCount(), 0u);
    EXPECT_EQ(t.WatchCount(), 0u);
}

TEST_F(Tracker, CallbackStoppingEverythingOrShuttingDown) {
    DirectoryTracker t;
    t.AppStarted();
    auto hits = std::make_shared<Hits>();
    const fs::path a = Dir("a"), b = Dir("b");
    t._TrackChangeIn(Wide(a), 0, kNames,
                     [&] {
                         t._StopTrackingAnyChanges();
                         hits->Hit();
                     },
                     {});
    Track(t, b, hits);
    Touch(a / "x");
    ASSERT_TRUE(hits->WaitFor(1));
    EXPECT_TRUE(Eventually([&] { return !t.IsRunning(); }));
    EXPECT_EQ(t.FolderCount(), 0u);

    // Shutting down from a callback keeps the folders; starting again resumes them.
    auto again = std::make_shared<Hits>();
    HANDLE h = t._TrackChangeIn(Wide(a), 0, kNames,
                                [&] {
                                    t.AppShuttingDown();
                                    again->Hit();
                                },
                                {});
    Touch(a / "y");
    ASSERT_TRUE(again->WaitFor(1));
    EXPECT_TRUE(Eventually([&] { return !t.IsRunning(); }));
    EXPECT_EQ(t.FolderCount(), 1u);
    Touch(a / "z");
    t.AppStarted();
    EXPECT_TRUE(again->WaitFor(2));
    t._StopTrackingChangeIn(h);
}

TEST_F(Tracker, ChangesBeforeAppStartedAreCalledInRegistrationOrder) {
    DirectoryTracker t;
    auto log = std::make_shared<Hits>();
    std::vector<fs::path> dirs = {Dir("one"), Dir("two"), Dir("three")};
    std::vector<HANDLE> handles;
    for (const auto& d : dirs)
        handles.push_back(t._TrackChangeIn(Wide(d), 0, kNames,
                                           [log, name = d.filename().string()] {
                                               {
                                                   std::lock_guard<std::mutex> lock(log->m);
                                                   log->order.push_back(name);
                                               }
                                               log->Hit();
                                           },
                                           {}));
    // No worker before the application has started: the changes wait, and are not lost.
    EXPECT_FALSE(t.IsRunning());
    Touch(dirs[2] / "x");
    Touch(dirs[0] / "x");
    Touch(dirs[1] / "x");
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(log->Count(), 0);
    t.AppStarted();
    EXPECT_TRUE(t.IsRunning());
    ASSERT_TRUE(log->WaitFor(3));
    std::lock_guard<std::mutex> lock(log->m);
    EXPECT_EQ(log->order, (std::vector<std::string>{"one", "two", "three"}));
}

TEST_F(Tracker, OverTheWatchLimitIsRefusedWholeWithADebugMessage) {
    TLVUTL_POSIX_ONLY("fs.inotify.max_user_watches");
    DirectoryTracker t;
    std::vector<std::wstring> debug;
    TlvUtl::SetDebugOutputSink([&](const wchar_t* text) { debug.push_back(text); });
    t.SetWatchLimitForTesting(2);
    // A name outside the basic plane, in the folder and in the message.
    const fs::path top = Dir("𝄞 Ωmega");
    Dir("𝄞 Ωmega/1");
    Dir("𝄞 Ωmega/2");
    auto hits = std::make_shared<Hits>();
    EXPECT_EQ(Track(t, top, hits, true), INVALID_HANDLE_VALUE);
    TlvUtl::SetDebugOutputSink({});
    EXPECT_EQ(t.WatchCount(), 0u);
    EXPECT_EQ(t.FolderCount(), 0u);
    ASSERT_EQ(debug.size(), 1u);
    EXPECT_NE(debug[0].find(L"fs.inotify.max_user_watches"), std::wstring::npos) << debug[0];
    EXPECT_NE(debug[0].find(L"𝄞 Ωmega"), std::wstring::npos) << debug[0];
    // Within the limit the same folder is fine (a missing one is refused without a word).
    HANDLE h = Track(t, top, hits, false);
    EXPECT_NE(h, INVALID_HANDLE_VALUE);
    EXPECT_EQ(Track(t, dir_ / "missing", hits), INVALID_HANDLE_VALUE);
    t._StopTrackingChangeIn(h);
}

TEST_F(Tracker, WatchedFolderDeletedIsCalledBackAndCanBeMadeAgain) {
    TLVUTL_KNOWN_WINE_DIFFERENCE("Wine does not end a folder's pending read when the folder is "
                                 "deleted; it stays until its watch is removed");
    DirectoryTracker t;
    t.AppStarted();
    auto hits = std::make_shared<Hits>(), parent = std::make_shared<Hits>();
    const fs::path d = Dir("parent/éphémère");
    HANDLE own = Track(t, d, hits, true);
    HANDLE above = Track(t, dir_ / "parent", parent, false, FILE_NOTIFY_CHANGE_DIR_NAME);
    fs::remove_all(d);
    EXPECT_TRUE(hits->WaitFor(1));
    EXPECT_TRUE(parent->WaitFor(1));
    // The watch lets go of the folder: its name is free again and the parent can go too.
    EXPECT_TRUE(Eventually([&] { return t.WatchCount() == 1; }));
    EXPECT_TRUE(fs::create_directory(d));
    t._StopTrackingChangeIn(own);
    EXPECT_EQ(t.FolderCount(), 1u);
    t._StopTrackingChangeIn(above);
    EXPECT_FALSE(t.IsRunning());
    fs::remove_all(dir_ / "parent");
    EXPECT_FALSE(fs::exists(dir_ / "parent"));
}

// Folders registered and unregistered from several threads while files change: a folder that
// stays registered misses no change, and the list ends as it began.
TEST_F(Tracker, ManyThreadsRegisteringWhileFilesChangeLoseNoCallback) {
    constexpr int kThreads = 4, kPerThread = 250, kStable = 8;
    DirectoryTracker t;
    t.AppStarted();
    std::vector<fs::path> churn;
    for (int i = 0; i < kThreads * kPerThread; ++i)
        churn.push_back(Dir("churn/" + std::to_string(i)));
    std::vector<std::shared_ptr<Hits>> stableHits;
    std::vector<HANDLE> stable;
    for (int i = 0; i < kStable; ++i) {
        stableHits.push_back(std::make_shared<Hits>());
        stable.push_back(Track(t, Dir("stable/" + std::to_string(i)), stableHits.back()));
    }

    auto churnHits = std::make_shared<Hits>();
    std::atomic<int> running{kThreads};
    std::atomic<int> refused{0};
    std::vector<std::thread> threads;
    for (int k = 0; k < kThreads; ++k)
        threads.emplace_back([&, k] {
            std::vector<HANDLE> mine;
            for (int i = 0; i < kPerThread; ++i) {
                mine.push_back(Track(t, churn[k * kPerThread + i], churnHits, false,
                                     kNames | FILE_NOTIFY_CHANGE_LAST_WRITE));
                refused += mine.back() == INVALID_HANDLE_VALUE;
            }
            for (HANDLE h : mine)
                t._StopTrackingChangeIn(h);
            --running;
        });

    int round = 0;
    bool lost = false;
    while ((running.load() > 0 || round < 3) && !lost) {
        std::vector<int> before;
        for (auto& h : stableHits)
            before.push_back(h->Count());
        for (int i = 0; i < kStable; ++i)
            Touch(dir_ / "stable" / std::to_string(i) / std::to_string(round));
        for (int i = 0; i < 20; ++i)
            Touch(churn[(round * 97 + i * 31) % churn.size()] / "f");
        for (int i = 0; i < kStable; ++i)
            if (!stableHits[i]->WaitFor(before[i] + 1)) {
                ADD_FAILURE() << "folder " << i << " missed the change of round " << round;
                lost = true;
            }
        ++round;
    }
    for (auto& th : threads)
        th.join();
    EXPECT_EQ(refused.load(), 0);
    EXPECT_EQ(t.FolderCount(), static_cast<std::size_t>(kStable));
    EXPECT_EQ(t.WatchCount(), static_cast<std::size_t>(kStable));
    EXPECT_TRUE(t.IsRunning());
    t._StopTrackingAnyChanges();
    EXPECT_FALSE(t.IsRunning());
}

// ---- The exported class on the process's tracker ----------------------------------------------

TEST_F(Tracker, ExportedHandlesOwnTheRegistrationAndLastUninitializeStopsAll) {
    DirectoryTracker& global = *tlv::runtime::GlobalDirectoryTracker();
    CDirectoriesChangesTracker::AppStarted();
    auto hits = std::make_shared<Hits>();
    const fs::path d = Dir("exporté 𝄞"); // a name outside the basic plane
    {
        auto missing = CDirectoriesChangesTracker::TrackChangeIn(
            CString(Wide(dir_ / "nowhere").c_str()), 0, kNames, [] {}, {});
        EXPECT_EQ(missing.get(), INVALID_HANDLE_VALUE);
        auto h = CDirectoriesChangesTracker::TrackChangeIn(CString(Wide(d).c_str()), 1, kNames,
                                                           [hits] { hits->Hit(); }, {});
        ASSERT_NE(h.get(), INVALID_HANDLE_VALUE);
        EXPECT_EQ(global.FolderCount(), 1u);
        Touch(d / "x");
        EXPECT_TRUE(hits->WaitFor(1));
    } // both handles destroyed: the invalid one does nothing
    EXPECT_EQ(global.FolderCount(), 0u);
    EXPECT_FALSE(global.IsRunning());

    UTLInitialize();
    UTLInitialize();
    auto a =
        CDirectoriesChangesTracker::TrackChangeIn(CString(Wide(d).c_str()), 0, kNames, [] {}, {});
    auto b = CDirectoriesChangesTracker::TrackChangeIn(CString(Wide(Dir("u2")).c_str()), 0, kNames,
                                                       [] {}, {});
    EXPECT_TRUE(global.IsRunning());
    UTLUninitialize();
    EXPECT_EQ(global.FolderCount(), 2u); // not the last one
    UTLUninitialize();
    EXPECT_EQ(global.FolderCount(), 0u);
    EXPECT_FALSE(global.IsRunning());
    a.reset(); // already stopped: nothing left to do
    b.reset();
    CDirectoriesChangesTracker::AppShuttingDown();
}
