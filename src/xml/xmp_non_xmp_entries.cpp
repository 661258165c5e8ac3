// The store entries a WXmpDoc packet does not carry, kept as text for hosts that embed them
// by other means (an image format's own text fields, say).
#include <tlvutl/encoding.h>
#include <tlvutl/xmp.h>

#include <iterator>
#include <string>

namespace {

// The keys the packet itself carries.
const PROPERTYKEY* const kPacketKeys[] = {&PKEY_Title,       &PKEY_Comment,        &PKEY_Author,
                                          &PKEY_Copyright,   &PKEY_Keywords,       &PKEY_Rating,
                                          &PKEY_DateCreated, &PKEY_Photo_DateTaken};

bool CarriedByPacket(REFPROPERTYKEY key) {
    for (const PROPERTYKEY* k : kPacketKeys)
        if (IsEqualPropertyKey(*k, key))
            return true;
    return false;
}

} // namespace

int WXmpDoc::CollectNonXmpEntries() {
    DWORD count = 0;
    if (FAILED(store_->GetCount(&count))) {
        SetError(XMP_ERROR_STORE);
        return 1;
    }
    for (DWORD i = 0; i < count; ++i) {
        PROPERTYKEY key{};
        PropVariant value;
        if (FAILED(store_->GetAt(i, &key)) || FAILED(store_->GetValue(key, &value))) {
            SetError(XMP_ERROR_STORE);
            return 1;
        }
        if (!CarriedByPacket(key) && !value.IsEmpty())
            nonXmp_.emplace_back(key, std::move(value));
    }
    return 0;
}

int WXmpDoc::IsNonXMPInfoPresent(PROPERTYKEY key) {
    for (std::size_t i = 0; i < nonXmp_.size(); ++i)
        if (IsEqualPropertyKey(nonXmp_[i].first, key))
            return static_cast<int>(i);
    return -1;
}

CString WXmpDoc::GetNonXMPTagDataToString(int index) {
    if (index < 0 || index >= static_cast<int>(nonXmp_.size()))
        return CString();
    const PropVariant& value = nonXmp_[static_cast<std::size_t>(index)].second;
    std::wstring text;
    std::vector<std::wstring> items;
    int64_t number = 0;
    FILETIME time{};
    CString result;
    if (SUCCEEDED(value.ToString(text))) {
        result = CString(text);
    } else if (SUCCEEDED(value.ToStringVector(items))) {
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (i)
                text += L"; ";
            text += items[i];
        }
        result = CString(text);
    } else if (SUCCEEDED(value.ToInt64(number))) {
        result = CString(std::to_wstring(number));
    } else if (SUCCEEDED(value.ToFileTime(time))) {
        if (!LocalDateText(time, result))
            result.Empty();
    }
    PadExtraBytesIfNecessary(result);
    return result;
}

ULONGLONG WXmpDoc::GetNonXMPTagSize(int index) {
    if (index < 0 || index >= static_cast<int>(nonXmp_.size()))
        return 0;
    return TlvUtils::ToUtf8(GetNonXMPTagDataToString(index).view()).size();
}
