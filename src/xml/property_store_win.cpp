#include <tlvutl/property_store.h>

#include <cstring>
#include <limits>
#include <new>

namespace {

// A copy of text in COM task memory, as PropVariantClear frees it; null when out of memory.
LPWSTR TaskString(const std::wstring& text) {
    const std::size_t bytes = (text.size() + 1) * sizeof(wchar_t);
    auto* copy = static_cast<LPWSTR>(CoTaskMemAlloc(bytes));
    if (copy)
        std::memcpy(copy, text.c_str(), bytes);
    return copy;
}

// A scalar string's text: VT_LPWSTR, or a BSTR as COM stores may hold them. A null pointer
// reads as the empty string, as the system's conversions read it.
bool ScalarText(const PROPVARIANT& v, std::wstring& text) {
    if (v.vt == VT_LPWSTR) {
        text = v.pwszVal ? v.pwszVal : L"";
        return true;
    }
    if (v.vt == VT_BSTR) {
        text.assign(v.bstrVal ? v.bstrVal : L"", v.bstrVal ? SysStringLen(v.bstrVal) : 0);
        return true;
    }
    return false;
}

uint64_t Ticks(const FILETIME& t) {
    return (static_cast<uint64_t>(t.dwHighDateTime) << 32) | t.dwLowDateTime;
}

} // namespace

PropVariant::PropVariant() noexcept {
    PropVariantInit(this);
}

PropVariant::PropVariant(const PROPVARIANT& other) {
    PropVariantInit(this);
    if (FAILED(PropVariantCopy(this, &other)))
        PropVariantInit(this);
}

PropVariant::PropVariant(PropVariant&& other) noexcept {
    // A PROPVARIANT owns through pointers only, so its bits move as they are.
    std::memcpy(static_cast<PROPVARIANT*>(this), static_cast<PROPVARIANT*>(&other),
                sizeof(PROPVARIANT));
    PropVariantInit(&other);
}

PropVariant& PropVariant::operator=(const PropVariant& other) {
    if (this != &other) {
        PropVariant copy(other);
        *this = std::move(copy);
    }
    return *this;
}

PropVariant& PropVariant::operator=(PropVariant&& other) noexcept {
    if (this != &other) {
        Clear();
        std::memcpy(static_cast<PROPVARIANT*>(this), static_cast<PROPVARIANT*>(&other),
                    sizeof(PROPVARIANT));
        PropVariantInit(&other);
    }
    return *this;
}

PropVariant::~PropVariant() {
    PropVariantClear(this);
}

void PropVariant::Clear() {
    PropVariantClear(this);
}

PropVariant PropVariant::FromString(std::wstring text) {
    PropVariant v;
    v.pwszVal = TaskString(text);
    if (!v.pwszVal)
        throw std::bad_alloc();
    v.vt = VT_LPWSTR;
    return v;
}

PropVariant PropVariant::FromStringVector(std::vector<std::wstring> items) {
    PropVariant v;
    if (items.empty()) {
        v.vt = VT_VECTOR | VT_LPWSTR;
        return v;
    }
    auto* elems = static_cast<LPWSTR*>(CoTaskMemAlloc(items.size() * sizeof(LPWSTR)));
    if (!elems)
        throw std::bad_alloc();
    // Owned by v from here on, so a failure below frees what was made.
    std::memset(elems, 0, items.size() * sizeof(LPWSTR));
    v.vt = VT_VECTOR | VT_LPWSTR;
    v.calpwstr.pElems = elems;
    v.calpwstr.cElems = static_cast<ULONG>(items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
        elems[i] = TaskString(items[i]);
        if (!elems[i])
            throw std::bad_alloc();
    }
    return v;
}

PropVariant PropVariant::FromInt16(int16_t value) {
    PropVariant v;
    v.vt = VT_I2;
    v.iVal = value;
    return v;
}

PropVariant PropVariant::FromUInt16(uint16_t value) {
    PropVariant v;
    v.vt = VT_UI2;
    v.uiVal = value;
    return v;
}

PropVariant PropVariant::FromInt32(int32_t value) {
    PropVariant v;
    v.vt = VT_I4;
    v.lVal = value;
    return v;
}

PropVariant PropVariant::FromUInt32(uint32_t value) {
    PropVariant v;
    v.vt = VT_UI4;
    v.ulVal = value;
    return v;
}

PropVariant PropVariant::FromFileTime(FILETIME time) {
    PropVariant v;
    v.vt = VT_FILETIME;
    v.filetime = time;
    return v;
}

HRESULT PropVariant::ToString(std::wstring& text) const {
    return ScalarText(*this, text) ? S_OK : E_INVALIDARG;
}

HRESULT PropVariant::ToStringVector(std::vector<std::wstring>& items) const {
    if (vt == (VT_VECTOR | VT_LPWSTR)) {
        std::vector<std::wstring> out;
        out.reserve(calpwstr.cElems);
        for (ULONG i = 0; i < calpwstr.cElems; ++i)
            out.emplace_back(calpwstr.pElems[i] ? calpwstr.pElems[i] : L"");
        items = std::move(out);
        return S_OK;
    }
    std::wstring text;
    if (!ScalarText(*this, text))
        return E_INVALIDARG;
    items.assign(1, std::move(text));
    return S_OK;
}

HRESULT PropVariant::ToInt16(int16_t& value) const {
    int64_t number = 0;
    if (FAILED(ToInt64(number)) || number < std::numeric_limits<int16_t>::min() ||
        number > std::numeric_limits<int16_t>::max())
        return E_INVALIDARG;
    value = static_cast<int16_t>(number);
    return S_OK;
}

HRESULT PropVariant::ToInt64(int64_t& value) const {
    switch (vt) {
    case VT_I1:
        value = cVal;
        return S_OK;
    case VT_UI1:
        value = bVal;
        return S_OK;
    case VT_I2:
        value = iVal;
        return S_OK;
    case VT_UI2:
        value = uiVal;
        return S_OK;
    case VT_I4:
    case VT_INT:
        value = lVal;
        return S_OK;
    case VT_UI4:
    case VT_UINT:
        value = ulVal;
        return S_OK;
    case VT_I8:
        value = hVal.QuadPart;
        return S_OK;
    case VT_UI8:
        // As the system's conversion: an unsigned value past the signed range does not fit.
        if (uhVal.QuadPart > static_cast<ULONGLONG>(std::numeric_limits<int64_t>::max()))
            return E_INVALIDARG;
        value = static_cast<int64_t>(uhVal.QuadPart);
        return S_OK;
    default:
        return E_INVALIDARG;
    }
}

HRESULT PropVariant::ToFileTime(FILETIME& time) const {
    if (vt != VT_FILETIME)
        return E_INVALIDARG;
    time = filetime;
    return S_OK;
}

bool PropVariant::operator==(const PropVariant& other) const {
    if (vt != other.vt)
        return false;
    std::wstring a, b;
    std::vector<std::wstring> as, bs;
    int64_t m = 0, n = 0;
    FILETIME s{}, t{};
    if (vt == (VT_VECTOR | VT_LPWSTR))
        return SUCCEEDED(ToStringVector(as)) && SUCCEEDED(other.ToStringVector(bs)) && as == bs;
    if (SUCCEEDED(ToString(a)))
        return SUCCEEDED(other.ToString(b)) && a == b;
    if (SUCCEEDED(ToInt64(m)))
        return SUCCEEDED(other.ToInt64(n)) && m == n;
    if (SUCCEEDED(ToFileTime(s)))
        return SUCCEEDED(other.ToFileTime(t)) && Ticks(s) == Ticks(t);
    return true; // VT_EMPTY, or a kind the library does not read
}

MemoryPropertyStore::~MemoryPropertyStore() = default;

HRESULT STDMETHODCALLTYPE MemoryPropertyStore::QueryInterface(REFIID iid, void** object) {
    if (!object)
        return E_POINTER;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IPropertyStore)) {
        *object = static_cast<IPropertyStore*>(this);
        AddRef();
        return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE MemoryPropertyStore::AddRef() {
    return ++references_;
}

// The creator deletes the store (see property_store.h): a count reaching zero only means a COM
// user released one reference too many, and the store stays.
ULONG STDMETHODCALLTYPE MemoryPropertyStore::Release() {
    ULONG now = references_.load();
    while (now > 0 && !references_.compare_exchange_weak(now, now - 1)) {
    }
    return now > 0 ? now - 1 : 0;
}

HRESULT STDMETHODCALLTYPE MemoryPropertyStore::GetCount(DWORD* count) {
    if (!count)
        return E_POINTER;
    *count = static_cast<DWORD>(entries_.size());
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MemoryPropertyStore::GetAt(DWORD index, PROPERTYKEY* key) {
    if (!key)
        return E_POINTER;
    if (index >= entries_.size())
        return E_INVALIDARG;
    *key = entries_[index].first;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MemoryPropertyStore::GetValue(REFPROPERTYKEY key, PROPVARIANT* value) {
    if (!value)
        return E_POINTER;
    // COM's out value: whatever it held is overwritten, never cleared.
    PropVariantInit(value);
    for (const auto& [k, v] : entries_)
        if (IsEqualPropertyKey(k, key))
            return PropVariantCopy(value, &v);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MemoryPropertyStore::SetValue(REFPROPERTYKEY key, REFPROPVARIANT value) {
    PropVariant copy;
    if (value.vt != VT_EMPTY) {
        const HRESULT hr = PropVariantCopy(&copy, &value);
        if (FAILED(hr))
            return hr;
    }
    for (auto it = entries_.begin(); it != entries_.end(); ++it) {
        if (!IsEqualPropertyKey(it->first, key))
            continue;
        if (copy.IsEmpty())
            entries_.erase(it);
        else
            it->second = std::move(copy);
        return S_OK;
    }
    if (!copy.IsEmpty())
        entries_.emplace_back(key, std::move(copy));
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MemoryPropertyStore::Commit() {
    return S_OK;
}

namespace TlvUtils {

std::shared_ptr<IPropertyStore> SharePropertyStore(IPropertyStore* store) {
    if (!store)
        return nullptr;
    store->AddRef();
    return std::shared_ptr<IPropertyStore>(store, [](IPropertyStore* s) { s->Release(); });
}

} // namespace TlvUtils
