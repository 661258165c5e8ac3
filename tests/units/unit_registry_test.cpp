#include <tlvutl/frame.h>
#include <tlvutl/locale.h>
#include <tlvutl/units.h>

#include "cstring_printer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <vector>

namespace {

TlvUtl::LocaleOverride Decimal(const wchar_t* separator) {
    TlvUtl::LocaleOverride o;
    o.decimalSeparator = separator;
    return o;
}

// Tenths of a micron per unit, from the units' definitions rather than the table's rounded
// factors: an independent model of every single-definition display.
struct Physical {
    int display;
    double basePerUnit;
};
const Physical kPhysical[] = {
    {1, 254000.0},  {16, 9144000.0},        {8, 16093440000.0},       {2, 10000.0},
    {5, 100000.0},  {9, 10000000.0},        {10, 10000000000.0},      {4, 254000.0 / 72},
    {13, 3759.2},   {14, 254000.0 / 14},    {24, 254000.0 / 6},       {25, 45118.7},
    {7, 3048000.0}, {11, 1e7 * M_PI / 180}, {26, 1e7 * M_PI / 10800}, {27, 1e7 * M_PI / 648000},
    {37, 2500.0},
};

TEST(UnitRegistry, EveryDefinitionConvertsToAndFromTheBaseUnit) {
    WUnit& u = WUnit::GetDefaultWUnit();
    for (const Physical& p : kPhysical) {
        const double to = u.ConvertFromUnitTo10thMicron(p.display, 1.0, -1.0);
        EXPECT_NEAR(to, p.basePerUnit, p.basePerUnit * 1e-13) << p.display;
        EXPECT_NEAR(u.ConvertFrom10thMicronToUnit(p.display, p.basePerUnit, -1.0), 1.0, 1e-13)
            << p.display;
    }
}

TEST(UnitRegistry, PrecisionIsDividedOutAndMultipliedBackInThatOrder) {
    WUnit& u = WUnit::GetDefaultWUnit();
    // (v / p) * f * p is kept as it stands: with p = 0.7 it is not the same double as v * f,
    // which an implementation that cancels p would give.
    const double f = 0.0254, v = 0.3, p = 0.7;
    ASSERT_NE(v / p * f * p / p / 1.0 * p, v * f);
    EXPECT_EQ(u.ConvertFromUnitToUnit(1, 9, v, p), v / p * f * p / p / 1.0 * p);
    // Precision 0 means 1; -1 means the registry's factor.
    EXPECT_EQ(u.ConvertFromUnitToUnit(1, 9, v, 0.0), v * f);
    EXPECT_EQ(u.GetPrecisionFactor(), 1e-7);
    EXPECT_EQ(u.SetPrecisionFactor(p), p);
    EXPECT_EQ(u.ConvertFromUnitToUnit(1, 9, v, -1.0), v / p * f * p / p / 1.0 * p);
    u.SetPrecisionFactor(1e-7);
}

TEST(UnitRegistry, BaseUnitIdentifiersConvertNothing) {
    WUnit& u = WUnit::GetDefaultWUnit();
    for (int base : {0, 17, 22, 23}) {
        EXPECT_EQ(u.ConvertFromUnitTo10thMicron(base, 2.5, -1.0), 2.5);
        EXPECT_EQ(u.ConvertFrom10thMicronToUnit(base, 2.5, -1.0), 2.5);
        EXPECT_EQ(u.ConvertFromUnitToUnit(1, base, 2.0, -1.0), 2.0);
        EXPECT_EQ(u.ConvertFromUnitToUnit(base, 2, 2.0, -1.0), 2.0);
        // The check comes first: even an unknown unit on the other side converts nothing.
        EXPECT_EQ(u.ConvertFromUnitToUnit(999, base, 2.0, -1.0), 2.0);
    }
}

TEST(UnitRegistry, UnknownIdentifiersThrow) {
    WUnit& u = WUnit::GetDefaultWUnit();
    for (int bad : {-1, 18, 19, 20, 21, 40, 41, 42, 1000}) {
        EXPECT_THROW(u.ConvertFromUnitTo10thMicron(bad, 1.0, -1.0), std::invalid_argument) << bad;
        EXPECT_THROW(u.ConvertFromUnitToUnit(bad, 1, 1.0, -1.0), std::invalid_argument) << bad;
        EXPECT_THROW(u.GetUnitString(bad, 1), std::invalid_argument) << bad;
        EXPECT_THROW(u.DisplayUnitValueAsString(bad, 1.0, 1, 0), std::invalid_argument) << bad;
        EXPECT_THROW(u.GetUnitIncrement(bad, 0), std::invalid_argument) << bad;
    }
    double v = 7.0;
    EXPECT_THROW(u.StringToValue(40, L"1", v, WEQ_ALL, DRG_DEG), std::invalid_argument);
    // The token sets are the caller's: the base set reads signs but no binary operators.
    v = 7.0;
    EXPECT_EQ(u.StringToValue(2, L"1+2", v, 0, DRG_DEG), 0);
    EXPECT_EQ(v, 0.0);
    EXPECT_EQ(u.StringToValue(2, L"+2", v, 0, DRG_DEG), 1);
    EXPECT_EQ(v, 2.0);
    EXPECT_EQ(u.StringToValue(2, L"1+2", v, WEQ_ALL, DRG_DEG), 1);
    EXPECT_EQ(v, 3.0);
}

TEST(UnitRegistry, RoundTripsBetweenEveryPairOfDisplays) {
    WUnit& u = WUnit::GetDefaultWUnit();
    const std::vector<int> ids = u.GetDisplayIds();
    ASSERT_EQ(ids.size(), 36u);
    for (int a : ids) {
        for (int b : ids) {
            for (double v : {1.0, -37.25, 1234.5678}) {
                const double there = u.ConvertFromUnitToUnit(a, b, v, -1.0);
                const double back = u.ConvertFromUnitToUnit(b, a, there, -1.0);
                EXPECT_NEAR(back, v, std::fabs(v) * 1e-12) << a << " -> " << b;
            }
        }
    }
}

TEST(UnitRegistry, PixelsGoThroughTheScreenResolution) {
    WUnit& u = WUnit::GetDefaultWUnit();
    ASSERT_EQ(WUnit::GetResolution(), 0.0);
    // No resolution: 11811024 pixels per 1000 metres, 300 to the inch give or take.
    const double fallback = u.ConvertFromUnitTo10thMicron(6, 300.0, -1.0);
    EXPECT_NEAR(fallback, 254000.0, 0.01);
    EXPECT_NEAR(u.ConvertFromUnitToUnit(1, 6, 1.0, -1.0), 300.0, 1e-4);
    for (double bad : {-5.0, 1e-6}) {
        WUnit::SetResolution(bad);
        EXPECT_EQ(u.ConvertFromUnitTo10thMicron(6, 300.0, -1.0), fallback) << bad;
    }
    // 72 pixels to the inch is 72 / 0.0254 pixels per metre, times the factor 1000.
    EXPECT_EQ(WUnit::SetResolution(72 / 0.0254 * 1000), 72 / 0.0254 * 1000);
    EXPECT_NEAR(u.ConvertFromUnitToUnit(1, 6, 1.0, -1.0), 72.0, 1e-9);
    EXPECT_NEAR(u.ConvertFrom10thMicronToUnit(6, 254000.0, -1.0), 72.0, 1e-9);
    WUnit::SetResolution(0.0);
}

TEST(UnitRegistry, ResolutionsConvertInversely) {
    WUnit& u = WUnit::GetDefaultWUnit();
    EXPECT_NEAR(u.ConvertResolutionFromUnitToUnit(1, 2, 300.0, -1.0), 300.0 / 25.4, 1e-9);
    EXPECT_NEAR(u.ConvertResolutionFromUnitToUnit(2, 1, 10.0, -1.0), 254.0, 1e-9);
    for (double below : {0.0, 0.99, -0.99})
        EXPECT_EQ(u.ConvertResolutionFromUnitToUnit(1, 2, below, -1.0), 0.0) << below;
    EXPECT_EQ(u.ConvertResolutionFromUnitToUnit(1, 22, 300.0, -1.0), 300.0);
}

TEST(UnitRegistry, IncrementsAndDecimalsAreTheTablesToTheBit) {
    WUnit& u = WUnit::GetDefaultWUnit();
    EXPECT_EQ(u.GetUnitIncrement(1, 1), 0.05000000074505806);
    EXPECT_EQ(u.GetUnitIncrement(25, 0), 0.08333);
    EXPECT_EQ(u.GetUnitIncrement(2, 2), 1.0);
    EXPECT_EQ(u.GetUnitIncrement(2, 3), -1.0);
    EXPECT_EQ(u.GetUnitDecimalPlaces(17), 0); // override
    EXPECT_EQ(u.GetUnitDecimalPlaces(28), 2); // override
    EXPECT_EQ(u.GetUnitDecimalPlaces(3), 3);  // the points
    EXPECT_EQ(u.GetNumberOfUnitInCollection(28), 3);
    EXPECT_EQ(u.GetNumberOfUnitInCollection(31), 2);
    EXPECT_EQ(u.GetMaxUnitRange(), 41);
}

TEST(UnitRegistry, NamesAndSymbolsComeFromTheResourceModule) {
    WUnit& u = WUnit::GetDefaultWUnit();
    EXPECT_EQ(u.GetUnitString(1, 1), UTLLoadStringEx(24017));
    EXPECT_EQ(u.GetUnitString(1, 4), CString(L"\""));
    EXPECT_EQ(u.GetUnitString(2, 4), CString(L"mm")); // no symbol: the abbreviation
    EXPECT_EQ(u.GetUnitString(2, 7), CString());
    EXPECT_EQ(u.GetUnitString(28, 4), CString(L"\u00b0 \u2032 \u2033"));
    EXPECT_EQ(u.GetUnitDisplayString(33, 2), CString(L"inches (1/64)"));
    WUnitCollection& mm = u.GetDisplay(2);
    EXPECT_TRUE(mm.MatchesName(L"MM"));
    EXPECT_FALSE(mm.MatchesName(L""));
}

TEST(UnitRegistry, DefinitionsLoadOnFirstUse) {
    WUnit r;
    EXPECT_EQ(r.AddUnitDefinition(4), 4);
    EXPECT_EQ(r.AddUnitDefinition(99), -1);
    WUntiDef* point = r.FindDefinition(4);
    ASSERT_NE(point, nullptr);
    EXPECT_FALSE(point->IsLoaded());
    EXPECT_EQ(point->GetName(3), CString(L"pt"));
    EXPECT_TRUE(point->IsLoaded());
    EXPECT_EQ(r.FindDefinition(99), nullptr);
}

TEST(UnitRegistry, LoadDefaultsStopsAtTheFirstUnknownIdentifier) {
    WUnit r;
    int list[] = {2, 1, 40, 5, -1};
    EXPECT_EQ(r.LoadDefaults(list, -1), 0);
    EXPECT_EQ(r.GetDisplayIds(), (std::vector<int>{2, 1}));
    int good[] = {5, 2, -1, 9};
    EXPECT_EQ(r.LoadDefaults(good, -1), 1);
    EXPECT_EQ(r.GetDisplayIds(), (std::vector<int>{2, 1, 5}));
    int bounded[] = {9, 10};
    EXPECT_EQ(r.LoadDefaults(bounded, 1), 1);
    EXPECT_EQ(r.GetDisplayIds(), (std::vector<int>{2, 1, 5, 9}));
}

TEST(UnitRegistry, AddedDefinitionsAndDisplaysTakeTheNextIdentifiers) {
    WUnit r;
    r.LoadDefaults(nullptr, -1);
    const int hand = r.AddUnitDefinition(RUNTIME_CLASS(WUnitWithSymbol), 2, 0.5, 1, 2, L"hand",
                                         L"hands", L"hh", L"H", 0.1016);
    EXPECT_EQ(hand, 42);
    const int span = r.AddUnitDefinition(RUNTIME_CLASS(WUntiDef), 1, 1, 2, 3, 24017, 24016, 24018,
                                         24065, 0.2286);
    EXPECT_EQ(span, 43);
    EXPECT_EQ(r.FindDefinition(span)->GetName(2), CString(L"inches"));
    const int defs[] = {hand, 1};
    const int display = r.AddUnitDisplay(RUNTIME_CLASS(WUnitCollection), defs, 2, -1, -1);
    EXPECT_EQ(display, 42);
    EXPECT_EQ(r.GetMaxUnitRange(), 42);
    EXPECT_NEAR(r.ConvertFromUnitTo10thMicron(display, 1.0, -1.0), 1016000.0, 1e-6);
    EXPECT_EQ(r.DisplayUnitValueAsString(display, 1.5, 4, 0), CString(L"1H 2\""));
    EXPECT_EQ(r.AddUnitDisplay(RUNTIME_CLASS(WUnitCollection), defs, 1, 0, -1), 43);
    EXPECT_THROW(r.AddUnitDisplay(RUNTIME_CLASS(WUntiDef), defs, 1, 0, -1), std::invalid_argument);
    const int unknown[] = {77};
    EXPECT_THROW(r.AddUnitDisplay(RUNTIME_CLASS(WUnitCollection), unknown, 1, 0, -1),
                 std::invalid_argument);
    EXPECT_EQ(r.GetMaxUnitRange(), 43);

    EXPECT_EQ(r.DeleteUnitDisplay(display), 1);
    EXPECT_EQ(r.DeleteUnitDisplay(display), 0);
    EXPECT_THROW(r.GetDisplay(display), std::invalid_argument);
    // The other displays keep their places.
    EXPECT_EQ(r.GetDisplay(43).GetId(), 43u);
    EXPECT_EQ(r.GetDisplay(22).GetId(), 22u);
}

TEST(UnitFormat, PlainDisplaysRoundAndDropTrailingZeros) {
    TlvUtl::ScopedLocaleOverride locale(Decimal(L"."));
    WUnit& u = WUnit::GetDefaultWUnit();
    EXPECT_EQ(u.DisplayUnitValueAsString(5, 2.5, 0, 0), CString(L"2.5"));
    // floor(v * 10^d + 0.5): halves round up, on the magnitude (the sign is the display's).
    EXPECT_EQ(u.DisplayUnitValueAsString(5, 1.00005, 0, 0), CString(L"1.0001"));
    EXPECT_EQ(u.DisplayUnitValueAsString(5, 1.000049, 0, 0), CString(L"1"));
    EXPECT_EQ(u.DisplayUnitValueAsString(11, 2.5, 0, 0), CString(L"3"));
    EXPECT_EQ(u.DisplayUnitValueAsString(11, -2.5, 0, 0), CString(L"-3"));
    // Forms: names 1 to 3 after a space, the symbol directly, nothing for others.
    EXPECT_EQ(u.DisplayUnitValueAsString(1, 2.5, 1, 0), CString(L"2.5 inch"));
    EXPECT_EQ(u.DisplayUnitValueAsString(1, 2.5, 4, 0), CString(L"2.5\""));
    EXPECT_EQ(u.DisplayUnitValueAsString(39, 12.0, 4, 0), CString(L"12%"));
}

TEST(UnitFormat, ThePrintedPointIsDroppedOnlyForAPointLocale) {
    TlvUtl::ScopedLocaleOverride locale(Decimal(L","));
    WUnit& u = WUnit::GetDefaultWUnit();
    EXPECT_EQ(u.DisplayUnitValueAsString(5, 2.5, 0, 0), CString(L"2.5"));
    EXPECT_EQ(u.DisplayUnitValueAsString(5, 3.0, 0, 0), CString(L"3."));
}

TEST(UnitFormat, DecimalOverridesOfDisplays) {
    WUnit r;
    r.LoadDefaults(nullptr, -1);
    EXPECT_EQ(r.SetUnitDecimalPlaces(2, 2), 2);
    EXPECT_EQ(r.DisplayUnitValueAsString(2, 2.375, 0, 0), CString(L"2.38"));
    EXPECT_EQ(r.DisplayUnitValueAsString(2, -2.375, 0, 0), CString(L"-2.38"));
    r.SetUnitDecimalPlaces(2, -2); // hundreds
    EXPECT_EQ(r.DisplayUnitValueAsString(2, 1250.0, 0, 0), CString(L"1300"));
    EXPECT_EQ(r.DisplayUnitValueAsString(17, 12.7, 0, 0), CString(L"13"));
    // The base unit has no names: forms 1 to 3 leave the space alone.
    EXPECT_EQ(r.DisplayUnitValueAsString(17, 12.7, 1, 0), CString(L"13 "));
}

TEST(UnitFormat, CompoundDisplays) {
    TlvUtl::ScopedLocaleOverride locale(Decimal(L"."));
    WUnit& u = WUnit::GetDefaultWUnit();
    const CString minus = UTLLoadStringEx(24087);
    // Degrees, minutes and seconds: seconds with two decimals, the others whole.
    EXPECT_EQ(u.DisplayUnitValueAsString(28, 10.5125, 4, 0), CString(L"10° 30′ 45″"));
    // Each part but the last is the whole below; only the last part rounds, so it may show
    // a full step. Asked for, the rounding carries instead.
    EXPECT_EQ(u.DisplayUnitValueAsString(28, 30.0 - 0.001 / 3600, 4, 0), CString(L"29° 59′ 60″"));
    EXPECT_EQ(u.DisplayUnitValueAsString(28, 30.0 - 0.001 / 3600, 4, WUNIT_FORMAT_CARRY),
              CString(L"30° 0′ 0″"));
    EXPECT_EQ(u.DisplayUnitValueAsString(28, -1.5, 4, 0), minus + L"1° 30′ 0″");
    EXPECT_EQ(u.DisplayUnitValueAsString(3, -3.5, 3, 0), minus + L"3 pc, 6 pt");
    // Feet and inches with power-of-two fractions.
    EXPECT_EQ(u.DisplayUnitValueAsString(31, 2.0 + 6.375 / 12, 4, 0), CString(L"2' 6 3/8\""));
    EXPECT_EQ(u.DisplayUnitValueAsString(31, 2.9999, 4, 0), CString(L"2' 12\""));
    EXPECT_EQ(u.DisplayUnitValueAsString(31, 2.9999, 4, WUNIT_FORMAT_CARRY), CString(L"3' 0\""));
}

TEST(UnitFormat, RationalDisplays) {
    WUnit& u = WUnit::GetDefaultWUnit();
    EXPECT_EQ(u.DisplayUnitValueAsString(33, 2.5, 4, 0), CString(L"2 1/2\""));
    EXPECT_EQ(u.DisplayUnitValueAsString(33, 1.0 / 64, 4, 0), CString(L"1/64\""));
    EXPECT_EQ(u.DisplayUnitValueAsString(33, 1.0 / 128, 4, 0), CString(L"1/64\""));
    EXPECT_EQ(u.DisplayUnitValueAsString(33, 1.0 / 128, 4, 128), CString(L"1/128\""));
    EXPECT_EQ(u.DisplayUnitValueAsString(33, -0.5, 4, 0), UTLLoadStringEx(24087) + L"1/2\"");
}

} // namespace
