// Brings the library up once for the frame tests, as a host does after loading it.
#include <tlvutl/folders.h>
#include <tlvutl/frame.h>

#include <gtest/gtest.h>

namespace {

class FrameEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        // As an installer would: the bundled installation holds guidmap.dat.
        ASSERT_TRUE(TlvUtl::RegisterDefaultInstallation());
        ASSERT_EQ(InitModule(), 1) << "resource module or guidmap.dat missing";
    }
};

::testing::Environment* const g_env = ::testing::AddGlobalTestEnvironment(new FrameEnvironment);

} // namespace
