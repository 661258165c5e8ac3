// The UNIT functions: conversions and value text for callers holding plain unit numbers.
#include <tlvutl/frame.h>
#include <tlvutl/locale.h>
#include <tlvutl/messages.h>
#include <tlvutl/regional_format.h>
#include <tlvutl/units.h>

#include "locale_refresh.h"
#include "units_internal.h"

#include <charconv>
#include <cmath>
#include <cwchar>
#include <stdexcept>
#include <string>

namespace {

// The fatal-error reports of this module name the source "units" and the line of the
// report site, so support can tell which check fired.
constexpr const wchar_t* kSource = L"units";
constexpr UINT kLineValueText = 466;
constexpr UINT kLineConvert = 212;
constexpr UINT kLineIncrement = 1890;

constexpr int kPixel = 6;
constexpr int kPicasPoints = 3;
constexpr int kCicerosDidots = 12;
constexpr int kMaxDecimals = 20;
// The number writer's buffer held 50 characters with the terminator.
constexpr int kNumberBuffer = 50;

struct UnitState {
    int initialised = 0;
    tlv::units::UnitLocale locale;
    int defaultDecimals[41] = {3, 5, 3, 0, 3, 4, 0, 6, 9, 6, 9, 0, 0, 3, 3, 1, 6};
    int metric = 0;
    int metricKnown = 0;
};

UnitState& State() {
    static UnitState state;
    return state;
}

void Report(UINT line) {
    UIMSG_FatalError(UTL_FATAL_BAD_ARGUMENT, kSource, line, kSource, 1);
}

// The module's buffers hold four characters.
std::wstring Cut(std::wstring s) {
    if (s.size() > 4)
        s.resize(4);
    return s;
}

// All fields from one reading of the locale, so they always belong together.
bool ReadLocale(tlv::units::UnitLocale& out) {
    const TlvUtl::LocaleSettings locale = TlvUtl::CurrentLocaleSettings();
    out.listSeparator = Cut(locale.listSeparator);
    out.decimalSeparator = Cut(locale.decimalSeparator);
    out.thousandSeparator = Cut(locale.thousandSeparator);
    out.leadingZero = locale.leadingZero == 1;
    out.negativeSign = Cut(locale.negativeSign);
    return true;
}

void OnLocaleChanged() {
    if (State().initialised)
        tlv::units::RereadUnitLocale();
}

const bool g_listening = [] {
    tlv::units::AddLocaleRefreshListener(&OnLocaleChanged);
    return true;
}();

// Pixels through a resolution in pixels per inch; 0 or less: the screen's, as the
// registry converts.
constexpr double kBasePerInch = 254000.0;

bool Convert(int unit, double value, double resolution, bool toBase, double& out) {
    if (unit == kPixel && resolution > 0) {
        const double perPixel = kBasePerInch / resolution;
        out = toBase ? value * perPixel : value / perPixel;
        return true;
    }
    try {
        if (unit >= UNIT_FIRST_CUSTOM) {
            WUnit* manager = UNITGetCustomUnitManager();
            if (!manager || !tlv::units::IsLoadedCustom(unit))
                return false;
            out = toBase ? manager->ConvertFromUnitTo10thMicron(unit, value, -1.0)
                         : manager->ConvertFrom10thMicronToUnit(unit, value, -1.0);
            return true;
        }
        if (unit == UNIT_CUSTOM_ENTRY)
            return false;
        WUnit& registry = WUnit::GetDefaultWUnit();
        out = toBase ? registry.ConvertFromUnitTo10thMicron(unit, value, -1.0)
                     : registry.ConvertFrom10thMicronToUnit(unit, value, -1.0);
        return true;
    } catch (const std::invalid_argument&) {
        return false;
    }
}

double Pow10(int d) {
    double r = 1.0;
    for (int i = 0; i < d; ++i)
        r *= 10.0;
    return r;
}

// Decimal text of |value| rounded to d places: printf's rounding of the binary value, or
// half away from zero on the shortest decimal text of the value.
std::string Digits(double magnitude, int d, bool precise) {
    char buffer[400];
    if (!precise) {
        const auto r =
            std::to_chars(buffer, buffer + sizeof buffer, magnitude, std::chars_format::fixed, d);
        return r.ec == std::errc() ? std::string(buffer, r.ptr) : std::string();
    }
    const auto r =
        std::to_chars(buffer, buffer + sizeof buffer, magnitude, std::chars_format::fixed);
    if (r.ec != std::errc())
        return {};
    std::string s(buffer, r.ptr);
    std::size_t point = s.find('.');
    if (point == std::string::npos) {
        point = s.size();
        s += '.';
    }
    std::size_t have = s.size() - point - 1;
    if (have <= static_cast<std::size_t>(d)) {
        s.append(static_cast<std::size_t>(d) - have, '0');
    } else {
        const bool up = s[point + 1 + static_cast<std::size_t>(d)] >= '5';
        s.resize(point + 1 + static_cast<std::size_t>(d));
        if (up) {
            std::size_t i = s.size();
            bool carry = true;
            while (carry && i > 0) {
                --i;
                if (s[i] == '.')
                    continue;
                if (s[i] == '9') {
                    s[i] = '0';
                } else {
                    ++s[i];
                    carry = false;
                }
            }
            if (carry)
                s.insert(s.begin(), '1');
        }
    }
    if (d == 0)
        s.pop_back(); // the point
    return s;
}

CString WriteNumber(double value, int decimals, unsigned flags, bool precise) {
    const tlv::units::UnitLocale* locale = tlv::units::GetUnitLocale();
    if (!locale)
        return CString();
    if (!std::isfinite(value))
        return CString();
    const int d = decimals < 0 ? 0 : (decimals > kMaxDecimals ? kMaxDecimals : decimals);
    std::string s = Digits(std::fabs(value), d, precise);
    if (s.empty())
        return CString();
    if (!(flags & UNITFMT_KEEP_ZEROS) && d > 0) {
        while (s.back() == '0')
            s.pop_back();
        if (s.back() == '.')
            s.pop_back();
    }
    const bool zero = s.find_first_not_of("0.") == std::string::npos;
    if (!locale->leadingZero && s.size() > 1 && s[0] == '0' && s[1] == '.')
        s.erase(0, 1);
    std::wstring out;
    if (value < 0 && !zero)
        out = locale->negativeSign;
    const std::size_t signEnd = out.size();
    for (char c : s) {
        if (c == '.')
            out += locale->decimalSeparator;
        else
            out += static_cast<wchar_t>(c);
    }
    if (flags & UNITFMT_GROUPING) {
        std::size_t end = out.find(locale->decimalSeparator, signEnd);
        if (end == std::wstring::npos || locale->decimalSeparator.empty())
            end = out.size();
        const std::wstring& sep = locale->thousandSeparator;
        if (!sep.empty())
            for (std::size_t at = end; at > signEnd + 3; at -= 3)
                out.insert(at - 3, sep);
    }
    if (out.size() > static_cast<std::size_t>(kNumberBuffer - 1))
        return CString();
    return CString(std::move(out));
}

int DefaultDecimals(int unit) {
    return UNITGetDefDecimalPrecision(unit);
}

} // namespace

namespace tlv::units {

const UnitLocale* GetUnitLocale() {
    if (!UNITInitialize())
        return nullptr;
    return &State().locale;
}

void RereadUnitLocale() {
    UnitState& s = State();
    UnitLocale fresh;
    if (ReadLocale(fresh)) {
        s.locale = fresh;
        s.initialised = 1;
    }
}

bool TryBaseToUnit(int unit, double value, double resolution, double& out) {
    return Convert(unit, value, resolution, false, out);
}

bool TryUnitToBase(int unit, double value, double resolution, double& out) {
    return Convert(unit, value, resolution, true, out);
}

void ResetMetricCache() {
    State().metricKnown = 0;
}

} // namespace tlv::units

int UNITInitialize(void) {
    UnitState& s = State();
    if (s.initialised)
        return 1;
    if (!ReadLocale(s.locale)) {
        TlvUtl::OutputDebugText(L"UNIT initialization failed!");
        return 0;
    }
    s.initialised = 1;
    return 1;
}

double UNITConvertBaseToUnit(int unit, double value, double resolution) {
    double out = 0.0;
    if (!Convert(unit, value, resolution, false, out)) {
        Report(kLineConvert);
        return 0.0;
    }
    return out;
}

double UNITConvertUnitToBase(int unit, double value, double resolution) {
    double out = 0.0;
    if (!Convert(unit, value, resolution, true, out)) {
        Report(kLineConvert);
        return 0.0;
    }
    return out;
}

namespace {

// Unit-to-unit through the registry that holds both units (the custom unit manager when
// one is custom).
WUnit* RegistryFor(int from, int to) {
    if (from >= UNIT_FIRST_CUSTOM || to >= UNIT_FIRST_CUSTOM) {
        if ((from >= UNIT_FIRST_CUSTOM && !tlv::units::IsLoadedCustom(from)) ||
            (to >= UNIT_FIRST_CUSTOM && !tlv::units::IsLoadedCustom(to)))
            return nullptr;
        return UNITGetCustomUnitManager();
    }
    return &WUnit::GetDefaultWUnit();
}

} // namespace

double UNITConvertUnitToUnit(int from, int to, double value) {
    try {
        if (WUnit* r = RegistryFor(from, to))
            return r->ConvertFromUnitToUnit(from, to, value, -1.0);
    } catch (const std::invalid_argument&) {
    }
    Report(kLineConvert);
    return 0.0;
}

double UNITConvertResUnitToUnit(int from, int to, double resolution) {
    try {
        if (WUnit* r = RegistryFor(from, to))
            return r->ConvertResolutionFromUnitToUnit(from, to, resolution, -1.0);
    } catch (const std::invalid_argument&) {
    }
    Report(kLineConvert);
    return 0.0;
}

double UNITConvertResToBase(int unit, double resolution) {
    if (!(resolution <= -1.0 || resolution >= 1.0))
        return 0.0;
    double length = 0.0;
    if (!Convert(unit, 1.0 / resolution, 0.0, true, length)) {
        Report(kLineConvert);
        return 0.0;
    }
    return 1.0 / length;
}

namespace TlvUtl::detail {

bool UnitTextPrepare(double& value, int unit, double resolution, unsigned flags, int& decimals,
                     CString& out, bool precise) {
    out.Empty();
    if (!UNITInitialize())
        return false;
    const bool known = unit >= UNIT_FIRST_CUSTOM ? tlv::units::IsLoadedCustom(unit)
                                                 : unit >= 0 && unit != UNIT_CUSTOM_ENTRY;
    double v = 0.0;
    if (!known || !Convert(unit, value, resolution, false, v)) {
        Report(kLineValueText);
        return false;
    }
    int d;
    if (unit == kPixel)
        d = decimals == UNIT_DECIMALS_PIXEL_HALVES ? 1 : DefaultDecimals(kPixel);
    else if (decimals == 0)
        d = DefaultDecimals(unit);
    else if (decimals == UNIT_DECIMALS_NONE)
        d = 0;
    else
        d = decimals;
    d = d < 0 ? 0 : (d > kMaxDecimals ? kMaxDecimals : d);
    // What would print as a negative zero is zero.
    if (v < 0 && v > -1.0 / Pow10(d))
        v = 0.0;
    if (v == 0)
        v = 0.0;
    if (unit == kPixel && d == 1) {
        // Pixels in halves, symmetric about zero.
        const double m = std::fabs(v);
        const double whole = std::floor(m);
        const double f = m - whole;
        const double snapped = f < 0.25 ? whole : (f > 0.75 ? whole + 1.0 : whole + 0.5);
        v = v < 0 ? -snapped : snapped;
    }
    if (unit == kPicasPoints || unit == kCicerosDidots) {
        // Two parts: whole picas (ciceros), the list separator, points (didots).
        const tlv::units::UnitLocale& locale = *tlv::units::GetUnitLocale();
        WUnit& registry = WUnit::GetDefaultWUnit();
        WUnitCollection& display = registry.GetDisplay(unit);
        WUntiDef* big = display.GetDefinition(0);
        WUntiDef* small = display.GetDefinition(1);
        const double per = small->FromMetres(big->ToMetres(1.0, 1e-7), 1e-7);
        const double m = std::fabs(v);
        double whole = std::floor(m);
        if (m - whole > 1.0 - 1e-9 * std::max(1.0, m))
            whole += 1.0;
        double rest = small->FromMetres(big->ToMetres(std::max(0.0, m - whole), 1e-7), 1e-7);
        const double grain = 1.0 / Pow10(d);
        if (std::floor(rest / grain + 0.5) >= std::floor(per / grain + 0.5)) {
            whole += 1.0;
            rest = 0.0;
        }
        CString number;
        tlv::units::AppendFixed(number, whole, 0);
        const CString part = precise ? DoubleToStringPrecisePolicy::ToString(rest, d, flags)
                                     : DoubleToStringPolicy::ToString(rest, d, flags);
        if (part.IsEmpty())
            return false;
        if (v < 0 && (whole != 0 || part.view().find_first_not_of(L"0") != std::wstring_view::npos))
            out = locale.negativeSign.c_str();
        out += number;
        out += locale.listSeparator.c_str();
        out += part;
        UnitTextFinish(out, unit, flags);
        return false;
    }
    value = v;
    decimals = d;
    return true;
}

void UnitTextFinish(CString& text, int unit, unsigned flags) {
    if ((flags & UNITFMT_UNIT_NAME) && !text.IsEmpty()) {
        const CString name = UNITGetUnitAsString(unit, 3);
        if (!name.IsEmpty()) {
            text += L' ';
            text += name;
        }
    }
}

} // namespace TlvUtl::detail

CString DoubleToStringPolicy::ToString(double value, int decimals, unsigned flags) {
    return WriteNumber(value, decimals, flags, false);
}

CString DoubleToStringPrecisePolicy::ToString(double value, int decimals, unsigned flags) {
    return WriteNumber(value, decimals, flags, true);
}

CString UNITConvToUnitAndString(double value, int unit, double resolution, unsigned flags) {
    return UNITConvToUnitAndStringT<DoubleToStringPolicy>(value, unit, resolution, flags, 0);
}

CString UNITConvToUnitAndStringEx(double value, int unit, double resolution, unsigned flags,
                                  int decimals) {
    return UNITConvToUnitAndStringT<DoubleToStringPolicy>(value, unit, resolution, flags, decimals);
}

CString UNITPreciseConvToUnitAndString(double value, int unit, double resolution, unsigned flags,
                                       int decimals) {
    return UNITConvToUnitAndStringT<DoubleToStringPrecisePolicy>(value, unit, resolution, flags,
                                                                 decimals);
}

CString UNITConvToUnitString(double value, int unit, double resolution) {
    return UNITConvToUnitAndString(value, unit, resolution, 0);
}

CString UNITGetUnitAsString(int unit, int form) {
    if (unit >= UNIT_FIRST_CUSTOM) {
        const UNIT_CUSTOM_RECORD* r = tlv::units::CustomRecord(unit);
        if (!r)
            return CString();
        switch (form) {
        case 1:
            return CString(r->name1);
        case 2:
            return CString(r->name2);
        case 3:
            return CString(r->name3);
        case 4:
            return CString(r->symbol[0] ? r->symbol : r->name3);
        default:
            return CString();
        }
    }
    WUnitCollection* display = WUnit::GetDefaultWUnit().FindDisplay(unit);
    return display && form >= 0 ? display->GetName(static_cast<unsigned>(form)) : CString();
}

int UNITGetSeparatorString(int unit, wchar_t* buffer) {
    if (!buffer)
        return 0;
    buffer[0] = L'\0';
    const tlv::units::UnitLocale* locale = tlv::units::GetUnitLocale();
    if (!locale)
        return 0;
    const std::wstring* text = nullptr;
    switch (unit) {
    case 0:
    case 1:
    case 2:
    case 4:
    case 5:
    case 7:
    case 8:
    case 9:
    case 10:
    case 11:
    case 13:
    case 14:
    case 15:
    case 16:
    case 22:
    case 37:
    case 38:
    case 39:
    case UNIT_CUSTOM_ENTRY:
        text = &locale->decimalSeparator;
        break;
    case kPicasPoints:
    case kCicerosDidots:
        text = &locale->listSeparator;
        break;
    default:
        if (UNITIsValidCustomUnit(unit))
            text = &locale->decimalSeparator;
        break;
    }
    if (!text)
        return 0;
    std::wcscpy(buffer, text->c_str());
    return static_cast<int>(text->size());
}

void UNITSetDefDecimalPrecision(int unit, int places) {
    if (unit >= 0 && unit < UNIT_CUSTOM_ENTRY)
        State().defaultDecimals[unit] = places;
}

int UNITGetDefDecimalPrecision(int unit) {
    if (unit >= 0 && unit < UNIT_CUSTOM_ENTRY)
        return State().defaultDecimals[unit];
    if (const UNIT_CUSTOM_RECORD* r = tlv::units::CustomRecord(unit))
        return r->decimals;
    return 1;
}

int UNITIsMetric(void) {
    UnitState& s = State();
    if (s.metricKnown)
        return s.metric;
    s.metric = TlvUtl::CurrentLocaleSettings().measure == 0 ? 1 : 0;
    s.metricKnown = 1;
    return s.metric;
}

double UNITGetIncrement(int unit, int index) {
    if (index < 0 || index > 2)
        return -1.0;
    if (unit >= UNIT_FIRST_CUSTOM) {
        if (const UNIT_CUSTOM_RECORD* r = tlv::units::CustomRecord(unit))
            return r->increments[index];
    } else if (WUnitCollection* d = WUnit::GetDefaultWUnit().FindDisplay(unit)) {
        return d->GetIncrement(static_cast<unsigned>(index));
    }
    Report(kLineIncrement);
    return 0.0;
}

double UNITGetAutoIncrement(int unit, double resolution) {
    const double step = UNITGetIncrement(unit, 0);
    return step > 0 ? UNITConvertUnitToBase(unit, step, resolution) : 0.0;
}

double UNITGetAutoValue(int unit, double value, double resolution) {
    const double step = UNITGetIncrement(unit, 0);
    if (!(step > 0))
        return value;
    const double v = UNITConvertBaseToUnit(unit, value, resolution);
    return UNITConvertUnitToBase(unit, std::floor(v / step + 0.5) * step, resolution);
}

double UNITIncAndConvValue(int unit, double value, int steps, double resolution) {
    const double step = UNITGetIncrement(unit, 0);
    if (!(step > 0))
        return value;
    const double v = UNITConvertBaseToUnit(unit, value, resolution);
    return UNITConvertUnitToBase(unit, v + steps * step, resolution);
}
