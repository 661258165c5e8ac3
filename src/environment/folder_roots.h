// What the folder getters are built on: the replaceable roots, the host application's folder
// name, the product descriptor and the cache that every getter keeps.
#ifndef TLVUTL_ENVIRONMENT_FOLDER_ROOTS_H
#define TLVUTL_ENVIRONMENT_FOLDER_ROOTS_H

#include <tlvutl/cstring.h>
#include <tlvutl/folders.h>

#include <atomic>
#include <mutex>
#include <string>

namespace tlv::environment {

// The product identity read from "AppBoxID.xml".
struct ProductDescriptor {
    std::wstring applicationRegKey;
    std::wstring uiSuiteTitle;
    std::wstring boxName;
    std::wstring userPathDir;
    std::wstring userProductDir;
    std::wstring userContentDir;
    std::wstring installedContentDir;
};

// Read once per generation of the roots; a copy, as the roots may change meanwhile.
ProductDescriptor Product();

// The root's replacement, or empty when the platform's applies.
std::wstring RootOverride(TlvUtl::FolderRoot root);
std::wstring AppFolderName();
// Where the bundled installation lies ($TLV_INSTALL_DIR or next to the library).
std::wstring BundledInstallation();
// Bumped by every change of the roots; caches made before it are stale.
unsigned Generation();

// base + sub with "." and ".." removed and a trailing separator; relative when base is.
std::wstring CombinePath(const std::wstring& base, const std::wstring& sub);
std::wstring WithSeparator(std::wstring path);
void CreateFolders(const std::wstring& path);

// One getter's cache: tested once without the lock and once with it, so concurrent first
// calls may compute the path twice but store it once.
class CachedPath {
public:
    template <class Compute> CString Get(Compute compute) {
        const unsigned generation = Generation();
        if (valid_.load(std::memory_order_acquire) != generation + 1) {
            CString path = compute();
            std::lock_guard<std::mutex> g(m_);
            if (valid_.load(std::memory_order_relaxed) != generation + 1) {
                path_ = path;
                valid_.store(generation + 1, std::memory_order_release);
            }
        }
        std::lock_guard<std::mutex> g(m_);
        return path_;
    }
    void Clear() { valid_.store(0, std::memory_order_release); }

private:
    std::mutex m_;
    std::atomic<unsigned> valid_{0}; // generation + 1 of the cached path, 0 for none
    CString path_;
};

} // namespace tlv::environment

#endif
