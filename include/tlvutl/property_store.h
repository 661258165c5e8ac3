// Property stores: the metadata a host hands to writers such as WXmpDoc, as keyed values.
//
// A PROPERTYKEY is a format GUID and a property number, with the values of the platform's
// property system, so keys read from or passed to a Windows host mean the same thing here.
// PropVariant holds one value of the kinds the metadata writers read: a string, a vector of
// strings, a 16- or 32-bit integer or a file time (100-ns ticks since 1601-01-01 UTC). Its
// To... conversions follow the platform's PropVariantTo... helpers: a scalar string reads as a
// one-item vector, integers convert when they fit, anything else is E_INVALIDARG.
//
// On Windows IPropertyStore is COM's own (propsys.h), so a store the system hands out
// (SHGetPropertyStoreFromParsingName, PSCreateMemoryPropertyStore, a handler's) can be given
// to WXmpDoc through SharePropertyStore, and a MemoryPropertyStore can be given to COM.
// PropVariant is then a PROPVARIANT (it derives from it and adds no data): &value passes as a
// PROPVARIANT*, value as a REFPROPVARIANT, copies go through PropVariantCopy and the destructor
// clears. COM's GetValue overwrites its PROPVARIANT without clearing it, so pass an empty
// PropVariant (or assign PropVariant() first). On Windows the To... conversions also read
// VT_BSTR as a string and the 8-bit and 64-bit integer kinds. MemoryPropertyStore answers
// QueryInterface for IUnknown and IPropertyStore; AddRef/Release keep a count that starts at 1
// for the creator, but Release never deletes: whoever creates the store owns and deletes it.
//
// Elsewhere IPropertyStore is a class of the library's with the platform interface's calls and
// results (an absent key reads as an empty value with S_OK) without its reference counting:
// stores are shared through std::shared_ptr. PROPVARIANT and REFPROPVARIANT name PropVariant
// there, so a host's own store, written with COM's parameter types, builds on both systems.
//
// MemoryPropertyStore keeps its entries in the order they were first set; setting an empty
// value removes the key. Stores are not thread-safe.
#ifndef TLVUTL_PROPERTY_STORE_H
#define TLVUTL_PROPERTY_STORE_H

#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>
#ifdef _WIN32
#include <propsys.h> // IPropertyStore, PROPVARIANT, PROPERTYKEY, VARTYPE and the VT_ kinds

#include <atomic>
#include <memory>
#endif

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
#ifdef _WIN32
// The system's own (propkey.h; uuid.lib holds them), so a host that includes propkey.h before
// or after this header sees one declaration. DateTaken is missing from some SDKs' propkey.h:
// it is defined here the way propkey.h defines keys under INITGUID.
#include <propkey.h>
EXTERN_C const PROPERTYKEY DECLSPEC_SELECTANY PKEY_Photo_DateTaken = {
    {0x14B81DA1, 0x0135, 0x4D31, {0x96, 0xD9, 0x6C, 0xBF, 0xC9, 0x67, 0x1A, 0x99}}, 36867};
#else
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
#endif

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

#ifdef _WIN32
// One property value, a PROPVARIANT owned by this object: empty, a string, a vector of
// strings, an integer or a file time. Copies are deep (PropVariantCopy); the destructor clears.
class TLVUTL_API PropVariant : public PROPVARIANT {
public:
    PropVariant() noexcept;
    // A deep copy of any PROPVARIANT (empty when PropVariantCopy fails).
    PropVariant(const PROPVARIANT& other);
    PropVariant(const PropVariant& other) : PropVariant(static_cast<const PROPVARIANT&>(other)) {}
    // Takes the value; other is left empty.
    PropVariant(PropVariant&& other) noexcept;
    PropVariant& operator=(const PropVariant& other);
    PropVariant& operator=(PropVariant&& other) noexcept;
    ~PropVariant();

    // A value of the kind the factory names (VT_LPWSTR, VT_VECTOR | VT_LPWSTR, VT_I2, VT_UI2,
    // VT_I4, VT_UI4, VT_FILETIME); the strings are copied into COM task memory.
    // @{
    static PropVariant FromString(std::wstring text);
    static PropVariant FromStringVector(std::vector<std::wstring> items);
    static PropVariant FromInt16(int16_t value);
    static PropVariant FromUInt16(uint16_t value);
    static PropVariant FromInt32(int32_t value);
    static PropVariant FromUInt32(uint32_t value);
    static PropVariant FromFileTime(FILETIME time);
    // @}

    // The PROPVARIANT's kind.
    VARTYPE Type() const { return vt; }
    // True for VT_EMPTY.
    bool IsEmpty() const { return vt == VT_EMPTY; }
    // Clears the value (PropVariantClear), leaving VT_EMPTY.
    void Clear();

    // The conversions of the other systems; see the top of this file for the extra kinds.
    // @{
    HRESULT ToString(std::wstring& text) const;
    HRESULT ToStringVector(std::vector<std::wstring>& items) const;
    HRESULT ToInt16(int16_t& value) const;
    HRESULT ToInt64(int64_t& value) const;
    HRESULT ToFileTime(FILETIME& time) const;
    // @}

    // Equal when of the same kind with the same value (for the kinds above; other kinds compare
    // by kind only).
    bool operator==(const PropVariant& other) const;
};

// A store in memory, and a COM object: the keys in the order they were first set.
class TLVUTL_API MemoryPropertyStore : public IPropertyStore {
public:
    MemoryPropertyStore() = default;
    // A copy has the same entries and starts its own count.
    MemoryPropertyStore(const MemoryPropertyStore& other)
        : IPropertyStore(), entries_(other.entries_) {}
    MemoryPropertyStore& operator=(const MemoryPropertyStore& other) {
        entries_ = other.entries_;
        return *this;
    }
    // Deleted by the creator, never by Release.
    virtual ~MemoryPropertyStore();

    // IUnknown and IPropertyStore; the count starts at 1 and never deletes.
    // @{
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    // @}

    // IPropertyStore's calls over the entries in memory; GetValue copies the value out with
    // PropVariantCopy, SetValue copies it in.
    // @{
    HRESULT STDMETHODCALLTYPE GetCount(DWORD* count) override;
    HRESULT STDMETHODCALLTYPE GetAt(DWORD index, PROPERTYKEY* key) override;
    HRESULT STDMETHODCALLTYPE GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override;
    HRESULT STDMETHODCALLTYPE SetValue(REFPROPERTYKEY key, REFPROPVARIANT value) override;
    // @}
    // Nothing to write back: S_OK.
    HRESULT STDMETHODCALLTYPE Commit() override;

private:
    std::atomic<ULONG> references_{1};
    std::vector<std::pair<PROPERTYKEY, PropVariant>> entries_;
};

namespace TlvUtils {
// Shares a COM store (the system's or a host's) for WXmpDoc: takes a reference (AddRef) that
// the last copy of the result gives back (Release). Null for null.
TLVUTL_API std::shared_ptr<IPropertyStore> SharePropertyStore(IPropertyStore* store);
} // namespace TlvUtils
#else
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

// The names COM's interface gives the value parameters, so a host's store builds on both systems.
typedef PropVariant PROPVARIANT;
#ifndef REFPROPVARIANT
// How values are passed to SetValue: by const reference.
#define REFPROPVARIANT const PROPVARIANT&
#endif

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

#endif // _WIN32

#endif
