// A host's view of the library on Windows: the full <windows.h>, the COM, property system and
// shell headers first, then every public header of the library, in one translation unit.
// COM's IStream is the one the library's streams implement and its documents load from and
// save to; IPropertyStore is COM's, so the system's stores and the library's
// MemoryPropertyStore both feed WXmpDoc.
#ifdef WIN32_LEAN_AND_MEAN
#error "this file stands for a host that includes all of windows.h"
#endif
// The suite's hosts are Unicode programs: windows.h's names are the wide functions.
#ifndef UNICODE
#define UNICODE
#endif
#ifndef _UNICODE
#define _UNICODE
#endif
#include <windows.h>

#include <objidl.h>
#include <ole2.h>
#include <propkey.h>
#include <propsys.h>
#include <propvarutil.h>
#include <shlwapi.h>
#include <shobjidl.h>

// The umbrella header: every public header of the library, after windows.h.
#include <tlvutl/tlvutl.h>

#include "cstring_printer.h"
#include "xmp_packet.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace {

const wchar_t kText[] = L"<r a=\"\u00e9\u0416\u4e2d\"/>";
const char kSaved[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                      "<r a=\"\xc3\xa9\xd0\x96\xe4\xb8\xad\"/>\n";

std::string HGlobalBytes(IStream* stream) {
    HGLOBAL memory = nullptr;
    if (FAILED(::GetHGlobalFromStream(stream, &memory)))
        return {};
    STATSTG stat{};
    stream->Stat(&stat, STATFLAG_NONAME);
    const char* bytes = static_cast<const char*>(::GlobalLock(memory));
    std::string out(bytes, static_cast<std::size_t>(stat.cbSize.QuadPart));
    ::GlobalUnlock(memory);
    return out;
}

void Rewind(IStream* stream) {
    LARGE_INTEGER zero;
    zero.QuadPart = 0;
    ASSERT_EQ(stream->Seek(zero, STREAM_SEEK_SET, nullptr), S_OK);
}

TEST(ComStreams, DocumentsGoThroughAMemoryStreamOfTheSystem) {
    IStream* stream = nullptr;
    ASSERT_EQ(::CreateStreamOnHGlobal(nullptr, TRUE, &stream), S_OK);
    WXmlDoc doc = WXmlDoc::CreateFromString(kText);
    ASSERT_TRUE(doc.Save(stream));
    EXPECT_EQ(HGlobalBytes(stream), kSaved);
    Rewind(stream);
    WXmlDoc back = WXmlDoc::CreateFromStream(stream);
    ASSERT_TRUE(back.IsLoaded());
    EXPECT_EQ(back.GetRootNode().Attribute(L"@a").GetString(), L"\u00e9\u0416\u4e2d");
    // Reading at the end of a stream that answers S_OK with fewer bytes still ends.
    WXmlDoc empty;
    EXPECT_FALSE(empty.Load(stream));
    EXPECT_EQ(stream->Release(), 0u);
}

TEST(ComStreams, LibraryStreamsAnswerTheComInterfaces) {
    TlvUtils::MemoryStream memory;
    IUnknown* unknown = nullptr;
    ASSERT_EQ(memory.QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknown)), S_OK);
    EXPECT_EQ(unknown, static_cast<IUnknown*>(static_cast<IStream*>(&memory)));
    ISequentialStream* sequential = nullptr;
    ASSERT_EQ(unknown->QueryInterface(IID_ISequentialStream, reinterpret_cast<void**>(&sequential)),
              S_OK);
    IStream* stream = nullptr;
    ASSERT_EQ(sequential->QueryInterface(IID_IStream, reinterpret_cast<void**>(&stream)), S_OK);
    EXPECT_EQ(stream, static_cast<IStream*>(&memory));
    EXPECT_EQ(stream->AddRef(), 5u) << "the creator's 1 and the four handed out";
    IStorage* storage = reinterpret_cast<IStorage*>(&memory);
    EXPECT_EQ(stream->QueryInterface(IID_IStorage, reinterpret_cast<void**>(&storage)),
              E_NOINTERFACE);
    EXPECT_EQ(storage, nullptr);
    for (int i = 0; i < 3; ++i)
        stream->Release();
    EXPECT_EQ(unknown->Release(), 1u);
    EXPECT_EQ(stream->Release(), 0u) << "too many releases leave the object alone";

    // COM code drives the library's stream: the system's memory stream copies into it.
    IStream* source = nullptr;
    ASSERT_EQ(::CreateStreamOnHGlobal(nullptr, TRUE, &source), S_OK);
    ASSERT_TRUE(WXmlDoc::CreateFromString(kText).Save(source));
    Rewind(source);
    ULARGE_INTEGER all, read, written;
    all.QuadPart = 1u << 20;
    ASSERT_EQ(source->CopyTo(&memory, all, &read, &written), S_OK);
    source->Release();
    EXPECT_EQ(written.QuadPart, sizeof kSaved - 1);
    EXPECT_EQ(memory.Bytes(), kSaved);

    STATSTG stat{};
    ASSERT_EQ(memory.Stat(&stat, STATFLAG_DEFAULT), S_OK);
    EXPECT_EQ(stat.type, static_cast<DWORD>(STGTY_STREAM));
    EXPECT_EQ(stat.cbSize.QuadPart, sizeof kSaved - 1);
    EXPECT_EQ(stat.pwcsName, nullptr);
    ULARGE_INTEGER size;
    size.QuadPart = 5;
    ASSERT_EQ(memory.SetSize(size), S_OK);
    EXPECT_EQ(memory.Bytes(), "<?xml");
    LARGE_INTEGER back;
    back.QuadPart = -2;
    ULARGE_INTEGER at;
    ASSERT_EQ(memory.Seek(back, STREAM_SEEK_END, &at), S_OK);
    EXPECT_EQ(at.QuadPart, 3u);
    back.QuadPart = -4;
    EXPECT_EQ(memory.Seek(back, STREAM_SEEK_CUR, &at), E_INVALIDARG);
    ULONGLONG plain = 0;
    EXPECT_EQ(TlvUtils::SeekStream(&memory, 0, STREAM_SEEK_CUR, &plain), S_OK);
    EXPECT_EQ(plain, 3u) << "a refused seek does not move";
    IStream* clone = reinterpret_cast<IStream*>(&memory);
    EXPECT_EQ(memory.Clone(&clone), E_NOTIMPL);
    EXPECT_EQ(clone, nullptr);
    EXPECT_EQ(memory.Revert(), E_NOTIMPL);
    EXPECT_EQ(memory.Commit(STGC_DEFAULT), S_OK);
}

// windows.h turns MessageBox into MessageBoxW: a host's sink and the library agree on it.
class HostSink : public TlvUtl::CapturingMessageSink {
public:
    int MessageBox(HWND owner, const wchar_t* text, const wchar_t* caption, UINT style) override {
        ++boxes;
        return CapturingMessageSink::MessageBox(owner, text, caption, style);
    }
    int boxes = 0;
};

TEST(HostMessageSink, TheLibrarysBoxesReachAHostSinkBuiltWithWindowsH) {
    HostSink sink;
    TlvUtl::MessageSink* previous = TlvUtl::SetMessageSink(&sink);
    UIMSG_FatalError(1000, L"c:\\src\\host.cpp", 7, L"host", 1);
    TlvUtl::SetMessageSink(previous);
    EXPECT_EQ(sink.boxes, 1);
    ASSERT_EQ(sink.Messages().size(), 2u) << "a beep and the box";
    EXPECT_EQ(sink.Messages()[1].kind, TlvUtl::CapturingMessageSink::Kind::Box);
}

static_assert(sizeof(PropVariant) == sizeof(PROPVARIANT), "a PropVariant is a PROPVARIANT");

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
    std::string text = FullStorePacket();
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

// The full store's values (as xmp_test sets them), set through COM's interface on any store.
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

// The writer's temporary files go to a folder of their own, as in xmp_test.
class ComPropertyStores : public XmpTempFolder {
protected:
    void SetUp() override {
        ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        XmpTempFolder::SetUp();
    }
    void TearDown() override {
        XmpTempFolder::TearDown();
        ::CoUninitialize();
    }
};

// xmp_test fills the library's store with its own values; here the system's PROPVARIANTs go
// in through COM, into the library's store and into one the system made.
TEST_F(ComPropertyStores, SystemAndLibraryStoresGiveThePinnedPacket) {
    const std::string expected = ExpectedFullPacket();
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
    }
    // The writer gave back its reference: ours is the last.
    EXPECT_EQ(system->Release(), 0u);
}

// The store's order, removal and errors are property_store_test's; here, COM's side of it.
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
}

// A BSTR, as some stores hold strings, reads as a string and as a one-item vector.
TEST(ComPropVariant, BstrReadsAsAString) {
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

} // namespace
