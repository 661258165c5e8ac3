#include <tlvutl/property_store.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

// The key as the property system writes it: {GUID} pid.
std::string Text(const PROPERTYKEY& k) {
    char s[64];
    std::snprintf(s, sizeof s, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X} %u",
                  k.fmtid.Data1, k.fmtid.Data2, k.fmtid.Data3, k.fmtid.Data4[0], k.fmtid.Data4[1],
                  k.fmtid.Data4[2], k.fmtid.Data4[3], k.fmtid.Data4[4], k.fmtid.Data4[5],
                  k.fmtid.Data4[6], k.fmtid.Data4[7], k.pid);
    return s;
}

// Keys read from or handed to a Windows host must be the property system's own.
TEST(PropertyKeys, AreThePropertySystemValues) {
    EXPECT_EQ(Text(PKEY_Title), "{F29F85E0-4FF9-1068-AB91-08002B27B3D9} 2");
    EXPECT_EQ(Text(PKEY_Author), "{F29F85E0-4FF9-1068-AB91-08002B27B3D9} 4");
    EXPECT_EQ(Text(PKEY_Keywords), "{F29F85E0-4FF9-1068-AB91-08002B27B3D9} 5");
    EXPECT_EQ(Text(PKEY_Comment), "{F29F85E0-4FF9-1068-AB91-08002B27B3D9} 6");
    EXPECT_EQ(Text(PKEY_Rating), "{64440492-4C8B-11D1-8B70-080036B11A03} 9");
    EXPECT_EQ(Text(PKEY_Copyright), "{64440492-4C8B-11D1-8B70-080036B11A03} 11");
    EXPECT_EQ(Text(PKEY_Photo_DateTaken), "{14B81DA1-0135-4D31-96D9-6CBFC9671A99} 36867");
    EXPECT_EQ(Text(PKEY_DateCreated), "{B725F130-47EF-101A-A5F1-02608C9EEBAC} 15");
    EXPECT_TRUE(IsEqualPropertyKey(PKEY_Title, PKEY_Title));
    EXPECT_FALSE(IsEqualPropertyKey(PKEY_Title, PKEY_Author)); // same GUID, other pid
    PROPERTYKEY k = PKEY_Rating;
    k.fmtid.Data4[7] ^= 1;
    EXPECT_FALSE(IsEqualPropertyKey(k, PKEY_Rating)); // last GUID byte counts
}

TEST(PropVariant, ConvertsAsThePropertySystemDoes) {
    std::wstring s;
    std::vector<std::wstring> v;
    int16_t i = 0;
    FILETIME t{};

    EXPECT_EQ(PropVariant().ToString(s), E_INVALIDARG);
    EXPECT_EQ(PropVariant().ToStringVector(v), E_INVALIDARG);
    EXPECT_EQ(PropVariant().ToInt16(i), E_INVALIDARG);

    // A scalar string reads as a one-item list; a list does not read as one string.
    ASSERT_EQ(PropVariant::FromString(L"solo").ToStringVector(v), S_OK);
    EXPECT_EQ(v, std::vector<std::wstring>{L"solo"});
    EXPECT_EQ(PropVariant::FromStringVector({L"a", L"b"}).ToString(s), E_INVALIDARG);
    EXPECT_EQ(PropVariant::FromStringVector({L"a", L"b"}).Type(), VT_VECTOR | VT_LPWSTR);

    // 16-bit reads succeed only when the number fits.
    ASSERT_EQ(PropVariant::FromUInt16(32767).ToInt16(i), S_OK);
    EXPECT_EQ(i, 32767);
    EXPECT_EQ(PropVariant::FromUInt16(32768).ToInt16(i), E_INVALIDARG);
    ASSERT_EQ(PropVariant::FromInt32(-32768).ToInt16(i), S_OK);
    EXPECT_EQ(i, -32768);
    EXPECT_EQ(PropVariant::FromUInt32(99).ToInt16(i), S_OK);
    EXPECT_EQ(PropVariant::FromInt32(-32769).ToInt16(i), E_INVALIDARG);
    EXPECT_EQ(PropVariant::FromString(L"5").ToInt16(i), E_INVALIDARG);

    // File times keep all 64 bits.
    const FILETIME in{0x89ABCDEFu, 0xFEDCBA98u};
    ASSERT_EQ(PropVariant::FromFileTime(in).ToFileTime(t), S_OK);
    EXPECT_EQ(t.dwLowDateTime, in.dwLowDateTime);
    EXPECT_EQ(t.dwHighDateTime, in.dwHighDateTime);
    EXPECT_EQ(PropVariant::FromUInt32(1).ToFileTime(t), E_INVALIDARG);
}

TEST(MemoryPropertyStore, KeepsFirstSetOrderReplacesAndRemoves) {
    MemoryPropertyStore store;
    PropVariant v;
    PROPERTYKEY k{};
    DWORD count = 99;

    ASSERT_EQ(store.GetValue(PKEY_Title, &v), S_OK); // absent: empty, not an error
    EXPECT_TRUE(v.IsEmpty());
    store.SetValue(PKEY_Title, PropVariant::FromString(L"one"));
    store.SetValue(PKEY_Rating, PropVariant::FromUInt16(50));
    store.SetValue(PKEY_Title, PropVariant::FromString(L"two")); // stays first
    store.SetValue(PKEY_Comment, PropVariant());                 // empty: nothing stored
    ASSERT_EQ(store.GetCount(&count), S_OK);
    EXPECT_EQ(count, 2u);
    ASSERT_EQ(store.GetAt(0, &k), S_OK);
    EXPECT_TRUE(IsEqualPropertyKey(k, PKEY_Title));
    ASSERT_EQ(store.GetValue(PKEY_Title, &v), S_OK);
    EXPECT_EQ(v, PropVariant::FromString(L"two"));
    EXPECT_EQ(store.GetAt(2, &k), E_INVALIDARG);
    EXPECT_EQ(store.GetAt(0, nullptr), E_POINTER);
    EXPECT_EQ(store.GetValue(PKEY_Title, nullptr), E_POINTER);
    EXPECT_EQ(store.GetCount(nullptr), E_POINTER);

    store.SetValue(PKEY_Title, PropVariant()); // an empty value removes the key
    ASSERT_EQ(store.GetCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
    ASSERT_EQ(store.GetAt(0, &k), S_OK);
    EXPECT_TRUE(IsEqualPropertyKey(k, PKEY_Rating));
    EXPECT_EQ(store.Commit(), S_OK);
}

} // namespace
