#include <tlvutl/com_error.h>

namespace {

CString DefaultMessage(HRESULT hr) {
    CString m;
    m.Format(L"HRESULT 0x%08X", static_cast<unsigned>(hr));
    return m;
}

} // namespace

ComError::ComError(HRESULT hr, CString message)
    : hr_(hr), message_(message.IsEmpty() ? DefaultMessage(hr) : std::move(message)),
      utf8_(message_.ToUtf8()) {}
