// Grid-frequency limits per unit, in lines per unit.
#include <tlvutl/frame.h>
#include <tlvutl/units.h>

#include "units_internal.h"

#include <cmath>

namespace {

constexpr UINT kLineGridLimits = 2526;
// The finest grid of the "custom" entry: one line per 5,080 metres.
constexpr double kCustomEntryMinimum = 1.968503937007874e-8;

void CustomEntryMinimum(double* minimum) {
    if (minimum && *minimum > 0 && *minimum < kCustomEntryMinimum)
        *minimum = kCustomEntryMinimum;
}

void Set(double* maximum, double* minimum, double max, double min) {
    if (maximum)
        *maximum = max;
    if (minimum)
        *minimum = min;
}

} // namespace

// The limits are historic and do not scale with the units; documents rely on them as they are.
void GetGridFreqLimits(int unit, double* maximum, double* minimum, double resolution) {
    switch (unit) {
    case 1:
    case 7:
    case 8:
    case 9:
    case 10:
    case 16:
        Set(maximum, minimum, 200.0, 0.005);
        return;
    case 2:
        Set(maximum, minimum, 254000.0, 0.0254);
        return;
    case 3:
        Set(maximum, minimum, 1600.0, 0.0001);
        return;
    case 4:
        Set(maximum, minimum, 140.0, 0.0001);
        return;
    case 5:
        Set(maximum, minimum, 25400.0, 0.0025);
        return;
    case 6:
        Set(maximum, minimum, resolution, 1.0);
        return;
    case 12:
        Set(maximum, minimum, 1775.0, 0.0001);
        return;
    case 13:
        Set(maximum, minimum, 150.0, 0.0001);
        return;
    case 14:
        Set(maximum, minimum, 14.285714285714286, 0.00035714285714285714);
        return;
    case 15:
        Set(maximum, minimum, 20.0, 0.0005);
        return;
    case 37:
    case 38:
        Set(maximum, minimum, 1016000.0, 0.00635);
        return;
    case UNIT_CUSTOM_ENTRY:
        CustomEntryMinimum(minimum);
        return;
    default:
        break;
    }
    if (UNITIsValidCustomUnit(unit)) {
        Set(maximum, minimum, 200.0, 0.005);
        return;
    }
    UIMSG_FatalError(UTL_FATAL_BAD_ARGUMENT, L"units", kLineGridLimits, L"units", 1);
    if (maximum)
        *maximum = -99.0;
    CustomEntryMinimum(minimum);
}

int UNITValidateGridFrequency(double* frequency, int unit, double resolution) {
    if (!frequency)
        return 0;
    // What the "custom" entry leaves unchanged: no limits.
    double maximum = HUGE_VAL;
    double minimum = 0.0;
    GetGridFreqLimits(unit, &maximum, &minimum, resolution);
    if (*frequency > maximum) {
        *frequency = maximum;
        return 0;
    }
    if (*frequency < minimum) {
        *frequency = minimum;
        return 0;
    }
    return 1;
}
