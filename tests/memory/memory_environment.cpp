// Brings the library up once, so fatal-error reports carry their real texts.
#include <tlvutl/frame.h>

#include <gtest/gtest.h>

namespace {

class MemoryEnvironment : public ::testing::Environment {
public:
    void SetUp() override { ASSERT_EQ(InitModule(), 1) << "resource module missing"; }
};

::testing::Environment* const g_env = ::testing::AddGlobalTestEnvironment(new MemoryEnvironment);

} // namespace
