// Regional number text on 100,000 values, next to snprintf("%.*f") as the floor.
#include <tlvutl/locale.h>
#include <tlvutl/regional_format.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kValues = 100000;

const std::vector<double>& Values() {
    static const std::vector<double> v = [] {
        std::mt19937 rng(42);
        std::uniform_real_distribution<double> d(-1e6, 1e6);
        std::vector<double> out(kValues);
        for (double& x : out)
            x = d(rng);
        return out;
    }();
    return v;
}

const std::vector<std::wstring>& Texts() {
    static const std::vector<std::wstring> t = [] {
        std::vector<std::wstring> out;
        out.reserve(kValues);
        for (double x : Values()) {
            char b[64];
            std::snprintf(b, sizeof b, "%.3f", x);
            out.emplace_back(b, b + std::strlen(b));
        }
        return out;
    }();
    return t;
}

// The expected text of a "%.3f" text in the English format: thousands grouped by commas.
std::wstring Grouped(const std::wstring& plain) {
    const std::size_t start = plain[0] == L'-' ? 1 : 0;
    const std::size_t point = plain.find(L'.');
    std::wstring out = plain.substr(0, start);
    for (std::size_t i = start; i < point; ++i) {
        if (i > start && (point - i) % 3 == 0)
            out += L',';
        out += plain[i];
    }
    return out + plain.substr(point);
}

// Checks the first thousand texts against the model; false (and a skip) on a difference.
template <class Format> bool Checked(benchmark::State& state, Format format) {
    for (std::size_t i = 0; i < 1000; ++i) {
        const std::wstring want = Grouped(Texts()[i]);
        const std::wstring got = format(Texts()[i]);
        if (got != want) {
            state.SkipWithError(("wrong text for " + CString(Texts()[i]).ToUtf8()).c_str());
            return false;
        }
    }
    return true;
}

void UseEnglish() {
    TlvUtl::LocaleOverride o;
    o.decimalSeparator = L".", o.thousandSeparator = L",", o.grouping = L"3;0", o.negativeMode = 1;
    TlvUtl::SetLocaleOverride(o);
}

void BM_SnprintfFloor(benchmark::State& state) {
    char buf[64];
    if (std::snprintf(buf, sizeof buf, "%.*f", 3, -1234.5) != 9 || std::strcmp(buf, "-1234.500")) {
        state.SkipWithError("snprintf");
        return;
    }
    for (auto _ : state)
        for (double x : Values()) {
            std::snprintf(buf, sizeof buf, "%.*f", 3, x);
            benchmark::DoNotOptimize(buf);
        }
    state.SetItemsProcessed(state.iterations() * kValues);
}
BENCHMARK(BM_SnprintfFloor)->Unit(benchmark::kMillisecond);

void BM_GetNumberFormatW(benchmark::State& state) {
    UseEnglish();
    NUMBERFMTW f{3, 1, 3, const_cast<LPWSTR>(L"."), const_cast<LPWSTR>(L","), 1};
    wchar_t out[64];
    if (!Checked(state, [&](const std::wstring& t) {
            return TlvUtl::Win32::GetNumberFormatW(0, 0, t.c_str(), &f, out, 64) > 0
                       ? std::wstring(out)
                       : std::wstring();
        }))
        return;
    for (auto _ : state)
        for (const std::wstring& t : Texts()) {
            TlvUtl::Win32::GetNumberFormatW(0, 0, t.c_str(), &f, out, 64);
            benchmark::DoNotOptimize(out);
        }
    state.SetItemsProcessed(state.iterations() * kValues);
}
BENCHMARK(BM_GetNumberFormatW)->Unit(benchmark::kMillisecond);

void BM_GetValueInLocaleFormat(benchmark::State& state) {
    UseEnglish();
    WRegionalSupportFormat format;
    std::vector<CString> inputs(Texts().begin(), Texts().end());
    CString out;
    if (!Checked(state, [&](const std::wstring& t) {
            return format.GetValueInLocaleFormat(CString(t), out) ? out.str() : std::wstring();
        }))
        return;
    for (auto _ : state)
        for (const CString& t : inputs) {
            format.GetValueInLocaleFormat(t, out);
            benchmark::DoNotOptimize(out.GetString());
        }
    state.SetItemsProcessed(state.iterations() * kValues);
}
BENCHMARK(BM_GetValueInLocaleFormat)->Unit(benchmark::kMillisecond);

} // namespace
