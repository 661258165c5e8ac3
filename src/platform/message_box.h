// The system's own message box and alert sound, where the system has them. Windows shows a
// modal box and plays the alert; POSIX systems have neither here and report that, so the
// caller falls back to console lines.
#ifndef TLVUTL_PLATFORM_MESSAGE_BOX_H
#define TLVUTL_PLATFORM_MESSAGE_BOX_H

#include <string>

namespace tlv::platform {

// True when ShowMessageBox shows a real box (Windows).
bool HasSystemMessageBox();
// Shows a modal box owned by owner (a window handle or null) with the given style flags and
// returns the button the user chose; 0 when the box could not be shown (and on POSIX).
int ShowMessageBox(void* owner, const std::wstring& text, const std::wstring& caption,
                   unsigned style);
// Plays the alert sound of the given box style (an MB_ICON* value, or MB_OK).
void PlayAlert(unsigned type);

} // namespace tlv::platform

#endif
