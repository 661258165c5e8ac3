// Ini look-ups from the cache, next to parsing the file again for every look-up.
#include <tlvutl/profile.h>

#include "environment/profile_document.h"
#include "platform/file_system.h"

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

constexpr int kKeys = 1000;
constexpr int kLookups = 100000;

const std::wstring& File() {
    static const std::wstring path = [] {
        const auto p = std::filesystem::temp_directory_path() /
                       ("tlvutl-bench-" + std::to_string(getpid()) + ".ini");
        std::ofstream out(p, std::ios::binary);
        out << "; settings\r\n[Config]\r\n";
        for (int i = 0; i < kKeys; ++i)
            out << "Key" << i << " = value number " << i << "\r\n";
        return p.wstring();
    }();
    return path;
}

void BM_LookupFromCache(benchmark::State& state) {
    wchar_t out[64];
    const std::wstring& file = File();
    std::wstring keys[64];
    for (int i = 0; i < 64; ++i)
        keys[i] = L"key" + std::to_wstring(i * 15);
    for (int i = 0; i < 64; ++i) {
        const DWORD n = TlvUtl::Win32::GetPrivateProfileStringW(L"config", keys[i].c_str(), L"",
                                                                out, 64, file.c_str());
        if (std::wstring(out, n) != L"value number " + std::to_wstring(i * 15)) {
            state.SkipWithError("wrong value");
            return;
        }
    }
    for (auto _ : state)
        for (int i = 0; i < kLookups; ++i)
            benchmark::DoNotOptimize(TlvUtl::Win32::GetPrivateProfileStringW(
                L"config", keys[i & 63].c_str(), L"", out, 64, file.c_str()));
    state.SetItemsProcessed(state.iterations() * kLookups);
}
BENCHMARK(BM_LookupFromCache)->Unit(benchmark::kMillisecond);

void BM_LookupReparsing(benchmark::State& state) {
    const std::wstring& file = File();
    constexpr int kReparsed = 1000; // 100,000 would take minutes; the rate is what matters
    {
        std::string bytes;
        const bool read = !tlv::platform::ReadWholeFile(file, bytes);
        const auto doc = tlv::environment::ProfileDocument::Parse(bytes);
        const auto value = doc.Value(L"config", L"key500");
        if (!read || !value || *value != L"value number 500") {
            state.SkipWithError("wrong value");
            return;
        }
    }
    for (auto _ : state)
        for (int i = 0; i < kReparsed; ++i) {
            std::string bytes;
            tlv::platform::ReadWholeFile(file, bytes);
            const auto doc = tlv::environment::ProfileDocument::Parse(bytes);
            benchmark::DoNotOptimize(doc.Value(L"config", L"key500"));
        }
    state.SetItemsProcessed(state.iterations() * kReparsed);
}
BENCHMARK(BM_LookupReparsing)->Unit(benchmark::kMillisecond);

} // namespace
