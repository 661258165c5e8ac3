#include <tlvutl/property_store.h>

#include <limits>

IPropertyStore::~IPropertyStore() = default;

PropVariant PropVariant::FromString(std::wstring text) {
    PropVariant v;
    v.vt_ = VT_LPWSTR;
    v.text_ = std::move(text);
    return v;
}

PropVariant PropVariant::FromStringVector(std::vector<std::wstring> items) {
    PropVariant v;
    v.vt_ = VT_VECTOR | VT_LPWSTR;
    v.items_ = std::move(items);
    return v;
}

PropVariant PropVariant::FromInt16(int16_t value) {
    PropVariant v;
    v.vt_ = VT_I2;
    v.number_ = value;
    return v;
}

PropVariant PropVariant::FromUInt16(uint16_t value) {
    PropVariant v;
    v.vt_ = VT_UI2;
    v.number_ = value;
    return v;
}

PropVariant PropVariant::FromInt32(int32_t value) {
    PropVariant v;
    v.vt_ = VT_I4;
    v.number_ = value;
    return v;
}

PropVariant PropVariant::FromUInt32(uint32_t value) {
    PropVariant v;
    v.vt_ = VT_UI4;
    v.number_ = value;
    return v;
}

PropVariant PropVariant::FromFileTime(FILETIME time) {
    PropVariant v;
    v.vt_ = VT_FILETIME;
    // Kept as the unsigned tick count's bit pattern; ToFileTime splits it back.
    v.number_ = static_cast<int64_t>((static_cast<uint64_t>(time.dwHighDateTime) << 32) |
                                     time.dwLowDateTime);
    return v;
}

HRESULT PropVariant::ToString(std::wstring& text) const {
    if (vt_ != VT_LPWSTR)
        return E_INVALIDARG;
    text = text_;
    return S_OK;
}

HRESULT PropVariant::ToStringVector(std::vector<std::wstring>& items) const {
    if (vt_ == (VT_VECTOR | VT_LPWSTR))
        items = items_;
    else if (vt_ == VT_LPWSTR)
        items.assign(1, text_);
    else
        return E_INVALIDARG;
    return S_OK;
}

HRESULT PropVariant::ToInt16(int16_t& value) const {
    int64_t number = 0;
    if (FAILED(ToInt64(number)))
        return E_INVALIDARG;
    if (number_ < std::numeric_limits<int16_t>::min() ||
        number_ > std::numeric_limits<int16_t>::max())
        return E_INVALIDARG;
    value = static_cast<int16_t>(number_);
    return S_OK;
}

HRESULT PropVariant::ToInt64(int64_t& value) const {
    if (vt_ != VT_I2 && vt_ != VT_UI2 && vt_ != VT_I4 && vt_ != VT_UI4)
        return E_INVALIDARG;
    value = number_;
    return S_OK;
}

HRESULT PropVariant::ToFileTime(FILETIME& time) const {
    if (vt_ != VT_FILETIME)
        return E_INVALIDARG;
    const auto ticks = static_cast<uint64_t>(number_);
    time.dwLowDateTime = static_cast<DWORD>(ticks);
    time.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return S_OK;
}

bool PropVariant::operator==(const PropVariant& other) const {
    return vt_ == other.vt_ && number_ == other.number_ && text_ == other.text_ &&
           items_ == other.items_;
}

HRESULT MemoryPropertyStore::GetCount(DWORD* count) {
    if (!count)
        return E_POINTER;
    *count = static_cast<DWORD>(entries_.size());
    return S_OK;
}

HRESULT MemoryPropertyStore::GetAt(DWORD index, PROPERTYKEY* key) {
    if (!key)
        return E_POINTER;
    if (index >= entries_.size())
        return E_INVALIDARG;
    *key = entries_[index].first;
    return S_OK;
}

HRESULT MemoryPropertyStore::GetValue(REFPROPERTYKEY key, PropVariant* value) {
    if (!value)
        return E_POINTER;
    for (const auto& [k, v] : entries_) {
        if (IsEqualPropertyKey(k, key)) {
            *value = v;
            return S_OK;
        }
    }
    *value = PropVariant();
    return S_OK;
}

HRESULT MemoryPropertyStore::SetValue(REFPROPERTYKEY key, const PropVariant& value) {
    for (auto it = entries_.begin(); it != entries_.end(); ++it) {
        if (!IsEqualPropertyKey(it->first, key))
            continue;
        if (value.IsEmpty())
            entries_.erase(it);
        else
            it->second = value;
        return S_OK;
    }
    if (!value.IsEmpty())
        entries_.emplace_back(key, value);
    return S_OK;
}

HRESULT MemoryPropertyStore::Commit() {
    return S_OK;
}
