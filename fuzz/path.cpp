// Normalizes arbitrary bytes: the result never outgrows the input, keeps the input's absoluteness,
// has no empty or "." segment and no trailing slash but the root's, and is its own normal form.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "fuzz/boot.hpp"
#include "stdlib/io/path.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_boot();
    if (size > 4096 || memchr(data, 0, size)) return 0;
    stdlib::string path = stdlib::from_bytes(reinterpret_cast<const char*>(data), (int32_t)size);
    stdlib::string normal = stdlib::normalize(path);
    int32_t n = stdlib::length(normal);
    const char* out = stdlib::c_str(normal);
    if (n > (int32_t)size || (size > 0 && (data[0] == '/') != (n > 0 && out[0] == '/'))) abort();
    if (n > 1 && out[n - 1] == '/') abort();
    if (strstr(out, "//") || strstr(out, "/./") || strncmp(out, "./", 2) == 0 || strcmp(out, ".") == 0) abort();
    if (!stdlib::equals(stdlib::normalize(normal), normal)) abort();
    return 0;
}
