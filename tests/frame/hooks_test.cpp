#include <tlvutl/hooks.h>

#include <gtest/gtest.h>

#include <string>

namespace {

// Each test uses its own list kind so the process-wide registrar's other entries (the
// library's own hooks, other tests) never mix in.
std::string g_trace;

bool Trace(void* tag) {
    g_trace += static_cast<const char*>(tag);
    g_trace += ' ';
    return true;
}

bool TraceFalse(void* tag) {
    Trace(tag);
    return false;
}

DelayInitRegistrar::Callback Cb(const char* tag, bool (*invoker)(void*) = &Trace) {
    return DelayInitRegistrar::Callback(const_cast<char*>(tag), invoker);
}

class HooksTest : public ::testing::Test {
protected:
    DelayInitRegistrar* r = DelayInitRegistrar::GetInst();
    int kind = 100 + ::testing::UnitTest::GetInstance()->current_test_info()->line();
    void SetUp() override { g_trace.clear(); }
    std::string Run(bool descending, bool zeroPass) {
        g_trace.clear();
        EXPECT_TRUE(r->RunHooks(kind, descending, zeroPass));
        return g_trace;
    }
};

// Equal priorities keep their registration order, which the stop pass reverses too.
TEST_F(HooksTest, PrioritiesRunAscendingAtStartAndDescendingAtStop) {
    EXPECT_EQ(Run(false, false), "") << "an empty list runs and answers true";
    r->Register(kind, Cb("p3"), 3);
    r->Register(kind, Cb("a"), 2);
    r->Register(kind, Cb("p1"), 1);
    r->Register(kind, Cb("b"), 2);
    r->Register(kind, Cb("p5"), 5);
    r->Register(kind, Cb("c"), 2);
    EXPECT_EQ(Run(false, false), "p1 a b c p3 p5 ");
    EXPECT_EQ(Run(true, false), "p5 p3 c b a p1 ");
}

TEST_F(HooksTest, DuplicateRegistrationRunsTwiceAndUnregisterRemovesFirstCopyPerPriority) {
    r->Register(kind, Cb("x"), 1);
    r->Register(kind, Cb("y"), 1);
    r->Register(kind, Cb("x"), 1);
    r->Register(kind, Cb("x"), 4);
    EXPECT_EQ(Run(false, false), "x y x x ");
    EXPECT_TRUE(r->Unregister(kind, Cb("x")));
    EXPECT_EQ(Run(false, false), "y x ");
    EXPECT_TRUE(r->Unregister(kind, Cb("x")));
    EXPECT_EQ(Run(false, false), "y ");
    EXPECT_FALSE(r->Unregister(kind, Cb("x")));
    EXPECT_FALSE(r->Unregister(kind + 100000, Cb("x"))); // unknown kind
}

// A hook answering false does not stop the others; one that throws stops the run.
TEST_F(HooksTest, FailingHooksAndThrowingHooks) {
    r->Register(kind, Cb("fails", &TraceFalse), 1);
    r->Register(kind, Cb("runs"), 1);
    EXPECT_EQ(Run(false, false), "fails runs ");
    r->Register(kind, DelayInitRegistrar::Callback(nullptr, [](void*) -> bool { throw 7; }), 0);
    r->Register(kind, Cb("after"), 0);
    g_trace.clear();
    EXPECT_THROW(r->RunHooks(kind, false, true), int);
    EXPECT_EQ(g_trace, "");
}

int g_start = 0, g_stop = 0;
bool Start() {
    return ++g_start, true;
}
bool Stop() {
    return ++g_stop, true;
}

TEST(HookObjects, RegisterForTheirLifetimeOnlyCopiesDoNotRegisterPhasesHaveTheirLists) {
    DelayInitRegistrar* r = DelayInitRegistrar::GetInst();
    g_start = g_stop = 0;
    {
        InitHook hook(&Start, &Stop, 7);
        InitHook copy(hook);
        r->RunStartupHooks(false);
        r->RunShutdownHooks(false);
        EXPECT_EQ(g_start, 1);
        EXPECT_EQ(g_stop, 1);
    }
    r->RunStartupHooks(false);
    r->RunShutdownHooks(false);
    EXPECT_EQ(g_start, 1);
    EXPECT_EQ(g_stop, 1);
    // Startup and shutdown hooks use their own lists.
    g_start = g_stop = 0;
    StartupHook s(&Start, 6);
    ShutdownHook t(&Stop, 6);
    DelayInitRegistrar::GetInst()->RunStartupHooks(false);
    EXPECT_EQ(g_start, 1);
    EXPECT_EQ(g_stop, 0);
    DelayInitRegistrar::GetInst()->RunShutdownHooks(false);
    EXPECT_EQ(g_stop, 1);
}

TEST(HookObjects, DelayInitBaseRunsBothPhasesInMirrorOrder) {
    static std::string trace;
    struct Part : DelayInitBase {
        Part(const char* n, int p) : DelayInitBase(p), name(n) {}
        bool Startup() override { return trace += std::string("+") + name, true; }
        bool Shutdown() override { return trace += std::string("-") + name, true; }
        const char* name;
    };
    trace.clear();
    {
        Part late("late", 9), early("early", 8), zero("zero", 0);
        DelayInitRegistrar::GetInst()->RunStartupHooks(true);
        DelayInitRegistrar::GetInst()->RunStartupHooks(false);
        DelayInitRegistrar::GetInst()->RunShutdownHooks(false);
        DelayInitRegistrar::GetInst()->RunShutdownHooks(true);
    }
    EXPECT_EQ(trace, "+zero+early+late-late-early-zero");
    trace.clear();
    DelayInitRegistrar::GetInst()->RunStartupHooks(false);
    EXPECT_EQ(trace, "");
}

} // namespace
