#include "runtime/values.hpp"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "runtime/platform.hpp"
#include "runtime/machine.hpp"
#include "runtime/managed.hpp"

using namespace runtime::literals;

namespace {

nolt_block* header(const void* reference) { return nolt_block_of(reference); }

char* fresh_text(uint64_t capacity) {
    return static_cast<char*>(nolt_heaps_new_array(1, capacity < 1 ? 1 : capacity));
}

void* new_array_like(uint32_t flags, const nolt_type* type, uint64_t element_size, uint64_t count) {
    if (flags & NOLT_FLAG_POINTER_ARRAY) return nolt_heaps_new_ptr_array(count);
    if (flags & NOLT_FLAG_SUM_ARRAY) return nolt_heaps_new_enum_array(type, count);
    return nolt_heaps_new_array(element_size, count);
}

}  // namespace

extern "C" {

void nolt_exit(int32_t status) { nolt_machine_exit(status); }

void nolt_panic(const char* message) {
    nolt_platform_before_fatal();
    fprintf(stderr, "panic: %s\n", message ? message : "");
    nolt_exit(1);
}

void nolt_runtime_error(const char* format, ...) {
    va_list args;
    va_start(args, format);
    nolt_platform_before_fatal();
    fputs("Runtime error: ", stderr);
    vfprintf(stderr, format, args);
    fputc('\n', stderr);
    va_end(args);
    exit(1);
}

namespace {

void check_division(int32_t a, int32_t b) {
    if (b == 0) nolt_panic("integer division by zero");
    if (a == INT32_MIN && b == -1) nolt_panic("integer division overflow");
}

}  // namespace

int32_t nolt_int_div(int32_t a, int32_t b) {
    check_division(a, b);
    return a / b;
}

int32_t nolt_int_mod(int32_t a, int32_t b) {
    check_division(a, b);
    return a % b;
}

// ---- Texts --------------------------------------------------------------------------------

char* nolt_string_empty(void) { return ""_t->bytes(); }

char* nolt_string_alloc(int64_t capacity) { return fresh_text(capacity < 1 ? 1 : (uint64_t)capacity); }

char* nolt_alloc_string_buffer(int64_t size) {
    char* text = fresh_text(size < 1 ? 1 : (uint64_t)size);
    header(text)->string_length = size < 1 ? 0 : (int32_t)(size - 1);
    return text;
}

char* nolt_string_dup_c(const char* cstring) {
    size_t length = cstring ? strlen(cstring) : 0;
    char* text = fresh_text(length + 1);
    if (length) memcpy(text, cstring, length);
    header(text)->string_length = (int32_t)length;
    return text;
}

int32_t nolt_string_length(const char* s) { return s ? header(s)->string_length : 0; }

uint64_t nolt_string_capacity(const char* s) { return s ? header(s)->array_length : 0; }

bool nolt_string_is_literal(const char* s) { return s && (header(s)->flags & NOLT_FLAG_LITERAL); }

void nolt_string_set_length(char* s, int32_t length) {
    if (!s) nolt_runtime_error("set_length on NULL string");
    if (nolt_string_is_literal(s)) nolt_runtime_error("set_length on a string literal");
    uint64_t capacity = nolt_string_capacity(s);
    if (length < 0 || (uint64_t)length >= capacity)
        nolt_runtime_error("set_length %d out of range (capacity %lu)", length, (unsigned long)capacity);
    header(s)->string_length = length;
    s[length] = '\0';
}

void nolt_string_sync_length(char* s) {
    if (!s) nolt_runtime_error("sync_length on NULL string");
    if (nolt_string_is_literal(s)) nolt_runtime_error("sync_length on a string literal");
    header(s)->string_length = (int32_t)strnlen(s, nolt_string_capacity(s) - 1);
}

void nolt_string_check(const char* s, int64_t index) {
    if (!s) nolt_runtime_error("string index %ld on NULL string", (long)index);
    int32_t length = nolt_string_length(s);
    if (index < 0 || index >= length)
        nolt_runtime_error("string index %ld out of bounds (length %ld)", (long)index, (long)length);
}

void nolt_string_store_char(char* s, int64_t index, uint8_t c) {
    nolt_string_check(s, index);
    if (c == 0) nolt_panic("embedded NUL in string");
    if (nolt_string_is_literal(s)) nolt_runtime_error("store_char on a string literal");
    s[index] = (char)c;
}

int32_t nolt_string_copy_range(char* dest, const char* src, int32_t start, int32_t length) {
    if (nolt_string_is_literal(dest)) nolt_runtime_error("string_copy_range on a string literal");
    int32_t dest_length = nolt_string_length(dest);
    uint64_t capacity = nolt_string_capacity(dest);
    if (!dest || start < 0 || length < 0 || (int64_t)start + length > nolt_string_length(src) ||
        (uint64_t)dest_length + (uint64_t)length + 1 > capacity)
        nolt_runtime_error("string append overflow or invalid range (start=%d, len=%d, dest_len=%d, capacity=%lu)",
                           start, length, dest_length, (unsigned long)capacity);
    memcpy(dest + dest_length, src + start, (size_t)length);
    header(dest)->string_length = dest_length + length;
    dest[dest_length + length] = '\0';
    return length;
}

// The `+` of texts: each operand ends at its first zero byte, as in the C library. Copies by
// stored length are stdlib::concat and the builder.
char* nolt_string_concat(const char* a, const char* b) {
    size_t a_length = a ? strlen(a) : 0;
    size_t b_length = b ? strlen(b) : 0;
    char* text = fresh_text(a_length + b_length + 1);
    if (a_length) memcpy(text, a, a_length);
    if (b_length) memcpy(text + a_length, b, b_length);
    header(text)->string_length = (int32_t)(a_length + b_length);
    return text;
}

// A zero byte is the end of the text, never a character in it.
int32_t nolt_index_of_char_from(const char* s, uint8_t c, int32_t start) {
    if (!s || c == 0 || start < 0 || (size_t)start >= strlen(s)) return -1;
    const char* found = strchr(s + start, c);
    return found ? (int32_t)(found - s) : -1;
}

int32_t nolt_last_index_of_char(const char* s, uint8_t c) {
    if (!s || c == 0) return -1;
    const char* found = strrchr(s, c);
    return found ? (int32_t)(found - s) : -1;
}

// ---- Arrays -------------------------------------------------------------------------------

int32_t nolt_array_length(const void* array) { return array ? (int32_t)header(array)->array_length : 0; }

void nolt_array_check(const void* array, int64_t index) {
    int32_t length = nolt_array_length(array);
    if (length == 0) nolt_runtime_error("array index %ld on NULL/empty array", (long)index);
    if (index < 0 || index >= length)
        nolt_runtime_error("array index %ld out of bounds (length %ld)", (long)index, (long)length);
}

void* nolt_array_append(const void* array, const void* element, uint64_t element_size, bool is_pointer,
                        const nolt_type* enum_type) {
    uint32_t flags = is_pointer ? NOLT_FLAG_POINTER_ARRAY : enum_type ? NOLT_FLAG_SUM_ARRAY : 0;
    uint64_t length = (uint64_t)nolt_array_length(array);
    char* grown = static_cast<char*>(new_array_like(flags, enum_type, element_size, length + 1));
    if (!grown) return nullptr;
    if (length) memcpy(grown, array, length * element_size);
    memcpy(grown + length * element_size, element, element_size);
    return grown;
}

void* nolt_array_concat(const void* a, const void* b, uint64_t element_size) {
    uint64_t a_length = (uint64_t)nolt_array_length(a), b_length = (uint64_t)nolt_array_length(b);
    if (a_length + b_length == 0) return nullptr;
    const nolt_block* kind = header(a ? a : b);
    char* joined =
        static_cast<char*>(new_array_like(kind->flags, kind->type, element_size, a_length + b_length));
    if (!joined) return nullptr;
    if (a_length) memcpy(joined, a, a_length * element_size);
    if (b_length) memcpy(joined + a_length * element_size, b, b_length * element_size);
    return joined;
}

// ---- Process facts ------------------------------------------------------------------------

char* nolt_args_get(int32_t i) {
    const char* argument = nolt_args_raw(i);
    return argument ? nolt_string_dup_c(argument) : nolt_string_empty();
}

char* nolt_platform_get_hostname(void) {
    char name[256];
    if (gethostname(name, sizeof name) != 0) return nolt_string_empty();
    name[sizeof name - 1] = '\0';
    return nolt_string_dup_c(name);
}

char* nolt_platform_get_cpu_vendor(void) { return nolt_string_dup_c(nolt_machine_get_cpu_info()->vendor); }

char* nolt_platform_get_cpu_brand(void) { return nolt_string_dup_c(nolt_machine_get_cpu_info()->brand); }

}  // extern "C"
