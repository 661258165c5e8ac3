// One-shot parse and evaluation of field expressions (a fresh parser per text, as a numeric
// field does), next to muparser doing SetExpr and Eval on the same texts, and wcstod as the
// floor.
#include <tlvutl/eq_parser.h>
#include <tlvutl/frame.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cwchar>
#include <string>

#if TLVUTL_HAVE_MUPARSER
#include <muParser.h>
#endif

namespace {

const wchar_t* const kExpressions[] = {L"12.5",  L"2*(3+4)^2",        L"(2.5+3)*4/2^2-1",
                                       L"-2^2",  L"sin(30)+cos(60)",  L"sqrt(2)*log(100)/ln(10)",
                                       L"8-3-2", L"((((1+2)*3)+4)*5)"};

void BM_WEqParser(benchmark::State& state) {
    InitModule();
    const CString text = kExpressions[state.range(0)];
    double v = 0;
    for (auto _ : state) {
        WEqParser p(text, WEQ_ALL, DRG_DEG);
        p.GetValue(v);
        benchmark::DoNotOptimize(v);
    }
    state.SetLabel(text.ToUtf8());
}
BENCHMARK(BM_WEqParser)->DenseRange(0, 7);

#if TLVUTL_HAVE_MUPARSER
void BM_Muparser(benchmark::State& state) {
    // muparser has no degree mode and "^" is its power; the same texts mean the same here.
    std::string text;
    for (const wchar_t* p = kExpressions[state.range(0)]; *p; ++p)
        text += static_cast<char>(*p);
    double v = 0;
    // One parser object reused: only SetExpr and Eval are timed, muparser's best case.
    mu::Parser p;
    p.DefineFun("log", [](double x) { return std::log10(x); });
    for (auto _ : state) {
        p.SetExpr(text);
        v = p.Eval();
        benchmark::DoNotOptimize(v);
    }
    state.SetLabel(text);
}
BENCHMARK(BM_Muparser)->DenseRange(0, 7);
#endif

void BM_WcstodFloor(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(std::wcstod(L"12.5", nullptr));
}
BENCHMARK(BM_WcstodFloor);

} // namespace
