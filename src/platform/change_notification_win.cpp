// Folder change notifications on Win32: one folder handle per registration, read with
// overlapped ReadDirectoryChangesW, every completion arriving on one I/O completion port.
//
// A pump thread of the notifier's own waits on the port. It issues every read and every
// cancellation itself, so no read belongs to a caller's thread (a caller that registers a
// folder and then ends must not take the folder's read with it), and the port has no limit
// on the number of folders, unlike a wait on their events. Callers reach the pump by posting
// commands to the same port and wait for its answer; the pump never waits for a caller.
//
// The pump only learns that a registration changed, never what changed: the system applies
// the filter itself, so a completion with records is a change, and the records are not read.
// A completion of zero bytes means the system's buffer for the folder overflowed and its
// changes were lost; as the POSIX backend does on a lost queue, every registration is then
// reported, so that a host behaves the same on both systems.
//
// A watched folder that is deleted ends its read with an error (or its next read fails): its
// registration is reported once more and its handle closed at once, since the folder cannot
// go away while a handle is open on it.
//
// The descriptor the owner waits on is a manual-reset event, set while changes are waiting;
// an event's handle value fits an int (the system keeps handle values within 32 bits so that
// they pass between 32- and 64-bit processes).
#include "change_notification.h"
#include "file_system.h"

#include <windows.h>

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

namespace tlv::platform {
namespace {

HANDLE HandleOf(int descriptor) {
    return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(descriptor));
}

int DescriptorOf(HANDLE handle) {
    return static_cast<int>(reinterpret_cast<std::intptr_t>(handle));
}

std::error_code Win32(DWORD code) {
    return std::error_code(static_cast<int>(code), std::system_category());
}

// The errors the notifier's contract names, as std::errc so that they compare the same way
// on every system; any other stays the system's code.
std::error_code OpenError(DWORD code) {
    switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_INVALID_NAME:
        return std::make_error_code(std::errc::no_such_file_or_directory);
    case ERROR_DIRECTORY:
        return std::make_error_code(std::errc::not_a_directory);
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
        return std::make_error_code(std::errc::permission_denied);
    default:
        return Win32(code);
    }
}

// Big enough that an ordinary burst of changes between two reads fits: an overflow costs a
// call of every callback. The records are never read, only counted as "something changed".
constexpr DWORD kBufferBytes = 16 * 1024;

// Commands posted to the pump (as the byte count of a packet with no OVERLAPPED).
constexpr DWORD kArm = 1;    // start the first read of a new registration
constexpr DWORD kCancel = 2; // end a registration: cancel its read, close its handle
constexpr DWORD kQuit = 3;   // end the pump (key 0)

struct Watch {
    std::uint64_t id = 0;
    std::wstring path;
    bool subtree = false;
    DWORD filter = 0;
    DWORD readBytes = kBufferBytes;
    HANDLE dir = INVALID_HANDLE_VALUE;
    OVERLAPPED ov{};
    std::unique_ptr<DWORD[]> buffer{new DWORD[kBufferBytes / sizeof(DWORD)]};

    // The pump's own: a read is issued and its completion not yet taken from the port.
    bool reading = false;
    // The pump's own: the kCancel command has been taken.
    bool cancelSeen = false;

    // Guarded by the state mutex.
    bool armDone = false; // the first read was tried; armError tells how it went
    DWORD armError = 0;
    bool removing = false; // Remove has posted kCancel
    bool released = false; // the pump is done with it for good: Remove may free it
};

} // namespace

// ---- WaitEvent and the wait ---------------------------------------------------------------

// Manual reset: the event stays readable until Reset, as a counter descriptor does; a wait
// does not consume it.
WaitEvent::WaitEvent() {
    HANDLE h = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!h)
        throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(),
                                "CreateEventW");
    fd_ = DescriptorOf(h);
}

WaitEvent::~WaitEvent() {
    ::CloseHandle(HandleOf(fd_));
}

bool WaitEvent::Signal() {
    return ::SetEvent(HandleOf(fd_)) != 0;
}

void WaitEvent::Reset() {
    ::ResetEvent(HandleOf(fd_));
}

bool WaitForAnyReadable(const int* fds, std::size_t count, bool* ready) {
    HANDLE handles[MAXIMUM_WAIT_OBJECTS];
    std::size_t index[MAXIMUM_WAIT_OBJECTS];
    DWORD n = 0;
    for (std::size_t i = 0; i < count; ++i) {
        ready[i] = false;
        if (fds[i] < 0)
            continue;
        if (n == MAXIMUM_WAIT_OBJECTS)
            return false;
        handles[n] = HandleOf(fds[i]);
        index[n++] = i;
    }
    if (n == 0)
        return false;
    const DWORD r = ::WaitForMultipleObjects(n, handles, FALSE, INFINITE);
    if (r >= WAIT_OBJECT_0 + n)
        return false;
    // The wait names the first signalled handle only; the others are asked without waiting.
    for (DWORD k = 0; k < n; ++k)
        ready[index[k]] =
            k == r - WAIT_OBJECT_0 || ::WaitForSingleObject(handles[k], 0) == WAIT_OBJECT_0;
    return true;
}

// ---- ChangeNotifier's state ---------------------------------------------------------------

struct ChangeNotifier::State {
    HANDLE port = nullptr;
    HANDLE ready = nullptr; // the descriptor
    std::thread pump;

    std::mutex m;
    std::condition_variable answered; // armDone or released changed
    std::map<std::uint64_t, Watch*> regs;
    std::set<std::uint64_t> changed;
    std::vector<std::string> problems;
    std::size_t openHandles = 0;
    DWORD readBytes = kBufferBytes;

    ~State() {
        if (pump.joinable()) {
            ::PostQueuedCompletionStatus(port, kQuit, 0, nullptr);
            pump.join();
        }
        if (port)
            ::CloseHandle(port);
        if (ready)
            ::CloseHandle(ready);
    }

    // With m held.
    void Mark(std::uint64_t id) {
        changed.insert(id);
        ::SetEvent(ready);
    }

    // The pump only, with m held.
    void Close(Watch& w) {
        if (w.dir != INVALID_HANDLE_VALUE) {
            ::CloseHandle(w.dir);
            w.dir = INVALID_HANDLE_VALUE;
            --openHandles;
        }
    }

    // The pump only.
    DWORD Read(Watch& w) {
        w.ov = OVERLAPPED{};
        if (!::ReadDirectoryChangesW(w.dir, w.buffer.get(), w.readBytes, w.subtree, w.filter,
                                     nullptr, &w.ov, nullptr))
            return ::GetLastError();
        w.reading = true;
        return 0;
    }

    void Release(Watch& w) {
        std::lock_guard<std::mutex> lock(m);
        Close(w);
        w.released = true;
        answered.notify_all();
    }

    // The read of w ended; with m held.
    void Ended(Watch& w, DWORD error) {
        switch (error) {
        case ERROR_ACCESS_DENIED: // the folder is being deleted
        case ERROR_DELETE_PENDING:
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_NETNAME_DELETED: // a share gone
            break;
        default:
            std::string text = "\"";
            text += NativePath(w.path);
            text += "\" can no longer be watched: ";
            text += Win32(error).message();
            problems.push_back(std::move(text));
        }
        Mark(w.id);
        Close(w);
    }

    void Completed(Watch& w, DWORD bytes, DWORD error) {
        w.reading = false;
        if (w.cancelSeen) {
            Release(w);
            return;
        }
        std::lock_guard<std::mutex> lock(m);
        if (w.removing)
            return; // the kCancel on its way finishes it
        // Lost changes come as zero bytes, or as ERROR_NOTIFY_ENUM_DIR; some systems hand
        // the port the kernel's own status for it (STATUS_NOTIFY_ENUM_DIR, 0x10C).
        if (error == ERROR_NOTIFY_ENUM_DIR || error == 0x10C || (!error && bytes == 0)) {
            for (const auto& [id, other] : regs)
                Mark(id);
        } else if (!error) {
            Mark(w.id);
        } else {
            Ended(w, error);
            return;
        }
        if (const DWORD again = Read(w))
            Ended(w, again);
    }

    void Command(Watch& w, DWORD command) {
        if (command == kArm) {
            const DWORD error = Read(w);
            std::lock_guard<std::mutex> lock(m);
            w.armDone = true;
            w.armError = error;
            if (!error)
                ++openHandles; // counted before a completion can close it
            answered.notify_all();
        } else if (command == kCancel) {
            w.cancelSeen = true;
            // The completion (cancelled, or finished just before) comes through the port;
            // only then is the buffer free and the handle closed.
            if (w.reading)
                ::CancelIoEx(w.dir, &w.ov);
            else
                Release(w);
        }
    }

    void Pump() {
        for (;;) {
            DWORD bytes = 0;
            ULONG_PTR key = 0;
            OVERLAPPED* ov = nullptr;
            const BOOL ok = ::GetQueuedCompletionStatus(port, &bytes, &key, &ov, INFINITE);
            if (!ov) {
                if (!ok)
                    return; // the port itself failed: nothing more can come
                if (key == 0)
                    return; // kQuit
                Command(*reinterpret_cast<Watch*>(key), bytes);
                continue;
            }
            Completed(*reinterpret_cast<Watch*>(key), bytes, ok ? 0 : ::GetLastError());
        }
    }
};

// ---- ChangeNotifier -----------------------------------------------------------------------

std::unique_ptr<ChangeNotifier> ChangeNotifier::Create(std::error_code& error) {
    HANDLE ready = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!ready) {
        error = Win32(::GetLastError());
        return nullptr;
    }
    std::unique_ptr<ChangeNotifier> notifier(new ChangeNotifier(DescriptorOf(ready)));
    State& s = *notifier->state_;
    s.ready = ready;
    s.port = ::CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 1);
    if (!s.port) {
        error = Win32(::GetLastError());
        return nullptr;
    }
    try {
        s.pump = std::thread([&s] { s.Pump(); });
    } catch (const std::system_error& e) {
        error = e.code();
        return nullptr;
    }
    error.clear();
    return notifier;
}

ChangeNotifier::ChangeNotifier(int fd) : fd_(fd), state_(std::make_unique<State>()) {}

ChangeNotifier::~ChangeNotifier() {
    std::vector<std::uint64_t> ids;
    {
        std::lock_guard<std::mutex> lock(state_->m);
        for (const auto& [id, w] : state_->regs)
            ids.push_back(id);
    }
    for (const std::uint64_t id : ids)
        Remove(id);
    // The state's destructor ends the pump and closes the port and the event.
}

bool ChangeNotifier::Add(std::uint64_t id, std::string_view folder, bool subtree,
                         std::uint32_t filter, std::error_code& error) {
    State& s = *state_;
    {
        std::lock_guard<std::mutex> lock(s.m);
        if (filter == 0 || (filter & ~kNotifyAll) || folder.empty() || s.regs.count(id)) {
            error = std::make_error_code(std::errc::invalid_argument);
            return false;
        }
    }
    auto w = std::make_unique<Watch>();
    w->id = id;
    w->path = WidePath(folder);
    w->subtree = subtree;
    w->filter = filter;
    {
        std::lock_guard<std::mutex> lock(s.m);
        w->readBytes = s.readBytes;
    }
    // Every sharing mode: others may still rename or delete the folder, and its files.
    w->dir =
        ::CreateFileW(w->path.c_str(), FILE_LIST_DIRECTORY,
                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr);
    if (w->dir == INVALID_HANDLE_VALUE) {
        error = OpenError(::GetLastError());
        return false;
    }
    auto fail = [&](std::error_code why) {
        ::CloseHandle(w->dir);
        error = why;
        return false;
    };
    BY_HANDLE_FILE_INFORMATION info{};
    if (!::GetFileInformationByHandle(w->dir, &info))
        return fail(Win32(::GetLastError()));
    if (!(info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
        return fail(std::make_error_code(std::errc::not_a_directory));
    if (!::CreateIoCompletionPort(w->dir, s.port, reinterpret_cast<ULONG_PTR>(w.get()), 0))
        return fail(Win32(::GetLastError()));

    // The first read is the pump's too; its answer tells whether the folder can be watched
    // at all (a file system without notifications refuses it).
    if (!::PostQueuedCompletionStatus(s.port, kArm, reinterpret_cast<ULONG_PTR>(w.get()), nullptr))
        return fail(Win32(::GetLastError()));
    std::unique_lock<std::mutex> lock(s.m);
    s.answered.wait(lock, [&] { return w->armDone; });
    if (w->armError) {
        // No read is pending, so nothing of the port will name it again.
        lock.unlock();
        return fail(OpenError(w->armError));
    }
    s.regs.emplace(id, w.release());
    error.clear();
    return true;
}

void ChangeNotifier::Remove(std::uint64_t id) {
    State& s = *state_;
    std::unique_lock<std::mutex> lock(s.m);
    auto it = s.regs.find(id);
    if (it == s.regs.end())
        return;
    std::unique_ptr<Watch> w(it->second);
    s.regs.erase(it);
    s.changed.erase(id);
    w->removing = true;
    // Posting fails only without memory for the packet; the watch is then left to the pump
    // rather than freed under a read that may still be running.
    if (!::PostQueuedCompletionStatus(s.port, kCancel, reinterpret_cast<ULONG_PTR>(w.get()),
                                      nullptr)) {
        static_cast<void>(w.release());
        return;
    }
    s.answered.wait(lock, [&] { return w->released; });
}

void ChangeNotifier::ReadChanges(std::vector<std::uint64_t>& changed) {
    State& s = *state_;
    std::lock_guard<std::mutex> lock(s.m);
    ::ResetEvent(s.ready);
    changed.insert(changed.end(), s.changed.begin(), s.changed.end());
    s.changed.clear();
}

std::vector<std::string> ChangeNotifier::TakeProblems() {
    std::lock_guard<std::mutex> lock(state_->m);
    return std::exchange(state_->problems, {});
}

std::size_t ChangeNotifier::RegistrationCount() const {
    std::lock_guard<std::mutex> lock(state_->m);
    return state_->regs.size();
}

std::size_t ChangeNotifier::WatchCount() const {
    std::lock_guard<std::mutex> lock(state_->m);
    return state_->openHandles;
}

void ChangeNotifier::SetReadSizeForTesting(std::size_t bytes) {
    std::lock_guard<std::mutex> lock(state_->m);
    state_->readBytes =
        static_cast<DWORD>(std::clamp<std::size_t>(bytes & ~std::size_t{3}, 4, kBufferBytes));
}

// The system has no limit of folder handles of its own to stand in for.
void ChangeNotifier::SetWatchLimitForTesting(std::size_t) {}

std::string DescribeWatchLimit(const std::error_code&) {
    return {};
}

} // namespace tlv::platform
