#include "platform/file_system.h"
#include "runtime/dir_tracker_engine.h"

#include <tlvutl/encoding.h>
#include <tlvutl/messages.h>

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace tlv::runtime {
namespace {

// The tracker whose worker this thread is, if any.
thread_local const DirectoryTracker* t_workerOf = nullptr;

HANDLE HandleOf(std::uintptr_t value) {
    return reinterpret_cast<HANDLE>(value);
}

} // namespace

class DirectoryTracker::ListChange {
public:
    explicit ListChange(DirectoryTracker& t) : caller_(t.m_callerMutex) {
        // An eventfd refuses a signal only when its counter is full, which the worker's
        // reset on every wake-up rules out.
        t.m_listEvent.Signal();
        worker_ = std::unique_lock<std::mutex>(t.m_workerMutex);
    }

private:
    std::unique_lock<std::mutex> caller_;
    std::unique_lock<std::mutex> worker_;
};

DirectoryTracker::DirectoryTracker() = default;

DirectoryTracker::~DirectoryTracker() {
    {
        ListChange change(*this);
        m_destroying = true;
    }
    if (t_workerOf == this) {
        // Destroyed from one of its own callbacks (the process exiting there): the worker
        // cannot wait for itself.
        m_thread.detach();
        return;
    }
    _StopTracking();
    if (m_thread.joinable())
        m_thread.join();
}

HANDLE DirectoryTracker::_TrackChangeIn(const std::wstring& folder, int watchSubtree, DWORD filter,
                                        Callback callback, BlameTracker blame) {
    // Paths reach the system as bytes at the file-system seam's rule.
    const std::string path = platform::NativePath(folder);
    HANDLE result = INVALID_HANDLE_VALUE;
    std::string limit;
    std::string unavailable; // no notification instance could be made, and not for a limit
    {
        ListChange change(*this);
        std::error_code error;
        if (!m_notifier) {
            m_notifier = platform::ChangeNotifier::Create(error);
            if (!m_notifier && error)
                unavailable = error.message();
        }
        if (m_notifier) {
            const std::uintptr_t handle = m_nextHandle++;
            if (m_notifier->Add(handle, path, watchSubtree != 0, filter, error)) {
                m_folders.emplace(handle, Folder{std::move(callback), blame});
                result = HandleOf(handle);
            }
        }
        if (error)
            limit = platform::DescribeWatchLimit(error);
        _StartTracking();
    }
    if (!limit.empty()) {
        const std::wstring text = L"Directory tracking: cannot watch \"" + folder + L"\": " +
                                  TlvUtils::FromUtf8(limit) + L" is reached";
        TlvUtl::OutputDebugText(text.c_str());
    } else if (!unavailable.empty()) {
        const std::wstring text = L"Directory tracking: cannot watch \"" + folder +
                                  L"\": no folder notifications (" +
                                  TlvUtils::FromUtf8(unavailable) + L")";
        TlvUtl::OutputDebugText(text.c_str());
    }
    return result;
}

void DirectoryTracker::_StopTrackingChangeIn(HANDLE handle) {
    if (!handle || handle == INVALID_HANDLE_VALUE)
        return;
    Callback released; // destroyed without the mutexes: what it captured may call back here
    bool last = false;
    {
        ListChange change(*this);
        auto it = m_folders.find(reinterpret_cast<std::uintptr_t>(handle));
        if (it == m_folders.end())
            return;
        m_notifier->Remove(it->first);
        released = std::move(it->second.callback);
        m_folders.erase(it);
        last = m_folders.empty();
    }
    if (last)
        _StopTracking();
}

void DirectoryTracker::_StopTrackingAnyChanges() {
    std::vector<Callback> released;
    {
        ListChange change(*this);
        if (m_folders.empty())
            return;
        // In registration order, as one change of the list.
        for (auto& [handle, folder] : m_folders) {
            m_notifier->Remove(handle);
            released.push_back(std::move(folder.callback));
        }
        m_folders.clear();
    }
    _StopTracking();
}

void DirectoryTracker::AppStarted() {
    ListChange change(*this);
    m_appStarted = 1;
    _StartTracking();
}

void DirectoryTracker::AppShuttingDown() {
    {
        ListChange change(*this);
        m_appStarted = 0;
    }
    _StopTracking();
}

std::size_t DirectoryTracker::FolderCount() {
    ListChange change(*this);
    return m_folders.size();
}

std::size_t DirectoryTracker::WatchCount() {
    ListChange change(*this);
    return m_notifier ? m_notifier->WatchCount() : 0;
}

void DirectoryTracker::SetWatchLimitForTesting(std::size_t limit) {
    ListChange change(*this);
    std::error_code error;
    if (!m_notifier)
        m_notifier = platform::ChangeNotifier::Create(error);
    if (m_notifier)
        m_notifier->SetWatchLimitForTesting(limit);
}

bool DirectoryTracker::_StartTracking() {
    if (m_running.load() == 1)
        return true;
    if (!m_appStarted || m_folders.empty() || m_destroying)
        return false;
    // A worker that ended cleared the flag before it let go of the worker mutex, which this
    // thread now holds: all it has left to do is return.
    if (m_thread.joinable())
        m_thread.join();
    m_running.store(1);
    try {
        m_thread = std::thread([this] { _TrackChanges(); });
    } catch (const std::system_error&) {
        m_running.store(0);
        return false;
    }
    return true;
}

bool DirectoryTracker::_StopTracking() {
    if (m_running.load() != 1)
        return true;
    std::uint64_t ticket;
    {
        std::lock_guard<std::mutex> state(m_stateMutex);
        ticket = ++m_stopRequests;
    }
    if (!m_stopEvent.Signal())
        return false;
    if (t_workerOf == this)
        return true; // a callback: the worker sees the stop when it returns
    {
        std::unique_lock<std::mutex> state(m_stateMutex);
        m_stateChanged.wait(state, [&] { return m_running.load() == 0 || m_stopsSeen >= ticket; });
    }
    ReapWorker();
    return true;
}

void DirectoryTracker::ReapWorker() {
    ListChange change(*this);
    if (m_running.load() == 0 && m_thread.joinable())
        m_thread.join();
}

void DirectoryTracker::ReportProblems(std::unique_lock<std::mutex>& worker) {
    const std::vector<std::string> problems = m_notifier->TakeProblems();
    if (problems.empty())
        return;
    // The debug sink is the host's code: it runs without the worker mutex, as callbacks do.
    worker.unlock();
    for (const std::string& problem : problems)
        TlvUtl::OutputDebugText(TlvUtils::FromUtf8("Directory tracking: " + problem).c_str());
    worker.lock();
}

void DirectoryTracker::_TrackChanges() {
    t_workerOf = this;
    std::unique_lock<std::mutex> worker(m_workerMutex);
    for (;;) {
        // Call back the folders that changed, one at a time, without the worker mutex.
        while (m_nextChanged < m_changed.size() && m_appStarted && !m_destroying) {
            auto it = m_folders.find(m_changed[m_nextChanged++]);
            if (it == m_folders.end())
                continue; // unregistered since
            Callback call = it->second.callback;
            worker.unlock();
            call(); // an empty callback throws std::bad_function_call, as any call would
            call = nullptr;
            worker.lock();
        }
        if (m_nextChanged == m_changed.size()) {
            m_changed.clear();
            m_nextChanged = 0;
        }

        const int fds[3] = {m_stopEvent.Descriptor(), m_listEvent.Descriptor(),
                            m_notifier ? m_notifier->Descriptor() : -1};
        bool ready[3] = {};
        if (!platform::WaitForAnyReadable(fds, 3, ready))
            continue;
        if (ready[0]) {
            m_stopEvent.Reset();
            const bool end = !m_appStarted || m_folders.empty() || m_destroying;
            {
                std::lock_guard<std::mutex> state(m_stateMutex);
                m_stopsSeen = m_stopRequests;
                if (end)
                    m_running.store(0);
            }
            m_stateChanged.notify_all();
            if (end) {
                t_workerOf = nullptr;
                return;
            }
            continue;
        }
        if (ready[1]) {
            m_listEvent.Reset();
            worker.unlock();
            { std::lock_guard<std::mutex> caller(m_callerMutex); }
            worker.lock();
            continue;
        }
        if (ready[2]) {
            std::vector<std::uint64_t> changed;
            m_notifier->ReadChanges(changed);
            ReportProblems(worker);
            if (m_nextChanged == m_changed.size()) {
                m_changed = std::move(changed);
                m_nextChanged = 0;
            } else {
                // Some are still waiting for a restart: they changed earlier and stay first.
                std::unordered_set<std::uint64_t> waiting(
                    m_changed.begin() + static_cast<std::ptrdiff_t>(m_nextChanged),
                    m_changed.end());
                for (const std::uint64_t id : changed)
                    if (waiting.insert(id).second)
                        m_changed.push_back(id);
            }
        }
    }
}

namespace {

std::atomic<bool> g_globalGone{false};

// Marks the process's tracker gone before it is destroyed at exit, so that an owning handle
// destroyed later (a host's static) finds nothing to stop instead of a destroyed tracker.
struct GlobalTracker {
    DirectoryTracker tracker;
    ~GlobalTracker() { g_globalGone.store(true); }
};

} // namespace

DirectoryTracker* GlobalDirectoryTracker() {
    if (g_globalGone.load())
        return nullptr;
    static GlobalTracker global;
    return &global.tracker;
}

} // namespace tlv::runtime
