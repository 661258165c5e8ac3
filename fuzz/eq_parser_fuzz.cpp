// Arbitrary texts (every code unit, NULs included) through the expression parser with every
// token set and angle mode: it must answer 0 or 1 without crashing or recursing.
#include <tlvutl/eq_parser.h>
#include <tlvutl/frame.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const int init = InitModule();
    (void)init;
    if (size < 1)
        return 0;
    std::wstring text;
    for (size_t i = 1; i < size; ++i)
        text += static_cast<wchar_t>(data[i] < 0x80 ? data[i] : 0x2000 + data[i]);
    WEqParser parser(CString(text), data[0] & 31u, static_cast<DRG>((data[0] >> 5) % 3));
    double v = 1.0;
    const int ok = parser.GetValue(v);
    if ((ok != 0 && ok != 1) || (!ok && v != 0.0) || (ok && !std::isfinite(v)))
        std::abort();
    return 0;
}
