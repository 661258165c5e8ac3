// The user's interface language as the operating system reports it.
#ifndef TLVUTL_PLATFORM_USER_LANGUAGE_H
#define TLVUTL_PLATFORM_USER_LANGUAGE_H

#include <string>
#include <vector>

namespace tlv::platform {

// Candidate language folder names, most specific first ("pt_BR", "pt"); empty when the
// user runs the C/POSIX locale.
std::vector<std::wstring> UserUILanguages();

} // namespace tlv::platform

#endif
