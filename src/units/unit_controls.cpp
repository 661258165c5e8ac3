// Unit combo boxes and value fields of the host's dialogs, through the host's adapter.
#include <tlvutl/frame.h>
#include <tlvutl/locale.h>
#include <tlvutl/units.h>

#include "units_internal.h"

#include <cmath>
#include <cwctype>
#include <string>

namespace {

// The "custom" entry's text in unit lists.
constexpr UINT kCustomText = 19741;

// The field's number as typed in the unit: thousands separators dropped, the locale's
// decimal separator read as the point; picas and points (ciceros and didots) as two numbers
// around the list separator.
bool ParseField(int unit, const CString& text, double& value) {
    const tlv::units::UnitLocale* locale = tlv::units::GetUnitLocale();
    if (!locale)
        return false;
    std::wstring s = text.str();
    const bool twoParts = unit == 3 || unit == 12;
    std::wstring second;
    if (twoParts && !locale->listSeparator.empty()) {
        const std::size_t at = s.find(locale->listSeparator);
        if (at != std::wstring::npos) {
            second = s.substr(at + locale->listSeparator.size());
            s.resize(at);
        }
    }
    auto normalise = [&](std::wstring t) {
        const std::wstring& thousand = locale->thousandSeparator;
        if (!thousand.empty() && thousand[0] != locale->decimalSeparator[0])
            for (std::size_t at; (at = t.find(thousand)) != std::wstring::npos;)
                t.erase(at, thousand.size());
        if (!locale->decimalSeparator.empty() && locale->decimalSeparator != L".")
            for (std::size_t at; (at = t.find(locale->decimalSeparator)) != std::wstring::npos;)
                t.replace(at, locale->decimalSeparator.size(), L".");
        if (!locale->negativeSign.empty() && locale->negativeSign != L"-")
            for (std::size_t at; (at = t.find(locale->negativeSign)) != std::wstring::npos;)
                t.replace(at, locale->negativeSign.size(), L"-");
        return t;
    };
    s = normalise(s);
    const wchar_t* end = nullptr;
    double v = tlv::units::ReadDouble(s.c_str(), &end);
    if (end == s.c_str())
        return false;
    if (twoParts && !second.empty()) {
        const std::wstring t = normalise(second);
        const double small = tlv::units::ReadDouble(t.c_str());
        WUnitCollection& display = WUnit::GetDefaultWUnit().GetDisplay(unit);
        const double extra = display.GetDefinition(0)->FromMetres(
            display.GetDefinition(1)->ToMetres(small, 1e-7), 1e-7);
        v = v < 0 || s.find(L'-') != std::wstring::npos ? v - extra : v + extra;
    }
    value = v;
    return true;
}

} // namespace

namespace TlvUtl {

UnitDialog::~UnitDialog() = default;
CustomUnitEditor::~CustomUnitEditor() = default;

void InMemoryUnitDialog::ResetCombo(int control) {
    combos_[control] = Combo{};
}

void InMemoryUnitDialog::AddComboItem(int control, const CString& text) {
    combos_[control].items.push_back(text);
}

int InMemoryUnitDialog::GetComboSelection(int control) {
    return combos_[control].selection;
}

int InMemoryUnitDialog::SetComboSelection(int control, int index) {
    Combo& c = combos_[control];
    if (index < 0 || index >= static_cast<int>(c.items.size())) {
        c.selection = -1;
        return -1;
    }
    c.selection = index;
    return index;
}

CString InMemoryUnitDialog::GetFieldText(int control) {
    return fields_[control];
}

void InMemoryUnitDialog::SetFieldText(int control, const CString& text) {
    fields_[control] = text;
}

bool ScriptedCustomUnitEditor::Edit(UNIT_CUSTOM_RECORD& record, double) {
    seen_ = record;
    if (!accept_)
        return false;
    record = answer_;
    return true;
}

} // namespace TlvUtl

int UNITGetCurrentUnit(TlvUtl::UnitDialog* dialog, int control) {
    if (!dialog)
        return 0;
    const int i = dialog->GetComboSelection(control);
    if (i < 0)
        return 0;
    if (i <= 5)
        return i + 1;
    return i == 6 ? 12 : 13;
}

int UNITSetCurrentUnit(TlvUtl::UnitDialog* dialog, int control, int unit) {
    if (!dialog)
        return -1;
    return dialog->SetComboSelection(control, unit < 7 ? unit - 1 : unit - 6);
}

void UNITFillUnitControl(TlvUtl::UnitDialog* dialog, int control) {
    if (!dialog)
        return;
    dialog->ResetCombo(control);
    for (const int* u = UNITGetUnitArray(); *u >= 0; ++u)
        dialog->AddComboItem(control, *u == UNIT_CUSTOM_ENTRY ? UTLLoadStringEx(kCustomText)
                                                              : UNITGetUnitAsString(*u, 2));
}

double UNITGetUnitControlValue(TlvUtl::UnitDialog* dialog, int control, int unit) {
    if (!dialog)
        return 0.0;
    double v = 0.0;
    const CString text = dialog->GetFieldText(control);
    // An expression with units ("2*3in") first; plain locale number text (with thousands
    // separators, or in a custom unit the registry does not hold) second.
    WUnit& registry = WUnit::GetDefaultWUnit();
    const bool parsed =
        registry.FindDisplay(unit) && registry.StringToValue(unit, text, v, WEQ_ALL, DRG_DEG);
    if (!parsed && !ParseField(unit, text, v))
        return 0.0;
    return UNITConvertUnitToBase(unit, v, 0.0);
}

void UNITSetUnitControlValue(TlvUtl::UnitDialog* dialog, int control, int unit, double value) {
    if (dialog)
        dialog->SetFieldText(control, UNITConvToUnitAndString(value, unit, 0.0, 0));
}
