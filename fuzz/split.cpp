// Splits and joins arbitrary bytes: the pieces joined again give the text back.
#include <stdint.h>
#include <stdlib.h>

#include "fuzz/boot.hpp"
#include "stdlib/core/str.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_boot();
    if (size < 1 || size > 4096) return 0;
    char separator = (char)data[0];
    stdlib::string text = stdlib::from_bytes(reinterpret_cast<const char*>(data + 1), (int32_t)(size - 1));
    stdlib::string_array pieces = stdlib::split(text, separator);
    stdlib::string back = stdlib::join(pieces, stdlib::from_bytes(&separator, 1));
    if (stdlib::length(back) != stdlib::length(text) ||
        memcmp(stdlib::c_str(back), stdlib::c_str(text), (size_t)stdlib::length(text)) != 0)
        abort();
    return 0;
}
