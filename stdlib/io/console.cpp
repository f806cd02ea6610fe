#include "stdlib/io/console.hpp"

#include <stdio.h>

namespace stdlib {

void print(const string& text) { printf("%s", c_str(text)); }
void println(const string& text) { printf("%s\n", c_str(text)); }
void flush() { fflush(stdout); }
void print_int(int32_t value) { printf("%d", value); }
void print_int64(int64_t value) { printf("%ld", (long)value); }
void print_uint64(uint64_t value) { printf("%lu", (unsigned long)value); }
void print_float(double value) { printf("%f", value); }
void print_bool(bool value) { printf("%s", value ? "true" : "false"); }
void print_char(char c) { printf("%c", c); }

void printErr(const string& text) {
    fwrite(c_str(text), 1, (size_t)length(text), stderr);
    fputc('\n', stderr);
}

}  // namespace stdlib
