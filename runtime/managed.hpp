// The C++ face of the managed heap.
//
//   Root<T>     a rooted handle: holds a reference in a C++ local, temporary, return value,
//               container or any memory outside the heap. It occupies one cell of this thread's
//               root store, which is a shadow frame in the thread's chain, so handles can be
//               made, moved and dropped in any order.
//   Member<T>   a traced field: a reference stored inside a managed object or a managed array
//               element. It is not a root; whatever holds the object keeps it alive.
//   Global<T>   a global variable that holds a reference, registered with the collector.
//   make<T>()   allocates a managed object; Array<E>::make(n) an array; make_text() a text.
//   "..."_t     a text literal: a read-only block in the program's constants.
//
// A managed class declares NOLT_MANAGED(Class, Parent) (Parent is void for a root class), has a
// default constructor that does not allocate, and is trivially destructible. Its type record is
// built by running that default constructor once on scratch memory: every Member it contains,
// inherited or nested in value fields, reports its own offset, so the pointer table cannot miss
// one.
//
// The heap never moves an object, so a raw T* (`this` included) stays valid for as long as
// something rooted keeps its object reachable: a handle, a global, a field of a rooted owner, or
// the caller that holds the object whose method runs. A raw pointer is wrong only where it is the
// object's one path across a call that can allocate: the object of a temporary handle that dies at
// the end of its statement, or a fresh result not yet stored. Root what you create until it is
// stored; do not wrap what is already held. docs/memory.md says more.
#pragma once
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <atomic>
#include <new>
#include <type_traits>
#include <utility>

#include "runtime/heaps.hpp"
#include "runtime/values.hpp"

namespace runtime {

// ---- Type records -------------------------------------------------------------------------

struct TypeProbe;
extern __thread TypeProbe* active_probe;
void probe_record(const void* member);

struct TypeShape {
    size_t size;
    const char* name;
    const nolt_type* parent;
    void (*construct)(void* memory);
    bool polymorphic;
    int32_t variants;  // 0 for a class; the number of tags for a sum value
};
const nolt_type* build_type(const TypeShape& shape);

template <class T>
concept SumValue = requires { T::nolt_variants; };

template <class T>
const nolt_type* type_of();

template <class T>
const nolt_type* parent_type() {
    if constexpr (requires { typename T::nolt_parent; }) {
        if constexpr (std::is_void_v<typename T::nolt_parent>) return nullptr;
        else return type_of<typename T::nolt_parent>();
    } else {
        return nullptr;
    }
}

template <class T>
const char* type_name() {
    if constexpr (requires { T::nolt_name; }) return T::nolt_name;
    else return __PRETTY_FUNCTION__;
}

template <class T>
const nolt_type* type_of() {
    static_assert(std::is_default_constructible_v<T>, "the type record is built from the default constructor");
    static_assert(std::is_trivially_destructible_v<T>, "managed data is never destroyed, only reclaimed");
    static const nolt_type* record = build_type(TypeShape{
        sizeof(T), type_name<T>(), parent_type<T>(), [](void* memory) { new (memory) T(); },
        std::is_polymorphic_v<T>, [] {
            if constexpr (SumValue<T>) return int32_t(T::nolt_variants);
            else return int32_t(0);
        }()});
    return record;
}

#define NOLT_MANAGED(Class, Parent)              \
public:                                          \
    using nolt_self = Class;                     \
    using nolt_parent = Parent;                  \
    static constexpr const char* nolt_name = #Class

// ---- Liveness checks ----------------------------------------------------------------------

[[noreturn]] void dead_reference(const void* reference);

inline void check_live(const void* reference) {
    if (nolt_heaps_verify && reference && !nolt_heaps_is_live(reference)) dead_reference(reference);
}

// ---- Roots --------------------------------------------------------------------------------

void** root_cell_acquire();
void root_cell_release(void** cell);

// A collection can stop this thread between any two instructions and read its cells from a signal
// handler. The fences keep the compiler from moving stores into managed fields past a store that
// empties or overwrites a cell, which would hide the only path to an object for that moment.
inline void store_cell(void** cell, void* value) {
    std::atomic_signal_fence(std::memory_order_seq_cst);
    *(void* volatile*)cell = value;
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

template <class T>
class Root {
public:
    using element_type = T;

    Root() : cell_(root_cell_acquire()) {}
    Root(std::nullptr_t) : Root() {}
    Root(T* reference) : cell_(root_cell_acquire()) { store_cell(cell_, (void*)reference); }
    Root(const Root& other) : Root(other.get()) {}
    Root(Root&& other) noexcept : cell_(std::exchange(other.cell_, nullptr)) {}
    template <class U>
        requires std::is_convertible_v<U*, T*>
    Root(const Root<U>& other) : Root(static_cast<T*>(other.get())) {}
    template <class U>
        requires std::is_convertible_v<U*, T*>
    Root(Root<U>&& other) noexcept : cell_(other.release_cell()) {}
    ~Root() {
        if (cell_) root_cell_release(cell_);
    }

    Root& operator=(const Root& other) { return *this = other.get(); }
    Root& operator=(Root&& other) noexcept {
        if (this != &other) std::swap(cell_, other.cell_);
        return *this;
    }
    Root& operator=(T* reference) {
        if (!cell_) cell_ = root_cell_acquire();
        store_cell(cell_, (void*)reference);
        return *this;
    }

    T* get() const {
        T* reference = cell_ ? static_cast<T*>(*cell_) : nullptr;
        check_live(reference);
        return reference;
    }
    T* operator->() const { return get(); }
    T& operator*() const { return *get(); }
    explicit operator bool() const { return cell_ && *cell_; }
    // Checked indexing of a text or an array; a null one has length 0.
    decltype(auto) operator[](int64_t index) const
        requires requires(T* t) { T::at(t, index); }
    {
        return T::at(get(), index);
    }

    void** release_cell() { return std::exchange(cell_, nullptr); }

private:
    void** cell_;
};

// ---- Traced fields ------------------------------------------------------------------------

template <class T>
class Member {
public:
    Member() {
        if (active_probe) probe_record(this);
    }
    Member(const Member&) = default;
    Member& operator=(const Member&) = default;
    Member& operator=(T* reference) {
        ref_ = reference;
        return *this;
    }
    template <class U>
        requires std::is_convertible_v<U*, T*>
    Member& operator=(const Root<U>& root) {
        ref_ = root.get();
        return *this;
    }

    T* get() const {
        check_live(ref_);
        return ref_;
    }
    T* operator->() const { return get(); }
    T& operator*() const { return *get(); }
    explicit operator bool() const { return ref_ != nullptr; }
    operator Root<T>() const { return Root<T>(get()); }
    decltype(auto) operator[](int64_t index) const
        requires requires(T* t) { T::at(t, index); }
    {
        return T::at(get(), index);
    }

private:
    T* ref_ = nullptr;
};

static_assert(sizeof(Member<int>) == sizeof(void*));

// ---- Globals ------------------------------------------------------------------------------

[[noreturn]] void unregistered_global(const void* address);

template <class T>
class Global {
public:
    constexpr Global() = default;
    Global(const Global&) = delete;
    Global& operator=(const Global&) = delete;

    // Must run once, after the heap is up and before the first assignment.
    void register_root() {
        if (!registered_) nolt_heaps_register_global_root(&ref_);
        registered_ = true;
    }
    template <class U>
        requires std::is_convertible_v<U*, T*>
    Global& operator=(const Root<U>& root) {
        if (!registered_) unregistered_global(this);
        ref_ = root.get();
        return *this;
    }

    T* get() const {
        check_live(ref_);
        return ref_;
    }
    T* operator->() const { return get(); }
    explicit operator bool() const { return ref_ != nullptr; }
    operator Root<T>() const { return Root<T>(get()); }

private:
    T* ref_ = nullptr;
    bool registered_ = false;
};

// ---- Objects ------------------------------------------------------------------------------

void* allocate_object(const nolt_type* type);

template <class T, class... Args>
Root<T> make(Args&&... args) {
    static_assert(std::is_same_v<typename T::nolt_self, T>, "managed class without its own NOLT_MANAGED");
    Root<T> root(static_cast<T*>(allocate_object(type_of<T>())));
    new (root.get()) T(std::forward<Args>(args)...);
    return root;
}

// True if `object` is an instance of T or of a class derived from it.
template <class T, class U>
bool is(const Root<U>& object) {
    return nolt_type_is(object.get(), type_of<T>());
}

[[noreturn]] void bad_downcast(const void* object, const char* expected);

// `object` as a T, checked with the type records: null stays null, and anything but a T or an
// instance of a class derived from it stops the program.
template <class T, class U>
Root<T> as(const Root<U>& object) {
    U* reference = object.get();
    if (reference && !nolt_type_is(reference, type_of<T>())) bad_downcast(reference, type_name<T>());
    return Root<T>(static_cast<T*>(reference));
}

// ---- Arrays -------------------------------------------------------------------------------

void* allocate_array(uint64_t element_size, uint64_t count, const nolt_type* element_type, bool references);

// The payload of an array block: a fixed number of elements, zeroed at birth. Elements are plain
// values, traced fields (Member<T>), or sum values whose first field is a 32-bit tag.
template <class E>
class Array {
public:
    static_assert(std::is_trivially_copyable_v<E>, "array elements are copied as bytes");

    static constexpr bool references = requires(E e) { e.get(); } && sizeof(E) == sizeof(void*);
    // The element's type record when elements are sum values, else null.
    static const nolt_type* sum_type() {
        if constexpr (references) return nullptr;
        else if constexpr (SumValue<E>) return type_of<E>();
        else return nullptr;
    }

    static Root<Array> make(uint64_t count) {
        const nolt_type* element_type = references ? nullptr : type_of<E>();
        return Root<Array>(static_cast<Array*>(allocate_array(sizeof(E), count, element_type, references)));
    }
    // Checked element access; a null array has length 0. The check's call, which reports the
    // fault, is made only for an index it would refuse.
    static E& at(Array* array, int64_t index) {
        if (!array || index < 0 || index >= (int32_t)array->size()) nolt_array_check(array, index);
        return array->data()[index];
    }

    uint64_t size() const { return nolt_block_of(this)->array_length; }
    E* data() { return reinterpret_cast<E*>(this); }
    const E* data() const { return reinterpret_cast<const E*>(this); }
    E& operator[](int64_t index) { return at(this, index); }
    E* begin() { return data(); }
    E* end() { return data() + size(); }

    Array() = delete;
};

// The length of an array; a null array has length 0.
template <class E>
int32_t length(const Root<Array<E>>& array) {
    return nolt_array_length(array.get());
}
template <class E>
int32_t length(const Member<Array<E>>& array) {
    return nolt_array_length(array.get());
}

// A new array: the elements of `array` and `element` behind them.
template <class E, class V>
Root<Array<E>> append(const Root<Array<E>>& array, const V& value) {
    E element{};
    element = value;
    return Root<Array<E>>(static_cast<Array<E>*>(
        nolt_array_append(array.get(), &element, sizeof(E), Array<E>::references, Array<E>::sum_type())));
}
template <class E, class V>
Root<Array<E>> append(const Member<Array<E>>& array, const V& value) {
    return append(Root<Array<E>>(array), value);
}

// A new array of both; the null array when both are empty.
template <class E>
Root<Array<E>> concat(const Root<Array<E>>& a, const Root<Array<E>>& b) {
    return Root<Array<E>>(static_cast<Array<E>*>(nolt_array_concat(a.get(), b.get(), sizeof(E))));
}

// ---- Texts --------------------------------------------------------------------------------

// The payload of a text block: `length` bytes and a zero byte behind them, in a block whose
// capacity is at least length + 1. Literals are read-only and live outside the heap.
class Text {
public:
    int32_t length() const { return nolt_block_of(this)->string_length; }
    uint64_t capacity() const { return nolt_block_of(this)->array_length; }
    bool is_literal() const { return nolt_block_of(this)->flags & NOLT_FLAG_LITERAL; }
    const char* c_str() const { return reinterpret_cast<const char*>(this); }
    char* bytes() { return reinterpret_cast<char*>(this); }
    // Checked read of one byte; a null text has length 0.
    static char at(const Text* text, int64_t index) {
        nolt_string_check(reinterpret_cast<const char*>(text), index);
        return text->c_str()[index];
    }
    bool equals(const char* other) const {
        size_t n = strlen(other);
        return n == (size_t)length() && memcmp(c_str(), other, n) == 0;
    }

    Text() = delete;
};

// A fresh text of `length` bytes copied from `bytes`.
Root<Text> make_text(const char* bytes, size_t length);
Root<Text> make_text(const char* zero_terminated);
// An empty text with room for `capacity` bytes, zero byte included.
Root<Text> make_text_buffer(uint64_t capacity);

template <size_t N>
struct LiteralText {
    nolt_block header;
    char bytes[(N + 7) / 8 * 8];
};

template <size_t N>
struct FixedString {
    char chars[N];
    constexpr FixedString(const char (&text)[N]) {
        for (size_t i = 0; i < N; i++) chars[i] = text[i];
    }
};

template <FixedString S>
constexpr LiteralText<sizeof(S.chars)> make_literal() {
    constexpr size_t capacity = sizeof(S.chars);
    LiteralText<capacity> literal{};
    literal.header.block_size = NOLT_HEADER_SIZE + (capacity + 7) / 8 * 8;
    literal.header.flags = NOLT_FLAG_LITERAL;
    literal.header.string_length = int32_t(capacity - 1);
    literal.header.array_length = capacity;
    for (size_t i = 0; i < capacity; i++) literal.bytes[i] = S.chars[i];
    return literal;
}

template <FixedString S>
inline constexpr auto literal_block = make_literal<S>();

namespace literals {
template <FixedString S>
Text* operator""_t() {
    return reinterpret_cast<Text*>(const_cast<char*>(literal_block<S>.bytes));
}
}  // namespace literals

}  // namespace runtime
