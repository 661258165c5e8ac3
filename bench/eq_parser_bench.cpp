// One-shot parse and evaluation of field expressions (a fresh parser per text, as a numeric
// field does), next to muparser doing SetExpr and Eval on the same texts, and wcstod as the
// floor.
#include <tlvutl/eq_parser.h>
#include <tlvutl/frame.h>

#include <benchmark/benchmark.h>

#include <algorithm>
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

// What each text is worth. For the parser: degrees, the sign binding tightest (-2^2 is 4)
// and "4/2" read as one fraction (so the third text is 5.5*2^2-1). For muparser: radians
// (it has no degree mode), the power binding tighter than the sign, "/" always a division.
// The work is the same: the same tokens read and the same operations evaluated.
const double kDegreeValues[] = {12.5, 98.0, 21.0, 4.0, 1.0, std::sqrt(2.0) * 2.0 / std::log(10.0),
                                3.0,  65.0};
const double kRadianValues[] = {
    12.5, 98.0, 4.5, -4.0, std::sin(30.0) + std::cos(60.0), std::sqrt(2.0) * 2.0 / std::log(10.0),
    3.0,  65.0};

bool Near(double a, double b) {
    return std::fabs(a - b) <= 1e-9 * std::max(1.0, std::fabs(b));
}

void BM_WEqParser(benchmark::State& state) {
    InitModule();
    const CString text = kExpressions[state.range(0)];
    double v = 0;
    {
        WEqParser p(text, WEQ_ALL, DRG_DEG);
        if (p.GetValue(v) != 1 || !Near(v, kDegreeValues[state.range(0)])) {
            state.SkipWithError(("wrong value " + std::to_string(v)).c_str());
            return;
        }
    }
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
    // "^" is muparser's power too; the values differ only where the rules above say.
    std::string text;
    for (const wchar_t* p = kExpressions[state.range(0)]; *p; ++p)
        text += static_cast<char>(*p);
    double v = 0;
    // One parser object reused: only SetExpr and Eval are timed, muparser's best case.
    mu::Parser p;
    p.DefineFun("log", [](double x) { return std::log10(x); });
    try {
        p.SetExpr(text);
        v = p.Eval();
    } catch (const mu::Parser::exception_type& e) {
        state.SkipWithError(e.GetMsg().c_str());
        return;
    }
    if (!Near(v, kRadianValues[state.range(0)])) {
        state.SkipWithError(("wrong value " + std::to_string(v)).c_str());
        return;
    }
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
    if (std::wcstod(L"12.5", nullptr) != 12.5) {
        state.SkipWithError("wcstod");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(std::wcstod(L"12.5", nullptr));
}
BENCHMARK(BM_WcstodFloor);

} // namespace
