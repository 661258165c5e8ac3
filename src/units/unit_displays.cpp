// Unit displays: what a caller selects by unit number, one to three definitions shown
// together.
#include <tlvutl/frame.h>
#include <tlvutl/units.h>

#include "units_internal.h"

#include <cmath>
#include <stdexcept>

TLVUTL_IMPLEMENT_DYNCREATE(WUnitCollection, CObject)
TLVUTL_IMPLEMENT_DYNCREATE(WUnitRational, WUnitCollection)
TLVUTL_IMPLEMENT_DYNCREATE(WUnitRationalBase2, WUnitRational)
TLVUTL_IMPLEMENT_DYNCREATE(WUnitRationalInch, WUnitRational)

namespace {

// Resource string of the minus that starts a negative value of a display.
constexpr UINT kMinusText = 24087;
constexpr int kDefaultDenominator = 64;

const CString& MinusText() {
    static const CString text = UTLLoadStringEx(kMinusText);
    return text;
}

// floor, except that a value within a billionth (relative) of the next whole counts as that
// whole: the factors of the parts are not exact in binary, so 1.5 degrees comes back as
// 29.999999999999996 minutes, which must not show as 29 minutes and 60 seconds.
double WholePart(double v) {
    const double whole = std::floor(v);
    if (v - whole > 1.0 - 1e-9 * std::max(1.0, std::fabs(v)))
        return whole + 1.0;
    return whole;
}

} // namespace

WUnitCollection::WUnitCollection() = default;
WUnitCollection::~WUnitCollection() = default;

WUntiDef* WUnitCollection::GetDefinition(int index) const {
    if (index < 0 || index >= static_cast<int>(m_definitions.size()))
        throw std::invalid_argument("unit display has no definition at this index");
    return m_definitions[static_cast<std::size_t>(index)];
}

void WUnitCollection::AddDefinition(WUntiDef* definition) {
    m_definitions.push_back(definition);
    m_count = static_cast<int>(m_definitions.size());
}

int WUnitCollection::MatchesName(const CString& text) {
    for (WUntiDef* d : m_definitions)
        if (d->MatchesName(text))
            return 1;
    return 0;
}

CString WUnitCollection::GetName(unsigned form) {
    CString out;
    for (std::size_t i = 0; i < m_definitions.size(); ++i) {
        if (i)
            out += m_separator;
        out += m_definitions[i]->GetName(form);
    }
    return out;
}

CString WUnitCollection::GetDisplayName(unsigned form) {
    return GetName(form);
}

int WUnitCollection::GetDecimalPlaces() {
    if (m_decimalOverride != -1)
        return m_decimalOverride;
    return m_definitions.empty() ? 0 : m_definitions.back()->GetDecimalPlaces();
}

int WUnitCollection::SetDecimalPlaces(int places) {
    m_decimalOverride = places;
    return places;
}

double WUnitCollection::GetIncrement(unsigned index) {
    return GetDefinition(0)->GetIncrement(index);
}

double WUnitCollection::ToMetres(double value, double precision) {
    return GetDefinition(0)->ToMetres(value, precision);
}

double WUnitCollection::FromMetres(double value, double precision) {
    return GetDefinition(0)->FromMetres(value, precision);
}

double WUnitCollection::LastPerFirst() {
    return m_definitions.back()->FromMetres(m_definitions.front()->ToMetres(1.0, 1e-7), 1e-7);
}

double WUnitCollection::LastPartGrain(int) {
    const int d = GetDecimalPlaces();
    return std::pow(10.0, -d);
}

CString WUnitCollection::FormatValue(double value, unsigned form, int flag) {
    if (m_definitions.empty())
        return CString();
    CString text;
    double v = value;
    if (v < 0) {
        text = MinusText();
        v = -v;
    }
    const std::size_t n = m_definitions.size();
    const bool carry = (flag & WUNIT_FORMAT_CARRY) != 0;
    flag &= ~WUNIT_FORMAT_CARRY;
    if (carry && n > 1 && std::isfinite(v)) {
        // Asked for: round to the finest step the last part shows before splitting, so that
        // a value that rounds up in its last part carries into the parts before it (3' 0"
        // rather than 2' 12"). Without it each earlier part is the whole below the value and
        // only the last part is rounded, as the displays have always been written.
        const double grain = LastPartGrain(flag);
        const double ratio = LastPerFirst();
        if (grain > 0 && ratio > 0 && std::isfinite(ratio))
            v = std::floor(v * ratio / grain + 0.5) * grain / ratio;
    }
    const double q = flag > 0 ? static_cast<double>(flag) : 1.0;
    for (std::size_t i = 0; i + 1 < n; ++i) {
        WUntiDef* d = m_definitions[i];
        const double whole = WholePart(v);
        const int saved = d->GetDecimalPlaces();
        d->SetDecimalPlaces(0);
        text += d->FormatValue(whole, form);
        d->SetDecimalPlaces(saved);
        double rest = (v * q - whole * q) / q;
        if (rest < 0)
            rest = 0;
        v = m_definitions[i + 1]->FromMetres(d->ToMetres(rest, 1e-7), 1e-7);
        text += m_separator;
    }
    text += FormatLastPart(v, form, flag);
    return text;
}

CString WUnitCollection::FormatLastPart(double value, unsigned form, int) {
    // The carry flag has done its work in FormatValue; nothing here depends on it.
    WUntiDef* d = m_definitions.back();
    const int places = GetDecimalPlaces();
    const int saved = d->GetDecimalPlaces();
    if (places == saved)
        return d->FormatValue(value, form);
    d->SetDecimalPlaces(places);
    CString text = d->FormatValue(value, form);
    d->SetDecimalPlaces(saved);
    return text;
}

int WUnitRational::Denominator(int flag) {
    flag &= ~WUNIT_FORMAT_CARRY;
    if (flag >= 2 && flag <= 4096 && (flag & (flag - 1)) == 0)
        return flag;
    return kDefaultDenominator;
}

double WUnitRational::LastPartGrain(int flag) {
    return 1.0 / Denominator(flag);
}

CString WUnitRational::FormatLastPart(double value, unsigned form, int flag) {
    WUntiDef* d = m_definitions.back();
    CString text;
    double v = value;
    if (v < 0) {
        text = MinusText();
        v = -v;
    }
    const double denominator = Denominator(flag);
    double whole = std::floor(v);
    double numerator = std::floor((v - whole) * denominator + 0.5);
    double den = denominator;
    if (numerator >= denominator) {
        whole += 1.0;
        numerator -= denominator;
    }
    while (numerator > 0 && std::fmod(numerator, 2.0) == 0.0) {
        numerator /= 2.0;
        den /= 2.0;
    }
    CString number;
    if (numerator == 0)
        number.Format(L"%0.0f", whole);
    else if (whole == 0)
        number.Format(L"%0.0f/%0.0f", numerator, den);
    else
        number.Format(L"%0.0f %0.0f/%0.0f", whole, numerator, den);
    text += number;
    d->AppendUnitText(text, form);
    return text;
}

CString WUnitRationalInch::GetDisplayName(unsigned form) {
    CString name = GetName(form);
    name.AppendFormat(L" (1/%d)", kDefaultDenominator);
    return name;
}
