// The timers driven from a GLib main loop: the host watches the loop's descriptor and
// dispatches when it is readable, as a GTK application would.
#include <tlvutl/timers.h>

#include <gtest/gtest.h>

#include <glib-unix.h>
#include <glib.h>

namespace {

using TlvUtl::MessageLoop;

struct Ticks {
    GMainLoop* glib = nullptr;
    int count = 0;
    int idleRuns = 0;
    void Tick() {
        if (++count == 5)
            g_main_loop_quit(glib);
    }
};

gboolean OnReadable(gint, GIOCondition, gpointer) {
    MessageLoop::Dispatch();
    return G_SOURCE_CONTINUE;
}

gboolean OnIdle(gpointer data) {
    ++static_cast<Ticks*>(data)->idleRuns;
    return G_SOURCE_REMOVE;
}

gboolean OnTimeout(gpointer data) {
    g_main_loop_quit(static_cast<GMainLoop*>(data)); // a safety net: the test failed
    return G_SOURCE_REMOVE;
}

TEST(TimerGlib, TicksArriveThroughAGlibFdWatch) {
    Ticks ticks;
    GMainContext* context = g_main_context_new();
    g_main_context_push_thread_default(context);
    ticks.glib = g_main_loop_new(context, FALSE);

    WTimer timer;
    timer.Subscribe(WTimer::Listener::FromMethod<Ticks, &Ticks::Tick>(&ticks));
    timer.Start(10);
    const int fd = MessageLoop::FileDescriptor();
    ASSERT_GE(fd, 0);

    GSource* watch = g_unix_fd_source_new(fd, G_IO_IN);
    g_source_set_callback(watch, G_SOURCE_FUNC(OnReadable), nullptr, nullptr);
    g_source_attach(watch, context);
    GSource* idle = g_idle_source_new();
    g_source_set_callback(idle, OnIdle, &ticks, nullptr);
    g_source_attach(idle, context);
    GSource* timeout = g_timeout_source_new(2000);
    g_source_set_callback(timeout, OnTimeout, ticks.glib, nullptr);
    g_source_attach(timeout, context);

    const gint64 start = g_get_monotonic_time();
    g_main_loop_run(ticks.glib);
    const gint64 elapsedUs = g_get_monotonic_time() - start;

    EXPECT_EQ(ticks.count, 5);
    EXPECT_EQ(ticks.idleRuns, 1); // GLib's own sources go on working
    EXPECT_GE(elapsedUs, 45000);  // five ticks of 10 ms, none early
    EXPECT_LT(elapsedUs, 1500000);

    // The host removes its watch before the loop's resources go.
    g_source_destroy(watch);
    g_source_unref(watch);
    g_source_destroy(idle);
    g_source_unref(idle);
    g_source_destroy(timeout);
    g_source_unref(timeout);
    WTimer::GlobalTimerShutdownTime();
    g_main_loop_unref(ticks.glib);
    g_main_context_pop_thread_default(context);
    g_main_context_unref(context);
}

} // namespace
