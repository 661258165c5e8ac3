// TlvUtils::Delegate: a two-word callback.
//
// A delegate is an object word and an invoker; calling it calls invoker(object, args...).
// Two delegates are equal exactly when both words are equal, which is what lets a hook be
// unregistered by value. For a free function the object word is the function itself.
#ifndef TLVUTL_DELEGATE_H
#define TLVUTL_DELEGATE_H

#include <type_traits>
#include <utility>

namespace TlvUtils {

template <class Signature> class Delegate;

// A callback of signature R(Args...): an object word and an invoker. A plain value, cheap to copy;
// it does not own the object.
template <class R, class... Args> class Delegate<R (*)(Args...)> {
public:
    // The free-function form of the signature, and the invoker's: the object word comes first.
    // @{
    using Function = R (*)(Args...);
    using Invoker = R (*)(void*, Args...);
    // @}

    // An empty delegate, or one from its two words.
    // @{
    Delegate() = default;
    Delegate(void* object, Invoker invoker) : object_(object), invoker_(invoker) {}
    // @}

    // A free function: the object word holds the function, the invoker calls it.
    static Delegate FromFunction(Function f) {
        return Delegate(reinterpret_cast<void*>(f), &CallFunction);
    }
    // A member function bound to an object, fixed at compile time.
    template <class T, R (T::*Method)(Args...)> static Delegate FromMethod(T* object) {
        return Delegate(object, &CallMethod<T, Method>);
    }

    // Calls invoker(object, args...); undefined for an empty delegate.
    R operator()(Args... args) const { return invoker_(object_, std::forward<Args>(args)...); }
    // True unless empty.
    explicit operator bool() const { return invoker_ != nullptr; }

    // The object word and the invoker.
    // @{
    void* Object() const { return object_; }
    Invoker GetInvoker() const { return invoker_; }
    // @}

    // Equal when both words are.
    friend bool operator==(const Delegate& a, const Delegate& b) {
        return a.object_ == b.object_ && a.invoker_ == b.invoker_;
    }

private:
    static R CallFunction(void* f, Args... args) {
        return reinterpret_cast<Function>(f)(std::forward<Args>(args)...);
    }
    template <class T, R (T::*Method)(Args...)> static R CallMethod(void* o, Args... args) {
        return (static_cast<T*>(o)->*Method)(std::forward<Args>(args)...);
    }

    void* object_ = nullptr;
    Invoker invoker_ = nullptr;
};

} // namespace TlvUtils

#endif
