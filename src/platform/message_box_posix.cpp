#include "message_box.h"

namespace tlv::platform {

bool HasSystemMessageBox() {
    return false;
}

int ShowMessageBox(void*, const std::wstring&, const std::wstring&, unsigned) {
    return 0;
}

void PlayAlert(unsigned) {}

} // namespace tlv::platform
