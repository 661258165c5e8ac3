// Lets the unit functions re-read their locale strings when the regional format object
// notices that the user's locale changed.
#ifndef TLVUTL_UNITS_LOCALE_REFRESH_H
#define TLVUTL_UNITS_LOCALE_REFRESH_H

namespace tlv::units {
void AddLocaleRefreshListener(void (*listener)());
}

#endif
