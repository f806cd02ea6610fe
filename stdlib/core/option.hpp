// Option<T>: Some(value) with tag 0 or None with tag 1, a plain value that is copied.
//
// A payload that is a managed class (Option<Error>) is held by a rooted handle; texts and arrays
// are already handles (Option<string>). So an Option in a C++ local keeps its payload alive.
#pragma once
#include <stdint.h>

#include <type_traits>
#include <utility>

#include "runtime/managed.hpp"

namespace stdlib {

// How a payload of type T is held outside the heap: managed classes by a rooted handle.
template <class T>
struct held {
    using type = T;
};
template <class T>
    requires requires { typename T::nolt_self; }
struct held<T> {
    using type = runtime::Root<T>;
};
template <class T>
using held_t = typename held<T>::type;

struct NoneType {};
inline constexpr NoneType None{};

template <class T>
struct SomeValue {
    T value;
};
template <class T>
SomeValue<std::decay_t<T>> Some(T&& value) {
    return {std::forward<T>(value)};
}

template <class T>
class Option {
public:
    using value_type = held_t<T>;

    Option(NoneType) : tag_(1), value_() {}
    template <class U>
    Option(SomeValue<U> some) : tag_(0), value_(std::move(some.value)) {}

    bool is_some() const { return tag_ == 0; }
    bool is_none() const { return tag_ == 1; }
    const value_type& unwrap() const {
        if (is_none()) nolt_panic("Option.unwrap called on None");
        return value_;
    }
    value_type unwrap_or(value_type fallback) const { return is_some() ? value_ : std::move(fallback); }

private:
    int32_t tag_;
    value_type value_;
};

}  // namespace stdlib
