// The text forms of typed values in XML: how each type is written, and the exact rules by
// which text reads as a value (or as no value). Settings written by any build of the suite
// must read back the same in any other, whatever the process's locale.
#ifndef TLVUTL_XML_VALUE_TEXT_H
#define TLVUTL_XML_VALUE_TEXT_H

#include <tlvutl/cstring.h>
#include <tlvutl/geometry.h>

#include <optional>
#include <string_view>

namespace TlvUtl::xml_detail {

std::optional<bool> ReadBool(std::wstring_view text);
std::optional<int> ReadInt(std::wstring_view text);
std::optional<__int64> ReadInt64(std::wstring_view text);
std::optional<double> ReadDouble(std::wstring_view text);
std::optional<CPoint> ReadPoint(std::wstring_view text);
std::optional<CRect> ReadRect(std::wstring_view text);

CString WriteBool(bool value);
CString WriteInt(int value);
CString WriteInt64(__int64 value);
CString WriteDouble(double value);
CString WritePoint(LONG x, LONG y);
CString WriteRect(const CRect& value);

} // namespace TlvUtl::xml_detail

#endif
