// Conversions between numbers, bytes and texts.
#pragma once
#include "stdlib/core/error.hpp"

namespace stdlib {

string to_string(int32_t value);
// A one-byte text; a zero byte panics.
string to_string(char c);
// Decimal with optional surrounding whitespace and one sign; failures are InvalidInput.
Result<int32_t, Error> to_int(const string& text);

// Clamps to 0..255.
constexpr char to_char(int32_t value) { return char(value < 0 ? 0 : value > 255 ? 255 : value); }
constexpr int32_t to_code(char c) { return (unsigned char)c; }
constexpr int32_t char_to_digit(char c) { return c - '0'; }
constexpr char digit_to_char(int32_t digit) { return char('0' + digit); }

}  // namespace stdlib
