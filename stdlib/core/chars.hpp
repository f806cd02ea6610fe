// Tests and mappings on one byte. Bytes above 127 are never letters, digits or whitespace.
#pragma once

namespace stdlib {

constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }
constexpr bool is_alpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool is_alphanumeric(char c) { return is_alpha(c) || is_digit(c); }
constexpr bool is_whitespace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
constexpr bool is_blank(char c) { return c == ' ' || c == '\t'; }
constexpr bool is_hex_digit(char c) { return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
constexpr bool is_octal_digit(char c) { return c >= '0' && c <= '7'; }
constexpr bool is_binary_digit(char c) { return c == '0' || c == '1'; }
constexpr char to_lower(char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; }

}  // namespace stdlib
