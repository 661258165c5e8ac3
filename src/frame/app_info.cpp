#include <tlvutl/frame.h>

#include <stdexcept>

namespace {

IAppStartup* g_startup = nullptr;

class Resources final : public IResources {
public:
    CString GetVersionText(bool shortForm) override {
        if (long_.IsEmpty()) {
            DWORD n[4] = {0, 0, 0, 0};
            ApplicationInfo::Settings().GetVersionNumbers(n);
            long_.Format(UTLLoadStringEx(23931), n[0], n[1], n[2], n[3]);
            short_.Format(UTLLoadStringEx(23932), n[0]);
        }
        return shortForm ? short_ : long_;
    }

private:
    CString long_, short_, unused1_, unused2_;
};

class AppShutdownFlag final : public IAppShutdown {
public:
    bool IsShuttingDown() const override { return value_; }
    void SetShuttingDown(bool value) override { value_ = value; }

private:
    bool value_ = false;
};

} // namespace

IAppStartupInit::~IAppStartupInit() = default;
IAppStartup::~IAppStartup() = default;
IResources::~IResources() = default;
IAppShutdown::~IAppShutdown() = default;

void TLVUTLSetAppInfo(IAppStartup& startup, const IAppStartupInit&) {
    g_startup = &startup;
}

void SetAppInfo(IAppStartup& startup, const IAppStartupInit& init) {
    TLVUTLSetAppInfo(startup, init);
}

IAppStartup& ApplicationInfo::AppStartup() {
    if (!g_startup)
        throw std::logic_error("tlvutl: no application objects; call TLVUTLSetAppInfo first");
    return *g_startup;
}

const IAppStartupInit& ApplicationInfo::Settings() {
    return AppStartup().GetSettings();
}

IResources& ApplicationInfo::Resources() {
    static ::Resources r;
    return r;
}

IAppShutdown& ApplicationInfo::AppShutdown() {
    static AppShutdownFlag a;
    return a;
}
