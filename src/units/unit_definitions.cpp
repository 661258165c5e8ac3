// Unit definitions: one physical unit each, filled lazily from the built-in table.
#include <tlvutl/frame.h>
#include <tlvutl/locale.h>
#include <tlvutl/units.h>

#include "units_internal.h"

#include "core/c_number.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cwchar>
#include <cwctype>

namespace {

enum class DefClass { Plain, Symbol, Pixel };

struct DefinitionRow {
    UINT id;
    DefClass cls;
    int decimals;
    double increments[3];
    UINT names[3];
    UINT symbol;
    double factor;
};

// The medium inch step is the single-precision 0.05 widened, and the cicero's small step is
// 0.08333: documents and settings written by earlier versions step by exactly these.
constexpr DefinitionRow kDefinitions[] = {
    {22, DefClass::Plain, 3, {1, 2, 5}, {0, 0, 0}, 0, 1.0},
    {1,
     DefClass::Symbol,
     5,
     {0.01, 0.05000000074505806, 0.1},
     {24017, 24016, 24018},
     24065,
     0.0254},
    {16, DefClass::Plain, 6, {0.1, 0.5, 1}, {24062, 24061, 24063}, 0, 0.9144},
    {8, DefClass::Plain, 9, {0.1, 0.5, 1}, {24038, 24037, 24039}, 0, 1609.344},
    {2, DefClass::Plain, 3, {0.1, 0.5, 1}, {24020, 24019, 24021}, 0, 0.001},
    {5, DefClass::Plain, 4, {0.1, 0.5, 1}, {24029, 24028, 24030}, 0, 0.01},
    {9, DefClass::Plain, 6, {0.1, 0.5, 1}, {24041, 24040, 24042}, 0, 1.0},
    {10, DefClass::Plain, 9, {1, 2, 5}, {24044, 24043, 24045}, 0, 1000.0},
    {6, DefClass::Pixel, 0, {1, 2, 5}, {24032, 24031, 24033}, 0, 1000.0},
    {4, DefClass::Plain, 3, {0.1, 0.5, 1}, {24026, 24025, 24027}, 0, 0.00035277777777777776},
    {13, DefClass::Plain, 3, {0.1, 0.5, 1}, {24053, 24052, 24054}, 0, 0.00037592},
    {14, DefClass::Plain, 3, {1, 2, 5}, {24056, 24055, 24057}, 0, 0.0018142857142857142},
    {24, DefClass::Plain, 0, {0.1, 0.5, 1}, {24070, 24071, 24072}, 0, 0.004233333333333333},
    {25, DefClass::Plain, 3, {0.08333, 0.5, 1}, {24073, 24074, 24075}, 0, 0.00451187},
    {7, DefClass::Symbol, 6, {0.1, 0.5, 1}, {24035, 24034, 24036}, 24066, 0.3048},
    {11, DefClass::Symbol, 0, {1, 2, 5}, {24047, 24046, 24048}, 24067, 0.017453292519943295},
    {26, DefClass::Symbol, 0, {1, 2, 5}, {24076, 24077, 24078}, 24079, 0.0002908882086657216},
    {27, DefClass::Symbol, 0, {1, 2, 5}, {24080, 24081, 24082}, 24083, 4.84813681109536e-06},
    {32, DefClass::Plain, 5, {1, 2, 5}, {24084, 24085, 24086}, 0, 1.0},
    {35, DefClass::Plain, 3, {0.08333, 0.5, 1}, {24207, 24206, 24208}, 0, 0.00451187},
    {36, DefClass::Plain, 0, {0.1, 0.5, 1}, {24210, 24209, 24211}, 0, 0.004233333333333333},
    {37, DefClass::Plain, 3, {0.1, 0.5, 1}, {24237, 24237, 24237}, 0, 0.00025},
    {38, DefClass::Plain, 3, {0.1, 0.5, 1}, {24238, 24238, 24238}, 0, 0.00025},
    {39, DefClass::Symbol, 0, {1, 2, 5}, {23826, 23826, 23826}, 23827, 1.0},
};

const DefinitionRow* FindRow(UINT id) {
    for (const DefinitionRow& row : kDefinitions)
        if (row.id == id)
            return &row;
    return nullptr;
}

// 10^d by repeated squaring, so that every caller rounds with the same power.
double Pow10(int d) {
    double result = 1.0;
    double base = 10.0;
    unsigned n = d < 0 ? 0u - static_cast<unsigned>(d) : static_cast<unsigned>(d);
    while (n) {
        if (n & 1u)
            result *= base;
        base *= base;
        n >>= 1;
    }
    return d < 0 ? 1.0 / result : result;
}

} // namespace

namespace tlv::units {

const CRuntimeClass* DefinitionClassOf(UINT id) {
    const DefinitionRow* row = FindRow(id);
    if (!row)
        return nullptr;
    switch (row->cls) {
    case DefClass::Symbol:
        return RUNTIME_CLASS(WUnitWithSymbol);
    case DefClass::Pixel:
        return RUNTIME_CLASS(WUnitPixel);
    case DefClass::Plain:
        break;
    }
    return RUNTIME_CLASS(WUntiDef);
}

wchar_t LocaleDecimalChar() {
    thread_local LCID cachedFor = 0;
    thread_local wchar_t cached = L'.';
    thread_local bool valid = false;
    const LCID now = TlvUtl::Win32::GetUserDefaultLCID();
    if (!valid || now != cachedFor) {
        wchar_t buffer[8] = {};
        cached = TlvUtl::Win32::GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, buffer, 8)
                     ? buffer[0]
                     : L'\0';
        cachedFor = now;
        valid = true;
    }
    return cached;
}

void AppendFixed(CString& out, double value, int decimals) {
    if (decimals < 0)
        decimals = 0;
    if (!std::isfinite(value) || decimals > 300) {
        CString text;
        text.Format(L"%0.*f", decimals, value);
        out += text;
        return;
    }
    char buffer[400];
    const auto r =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
    if (r.ec != std::errc()) {
        CString text;
        text.Format(L"%0.*f", decimals, value);
        out += text;
        return;
    }
    wchar_t wide[400];
    std::size_t n = 0;
    for (const char* p = buffer; p != r.ptr; ++p)
        wide[n++] = static_cast<wchar_t>(*p);
    out.Append(wide, static_cast<int>(n));
}

double ReadDouble(const wchar_t* text, const wchar_t** end) {
    if (end)
        *end = text;
    if (!text)
        return 0.0;
    std::size_t used = 0;
    const double value = tlv::core::ReadCDouble(text, &used);
    if (end)
        *end = text + used;
    return value;
}

long ReadLong(const wchar_t* text) {
    if (!text)
        return 0;
    std::size_t i = 0;
    bool consumed = false;
    // LONG is 32 bits on Windows: wcstol saturates there.
    return tlv::core::ReadCInteger<std::int32_t>(text, i, consumed);
}

} // namespace tlv::units

TLVUTL_IMPLEMENT_DYNCREATE(WUntiDef, CObject)
TLVUTL_IMPLEMENT_DYNCREATE(WUnitWithSymbol, WUntiDef)
TLVUTL_IMPLEMENT_DYNCREATE(WUnitPixel, WUntiDef)

WUntiDef::WUntiDef() = default;
WUntiDef::~WUntiDef() = default;

void WUntiDef::LoadDefinition() {
    const DefinitionRow* row = FindRow(m_id);
    if (!row) {
        // Not a table definition: nothing to fill, and no reason to look again.
        m_loaded = 1;
        return;
    }
    DefineFromResources(row->decimals, row->increments[0], row->increments[1], row->increments[2],
                        row->names[0], row->names[1], row->names[2], row->factor);
}

void WUntiDef::DefineFromStrings(int decimals, double inc1, double inc2, double inc3,
                                 const CString& name1, const CString& name2, const CString& name3,
                                 double factor) {
    m_decimals = decimals;
    m_increments[0] = inc1, m_increments[1] = inc2, m_increments[2] = inc3;
    m_names[0] = name1, m_names[1] = name2, m_names[2] = name3;
    m_factor = factor;
    m_loaded = 1;
}

void WUntiDef::DefineFromResources(int decimals, double inc1, double inc2, double inc3, UINT name1,
                                   UINT name2, UINT name3, double factor) {
    m_decimals = decimals;
    m_increments[0] = inc1, m_increments[1] = inc2, m_increments[2] = inc3;
    const UINT ids[3] = {name1, name2, name3};
    for (int i = 0; i < 3; ++i)
        if (ids[i] != 0)
            m_names[i] = UTLLoadStringEx(ids[i]);
    m_factor = factor;
    m_loaded = 1;
}

int WUntiDef::MatchesName(const CString& text) {
    EnsureLoaded();
    for (const CString& name : m_names)
        if (!name.IsEmpty() && name.CompareNoCase(text) == 0)
            return 1;
    return 0;
}

CString WUntiDef::GetName(unsigned form) {
    EnsureLoaded();
    switch (form) {
    case 1:
    case 2:
        return m_names[form - 1];
    case 3:
    case 4:
        return m_names[2];
    default:
        return CString();
    }
}

double WUntiDef::GetIncrement(unsigned index) {
    EnsureLoaded();
    return index < 3 ? m_increments[index] : -1.0;
}

int WUntiDef::GetDecimalPlaces() {
    EnsureLoaded();
    return m_decimals;
}

void WUntiDef::SetDecimalPlaces(int places) {
    EnsureLoaded();
    m_decimals = places;
}

double WUntiDef::GetFactor() {
    EnsureLoaded();
    return m_factor;
}

// The division by p and the multiplication by p cancel in exact arithmetic but not in
// doubles; stored values were computed this way, so the order stays.
double WUntiDef::ToMetres(double value, double precision) {
    EnsureLoaded();
    const double p = precision == 0.0 ? 1.0 : precision;
    return value / p * m_factor * p;
}

double WUntiDef::FromMetres(double value, double precision) {
    EnsureLoaded();
    const double p = precision == 0.0 ? 1.0 : precision;
    return value / p / m_factor * p;
}

CString WUntiDef::FormatValue(double value, unsigned form) {
    EnsureLoaded();
    const int d = m_decimals;
    const double scale = Pow10(d);
    const double rounded = std::floor(value * scale + 0.5) / scale;
    CString text;
    text.Preallocate(32);
    tlv::units::AppendFixed(text, rounded, d);
    if (d > 0) {
        int n = text.GetLength();
        const wchar_t* s = text.GetString();
        while (n > 1 && s[n - 1] == L'0')
            --n;
        // The number is printed with a point; only a locale that also uses the point gets
        // it removed, as the platform's printer always behaved.
        if (n > 1 && s[n - 1] == tlv::units::LocaleDecimalChar())
            --n;
        if (n != text.GetLength())
            text = text.Left(n);
    }
    AppendUnitText(text, form);
    return text;
}

void WUntiDef::AppendUnitText(CString& text, unsigned form) {
    EnsureLoaded();
    AppendUnitTextImpl(text, form);
}

void WUntiDef::AppendUnitTextImpl(CString& text, unsigned form) {
    if (form >= 1 && form <= 4) {
        text += L' ';
        text += m_names[form == 4 ? 2 : form - 1];
    }
}

void WUnitWithSymbol::LoadDefinition() {
    WUntiDef::LoadDefinition();
    const DefinitionRow* row = FindRow(m_id);
    if (row && row->symbol != 0)
        m_symbol = UTLLoadStringEx(row->symbol);
}

int WUnitWithSymbol::MatchesName(const CString& text) {
    EnsureLoaded();
    if (!m_symbol.IsEmpty() && m_symbol.CompareNoCase(text) == 0)
        return 1;
    return WUntiDef::MatchesName(text);
}

CString WUnitWithSymbol::GetName(unsigned form) {
    EnsureLoaded();
    return form == 4 ? m_symbol : WUntiDef::GetName(form);
}

CString WUnitWithSymbol::FormatValue(double value, unsigned form) {
    return WUntiDef::FormatValue(value, form);
}

void WUnitWithSymbol::AppendUnitTextImpl(CString& text, unsigned form) {
    if (form == 4)
        text += m_symbol;
    else
        WUntiDef::AppendUnitTextImpl(text, form);
}

namespace {

// Pixels per thousand metres when no screen resolution is set: 300 to the inch.
constexpr double kFallbackResolution = 11811024.0;

double ScreenResolution() {
    const double r = WUnit::GetResolution();
    return r <= 1e-6 ? kFallbackResolution : r;
}

} // namespace

double WUnitPixel::ToMetres(double value, double precision) {
    EnsureLoaded();
    const double p = precision == 0.0 ? 1.0 : precision;
    return value / p * (m_factor / ScreenResolution()) * p;
}

double WUnitPixel::FromMetres(double value, double precision) {
    EnsureLoaded();
    const double p = precision == 0.0 ? 1.0 : precision;
    // The resolution replaces the factor as a multiplier: pixels per metre.
    return value / p * (ScreenResolution() / m_factor) * p;
}
