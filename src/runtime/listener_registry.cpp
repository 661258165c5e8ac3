#include "listener_registry.h"

#include <algorithm>

namespace tlv::runtime {

bool ListenerRegistry::Register(const std::wstring& key, const Listener& listener) {
    auto& list = byKey_[key];
    if (std::find(list.begin(), list.end(), listener) != list.end())
        return false;
    list.push_back(listener);
    return true;
}

bool ListenerRegistry::Unregister(const std::wstring& key, const Listener& listener) {
    auto it = byKey_.find(key);
    if (it == byKey_.end())
        return false;
    auto& list = it->second;
    auto found = std::find(list.begin(), list.end(), listener);
    if (found == list.end())
        return false;
    list.erase(found);
    if (list.empty())
        byKey_.erase(it);
    return true;
}

std::size_t ListenerRegistry::Count(const std::wstring& key) const {
    auto it = byKey_.find(key);
    return it == byKey_.end() ? 0 : it->second.size();
}

void ListenerRegistry::RemoveAll(const std::wstring& key) {
    byKey_.erase(key);
}

bool ListenerRegistry::Contains(const std::wstring& key, const Listener& listener) const {
    auto it = byKey_.find(key);
    return it != byKey_.end() &&
           std::find(it->second.begin(), it->second.end(), listener) != it->second.end();
}

std::vector<ListenerRegistry::Listener> ListenerRegistry::Snapshot(const std::wstring& key) const {
    auto it = byKey_.find(key);
    return it == byKey_.end() ? std::vector<Listener>() : it->second;
}

} // namespace tlv::runtime
