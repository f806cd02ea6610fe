// Vec<T>: a growable list of references, T being a handle type such as `string`.
// The list lives on the managed heap; its array doubles when full.
#pragma once
#include "stdlib/core/option.hpp"

namespace stdlib {

template <class T>
class Vec {
    NOLT_MANAGED(Vec, void);

public:
    using Element = typename T::element_type;
    using Items = runtime::Array<runtime::Member<Element>>;

    static runtime::Root<Vec> create() { return create_with_capacity(16); }
    static runtime::Root<Vec> create_with_capacity(int32_t n) {
        runtime::Root<Vec> vec = runtime::make<Vec>();
        vec->reserve(n < 1 ? 1 : n);
        return vec;
    }

    void push(const T& item) {
        if (len_ == capacity_) reserve(capacity_ < 1 ? 1 : capacity_ * 2);
        items[len_++] = item;
    }
    Option<T> pop() {
        if (len_ == 0) return None;
        T item(items[--len_]);
        items[len_] = nullptr;  // a vacated slot keeps nothing alive
        return Some(item);
    }
    Option<T> get(int32_t index) const {
        if (index < 0 || index >= len_) return None;
        return Some(T(items[index]));
    }
    Option<T> first() const { return get(0); }
    Option<T> last() const { return get(len_ - 1); }
    bool set(int32_t index, const T& item) {
        if (index < 0 || index >= len_) return false;
        items[index] = item;
        return true;
    }
    bool insert(int32_t index, const T& item) {
        if (index < 0 || index > len_) return false;
        if (len_ == capacity_) reserve(capacity_ < 1 ? 1 : capacity_ * 2);
        auto* slots = items->data();
        for (int32_t i = len_; i > index; i--) slots[i] = slots[i - 1];
        slots[index] = item;
        len_++;
        return true;
    }
    bool remove_at(int32_t index) {
        if (index < 0 || index >= len_) return false;
        auto* slots = items->data();
        for (int32_t i = index; i + 1 < len_; i++) slots[i] = slots[i + 1];
        slots[--len_] = nullptr;
        return true;
    }
    int32_t len() const { return len_; }
    int32_t capacity() const { return capacity_; }
    bool is_empty() const { return len_ == 0; }
    void clear() {
        while (len_ > 0) items[--len_] = nullptr;
    }
    // A new array of exactly len() items.
    runtime::Root<Items> to_array() const {
        runtime::Root<Items> copy = Items::make((uint64_t)len_);
        for (int32_t i = 0; i < len_; i++) copy->data()[i] = items->data()[i];
        return copy;
    }

private:
    runtime::Member<Items> items;
    int32_t len_ = 0;
    int32_t capacity_ = 0;

    void reserve(int32_t n) {
        runtime::Root<Items> grown = Items::make((uint64_t)n);
        for (int32_t i = 0; i < len_; i++) grown->data()[i] = items->data()[i];
        items = grown;
        capacity_ = n;
    }
};

}  // namespace stdlib
