// Steps of the library's last UTLUninitialize, contributed by the subsystems that own a
// process-wide singleton. Each subsystem registers its step from a static initialiser; the
// steps run in ascending order of their rank.
#ifndef TLVUTL_FRAME_TEARDOWN_H
#define TLVUTL_FRAME_TEARDOWN_H

namespace tlv::frame {

enum class TeardownRank : int {
    AppSkinSettings = 1,
    RegionalFormat = 2,
    DirectoryTracking = 3,
};

using TeardownStep = void (*)();

// Registers step at rank; returns true so it can initialise a static flag.
bool RegisterTeardownStep(TeardownRank rank, TeardownStep step);
void RunTeardownSteps();

} // namespace tlv::frame

#endif
