// Brings the library up once: unit names and parser tokens are strings of the resource
// module.
#include <tlvutl/folders.h>
#include <tlvutl/frame.h>

#include <gtest/gtest.h>

namespace {

class UnitEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        ASSERT_TRUE(TlvUtl::RegisterDefaultInstallation());
        ASSERT_EQ(InitModule(), 1) << "resource module missing";
    }
};

::testing::Environment* const g_env = ::testing::AddGlobalTestEnvironment(new UnitEnvironment);

} // namespace
