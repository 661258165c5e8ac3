// TlvUtils::optional: an engaged flag plus a value, returned by the typed getters.
//
// A thin layer over std::optional that adds the companion library's spellings
// (HasValue/Value/ValueOr), so code written against either reads naturally.
#ifndef TLVUTL_OPTIONAL_H
#define TLVUTL_OPTIONAL_H

#include <optional>
#include <utility>

namespace TlvUtils {

// std::optional<T> with the HasValue, Value and ValueOr spellings; everything of std::optional
// works as well.
template <class T> class optional : public std::optional<T> {
public:
    using std::optional<T>::optional;
    using std::optional<T>::operator=;
    optional() = default;
    // From a std::optional, engaged or not.
    // @{
    optional(const std::optional<T>& o) : std::optional<T>(o) {}
    optional(std::optional<T>&& o) : std::optional<T>(std::move(o)) {}
    // @}

    // True when engaged.
    bool HasValue() const { return this->has_value(); }
    // The value; throws std::bad_optional_access when empty.
    // @{
    const T& Value() const { return this->value(); }
    T& Value() { return this->value(); }
    // @}
    // The value, or fallback converted to T when empty.
    template <class U> T ValueOr(U&& fallback) const {
        return this->value_or(std::forward<U>(fallback));
    }
};

} // namespace TlvUtils

#endif
