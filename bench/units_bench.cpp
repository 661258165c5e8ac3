// The unit registry against the obvious baselines: a factor looked up in a hash map and
// multiplied, and a number printed with snprintf("%.*f") followed by a unit name.
#include <tlvutl/units.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <unordered_map>

namespace {

constexpr int kUnits[] = {1, 2, 4, 5, 9, 24, 25, 13};
constexpr std::size_t kCount = sizeof kUnits / sizeof kUnits[0];

void BM_ConvertFromUnitToUnit(benchmark::State& state) {
    WUnit& u = WUnit::GetDefaultWUnit();
    double v = 1.0;
    std::size_t i = 0;
    for (auto _ : state) {
        const int from = kUnits[i % kCount], to = kUnits[(i + 3) % kCount];
        benchmark::DoNotOptimize(u.ConvertFromUnitToUnit(from, to, v, -1.0));
        ++i;
        v += 0.25;
    }
}
BENCHMARK(BM_ConvertFromUnitToUnit);

void BM_Baseline_HashMapFactor(benchmark::State& state) {
    WUnit& u = WUnit::GetDefaultWUnit();
    std::unordered_map<int, double> metres;
    for (int id : kUnits)
        metres[id] = u.ConvertFromUnitTo10thMicron(id, 1.0, -1.0);
    double v = 1.0;
    std::size_t i = 0;
    for (auto _ : state) {
        const int from = kUnits[i % kCount], to = kUnits[(i + 3) % kCount];
        benchmark::DoNotOptimize(v * metres.find(from)->second / metres.find(to)->second);
        ++i;
        v += 0.25;
    }
}
BENCHMARK(BM_Baseline_HashMapFactor);

void BM_DisplayUnitValueAsString(benchmark::State& state) {
    WUnit& u = WUnit::GetDefaultWUnit();
    double v = 12.3456789;
    for (auto _ : state) {
        CString s = u.DisplayUnitValueAsString(2, v, 3, 0);
        benchmark::DoNotOptimize(s.GetString());
        v += 0.001;
    }
}
BENCHMARK(BM_DisplayUnitValueAsString);

void BM_Baseline_SnprintfAndName(benchmark::State& state) {
    const std::wstring name = L"mm";
    double v = 12.3456789;
    for (auto _ : state) {
        char buffer[64];
        const int n = std::snprintf(buffer, sizeof buffer, "%.*f", 3, v);
        std::wstring s(buffer, buffer + n);
        s += L' ';
        s += name;
        benchmark::DoNotOptimize(s.data());
        v += 0.001;
    }
}
BENCHMARK(BM_Baseline_SnprintfAndName);

} // namespace
