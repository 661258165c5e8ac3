// The default destination of user-facing messages when the host installs none: the
// process's error stream (a console line per message).
#ifndef TLVUTL_PLATFORM_CONSOLE_H
#define TLVUTL_PLATFORM_CONSOLE_H

#include <string>

namespace tlv::platform {

void WriteErrorLine(const std::wstring& line);
void SoundBeep();
// Value of an environment variable, or empty when unset.
std::wstring GetEnvironment(const char* name);
bool HasEnvironment(const char* name);

} // namespace tlv::platform

#endif
