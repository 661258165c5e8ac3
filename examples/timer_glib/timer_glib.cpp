// A timer whose ticks a GLib main loop delivers: the loop watches the timers' descriptor and
// lets the library dispatch when it is readable, as a GTK host does.
#include <tlvutl/timers.h>

#include <glib-unix.h>
#include <glib.h>

#include <chrono>
#include <cstdio>

namespace {

class Animation {
public:
    explicit Animation(GMainLoop* loop) : loop_(loop) {}
    void Step() {
        if (++frames_ == 5)
            g_main_loop_quit(loop_);
    }
    int Frames() const { return frames_; }

private:
    GMainLoop* loop_;
    int frames_ = 0;
};

gboolean OnTimersReadable(gint, GIOCondition, gpointer) {
    TlvUtl::MessageLoop::Dispatch();
    return G_SOURCE_CONTINUE;
}

gboolean OnTooLong(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_REMOVE;
}

} // namespace

int main() {
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    Animation animation(loop);

    WTimer timer;
    timer.Subscribe(WTimer::Listener::FromMethod<Animation, &Animation::Step>(&animation));
    timer.Start(20); // the first Start makes this thread the timers' owner

    const guint watch =
        g_unix_fd_add(TlvUtl::MessageLoop::FileDescriptor(), G_IO_IN, OnTimersReadable, nullptr);
    const guint guard = g_timeout_add_seconds(5, OnTooLong, loop);
    const auto start = std::chrono::steady_clock::now();
    g_main_loop_run(loop);
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start);

    timer.Stop();
    // The shut-down closes the descriptor: remove the watch first.
    g_source_remove(watch);
    if (animation.Frames() < 5)
        std::fprintf(stderr, "the timer did not tick\n");
    else
        g_source_remove(guard);
    WTimer::GlobalTimerShutdownTime();
    g_main_loop_unref(loop);

    std::printf("%d ticks of a 20 ms timer in %lld ms\n", animation.Frames(),
                static_cast<long long>(elapsed.count()));
    return animation.Frames() == 5 ? 0 : 1;
}
