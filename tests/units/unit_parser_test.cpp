#include <tlvutl/units.h>

#include <gtest/gtest.h>

#include <cmath>

namespace {

// The value typed into a field of the unit; NaN when the parse fails.
double Field(int unit, const wchar_t* text, DRG mode = DRG_DEG) {
    double v = 0.0;
    return WUnit::GetDefaultWUnit().StringToValue(unit, text, v, WEQ_ALL, mode) ? v : std::nan("");
}

TEST(UnitParser, LengthsConvertIntoTheFieldsUnit) {
    EXPECT_NEAR(Field(2, L"1in"), 25.4, 1e-9);
    EXPECT_NEAR(Field(2, L"1in + 2mm"), 27.4, 1e-9);
    EXPECT_NEAR(Field(2, L"(1+1) in"), 50.8, 1e-9);
    EXPECT_NEAR(Field(2, L"2 Inches"), 50.8, 1e-9);
    EXPECT_NEAR(Field(1, L"72pt"), 1.0, 1e-9);
    EXPECT_NEAR(Field(4, L"1in"), 72.0, 1e-9);
    EXPECT_NEAR(Field(1, L"-1ft"), -12.0, 1e-9);
    // Fields of the base unit count tenths of a micron.
    EXPECT_NEAR(Field(22, L"1in"), 254000.0, 1e-6);
    EXPECT_NEAR(Field(22, L"1mm + 5"), 10005.0, 1e-6);
}

TEST(UnitParser, CompoundValuesAddAndUnknownOrForeignUnitsFail) {
    EXPECT_NEAR(Field(1, L"5' 3\""), 63.0, 1e-9);
    EXPECT_NEAR(Field(1, L"5'3\""), 63.0, 1e-9);
    EXPECT_NEAR(Field(1, L"-5' 3\""), -63.0, 1e-9);
    EXPECT_NEAR(Field(1, L"2*5' 3\""), 126.0, 1e-9);
    EXPECT_NEAR(Field(11, L"30° 15' 36\""), 30.26, 1e-9);
    EXPECT_NEAR(Field(11, L"1 rad"), 57.29577951308232, 1e-9);
    // A cicero is not quite twelve didot points: the parts convert by their own factors.
    EXPECT_NEAR(Field(12, L"2,6"), 2 + 6 * 0.00037592 / 0.00451187, 1e-9);
    EXPECT_TRUE(std::isnan(Field(1, L"5' 3"))); // a part without its unit
    // Unknown units, and units of another kind, fail.
    EXPECT_TRUE(std::isnan(Field(2, L"5 furlongs")));
    EXPECT_TRUE(std::isnan(Field(2, L"5 deg"))); // an angle in a length field
    EXPECT_TRUE(std::isnan(Field(11, L"5 mm")));
    EXPECT_TRUE(std::isnan(Field(2, L"1in in")));
}

} // namespace
