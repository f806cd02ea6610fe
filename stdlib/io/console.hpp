// Standard output and standard error through the stdio streams.
#pragma once
#include "stdlib/core/str.hpp"

namespace stdlib {

void print(const string& text);
void println(const string& text);
void flush();
void print_int(int32_t value);
void print_int64(int64_t value);
void print_uint64(uint64_t value);
void print_float(double value);
void print_bool(bool value);
void print_char(char c);
// The text and a line feed on standard error.
void printErr(const string& text);

}  // namespace stdlib
