// WXmlValueAccessor: the typed text of a node or of one of its attributes.
#include "base64.h"
#include "doc_state.h"
#include "tree_edit.h"
#include "value_text.h"
#include "xml_runtime.h"

#include <cstring>
#include <cwchar>

using namespace TlvUtl::xml_detail;

namespace {

constexpr char kDataTypesNamespace[] = "urn:schemas-microsoft-com:datatypes";
constexpr char kBase64Type[] = "bin.base64";

[[noreturn]] void NotFound(const wchar_t* typeWord) {
    throw WXmlValueTypeNotFoundException(typeWord);
}

// Hands the text of target to read as a wide string view. Short ASCII text (every number
// and flag a settings file holds) is widened on the stack, so a typed read allocates nothing.
template <class F> auto WithText(xmlNodePtr target, F&& read) {
    if (const xmlChar* direct = DirectText(target)) {
        wchar_t buffer[64];
        std::size_t n = 0;
        while (n < sizeof buffer / sizeof buffer[0] && direct[n] && direct[n] < 0x80) {
            buffer[n] = static_cast<wchar_t>(direct[n]);
            ++n;
        }
        if (n < sizeof buffer / sizeof buffer[0] && !direct[n])
            return read(std::wstring_view(buffer, n));
        return read(FromXml(direct).view());
    }
    return read(FromXml(NodeText(target)).view());
}

bool HasBase64Type(xmlNodePtr element) {
    xmlChar* type = xmlGetNsProp(element, BAD_CAST "dt", BAD_CAST kDataTypesNamespace);
    const bool typed = type && std::strcmp(reinterpret_cast<const char*>(type), kBase64Type) == 0;
    xmlFree(type);
    return typed;
}

// Marks the element's text as bin.base64 as the Windows parser does, declaring the data
// types namespace on the element unless it is already in scope.
void SetBase64Type(xmlNodePtr element) {
    xmlNsPtr ns = xmlSearchNsByHref(element->doc, element, BAD_CAST kDataTypesNamespace);
    for (int i = 0; !ns; ++i) {
        const std::string prefix = i == 0 ? "dt" : "dt" + std::to_string(i);
        if (!xmlSearchNs(element->doc, element, BAD_CAST prefix.c_str()))
            ns = xmlNewNs(element, BAD_CAST kDataTypesNamespace, BAD_CAST prefix.c_str());
    }
    if (!xmlSetNsProp(element, ns, BAD_CAST "dt", BAD_CAST kBase64Type))
        ThrowComError(E_OUTOFMEMORY, "cannot type the element's value");
}

} // namespace

WXmlValueTypeNotFoundException::WXmlValueTypeNotFoundException(const CString& message)
    : message_(message) {}
WXmlValueTypeNotFoundException::WXmlValueTypeNotFoundException(
    const WXmlValueTypeNotFoundException& other) = default;
WXmlValueTypeNotFoundException&
WXmlValueTypeNotFoundException::operator=(const WXmlValueTypeNotFoundException& other) = default;
WXmlValueTypeNotFoundException::~WXmlValueTypeNotFoundException() = default;

const CString& WXmlValueTypeNotFoundException::GetMessage() const {
    return message_;
}

WXmlValueAccessor::WXmlValueAccessor(const WXmlNodePtr& node, const wchar_t* selector)
    : node_(node), ownText_(selector && std::wcscmp(selector, L".") == 0),
      attribute_(ownText_ || !selector || !*selector ? std::string() : ToXml(selector + 1)) {}
WXmlValueAccessor::WXmlValueAccessor(const WXmlValueAccessor& other) = default;
WXmlValueAccessor& WXmlValueAccessor::operator=(const WXmlValueAccessor& other) = default;
WXmlValueAccessor::~WXmlValueAccessor() = default;

namespace {

// attribute is the selector without its first character, whatever that is.
xmlNodePtr ReadTarget(const WXmlNodePtr& node, bool ownText, const std::string& attribute) {
    if (!node)
        return nullptr;
    if (ownText)
        return node->node;
    return reinterpret_cast<xmlNodePtr>(FindAttribute(node->node, attribute));
}

// Sets the text of the target, creating the attribute when it is missing.
void WriteText(const WXmlNodePtr& node, bool ownText, const std::string& attribute,
               const CString& text, const wchar_t* typeWord) {
    if (!node)
        NotFound(typeWord);
    CheckXmlText(text.view());
    if (ownText) {
        SetNodeText(*node->owner, node->node, ToXml(text.view()));
        return;
    }
    if (node->node->type != XML_ELEMENT_NODE)
        NotFound(typeWord);
    SetAttribute(node->node, attribute, ToXml(text.view()));
}

template <class T, class Reader>
TlvUtils::optional<T> ReadAs(const WXmlNodePtr& node, bool ownText, const std::string& attribute,
                             Reader reader) {
    xmlNodePtr target = ReadTarget(node, ownText, attribute);
    if (!target)
        return {};
    return WithText(target, [&](std::wstring_view text) -> TlvUtils::optional<T> {
        if (auto v = reader(text))
            return T(*v);
        return {};
    });
}

} // namespace

bool WXmlValueAccessor::Exists() const {
    return ReadTarget(node_, ownText_, attribute_) != nullptr;
}

bool WXmlValueAccessor::IsEmpty() const {
    xmlNodePtr target = ReadTarget(node_, ownText_, attribute_);
    return !target || WithText(target, [](std::wstring_view t) { return t.empty(); });
}

void WXmlValueAccessor::Clear() {
    if (xmlNodePtr target = ReadTarget(node_, ownText_, attribute_))
        SetNodeText(*node_->owner, target, std::string());
}

void WXmlValueAccessor::Delete() {
    if (!node_ || ownText_)
        return;
    if (xmlAttrPtr a = FindAttribute(node_->node, attribute_))
        node_->owner->Detach(reinterpret_cast<xmlNodePtr>(a));
}

template <> TlvUtils::optional<bool> WXmlValueAccessor::Get<bool>() const {
    return ReadAs<bool>(node_, ownText_, attribute_, ReadBool);
}
template <> TlvUtils::optional<int> WXmlValueAccessor::Get<int>() const {
    return ReadAs<int>(node_, ownText_, attribute_, ReadInt);
}
template <> TlvUtils::optional<__int64> WXmlValueAccessor::Get<__int64>() const {
    return ReadAs<__int64>(node_, ownText_, attribute_, ReadInt64);
}
template <> TlvUtils::optional<double> WXmlValueAccessor::Get<double>() const {
    return ReadAs<double>(node_, ownText_, attribute_, ReadDouble);
}
template <> TlvUtils::optional<CString> WXmlValueAccessor::Get<CString>() const {
    return ReadAs<CString>(node_, ownText_, attribute_,
                           [](std::wstring_view t) { return std::optional<CString>(CString(t)); });
}
template <> TlvUtils::optional<CPoint> WXmlValueAccessor::Get<CPoint>() const {
    return ReadAs<CPoint>(node_, ownText_, attribute_, ReadPoint);
}
template <> TlvUtils::optional<CSize> WXmlValueAccessor::Get<CSize>() const {
    return ReadAs<CSize>(node_, ownText_, attribute_,
                         [](std::wstring_view t) -> std::optional<CSize> {
                             if (auto p = ReadPoint(t))
                                 return CSize(p->x, p->y);
                             return std::nullopt;
                         });
}
template <> TlvUtils::optional<CRect> WXmlValueAccessor::Get<CRect>() const {
    return ReadAs<CRect>(node_, ownText_, attribute_, ReadRect);
}

bool WXmlValueAccessor::GetBool(bool d) const {
    return Get<bool>().ValueOr(d);
}
int WXmlValueAccessor::GetInt(int d) const {
    return Get<int>().ValueOr(d);
}
__int64 WXmlValueAccessor::GetIntPtr(__int64 d) const {
    return Get<__int64>().ValueOr(d);
}
double WXmlValueAccessor::GetDouble(double d) const {
    return Get<double>().ValueOr(d);
}
CString WXmlValueAccessor::GetString(const wchar_t* d) const {
    auto v = Get<CString>();
    return v ? *v : CString(d);
}
CPoint WXmlValueAccessor::GetPoint(CPoint d) const {
    return Get<CPoint>().ValueOr(d);
}
CSize WXmlValueAccessor::GetSize(CSize d) const {
    return Get<CSize>().ValueOr(d);
}
CRect WXmlValueAccessor::GetRect(CRect d) const {
    return Get<CRect>().ValueOr(d);
}

namespace {

template <class T> T ValueOrThrow(const TlvUtils::optional<T>& v, const wchar_t* typeWord) {
    if (!v)
        NotFound(typeWord);
    return *v;
}

} // namespace

bool WXmlValueAccessor::GetBool_throws() const {
    return ValueOrThrow(Get<bool>(), L"bool");
}
int WXmlValueAccessor::GetInt_throws() const {
    return ValueOrThrow(Get<int>(), L"int");
}
__int64 WXmlValueAccessor::GetIntPtr_throws() const {
    return ValueOrThrow(Get<__int64>(), L"intptr");
}
double WXmlValueAccessor::GetDouble_throws() const {
    return ValueOrThrow(Get<double>(), L"double");
}
CString WXmlValueAccessor::GetString_throws() const {
    return ValueOrThrow(Get<CString>(), L"string");
}
// Points and sizes report "rect", as rectangles do.
CPoint WXmlValueAccessor::GetPoint_throws() const {
    return ValueOrThrow(Get<CPoint>(), L"rect");
}
CSize WXmlValueAccessor::GetSize_throws() const {
    return ValueOrThrow(Get<CSize>(), L"rect");
}
CRect WXmlValueAccessor::GetRect_throws() const {
    return ValueOrThrow(Get<CRect>(), L"rect");
}

void WXmlValueAccessor::SetBool(bool value) {
    WriteText(node_, ownText_, attribute_, WriteBool(value), L"bool");
}
void WXmlValueAccessor::SetInt(int value) {
    WriteText(node_, ownText_, attribute_, WriteInt(value), L"int");
}
void WXmlValueAccessor::SetIntPtr(__int64 value) {
    WriteText(node_, ownText_, attribute_, WriteInt64(value), L"intptr");
}
void WXmlValueAccessor::SetDouble(double value) {
    WriteText(node_, ownText_, attribute_, WriteDouble(value), L"double");
}
void WXmlValueAccessor::SetString(const wchar_t* value) {
    WriteText(node_, ownText_, attribute_, CString(value), L"string");
}
void WXmlValueAccessor::SetPoint(CPoint value) {
    WriteText(node_, ownText_, attribute_, WritePoint(value.x, value.y), L"rect");
}
void WXmlValueAccessor::SetSize(CSize value) {
    WriteText(node_, ownText_, attribute_, WritePoint(value.cx, value.cy), L"rect");
}
void WXmlValueAccessor::SetRect(CRect value) {
    WriteText(node_, ownText_, attribute_, WriteRect(value), L"rect");
}

void WXmlValueAccessor::SetBool(bool value, bool d) {
    value == d ? Clear() : SetBool(value);
}
void WXmlValueAccessor::SetInt(int value, int d) {
    value == d ? Clear() : SetInt(value);
}
void WXmlValueAccessor::SetIntPtr(__int64 value, __int64 d) {
    value == d ? Clear() : SetIntPtr(value);
}
void WXmlValueAccessor::SetDouble(double value, double d) {
    value == d ? Clear() : SetDouble(value);
}
void WXmlValueAccessor::SetString(const wchar_t* value, const wchar_t* d) {
    CString(value) == CString(d) ? Clear() : SetString(value);
}
void WXmlValueAccessor::SetPoint(CPoint value, CPoint d) {
    value == d ? Clear() : SetPoint(value);
}
void WXmlValueAccessor::SetSize(CSize value, CSize d) {
    value == d ? Clear() : SetSize(value);
}
void WXmlValueAccessor::SetRect(CRect value, CRect d) {
    value == d ? Clear() : SetRect(value);
}

void WXmlValueAccessor::SetBinary(const unsigned char* data, unsigned long size) {
    if (!data)
        size = 0;
    const std::string text = EncodeBase64(data, size);
    WriteText(node_, ownText_, attribute_, FromXml(text), L"binary");
    xmlNodePtr target = ReadTarget(node_, ownText_, attribute_);
    if (target && target->type == XML_ELEMENT_NODE)
        SetBase64Type(target);
}

unsigned long WXmlValueAccessor::GetBinary(unsigned char* buffer, unsigned long size) const {
    xmlNodePtr target = ReadTarget(node_, ownText_, attribute_);
    if (!target)
        return 0;
    if (target->type == XML_ELEMENT_NODE && !HasBase64Type(target))
        return 0; // untyped text is a string, not bytes
    std::vector<unsigned char> bytes;
    if (!DecodeBase64(NodeText(target), bytes))
        ThrowComError(E_FAIL, "the value is not base64 text");
    if (!buffer)
        return static_cast<unsigned long>(bytes.size());
    const unsigned long n = std::min<unsigned long>(size, static_cast<unsigned long>(bytes.size()));
    if (n)
        std::memcpy(buffer, bytes.data(), n);
    return n;
}
