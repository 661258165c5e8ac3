// The engine behind CDirectoriesChangesTracker: the registered folders, the worker thread
// that waits for their changes and calls their callbacks, and the protocol between the two.
//
// Two mutexes with a fixed order. A caller that changes the folder list (or the started flag)
// takes the caller mutex, signals the change-of-list event, then takes the worker mutex. The
// worker thread holds the worker mutex whenever it is not calling a callback; woken by the
// change-of-list event it gives the worker mutex up, waits for the caller mutex and releases
// it at once (the caller has finished), and takes the worker mutex back. Callbacks run on the
// worker without either mutex, so they may register and unregister folders.
//
// The running flag is set when the worker is started and cleared by the worker as it ends.
// Whether to start is decided under both mutexes; whether to end, by the worker under the
// worker mutex when it sees the stop event (it ends when the application is not started, no
// folder is left or the tracker is being destroyed, and carries on otherwise). So a thread
// removing the last folder and another registering one cannot leave a folder without a
// worker. A stop asked for on the worker itself (from a callback) does not wait.
//
// A separate instance is a complete tracker of its own; the library uses one for the process.
#ifndef TLVUTL_RUNTIME_DIR_TRACKER_ENGINE_H
#define TLVUTL_RUNTIME_DIR_TRACKER_ENGINE_H

#include "platform/change_notification.h"

#include <tlvutl/dir_tracker.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tlv::runtime {

class DirectoryTracker {
public:
    using Callback = std::function<void()>;
    using BlameTracker = CDirectoriesChangesTracker::BlameTracker;

    // Throws std::system_error when the events cannot be made.
    DirectoryTracker();
    virtual ~DirectoryTracker();
    DirectoryTracker(const DirectoryTracker&) = delete;
    DirectoryTracker& operator=(const DirectoryTracker&) = delete;

    // INVALID_HANDLE_VALUE when the folder cannot be watched.
    HANDLE _TrackChangeIn(const std::wstring& folder, int watchSubtree, DWORD filter,
                          Callback callback, BlameTracker blame);
    void _StopTrackingChangeIn(HANDLE handle);
    void _StopTrackingAnyChanges();
    void AppStarted();
    void AppShuttingDown();

    // The running flag: a worker thread has been started and has not ended.
    bool IsRunning() const { return m_running.load() == 1; }
    std::size_t FolderCount();
    // Kernel watches held; 0 before the first registration.
    std::size_t WatchCount();
    // Refuse watches beyond limit, as the system does at its own limit.
    void SetWatchLimitForTesting(std::size_t limit);

private:
    // Holds the caller mutex and the worker mutex, taken by the protocol above.
    class ListChange;

    struct Folder {
        Callback callback;
        BlameTracker blame;
    };

    // With both mutexes held: start the worker when allowed and needed.
    bool _StartTracking();
    // With no mutex held: stop the worker and wait until it has ended or decided to carry on
    // (not waiting when called on the worker).
    bool _StopTracking();
    // Joins a worker that has ended.
    void ReapWorker();
    void _TrackChanges();
    void ReportProblems(std::unique_lock<std::mutex>& worker);

    // Guarded by the worker mutex.
    int m_appStarted = 0;
    bool m_destroying = false;
    // The registered folders by handle value, which grows with each registration: iteration is
    // registration order.
    std::map<std::uintptr_t, Folder> m_folders;
    std::uintptr_t m_nextHandle = 1;
    std::unique_ptr<platform::ChangeNotifier> m_notifier;
    // Folders reported changed and not yet called back (kept across a stop, so a restart
    // calls them).
    std::vector<std::uint64_t> m_changed;
    std::size_t m_nextChanged = 0;
    std::thread m_thread;

    platform::WaitEvent m_stopEvent;
    platform::WaitEvent m_listEvent;
    std::mutex m_workerMutex;
    std::mutex m_callerMutex;
    std::atomic<int> m_running{0};

    // The stop handshake: a stopper takes a ticket and waits until the worker has seen it.
    std::mutex m_stateMutex;
    std::condition_variable m_stateChanged;
    std::uint64_t m_stopRequests = 0;
    std::uint64_t m_stopsSeen = 0;
};

// The process's tracker, made on first use; null once it has been destroyed at exit.
DirectoryTracker* GlobalDirectoryTracker();

} // namespace tlv::runtime

#endif
