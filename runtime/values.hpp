// Texts, arrays, panics and run-time errors as compiled code sees them.
//
// A text is a `char*` to the payload of a managed byte block: its stored length is in the block
// header, a zero byte stands behind the last byte, and the capacity is the block's byte count.
// Literals have the same layout in read-only data and carry the literal flag. An array is a
// `void*` to the payload of an array block. A null text or array has length 0.
//
// Every function that returns a fresh text or array leaves it in the thread's in-flight slot only:
// the caller roots it before it allocates again.
#pragma once
#include <stdint.h>

#include "runtime/heaps.hpp"

extern "C" {

// Prints "panic: " + message on standard error and leaves with status 1 through nolt_exit.
[[noreturn]] void nolt_panic(const char* message);
// Flushes every stdio stream and calls _exit: no clean-up runs.
[[noreturn]] void nolt_exit(int32_t status);
// Prints "Runtime error: " + the formatted text and a line feed on standard error, then exit(1).
[[noreturn]] void nolt_runtime_error(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Checked `/` and `%`: a zero divisor, or the smallest int by -1, panics.
int32_t nolt_int_div(int32_t a, int32_t b);
int32_t nolt_int_mod(int32_t a, int32_t b);

// The one shared empty text (a literal).
char* nolt_string_empty(void);
// An empty text with room for `capacity` bytes, zero byte included (at least 1).
char* nolt_string_alloc(int64_t capacity);
// A text of `size` - 1 zero bytes, to be filled in place.
char* nolt_alloc_string_buffer(int64_t size);
char* nolt_string_dup_c(const char* cstring);

int32_t nolt_string_length(const char* s);
uint64_t nolt_string_capacity(const char* s);
bool nolt_string_is_literal(const char* s);
void nolt_string_set_length(char* s, int32_t length);
void nolt_string_sync_length(char* s);
// Stops with a run-time error unless 0 <= index < length.
void nolt_string_check(const char* s, int64_t index);
void nolt_string_store_char(char* s, int64_t index, uint8_t c);
// Appends `length` bytes of `src` from `start` to `dest` in place; returns `length`.
int32_t nolt_string_copy_range(char* dest, const char* src, int32_t start, int32_t length);
// A new text of both, each read up to its first zero byte.
char* nolt_string_concat(const char* a, const char* b);
int32_t nolt_index_of_char_from(const char* s, uint8_t c, int32_t start);
int32_t nolt_last_index_of_char(const char* s, uint8_t c);

int32_t nolt_array_length(const void* array);
// Stops with a run-time error unless 0 <= index < length.
void nolt_array_check(const void* array, int64_t index);
// A new array of length + 1 of the same kind: the old elements and `element` behind them.
void* nolt_array_append(const void* array, const void* element, uint64_t element_size, bool is_pointer,
                        const nolt_type* enum_type);
// A new array of both; the null array when both are empty.
void* nolt_array_concat(const void* a, const void* b, uint64_t element_size);

// Managed copies of what the process was given and where it runs.
// Argument i, or the shared empty text out of range.
char* nolt_args_get(int32_t i);
// The host's name, or the empty text if it cannot be had.
char* nolt_platform_get_hostname(void);
char* nolt_platform_get_cpu_vendor(void);
char* nolt_platform_get_cpu_brand(void);

}  // extern "C"
