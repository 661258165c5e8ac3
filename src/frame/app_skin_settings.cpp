#include <tlvutl/frame.h>
#include <tlvutl/singleton.h>

#include "platform/module_loader.h"
#include "teardown.h"

#include <mutex>

struct WAppSkinSettingDataAccess {
    static WAppSkinSettingData* Make() { return new WAppSkinSettingData(); }
};

namespace {

// The instance is created under the write lock after an unlocked check and torn down by
// the last UTLUninitialize; after that the name falls back to the executable's.
TlvUtils::ThreadLock g_lock;
WAppSkinSettingData* g_instance = nullptr;
bool g_destroyed = false;
std::mutex g_nameMutex;
CString g_hostName;

const bool g_registered = tlv::frame::RegisterTeardownStep(
    tlv::frame::TeardownRank::AppSkinSettings, &WAppSkinSettingData::DestroyInstance);

} // namespace

WAppSkinSettingData::WAppSkinSettingData() : uiName_(tlv::platform::ExecutableName()) {}

WAppSkinSettingData* WAppSkinSettingData::GetInstance() {
    {
        TlvUtils::ReadLock r(g_lock);
        if (g_instance || g_destroyed)
            return g_instance;
    }
    TlvUtils::WriteLock w(g_lock);
    if (!g_instance && !g_destroyed)
        g_instance = WAppSkinSettingDataAccess::Make();
    return g_instance;
}

void WAppSkinSettingData::DestroyInstance() {
    TlvUtils::WriteLock w(g_lock);
    delete g_instance;
    g_instance = nullptr;
    g_destroyed = true;
}

CString WAppSkinSettingData::GetAppUIName() {
    GetInstance();
    {
        std::lock_guard<std::mutex> g(g_nameMutex);
        if (!g_hostName.IsEmpty())
            return g_hostName;
    }
    TlvUtils::ReadLock r(g_lock);
    return g_instance ? g_instance->uiName_ : CString(tlv::platform::ExecutableName());
}

void WAppSkinSettingData::SetAppUIName(const CString& name) {
    std::lock_guard<std::mutex> g(g_nameMutex);
    g_hostName = name;
}
