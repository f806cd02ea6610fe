// Result<T, E>: Ok(value) with tag 0 or Err(error) with tag 1, a plain value that is copied.
// Payloads are held as Option's are: managed classes by rooted handles.
#pragma once
#include "stdlib/core/option.hpp"

namespace stdlib {

template <class T>
struct OkValue {
    T value;
};
template <class E>
struct ErrValue {
    E value;
};
template <class T>
OkValue<std::decay_t<T>> Ok(T&& value) {
    return {std::forward<T>(value)};
}
template <class E>
ErrValue<std::decay_t<E>> Err(E&& error) {
    return {std::forward<E>(error)};
}

template <class T, class E>
class Result {
public:
    using value_type = held_t<T>;
    using error_type = held_t<E>;

    template <class U>
    Result(OkValue<U> ok) : tag_(0), value_(std::move(ok.value)), error_() {}
    template <class U>
    Result(ErrValue<U> err) : tag_(1), value_(), error_(std::move(err.value)) {}

    bool is_ok() const { return tag_ == 0; }
    bool is_err() const { return tag_ == 1; }
    const value_type& unwrap_ok() const {
        if (is_err()) nolt_panic("Result.unwrap_ok called on Err");
        return value_;
    }
    const error_type& unwrap_err() const {
        if (is_ok()) nolt_panic("Result.unwrap_err called on Ok");
        return error_;
    }
    value_type unwrap_or(value_type fallback) const { return is_ok() ? value_ : std::move(fallback); }

private:
    int32_t tag_;
    value_type value_;
    error_type error_;
};

}  // namespace stdlib
