// Listener delegates by string key: the state behind the timer engine's broadcaster. Not
// synchronised; its owner locks around it.
#ifndef TLVUTL_RUNTIME_LISTENER_REGISTRY_H
#define TLVUTL_RUNTIME_LISTENER_REGISTRY_H

#include <tlvutl/timers.h>

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

namespace tlv::runtime {

class ListenerRegistry {
public:
    using Listener = DataBinding::IBroadcaster::Listener;

    // A delegate is kept once per key; false when it was there already.
    bool Register(const std::wstring& key, const Listener& listener);
    bool Unregister(const std::wstring& key, const Listener& listener);
    std::size_t Count(const std::wstring& key) const;
    void RemoveAll(const std::wstring& key);
    bool Contains(const std::wstring& key, const Listener& listener) const;
    // The listeners under the key, in registration order.
    std::vector<Listener> Snapshot(const std::wstring& key) const;
    // How many keys have at least one listener.
    std::size_t KeyCount() const { return byKey_.size(); }

private:
    // A key without listeners is erased, so counting never sees an empty entry.
    std::unordered_map<std::wstring, std::vector<Listener>> byKey_;
};

} // namespace tlv::runtime

#endif
