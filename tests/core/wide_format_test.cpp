// The number conversions of CString::Format against the C library's swprintf, which follows
// the same rules for them (the C locale: the point as decimal separator), over the flags,
// widths and precisions that take different paths: the stack buffers and their heap
// fallbacks, the prefixes, the padding.
#include <tlvutl/cstring.h>

#include <gtest/gtest.h>

#include <cwchar>
#include <string>
#include <vector>

namespace {

std::wstring C(const wchar_t* format, auto value) {
    std::vector<wchar_t> buffer(4096);
    const int n = std::swprintf(buffer.data(), buffer.size(), format, value);
    return n < 0 ? L"<error>" : std::wstring(buffer.data(), static_cast<std::size_t>(n));
}

TEST(WideFormat, IntegersMatchTheCLibrary) {
    const wchar_t* const formats[] = {L"%d",      L"%i",     L"%5d",    L"%-5d|",   L"%05d",
                                      L"%+d",     L"% d",    L"%.0d",   L"%.3d",    L"%8.3d",
                                      L"%-8.3d|", L"%x",     L"%X",     L"%#x",     L"%#X",
                                      L"%#o",     L"%o",     L"%#.1o",  L"%08X",    L"%#08x",
                                      L"%u",      L"%.150d", L"%#.90o", L"%+.100d", L"a%db%%c%dd"};
    const int values[] = {0, 1, -1, 7, 42, -255, 65535, 2147483647, -2147483647 - 1};
    for (const wchar_t* f : formats)
        for (int v : values) {
            CString s;
            s.Format(f, v, v);
            std::vector<wchar_t> buffer(4096);
            const int n = std::swprintf(buffer.data(), buffer.size(), f, v, v);
            EXPECT_EQ(std::wstring(s.GetString()), std::wstring(buffer.data(), n))
                << CString(f).ToUtf8() << " " << v;
        }
}

TEST(WideFormat, FloatsMatchTheCLibrary) {
    const wchar_t* const formats[] = {
        L"%f",    L"%.3f", L"%10.2f", L"%-10.2f|", L"%010.2f", L"%+f",   L"% f",    L"%.0f",
        L"%#.0f", L"%e",   L"%E",     L"%.2e",     L"%#.0e",   L"%g",    L"%G",     L"%.10g",
        L"%#.3e", L"%a",   L"%A",     L"%.3a",     L"%.300f",  L"%.60e", L"%400.1f"};
    const double values[] = {0.0, -0.0, 1.0, -1.5, 3.14159, 1e-300, 123456789.125, 1e300, -2.5e-7};
    for (const wchar_t* f : formats)
        for (double v : values) {
            CString s;
            s.Format(f, v);
            EXPECT_EQ(std::wstring(s.GetString()), C(f, v)) << CString(f).ToUtf8() << " " << v;
        }
}

} // namespace
