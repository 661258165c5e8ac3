// The user's regional settings as the operating system keeps them.
#ifndef TLVUTL_PLATFORM_USER_LOCALE_H
#define TLVUTL_PLATFORM_USER_LOCALE_H

#include <tlvutl/locale.h>

#include <string>

namespace tlv::platform {

// Name of the user's locale for numbers ("de_DE.UTF-8"), or empty for the C locale.
std::wstring UserLocaleName();
// Name of the user's locale for the measurement system.
std::wstring UserMeasurementLocaleName();
// Name of the user's locale for interface messages.
std::wstring UserMessagesLocaleName();

// Reads a named locale's numeric conventions, measurement system and territory; Windows
// defaults fill what the system does not keep. False when the locale is not installed.
bool ReadLocale(const std::wstring& name, TlvUtl::LocaleSettings& out);
// What ReadLocale answers for the C locale, which keeps no regional conventions: the
// settings of a U.S. English user.
TlvUtl::LocaleSettings CLocaleSettings();
// The measurement system of a named locale: 0 metric, 1 U.S., -1 unknown.
int ReadMeasurement(const std::wstring& name);

} // namespace tlv::platform

#endif
