// String loading and formatting, next to the plain C equivalents.
#include <tlvutl/frame.h>

#include <benchmark/benchmark.h>

#include <cwchar>

namespace {

void BM_CStringFormat(benchmark::State& state) {
    CString s;
    for (auto _ : state) {
        s.Format(L"%s %d %.3f", L"value", 12345, 3.14159);
        benchmark::DoNotOptimize(s.GetString());
    }
}
BENCHMARK(BM_CStringFormat);

void BM_Swprintf(benchmark::State& state) {
    wchar_t buf[64];
    for (auto _ : state) {
        std::swprintf(buf, 64, L"%ls %d %.3f", L"value", 12345, 3.14159);
        benchmark::DoNotOptimize(buf);
    }
}
BENCHMARK(BM_Swprintf);

void BM_UTLLoadString(benchmark::State& state) {
    InitModule();
    for (auto _ : state)
        benchmark::DoNotOptimize(UTLLoadString(24016));
}
BENCHMARK(BM_UTLLoadString);

} // namespace
