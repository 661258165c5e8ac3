#include <tlvutl/frame.h>
#include <tlvutl/units.h>

#include "cstring_printer.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace {

using TlvUtl::WorldScale::Preset;

TEST(WorldScale, PresentationOrderLabelsAndDistances) {
    const auto set = TlvUtl::WorldScale::GetPresets();
    ASSERT_EQ(set.size(), 30u);
    const std::vector<std::pair<double, bool>> expected = {
        {1, true},     {2, true},   {4, true},    {8, true},     {10, true},   {16, true},
        {20, true},    {30, true},  {40, true},   {50, true},    {100, true},  {4, false},
        {8, false},    {12, false}, {16, false},  {24, false},   {32, false},  {48, false},
        {64, false},   {96, false}, {128, false}, {192, false},  {384, false}, {768, false},
        {1563, false}, {0.5, true}, {0.25, true}, {0.125, true}, {0.1, true},  {0.01, true}};
    std::size_t i = 0;
    for (const Preset& p : set) {
        EXPECT_EQ(p.Scale(), expected[i].first) << i;
        EXPECT_EQ(p.IsMetric(), expected[i].second) << i;
        EXPECT_FALSE(p.IsCustomWithUnits());
        ++i;
    }
    const auto list = TlvUtl::WorldScale::GetPresetList();
    ASSERT_EQ(list.size(), 30u);
    // The rows carry their labels and distances.
    EXPECT_EQ(list.front().Label(), UTLLoadStringEx(19943));
    EXPECT_EQ(list[24].Label(), UTLLoadStringEx(19967)); // 1563
    EXPECT_EQ(list[24].WorldDist(), 1563.0);
    EXPECT_EQ(list[25].PageDist(), 2.0);
}

TEST(WorldScale, SelectByValue) {
    const auto four = TlvUtl::WorldScale::SelectByValue(4.0);
    ASSERT_EQ(four.size(), 2u);
    EXPECT_TRUE(four.begin()->IsMetric());
    EXPECT_FALSE(std::next(four.begin())->IsMetric());
    EXPECT_EQ(TlvUtl::WorldScale::SelectByValue(0.1).size(), 1u);
    EXPECT_TRUE(TlvUtl::WorldScale::SelectByValue(5.0).empty());
    EXPECT_EQ(TlvUtl::WorldScale::SelectByValue(48.0000001, 1e-6).size(), 1u);
}

TEST(WorldScale, FormatFreeScales) {
    const Preset plain = TlvUtl::WorldScale::Format(250.0, 0, 0, 1);
    EXPECT_EQ(plain.Label(), CString(L"1:250"));
    EXPECT_EQ(plain.WorldDist(), 250.0);
    EXPECT_EQ(TlvUtl::WorldScale::Format(1.0 / 3, 0, 0, 0.01).Label(), CString(L"3:1"));
    const Preset imperial = TlvUtl::WorldScale::Format(48.0, 7, 1, 0.01);
    EXPECT_EQ(imperial.Label(), CString(L"1 in = 4 ft"));
    EXPECT_EQ(imperial.WorldDist(), 4.0);
    EXPECT_FALSE(imperial.IsMetric());
    EXPECT_TRUE(imperial.IsCustomWithUnits());
    const Preset metric = TlvUtl::WorldScale::Format(2.5, 9, 5, 0.001);
    EXPECT_EQ(metric.Label(), CString(L"1 cm = 0.025 m"));
    EXPECT_TRUE(metric.IsMetric());
    EXPECT_THROW(TlvUtl::WorldScale::Format(2.0, 40, 1, 0.01), std::invalid_argument);
}

TEST(WorldScale, SetsOrderPresetsWithoutUnitsFirstAndTieOnEqualScales) {
    using namespace TlvUtl::WorldScale;
    const Preset a(4, 0, 1, 0, 4, L"a", true), b(4, 2, 1, 2, 4, L"b", true);
    PresetSet set{b, a};
    ASSERT_EQ(set.size(), 2u);
    EXPECT_EQ(set.begin()->Label(), CString(L"a")); // without units first
    // A scale equal to the last bit but for rounding noise is the same preset.
    const Preset c(4 + 1e-16, 0, 1, 0, 4 + 1e-16, L"c", true);
    EXPECT_FALSE(set.insert(c).second);
    EXPECT_EQ(set.find(c)->Label(), CString(L"a"));
}

} // namespace
