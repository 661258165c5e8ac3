// Long random sequences of operations on a handle list and on a plain model side by side;
// after every step the results, copied-out bytes, count and the whole block must agree.
#include "fatal_reports.h"
#include "handle_list_model.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using tlvtest::ApplyAndCheck;
using tlvtest::HandleListModel;
using tlvtest::Op;
using tlvtest::Operation;

Operation RandomOperation(std::mt19937& rng, uint32_t count) {
    auto pick = [&](uint32_t n) { return static_cast<uint32_t>(rng() % n); };
    Operation op;
    op.op = static_cast<Op>(pick(static_cast<uint32_t>(Op::kCount)));
    // Mostly valid indices, some just past the end, a few negative or far away.
    switch (pick(10)) {
    case 0:
        op.index = -1 - static_cast<int32_t>(pick(3));
        break;
    case 1:
        op.index = static_cast<int32_t>(count + pick(6));
        break;
    case 2:
        op.index = 0x40000000 + static_cast<int32_t>(pick(100));
        break;
    default:
        op.index = count ? static_cast<int32_t>(pick(count)) : 0;
    }
    // Lengths from 0 up, with a bias to short records and repeated contents.
    const uint32_t length = pick(8) == 0 ? 0 : pick(4) == 0 ? pick(40) : 1 + pick(6);
    for (uint32_t i = 0; i < length; ++i)
        op.data.push_back(static_cast<uint8_t>('a' + pick(3)));
    op.bufferSize = pick(10);
    op.fieldOffset = pick(4);
    op.fieldLength = pick(4);
    return op;
}

void RunSequence(uint32_t seed, uint32_t headerSize, int steps) {
    std::mt19937 rng(seed);
    HMEM list = headerSize == 12 ? LIST_Ctor() : LIST_CtorExt(headerSize);
    HandleListModel model(headerSize);
    auto* block = static_cast<uint8_t*>(MEMMANLock(list));
    for (uint32_t i = 12; i < headerSize; ++i)
        block[i] = model.ExtendedHeader()[i - 12] = static_cast<uint8_t>(rng());
    TlvUtl::ScopedMessageCapture sink;
    int fatal = 0;
    for (int step = 0; step < steps; ++step) {
        const Operation op = RandomOperation(rng, model.Count());
        const std::string error = ApplyAndCheck(list, model, op, fatal);
        ASSERT_EQ(error, "") << "seed " << seed << " step " << step << " op "
                             << static_cast<int>(op.op) << " index " << op.index << " size "
                             << op.data.size();
        ASSERT_EQ(tlvtest::Boxes(sink).size(), static_cast<size_t>(fatal))
            << "seed " << seed << " step " << step << " op " << static_cast<int>(op.op);
        // Keep the lists short enough to wander through every gap state many times.
        if (model.Count() > 60) {
            while (model.Count() > 20) {
                int none = 0;
                Operation pop;
                pop.op = Op::PopOldest;
                ASSERT_EQ(ApplyAndCheck(list, model, pop, none), "");
            }
        }
    }
    LIST_Dtor(list);
}

TEST(HandleListModel, RandomSequencesAgreeWithTheModel) {
    for (uint32_t seed = 1; seed <= 6; ++seed)
        RunSequence(seed, 12, 2500);
}

TEST(HandleListModel, RandomSequencesWithExtendedHeaders) {
    for (uint32_t header : {13u, 16u, 31u, 100u})
        RunSequence(1000 + header, header, 1500);
}

} // namespace
