// Pieces the unit sources share and the tests reach; not part of the interface.
#ifndef TLVUTL_UNITS_INTERNAL_H
#define TLVUTL_UNITS_INTERNAL_H

#include <tlvutl/units.h>

#include <string>
#include <vector>

namespace tlv::units {

// The first character of the user's decimal separator, cached per locale identifier: the
// displays ask for it on every value they format.
wchar_t LocaleDecimalChar();

// The C library's wcstod and wcstol as the C locale reads them, whatever the process's
// locale: leading blanks, an optional sign, then as much of a number as there is. end
// (optional) receives the position after the number, text itself when there is none.
double ReadDouble(const wchar_t* text, const wchar_t** end = nullptr);
long ReadLong(const wchar_t* text);

// Fixed-point text of value with the given decimals ("%0.Nf" of the MSVC printer).
void AppendFixed(CString& out, double value, int decimals);

// The locale strings of the UNIT functions, read by UNITInitialize.
struct UnitLocale {
    std::wstring listSeparator;
    std::wstring decimalSeparator;
    std::wstring thousandSeparator;
    std::wstring negativeSign;
    bool leadingZero = true;
};
// The strings after UNITInitialize; null when they cannot be read.
const UnitLocale* GetUnitLocale();
// Reads them again (the regional format object calls this when the locale changes).
void RereadUnitLocale();

// Custom units. Unit 42 + i is the i-th loaded record.
int CustomCount();
const UNIT_CUSTOM_RECORD* CustomRecord(int unit);
bool IsLoadedCustom(int unit);

// Conversions of the UNIT functions without the fatal-error report: false for an unknown
// unit.
bool TryBaseToUnit(int unit, double value, double resolution, double& out);
bool TryUnitToBase(int unit, double value, double resolution, double& out);

// One ini line of a custom unit: false when it is malformed (fewer than five fields, a size
// of 0 or not finite, an unknown reference unit).
bool ParseCustomUnitLine(const wchar_t* line, UNIT_CUSTOM_RECORD& record);
CString FormatCustomUnitLine(const UNIT_CUSTOM_RECORD& record);

// Forgets the cached answer of UNITIsMetric (tests).
void ResetMetricCache();

} // namespace tlv::units

#endif
