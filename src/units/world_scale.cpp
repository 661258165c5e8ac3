// Drawing-scale presets: the built-in list, its presentation order, selection by value and
// presets for free scales.
#include <tlvutl/frame.h>
#include <tlvutl/units.h>

#include "units_internal.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace TlvUtl::WorldScale {

namespace {

struct Row {
    double world;
    double page;
    bool metric;
    UINT label;
};

// Row 24 is 1563, not 2 x 768: saved drawings carry that scale.
constexpr Row kRows[] = {
    {1, 1, true, 19943},     {2, 1, true, 19944},    {4, 1, true, 19945},    {8, 1, true, 19946},
    {16, 1, true, 19947},    {10, 1, true, 19948},   {20, 1, true, 19949},   {30, 1, true, 19950},
    {40, 1, true, 19951},    {50, 1, true, 19952},   {100, 1, true, 19953},  {4, 1, false, 19954},
    {8, 1, false, 19955},    {12, 1, false, 19956},  {16, 1, false, 19957},  {24, 1, false, 19958},
    {32, 1, false, 19959},   {48, 1, false, 19960},  {64, 1, false, 19961},  {96, 1, false, 19962},
    {128, 1, false, 19963},  {192, 1, false, 19964}, {384, 1, false, 19965}, {768, 1, false, 19966},
    {1563, 1, false, 19967}, {1, 2, true, 19968},    {1, 4, true, 19969},    {1, 8, true, 19970},
    {1, 10, true, 19971},    {1, 100, true, 19972},
};

Preset FromRow(const Row& r) {
    return Preset(r.world, 0, r.page, 0, r.world / r.page, UTLLoadStringEx(r.label), r.metric);
}

int Sign(double d) {
    return d < 0 ? -1 : (d > 0 ? 1 : 0);
}

// Imperial units make an imperial preset.
bool IsImperial(int unit) {
    switch (unit) {
    case 1:
    case 3:
    case 4:
    case 7:
    case 8:
    case 14:
    case 15:
    case 16:
    case 24:
    case 30:
    case 31:
    case 33:
    case 34:
    case 36:
        return true;
    default:
        return false;
    }
}

// The number rounded to the grain, with as many decimals as the grain has and trailing
// zeros dropped.
CString Number(double value, double grain) {
    const double rounded = std::floor(value / grain + 0.5) * grain;
    int decimals = 0;
    while (decimals < 9 && grain * std::pow(10.0, decimals) < 1.0 - 1e-9)
        ++decimals;
    CString text;
    tlv::units::AppendFixed(text, rounded, decimals);
    if (decimals > 0) {
        int n = text.GetLength();
        while (n > 1 && text[n - 1] == L'0')
            --n;
        if (text[n - 1] == L'.')
            --n;
        text = text.Left(n);
    }
    return text;
}

} // namespace

Preset::Preset(double worldDist, int worldUnit, double pageDist, int pageUnit, double scale,
               const CString& label, bool metric)
    : worldDist_(worldDist), pageDist_(pageDist), scale_(scale), worldUnit_(worldUnit),
      pageUnit_(pageUnit), metric_(metric), label_(label) {}

namespace detail {

int Magnification::Compare(const Preset& a, const Preset& b) {
    const int ca = a.Scale() >= 1.0 ? 1 : 2;
    const int cb = b.Scale() >= 1.0 ? 1 : 2;
    return ca - cb;
}

int System::Compare(const Preset& a, const Preset& b) {
    return (a.IsMetric() ? 1 : 2) - (b.IsMetric() ? 1 : 2);
}

int Value::Compare(const Preset& a, const Preset& b) {
    const double ka = a.Scale() >= 1.0 ? a.Scale() : -a.Scale();
    const double kb = b.Scale() >= 1.0 ? b.Scale() : -b.Scale();
    if (std::fabs(ka - kb) <= DBL_EPSILON)
        return 0;
    return Sign(ka - kb);
}

int CustomUnits::Compare(const Preset& a, const Preset& b) {
    return (a.IsCustomWithUnits() ? 1 : 0) - (b.IsCustomWithUnits() ? 1 : 0);
}

} // namespace detail

PresetSet GetPresets() {
    PresetSet set;
    for (const Row& r : kRows)
        set.insert(FromRow(r));
    return set;
}

std::vector<Preset> GetPresetList() {
    std::vector<Preset> list;
    list.reserve(std::size(kRows));
    for (const Row& r : kRows)
        list.push_back(FromRow(r));
    std::stable_sort(list.begin(), list.end(), detail::LessFromOrdering<detail::PresetOrdering>());
    return list;
}

PresetSet SelectByValue(double value, double relativeTolerance) {
    PresetSet set;
    for (const Row& r : kRows) {
        const double scale = r.world / r.page;
        if (std::fabs(scale - value) <=
            relativeTolerance * std::max(std::fabs(scale), std::fabs(value)))
            set.insert(FromRow(r));
    }
    return set;
}

Preset Format(double scale, int worldUnit, int pageUnit, double precision) {
    const double grain = precision > 0 ? precision : 1e-6;
    if (worldUnit == 0 && pageUnit == 0) {
        if (scale >= 1.0)
            return Preset(scale, 0, 1.0, 0, scale, L"1:" + Number(scale, grain), true);
        const double page = scale > 0 ? 1.0 / scale : 0.0;
        return Preset(1.0, 0, page, 0, scale, Number(page, grain) + L":1", true);
    }
    WUnit& registry = WUnit::GetDefaultWUnit();
    // Throws for unknown units, as the registry does.
    const CString pageName = pageUnit ? registry.GetUnitString(pageUnit, 3) : CString();
    const CString worldName = worldUnit ? registry.GetUnitString(worldUnit, 3) : CString();
    double world = scale;
    if (pageUnit && worldUnit)
        world = registry.ConvertFromUnitToUnit(pageUnit, worldUnit, scale, -1.0);
    world = std::floor(world / grain + 0.5) * grain;
    CString label = L"1";
    if (!pageName.IsEmpty())
        label += L" " + pageName;
    label += L" = " + Number(world, grain);
    if (!worldName.IsEmpty())
        label += L" " + worldName;
    const bool metric = !IsImperial(worldUnit) && !IsImperial(pageUnit);
    return Preset(world, worldUnit, 1.0, pageUnit, scale, label, metric);
}

} // namespace TlvUtl::WorldScale
