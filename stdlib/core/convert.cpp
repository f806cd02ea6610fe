#include "stdlib/core/convert.hpp"

#include "stdlib/core/chars.hpp"

namespace stdlib {

string to_string(int32_t value) {
    if (value == 0) return "0"_t;
    if (value == INT32_MIN) return "-2147483648"_t;
    char digits[12];
    int at = sizeof digits;
    bool negative = value < 0;
    if (negative) value = -value;
    for (; value > 0; value /= 10) digits[--at] = char('0' + value % 10);
    if (negative) digits[--at] = '-';
    return from_bytes(digits + at, int32_t(sizeof digits) - at);
}

string to_string(char c) {
    if (c == 0) nolt_panic("embedded NUL in string");
    return from_bytes(&c, 1);
}

Result<int32_t, Error> to_int(const string& text) {
    const char* at = c_str(text);
    const char* end = at + length(text);
    if (at == end) return Err(error(ErrorKind::InvalidInput, "invalid integer literal"_t));
    while (at < end && is_whitespace(*at)) at++;
    bool negative = at < end && *at == '-';
    if (at < end && (*at == '-' || *at == '+')) at++;
    int64_t magnitude = 0;
    const char* digits = at;
    for (; at < end && is_digit(*at); at++) {
        int32_t digit = *at - '0';
        if (magnitude > 214748364 || (magnitude == 214748364 && digit > (negative ? 8 : 7)))
            return Err(error(ErrorKind::InvalidInput, "integer overflow"_t));
        magnitude = magnitude * 10 + digit;
    }
    if (at == digits) return Err(error(ErrorKind::InvalidInput, "invalid integer literal"_t));
    while (at < end && is_whitespace(*at)) at++;
    if (at < end) return Err(error(ErrorKind::InvalidInput, "trailing garbage in integer literal"_t));
    return Ok(int32_t(negative ? -magnitude : magnitude));
}

}  // namespace stdlib
