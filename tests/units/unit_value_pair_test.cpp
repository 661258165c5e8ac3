#include <tlvutl/units.h>

#include "cstring_printer.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using Map = WUnitValuePair::Map;

Map Parse(const wchar_t* text) {
    WUnitValuePair p;
    p.LoadFromString(text);
    return p.GetAllEntries();
}

TEST(UnitValuePair, ParsingFollowsTheKeywordOrder) {
    EXPECT_EQ(Parse(L"0.5pt;0.2mm"), (Map{{4, 0.5}, {2, 0.2}}));
    EXPECT_EQ(Parse(L"3,6cc"), (Map{{12, 3.5}}));
    EXPECT_EQ(Parse(L"12"), (Map{{22, 12}})); // no unit: the base unit
    // "in" is tested first, "mm" and "cm" before "m".
    EXPECT_EQ(Parse(L"4in"), (Map{{1, 4}}));
    EXPECT_EQ(Parse(L"2mm;3m;5cm"), (Map{{2, 2}, {9, 3}, {5, 5}}));
    EXPECT_EQ(Parse(L"1min"), (Map{{1, 1}}));
    EXPECT_EQ(Parse(L"0.5point"), (Map{{1, 0.5}}));
    // Only lower-case letters are trimmed; empty tokens are skipped.
    EXPECT_EQ(Parse(L" 1.5 mm ;;"), (Map{{2, 1.5}}));
    EXPECT_EQ(Parse(L"0.5PT"), (Map{{22, 0.5}}));
    EXPECT_EQ(Parse(L""), Map{});
}

TEST(UnitValuePair, AddingKeepsTheFirstValue) {
    WUnitValuePair p;
    p.AddValue(2, 0.2);
    p.AddValue(2, 0.7);
    p.LoadFromString(L"0.9mm;1pt");
    EXPECT_EQ(p.GetAllEntries(), (Map{{2, 0.2}, {4, 1}}));
    p.AddCiceroDidotValue(1, 3);
    double v = 0;
    EXPECT_TRUE(p.GetValue(12, v));
    EXPECT_EQ(v, 1.25);
    p.RemoveValue(12);
    EXPECT_FALSE(p.GetValue(12, v));
    EXPECT_EQ(v, 1.25);
    WUnitValuePair q = p;
    EXPECT_FALSE(q != p);
    q.RemoveValue(4);
    q.AddValue(4, 2);
    EXPECT_TRUE(q != p);
}

TEST(UnitValuePair, DefaultEntryIsTheSmallestUnitAndMatchesWithinATenthOfAPercent) {
    WUnitValuePair p;
    unsigned unit = 99;
    double v = -1;
    EXPECT_FALSE(p.GetDefaultValue(unit, v));
    EXPECT_FALSE(p.GetValue(5, unit, v));
    EXPECT_EQ(unit, 99u);
    EXPECT_EQ(v, -1.0);
    p.LoadFromString(L"0.5pt;0.2mm");
    EXPECT_FALSE(p.GetDefaultValue(unit, v));
    EXPECT_EQ(unit, 2u);
    EXPECT_EQ(v, 0.2);
    unit = 0;
    EXPECT_FALSE(p.GetValue(5, unit, v));
    EXPECT_EQ(unit, 2u);
    EXPECT_TRUE(p.GetValue(4, unit, v));
    EXPECT_EQ(v, 0.5);
    // A value is the default within a tenth of a percent.
    WUnitValuePair sizes;
    sizes.LoadFromString(L"12pt;2mm");
    EXPECT_TRUE(sizes.IsDefaultValue(unit, 20010.0, 0));
    EXPECT_EQ(unit, 2u);
    EXPECT_TRUE(sizes.IsDefaultValue(unit, 12 * 254000.0 / 72 * 1.0009, 0));
    EXPECT_EQ(unit, 4u);
    EXPECT_FALSE(sizes.IsDefaultValue(unit, 20030.0, 0));
    WUnitValuePair zero;
    zero.AddValue(22, 0.0);
    EXPECT_TRUE(zero.IsDefaultValue(unit, 0.0, 0));
    EXPECT_FALSE(zero.IsDefaultValue(unit, 1e-9, 0));
}

TEST(SmartUnitValue, OwnEntryOrTheDefaultConverted) {
    WUnitValuePair values, steps;
    values.LoadFromString(L"0.5pt;0.2mm");
    steps.LoadFromString(L"1pt;0.1mm");
    WSmartUnitValue s;
    s.SetValues(values);
    s.SetIncrements(steps);
    EXPECT_EQ(s.GetValueForUnit(4, 0, 0, -1), 0.5);
    EXPECT_NEAR(s.GetValueForUnit(1, 0, 0, -1), 0.2 / 25.4, 1e-15);
    EXPECT_NEAR(s.GetValueForUnit(6, 0, 254, -1), 2.0, 1e-12);
    EXPECT_NEAR(s.GetDValueForUnitBase(4, 0, 0, -1), 0.5 * 254000.0 / 72, 1e-9);
    EXPECT_EQ(s.GetValueForUnitBase(4, 0), 1764);
    EXPECT_THROW(s.GetValueForUnit(40, 0, 0, -1), std::invalid_argument);
    EXPECT_EQ(WSmartUnitValue().GetValueForUnit(2, 0, 0, -1), 0.0);
}

} // namespace
