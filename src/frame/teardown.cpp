#include "teardown.h"

#include <map>

namespace tlv::frame {
namespace {

std::multimap<int, TeardownStep>& Steps() {
    static auto* steps = new std::multimap<int, TeardownStep>;
    return *steps;
}

} // namespace

bool RegisterTeardownStep(TeardownRank rank, TeardownStep step) {
    Steps().emplace(static_cast<int>(rank), step);
    return true;
}

void RunTeardownSteps() {
    for (const auto& [rank, step] : Steps())
        step();
}

} // namespace tlv::frame
