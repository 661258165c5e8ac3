// CDirectoriesChangesTracker: be called back when something changes in a folder.
//
// One process-wide tracker watches every registered folder and calls the registration's
// callback on its own worker thread when a change matching the registration's filter
// happened. A callback means "something changed, look again": several changes may come as one
// call, and a call may come for a change that left nothing different.
//
//   auto watch = CDirectoriesChangesTracker::TrackChangeIn(
//       folder, TRUE, FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_LAST_WRITE,
//       [] { RescanPresets(); }, {});
//   if (watch.get() == INVALID_HANDLE_VALUE) { /* the folder cannot be watched */ }
//   ...
//   watch.reset(); // stops watching that folder
//
// Lifecycle: registrations may come at any time, but no thread runs and no callback is made
// before the host calls AppStarted. AppShuttingDown stops the worker thread and waits for it;
// the registrations stay and a later AppStarted resumes them. The last UTLUninitialize stops
// all tracking. Removing the last folder stops the thread too.
//
// Threads: every operation may be called from any thread, including from a callback (a
// callback may add or remove folders, its own included, and may stop everything). Callbacks
// run one at a time on the worker thread, in registration order when several folders changed
// together. An exception thrown by a callback ends the process, as on any thread.
//
// Limits: the number of folders is bounded only by the system's watch limits; a folder that
// would exceed them is refused as a whole (the invalid-handle value, and a debug message
// naming the limit), never watched in part.
#ifndef TLVUTL_DIR_TRACKER_H
#define TLVUTL_DIR_TRACKER_H

#include <tlvutl/cstring.h>
#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

#include <functional>
#include <memory>

#ifndef _WIN32
#ifndef INVALID_HANDLE_VALUE
// The handle value of a registration that could not be made.
#define INVALID_HANDLE_VALUE ((HANDLE)(LONG_PTR)-1)
#endif
// What a registration is woken by (the notification filter; combine with |).
#define FILE_NOTIFY_CHANGE_FILE_NAME 0x00000001  // a file created, deleted or renamed
#define FILE_NOTIFY_CHANGE_DIR_NAME 0x00000002   // a folder created, deleted or renamed
#define FILE_NOTIFY_CHANGE_ATTRIBUTES 0x00000004 // attributes (permissions, times, owner)
#define FILE_NOTIFY_CHANGE_SIZE 0x00000008       // a file's content written
#define FILE_NOTIFY_CHANGE_LAST_WRITE 0x00000010 // a file written or its times set
#define FILE_NOTIFY_CHANGE_SECURITY 0x00000100   // permissions or owner
#endif

// The process-wide folder watcher (see above); all members are static.
class TLVUTL_API CDirectoriesChangesTracker {
public:
    // Who registered a folder. An empty tag today; callers pass {}.
    struct BlameTracker {};

    // The deleter of the owning handle: stops tracking that folder. The invalid-handle value
    // (and null) are ignored.
    struct TLVUTL_API StopTrackingHelper {
        // The handle type unique_ptr stores: the bare registration handle.
        using pointer = HANDLE;
        // Stops tracking the registration handle (see StopTrackingChangeIn).
        void operator()(HANDLE handle) const;
    };
    // An owned registration: destroying or resetting it stops watching its folder.
    using TrackingHandle = std::unique_ptr<void*, StopTrackingHelper>;

    // Watches folder (and every folder below it when watchSubtree is non-zero) for the changes
    // that filter names (FILE_NOTIFY_CHANGE_*; zero or unknown bits are refused). The result
    // owns the registration; it holds INVALID_HANDLE_VALUE when the folder cannot be watched
    // (missing, not a folder, unreadable, or over the system's limits).
    static TrackingHandle TrackChangeIn(const CString& folder, int watchSubtree, DWORD filter,
                                        std::function<void()> callback, BlameTracker blame);
    // Stops watching every folder and stops the worker thread (waiting for it, unless called
    // from a callback).
    static void StopTrackingAnyChanges();
    // Allows the worker thread and starts it when folders are registered.
    static void AppStarted();
    // Forbids the worker thread and stops it, waiting until it has ended (unless called from
    // a callback: then it ends as soon as the callback returns). Registrations stay.
    static void AppShuttingDown();

    CDirectoriesChangesTracker() = delete;

protected:
    // As TrackChangeIn, returning the bare handle; the caller must pass it to
    // StopTrackingChangeIn.
    static HANDLE TrackChangeRaw(const CString& folder, int watchSubtree, DWORD filter,
                                 std::function<void()> callback, BlameTracker blame);
    // Stops watching the registration handle; the invalid-handle value and null are ignored.
    static void StopTrackingChangeIn(HANDLE handle);
};

#endif
