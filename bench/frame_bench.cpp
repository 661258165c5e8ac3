// String loading and formatting, next to the plain C equivalents.
#include <tlvutl/frame.h>

#include <benchmark/benchmark.h>

#include <cwchar>

namespace {

void BM_CStringFormat(benchmark::State& state) {
    CString s;
    s.Format(L"%s %d %.3f", L"value", 12345, 3.14159);
    if (s != CString(L"value 12345 3.142")) {
        state.SkipWithError("wrong text");
        return;
    }
    for (auto _ : state) {
        s.Format(L"%s %d %.3f", L"value", 12345, 3.14159);
        benchmark::DoNotOptimize(s.GetString());
    }
}
BENCHMARK(BM_CStringFormat);

void BM_Swprintf(benchmark::State& state) {
    wchar_t buf[64];
    if (std::swprintf(buf, 64, L"%ls %d %.3f", L"value", 12345, 3.14159) != 17 ||
        std::wcscmp(buf, L"value 12345 3.142") != 0) {
        state.SkipWithError("wrong text");
        return;
    }
    for (auto _ : state) {
        std::swprintf(buf, 64, L"%ls %d %.3f", L"value", 12345, 3.14159);
        benchmark::DoNotOptimize(buf);
    }
}
BENCHMARK(BM_Swprintf);

void BM_UTLLoadString(benchmark::State& state) {
    InitModule();
    if (std::wcscmp(UTLLoadString(24016), L"inches") != 0) {
        state.SkipWithError("string 24016 not loaded from the resource module");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(UTLLoadString(24016));
}
BENCHMARK(BM_UTLLoadString);

} // namespace
