// The regional number format object: one implementation shared by every handle.
#include <tlvutl/locale.h>
#include <tlvutl/regional_format.h>

#include "frame/teardown.h"
#include "locale_refresh.h"

#include <cwchar>
#include <mutex>
#include <vector>

class WRegionalSupportFormatImpl {
public:
    bool GetValueInLocaleFormat(const CString& value, CString& out);
    bool RemoveThousandSeptFromValue(const CString& value, CString& out);
    void SetNumFractionalDigit(unsigned digits) { defaultDigits_ = digits; }

private:
    void Refresh();

    bool loaded_ = false;
    LCID lcid_ = 0;
    unsigned defaultDigits_ = 0;
    NUMBERFMTW format_{};
    std::wstring decimal_;
    std::wstring thousand_;
    std::wstring number_, cleaned_, buffer_;
};

namespace {

std::mutex g_instanceMutex;
std::shared_ptr<WRegionalSupportFormatImpl> g_instance;

const bool g_registered = tlv::frame::RegisterTeardownStep(
    tlv::frame::TeardownRank::RegionalFormat, &WRegionalSupportFormat::DestroyInstance);

std::vector<void (*)()>& RefreshListeners() {
    static auto* listeners = new std::vector<void (*)()>;
    return *listeners;
}

std::wstring LocaleText(LCTYPE type) {
    wchar_t buffer[64];
    return TlvUtl::Win32::GetLocaleInfoW(LOCALE_USER_DEFAULT, type, buffer, 64)
               ? std::wstring(buffer)
               : std::wstring();
}

} // namespace

namespace tlv::units {
void AddLocaleRefreshListener(void (*listener)()) {
    RefreshListeners().push_back(listener);
}
} // namespace tlv::units

void WRegionalSupportFormatImpl::Refresh() {
    const LCID now = TlvUtl::Win32::GetUserDefaultLCID();
    if (loaded_ && now == lcid_)
        return;
    lcid_ = now;
    loaded_ = true;
    format_.NumDigits = defaultDigits_;
    format_.LeadingZero =
        static_cast<UINT>(std::wcstol(LocaleText(LOCALE_ILZERO).c_str(), nullptr, 10));
    // The grouping string read as a number: "3;0" gives 3, and so does "3;2;0".
    format_.Grouping =
        static_cast<UINT>(std::wcstol(LocaleText(LOCALE_SGROUPING).c_str(), nullptr, 10));
    decimal_ = LocaleText(LOCALE_SDECIMAL);
    thousand_ = LocaleText(LOCALE_STHOUSAND);
    UINT mode = static_cast<UINT>(std::wcstol(LocaleText(LOCALE_INEGNUMBER).c_str(), nullptr, 10));
    // A right-to-left interface shows the sign on the other side.
    if (TlvUtl::CurrentLocaleSettings().rightToLeft && mode >= 1 && mode <= 4)
        mode = mode <= 2 ? mode + 2 : mode - 2;
    format_.NegativeOrder = mode;
    format_.lpDecimalSep = decimal_.data();
    format_.lpThousandSep = thousand_.data();
    for (void (*listener)() : RefreshListeners())
        listener();
}

bool WRegionalSupportFormatImpl::GetValueInLocaleFormat(const CString& value, CString& out) {
    Refresh();
    if (value.IsEmpty()) {
        out = value;
        return false;
    }
    const std::wstring& v = value.str();
    const wchar_t dec0 = decimal_.empty() ? L'\0' : decimal_[0];
    const wchar_t thou0 = thousand_.empty() ? L'\0' : thousand_[0];
    // The number ends at the last digit or separator; what follows is kept aside.
    std::size_t end = v.size();
    while (end > 0) {
        const wchar_t c = v[end - 1];
        if ((c >= L'0' && c <= L'9') || (dec0 && c == dec0) || (thou0 && c == thou0))
            break;
        --end;
    }
    if (end == 0) {
        out = value;
        return false;
    }
    const std::wstring_view suffix(v.data() + end, v.size() - end);
    // The scratch strings are members so that their blocks are reused from call to call.
    number_.assign(v, 0, end);
    if (!thousand_.empty())
        for (std::size_t at; (at = number_.find(thousand_)) != std::wstring::npos;)
            number_.erase(at, thousand_.size());
    bool hasDecimal = false;
    if (!decimal_.empty()) {
        const std::size_t at = number_.find(decimal_);
        if (at != std::wstring::npos) {
            number_[at] = L'.';
            hasDecimal = true;
        }
    }
    cleaned_.clear();
    for (wchar_t c : number_)
        if ((c >= L'0' && c <= L'9') || c == L'-' || c == L'.')
            cleaned_ += c;
    format_.NumDigits = 0;
    if (hasDecimal) {
        const std::size_t point = cleaned_.find(L'.');
        const std::size_t after = point == std::wstring::npos ? 0 : cleaned_.size() - point - 1;
        format_.NumDigits = static_cast<UINT>(after > 9 ? 9 : after);
    }
    const int capacity = static_cast<int>(cleaned_.size() + format_.Grouping + 5);
    buffer_.assign(static_cast<std::size_t>(capacity), L'\0');
    const int n = TlvUtl::Win32::GetNumberFormatW(LOCALE_USER_DEFAULT, 0, cleaned_.c_str(),
                                                  &format_, buffer_.data(), capacity);
    out = L"";
    if (n > 0)
        out.Append(buffer_.data(), n - 1);
    else
        out.Append(cleaned_.data(), static_cast<int>(cleaned_.size()));
    out.Append(suffix.data(), static_cast<int>(suffix.size()));
    return n > 0;
}

bool WRegionalSupportFormatImpl::RemoveThousandSeptFromValue(const CString& value, CString& out) {
    Refresh();
    if (thousand_.empty() || value.Find(thousand_[0]) < 0)
        return false;
    CString stripped = value;
    stripped.Remove(thousand_[0]);
    out = stripped;
    return true;
}

WRegionalSupportFormat::WRegionalSupportFormat() {
    std::lock_guard<std::mutex> g(g_instanceMutex);
    if (!g_instance)
        g_instance = std::make_shared<WRegionalSupportFormatImpl>();
    impl_ = g_instance;
}

WRegionalSupportFormat::~WRegionalSupportFormat() = default;

bool WRegionalSupportFormat::GetValueInLocaleFormat(CString value, CString& out) {
    return impl_->GetValueInLocaleFormat(value, out);
}

bool WRegionalSupportFormat::RemoveThousandSeptFromValue(CString value, CString& out) {
    return impl_->RemoveThousandSeptFromValue(value, out);
}

void WRegionalSupportFormat::SetNumFractionalDigit(unsigned digits) {
    impl_->SetNumFractionalDigit(digits);
}

void WRegionalSupportFormat::DestroyInstance() {
    std::lock_guard<std::mutex> g(g_instanceMutex);
    g_instance.reset();
}
