// Property stores: the metadata a host hands to writers such as WXmpDoc, as keyed values.
//
// A PROPERTYKEY is a format GUID and a property number, with the values of the platform's
// property system, so keys read from or passed to a Windows host mean the same thing here.
// PropVariant holds one value of the kinds the metadata writers read: a string, a vector of
// strings, a 16- or 32-bit integer or a file time (100-ns ticks since 1601-01-01 UTC). Its
// To... conversions follow the platform's PropVariantTo... helpers: a scalar string reads as a
// one-item vector, integers convert when they fit, anything else is E_INVALIDARG.
//
// IPropertyStore keeps the platform interface's calls and results (an absent key reads as an
// empty value with S_OK) without its reference counting: stores are shared through
// std::shared_ptr. MemoryPropertyStore keeps its entries in the order they were first set;
// setting an empty value removes the key. Stores are not thread-safe.
#ifndef TLVUTL_PROPERTY_STORE_H
#define TLVUTL_PROPERTY_STORE_H

#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

#include <cstdint>
#include <string>
#ifdef _WIN32
#include <wtypes.h> // PROPERTYKEY, VARTYPE and the VT_ kinds
#endif
#include <utility>
#include <vector>

// The platform's own definitions win where its COM headers came first (the same layout).
#ifndef PROPERTYKEY_DEFINED
#define PROPERTYKEY_DEFINED
// A property key: the property set's format GUID and the property's number in it.
typedef struct _tagpropertykey {
    // The property set.
    GUID fmtid;
    // The property's number in the set.
    DWORD pid;
} PROPERTYKEY;
#endif
#ifndef REFPROPERTYKEY
// How property keys are passed: by const reference.
#define REFPROPERTYKEY const PROPERTYKEY&
#endif

#ifndef IsEqualPropertyKey // the platform's headers may have it as a macro already
// True when both keys have the same format GUID and number.
inline bool IsEqualPropertyKey(REFPROPERTYKEY a, REFPROPERTYKEY b) {
    if (a.pid != b.pid || a.fmtid.Data1 != b.fmtid.Data1 || a.fmtid.Data2 != b.fmtid.Data2 ||
        a.fmtid.Data3 != b.fmtid.Data3)
        return false;
    for (int i = 0; i < 8; ++i)
        if (a.fmtid.Data4[i] != b.fmtid.Data4[i])
            return false;
    return true;
}
#endif

// The keys the metadata writers read, with their canonical names.
// System.Title: the document's title (string).
inline constexpr PROPERTYKEY PKEY_Title = {
    {0xF29F85E0, 0x4FF9, 0x1068, {0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9}}, 2};
// System.Author: the authors (string vector).
inline constexpr PROPERTYKEY PKEY_Author = {
    {0xF29F85E0, 0x4FF9, 0x1068, {0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9}}, 4};
// System.Keywords: the keywords (string vector).
inline constexpr PROPERTYKEY PKEY_Keywords = {
    {0xF29F85E0, 0x4FF9, 0x1068, {0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9}}, 5};
// System.Comment: the description (string).
inline constexpr PROPERTYKEY PKEY_Comment = {
    {0xF29F85E0, 0x4FF9, 0x1068, {0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9}}, 6};
// System.Rating: 0 unrated, 1 to 99 (integer).
inline constexpr PROPERTYKEY PKEY_Rating = {
    {0x64440492, 0x4C8B, 0x11D1, {0x8B, 0x70, 0x08, 0x00, 0x36, 0xB1, 0x1A, 0x03}}, 9};
// System.Copyright: the copyright notice (string).
inline constexpr PROPERTYKEY PKEY_Copyright = {
    {0x64440492, 0x4C8B, 0x11D1, {0x8B, 0x70, 0x08, 0x00, 0x36, 0xB1, 0x1A, 0x03}}, 11};
// System.Photo.DateTaken: when the photo was taken (file time).
inline constexpr PROPERTYKEY PKEY_Photo_DateTaken = {
    {0x14B81DA1, 0x0135, 0x4D31, {0x96, 0xD9, 0x6C, 0xBF, 0xC9, 0x67, 0x1A, 0x99}}, 36867};
// System.DateCreated: when the document was created (file time).
inline constexpr PROPERTYKEY PKEY_DateCreated = {
    {0xB725F130, 0x47EF, 0x101A, {0xA5, 0xF1, 0x02, 0x60, 0x8C, 0x9E, 0xEB, 0xAC}}, 15};

// The value kinds, with the platform's VARTYPE numbers (on Windows, the platform's own).
#ifndef _WIN32
typedef uint16_t VARTYPE;
enum : VARTYPE {
    VT_EMPTY = 0,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_UI2 = 18,
    VT_UI4 = 19,
    VT_LPWSTR = 31,
    VT_FILETIME = 64,
    VT_VECTOR = 0x1000,
};
#endif

// One property value: empty, a string, a vector of strings, a 16- or 32-bit integer (signed or not)
// or a file time. A plain value type.
class TLVUTL_API PropVariant {
public:
    PropVariant() = default;
    // A value of the kind the factory names (VT_LPWSTR, VT_VECTOR | VT_LPWSTR, VT_I2, VT_UI2,
    // VT_I4, VT_UI4, VT_FILETIME).
    // @{
    static PropVariant FromString(std::wstring text);
    static PropVariant FromStringVector(std::vector<std::wstring> items);
    static PropVariant FromInt16(int16_t value);
    static PropVariant FromUInt16(uint16_t value);
    static PropVariant FromInt32(int32_t value);
    static PropVariant FromUInt32(uint32_t value);
    static PropVariant FromFileTime(FILETIME time);
    // @}

    // VT_EMPTY, one of the scalar kinds, or VT_VECTOR | VT_LPWSTR.
    VARTYPE Type() const { return vt_; }
    // True for VT_EMPTY.
    bool IsEmpty() const { return vt_ == VT_EMPTY; }

    // The value as a string (a scalar string only); S_OK, or E_INVALIDARG for other kinds.
    HRESULT ToString(std::wstring& text) const;
    // The value as a vector of strings (a scalar string gives one item); S_OK or E_INVALIDARG.
    HRESULT ToStringVector(std::vector<std::wstring>& items) const;
    // E_INVALIDARG also when the number does not fit.
    HRESULT ToInt16(int16_t& value) const;
    // Any of the integer kinds.
    HRESULT ToInt64(int64_t& value) const;
    // The file time; S_OK, or E_INVALIDARG for other kinds.
    HRESULT ToFileTime(FILETIME& time) const;

    // Equal when of the same kind with the same value.
    bool operator==(const PropVariant& other) const;

private:
    VARTYPE vt_ = VT_EMPTY;
    int64_t number_ = 0; // integers, and file times as ticks
    std::wstring text_;
    std::vector<std::wstring> items_;
};

// A store of keyed property values, with the calls and results of the platform's interface (without
// reference counting). Hosts implement it, or use MemoryPropertyStore.
class TLVUTL_API IPropertyStore {
public:
    virtual ~IPropertyStore();
    // Stores the number of keys in *count; S_OK.
    virtual HRESULT GetCount(DWORD* count) = 0;
    // E_INVALIDARG for an index at or past the count.
    virtual HRESULT GetAt(DWORD index, PROPERTYKEY* key) = 0;
    // An absent key gives an empty value and S_OK.
    virtual HRESULT GetValue(REFPROPERTYKEY key, PropVariant* value) = 0;
    // Sets the key's value (an empty value removes the key); S_OK, or an error of the store.
    virtual HRESULT SetValue(REFPROPERTYKEY key, const PropVariant& value) = 0;
    // Writes the values back to where the store keeps them; S_OK, or an error of the store.
    virtual HRESULT Commit() = 0;
};

// A store in memory: the keys in the order they were first set.
class TLVUTL_API MemoryPropertyStore : public IPropertyStore {
public:
    // IPropertyStore's calls over the entries in memory.
    // @{
    HRESULT GetCount(DWORD* count) override;
    HRESULT GetAt(DWORD index, PROPERTYKEY* key) override;
    HRESULT GetValue(REFPROPERTYKEY key, PropVariant* value) override;
    HRESULT SetValue(REFPROPERTYKEY key, const PropVariant& value) override;
    // @}
    // Nothing to write back: S_OK.
    HRESULT Commit() override;

private:
    std::vector<std::pair<PROPERTYKEY, PropVariant>> entries_;
};

#endif
