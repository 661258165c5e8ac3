// Random texts and capacities through the number-text functions and the regional format:
// no read past the terminator, no write past capacity + 1, no crash.
#include <tlvutl/locale.h>
#include <tlvutl/regional_format.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

void Once() {
    static bool done = false;
    if (done)
        return;
    done = true;
    TlvUtl::LocaleOverride o;
    o.decimalSeparator = L",", o.thousandSeparator = L"\u202f", o.grouping = L"3;2;0",
    o.negativeMode = 4;
    TlvUtl::SetLocaleOverride(o);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Once();
    if (size < 1)
        return 0;
    const int capacity = data[0] % 64;
    std::wstring text;
    for (size_t i = 1; i + 1 < size; i += 2) {
        const wchar_t c = static_cast<wchar_t>(data[i] | (data[i + 1] << 8));
        if (c)
            text += c;
    }
    // Exactly as large as the contract promises: text plus terminator, or capacity + 1.
    std::vector<wchar_t> buffer(std::max<size_t>(text.size(), static_cast<size_t>(capacity)) + 1);
    std::memcpy(buffer.data(), text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    if (text.size() <= static_cast<size_t>(capacity))
        UTLAddNumericGroupingSymbols(buffer.data(), capacity);
    UTLTruncateDecimalTrailingZeros(buffer.data());
    UTLRemoveLeadingSpaces(buffer.data());
    UTLRemoveTrailingSpaces(buffer.data());
    UTLRemoveSpaces(buffer.data());

    WRegionalSupportFormat format;
    CString out;
    format.GetValueInLocaleFormat(CString(text), out);
    format.RemoveThousandSeptFromValue(CString(text), out);

    NUMBERFMTW record{static_cast<UINT>(data[0] % 12), 1,
                      static_cast<UINT>(data[0] % 40), const_cast<LPWSTR>(L"."),
                      const_cast<LPWSTR>(L","),        static_cast<UINT>(data[0] % 5)};
    std::vector<wchar_t> numberOut(static_cast<size_t>(capacity) + 1);
    TlvUtl::Win32::GetNumberFormatW(0, 0, text.c_str(), &record, numberOut.data(), capacity);
    return 0;
}
