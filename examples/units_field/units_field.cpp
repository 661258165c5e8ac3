// A numeric field with a unit: what the user types is read by the unit-aware expression
// parser, converted through the unit registry and shown back in the field's unit.
#include <tlvutl/eq_parser.h>
#include <tlvutl/folders.h>
#include <tlvutl/frame.h>
#include <tlvutl/units.h>

#include <cmath>
#include <cstdio>

namespace {

constexpr int kInch = 1;
constexpr int kMillimetre = 2;
constexpr int kPoint = 4;

// Reads what was typed into a field of `unit`; false (and an error line) when it does not
// parse, as a dialog would refuse the entry.
bool Typed(int unit, const wchar_t* text, double& value) {
    WUnit& units = WUnit::GetDefaultWUnit();
    if (!units.StringToValue(unit, text, value, WEQ_ALL, DRG_DEG)) {
        std::printf("%-12ls refused\n", text);
        return false;
    }
    std::printf("%-12ls = %s\n", text,
                units.DisplayUnitValueAsString(unit, value, 3, 0).ToUtf8().c_str());
    return true;
}

// Conversions go through the base unit in floating point: 5' 3" comes out a hair under 63.
bool Near(double value, double expected) {
    return std::fabs(value - expected) < 1e-9;
}

} // namespace

int main() {
    // Unit names and abbreviations are localised strings: bring the module up first.
    TlvUtl::RegisterDefaultInstallation();
    if (InitModule() != 1)
        return 1;
    WUnit& units = WUnit::GetDefaultWUnit();
    int failures = 0;
    double v = 0;

    // A width field in inches: feet and inches add up, other units convert.
    failures += !(Typed(kInch, L"5' 3\"", v) && Near(v, 63.0));
    failures += !(Typed(kInch, L"2*3in + 1", v) && Near(v, 7.0));
    failures += !(Typed(kInch, L"25.4mm", v) && Near(v, 1.0));
    // A millimetre field: a unit binds to the number before it.
    failures += !(Typed(kMillimetre, L"2*3in", v) && Near(v, 152.4));
    failures += !(Typed(kMillimetre, L"(10 + 5) / 2", v) && Near(v, 7.5));
    // Not a length: refused, and the value reads 0.
    v = -1;
    failures += Typed(kMillimetre, L"12 kg", v) || v != 0.0;

    // The same length in other units, through the base unit (a tenth of a micron).
    const double tenths = units.ConvertFromUnitTo10thMicron(kInch, 1.0, -1.0);
    const double points = units.ConvertFromUnitToUnit(kInch, kPoint, 1.0, -1.0);
    std::printf("1 in = %.0f tenths of a micron = %s\n", tenths,
                units.DisplayUnitValueAsString(kPoint, points, 3, 0).ToUtf8().c_str());
    failures += !Near(tenths, 254000.0) || !Near(points, 72.0);
    return failures == 0 ? 0 : 1;
}
