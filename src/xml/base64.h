// Base64 as the typed "bin.base64" values of XML use it: the standard alphabet with "="
// padding, written on one line, read ignoring white space.
#ifndef TLVUTL_XML_BASE64_H
#define TLVUTL_XML_BASE64_H

#include <string>
#include <string_view>
#include <vector>

namespace TlvUtl::xml_detail {

std::string EncodeBase64(const unsigned char* data, std::size_t size);
// False for a character outside the alphabet, padding in the middle or a length that is not
// a whole number of groups.
bool DecodeBase64(std::string_view text, std::vector<unsigned char>& out);

} // namespace TlvUtl::xml_detail

#endif
