#include "folder_roots.h"

#include "platform/console.h"
#include "platform/file_system.h"
#include "platform/module_loader.h"

#include <map>

namespace tlv::environment {
namespace {

std::mutex g_mutex;
std::map<TlvUtl::FolderRoot, std::wstring> g_roots;
std::wstring g_appFolder;
std::atomic<unsigned> g_generation{1};

} // namespace

std::wstring RootOverride(TlvUtl::FolderRoot root) {
    std::lock_guard<std::mutex> g(g_mutex);
    const auto it = g_roots.find(root);
    return it == g_roots.end() ? std::wstring() : it->second;
}

std::wstring AppFolderName() {
    {
        std::lock_guard<std::mutex> g(g_mutex);
        if (!g_appFolder.empty())
            return g_appFolder;
    }
    return tlv::platform::ExecutableName();
}

std::wstring BundledInstallation() {
    const std::wstring root = RootOverride(TlvUtl::FolderRoot::Installation);
    if (!root.empty())
        return WithSeparator(root);
    const std::wstring env = tlv::platform::GetEnvironment("TLV_INSTALL_DIR");
    if (!env.empty())
        return CombinePath(env, L"");
    return CombinePath(tlv::platform::LibraryDirectory() + TLVUTL_LIB_TO_INSTALLATION, L"");
}

unsigned Generation() {
    return g_generation.load(std::memory_order_acquire);
}

// Folders end in the system's separator, as the getters' callers join names on directly.
std::wstring WithSeparator(std::wstring path) {
    if (path.empty() || (path.back() != L'/' && path.back() != tlv::platform::kPathSeparator))
        path += tlv::platform::kPathSeparator;
    return path;
}

std::wstring CombinePath(const std::wstring& base, const std::wstring& sub) {
    return WithSeparator(tlv::platform::JoinPath(base, sub));
}

void CreateFolders(const std::wstring& path) {
    // A folder that cannot be made is not reported here: the path stands, and whoever
    // writes into it meets the reason.
    tlv::platform::CreateDirectories(path);
}

} // namespace tlv::environment

namespace TlvUtl {

void SetFolderRoot(FolderRoot root, const std::wstring& path) {
    {
        std::lock_guard<std::mutex> g(tlv::environment::g_mutex);
        if (path.empty())
            tlv::environment::g_roots.erase(root);
        else
            tlv::environment::g_roots[root] = path;
    }
    ResetFolderCaches();
}

void SetAppFolderName(const std::wstring& name) {
    {
        std::lock_guard<std::mutex> g(tlv::environment::g_mutex);
        tlv::environment::g_appFolder = name;
    }
    ResetFolderCaches();
}

void ResetFolderCaches() {
    tlv::environment::g_generation.fetch_add(1, std::memory_order_acq_rel);
}

} // namespace TlvUtl
