// An XMP packet for a typical exported image (title, comment, three authors, twelve
// keywords, copyright, rating, date), built from its store and read back in chunks, next to
// the floor of that work in the same run: the same packet bytes written to a fresh temporary
// file and read back in pieces of 2,000 bytes with stdio.
#include <tlvutl/property_store.h>
#include <tlvutl/xmp.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

std::shared_ptr<MemoryPropertyStore> TypicalStore() {
    auto store = std::make_shared<MemoryPropertyStore>();
    store->SetValue(PKEY_Title, PropVariant::FromString(L"Harbour at dawn, east pier"));
    store->SetValue(PKEY_Comment, PropVariant::FromString(L"Exported from the layout view"));
    store->SetValue(PKEY_Author, PropVariant::FromStringVector({L"Ana Lima", L"Bo Chen", L"Cé"}));
    std::vector<std::wstring> keywords;
    for (int i = 0; i < 12; ++i)
        keywords.push_back(L"keyword " + std::to_wstring(i));
    store->SetValue(PKEY_Keywords, PropVariant::FromStringVector(keywords));
    store->SetValue(PKEY_Copyright, PropVariant::FromString(L"(c) 2024 Ana Lima"));
    store->SetValue(PKEY_Rating, PropVariant::FromUInt16(75));
    store->SetValue(PKEY_Photo_DateTaken,
                    PropVariant::FromFileTime(FILETIME{0x2A3B4C5Du, 0x01DACB00u}));
    return store;
}

std::string BuildPacket(WXmpDoc& doc, bool& ok) {
    ok = doc.CreateFromPropertyStore() == 0;
    std::string all;
    std::vector<char> chunk;
    for (int i = 0; ok && i < doc.GetNumberOfChunks(); ++i) {
        ok = doc.GetDataToVector(chunk, i) == doc.GetChunkSize(i);
        all.append(chunk.data(), chunk.size());
    }
    return all;
}

void BM_XmpPacketFromStore(benchmark::State& state) {
    auto store = TypicalStore();
    WXmpDoc doc(store);
    bool ok = false;
    const std::string packet = BuildPacket(doc, ok);
    if (!ok || packet.size() != doc.GetDataSize() ||
        packet.find("\n<xmp:Rating>\n4\n</xmp:Rating>") == std::string::npos) {
        state.SkipWithError("the packet was not built as expected");
        return;
    }
    for (auto _ : state) {
        WXmpDoc each(store);
        benchmark::DoNotOptimize(BuildPacket(each, ok));
        if (!ok) {
            state.SkipWithError("building failed");
            return;
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * packet.size()));
}
BENCHMARK(BM_XmpPacketFromStore);

// The same bytes through a temporary file with stdio: what any packet writer that goes
// through a file pays.
void BM_Baseline_SameBytesThroughTempFile(benchmark::State& state) {
    WXmpDoc doc(TypicalStore());
    bool ok = false;
    const std::string packet = BuildPacket(doc, ok);
    if (!ok) {
        state.SkipWithError("the packet was not built");
        return;
    }
    const char* tmp = std::getenv("TMPDIR");
    const std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/TMPXXXXXX";
    std::vector<char> chunk(2000);
    for (auto _ : state) {
        std::string name = pattern;
        const int fd = ::mkstemp(name.data());
        std::FILE* f = fd < 0 ? nullptr : ::fdopen(fd, "w+b");
        if (!f) {
            state.SkipWithError("no temporary file");
            return;
        }
        std::fwrite(packet.data(), 1, packet.size(), f);
        std::fseek(f, 0, SEEK_END);
        const long size = std::ftell(f);
        std::string back;
        for (long offset = 0; offset < size; offset += 2000) {
            std::fseek(f, offset, SEEK_SET);
            const std::size_t n = std::fread(chunk.data(), 1, chunk.size(), f);
            back.append(chunk.data(), n);
        }
        std::fclose(f);
        ::unlink(name.c_str());
        if (back != packet) {
            state.SkipWithError("read back differs");
            return;
        }
        benchmark::DoNotOptimize(back);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * packet.size()));
}
BENCHMARK(BM_Baseline_SameBytesThroughTempFile);

} // namespace
