// Key paths as the registry functions take them, the same on every platform.
#include "registry_raw.h"

#include <atomic>

namespace tlv::platform {

namespace {
std::atomic<long> faultIndex{-1};
std::atomic<LONG> faultStatus{ERROR_SUCCESS};
} // namespace

void FailRegChangeForTesting(long index, LONG status) {
    faultStatus = status;
    faultIndex = index;
}

LONG InjectedRegChangeFault(std::size_t index) {
    const long armed = faultIndex.load();
    if (armed < 0 || static_cast<std::size_t>(armed) != index)
        return ERROR_SUCCESS;
    faultIndex = -1;
    return faultStatus.load();
}

void ClearRegChangeFault() {
    faultIndex = -1;
}

LONG SplitRegistryPath(const wchar_t* subKey, RegPath& path) {
    path.clear();
    if (!subKey || !*subKey)
        return ERROR_SUCCESS;
    std::wstring_view rest(subKey);
    if (rest.front() == L'\\')
        return ERROR_BAD_PATHNAME;
    if (rest.back() == L'\\')
        rest.remove_suffix(1);
    while (true) {
        const std::size_t cut = rest.find(L'\\');
        const std::wstring_view level = rest.substr(0, cut);
        if (level.empty())
            return ERROR_BAD_PATHNAME;
        path.emplace_back(level);
        if (cut == std::wstring_view::npos)
            return ERROR_SUCCESS;
        rest.remove_prefix(cut + 1);
    }
}

} // namespace tlv::platform
