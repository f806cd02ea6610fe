// UTF-8 measures by lead byte. Invalid bytes are counted, never reported.
#pragma once
#include "stdlib/core/str.hpp"

namespace stdlib {

// False for continuation bytes (top two bits 10).
constexpr bool is_utf8_start_byte(char byte) { return ((unsigned char)byte & 0xC0) != 0x80; }

// 1 for ASCII, 2, 3 or 4 by the lead byte's pattern, and 1 for any other byte.
constexpr int32_t utf8_char_len(char byte) {
    unsigned char b = (unsigned char)byte;
    if ((b & 0xE0) == 0xC0) return 2;
    if ((b & 0xF0) == 0xE0) return 3;
    if ((b & 0xF8) == 0xF0) return 4;
    return 1;
}

// The number of start bytes.
int32_t utf8_strlen(const string& s);

}  // namespace stdlib
