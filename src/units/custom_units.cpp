// Custom units: the user's own units, kept in the "Custom Unit(s)" section of the common ini
// file and registered on a registry of their own, the custom unit manager.
#include <tlvutl/folders.h>
#include <tlvutl/messages.h>
#include <tlvutl/units.h>

#include "units_internal.h"

#include <algorithm>
#include <cmath>
#include <cwchar>
#include <memory>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int kBuiltInUnits[] = {1, 2, 3, 4, 6, 12, 13, 7, 16, 8, 5, 9, 10, 37, 38};
constexpr int kBuiltInCount = 15;
// Reference units whose sizes are taken as the factor as they stand: base units, angles and
// percent have no length in metres.
constexpr int kFactorAsIs[] = {0, 11, 17, 22, 23, 39};
constexpr DWORD kLineCapacity = 1024;

struct CustomUnit {
    UNIT_CUSTOM_RECORD record;
    int key; // the "CustomUnit%d" index it was read from or will be written to
};

struct CustomState {
    int useCount = 0;
    int maximum = 32;
    std::vector<CustomUnit> units;
    std::vector<int> deletedKeys; // keys of deleted units, removed from the file on saving
    std::vector<int> unitList;    // UNITGetUnitArray
    std::unique_ptr<WUnit> manager;
};

CustomState& State() {
    static CustomState state;
    return state;
}

void BuildUnitList() {
    CustomState& s = State();
    std::vector<int> list(kBuiltInUnits, kBuiltInUnits + kBuiltInCount);
    list.push_back(UNIT_CUSTOM_ENTRY);
    const int count = std::min(static_cast<int>(s.units.size()), std::max(s.maximum, 0));
    for (int i = 0; i < count; ++i)
        list.push_back(UNIT_FIRST_CUSTOM + i);
    list.push_back(-1);
    s.unitList = std::move(list);
}

// Copies at most width characters; a field of blanks only is empty (earlier versions wrote
// empty fields as one blank).
void CopyField(wchar_t* out, std::size_t width, const std::wstring& field) {
    std::wstring f = field;
    if (f.find_first_not_of(L" \t") == std::wstring::npos)
        f.clear();
    if (f.size() > width)
        f.resize(width);
    std::wmemcpy(out, f.c_str(), f.size() + 1);
}

bool KnownReferenceUnit(int unit) {
    if (unit == UNIT_CUSTOM_ENTRY || unit >= UNIT_FIRST_CUSTOM || unit < 0)
        return false;
    return WUnit::GetDefaultWUnit().FindDisplay(unit) != nullptr;
}

// manager: the custom unit manager being built, which already holds the records before r,
// so that a record may be counted in an earlier custom unit.
double FactorOf(const UNIT_CUSTOM_RECORD& r, WUnit& manager) {
    if (std::find(std::begin(kFactorAsIs), std::end(kFactorAsIs), r.referenceUnit) !=
        std::end(kFactorAsIs))
        return r.size;
    if (r.referenceUnit >= UNIT_FIRST_CUSTOM && manager.FindDisplay(r.referenceUnit))
        return manager.ConvertFromUnitTo10thMicron(r.referenceUnit, r.size, -1.0) / 10000.0 /
               1000.0;
    // An unknown reference unit is reported here and gives the factor 0.
    return UNITConvertUnitToBase(r.referenceUnit, r.size, 0.0) / 10000.0 / 1000.0;
}

void Register(WUnit& manager, const UNIT_CUSTOM_RECORD& r) {
    const CRuntimeClass* cls =
        r.symbol[0] ? RUNTIME_CLASS(WUnitWithSymbol) : RUNTIME_CLASS(WUntiDef);
    const int definition = manager.AddUnitDefinition(
        cls, r.decimals, r.increments[0], r.increments[1], r.increments[2], CString(r.name1),
        CString(r.name2), CString(r.name3), CString(r.symbol), FactorOf(r, manager));
    manager.AddUnitDisplay(RUNTIME_CLASS(WUnitCollection), &definition, 1, 0, -1);
}

// The manager holds the built-in displays and then the custom units, so that unit 42 + i is
// the i-th record; it is rebuilt whenever records go away.
void RebuildManager() {
    CustomState& s = State();
    auto manager = std::make_unique<WUnit>();
    manager->LoadDefaults(nullptr, -1);
    for (const CustomUnit& u : s.units)
        Register(*manager, u.record);
    s.manager = std::move(manager);
    BuildUnitList();
}

int LoadFromIni() {
    CustomState& s = State();
    s.units.clear();
    s.deletedKeys.clear();
    s.maximum = std::clamp(INIGetMaxNoOfCustomUnit(), 0, 4096);
    std::vector<wchar_t> line(kLineCapacity);
    for (int key = 0; key < s.maximum; ++key) {
        if (INIGetCustomUnit(key, line.data(), kLineCapacity) == 0)
            continue;
        CustomUnit unit{};
        unit.key = key;
        if (!tlv::units::ParseCustomUnitLine(line.data(), unit.record))
            continue; // left in the file as it is
        s.units.push_back(unit);
    }
    return 1;
}

// A key no record uses and the file does not hold, for a new record.
int FreeKey() {
    CustomState& s = State();
    std::set<int> used;
    for (const CustomUnit& u : s.units)
        used.insert(u.key);
    wchar_t probe[4];
    for (int key = 0; key < s.maximum; ++key) {
        if (used.count(key))
            continue;
        const bool deleted =
            std::find(s.deletedKeys.begin(), s.deletedKeys.end(), key) != s.deletedKeys.end();
        if (deleted || INIGetCustomUnit(key, probe, 4) == 0)
            return key;
    }
    return -1;
}

bool ValidNames(const UNIT_CUSTOM_RECORD& r) {
    for (const wchar_t* name : {r.name1, r.name2, r.name3, r.symbol})
        if (std::wcschr(name, L','))
            return false;
    return true;
}

std::vector<std::wstring> Tokens(const wchar_t* line) {
    // As wcstok splits: runs of commas are one delimiter, so empty fields vanish.
    std::vector<std::wstring> out;
    const wchar_t* p = line;
    while (*p) {
        while (*p == L',')
            ++p;
        if (!*p)
            break;
        const wchar_t* start = p;
        while (*p && *p != L',')
            ++p;
        out.emplace_back(start, p);
    }
    return out;
}

} // namespace

namespace tlv::units {

bool ParseCustomUnitLine(const wchar_t* line, UNIT_CUSTOM_RECORD& record) {
    if (!line)
        return false;
    const std::vector<std::wstring> t = Tokens(line);
    if (t.size() < 5)
        return false;
    UNIT_CUSTOM_RECORD r{};
    CopyField(r.name1, 20, t[0]);
    CopyField(r.name2, 22, t[1]);
    CopyField(r.name3, 20, t[2]);
    CopyField(r.symbol, 20, t[3]);
    r.size = ReadDouble(t[4].c_str());
    r.referenceUnit = t.size() > 5 ? static_cast<int>(ReadLong(t[5].c_str())) : 1;
    // Missing steps are those of a new unit.
    const double steps[3] = {0.1, 0.2, 0.5};
    for (int i = 0; i < 3; ++i)
        r.increments[i] = t.size() > static_cast<std::size_t>(6 + i)
                              ? ReadDouble(t[static_cast<std::size_t>(6 + i)].c_str())
                              : steps[i];
    r.decimals = t.size() > 9 ? static_cast<int>(ReadLong(t[9].c_str())) : 0;
    r.decimals = std::clamp(r.decimals, 0, 20);
    // Only a record of size 0 (or none: fewer than five fields) is skipped; one that names a
    // reference unit that does not exist is kept, listed and written back as it was read.
    if (r.size == 0)
        return false;
    record = r;
    return true;
}

CString FormatCustomUnitLine(const UNIT_CUSTOM_RECORD& r) {
    // Empty names are written empty, as the format has always been written, although the
    // reader's tokenizer then skips them and the later fields move up.
    CString line;
    line.Format(L"%s,%s,%s,%s,%f,%d,%f,%f,%f,%d", r.name1, r.name2, r.name3, r.symbol, r.size,
                r.referenceUnit, r.increments[0], r.increments[1], r.increments[2], r.decimals);
    return line;
}

int CustomCount() {
    return static_cast<int>(State().units.size());
}

const UNIT_CUSTOM_RECORD* CustomRecord(int unit) {
    CustomState& s = State();
    const int i = unit - UNIT_FIRST_CUSTOM;
    if (i < 0 || i >= static_cast<int>(s.units.size()))
        return nullptr;
    return &s.units[static_cast<std::size_t>(i)].record;
}

bool IsLoadedCustom(int unit) {
    return CustomRecord(unit) != nullptr;
}

} // namespace tlv::units

int UNITCustomInitialize(void) {
    CustomState& s = State();
    if (s.useCount++ > 0)
        return 1;
    try {
        LoadFromIni();
        RebuildManager();
    } catch (const std::bad_alloc&) {
        TlvUtl::OutputDebugText(L"_ENGDEBUG : Mem allocation in UNITInitialize failed!");
        s.units.clear();
        s.manager.reset();
        return 0;
    }
    return 1;
}

int UNITCustomUnInitialize(void) {
    CustomState& s = State();
    if (s.useCount == 0)
        return 1;
    if (--s.useCount > 0)
        return 1;
    UNITConfigSaveCustomUnitOptions();
    s.manager.reset();
    s.units.clear();
    s.deletedKeys.clear();
    BuildUnitList();
    return 1;
}

WUnit* UNITGetCustomUnitManager() {
    return State().manager.get();
}

int UNITConfigLoadCustomUnitOptions(void) {
    try {
        LoadFromIni();
        if (State().manager)
            RebuildManager();
        else
            BuildUnitList();
    } catch (const std::bad_alloc&) {
        TlvUtl::OutputDebugText(
            L"_ENGDEBUG : UNIT : memory allocation failed for custom unit data!");
        State().units.clear();
        return 0;
    }
    return 1;
}

int UNITConfigSaveCustomUnitOptions(void) {
    CustomState& s = State();
    for (int key : s.deletedKeys)
        INISetCustomUnit(key, nullptr);
    s.deletedKeys.clear();
    int written = 0;
    for (const CustomUnit& u : s.units)
        if (INISetCustomUnit(u.key, tlv::units::FormatCustomUnitLine(u.record)))
            ++written;
    return written;
}

int UNITDeleteCustomUnit(int unit) {
    CustomState& s = State();
    const int i = unit - UNIT_FIRST_CUSTOM;
    if (i < 0 || i >= static_cast<int>(s.units.size()))
        return 0;
    s.deletedKeys.push_back(s.units[static_cast<std::size_t>(i)].key);
    s.units.erase(s.units.begin() + i);
    if (s.manager)
        RebuildManager();
    else
        BuildUnitList();
    return 1;
}

int UNITIsValidCustomUnit(int unit) {
    // One beyond the last loaded unit is accepted too; callers have always relied on it.
    return unit >= UNIT_FIRST_CUSTOM && unit <= UNIT_FIRST_CUSTOM + tlv::units::CustomCount() ? 1
                                                                                              : 0;
}

int UNITCustomUnitMappedUsing(int unit) {
    if (unit >= 1 && unit <= 39)
        return unit;
    if (const UNIT_CUSTOM_RECORD* r = tlv::units::CustomRecord(unit))
        return r->referenceUnit;
    return 0;
}

int UNITGetCustomUnitCount(void) {
    return tlv::units::CustomCount();
}

int UNITGetCustomUnitRecord(int unit, UNIT_CUSTOM_RECORD* record) {
    const UNIT_CUSTOM_RECORD* r = tlv::units::CustomRecord(unit);
    if (!r || !record)
        return 0;
    *record = *r;
    return 1;
}

const int* UNITGetUnitArray(void) {
    CustomState& s = State();
    if (s.unitList.empty())
        BuildUnitList();
    return s.unitList.data();
}

int UNITAddNewCustomUnit(TlvUtl::CustomUnitEditor* editor, double value, int* newUnit) {
    if (!editor)
        return 0;
    UNIT_CUSTOM_RECORD record{};
    record.size = 1.0;
    record.increments[0] = 0.1;
    record.increments[1] = 0.2;
    record.increments[2] = 0.5;
    if (!editor->Edit(record, value))
        return 0;
    // The editor's strings may be unterminated at their full width.
    record.name1[20] = record.name2[22] = record.name3[20] = record.symbol[20] = L'\0';
    record.decimals = std::clamp(record.decimals, 0, 20);
    if (!ValidNames(record) || record.size == 0 || !std::isfinite(record.size) ||
        !KnownReferenceUnit(record.referenceUnit))
        return 0;
    CustomState& s = State();
    const int key = FreeKey();
    if (key < 0)
        return 0;
    s.deletedKeys.erase(std::remove(s.deletedKeys.begin(), s.deletedKeys.end(), key),
                        s.deletedKeys.end());
    s.units.push_back({record, key});
    if (s.manager)
        Register(*s.manager, record);
    BuildUnitList();
    if (newUnit)
        *newUnit = UNIT_FIRST_CUSTOM + static_cast<int>(s.units.size()) - 1;
    return 1;
}
