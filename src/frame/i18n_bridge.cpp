#include "i18n_bridge.h"

#include <atomic>

namespace {
std::atomic<IGLB_UILanguage*> g_service{nullptr};
}

int GTalInitI18N_UIResFromUtl(IGLB_UILanguage* service) {
    g_service.store(service);
    return 1;
}

int GTalUnInitI18N_UIResFromUtl() {
    g_service.store(nullptr);
    return 1;
}
