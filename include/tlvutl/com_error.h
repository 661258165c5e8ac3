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

class TLVUTL_API ComError : public std::exception {
public:
    explicit ComError(HRESULT hr, CString message = CString());
    HRESULT Error() const noexcept { return hr_; }
    const CString& Description() const noexcept { return message_; }
    const char* what() const noexcept override { return utf8_.c_str(); }

private:
    HRESULT hr_;
    CString message_;
    std::string utf8_;
};

#endif
