// The wait events on Win32 events; folder notifications are not provided by this build.
//
// Folder tracking refuses every registration here: ChangeNotifier::Create fails with
// ERROR_NOT_SUPPORTED, so the tracker hands out the invalid-handle value and says why in a
// debug message. The events and the wait serve the tracker's worker all the same. A
// descriptor is the event's handle value: the system keeps handle values within 32 bits so
// that they pass between 32- and 64-bit processes, so an int holds one.
#include "change_notification.h"

#include <windows.h>

namespace tlv::platform {
namespace {

HANDLE HandleOf(int descriptor) {
    return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(descriptor));
}

std::error_code NotSupported() {
    return std::error_code(ERROR_NOT_SUPPORTED, std::system_category());
}

} // namespace

// Manual reset: the event stays readable until Reset, as a counter descriptor does; a wait
// does not consume it.
WaitEvent::WaitEvent() {
    HANDLE h = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!h)
        throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(),
                                "CreateEventW");
    fd_ = static_cast<int>(reinterpret_cast<std::intptr_t>(h));
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

struct ChangeNotifier::State {};

std::unique_ptr<ChangeNotifier> ChangeNotifier::Create(std::error_code& error) {
    error = NotSupported();
    return nullptr;
}

ChangeNotifier::ChangeNotifier(int fd) : fd_(fd), state_(std::make_unique<State>()) {}

ChangeNotifier::~ChangeNotifier() = default;

bool ChangeNotifier::Add(std::uint64_t, std::string_view, bool, std::uint32_t,
                         std::error_code& error) {
    error = NotSupported();
    return false;
}

void ChangeNotifier::Remove(std::uint64_t) {}

void ChangeNotifier::ReadChanges(std::vector<std::uint64_t>&) {}

std::vector<std::string> ChangeNotifier::TakeProblems() {
    return {};
}

std::size_t ChangeNotifier::RegistrationCount() const {
    return 0;
}

std::size_t ChangeNotifier::WatchCount() const {
    return 0;
}

void ChangeNotifier::SetWatchLimitForTesting(std::size_t) {}

std::string DescribeWatchLimit(const std::error_code&) {
    return {};
}

} // namespace tlv::platform
