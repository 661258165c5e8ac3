#include "message_box.h"

#include <windows.h>

namespace tlv::platform {

bool HasSystemMessageBox() {
    return true;
}

int ShowMessageBox(void* owner, const std::wstring& text, const std::wstring& caption,
                   unsigned style) {
    return ::MessageBoxW(static_cast<HWND>(owner), text.c_str(), caption.c_str(), style);
}

void PlayAlert(unsigned type) {
    ::MessageBeep(type);
}

} // namespace tlv::platform
