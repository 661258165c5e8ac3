#include <tlvutl/frame.h>
#include <tlvutl/locale.h>
#include <tlvutl/messages.h>
#include <tlvutl/units.h>

#include "units/units_internal.h"

#include "cstring_printer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using Kind = TlvUtl::CapturingMessageSink::Kind;

// A known locale for the UNIT functions, which read their strings once.
class Locale {
public:
    explicit Locale(const wchar_t* decimal = L".", const wchar_t* list = L",",
                    const wchar_t* negative = L"-", int leadingZero = 1,
                    const wchar_t* thousand = L",")
        : scope_([&] {
              TlvUtl::LocaleOverride o;
              o.decimalSeparator = decimal, o.listSeparator = list, o.negativeSign = negative,
              o.leadingZero = leadingZero, o.thousandSeparator = thousand, o.measure = 0;
              return o;
          }()) {
        UNITInitialize();
        tlv::units::RereadUnitLocale();
    }

private:
    TlvUtl::ScopedLocaleOverride scope_;
};

CString BoxCaption(const TlvUtl::CapturingMessageSink& sink) {
    for (const auto& m : sink.Messages())
        if (m.kind == Kind::Box)
            return m.caption;
    return CString();
}

constexpr double kPerMm = 10000.0;
constexpr double kPerInch = 254000.0;
constexpr double kPerPica = 254000.0 / 6;

TEST(UnitText, DecimalsDefaultsSelectorsAndNoNegativeZero) {
    Locale locale;
    // Default: the table's 3 for millimetres, 5 for inches.
    EXPECT_EQ(UNITConvToUnitString(12.34567 * kPerMm, 2, 0), CString(L"12.346"));
    EXPECT_EQ(UNITConvToUnitString(1.123456 * kPerInch, 1, 0), CString(L"1.12346"));
    EXPECT_EQ(UNITConvToUnitAndStringEx(12.34567 * kPerMm, 2, 0, 0, 1), CString(L"12.3"));
    EXPECT_EQ(UNITConvToUnitAndStringEx(12.5 * kPerMm, 2, 0, UNITFMT_KEEP_ZEROS, 3),
              CString(L"12.500"));
    EXPECT_EQ(UNITConvToUnitAndStringEx(12.5 * kPerMm, 2, 0, UNITFMT_UNIT_NAME, 0),
              CString(L"12.5 mm"));
    EXPECT_EQ(UNITConvToUnitAndStringEx(1234567.5 * kPerMm, 2, 0, UNITFMT_GROUPING, 0),
              CString(L"1,234,567.5"));
    UNITSetDefDecimalPrecision(2, 1);
    EXPECT_EQ(UNITConvToUnitString(12.34567 * kPerMm, 2, 0), CString(L"12.3"));
    UNITSetDefDecimalPrecision(2, 3); // the table's, for the tests after this one
    // No negative zero.
    EXPECT_EQ(UNITConvToUnitAndStringEx(-0.0004 * kPerMm, 2, 0, 0, 3), CString(L"0"));
    EXPECT_EQ(UNITConvToUnitAndStringEx(-0.0015 * kPerMm, 2, 0, 0, 3), CString(L"-0.002"));
    EXPECT_EQ(UNITConvToUnitAndStringEx(-0.4 * kPerMm, 2, 0, 0, UNIT_DECIMALS_NONE), CString(L"0"));
    EXPECT_EQ(UNITPreciseConvToUnitAndString(-0.0004 * kPerMm, 2, 0, 0, 3), CString(L"0"));
}

TEST(UnitText, LocaleSeparatorsSignAndLeadingZero) {
    Locale locale(L",", L";", L"~", 0, L".");
    EXPECT_EQ(UNITConvToUnitString(-0.5 * kPerMm, 2, 0), CString(L"~,5"));
    EXPECT_EQ(UNITConvToUnitString(3.5 * kPerPica, 3, 0), CString(L"3;6"));
}

TEST(UnitText, PolicyRoundingDiffers) {
    Locale locale;
    // 1.0005 is stored just below the half; 2.5 and 0.125 are exact halves.
    EXPECT_EQ(DoubleToStringPolicy::ToString(1.0005, 3, 0), CString(L"1"));
    EXPECT_EQ(DoubleToStringPrecisePolicy::ToString(1.0005, 3, 0), CString(L"1.001"));
    EXPECT_EQ(DoubleToStringPolicy::ToString(2.5, 0, 0), CString(L"2"));
    EXPECT_EQ(DoubleToStringPrecisePolicy::ToString(2.5, 0, 0), CString(L"3"));
    EXPECT_EQ(DoubleToStringPolicy::ToString(0.125, 2, 0), CString(L"0.12"));
    EXPECT_EQ(DoubleToStringPrecisePolicy::ToString(0.125, 2, 0), CString(L"0.13"));
    // Beyond the 50-character buffer: no text rather than a cut number.
    EXPECT_EQ(DoubleToStringPolicy::ToString(1e60, 3, 0), CString());
    EXPECT_EQ(DoubleToStringPolicy::ToString(NAN, 3, 0), CString());
}

TEST(UnitText, PixelsSnapToHalvesWithOneDecimal) {
    Locale locale;
    const double perPixel = kPerInch / 100; // 100 pixels per inch
    const std::pair<double, const wchar_t*> cases[] = {{2.2, L"2"}, {2.3, L"2.5"},   {2.75, L"2.5"},
                                                       {2.8, L"3"}, {-2.3, L"-2.5"}, {0.1, L"0"}};
    for (const auto& [px, text] : cases)
        EXPECT_EQ(UNITConvToUnitAndStringEx(px * perPixel, 6, 100, 0, UNIT_DECIMALS_PIXEL_HALVES),
                  CString(text))
            << px;
    // Any other decimals: the default for pixels.
    EXPECT_EQ(UNITConvToUnitAndStringEx(2.3 * perPixel, 6, 100, 0, 3), CString(L"2"));
    EXPECT_NEAR(UNITConvertUnitToBase(6, 72, 72), kPerInch, 1e-9);
}

TEST(UnitText, PicasAndCicerosInTwoParts) {
    Locale locale;
    EXPECT_EQ(UNITConvToUnitString(3.5 * kPerPica, 3, 0), CString(L"3,6"));
    EXPECT_EQ(UNITConvToUnitString(3.999 * kPerPica, 3, 0), CString(L"4,0"));
    EXPECT_EQ(UNITConvToUnitAndStringEx(3.5625 * kPerPica, 3, 0, 0, 2), CString(L"3,6.75"));
    EXPECT_EQ(UNITConvToUnitAndStringEx(3.5 * kPerPica, 3, 0, UNITFMT_UNIT_NAME, 0),
              CString(L"3,6 pc, pt"));
    const double cicero = 45118.7, didot = 3759.2;
    EXPECT_EQ(UNITConvToUnitString(2 * cicero + 6 * didot, 12, 0), CString(L"2,6"));
}

TEST(UnitText, UnknownUnitsAreFatalAtLine466) {
    Locale locale;
    for (int unit : {42, 41, 40, -3}) {
        TlvUtl::ScopedMessageCapture sink;
        EXPECT_EQ(UNITConvToUnitString(1000.0, unit, 0), CString()) << unit;
        const CString caption = BoxCaption(sink);
        EXPECT_NE(caption.Find(L"UNITS"), -1) << caption.ToUtf8();
        EXPECT_NE(caption.Find(L"466"), -1) << caption.ToUtf8();
        EXPECT_NE(caption.Find(L"5002"), -1) << caption.ToUtf8();
    }
}

TEST(UnitConversion, BaseUnitsAndIncrements) {
    EXPECT_NEAR(UNITConvertBaseToUnit(2, 25400.0, 0), 2.54, 1e-15);
    EXPECT_EQ(UNITConvertUnitToBase(22, 2.0, 0), 2.0);
    EXPECT_NEAR(UNITConvertResToBase(1, 254.0), 0.001, 1e-15);
    EXPECT_EQ(UNITConvertResToBase(1, 0.5), 0.0);
    TlvUtl::ScopedMessageCapture sink;
    EXPECT_EQ(UNITConvertBaseToUnit(40, 1.0, 0), 0.0);
    EXPECT_NE(BoxCaption(sink).Find(L"UNITS"), -1);
    // Increments: steps in the unit and in base units.
    EXPECT_EQ(UNITGetIncrement(1, 3), -1.0);
    EXPECT_NEAR(UNITGetAutoIncrement(2, 0), 1000.0, 1e-9);
    EXPECT_NEAR(UNITGetAutoValue(2, 1234.0, 0), 1000.0, 1e-9);
    EXPECT_NEAR(UNITIncAndConvValue(2, 1000.0, 3, 0), 4000.0, 1e-9);
}

TEST(UnitSeparators, PerUnit) {
    Locale locale(L",", L";");
    wchar_t buffer[8];
    for (int unit : {0, 1, 2, 4, 5, 7, 8, 9, 10, 11, 13, 14, 15, 16, 22, 37, 38, 39, 41}) {
        EXPECT_EQ(UNITGetSeparatorString(unit, buffer), 1) << unit;
        EXPECT_STREQ(buffer, L",") << unit;
    }
    for (int unit : {3, 12}) {
        EXPECT_EQ(UNITGetSeparatorString(unit, buffer), 1);
        EXPECT_STREQ(buffer, L";");
    }
    for (int unit : {6, 17, 23, 24, 28, 43}) {
        EXPECT_EQ(UNITGetSeparatorString(unit, buffer), 0) << unit;
        EXPECT_STREQ(buffer, L"") << unit;
    }
    // One beyond the last custom unit counts as custom.
    EXPECT_EQ(UNITGetSeparatorString(42, buffer), 1);
    EXPECT_EQ(UNITGetSeparatorString(1, nullptr), 0);
}

TEST(UnitDecimals, DefaultTable) {
    const int expected[17] = {3, 5, 3, 0, 3, 4, 0, 6, 9, 6, 9, 0, 0, 3, 3, 1, 6};
    for (int unit = 0; unit <= 40; ++unit)
        EXPECT_EQ(UNITGetDefDecimalPrecision(unit), unit < 17 ? expected[unit] : 0) << unit;
    EXPECT_EQ(UNITGetDefDecimalPrecision(41), 1);
    EXPECT_EQ(UNITGetDefDecimalPrecision(-1), 1);
    EXPECT_EQ(UNITGetDefDecimalPrecision(42), 1);
    UNITSetDefDecimalPrecision(40, 7);
    UNITSetDefDecimalPrecision(41, 7);
    EXPECT_EQ(UNITGetDefDecimalPrecision(40), 7);
    EXPECT_EQ(UNITGetDefDecimalPrecision(41), 1);
    UNITSetDefDecimalPrecision(40, 0);
}

struct Limits {
    int unit;
    double maximum, minimum;
};

TEST(GridLimits, AsListed) {
    // One per distinct row; 42 is one beyond the (no) custom units.
    const Limits table[] = {
        {1, 200, 0.005},  {2, 254000, 0.0254},
        {6, 96, 1.0},     {14, 14.285714285714286, 0.00035714285714285714},
        {15, 20, 0.0005}, {37, 1016000, 0.00635},
        {42, 200, 0.005},
    };
    TlvUtl::ScopedMessageCapture sink;
    for (const Limits& l : table) {
        double max = 0, min = 0;
        GetGridFreqLimits(l.unit, &max, &min, 96.0);
        EXPECT_EQ(max, l.maximum) << l.unit;
        EXPECT_EQ(min, l.minimum) << l.unit;
    }
    EXPECT_TRUE(sink.Messages().empty());

    double max = 5, min = 1e-9;
    GetGridFreqLimits(41, &max, &min, 96.0);
    EXPECT_EQ(max, 5.0);
    EXPECT_EQ(min, 1.968503937007874e-8);
    min = 0;
    GetGridFreqLimits(41, &max, &min, 96.0);
    EXPECT_EQ(min, 0.0);
    min = 0.5;
    GetGridFreqLimits(41, &max, &min, 96.0);
    EXPECT_EQ(min, 0.5);
}

TEST(GridLimits, UnknownUnitIsFatalAtLine2526) {
    for (int unit : {0, 11, 17, 43, 99}) {
        TlvUtl::ScopedMessageCapture sink;
        double max = 5, min = 1e-10;
        GetGridFreqLimits(unit, &max, &min, 96.0);
        EXPECT_EQ(max, -99.0) << unit;
        EXPECT_EQ(min, 1.968503937007874e-8) << unit;
        const CString caption = BoxCaption(sink);
        EXPECT_NE(caption.Find(L"UNITS"), -1);
        EXPECT_NE(caption.Find(L"2526"), -1) << caption.ToUtf8();
    }
}

TEST(GridLimits, Validate) {
    double f = 500;
    EXPECT_EQ(UNITValidateGridFrequency(&f, 1, 0), 0);
    EXPECT_EQ(f, 200.0);
    f = 0.001;
    EXPECT_EQ(UNITValidateGridFrequency(&f, 1, 0), 0);
    EXPECT_EQ(f, 0.005);
    f = 200;
    EXPECT_EQ(UNITValidateGridFrequency(&f, 1, 0), 1);
    f = 250;
    EXPECT_EQ(UNITValidateGridFrequency(&f, 6, 300), 1);
    EXPECT_EQ(UNITValidateGridFrequency(&f, 6, 72), 0);
    EXPECT_EQ(f, 72.0);
    f = 1e12;
    EXPECT_EQ(UNITValidateGridFrequency(&f, 41, 0), 1);
    EXPECT_EQ(UNITValidateGridFrequency(nullptr, 1, 0), 0);
}

TEST(UnitLocale, IsMetricIsCachedOnceKnown) {
    TlvUtl::LocaleOverride us;
    us.measure = 1;
    {
        TlvUtl::ScopedLocaleOverride scope(us);
        EXPECT_EQ(UNITIsMetric(), 0);
    }
    TlvUtl::LocaleOverride metric;
    metric.measure = 0;
    TlvUtl::ScopedLocaleOverride scope(metric);
    EXPECT_EQ(UNITIsMetric(), 0); // cached
    tlv::units::ResetMetricCache();
    EXPECT_EQ(UNITIsMetric(), 1);
}

TEST(UnitControls, UnitListAndComboIndices) {
    const std::vector<int> expected = {1, 2, 3, 4, 6, 12, 13, 7, 16, 8, 5, 9, 10, 37, 38, 41, -1};
    const int* list = UNITGetUnitArray();
    std::vector<int> got;
    for (int i = 0;; ++i) {
        got.push_back(list[i]);
        if (list[i] < 0)
            break;
    }
    EXPECT_EQ(got, expected);

    TlvUtl::InMemoryUnitDialog dialog;
    UNITFillUnitControl(&dialog, 100);
    const auto& items = dialog.ComboItems(100);
    ASSERT_EQ(items.size(), 16u);
    EXPECT_EQ(items[0], CString(L"inches"));
    EXPECT_EQ(items[2], CString(L"picas, points"));
    EXPECT_EQ(items[15], UTLLoadStringEx(19741));

    const std::pair<int, int> indexToUnit[] = {{0, 1}, {3, 4}, {5, 6}, {6, 12}, {7, 13}, {12, 13}};
    for (const auto& [index, unit] : indexToUnit) {
        dialog.SetComboSelection(100, index);
        EXPECT_EQ(UNITGetCurrentUnit(&dialog, 100), unit) << index;
    }
    EXPECT_EQ(UNITSetCurrentUnit(&dialog, 100, 2), 1);
    EXPECT_EQ(UNITSetCurrentUnit(&dialog, 100, 0), -1);
    EXPECT_EQ(UNITGetCurrentUnit(&dialog, 100), 0);
}

TEST(UnitControls, FieldValues) {
    Locale locale(L",", L";", L"-", 1, L".");
    TlvUtl::InMemoryUnitDialog dialog;
    dialog.SetFieldText(7, L"1.025,4 mm");
    EXPECT_NEAR(UNITGetUnitControlValue(&dialog, 7, 2), 1025.4 * kPerMm, 1e-6);
    dialog.SetFieldText(7, L"-3;6");
    EXPECT_NEAR(UNITGetUnitControlValue(&dialog, 7, 3), -3.5 * kPerPica, 1e-6);
    dialog.SetFieldText(7, L"abc");
    EXPECT_EQ(UNITGetUnitControlValue(&dialog, 7, 2), 0.0);
    UNITSetUnitControlValue(&dialog, 8, 1, 1.5 * kPerInch);
    EXPECT_EQ(dialog.GetFieldText(8), CString(L"1,5"));
}

} // namespace
