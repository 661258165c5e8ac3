// A directory watch: a host rescans a presets folder when a file in it, or in a folder below
// it, appears or is written. The tracker calls back on its own thread, so the callback only
// notes that something changed and wakes the thread that rescans.
#include <tlvutl/dir_tracker.h>
#include <tlvutl/encoding.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::mutex mutex;
std::condition_variable changed;
int changes = 0;

void OnChange() {
    std::lock_guard<std::mutex> lock(mutex);
    ++changes;
    changed.notify_one();
}

bool WriteFile(const std::string& path, const char* text) {
    FILE* f = std::fopen(path.c_str(), "w");
    return f && std::fputs(text, f) >= 0 && std::fclose(f) == 0;
}

} // namespace

int main() {
    char root[] = "/tmp/tlvutl-watch-XXXXXX";
    if (!mkdtemp(root))
        return 1;
    const std::string presets = std::string(root) + "/Préréglages";
    const std::string nested = presets + "/Кисти";
    if (mkdir(presets.c_str(), 0755) != 0 || mkdir(nested.c_str(), 0755) != 0)
        return 1;

    auto watch = CDirectoriesChangesTracker::TrackChangeIn(
        CString(TlvUtils::FromUtf8(presets)), TRUE,
        FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_LAST_WRITE, &OnChange, {});
    if (watch.get() == INVALID_HANDLE_VALUE) {
        std::fprintf(stderr, "the folder cannot be watched\n");
        return 1;
    }
    CDirectoriesChangesTracker::AppStarted(); // no callback comes before this

    // A new preset two levels down: the subtree is watched.
    const bool written = WriteFile(nested + "/soft.brush", "radius=12\n");
    bool seen;
    {
        std::unique_lock<std::mutex> lock(mutex);
        seen = changed.wait_for(lock, std::chrono::seconds(5), [] { return changes > 0; });
    }
    std::printf("%s: %s\n", nested.c_str(), seen ? "changed, rescanning" : "no call within 5 s");

    watch.reset();                                 // stops watching the folder
    CDirectoriesChangesTracker::AppShuttingDown(); // the worker thread ends here

    unlink((nested + "/soft.brush").c_str());
    rmdir(nested.c_str());
    rmdir(presets.c_str());
    rmdir(root);
    return written && seen ? 0 : 1;
}
