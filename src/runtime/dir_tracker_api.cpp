// CDirectoriesChangesTracker: the exported face of the process's directory tracker.
#include "frame/teardown.h"
#include "runtime/dir_tracker_engine.h"

#include <tlvutl/dir_tracker.h>

#include <atomic>

namespace {

std::atomic<bool> g_made{false};

tlv::runtime::DirectoryTracker* Tracker() {
    tlv::runtime::DirectoryTracker* tracker = tlv::runtime::GlobalDirectoryTracker();
    g_made.store(true);
    return tracker;
}

// The last UTLUninitialize stops all tracking; a process that never tracked has nothing to
// stop and makes no tracker for it.
void StopAllTracking() {
    if (!g_made.load())
        return;
    if (auto* tracker = tlv::runtime::GlobalDirectoryTracker())
        tracker->_StopTrackingAnyChanges();
}

const bool g_registered =
    tlv::frame::RegisterTeardownStep(tlv::frame::TeardownRank::DirectoryTracking, &StopAllTracking);

} // namespace

void CDirectoriesChangesTracker::StopTrackingHelper::operator()(HANDLE handle) const {
    CDirectoriesChangesTracker::StopTrackingChangeIn(handle);
}

CDirectoriesChangesTracker::TrackingHandle
CDirectoriesChangesTracker::TrackChangeIn(const CString& folder, int watchSubtree, DWORD filter,
                                          std::function<void()> callback, BlameTracker blame) {
    (void)g_registered;
    return TrackingHandle(TrackChangeRaw(folder, watchSubtree, filter, std::move(callback), blame));
}

HANDLE CDirectoriesChangesTracker::TrackChangeRaw(const CString& folder, int watchSubtree,
                                                  DWORD filter, std::function<void()> callback,
                                                  BlameTracker blame) {
    auto* tracker = Tracker();
    if (!tracker)
        return INVALID_HANDLE_VALUE;
    return tracker->_TrackChangeIn(
        std::wstring(folder.GetString(), static_cast<std::size_t>(folder.GetLength())),
        watchSubtree, filter, std::move(callback), blame);
}

void CDirectoriesChangesTracker::StopTrackingChangeIn(HANDLE handle) {
    if (!handle || handle == INVALID_HANDLE_VALUE)
        return;
    if (auto* tracker = Tracker())
        tracker->_StopTrackingChangeIn(handle);
}

void CDirectoriesChangesTracker::StopTrackingAnyChanges() {
    if (auto* tracker = Tracker())
        tracker->_StopTrackingAnyChanges();
}

void CDirectoriesChangesTracker::AppStarted() {
    if (auto* tracker = Tracker())
        tracker->AppStarted();
}

void CDirectoriesChangesTracker::AppShuttingDown() {
    if (auto* tracker = Tracker())
        tracker->AppShuttingDown();
}
