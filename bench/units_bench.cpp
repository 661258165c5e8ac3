// The unit registry against the obvious baselines: a factor looked up in a hash map and
// multiplied, and a number printed with snprintf("%.*f") followed by a unit name.
#include <tlvutl/units.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <unordered_map>

namespace {

constexpr int kUnits[] = {1, 2, 4, 5, 9, 24, 25, 13};
constexpr std::size_t kCount = sizeof kUnits / sizeof kUnits[0];

// The factor of each unit to the base unit, as the baseline holds them.
std::unordered_map<int, double> Factors(WUnit& u) {
    std::unordered_map<int, double> f;
    for (int id : kUnits)
        f[id] = u.ConvertFromUnitTo10thMicron(id, 1.0, -1.0);
    return f;
}

// Millimetres and inches must come out as they are defined, and every pair must agree with
// the factor baseline.
bool ConversionsRight(benchmark::State& state, WUnit& u) {
    const auto f = Factors(u);
    bool ok = std::fabs(f.at(2) - 10000.0) < 1e-9 && std::fabs(f.at(1) - 254000.0) < 1e-6;
    for (std::size_t i = 0; ok && i < kCount; ++i) {
        const int from = kUnits[i], to = kUnits[(i + 3) % kCount];
        const double want = 7.25 * f.at(from) / f.at(to);
        ok = std::fabs(u.ConvertFromUnitToUnit(from, to, 7.25, -1.0) - want) <= 1e-12 * want;
    }
    if (!ok)
        state.SkipWithError("wrong conversion");
    return ok;
}

void BM_ConvertFromUnitToUnit(benchmark::State& state) {
    WUnit& u = WUnit::GetDefaultWUnit();
    if (!ConversionsRight(state, u))
        return;
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
    if (!ConversionsRight(state, u))
        return;
    const std::unordered_map<int, double> metres = Factors(u);
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
    if (u.DisplayUnitValueAsString(2, v, 3, 0) != CString(L"12.346 mm")) {
        state.SkipWithError(
            ("wrong text " + u.DisplayUnitValueAsString(2, v, 3, 0).ToUtf8()).c_str());
        return;
    }
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
