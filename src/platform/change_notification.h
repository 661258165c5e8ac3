// Folder change notifications and the events a waiting thread is woken by.
//
// ChangeNotifier is one kernel notification instance (inotify) serving any number of folder
// registrations: the system allows only a small number of instances per user, but many
// thousands of watches in one instance. Each registration has an id chosen by the caller and
// watches one folder, or a folder and every folder below it; two registrations of one folder
// are independent (their filters and their removal do not disturb each other).
//
// The filter is the Win32 notification filter; it maps onto inotify events as follows
// (a change is reported when any event of its row arrives, for files and folders alike unless
// the row says otherwise):
//
//   0x001 file name    IN_CREATE, IN_DELETE, IN_MOVED_FROM, IN_MOVED_TO of a non-folder
//   0x002 dir name     the same events of a folder
//   0x004 attributes   IN_ATTRIB (mode, owner, times, links, extended attributes)
//   0x008 size         IN_MODIFY (content written or truncated)
//   0x010 last write   IN_MODIFY, IN_ATTRIB (a write, or times set as by touch)
//   0x100 security     IN_ATTRIB (mode and owner live in the same inode change)
//
// A subtree registration also asks for IN_CREATE, IN_DELETE and IN_MOVED_FROM/TO of folders
// to keep its watches in step: a folder created or moved in gets a watch and is scanned
// (what was put in it before the watch existed counts as a change), a folder moved out or
// deleted loses its watches, a folder renamed inside the tree keeps them. A watch follows the
// folder itself, so a watched folder that is moved keeps being watched; a subtree whose top
// folder moved no longer learns of new sub-folders (it is reported, see below).
//
// When the kernel's event queue overflows, every registration is reported (anything may have
// changed) and subtree registrations rescan their folders. A watched folder that is deleted
// reports its registrations once more.
//
// The Windows backend keeps one folder handle per registration (WatchCount counts them) and
// lets the system apply the filter and follow subtrees (bWatchSubtree), so the rows above and
// the sub-folder bookkeeping are the POSIX backend's; a registration is reported when the
// system reports any change it asked for. There, changes reach ReadChanges a moment after the
// call that made them, through a thread of the notifier's own, and there is no watch limit
// (SetWatchLimitForTesting does nothing).
//
// Not thread-safe: the owner serialises every call.
#ifndef TLVUTL_PLATFORM_CHANGE_NOTIFICATION_H
#define TLVUTL_PLATFORM_CHANGE_NOTIFICATION_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace tlv::platform {

inline constexpr std::uint32_t kNotifyFileName = 0x001;
inline constexpr std::uint32_t kNotifyDirName = 0x002;
inline constexpr std::uint32_t kNotifyAttributes = 0x004;
inline constexpr std::uint32_t kNotifySize = 0x008;
inline constexpr std::uint32_t kNotifyLastWrite = 0x010;
inline constexpr std::uint32_t kNotifySecurity = 0x100;
inline constexpr std::uint32_t kNotifyAll = 0x11F;

// The inotify event mask that a filter asks for (0 for a filter with no known bit).
std::uint32_t InotifyMaskForFilter(std::uint32_t filter);
// Whether an inotify event (its mask, IN_ISDIR included) is a change the filter reports.
bool EventMatchesFilter(std::uint32_t eventMask, std::uint32_t filter);

// An auto-reset event: Signal makes it readable, Reset (or a waiter's Reset) clears it.
class WaitEvent {
public:
    // Throws std::system_error when the event cannot be made.
    WaitEvent();
    ~WaitEvent();
    WaitEvent(const WaitEvent&) = delete;
    WaitEvent& operator=(const WaitEvent&) = delete;
    bool Signal();
    void Reset();
    int Descriptor() const { return fd_; }

private:
    int fd_ = -1;
};

// Blocks until at least one of the descriptors is readable and sets ready[i] for each one
// that is (a negative descriptor is skipped). False when the wait failed (interrupted).
bool WaitForAnyReadable(const int* fds, std::size_t count, bool* ready);

class ChangeNotifier {
public:
    // Empty, with error set, when no instance can be made (the system's instance limit, or
    // the process's descriptor limit).
    static std::unique_ptr<ChangeNotifier> Create(std::error_code& error);
    ~ChangeNotifier();
    ChangeNotifier(const ChangeNotifier&) = delete;
    ChangeNotifier& operator=(const ChangeNotifier&) = delete;

    // Readable when changes are waiting to be read.
    int Descriptor() const { return fd_; }

    // Starts registration id (any value not in use) on folder, a UTF-8 path. On failure
    // nothing stays watched and error tells why: no_such_file_or_directory,
    // not_a_directory, permission_denied, invalid_argument (no or unknown filter bits,
    // empty path), no_space_on_device (the system's watch limit).
    bool Add(std::uint64_t id, std::string_view folder, bool subtree, std::uint32_t filter,
             std::error_code& error);
    // Ends registration id; unknown ids are ignored. Changes already queued for it are
    // dropped.
    void Remove(std::uint64_t id);

    // Reads every queued change without blocking and appends the ids of the registrations
    // they concern to changed, each once, in ascending order.
    void ReadChanges(std::vector<std::uint64_t>& changed);

    // What went wrong while keeping subtrees in step since the last call (a limit reached, a
    // top folder moved), one message each.
    std::vector<std::string> TakeProblems();

    std::size_t RegistrationCount() const;
    // Kernel watches held (one per distinct watched folder).
    std::size_t WatchCount() const;
    // Behaves as if the system allowed only limit watches in all (0: the system's limit).
    // For tests of the limit's handling.
    void SetWatchLimitForTesting(std::size_t limit);
#ifdef _WIN32
    // Reads of registrations added from now on take at most bytes (at least 4): small enough,
    // one change does not fit and counts as lost. For tests of lost changes.
    void SetReadSizeForTesting(std::size_t bytes);
#endif

    struct State;

private:
    explicit ChangeNotifier(int fd);
    int fd_;
    std::unique_ptr<State> state_;
};

// The system's limit that error stands for, in words a user can act on ("the system's limit
// of inotify watches per user (fs.inotify.max_user_watches = 8192)"), or empty when error is
// not a limit.
std::string DescribeWatchLimit(const std::error_code& error);

} // namespace tlv::platform

#endif
