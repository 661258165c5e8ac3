// Brings the library up once for the unit tests: unit names and parser tokens are strings of
// the resource module.
#include <tlvutl/frame.h>

#include <gtest/gtest.h>

namespace {

class UnitsEnvironment : public ::testing::Environment {
public:
    void SetUp() override { ASSERT_EQ(InitModule(), 1); }
};

::testing::Environment* const g_env = ::testing::AddGlobalTestEnvironment(new UnitsEnvironment);

} // namespace
