// The unit registry: definitions and displays by identifier, and the conversions through
// the base unit.
#include <tlvutl/frame.h>
#include <tlvutl/unit_parser.h>
#include <tlvutl/units.h>

#include "units_internal.h"

#include <stdexcept>
#include <string>

namespace tlv::units {
const CRuntimeClass* DefinitionClassOf(UINT id);
}

namespace {

enum class DisplayClass { Collection, RationalInch, RationalBase2 };

struct DisplayRow {
    int id;
    DisplayClass cls;
    int definitions[3];
    int count;
    int separator; // string resource; negative: the default separator
    int decimalOverride;
};

constexpr int kDefaultSeparator = 24068;
constexpr int kListSeparator = 24069;
constexpr double kBasePerMetre = 10000000.0;

// In load order.
constexpr DisplayRow kDisplays[] = {
    {22, DisplayClass::Collection, {22}, 1, -1, -1},
    {23, DisplayClass::Collection, {22}, 1, -1, -1},
    {0, DisplayClass::Collection, {22}, 1, -1, -1},
    {17, DisplayClass::Collection, {22}, 1, -1, 0},
    {15, DisplayClass::Collection, {1}, 1, -1, -1},
    {1, DisplayClass::Collection, {1}, 1, -1, -1},
    {33, DisplayClass::RationalInch, {1}, 1, -1, -1},
    {16, DisplayClass::Collection, {16}, 1, -1, -1},
    {8, DisplayClass::Collection, {8}, 1, -1, -1},
    {2, DisplayClass::Collection, {2}, 1, -1, -1},
    {5, DisplayClass::Collection, {5}, 1, -1, -1},
    {9, DisplayClass::Collection, {9}, 1, -1, -1},
    {10, DisplayClass::Collection, {10}, 1, -1, -1},
    {6, DisplayClass::Collection, {6}, 1, -1, -1},
    {4, DisplayClass::Collection, {4}, 1, -1, -1},
    {13, DisplayClass::Collection, {13}, 1, -1, -1},
    {14, DisplayClass::Collection, {14}, 1, -1, -1},
    {3, DisplayClass::Collection, {24, 4}, 2, kListSeparator, -1},
    {12, DisplayClass::Collection, {25, 13}, 2, kListSeparator, -1},
    {30, DisplayClass::Collection, {7}, 1, -1, -1},
    {7, DisplayClass::Collection, {7}, 1, -1, -1},
    {34, DisplayClass::RationalInch, {7}, 1, -1, -1},
    {24, DisplayClass::Collection, {24}, 1, -1, -1},
    {25, DisplayClass::Collection, {25}, 1, -1, -1},
    {11, DisplayClass::Collection, {11}, 1, -1, -1},
    {26, DisplayClass::Collection, {26}, 1, -1, -1},
    {27, DisplayClass::Collection, {27}, 1, -1, -1},
    {31, DisplayClass::RationalBase2, {7, 1}, 2, -1, -1},
    {29, DisplayClass::Collection, {11, 26}, 2, -1, 0},
    {28, DisplayClass::Collection, {11, 26, 27}, 3, -1, 2},
    {32, DisplayClass::Collection, {32}, 1, -1, -1},
    {35, DisplayClass::Collection, {35}, 1, -1, -1},
    {36, DisplayClass::Collection, {36}, 1, -1, -1},
    {37, DisplayClass::Collection, {37}, 1, -1, -1},
    {38, DisplayClass::Collection, {38}, 1, -1, -1},
    {39, DisplayClass::Collection, {39}, 1, -1, -1},
};

int kDefaultList[] = {22, 23, 0,  17, 1,  15, 7, 30, 31, 16, 8,  32, 11, 26, 27, 29, 28, 2, 5,
                      9,  10, 14, 6,  24, 4,  3, 25, 13, 12, 33, 34, 35, 36, 37, 38, 39, -1};

const DisplayRow* FindDisplayRow(int id) {
    for (const DisplayRow& row : kDisplays)
        if (row.id == id)
            return &row;
    return nullptr;
}

const CRuntimeClass* DisplayClassOf(DisplayClass cls) {
    switch (cls) {
    case DisplayClass::RationalInch:
        return RUNTIME_CLASS(WUnitRationalInch);
    case DisplayClass::RationalBase2:
        return RUNTIME_CLASS(WUnitRationalBase2);
    case DisplayClass::Collection:
        break;
    }
    return RUNTIME_CLASS(WUnitCollection);
}

[[noreturn]] void UnknownUnit(const char* what, int id) {
    throw std::invalid_argument(std::string("unknown unit ") + what + " " + std::to_string(id));
}

CString Separator(int resource) {
    if (resource < 0)
        resource = kDefaultSeparator;
    return resource == 0 ? CString() : UTLLoadStringEx(static_cast<UINT>(resource));
}

} // namespace

double WUnit::m_dScreenResolution = 0.0;

WUnit::WUnit() = default;

WUnit::~WUnit() {
    for (WUnitCollection* d : m_displays)
        delete d;
    for (WUntiDef* d : m_definitions)
        delete d;
}

WUnit& WUnit::GetDefaultWUnit() {
    // Never destroyed: hosts format values from their own static destructors.
    static WUnit* registry = [] {
        auto* r = new WUnit();
        r->LoadDefaults(nullptr, -1);
        return r;
    }();
    return *registry;
}

__int64 WUnit::FindUnit(int id, const std::vector<UnitMap>& index) {
    for (const UnitMap& entry : index)
        if (entry.id == id)
            return entry.position;
    return -1;
}

WUntiDef& WUnit::Definition(int id) {
    const __int64 at = FindUnit(id, m_definitionIndex);
    if (at < 0)
        UnknownUnit("definition", id);
    return *m_definitions[static_cast<std::size_t>(at)];
}

void WUnit::RebuildDisplayTable() {
    m_displayById.assign(64, nullptr);
    for (const UnitMap& m : m_displayIndex)
        if (m.id >= 0 && m.id < 64)
            m_displayById[static_cast<std::size_t>(m.id)] =
                m_displays[static_cast<std::size_t>(m.position)];
}

WUnitCollection& WUnit::GetDisplay(int unit) {
    if (static_cast<unsigned>(unit) < m_displayById.size())
        if (WUnitCollection* d = m_displayById[static_cast<std::size_t>(unit)])
            return *d;
    const __int64 at = FindUnit(unit, m_displayIndex);
    if (at < 0)
        UnknownUnit("display", unit);
    return *m_displays[static_cast<std::size_t>(at)];
}

WUnitCollection* WUnit::FindDisplay(int unit) {
    if (static_cast<unsigned>(unit) < m_displayById.size())
        return m_displayById[static_cast<std::size_t>(unit)];
    const __int64 at = FindUnit(unit, m_displayIndex);
    return at < 0 ? nullptr : m_displays[static_cast<std::size_t>(at)];
}

WUntiDef* WUnit::FindDefinition(int id) {
    const __int64 at = FindUnit(id, m_definitionIndex);
    return at < 0 ? nullptr : m_definitions[static_cast<std::size_t>(at)];
}

std::vector<int> WUnit::GetDisplayIds() const {
    std::vector<int> ids;
    for (const UnitMap& m : m_displayIndex)
        ids.push_back(m.id);
    return ids;
}

std::vector<int> WUnit::GetDefinitionIds() const {
    std::vector<int> ids;
    for (const UnitMap& m : m_definitionIndex)
        ids.push_back(m.id);
    return ids;
}

int WUnit::LoadDefaults(int* const ids, int count) {
    const int* list = ids ? ids : kDefaultList;
    for (int i = 0; count < 0 || i < count; ++i) {
        if (list[i] < 0)
            return 1;
        if (AddUnitDisplay(list[i]) < 0)
            return 0;
    }
    return 1;
}

int WUnit::RegisterDefinition(WUntiDef* definition) {
    m_definitions.push_back(definition);
    m_definitionIndex.push_back(
        {static_cast<int>(definition->GetId()), static_cast<__int64>(m_definitions.size() - 1)});
    return static_cast<int>(definition->GetId());
}

int WUnit::AddUnitDefinition(int id) {
    if (FindUnit(id, m_definitionIndex) >= 0)
        return id;
    const CRuntimeClass* cls = tlv::units::DefinitionClassOf(static_cast<UINT>(id));
    if (!cls)
        return -1;
    auto* definition = static_cast<WUntiDef*>(cls->CreateObject());
    definition->SetId(static_cast<UINT>(id));
    return RegisterDefinition(definition);
}

namespace {

WUntiDef* CreateDefinition(const CRuntimeClass* cls) {
    if (!cls || !cls->IsDerivedFrom(RUNTIME_CLASS(WUntiDef)))
        throw std::invalid_argument("unit definition class does not derive from WUntiDef");
    CObject* object = cls->CreateObject();
    if (!object)
        throw std::invalid_argument("unit definition class cannot be created");
    return static_cast<WUntiDef*>(object);
}

} // namespace

int WUnit::AddUnitDefinition(const CRuntimeClass* cls, int decimals, double inc1, double inc2,
                             double inc3, int name1, int name2, int name3, int symbol,
                             double factor) {
    WUntiDef* definition = CreateDefinition(cls);
    definition->SetId(static_cast<UINT>(m_nextDefinitionId++));
    definition->DefineFromResources(decimals, inc1, inc2, inc3, static_cast<UINT>(name1),
                                    static_cast<UINT>(name2), static_cast<UINT>(name3), factor);
    if (symbol != 0 && definition->IsKindOf(RUNTIME_CLASS(WUnitWithSymbol)))
        static_cast<WUnitWithSymbol*>(definition)
            ->SetSymbol(UTLLoadStringEx(static_cast<UINT>(symbol)));
    return RegisterDefinition(definition);
}

int WUnit::AddUnitDefinition(const CRuntimeClass* cls, int decimals, double inc1, double inc2,
                             double inc3, const CString& name1, const CString& name2,
                             const CString& name3, const CString& symbol, double factor) {
    WUntiDef* definition = CreateDefinition(cls);
    definition->SetId(static_cast<UINT>(m_nextDefinitionId++));
    definition->DefineFromStrings(decimals, inc1, inc2, inc3, name1, name2, name3, factor);
    if (definition->IsKindOf(RUNTIME_CLASS(WUnitWithSymbol)))
        static_cast<WUnitWithSymbol*>(definition)->SetSymbol(symbol);
    return RegisterDefinition(definition);
}

int WUnit::AddUnitDisplay(int id) {
    if (FindUnit(id, m_displayIndex) >= 0)
        return id;
    const DisplayRow* row = FindDisplayRow(id);
    if (!row)
        return -1;
    auto* display = static_cast<WUnitCollection*>(DisplayClassOf(row->cls)->CreateObject());
    display->SetId(static_cast<UINT>(id));
    m_displays.push_back(display);
    m_displayIndex.push_back({id, static_cast<__int64>(m_displays.size() - 1)});
    RebuildDisplayTable();
    for (int i = 0; i < row->count; ++i) {
        AddUnitDefinition(row->definitions[i]);
        display->AddDefinition(&Definition(row->definitions[i]));
    }
    display->SetSeparator(Separator(row->separator));
    if (row->decimalOverride >= 0)
        display->SetDecimalOverride(row->decimalOverride);
    display->SetLoaded();
    return id;
}

int WUnit::AddUnitDisplay(const CRuntimeClass* cls, const int* definitions, int count,
                          int separator, int decimalOverride) {
    if (!cls || !cls->IsDerivedFrom(RUNTIME_CLASS(WUnitCollection)) || !cls->m_pfnCreateObject)
        throw std::invalid_argument("unit display class does not derive from WUnitCollection");
    if (!definitions || count < 1 || count > 3)
        throw std::invalid_argument("a unit display holds one to three definitions");
    std::vector<WUntiDef*> parts;
    for (int i = 0; i < count; ++i)
        parts.push_back(&Definition(definitions[i]));
    auto* display = static_cast<WUnitCollection*>(cls->CreateObject());
    const int id = m_nextDisplayId++;
    display->SetId(static_cast<UINT>(id));
    for (WUntiDef* d : parts)
        display->AddDefinition(d);
    display->SetSeparator(Separator(separator));
    if (decimalOverride >= 0)
        display->SetDecimalOverride(decimalOverride);
    display->SetLoaded();
    m_displays.push_back(display);
    m_displayIndex.push_back({id, static_cast<__int64>(m_displays.size() - 1)});
    RebuildDisplayTable();
    return id;
}

int WUnit::DeleteUnitDisplay(int id) {
    for (std::size_t i = 0; i < m_displayIndex.size(); ++i) {
        if (m_displayIndex[i].id != id)
            continue;
        const __int64 at = m_displayIndex[i].position;
        delete m_displays[static_cast<std::size_t>(at)];
        m_displays.erase(m_displays.begin() + at);
        m_displayIndex.erase(m_displayIndex.begin() + static_cast<std::ptrdiff_t>(i));
        for (UnitMap& m : m_displayIndex)
            if (m.position > at)
                --m.position;
        RebuildDisplayTable();
        return 1;
    }
    return 0;
}

double WUnit::ConvertFromUnitTo10thMicron(int unit, double value, double precision) {
    if (IsBaseUnit(unit))
        return value;
    return GetDisplay(unit).ToMetres(value * kBasePerMetre, Precision(precision));
}

double WUnit::ConvertFrom10thMicronToUnit(int unit, double value, double precision) {
    if (IsBaseUnit(unit))
        return value;
    return GetDisplay(unit).FromMetres(value / kBasePerMetre, Precision(precision));
}

double WUnit::ConvertFromUnitToUnit(int from, int to, double value, double precision) {
    if (IsBaseUnit(from) || IsBaseUnit(to))
        return value;
    const double p = Precision(precision);
    WUnitCollection& source = GetDisplay(from);
    WUnitCollection& target = GetDisplay(to);
    return target.FromMetres(source.ToMetres(value, p), p);
}

double WUnit::ConvertResolutionFromUnitToUnit(int from, int to, double resolution,
                                              double precision) {
    // A resolution below one per unit truncates to 0: there is nothing to convert.
    if (!(resolution <= -1.0 || resolution >= 1.0))
        return 0.0;
    return 1.0 / ConvertFromUnitToUnit(from, to, 1.0 / resolution, precision);
}

CString WUnit::GetUnitString(int unit, unsigned form) {
    return GetDisplay(unit).GetName(form);
}

CString WUnit::GetUnitDisplayString(int unit, unsigned form) {
    return GetDisplay(unit).GetDisplayName(form);
}

int WUnit::GetUnitDecimalPlaces(int unit) {
    return GetDisplay(unit).GetDecimalPlaces();
}

int WUnit::SetUnitDecimalPlaces(int unit, int places) {
    return GetDisplay(unit).SetDecimalPlaces(places);
}

double WUnit::SetPrecisionFactor(double factor) {
    m_precisionFactor = factor;
    return factor;
}

double WUnit::GetUnitIncrement(int unit, unsigned index) {
    return GetDisplay(unit).GetIncrement(index);
}

int WUnit::GetNumberOfUnitInCollection(int unit) {
    return GetDisplay(unit).GetCount();
}

CString WUnit::DisplayUnitValueAsString(int unit, double value, unsigned form, int flag) {
    return GetDisplay(unit).FormatValue(value, form, flag);
}

int WUnit::StringToValue(int unit, const CString& text, double& value, unsigned flags, DRG mode) {
    WUnitCollection& field = GetDisplay(unit);
    // The field's scale: base units (tenths of a micron) in one field unit.
    const double scale = ConvertFromUnitTo10thMicron(unit, 1.0, -1.0);
    std::vector<WUnitParser::UnitRatio> units;
    for (int id : GetDefinitionIds()) {
        WUntiDef* d = FindDefinition(id);
        if (d)
            units.push_back({d, d->ToMetres(1.0, 1e-7) / (scale / 10000000.0)});
    }
    WUntiDef* first = field.GetCount() > 0 ? field.GetDefinition(0) : nullptr;
    const WUnitParser::Kind kind =
        first ? WUnitParser::KindOfDefinition(first->GetId()) : WUnitParser::Kind::Length;
    // Two-part fields (picas and points, ciceros and didots) read "a<list separator>b".
    double secondRatio = 0.0;
    if (field.GetCount() == 2 && (unit == 3 || unit == 12)) {
        WUntiDef* second = field.GetDefinition(1);
        secondRatio = second->ToMetres(1.0, 1e-7) / first->ToMetres(1.0, 1e-7);
    }
    WUnitParser parser(text, units, kind, secondRatio, flags, mode);
    return parser.GetValue(value); // on failure value is the parser's 0.0
}

double WUnit::GetResolution() {
    return m_dScreenResolution;
}

double WUnit::SetResolution(double resolution) {
    m_dScreenResolution = resolution;
    return resolution;
}
