// Runs the checks written in C (c_interface.c), so the C headers are compiled as C.
#include <gtest/gtest.h>

extern "C" int RunHandleMemoryFromC(void);
extern "C" int RunHandleListFromC(void);
extern "C" int RunGlobalListFromC(void);

TEST(CInterface, HandleMemoryHandleListsAndGlobalLists) {
    EXPECT_EQ(RunHandleMemoryFromC(), 0);
    EXPECT_EQ(RunHandleListFromC(), 0);
    EXPECT_EQ(RunGlobalListFromC(), 0);
}
