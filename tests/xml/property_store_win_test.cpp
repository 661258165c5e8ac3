// A host's view of the library's property stores on Windows: the full <windows.h>, the
// property system's and the shell's headers first, then every public header of the library,
// in one translation unit. IPropertyStore is COM's, so the system's stores and the library's
// MemoryPropertyStore both feed WXmpDoc.
#ifdef WIN32_LEAN_AND_MEAN
#error "this file stands for a host that includes all of windows.h"
#endif
#ifndef UNICODE
#define UNICODE
#endif
#ifndef _UNICODE
#define _UNICODE
#endif
#include <windows.h>

#include <propkey.h>
#include <propsys.h>
#include <propvarutil.h>
#include <shobjidl.h>

#include <tlvutl/com_error.h>
#include <tlvutl/cstring.h>
#include <tlvutl/data_backup.h>
#include <tlvutl/delegate.h>
#include <tlvutl/dir_tracker.h>
#include <tlvutl/duplication.h>
#include <tlvutl/encoding.h>
#include <tlvutl/eq_parser.h>
#include <tlvutl/export.h>
#include <tlvutl/folders.h>
#include <tlvutl/frame.h>
#include <tlvutl/geometry.h>
#include <tlvutl/hooks.h>
#include <tlvutl/lists.h>
#include <tlvutl/locale.h>
#include <tlvutl/memory.h>
#include <tlvutl/messages.h>
#include <tlvutl/optional.h>
#include <tlvutl/paper.h>
#include <tlvutl/profile.h>
#include <tlvutl/property_store.h>
#include <tlvutl/regional_format.h>
#include <tlvutl/registry.h>
#include <tlvutl/runtime_class.h>
#include <tlvutl/singleton.h>
#include <tlvutl/stream.h>
#include <tlvutl/string_table.h>
#include <tlvutl/thread_lock.h>
#include <tlvutl/timers.h>
#include <tlvutl/tlvutl.h>
#include <tlvutl/tree.h>
#include <tlvutl/unit_parser.h>
#include <tlvutl/units.h>
#include <tlvutl/wintypes.h>
#include <tlvutl/xml.h>
#include <tlvutl/xmp.h>

#include "cstring_printer.h"
#include "platform_marks.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

// Property-system helpers that Windows exports and propsys's import library holds, but this
// toolchain's propvarutil.h does not declare.
extern "C" {
HRESULT WINAPI PropVariantToStringVector(REFPROPVARIANT value, PWSTR* items, ULONG capacity,
                                         ULONG* count);
HRESULT WINAPI PropVariantToFileTime(REFPROPVARIANT value, int flags, FILETIME* time);
}

namespace {

namespace fs = std::filesystem;

// PropVariantToFileTime's flag for a value already in UTC.
constexpr int kFileTimeUtc = 0;

#ifndef TLVUTL_XML_TEST_DATA
#error "TLVUTL_XML_TEST_DATA names the folder of the expected packets"
#endif

static_assert(sizeof(PropVariant) == sizeof(PROPVARIANT), "a PropVariant is a PROPVARIANT");

std::string ReadFile(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

std::string Packet(WXmpDoc& doc) {
    std::string all;
    std::vector<char> chunk;
    for (int i = 0; i < doc.GetNumberOfChunks(); ++i) {
        const long n = doc.GetDataToVector(chunk, i);
        EXPECT_EQ(n, doc.GetChunkSize(i)) << "chunk " << i;
        if (n > 0)
            all.append(chunk.data(), static_cast<std::size_t>(n));
    }
    EXPECT_EQ(all.size(), doc.GetDataSize());
    return all;
}

// 2024-07-01 12:34:56.789 UTC.
const FILETIME kTaken = [] {
    SYSTEMTIME utc{2024, 7, 1, 1, 12, 34, 56, 789};
    FILETIME t{};
    ::SystemTimeToFileTime(&utc, &t);
    return t;
}();

// The packet the other systems pin for the full store, with the creation date in this
// machine's zone (those tests set a zone of their own; Windows has one for the system).
std::string ExpectedFullPacket() {
    std::string text = ReadFile(fs::path(TLVUTL_XML_TEST_DATA) / "xmp_full_store.xmp");
    SYSTEMTIME utc{}, local{};
    ::FileTimeToSystemTime(&kTaken, &utc);
    ::SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local);
    char date[32];
    std::snprintf(date, sizeof date, "%04d-%02d-%02dT%02d:%02d:%02d.%03d", local.wYear,
                  local.wMonth, local.wDay, local.wHour, local.wMinute, local.wSecond,
                  local.wMilliseconds);
    const std::string tag = "<xmp:CreateDate>\n";
    const std::size_t at = text.find(tag);
    EXPECT_NE(at, std::string::npos);
    if (at != std::string::npos)
        text.replace(at + tag.size(), 23, date);
    return text;
}

// A VT_VECTOR | VT_LPWSTR value made by hand in COM task memory (Wine's propsys has no
// InitPropVariantFromStringVector); PropVariantClear frees it.
void InitStringVector(std::initializer_list<const wchar_t*> items, PROPVARIANT* v) {
    ::PropVariantInit(v);
    v->vt = VT_VECTOR | VT_LPWSTR;
    v->calpwstr.cElems = static_cast<ULONG>(items.size());
    v->calpwstr.pElems = static_cast<LPWSTR*>(::CoTaskMemAlloc(items.size() * sizeof(LPWSTR)));
    ULONG i = 0;
    for (const wchar_t* item : items)
        ::SHStrDupW(item, &v->calpwstr.pElems[i++]);
}

// The full store's values, set through COM's interface on any store.
void FillThroughCom(IPropertyStore* store) {
    PROPVARIANT v;
    ASSERT_EQ(::InitPropVariantFromString(
                  TlvUtils::FromUtf8("Caf\xc3\xa9 \xc2\xab\xd0\x93\xd0\xb0\xd0\xb2\xd0\xb0"
                                     "\xd0\xbd\xd1\x8c\xc2\xbb \xe6\xb8\xaf\xe3\x81\xae"
                                     "\xe6\x9c\x9d")
                      .c_str(),
                  &v),
              S_OK);
    EXPECT_EQ(store->SetValue(PKEY_Title, v), S_OK);
    ::PropVariantClear(&v);
    ASSERT_EQ(::InitPropVariantFromString(L"First light", &v), S_OK);
    EXPECT_EQ(store->SetValue(PKEY_Comment, v), S_OK);
    ::PropVariantClear(&v);
    InitStringVector({L"Ana Lima", L"Bo Chen"}, &v);
    EXPECT_EQ(store->SetValue(PKEY_Author, v), S_OK);
    ::PropVariantClear(&v);
    ASSERT_EQ(::InitPropVariantFromString(L"(c) 2024 Ana Lima", &v), S_OK);
    EXPECT_EQ(store->SetValue(PKEY_Copyright, v), S_OK);
    ::PropVariantClear(&v);
    InitStringVector({L"sea", L"boat"}, &v);
    EXPECT_EQ(store->SetValue(PKEY_Keywords, v), S_OK);
    ::PropVariantClear(&v);
    // The property system's own kind for a rating.
    ASSERT_EQ(::InitPropVariantFromUInt32(50, &v), S_OK);
    EXPECT_EQ(store->SetValue(PKEY_Rating, v), S_OK);
    v.vt = VT_FILETIME; // by hand: Wine's propsys has no InitPropVariantFromFileTime
    v.filetime = kTaken;
    EXPECT_EQ(store->SetValue(PKEY_Photo_DateTaken, v), S_OK);
    ::PropVariantClear(&v);
}

// Temporary files go to a folder of their own whose name has accents, Cyrillic and CJK.
class ComPropertyStores : public ::testing::Test {
protected:
    fs::path dir;
    std::wstring oldTmp;

    void SetUp() override {
        ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        dir = fs::temp_directory_path() /
              (L"tlvutl-prop-\u00c4pfel-\u0401\u043b\u043a\u0430-\u753b\u50cf-" +
               std::to_wstring(::GetCurrentProcessId()));
        fs::remove_all(dir);
        fs::create_directories(dir);
        wchar_t value[32768];
        const DWORD n = ::GetEnvironmentVariableW(L"TMP", value, 32768);
        oldTmp.assign(value, n < 32768 ? n : 0);
        ::SetEnvironmentVariableW(L"TMP", dir.c_str());
    }
    void TearDown() override {
        EXPECT_TRUE(fs::is_empty(dir)) << "a temporary file was left behind";
        ::SetEnvironmentVariableW(L"TMP", oldTmp.empty() ? nullptr : oldTmp.c_str());
        fs::remove_all(dir);
        ::CoUninitialize();
    }
};

TEST_F(ComPropertyStores, SystemAndLibraryStoresGiveThePinnedPacket) {
    const std::string expected = ExpectedFullPacket();

    // The library's store, filled with its own values as on the other systems.
    auto library = std::make_shared<MemoryPropertyStore>();
    library->SetValue(PKEY_Title, PropVariant::FromString(TlvUtils::FromUtf8(
                                      "Caf\xc3\xa9 \xc2\xab\xd0\x93\xd0\xb0\xd0\xb2\xd0\xb0"
                                      "\xd0\xbd\xd1\x8c\xc2\xbb \xe6\xb8\xaf\xe3\x81\xae"
                                      "\xe6\x9c\x9d")));
    library->SetValue(PKEY_Comment, PropVariant::FromString(L"First light"));
    library->SetValue(PKEY_Author, PropVariant::FromStringVector({L"Ana Lima", L"Bo Chen"}));
    library->SetValue(PKEY_Copyright, PropVariant::FromString(L"(c) 2024 Ana Lima"));
    library->SetValue(PKEY_Keywords, PropVariant::FromStringVector({L"sea", L"boat"}));
    library->SetValue(PKEY_Rating, PropVariant::FromUInt16(50));
    library->SetValue(PKEY_Photo_DateTaken, PropVariant::FromFileTime(kTaken));
    {
        WXmpDoc doc(library);
        ASSERT_EQ(doc.CreateFromPropertyStore(), 0);
        EXPECT_EQ(Packet(doc), expected);
    }

    // The library's store filled through COM with the system's PROPVARIANTs.
    auto viaCom = std::make_shared<MemoryPropertyStore>();
    FillThroughCom(viaCom.get());
    {
        WXmpDoc doc(viaCom);
        ASSERT_EQ(doc.CreateFromPropertyStore(), 0);
        EXPECT_EQ(Packet(doc), expected);
    }

    // A store the system made, handed over as a host gets it.
    IPropertyStore* system = nullptr;
    ASSERT_EQ(::PSCreateMemoryPropertyStore(IID_PPV_ARGS(&system)), S_OK);
    FillThroughCom(system);
    {
        WXmpDoc doc(TlvUtils::SharePropertyStore(system));
        ASSERT_EQ(doc.CreateFromPropertyStore(), 0);
        EXPECT_EQ(Packet(doc), expected);
        // The writer's entries outside the packet read the system's values too.
        const int title = doc.IsNonXMPInfoPresent(PKEY_Title);
        const int author = doc.IsNonXMPInfoPresent(PKEY_Author);
        WXmpDoc viaLibrary(viaCom);
        ASSERT_EQ(viaLibrary.CreateFromPropertyStore(), 0);
        EXPECT_EQ(title, viaLibrary.IsNonXMPInfoPresent(PKEY_Title));
        if (title >= 0) {
            EXPECT_EQ(doc.GetNonXMPTagDataToString(title),
                      viaLibrary.GetNonXMPTagDataToString(title));
        }
        if (author >= 0) {
            EXPECT_EQ(doc.GetNonXMPTagDataToString(author),
                      viaLibrary.GetNonXMPTagDataToString(author));
        }
    }
    // The writer gave back its reference: ours is the last.
    EXPECT_EQ(system->Release(), 0u);
}

TEST_F(ComPropertyStores, MemoryStoreIsACountedComObjectThatCopiesValues) {
    MemoryPropertyStore store;
    IUnknown* unknown = nullptr;
    ASSERT_EQ(store.QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknown)), S_OK);
    IPropertyStore* com = nullptr;
    ASSERT_EQ(unknown->QueryInterface(IID_PPV_ARGS(&com)), S_OK);
    EXPECT_EQ(static_cast<void*>(com), static_cast<void*>(&store));
    IStream* stream = nullptr;
    EXPECT_EQ(com->QueryInterface(IID_PPV_ARGS(&stream)), E_NOINTERFACE);
    EXPECT_EQ(stream, nullptr);
    EXPECT_EQ(store.QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    EXPECT_EQ(com->Release(), 2u);
    EXPECT_EQ(unknown->Release(), 1u);
    EXPECT_EQ(com->Release(), 0u); // the creator's too: the store stays
    EXPECT_EQ(com->Release(), 0u);
    EXPECT_EQ(com->AddRef(), 1u);

    // Values go in and out as copies: clearing the caller's PROPVARIANT leaves the store's.
    PROPVARIANT in;
    ASSERT_EQ(::InitPropVariantFromString(L"\u00e9t\u00e9", &in), S_OK);
    ASSERT_EQ(com->SetValue(PKEY_Title, in), S_OK);
    ::PropVariantClear(&in);
    PROPVARIANT out;
    out.vt = VT_ERROR; // COM's out value is overwritten, whatever it held
    ASSERT_EQ(com->GetValue(PKEY_Title, &out), S_OK);
    ASSERT_EQ(out.vt, VT_LPWSTR);
    EXPECT_STREQ(out.pwszVal, L"\u00e9t\u00e9");
    PROPVARIANT again;
    ASSERT_EQ(com->GetValue(PKEY_Title, &again), S_OK);
    EXPECT_NE(again.pwszVal, out.pwszVal);
    ::PropVariantClear(&out);
    ::PropVariantClear(&again);
    // An absent key reads empty; a PropVariant passes as the PROPVARIANT*.
    PropVariant absent;
    ASSERT_EQ(com->GetValue(PKEY_Comment, &absent), S_OK);
    EXPECT_TRUE(absent.IsEmpty());
    // An empty value removes the key; the count and GetAt follow.
    DWORD count = 0;
    ASSERT_EQ(com->GetCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
    PROPERTYKEY key{};
    ASSERT_EQ(com->GetAt(0, &key), S_OK);
    EXPECT_TRUE(IsEqualPropertyKey(key, PKEY_Title));
    EXPECT_EQ(com->GetAt(1, &key), E_INVALIDARG);
    ASSERT_EQ(com->SetValue(PKEY_Title, PropVariant()), S_OK);
    ASSERT_EQ(com->GetCount(&count), S_OK);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(com->Commit(), S_OK);
}

TEST(ComPropVariant, CopiesAreDeepAndMovesEmptyTheSource) {
    PropVariant a = PropVariant::FromStringVector({L"\u0416", L"\u4e2d"});
    PropVariant b = a;
    ASSERT_EQ(b.Type(), VT_VECTOR | VT_LPWSTR);
    EXPECT_NE(b.calpwstr.pElems, a.calpwstr.pElems);
    EXPECT_NE(b.calpwstr.pElems[0], a.calpwstr.pElems[0]);
    EXPECT_EQ(a, b);
    PropVariant c = std::move(a);
    EXPECT_TRUE(a.IsEmpty()); // NOLINT: moved-from is empty by contract
    EXPECT_EQ(c, b);
    c = PropVariant::FromInt16(-3);
    EXPECT_NE(c, b);
    b = c;
    EXPECT_EQ(b, PropVariant::FromInt16(-3));
    EXPECT_NE(PropVariant::FromInt16(5), PropVariant::FromUInt16(5)); // kinds differ
}

// Strings and string vectors read as vectors: a scalar string gives one item.
std::vector<PropVariant> VectorValues() {
    std::vector<PropVariant> values;
    values.push_back(PropVariant::FromString(L"solo"));
    values.push_back(PropVariant::FromStringVector({L"a", L"\u00e9\u0416\u4e2d"}));
    values.push_back(PropVariant::FromStringVector({}));
    return values;
}

// The library's conversions against the system's on the kinds the writers read.
TEST(ComPropVariant, ConversionsMatchTheSystemOnTheWritersKinds) {
    const PropVariant values[] = {
        PropVariant::FromString(L"solo"),
        PropVariant::FromString(L""),
        PropVariant::FromStringVector({L"a", L"b"}),
        PropVariant::FromStringVector({}),
        PropVariant::FromInt16(-32768),
        PropVariant::FromUInt16(32767),
        PropVariant::FromUInt16(32768),
        PropVariant::FromInt32(-32769),
        PropVariant::FromUInt32(99),
        PropVariant::FromUInt32(4000000000u),
    };
    for (const PropVariant& v : values) {
        SCOPED_TRACE(testing::Message() << "vt " << v.Type());
        const bool isString = v.Type() == VT_LPWSTR;
        const bool isVector = v.Type() == (VT_VECTOR | VT_LPWSTR); // compared below
        const bool isNumber = !isString && !isVector;

        std::wstring text;
        wchar_t buffer[64] = {};
        if (isString) {
            ASSERT_EQ(v.ToString(text), S_OK);
            ASSERT_EQ(::PropVariantToString(v, buffer, 64), S_OK);
            EXPECT_EQ(text, buffer);
        }
        if (isNumber) {
            int16_t mine = 0;
            SHORT theirs = 0;
            const HRESULT hr = v.ToInt16(mine);
            const HRESULT sys = ::PropVariantToInt16(v, &theirs);
            EXPECT_EQ(SUCCEEDED(hr), SUCCEEDED(sys));
            if (SUCCEEDED(hr) && SUCCEEDED(sys))
                EXPECT_EQ(mine, theirs);
            else
                EXPECT_EQ(hr, E_INVALIDARG); // the system says which overflow
        }
    }
    // A BSTR, as some stores hold strings, reads as a string and a one-item vector.
    PROPVARIANT bstr;
    bstr.vt = VT_BSTR;
    bstr.bstrVal = ::SysAllocString(L"b\u00e9");
    const PropVariant fromBstr(bstr);
    ::PropVariantClear(&bstr);
    std::wstring text;
    ASSERT_EQ(fromBstr.ToString(text), S_OK);
    EXPECT_EQ(text, L"b\u00e9");
    std::vector<std::wstring> items;
    ASSERT_EQ(fromBstr.ToStringVector(items), S_OK);
    EXPECT_EQ(items, std::vector<std::wstring>{L"b\u00e9"});
}

TEST(ComPropVariant, VectorsAndFileTimesMatchTheSystem) {
    TLVUTL_KNOWN_WINE_DIFFERENCE(
        "Wine 8's propsys stubs PropVariantToStringVector and PropVariantToFileTime");
    FILETIME mine{}, theirs{};
    const PropVariant taken = PropVariant::FromFileTime(kTaken);
    ASSERT_EQ(taken.ToFileTime(mine), S_OK);
    ASSERT_EQ(::PropVariantToFileTime(taken, kFileTimeUtc, &theirs), S_OK);
    EXPECT_EQ(mine.dwLowDateTime, theirs.dwLowDateTime);
    EXPECT_EQ(mine.dwHighDateTime, theirs.dwHighDateTime);
    for (const PropVariant& v : VectorValues()) {
        std::vector<std::wstring> items;
        ASSERT_EQ(v.ToStringVector(items), S_OK);
        PWSTR system[8] = {};
        ULONG n = 0;
        ASSERT_EQ(::PropVariantToStringVector(v, system, 8, &n), S_OK);
        ASSERT_EQ(items.size(), n);
        for (ULONG i = 0; i < n; ++i) {
            EXPECT_EQ(items[i], system[i]);
            ::CoTaskMemFree(system[i]);
        }
    }
}

} // namespace
