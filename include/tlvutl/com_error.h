// ComError: the exception the library throws where a COM-based call would fail with an
// HRESULT (the XML layer, stream and property-store interfaces). Carries the HRESULT and a
// human-readable message; what() gives the message in UTF-8.
#ifndef TLVUTL_COM_ERROR_H
#define TLVUTL_COM_ERROR_H

#include <tlvutl/cstring.h>
#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

#include <exception>
#include <string>

// An error of a COM-style call: its HRESULT and a message.
class TLVUTL_API ComError : public std::exception {
public:
    // hr with message (empty when the call gave none).
    explicit ComError(HRESULT hr, CString message = CString());
    // The HRESULT.
    HRESULT Error() const noexcept { return hr_; }
    // The message as given.
    const CString& Description() const noexcept { return message_; }
    // The message in UTF-8, valid as long as the exception.
    const char* what() const noexcept override { return utf8_.c_str(); }

private:
    HRESULT hr_;
    CString message_;
    std::string utf8_;
};

#endif
