// Per-unit values: one number per unit, and values with spin increments answering for any
// unit.
#include <tlvutl/units.h>

#include "units_internal.h"

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace {

// Tested in this order, anywhere in the token: "in" wins over "mm" and "m", "mm" and "cm"
// over "m". Stored strings depend on the order.
struct Keyword {
    const wchar_t* text;
    unsigned unit;
};
constexpr Keyword kKeywords[] = {
    {L"in", 1},       {L"mm", 2},    {L"cm", 5},   {L"px", 6},   {L"pt", 4},  {L"ft", 7},
    {L"ml", 8},       {L"km", 10},   {L"yd", 16},  {L"deg", 11}, {L"cc", 12}, {L"dd", 13},
    {L"percent", 39}, {L"pica", 24}, {L"rad", 32}, {L"m", 9},    {L"q", 37},  {L"h", 38},
};
constexpr unsigned kBaseUnit = 22;
constexpr unsigned kCicerosDidots = 12;
constexpr double kTolerance = 0.001;

} // namespace

WUnitValuePair::~WUnitValuePair() = default;

void WUnitValuePair::AddValue(unsigned unit, double value) {
    m_values.insert({unit, value});
}

void WUnitValuePair::AddCiceroDidotValue(double ciceros, double didots) {
    AddValue(kCicerosDidots, ciceros + didots / 12.0);
}

void WUnitValuePair::RemoveValue(unsigned unit) {
    m_values.erase(unit);
}

void WUnitValuePair::Clear() {
    m_values.clear();
}

void WUnitValuePair::LoadFromString(const CString& text) {
    int position = 0;
    for (CString token = text.Tokenize(L";", position); position >= 0;
         token = text.Tokenize(L";", position)) {
        unsigned unit = kBaseUnit;
        for (const Keyword& k : kKeywords) {
            if (token.Find(k.text) >= 0) {
                unit = k.unit;
                break;
            }
        }
        token.Trim(L"abcdefghijklmnopqrstuvwxyz");
        if (unit == kCicerosDidots) {
            const int comma = token.Find(L',');
            const double ciceros = tlv::units::ReadDouble(
                comma < 0 ? token.GetString() : token.Left(comma).GetString());
            const double didots =
                comma < 0 ? 0.0 : tlv::units::ReadDouble(token.Mid(comma + 1).GetString());
            AddCiceroDidotValue(ciceros, didots);
        } else {
            AddValue(unit, tlv::units::ReadDouble(token.GetString()));
        }
    }
}

bool WUnitValuePair::GetValue(unsigned unit, double& value) const {
    const auto it = m_values.find(unit);
    if (it == m_values.end())
        return false;
    value = it->second;
    return true;
}

bool WUnitValuePair::GetValue(unsigned unit, unsigned& foundUnit, double& value) const {
    if (GetValue(unit, value))
        return true;
    if (!m_values.empty()) {
        foundUnit = m_values.begin()->first;
        value = m_values.begin()->second;
    }
    return false;
}

bool WUnitValuePair::GetDefaultValue(unsigned& unit, double& value) const {
    if (!m_values.empty()) {
        unit = m_values.begin()->first;
        value = m_values.begin()->second;
    }
    return false;
}

bool WUnitValuePair::IsDefaultValue(unsigned& unit, double baseValue, double resolution) const {
    for (const auto& [u, v] : m_values) {
        const double converted = UNITConvertUnitToBase(static_cast<int>(u), v, resolution);
        const double difference = std::fabs(converted - baseValue);
        const double reference = std::fabs(converted != 0 ? converted : baseValue);
        if (difference == 0 || difference / reference <= kTolerance) {
            unit = u;
            return true;
        }
    }
    return false;
}

WSmartUnitValue::~WSmartUnitValue() = default;

namespace {

// Unit to base units and back, honouring the precision for registry units and the
// resolution (pixels per inch) for pixels.
double ToBase(int unit, double value, double resolution, double precision) {
    if (unit == 6 && resolution > 0)
        return value * 254000.0 / resolution;
    if (unit >= UNIT_FIRST_CUSTOM) {
        WUnit* manager = UNITGetCustomUnitManager();
        if (!manager || !tlv::units::IsLoadedCustom(unit))
            throw std::invalid_argument("unknown unit " + std::to_string(unit));
        return manager->ConvertFromUnitTo10thMicron(unit, value, precision);
    }
    return WUnit::GetDefaultWUnit().ConvertFromUnitTo10thMicron(unit, value, precision);
}

double FromBase(int unit, double value, double resolution, double precision) {
    if (unit == 6 && resolution > 0)
        return value * resolution / 254000.0;
    if (unit >= UNIT_FIRST_CUSTOM) {
        WUnit* manager = UNITGetCustomUnitManager();
        if (!manager || !tlv::units::IsLoadedCustom(unit))
            throw std::invalid_argument("unknown unit " + std::to_string(unit));
        return manager->ConvertFrom10thMicronToUnit(unit, value, precision);
    }
    return WUnit::GetDefaultWUnit().ConvertFrom10thMicronToUnit(unit, value, precision);
}

int RoundToInt(double v) {
    if (!(v == v))
        return 0;
    const double r = v < 0 ? -std::floor(-v + 0.5) : std::floor(v + 0.5);
    if (r >= static_cast<double>(std::numeric_limits<int>::max()))
        return std::numeric_limits<int>::max();
    if (r <= static_cast<double>(std::numeric_limits<int>::min()))
        return std::numeric_limits<int>::min();
    return static_cast<int>(r);
}

} // namespace

double WSmartUnitValue::GetValueForUnit(int unit, int which, double resolution,
                                        double precision) const {
    const WUnitValuePair& set = Set(which);
    double value = 0.0;
    if (set.GetValue(static_cast<unsigned>(unit), value))
        return value;
    unsigned from = 0;
    if (!set.GetValue(static_cast<unsigned>(unit), from, value))
        if (set.IsEmpty())
            return 0.0;
    return FromBase(unit, ToBase(static_cast<int>(from), value, resolution, precision), resolution,
                    precision);
}

double WSmartUnitValue::GetDValueForUnitBase(int unit, int which, double resolution,
                                             double precision) const {
    const WUnitValuePair& set = Set(which);
    double value = 0.0;
    unsigned from = static_cast<unsigned>(unit);
    if (!set.GetValue(static_cast<unsigned>(unit), from, value) && set.IsEmpty())
        return 0.0;
    return ToBase(static_cast<int>(from), value, resolution, precision);
}

int WSmartUnitValue::GetValueForUnitBase(int unit, int which) const {
    return RoundToInt(GetDValueForUnitBase(unit, which, 0.0, -1.0));
}

int WSmartUnitValue::GetValueForUnitBase(int unit, int which, int resolution,
                                         double precision) const {
    return RoundToInt(GetDValueForUnitBase(unit, which, resolution, precision));
}
