// A host's view of the library on Windows: the full <windows.h> and the COM headers first,
// then every public header of the library, in one translation unit. COM's IStream is the one
// the library's streams implement and its documents load from and save to.
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
#include <shlwapi.h>

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
#include "unicode_paths.h"

#include <gtest/gtest.h>

#include <string>

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

TEST(ComStreams, DocumentsGoThroughAFileStreamOfTheShell) {
    for (const std::string& name : unicode_paths::Names()) {
        wchar_t temp[MAX_PATH];
        ASSERT_NE(::GetTempPathW(MAX_PATH, temp), 0u);
        const std::wstring path = std::wstring(temp) + unicode_paths::Wide(name) + L".xml";
        IStream* out = nullptr;
        ASSERT_EQ(::SHCreateStreamOnFileEx(path.c_str(), STGM_CREATE | STGM_WRITE,
                                           FILE_ATTRIBUTE_NORMAL, TRUE, nullptr, &out),
                  S_OK)
            << name;
        ASSERT_TRUE(WXmlDoc::CreateFromString(kText).Save(out));
        out->Release();
        IStream* in = nullptr;
        ASSERT_EQ(::SHCreateStreamOnFileEx(path.c_str(), STGM_READ, FILE_ATTRIBUTE_NORMAL, FALSE,
                                           nullptr, &in),
                  S_OK);
        WXmlDoc back;
        EXPECT_TRUE(back.Load(in)) << name;
        in->Release();
        EXPECT_EQ(back.GetRootNode().Attribute(L"@a").GetString(), L"\u00e9\u0416\u4e2d");
        // The library's own file stream reads the same file.
        auto file = TlvUtils::FileStream::Open(path, TlvUtils::FileStream::Mode::kRead);
        ASSERT_TRUE(file);
        STATSTG stat{};
        ASSERT_EQ(file->Stat(&stat, STATFLAG_NONAME), S_OK);
        EXPECT_EQ(stat.cbSize.QuadPart, sizeof kSaved - 1);
        EXPECT_TRUE(WXmlDoc::CreateFromStream(file.get()).IsLoaded());
        file.reset();
        EXPECT_TRUE(::DeleteFileW(path.c_str()));
    }
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

} // namespace
