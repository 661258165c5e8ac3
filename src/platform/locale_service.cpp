// The locale service: the user's locale, read once from the system, under the process-wide
// override, answered in Win32 terms.
#include <tlvutl/locale.h>

#include "last_error.h"
#include "user_locale.h"

#include <atomic>
#include <cwchar>
#include <mutex>
#include <shared_mutex>

namespace TlvUtl {
namespace {

struct State {
    std::shared_mutex m;
    bool loaded = false;
    LocaleSettings system; // from the environment
    LocaleOverride override_;
    LocaleSettings effective;
    LCID lcid = 0;
};

State& S() {
    static State* s = new State; // used by static destructors of hosts; never freed
    return *s;
}

std::atomic<LCID> g_nextLcid{0x10000};
thread_local DWORD t_lastError = 0;

template <class T> void Apply(T& field, const std::optional<T>& value) {
    if (value)
        field = *value;
}

// Recomputes the effective settings; the caller holds the write lock.
void Rebuild(State& s) {
    if (!s.loaded) {
        if (!tlv::platform::ReadLocale(tlv::platform::UserLocaleName(), s.system))
            tlv::platform::ReadLocale(L"C", s.system);
        const int measure =
            tlv::platform::ReadMeasurement(tlv::platform::UserMeasurementLocaleName());
        if (measure >= 0)
            s.system.measure = measure;
        LocaleSettings ui;
        if (tlv::platform::ReadLocale(tlv::platform::UserMessagesLocaleName(), ui))
            s.system.rightToLeft = ui.rightToLeft;
        s.loaded = true;
    }
    LocaleSettings e = s.system;
    const LocaleOverride& o = s.override_;
    Apply(e.name, o.name);
    Apply(e.decimalSeparator, o.decimalSeparator);
    Apply(e.thousandSeparator, o.thousandSeparator);
    Apply(e.listSeparator, o.listSeparator);
    Apply(e.negativeSign, o.negativeSign);
    Apply(e.grouping, o.grouping);
    Apply(e.digits, o.digits);
    Apply(e.leadingZero, o.leadingZero);
    Apply(e.negativeMode, o.negativeMode);
    Apply(e.measure, o.measure);
    Apply(e.geoId, o.geoId);
    Apply(e.rightToLeft, o.rightToLeft);
    s.effective = e;
    s.lcid = g_nextLcid.fetch_add(1);
}

const LocaleSettings& Effective(State& s, std::shared_lock<std::shared_mutex>& reader) {
    if (!s.loaded) {
        reader.unlock();
        {
            std::unique_lock<std::shared_mutex> w(s.m);
            if (!s.loaded)
                Rebuild(s);
        }
        reader.lock();
    }
    return s.effective;
}

int WriteText(const std::wstring& text, LPWSTR data, int capacity) {
    const int needed = static_cast<int>(text.size()) + 1;
    if (capacity == 0)
        return needed;
    if (!data || capacity < needed) {
        t_lastError = ERROR_INSUFFICIENT_BUFFER;
        return 0;
    }
    std::wmemcpy(data, text.c_str(), text.size() + 1);
    return needed;
}

} // namespace

void SetLocaleOverride(const LocaleOverride& fields) {
    State& s = S();
    std::unique_lock<std::shared_mutex> w(s.m);
    s.override_ = fields;
    Rebuild(s);
}

void ClearLocaleOverride() {
    SetLocaleOverride(LocaleOverride{});
}

void RefreshLocale() {
    State& s = S();
    std::unique_lock<std::shared_mutex> w(s.m);
    s.loaded = false;
    Rebuild(s);
}

LocaleSettings CurrentLocaleSettings() {
    State& s = S();
    std::shared_lock<std::shared_mutex> r(s.m);
    return Effective(s, r);
}

bool ReadPosixLocale(const std::wstring& name, LocaleSettings& out) {
    return tlv::platform::ReadLocale(name, out);
}

namespace Win32 {

LCID GetUserDefaultLCID() {
    State& s = S();
    std::shared_lock<std::shared_mutex> r(s.m);
    Effective(s, r);
    return s.lcid;
}

int GetLocaleInfoW(LCID, LCTYPE type, LPWSTR data, int capacity) {
    if (capacity < 0) {
        t_lastError = ERROR_INVALID_PARAMETER;
        return 0;
    }
    State& s = S();
    std::shared_lock<std::shared_mutex> r(s.m);
    const LocaleSettings& e = Effective(s, r);
    switch (type & 0xFFFFu) {
    case LOCALE_SDECIMAL:
        return WriteText(e.decimalSeparator, data, capacity);
    case LOCALE_STHOUSAND:
        return WriteText(e.thousandSeparator, data, capacity);
    case LOCALE_SLIST:
        return WriteText(e.listSeparator, data, capacity);
    case LOCALE_SNEGATIVESIGN:
        return WriteText(e.negativeSign, data, capacity);
    case LOCALE_SGROUPING:
        return WriteText(e.grouping, data, capacity);
    case LOCALE_SNAME:
        return WriteText(e.name, data, capacity);
    case LOCALE_IDIGITS:
        return WriteText(std::to_wstring(e.digits), data, capacity);
    case LOCALE_ILZERO:
        return WriteText(std::to_wstring(e.leadingZero), data, capacity);
    case LOCALE_INEGNUMBER:
        return WriteText(std::to_wstring(e.negativeMode), data, capacity);
    case LOCALE_IMEASURE:
        return WriteText(std::to_wstring(e.measure), data, capacity);
    default:
        t_lastError = ERROR_INVALID_FLAGS;
        return 0;
    }
}

GEOID GetUserGeoID(GEOCLASS geoClass) {
    if (geoClass != GEOCLASS_NATION)
        return GEOID_NOT_AVAILABLE;
    return CurrentLocaleSettings().geoId;
}

DWORD GetLastError() {
    return t_lastError;
}

// Shared with the number formatter, which reports its own failures.
void SetLastError(DWORD error) {
    t_lastError = error;
}

} // namespace Win32
} // namespace TlvUtl

namespace tlv::platform {

TlvUtl::LocaleSettings CLocaleSettings() {
    TlvUtl::LocaleSettings c;
    c.name = L"C";
    c.decimalSeparator = L".";
    c.thousandSeparator = L",";
    c.listSeparator = L",";
    c.negativeSign = L"-";
    c.grouping = L"3;0";
    c.measure = 1;
    c.geoId = 244; // the United States
    return c;
}

} // namespace tlv::platform
